/* Random calls with random arguments, error handles among them. Nothing may crash, leak, or fail without a
 * text, and what the planner finds must be valid. Usage: capi_random_calls [FIRST_SEED LAST_SEED] */
#include "check.h"

#define POOL 64

static unsigned long long random_state;
static unsigned int pick(unsigned int below) {
  random_state = random_state * 6364136223846793005ULL + 1442695040888963407ULL;
  return (unsigned int)(random_state >> 33) % below;
}

/* Handles of each kind; the first one of each is an error handle. */
static zorvel_env env;
static zorvel_expr exprs[POOL];
static zorvel_type types[POOL];
static zorvel_param params[POOL];
static zorvel_fluent fluents[POOL];
static zorvel_function_value tables[POOL];
static zorvel_constant constants[POOL];
static zorvel_instance instances[POOL];
static zorvel_action actions[POOL];
static unsigned int n_exprs, n_types, n_params, n_fluents, n_tables, n_constants, n_instances, n_actions;

static int failed; /* whether the last call did */

/* The rule that every call keeps: an error handle comes with a text, another handle without one. */
static void expect_text(int is_error, const char* function) {
  failed = is_error;
  if (is_error != (zorvel_get_last_error_message() != NULL)) {
    fprintf(stderr, "%s: error %d\n", function, is_error);
    CHECK(!"a call failed without a text, or succeeded with one");
  }
  zorvel_reset_error_message();
}
#define KEEP(kind, pool, count, call)                      \
  do {                                                     \
    const zorvel_##kind result_ = call;                    \
    expect_text(zorvel_##kind##_is_error(result_), #call); \
    if (!failed && count < POOL)                           \
      pool[count++] = result_;                             \
    else                                                   \
      RELEASE_##pool(result_);                             \
  } while (0)
#define RELEASE_exprs(handle) (void)handle
#define RELEASE_types(handle) zorvel_type_destroy(handle)
#define RELEASE_params(handle) zorvel_parameter_destroy(handle)
#define RELEASE_fluents(handle) zorvel_fluent_destroy(handle)
#define RELEASE_tables(handle) zorvel_function_value_destroy(handle)
#define RELEASE_constants(handle) zorvel_constant_destroy(handle)
#define RELEASE_instances(handle) zorvel_instance_destroy(handle)
#define RELEASE_actions(handle) zorvel_action_destroy(handle)

/* Error handles are rare, so that most calls have a chance. */
#define ANY(pool, count) pool[count == 1 || pick(40) == 0 ? 0 : 1 + pick(count - 1)]
static zorvel_expr any_expr(void) { return ANY(exprs, n_exprs); }
static zorvel_type any_type(void) { return ANY(types, n_types); }

static unsigned int any_exprs(zorvel_expr* result, unsigned int below) {
  const unsigned int n = pick(below);
  for (unsigned int i = 0; i < n; ++i) result[i] = any_expr();
  return n;
}
static unsigned int any_params(zorvel_param* result) {
  const unsigned int n = pick(6) == 0 ? pick(3) : 0;
  for (unsigned int i = 0; i < n; ++i) result[i] = ANY(params, n_params);
  return n;
}
static unsigned int any_references(zorvel_fluent fluent, zorvel_expr* result) {
  const int arity = zorvel_fluent_get_arity(fluent);
  zorvel_reset_error_message();
  unsigned int n = arity < 0 || pick(20) == 0 ? pick(3) : (unsigned int)arity;
  for (unsigned int i = 0; i < n; ++i) result[i] = any_expr();
  return n;
}
/* Mostly a new name. */
static const char* any_name(void) {
  static const char* const names[] = {"a", "Rover", "", NULL};
  static char name[20];
  static unsigned int counter = 0;
  if (pick(100) == 0) return names[pick(sizeof names / sizeof names[0])];
  snprintf(name, sizeof name, "n%u", counter++);
  return name;
}

static void make_type(void) {
  const int low = (int)pick(5) - 2, high = (int)pick(5);
  switch (pick(7)) {
    case 0:
    case 5: KEEP(type, types, n_types, zorvel_boolean_type(env)); break;
    case 1: KEEP(type, types, n_types, zorvel_integer_type(env)); break;
    case 2: KEEP(type, types, n_types, zorvel_integer_type_lub(env, low, high)); break;
    case 3: KEEP(type, types, n_types, zorvel_rational_type_lub(env, (float)low, (float)high)); break;
    default: KEEP(type, types, n_types, zorvel_user_type_new(env, any_name())); break;
  }
}

/* Statements with an interval, and a duration among them now and then. Most are of a form that can be planned
 * with: an assignment to a fluent at a point, or a condition. */
static unsigned int any_statements(zorvel_expr* result, unsigned int below) {
  unsigned int n = 0;
  for (unsigned int tries = pick(6 * below); tries > 0 && n < below; --tries) {
    const zorvel_expr start = exprs[2], end = exprs[3], duration = exprs[4];
    zorvel_expr args[3];
    zorvel_expr interval = any_expr(), body = any_expr();
    const unsigned int form = pick(8);
    if (form == 0) {
      result[n] =
          zorvel_expr_make_assign(env, duration, zorvel_expr_make_integer_constant(env, 1 + (long)pick(3)));
    } else {
      if (form < 4) {
        const zorvel_fluent fluent = ANY(fluents, n_fluents);
        const unsigned int n_args = any_references(fluent, args);
        body =
            zorvel_expr_make_assign(env, zorvel_expr_make_fluent_reference(env, fluent, args, n_args), body);
        interval = zorvel_expr_make_point_interval(env, pick(2) == 0 ? start : end);
      } else if (form == 4) {
        interval = zorvel_expr_make_closed_interval(env, start, end);
      } else if (form == 5) {
        interval = zorvel_expr_make_open_interval(env, start, end);
      } else if (form == 6) {
        interval = zorvel_expr_make_point_interval(env, end);
      }
      result[n] = zorvel_expr_make_temporal_expression(env, interval, body);
    }
    if (!zorvel_expr_is_error(result[n])) ++n;
  }
  zorvel_reset_error_message();
  return n;
}

/* A value of the type; of a user type an instance, if there is one. */
static zorvel_expr any_value(zorvel_type type) {
  if (zorvel_type_is_boolean(type)) return pick(2) == 0 ? exprs[1] : zorvel_expr_make_false(env);
  if (zorvel_type_is_user(type))
    return n_instances == 1 ? exprs[0]
                            : zorvel_expr_make_instance_reference(env, instances[1 + pick(n_instances - 1)]);
  return zorvel_expr_make_integer_constant(env, (long)pick(4));
}

/* `[start] fluent := value`, if such a value is found. */
static unsigned int initialize(zorvel_fluent fluent, zorvel_expr* result) {
  const zorvel_expr reference = zorvel_expr_make_fluent_reference(env, fluent, NULL, 0);
  const zorvel_expr at_start = zorvel_expr_make_point_interval(env, exprs[2]);
  zorvel_type type = zorvel_fluent_get_type(fluent);
  int is_good = 0;
  for (int tries = 0; tries < 10 && !is_good; ++tries) {
    *result = zorvel_expr_make_temporal_expression(env, at_start,
                                                   zorvel_expr_make_assign(env, reference, any_value(type)));
    is_good = !zorvel_expr_is_error(*result);
  }
  zorvel_type_destroy(type);
  return is_good ? 1 : 0;
}

static void make_object(void) {
  zorvel_param some[3];
  zorvel_expr body[6];
  const unsigned int m = any_params(some);
  switch (pick(7)) {
    case 0: KEEP(param, params, n_params, zorvel_parameter_new(any_name(), any_type())); break;
    case 1: KEEP(instance, instances, n_instances, zorvel_instance_new(env, any_name(), any_type())); break;
    case 2:
      KEEP(fluent, fluents, n_fluents, zorvel_fluent_new(env, any_name(), any_type(), NULL, 0, some, (int)m));
      break;
    case 3:
      KEEP(function_value, tables, n_tables,
           pick(2) == 0 ? zorvel_function_value_new() : zorvel_function_value_new_default_value(any_expr()));
      break;
    case 4:
      KEEP(constant, constants, n_constants,
           zorvel_constant_new(env, any_name(), any_type(), NULL, 0, some, (int)m, ANY(tables, n_tables)));
      break;
    case 5: {
      const unsigned int n = any_exprs(body, 3);
      const zorvel_function_value table = ANY(tables, n_tables);
      expect_text(zorvel_function_value_add_assignment(table, body, (int)n, any_expr()) == -1,
                  "add_assignment");
      break;
    }
    default: {
      const unsigned int n = any_statements(body, 6);
      KEEP(action, actions, n_actions,
           zorvel_action_new(env, any_name(), NULL, 0, some, (int)m, body, (int)n, NULL, 0));
    }
  }
}

typedef zorvel_expr (*binary_maker)(zorvel_env, zorvel_expr, zorvel_expr);
static void make_expression(void) {
  static const binary_maker binary[] = {zorvel_expr_make_and,
                                        zorvel_expr_make_or,
                                        zorvel_expr_make_iff,
                                        zorvel_expr_make_imply,
                                        zorvel_expr_make_equals,
                                        zorvel_expr_make_equals,
                                        zorvel_expr_make_lt,
                                        zorvel_expr_make_le,
                                        zorvel_expr_make_plus,
                                        zorvel_expr_make_minus,
                                        zorvel_expr_make_times,
                                        zorvel_expr_make_div,
                                        zorvel_expr_make_assign,
                                        zorvel_expr_make_assign,
                                        zorvel_expr_make_in_assign,
                                        zorvel_expr_make_scoping,
                                        zorvel_expr_make_open_interval,
                                        zorvel_expr_make_closed_interval,
                                        zorvel_expr_make_temporal_expression,
                                        zorvel_expr_make_temporal_expression,
                                        zorvel_expr_make_temporal_expression};
  zorvel_expr args[3];
  switch (pick(12)) {
    case 0: KEEP(expr, exprs, n_exprs, zorvel_expr_make_integer_constant(env, (long)pick(7) - 2)); break;
    case 1:
      KEEP(expr, exprs, n_exprs, zorvel_expr_make_rational_constant(env, (long)pick(5), (long)pick(4)));
      break;
    case 2: KEEP(expr, exprs, n_exprs, zorvel_expr_make_not(env, any_expr())); break;
    case 3: KEEP(expr, exprs, n_exprs, zorvel_expr_make_point_interval(env, any_expr())); break;
    case 4:
    case 5: {
      const zorvel_fluent fluent = ANY(fluents, n_fluents);
      const unsigned int n = any_references(fluent, args);
      KEEP(expr, exprs, n_exprs, zorvel_expr_make_fluent_reference(env, fluent, args, n));
      break;
    }
    case 6: {
      const unsigned int n = any_exprs(args, 3);
      KEEP(expr, exprs, n_exprs,
           zorvel_expr_make_constant_reference(env, ANY(constants, n_constants), args, n));
      break;
    }
    case 7:
      if (pick(2) == 0)
        KEEP(expr, exprs, n_exprs, zorvel_expr_make_parameter_reference(env, ANY(params, n_params)));
      else
        KEEP(expr, exprs, n_exprs, zorvel_expr_make_instance_reference(env, ANY(instances, n_instances)));
      break;
    default: {
      const zorvel_expr a = any_expr(), b = any_expr();
      KEEP(expr, exprs, n_exprs, binary[pick(sizeof binary / sizeof binary[0])](env, a, b));
    }
  }
}

static void read_expression(void) {
  const zorvel_expr expr = any_expr();
  long number = 0;
  char* text = zorvel_expr_get_anml(expr);
  expect_text(text == NULL, "zorvel_expr_get_anml");
  free(text);
  expect_text(zorvel_expr_get_arity(expr) == -1, "zorvel_expr_get_arity");
  expect_text(zorvel_expr_is_error(zorvel_expr_get_child(expr, pick(3))), "zorvel_expr_get_child");
  expect_text(zorvel_expr_get_integer_constant(env, expr, &number) == -1, "zorvel_expr_get_integer_constant");
  zorvel_fluent fluent = zorvel_expr_get_fluent(env, expr);
  expect_text(zorvel_fluent_is_error(fluent), "zorvel_expr_get_fluent");
  zorvel_fluent_destroy(fluent);
}

/* A problem of random parts, planned within a memory limit. */
static int plan_something(void) {
  zorvel_action some_actions[3];
  zorvel_expr statements[8 + POOL];
  unsigned int n_statements = any_statements(statements, 2);
  for (unsigned int i = 1; i < n_fluents; ++i)
    n_statements += initialize(fluents[i], statements + n_statements);
  zorvel_reset_error_message();
  unsigned int n = 0;
  for (unsigned int next = 1 + pick(3); n < 3 && next < n_actions; next += 1 + pick(3))
    some_actions[n++] = actions[next];
  zorvel_problem problem = zorvel_problem_new(env, some_actions, (int)n, fluents + 1, (int)n_fluents - 1,
                                              constants + 1, (int)n_constants - 1, instances + 1,
                                              (int)n_instances - 1, NULL, 0, statements, (int)n_statements);
  expect_text(zorvel_problem_is_error(problem), "zorvel_problem_new");
  if (failed) return 0;
  char* text = zorvel_problem_get_anml(problem);
  expect_text(text == NULL, "zorvel_problem_get_anml");
  zorvel_search_outcome outcome = ZORVEL_NO_PLAN;
  zorvel_ttplan plan = zorvel_do_ftp_planning_with_limits(problem, 5, 1, &outcome);
  const int found = !zorvel_ttplan_is_error(plan);
  zorvel_reset_error_message();
  if (found) {
    char* reason = NULL;
    const int is_valid = zorvel_ttplan_explain(problem, plan, &reason);
    if (is_valid == 0) { /* -1: the validator handles less than the planner */
      char* lines = zorvel_ttplan_get_exact_string(plan);
      fprintf(stderr, "%s\n%s%s\n", text, lines, reason == NULL ? "(no reason)" : reason);
      free(lines);
      CHECK(!"a plan of the planner is not valid");
    }
    free(reason);
  }
  free(text);
  zorvel_reset_error_message();
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(problem);
  return found;
}

#define DESTROY_POOL(pool, count) \
  while (count > 1) RELEASE_##pool(pool[--count])

static int run(unsigned int seed) {
  random_state = seed;
  const int failures_before = check_failures;
  int plans = 0;
  env = zorvel_env_new();
  n_exprs = n_types = n_params = n_fluents = n_tables = n_constants = n_instances = n_actions = 1;
  KEEP(type, types, n_types, zorvel_boolean_type(env));
  KEEP(expr, exprs, n_exprs, zorvel_expr_make_true(env));
  KEEP(expr, exprs, n_exprs, zorvel_expr_make_start_anchor(env));
  KEEP(expr, exprs, n_exprs, zorvel_expr_make_end_anchor(env));
  KEEP(expr, exprs, n_exprs, zorvel_expr_make_duration_anchor(env));
  for (int step = 0; step < 600; ++step) {
    const unsigned int choice = pick(10);
    if (choice == 0)
      make_type();
    else if (choice < 3)
      make_object();
    else if (choice < 9)
      make_expression();
    else
      read_expression();
  }
  for (int i = 0; i < 3; ++i) plans += plan_something();
  DESTROY_POOL(actions, n_actions);
  DESTROY_POOL(constants, n_constants);
  DESTROY_POOL(tables, n_tables);
  if (seed % 2 == 0) zorvel_env_destroy(env); /* before what was made in it */
  DESTROY_POOL(instances, n_instances);
  DESTROY_POOL(fluents, n_fluents);
  DESTROY_POOL(params, n_params);
  DESTROY_POOL(types, n_types);
  if (seed % 2 == 1) zorvel_env_destroy(env);
  if (check_failures > failures_before) fprintf(stderr, "seed %u\n", seed);
  return plans;
}

int main(int argc, char** argv) {
  const unsigned int first = argc == 3 ? (unsigned int)atoi(argv[1]) : 1;
  const unsigned int last = argc == 3 ? (unsigned int)atoi(argv[2]) : 100;
  int plans = 0;
  for (unsigned int seed = first; seed <= last; ++seed) plans += run(seed);
  fprintf(stderr, "%d plans\n", plans);
  if (argc != 3) CHECK(plans > 5);
  return check_result();
}
