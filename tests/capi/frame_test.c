/* Errors, options, and error handles in every function that takes a handle. */
#include "check.h"

static void errors_and_options(void) {
  CHECK(zorvel_get_last_error_message() == NULL);
  CHECK_TEXT(zorvel_get_version(), "Zorvel v0.0.1");
  CHECK(zorvel_set_logging_level(-3) == 0 && zorvel_set_logging_level(9) == 0 &&
        zorvel_set_logging_level(1) == 0);

  zorvel_env none = {NULL};
  CHECK_NOTHING(zorvel_env_destroy(none) == 0);

  zorvel_env env = zorvel_env_new();
  CHECK(zorvel_env_is_error(env) == 0);
  CHECK(zorvel_env_set_string_option(env, "plan-epsilon", "0.1") == 0);
  CHECK(zorvel_env_set_integer_option(env, "smt-max-horizon", 7) == 0);
  CHECK(zorvel_env_set_float_option(env, "weight", 0.5f) == 0);
  const char* heuristics[] = {"hmax", "blind"};
  CHECK(zorvel_env_set_vector_string_option(env, "ftp-heuristic", heuristics, 2) == 0);
  CHECK(zorvel_env_set_vector_string_option(env, "ftp-heuristic", NULL, 0) == 0);
  CHECK_ERROR(zorvel_env_set_vector_string_option(env, "ftp-heuristic", NULL, 1) == -1,
              "InvalidParameterError: The argument 'values' is null");
  CHECK_ERROR(zorvel_env_set_vector_string_option(env, "ftp-heuristic", heuristics, -1) == -1,
              "InvalidParameterError: The length of 'values' is negative: -1");
  heuristics[1] = NULL;
  CHECK_ERROR(zorvel_env_set_vector_string_option(env, "ftp-heuristic", heuristics, 2) == -1,
              "InvalidParameterError: The argument 'values' is null");
  int options = zorvel_option_get_num(), lists = 0;
  for (int i = 0; i < options; ++i) {
    const char* key = zorvel_option_get_key((unsigned)i);
    CHECK(key != NULL && strchr("01234", '0' + zorvel_option_get_kind((unsigned)i)) != NULL);
    if (strcmp(key, "ftp-heuristic") == 0)
      lists += zorvel_option_get_kind((unsigned)i) == ZORVEL_VECTOR_STRING_OPTION;
    if (strcmp(key, "weight") == 0) lists += zorvel_option_get_kind((unsigned)i) == ZORVEL_FLOAT_OPTION;
  }
  CHECK(lists == 2);
  CHECK_ERROR(zorvel_option_get_key((unsigned)options) == NULL, "Index ");
  CHECK_ERROR(zorvel_option_get_kind((unsigned)options) == -1, "Index ");
  CHECK_ERROR(zorvel_env_set_integer_option(env, "weight", 1) == -1,
              "InvalidParameterError: Undefined option weight");
  CHECK_ERROR(zorvel_env_set_string_option(env, NULL, "x") == -1,
              "InvalidParameterError: The argument 'key' is null");
  CHECK_ERROR(zorvel_env_set_string_option(env, "plan-epsilon", NULL) == -1,
              "InvalidParameterError: The argument 'value' is null");
  CHECK_ERROR(zorvel_env_set_boolean_option(none, "pddl", 1) == -1, NULL_HANDLE_ERROR);

  /* A success leaves the text of the last failure alone, in every environment. */
  CHECK(zorvel_env_set_boolean_option(env, "no-such-option", 1) == -1);
  zorvel_env other = zorvel_env_new();
  CHECK(zorvel_env_set_boolean_option(other, "pddl", 1) == 0);
  CHECK_TEXT(zorvel_get_last_error_message(), "InvalidParameterError: Undefined option no-such-option");
  CHECK_TEXT(zorvel_set_last_error_message(zorvel_get_last_error_message()),
             "InvalidParameterError: Undefined option no-such-option");
  zorvel_reset_error_message();
  CHECK(zorvel_get_last_error_message() == NULL);
  CHECK(zorvel_env_destroy(other) == 0);
  CHECK(zorvel_env_destroy(env) == 0);
}

static void warnings(void) {
  zorvel_env env = zorvel_env_new();
  CHECK(zorvel_env_get_warnings_num(env) == 0);
  zorvel_type small = zorvel_integer_type_lub(env, 0, 5), large = zorvel_integer_type_lub(env, 0, 10);
  zorvel_fluent x = zorvel_fluent_new(env, "x", small, NULL, 0, NULL, 0);
  zorvel_fluent y = zorvel_fluent_new(env, "y", large, NULL, 0, NULL, 0);
  zorvel_expr assign = zorvel_expr_make_assign(env, zorvel_expr_make_fluent_reference(env, x, NULL, 0),
                                               zorvel_expr_make_fluent_reference(env, y, NULL, 0));
  CHECK(!zorvel_expr_is_error(assign));
  CHECK(zorvel_env_get_warnings_num(env) == 1);
  CHECK(zorvel_env_get_warning(env, 0) != NULL && strlen(zorvel_env_get_warning(env, 0)) > 0);
  CHECK_ERROR(zorvel_env_get_warning(env, 1) == NULL, "Index 1 is out of range: number of warnings is 1");
  zorvel_fluent_destroy(x);
  zorvel_fluent_destroy(y);
  zorvel_type_destroy(small);
  zorvel_type_destroy(large);
  zorvel_env_destroy(env);
}

#define NULL_OF(kind) ((zorvel_##kind){NULL})

/* What every kind of handle has, on an error handle. */
#define CHECK_KIND(kind, destroy)                                                                 \
  do {                                                                                            \
    CHECK(zorvel_##kind##_is_error(NULL_OF(kind)) == 1);                                          \
    CHECK_NOTHING(destroy(NULL_OF(kind)) == 0);                                                   \
    CHECK_ERROR(zorvel_##kind##_equality(NULL_OF(kind), NULL_OF(kind)) == -1, NULL_HANDLE_ERROR); \
    CHECK_ERROR(zorvel_##kind##_get_hash(NULL_OF(kind)) == (unsigned int)-1, NULL_HANDLE_ERROR);  \
  } while (0)
#define CHECK_ITERATOR(kind)                                                               \
  do {                                                                                     \
    CHECK(zorvel_##kind##_iter_is_error(NULL_OF(kind##_iter)) == 1);                       \
    CHECK_NOTHING(zorvel_##kind##_iter_destroy(NULL_OF(kind##_iter)) == 0);                \
    CHECK_ERROR(zorvel_##kind##_is_error(zorvel_##kind##_iter_next(NULL_OF(kind##_iter))), \
                NULL_HANDLE_ERROR);                                                        \
  } while (0)

#define REFUSES(result_kind, call) CHECK_ERROR(zorvel_##result_kind##_is_error(call), NULL_HANDLE_ERROR)
#define REFUSES_INT(call) CHECK_ERROR((call) == -1, NULL_HANDLE_ERROR)
#define REFUSES_TEXT(call) CHECK_ERROR((call) == NULL, NULL_HANDLE_ERROR)

static void ignored_effect(zorvel_classical_state state, zorvel_interpretation interpretation,
                           zorvel_vector_expr parameters, zorvel_vector_expr result, void* user_data) {
  (void)state, (void)interpretation, (void)parameters, (void)result, (void)user_data;
}
static double ignored_heuristic(zorvel_classical_state state, zorvel_interpretation interpretation,
                                void* user_data) {
  (void)state, (void)interpretation, (void)user_data;
  return 0;
}

static void error_handles(void) {
  zorvel_env env = zorvel_env_new(), no_env = {NULL};
  const zorvel_expr t = zorvel_expr_make_true(env);
  const zorvel_expr no_expr = NULL_OF(expr);
  const zorvel_type no_type = NULL_OF(type);
  const zorvel_action no_action = NULL_OF(action);
  long number = 0;
  char* text = NULL;
  zorvel_search_outcome outcome = ZORVEL_PLAN_FOUND;

  CHECK_KIND(type, zorvel_type_destroy);
  CHECK_KIND(param, zorvel_parameter_destroy);
  CHECK_KIND(fluent, zorvel_fluent_destroy);
  CHECK_KIND(function_value, zorvel_function_value_destroy);
  CHECK_KIND(constant, zorvel_constant_destroy);
  CHECK_KIND(instance, zorvel_instance_destroy);
  CHECK_KIND(simulated_effect, zorvel_simulated_effect_destroy);
  CHECK_KIND(action, zorvel_action_destroy);
  CHECK_KIND(problem, zorvel_problem_destroy);
  CHECK_KIND(ttplan, zorvel_ttplan_destroy);
  CHECK_KIND(ttplan_step, zorvel_ttplan_step_destroy);
  CHECK_KIND(potplan, zorvel_potplan_destroy);
  CHECK_KIND(potplan_step, zorvel_potplan_step_destroy);
  CHECK_ITERATOR(action);
  CHECK_ITERATOR(fluent);
  CHECK_ITERATOR(constant);
  CHECK_ITERATOR(instance);
  CHECK_ITERATOR(param);
  CHECK_ITERATOR(expr);
  CHECK_ITERATOR(ttplan_step);
  CHECK_ITERATOR(potplan_step);
  CHECK(zorvel_env_is_error(no_env) && zorvel_expr_is_error(no_expr));
  CHECK(zorvel_simulator_is_error(NULL_OF(simulator)) && zorvel_state_is_error(NULL_OF(state)));

  REFUSES_INT(zorvel_env_get_warnings_num(no_env));
  REFUSES_TEXT(zorvel_env_get_warning(no_env, 0));
  REFUSES(expr, zorvel_expr_make_true(no_env));
  REFUSES(expr, zorvel_expr_make_not(no_env, t));
  REFUSES(expr, zorvel_expr_make_not(env, no_expr));
  REFUSES(expr, zorvel_expr_make_and(env, t, no_expr));
  REFUSES(expr, zorvel_expr_make_and(env, no_expr, t));
  REFUSES(expr, zorvel_expr_make_integer_constant(no_env, 1));
  REFUSES(expr, zorvel_expr_make_contains(env, no_expr));
  REFUSES(expr, zorvel_expr_make_fluent_reference(env, NULL_OF(fluent), NULL, 0));
  REFUSES(expr, zorvel_expr_make_constant_reference(env, NULL_OF(constant), NULL, 0));
  REFUSES(expr, zorvel_expr_make_parameter_reference(env, NULL_OF(param)));
  REFUSES(expr, zorvel_expr_make_instance_reference(env, NULL_OF(instance)));
  REFUSES_INT(zorvel_expr_is_and(env, no_expr));
  REFUSES_INT(zorvel_expr_is_point_interval(no_env, t));
  REFUSES_INT(zorvel_expr_get_boolean_constant(env, no_expr));
  REFUSES_INT(zorvel_expr_get_integer_constant(env, no_expr, &number));
  REFUSES(fluent, zorvel_expr_get_fluent(env, no_expr));
  REFUSES_INT(zorvel_expr_get_arity(no_expr));
  REFUSES(expr, zorvel_expr_get_child(no_expr, 0));
  REFUSES_INT(zorvel_expr_equality(t, no_expr));
  CHECK_ERROR(zorvel_expr_get_hash(no_expr) == (unsigned int)-1, NULL_HANDLE_ERROR);
  REFUSES_TEXT(zorvel_expr_get_anml(no_expr));

  REFUSES(type, zorvel_integer_type_lub(no_env, 0, 1));
  REFUSES(type, zorvel_user_type_new(no_env, "T"));
  REFUSES_TEXT(zorvel_type_get_name(no_type));
  REFUSES_INT(zorvel_type_is_boolean(no_type));
  REFUSES_INT(zorvel_type_has_lower_bound(no_type));
  REFUSES_INT(zorvel_type_get_integer_lower_bound(no_type, &number));
  REFUSES_INT(zorvel_type_get_rational_upper_bound(no_type, &number, &number));
  REFUSES_INT(zorvel_user_type_add_base_type(no_type, no_type));

  REFUSES(param, zorvel_parameter_new("p", no_type));
  REFUSES_TEXT(zorvel_param_get_name(NULL_OF(param)));
  REFUSES(type, zorvel_param_get_type(NULL_OF(param)));
  REFUSES(fluent, zorvel_fluent_new(env, "f", no_type, NULL, 0, NULL, 0));
  REFUSES_INT(zorvel_fluent_get_arity(NULL_OF(fluent)));
  REFUSES(param_iter, zorvel_fluent_get_parameters(NULL_OF(fluent)));
  REFUSES_TEXT(zorvel_fluent_get_anml(NULL_OF(fluent)));
  REFUSES(function_value, zorvel_function_value_new_default_value(no_expr));
  REFUSES_INT(zorvel_function_value_add_assignment(NULL_OF(function_value), NULL, 0, t));
  REFUSES(expr, zorvel_function_value_get_assignment(NULL_OF(function_value), NULL, 0));
  REFUSES(expr, zorvel_function_value_get_jth_param_of_ith_assignment(NULL_OF(function_value), 0, 0));
  REFUSES(constant, zorvel_constant_new(env, "c", no_type, NULL, 0, NULL, 0, NULL_OF(function_value)));
  REFUSES(function_value, zorvel_constant_get_value(NULL_OF(constant)));
  REFUSES(instance, zorvel_instance_new(env, "i", no_type));
  REFUSES_TEXT(zorvel_instance_get_name(NULL_OF(instance)));
  REFUSES(action, zorvel_action_new(env, "a", NULL, 0, NULL, 0, &no_expr, 1, NULL, 0));
  REFUSES_TEXT(zorvel_action_get_name(no_action));
  REFUSES(expr_iter, zorvel_action_get_expressions(no_action));
  REFUSES_INT(zorvel_action_is_temporally_uncertain(no_action));
  REFUSES(simulated_effect, zorvel_simulated_effect_new(no_expr, &t, 1, ignored_effect, NULL));
  REFUSES(simulated_effect, zorvel_simulated_effect_new(t, &no_expr, 1, ignored_effect, NULL));

  REFUSES(problem, zorvel_problem_new(env, &no_action, 1, NULL, 0, NULL, 0, NULL, 0, NULL, 0, NULL, 0));
  REFUSES(problem, zorvel_problem_new(env, NULL, 0, NULL, 0, NULL, 0, NULL, 0, &no_type, 1, NULL, 0));
  REFUSES(action_iter, zorvel_problem_get_actions(NULL_OF(problem)));
  REFUSES_INT(zorvel_problem_is_flat(NULL_OF(problem)));
  REFUSES_TEXT(zorvel_problem_get_anml(NULL_OF(problem)));
  REFUSES(problem, zorvel_problem_usertype_fluents_compiler(NULL_OF(problem)));
  REFUSES(problem, zorvel_problem_intermediate_effects_compiler(NULL_OF(problem)));
  REFUSES(problem, zorvel_problem_bound(NULL_OF(problem), NULL_OF(problem)));
  REFUSES(problem, zorvel_parse_anml(no_env, "x"));
  REFUSES(problem, zorvel_parse_pddl(no_env, "x", "y"));
  REFUSES(problem, zorvel_parse_pddl_text(no_env, "x", "y", NULL));
  REFUSES(problem, zorvel_read_pddl(no_env, "x", "y"));
  REFUSES(problem, zorvel_read_pddl_text(no_env, "x", "y"));
  REFUSES_INT(zorvel_dump_anml(NULL_OF(problem), "x"));

  REFUSES(ttplan, zorvel_ttplan_new(no_env));
  REFUSES(ttplan_step, zorvel_ttplan_step_new("0", no_action, NULL, 0, "1", t));
  REFUSES_INT(zorvel_ttplan_add_step(NULL_OF(ttplan), NULL_OF(ttplan_step)));
  REFUSES_INT(zorvel_ttplan_get_size(NULL_OF(ttplan)));
  REFUSES(ttplan_step_iter, zorvel_ttplan_get_steps(NULL_OF(ttplan)));
  REFUSES_TEXT(zorvel_ttplan_get_string(NULL_OF(ttplan)));
  REFUSES_TEXT(zorvel_ttplan_step_get_start_time(NULL_OF(ttplan_step)));
  REFUSES(expr, zorvel_ttplan_step_get_parameter(NULL_OF(ttplan_step), 0));
  REFUSES_INT(zorvel_ttplan_validate(NULL_OF(problem), NULL_OF(ttplan)));
  REFUSES_INT(zorvel_ttplan_explain(NULL_OF(problem), NULL_OF(ttplan), &text));
  REFUSES(ttplan, zorvel_ttplan_from_potplan(NULL_OF(potplan)));
  REFUSES(ttplan, zorvel_parse_ttplan(NULL_OF(problem), "x"));
  REFUSES(potplan, zorvel_potplan_new(no_env));
  REFUSES(potplan_step, zorvel_potplan_add_step(NULL_OF(potplan), "0", no_action, NULL, 0, "1", t));
  REFUSES(potplan_step_iter, zorvel_potplan_get_predecessors(NULL_OF(potplan), NULL_OF(potplan_step)));
  REFUSES_INT(zorvel_potplan_step_get_id(NULL_OF(potplan_step)));
  REFUSES(action, zorvel_potplan_step_get_action(NULL_OF(potplan_step)));
  REFUSES(potplan, zorvel_potplan_from_ttplan(NULL_OF(ttplan)));
  REFUSES(ttplan, zorvel_do_ftp_planning(NULL_OF(problem)));
  REFUSES(ttplan, zorvel_do_ftp_planning_with_custom_heuristic(NULL_OF(problem), ignored_heuristic, NULL));
  REFUSES(ttplan, zorvel_do_ftp_planning_with_limits(NULL_OF(problem), 1, 1, &outcome));
  REFUSES(ttplan, zorvel_do_guided_planning_with_custom_heuristic_and_limits(
                      NULL_OF(problem), ignored_heuristic, NULL, 1, 1, &outcome));
  REFUSES(ttplan, zorvel_do_planning_with_custom_heuristic_and_limits(
                      NULL_OF(problem), "auto", ignored_heuristic, NULL, 1, 1, NULL, NULL, &outcome));

  REFUSES(expr, zorvel_state_get_value(NULL_OF(classical_state), NULL_OF(interpretation), t));
  REFUSES(expr, zorvel_vector_get_expr(NULL_OF(vector_expr), 0));
  REFUSES_INT(zorvel_vector_add_expr(NULL_OF(vector_expr), t));
  REFUSES_INT(zorvel_vector_get_size(NULL_OF(vector_expr)));
  REFUSES_INT(zorvel_vector_clear(NULL_OF(vector_expr)));
  zorvel_env_destroy(env);
}

int main(void) {
  errors_and_options();
  warnings();
  error_handles();
  return check_result();
}
