/* Makers, tests and readers of expressions. */
#include <limits.h>

#include "check.h"

typedef zorvel_expr (*unary_maker)(zorvel_env, zorvel_expr);
typedef zorvel_expr (*binary_maker)(zorvel_env, zorvel_expr, zorvel_expr);
typedef int (*tester)(zorvel_env, zorvel_expr);

/* Every test on every expression: exactly the kinds named with the expression hold. */
static void kinds(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_type boolean = zorvel_boolean_type(env), rover = zorvel_user_type_new(env, "Rover");
  zorvel_fluent fluent = zorvel_fluent_new(env, "f", boolean, NULL, 0, NULL, 0);
  zorvel_function_value value = zorvel_function_value_new();
  zorvel_constant constant = zorvel_constant_new(env, "c", boolean, NULL, 0, NULL, 0, value);
  zorvel_param param = zorvel_parameter_new("p", rover);
  zorvel_instance instance = zorvel_instance_new(env, "spirit", rover);

  const zorvel_expr t = zorvel_expr_make_true(env), f = zorvel_expr_make_false(env);
  const zorvel_expr one = zorvel_expr_make_integer_constant(env, 1);
  const zorvel_expr half = zorvel_expr_make_rational_constant(env, 2, 4);
  const zorvel_expr start = zorvel_expr_make_start_anchor(env), end = zorvel_expr_make_end_anchor(env);
  const zorvel_expr duration = zorvel_expr_make_duration_anchor(env);
  const zorvel_expr ref = zorvel_expr_make_fluent_reference(env, fluent, NULL, 0);
  const zorvel_expr point = zorvel_expr_make_point_interval(env, start);

  const tester tests[] = {
      zorvel_expr_is_and,
      zorvel_expr_is_or,
      zorvel_expr_is_not,
      zorvel_expr_is_imply,
      zorvel_expr_is_iff,
      zorvel_expr_is_equals,
      zorvel_expr_is_lt,
      zorvel_expr_is_le,
      zorvel_expr_is_gt,
      zorvel_expr_is_ge,
      zorvel_expr_is_plus,
      zorvel_expr_is_minus,
      zorvel_expr_is_times,
      zorvel_expr_is_div,
      zorvel_expr_is_assign,
      zorvel_expr_is_in_assign,
      zorvel_expr_is_contains,
      zorvel_expr_is_temporal_expression,
      zorvel_expr_is_open_interval,
      zorvel_expr_is_closed_interval,
      zorvel_expr_is_left_open_interval,
      zorvel_expr_is_right_open_interval,
      zorvel_expr_is_point_interval,
      zorvel_expr_is_start_anchor,
      zorvel_expr_is_end_anchor,
      zorvel_expr_is_duration_anchor,
      zorvel_expr_is_boolean_constant,
      zorvel_expr_is_integer_constant,
      zorvel_expr_is_rational_constant,
      zorvel_expr_is_fluent_reference,
      zorvel_expr_is_constant_reference,
      zorvel_expr_is_parameter_reference,
      zorvel_expr_is_instance_reference,
  };
  const struct {
    zorvel_expr expr;
    const char* text;
    tester kinds[2];
  } rows[] = {
      {zorvel_expr_make_and(env, t, f), "(true and false)", {zorvel_expr_is_and}},
      {zorvel_expr_make_or(env, t, f), "(true or false)", {zorvel_expr_is_or}},
      {zorvel_expr_make_not(env, t), "(not true)", {zorvel_expr_is_not}},
      {zorvel_expr_make_imply(env, t, f), "(true implies false)", {zorvel_expr_is_imply}},
      {zorvel_expr_make_iff(env, t, f), "(true == false)", {zorvel_expr_is_iff}},
      {zorvel_expr_make_equals(env, one, half), "(1 == 1/2)", {zorvel_expr_is_equals}},
      {zorvel_expr_make_lt(env, one, half), "(1 < 1/2)", {zorvel_expr_is_lt}},
      {zorvel_expr_make_le(env, one, half), "(1 <= 1/2)", {zorvel_expr_is_le}},
      {zorvel_expr_make_gt(env, one, half), "(1 > 1/2)", {zorvel_expr_is_gt}},
      {zorvel_expr_make_ge(env, one, half), "(1 >= 1/2)", {zorvel_expr_is_ge}},
      {zorvel_expr_make_plus(env, one, half), "(1 + 1/2)", {zorvel_expr_is_plus}},
      {zorvel_expr_make_minus(env, one, half), "(1 - 1/2)", {zorvel_expr_is_minus}},
      {zorvel_expr_make_times(env, one, half), "(1 * 1/2)", {zorvel_expr_is_times}},
      {zorvel_expr_make_div(env, one, half), "(1 / 1/2)", {zorvel_expr_is_div}},
      {zorvel_expr_make_assign(env, ref, t), "(f := true)", {zorvel_expr_is_assign}},
      {zorvel_expr_make_in_assign(env, duration, zorvel_expr_make_closed_interval(env, one, one)),
       "(duration :in [1, 1])",
       {zorvel_expr_is_in_assign}},
      {zorvel_expr_make_contains(env, point), "[start] contains", {zorvel_expr_is_contains}},
      {zorvel_expr_make_contains_with_label(env, point, "l"),
       "[start] contains l:",
       {zorvel_expr_is_contains}},
      {zorvel_expr_make_temporal_expression(env, point, ref),
       "[start] f",
       {zorvel_expr_is_temporal_expression}},
      {zorvel_expr_make_open_interval(env, start, end), "(all)", {zorvel_expr_is_open_interval}},
      {zorvel_expr_make_closed_interval(env, start, end), "[all]", {zorvel_expr_is_closed_interval}},
      {zorvel_expr_make_left_open_interval(env, start, end), "(all]", {zorvel_expr_is_left_open_interval}},
      {zorvel_expr_make_right_open_interval(env, start, end), "[all)", {zorvel_expr_is_right_open_interval}},
      {point, "[start]", {zorvel_expr_is_point_interval, zorvel_expr_is_closed_interval}},
      {start, "start", {zorvel_expr_is_start_anchor}},
      {end, "end", {zorvel_expr_is_end_anchor}},
      {duration, "duration", {zorvel_expr_is_duration_anchor}},
      {f, "false", {zorvel_expr_is_boolean_constant}},
      {one, "1", {zorvel_expr_is_integer_constant}},
      {zorvel_expr_make_rational_constant(env, 4, 2), "2.0", {zorvel_expr_is_rational_constant}},
      {zorvel_expr_make_rational_constant_from_float(env, 0.25), "1/4", {zorvel_expr_is_rational_constant}},
      {ref, "f", {zorvel_expr_is_fluent_reference}},
      {zorvel_expr_make_constant_reference(env, constant, NULL, 0), "c", {zorvel_expr_is_constant_reference}},
      {zorvel_expr_make_parameter_reference(env, param), "p", {zorvel_expr_is_parameter_reference}},
      {zorvel_expr_make_instance_reference(env, instance), "spirit", {zorvel_expr_is_instance_reference}},
  };
  for (size_t row = 0; row < sizeof rows / sizeof rows[0]; ++row) {
    CHECK_OWNED_TEXT(zorvel_expr_get_anml(rows[row].expr), rows[row].text);
    for (size_t test = 0; test < sizeof tests / sizeof tests[0]; ++test) {
      const int expected = tests[test] == rows[row].kinds[0] || tests[test] == rows[row].kinds[1];
      if (tests[test](env, rows[row].expr) != expected) {
        fprintf(stderr, "test %zu of %s\n", test, rows[row].text);
        CHECK(!"the test of a kind is wrong");
      }
    }
  }

  zorvel_instance_destroy(instance);
  zorvel_parameter_destroy(param);
  zorvel_constant_destroy(constant);
  zorvel_function_value_destroy(value);
  zorvel_fluent_destroy(fluent);
  zorvel_type_destroy(rover);
  zorvel_type_destroy(boolean);
  zorvel_env_destroy(env);
}

static void readers(void) {
  zorvel_env env = zorvel_env_new();
  const zorvel_expr t = zorvel_expr_make_true(env), f = zorvel_expr_make_false(env);
  const zorvel_expr both = zorvel_expr_make_and(env, t, f);
  CHECK(zorvel_expr_equality(t, zorvel_expr_make_true(env)) == 1 && zorvel_expr_equality(t, f) == 0);
  CHECK(zorvel_expr_get_hash(t) == zorvel_expr_get_hash(zorvel_expr_make_true(env)));
  CHECK(zorvel_expr_get_boolean_constant(env, t) == 1 && zorvel_expr_get_boolean_constant(env, f) == 0);
  CHECK(zorvel_expr_get_arity(both) == 2 && zorvel_expr_get_arity(t) == 0);
  CHECK(zorvel_expr_equality(zorvel_expr_get_child(both, 1), f) == 1);
  CHECK_ERROR(zorvel_expr_is_error(zorvel_expr_get_child(both, 2)),
              "Index 2 is out of range: number of operands is 2");

  long num = 0, den = 0;
  CHECK(zorvel_expr_get_integer_constant(env, zorvel_expr_make_integer_constant(env, LONG_MIN), &num) == 0);
  CHECK(num == LONG_MIN);
  CHECK(zorvel_expr_get_rational_constant(env, zorvel_expr_make_rational_constant(env, -6, 4), &num, &den) ==
        0);
  CHECK(num == -3 && den == 2);
  CHECK(zorvel_expr_get_rational_constant(env, zorvel_expr_make_rational_constant_from_float(env, 1e300),
                                          &num, &den) == 0);
  CHECK(num == LONG_MAX && den == 1);
  CHECK_ERROR(zorvel_expr_is_error(zorvel_expr_make_rational_constant(env, 1, 0)),
              "bad rational: zero denominator");
  CHECK_ERROR(zorvel_expr_is_error(zorvel_expr_make_rational_constant_from_float(env, 1e300 * 1e300)),
              "InternalError: A finite number was expected");
  CHECK_ERROR(zorvel_expr_get_integer_constant(env, t, &num) == -1,
              "InvalidParameterError: An integer constant was expected");
  CHECK_ERROR(zorvel_expr_get_integer_constant(env, zorvel_expr_make_integer_constant(env, 1), NULL) == -1,
              "InvalidParameterError: The argument 'value' is null");
  CHECK_ERROR(zorvel_expr_get_boolean_constant(env, both) == -1,
              "InvalidParameterError: A boolean constant was expected");
  CHECK_ERROR(zorvel_fluent_is_error(zorvel_expr_get_fluent(env, t)),
              "InvalidParameterError: A fluent reference was expected");

  /* Ill-typed expressions fail where they are made, and again when they are made again. */
  const zorvel_expr one = zorvel_expr_make_integer_constant(env, 1);
  for (int i = 0; i < 2; ++i)
    CHECK_ERROR(zorvel_expr_is_error(zorvel_expr_make_not(env, one)), "TypeCheckingError: ");
  CHECK_ERROR(zorvel_expr_is_error(zorvel_expr_make_in_assign(env, one, one)),
              "InternalError: Found an :in assign");
  CHECK_ERROR(zorvel_expr_is_error(zorvel_expr_make_contains_with_label(env, one, NULL)),
              "InvalidParameterError: The argument 'label' is null");
  zorvel_env_destroy(env);
}

int main(void) {
  kinds();
  readers();
  return check_result();
}
