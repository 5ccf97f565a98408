/* A program in C that sees nothing but the header and the shared library. */

#include <stdio.h>
#include <string.h>

#include "veskor.h"

#define CHECK(condition)                                                            \
  do {                                                                              \
    if (!(condition)) {                                                             \
      fprintf(stderr, "%s:%d: %s does not hold\n", __FILE__, __LINE__, #condition); \
      return 1;                                                                     \
    }                                                                               \
  } while (0)

static vesk_term constant(vesk_env env, const char* name, vesk_type type) {
  return vesk_make_constant(env, vesk_declare_function(env, name, type));
}

static int count_calls(void* user_data) {
  ++*(int*)user_data;
  return 0;
}

int main(void) {
  int calls = 0;
  char* text;
  vesk_config cfg = vesk_create_default_config("QF_LRA");
  vesk_env env = vesk_create_env(cfg);
  vesk_term x, y, sum;
  vesk_destroy_config(cfg);
  CHECK(env.repr != NULL);
  x = constant(env, "x", vesk_get_rational_type(env));
  y = constant(env, "y", vesk_get_rational_type(env));
  sum = vesk_make_plus(env, x, y);
  CHECK(vesk_set_termination_test(env, count_calls, &calls) == 0);
  CHECK(vesk_assert_formula(env, vesk_make_leq(env, sum, vesk_make_number(env, "7/2"))) == 0);
  CHECK(vesk_assert_formula(env, vesk_make_leq(env, vesk_make_int_number(env, 3), x)) == 0);
  CHECK(vesk_push_backtrack_point(env) == 0);
  CHECK(vesk_assert_formula(env, vesk_make_leq(env, vesk_make_number(env, "1/2"), y)) == 0);
  CHECK(vesk_solve(env) == 1);
  CHECK(calls > 0);
  text = vesk_term_repr(vesk_get_model_value(env, sum));
  CHECK(text != NULL && strcmp(text, "7/2") == 0);
  vesk_free(text);
  CHECK(vesk_assert_formula(env, vesk_make_not(env, vesk_make_equal(env, x, vesk_make_number(env, "3")))) ==
        0);
  CHECK(vesk_solve(env) == 0);
  CHECK(vesk_pop_backtrack_point(env) == 0);
  CHECK(vesk_pop_backtrack_point(env) == -1);
  CHECK(strcmp(vesk_last_error_message(env), "There is no backtrack point to pop") == 0);
  CHECK(vesk_solve(env) == 1);
  vesk_destroy_env(env);
  return 0;
}
