/* Types, model objects, problems, and the lifetimes of all of them. */
#include <limits.h>

#include "check.h"

static void types(void) {
  zorvel_env env = zorvel_env_new();
  long num = 7, den = 7;
  const struct {
    zorvel_type type;
    const char* name;
    int is_boolean, is_integer, is_rational, is_user, is_finite, has_lower, has_upper;
  } rows[] = {
      {zorvel_boolean_type(env), "boolean", 1, 0, 0, 0, 1, 0, 0},
      {zorvel_integer_type(env), "integer", 0, 1, 0, 0, 0, 0, 0},
      {zorvel_integer_type_lb(env, -1), "integer [-1, infinity]", 0, 1, 0, 0, 0, 1, 0},
      {zorvel_integer_type_ub(env, 5), "integer [-infinity, 5]", 0, 1, 0, 0, 0, 0, 1},
      {zorvel_integer_type_lub(env, 0, 5), "integer [0, 5]", 0, 1, 0, 0, 1, 1, 1},
      {zorvel_rational_type(env), "float", 0, 0, 1, 0, 0, 0, 0},
      {zorvel_rational_type_lb(env, 0.5f), NULL, 0, 0, 1, 0, 0, 1, 0},
      {zorvel_rational_type_ub(env, 0.5f), NULL, 0, 0, 1, 0, 0, 0, 1},
      {zorvel_rational_type_lub(env, 0.5f, 0.75f), NULL, 0, 0, 1, 0, 0, 1, 1},
      {zorvel_user_type_new(env, "Rover"), "Rover", 0, 0, 0, 1, 1, 0, 0},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    const zorvel_type type = rows[i].type;
    if (rows[i].name != NULL) CHECK_TEXT(zorvel_type_get_name(type), rows[i].name);
    CHECK(zorvel_type_is_boolean(type) == rows[i].is_boolean);
    CHECK(zorvel_type_is_integer(type) == rows[i].is_integer);
    CHECK(zorvel_type_is_rational(type) == rows[i].is_rational);
    CHECK(zorvel_type_is_user(type) == rows[i].is_user);
    CHECK(zorvel_type_is_finite_domain(type) == rows[i].is_finite);
    CHECK(zorvel_type_has_lower_bound(type) == rows[i].has_lower);
    CHECK(zorvel_type_has_upper_bound(type) == rows[i].has_upper);
    for (size_t j = 0; j < sizeof rows / sizeof rows[0]; ++j)
      CHECK(zorvel_type_equality(type, rows[j].type) == (i == j));
  }
  zorvel_type again = zorvel_integer_type_lub(env, 0, 5);
  CHECK(zorvel_type_equality(again, rows[4].type) == 1);
  CHECK(zorvel_type_get_hash(again) == zorvel_type_get_hash(rows[4].type));
  CHECK(zorvel_type_get_integer_upper_bound(again, &num) == 0 && num == 5);
  CHECK(zorvel_type_get_integer_lower_bound(rows[2].type, &num) == 0 && num == -1);
  CHECK(zorvel_type_get_rational_lower_bound(rows[8].type, &num, &den) == 0 && num == 1 && den == 2);
  CHECK(zorvel_type_get_rational_upper_bound(rows[8].type, &num, &den) == 0 && num == 3 && den == 4);
  CHECK_ERROR(zorvel_type_get_integer_lower_bound(rows[8].type, &num) == -1,
              "InvalidParameterError: The given type is not an integer!");
  CHECK_ERROR(zorvel_type_get_rational_lower_bound(again, &num, &den) == -1,
              "InvalidParameterError: The given type is not an rational!");
  CHECK_ERROR(zorvel_type_get_integer_lower_bound(rows[3].type, &num) == -1,
              "InvalidParameterError: No lower bound exists.");
  CHECK_ERROR(zorvel_type_get_integer_lower_bound(again, NULL) == -1,
              "InvalidParameterError: The argument 'out' is null");
  CHECK_ERROR(zorvel_user_type_add_base_type(again, rows[9].type) == -1,
              "InvalidParameterError: The type 'integer [0, 5]' is not a user type");
  CHECK_ERROR(zorvel_type_is_error(zorvel_user_type_new(env, NULL)),
              "InvalidParameterError: The argument 'name' is null");
  zorvel_type_destroy(again);
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) zorvel_type_destroy(rows[i].type);
  zorvel_env_destroy(env);
}

static void parametric_objects(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_type rover = zorvel_user_type_new(env, "Rover"), number = zorvel_integer_type(env);
  const zorvel_param params[] = {zorvel_parameter_new("r", rover), zorvel_parameter_new("n", number)};
  CHECK_TEXT(zorvel_param_get_name(params[0]), "r");
  zorvel_type type = zorvel_param_get_type(params[0]);
  CHECK(zorvel_type_equality(type, rover) == 1);
  zorvel_type_destroy(type);
  CHECK(zorvel_param_equality(params[0], params[1]) == 0);

  zorvel_fluent load = zorvel_fluent_new(env, "load", number, NULL, 0, params, 2);
  CHECK_TEXT(zorvel_fluent_get_name(load), "load");
  CHECK(zorvel_fluent_get_arity(load) == 2);
  CHECK_OWNED_TEXT(zorvel_fluent_get_anml(load), "load(Rover r, integer n)");
  type = zorvel_fluent_get_type(load);
  CHECK(zorvel_type_equality(type, number) == 1);
  zorvel_type_destroy(type);
  const char* path[] = {"Rover"};
  zorvel_fluent same = zorvel_fluent_new(env, "load", number, NULL, 0, params, 2);
  zorvel_fluent inner = zorvel_fluent_new(env, "load", number, path, 1, params, 2);
  CHECK(zorvel_fluent_equality(load, same) == 1 && zorvel_fluent_equality(load, inner) == 0);
  CHECK_ERROR(zorvel_fluent_is_error(zorvel_fluent_new(env, NULL, number, NULL, 0, NULL, 0)),
              "InvalidParameterError: The argument 'name' is null");
  CHECK_ERROR(zorvel_fluent_is_error(zorvel_fluent_new(env, "f", number, NULL, 0, NULL, 2)),
              "InvalidParameterError: The argument 'params' is null");

  /* The list of an iterator outlives the handle that it was asked of, and stays at its end. */
  zorvel_param_iter iter = zorvel_fluent_get_parameters(inner);
  zorvel_fluent_destroy(inner);
  for (int i = 0; i < 2; ++i) {
    zorvel_param param = zorvel_param_iter_next(iter);
    CHECK(zorvel_param_equality(param, params[i]) == 1);
    zorvel_parameter_destroy(param);
  }
  CHECK_NOTHING(zorvel_param_is_error(zorvel_param_iter_next(iter)));
  CHECK_NOTHING(zorvel_param_is_error(zorvel_param_iter_next(iter)));
  CHECK(zorvel_param_iter_is_error(iter) == 0);
  CHECK_NOTHING(zorvel_param_iter_destroy(iter) == 0);

  zorvel_instance spirit = zorvel_instance_new(env, "spirit", rover);
  CHECK_TEXT(zorvel_instance_get_name(spirit), "spirit");
  type = zorvel_instance_get_type(spirit);
  CHECK(zorvel_type_equality(type, rover) == 1);
  zorvel_type_destroy(type);
  CHECK_ERROR(zorvel_instance_is_error(zorvel_instance_new(env, "i", number)),
              "InvalidParameterError: The type 'integer' is not a user type");

  const zorvel_expr args[] = {zorvel_expr_make_instance_reference(env, spirit),
                              zorvel_expr_make_integer_constant(env, 3)};
  const zorvel_expr reference = zorvel_expr_make_fluent_reference(env, load, args, 2);
  CHECK_OWNED_TEXT(zorvel_expr_get_anml(reference), "load(spirit, 3)");
  zorvel_fluent found = zorvel_expr_get_fluent(env, reference);
  CHECK(zorvel_fluent_equality(found, load) == 1);
  CHECK_ERROR(zorvel_expr_is_error(zorvel_expr_make_fluent_reference(env, load, args, 1)),
              "TypeCheckingError: ");
  zorvel_instance found_instance = zorvel_expr_get_instance(env, args[0]);
  CHECK(zorvel_instance_equality(found_instance, spirit) == 1);

  zorvel_instance_destroy(found_instance);
  zorvel_fluent_destroy(found);
  zorvel_instance_destroy(spirit);
  zorvel_fluent_destroy(same);
  zorvel_fluent_destroy(load);
  zorvel_parameter_destroy(params[0]);
  zorvel_parameter_destroy(params[1]);
  zorvel_type_destroy(number);
  zorvel_type_destroy(rover);
  zorvel_env_destroy(env);
}

static void constants(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_type number = zorvel_integer_type(env), rover = zorvel_user_type_new(env, "Rover");
  const zorvel_param params[] = {zorvel_parameter_new("x", number), zorvel_parameter_new("y", number)};
  zorvel_expr n[10];
  for (int i = 0; i < 10; ++i) n[i] = zorvel_expr_make_integer_constant(env, i);

  zorvel_function_value table = zorvel_function_value_new();
  CHECK_NOTHING(zorvel_expr_is_error(zorvel_function_value_get_default_value(table)));
  CHECK(zorvel_function_value_get_assignments_num(table) == 0);
  const zorvel_expr key12[] = {n[1], n[2]}, key13[] = {n[1], n[3]}, key99[] = {n[9], n[9]};
  CHECK(zorvel_function_value_add_assignment(table, key12, 2, n[5]) == 0);
  CHECK_NOTHING(zorvel_expr_is_error(zorvel_function_value_get_assignment(table, key99, 2)));
  CHECK(zorvel_function_value_add_assignment(table, key12, 1, n[6]) == 0);
  CHECK(zorvel_function_value_set_default_value(table, n[7]) == 0);
  CHECK(zorvel_expr_equality(zorvel_function_value_get_assignment(table, key12, 2), n[5]) == 1);
  CHECK(zorvel_expr_equality(zorvel_function_value_get_assignment(table, key13, 2), n[6]) == 1);
  CHECK(zorvel_expr_equality(zorvel_function_value_get_assignment(table, key99, 2), n[7]) == 1);
  CHECK(zorvel_function_value_get_assignments_num(table) == 3);
  for (unsigned int i = 0; i < 3; ++i)
    CHECK(zorvel_function_value_get_params_num_of_ith_assignment(table, i) == (int)i);
  CHECK(zorvel_expr_equality(zorvel_function_value_get_jth_param_of_ith_assignment(table, 2, 1), n[2]) == 1);
  CHECK(zorvel_expr_equality(zorvel_function_value_get_result_of_ith_assignment(table, 1), n[6]) == 1);
  CHECK_ERROR(zorvel_expr_is_error(zorvel_function_value_get_jth_param_of_ith_assignment(table, 3, 0)),
              "Index 3 is out of range: number of assignments is 3");
  CHECK_ERROR(zorvel_expr_is_error(zorvel_function_value_get_jth_param_of_ith_assignment(table, 1, 1)),
              "Index 1 is out of range: number of arguments is 1");

  zorvel_constant cost = zorvel_constant_new(env, "cost", number, NULL, 0, params, 2, table);
  CHECK_TEXT(zorvel_constant_get_name(cost), "cost");
  CHECK(zorvel_constant_get_arity(cost) == 2);
  CHECK_OWNED_TEXT(zorvel_constant_get_anml(cost), "cost(integer x, integer y)");
  zorvel_function_value got = zorvel_constant_get_value(cost);
  CHECK(zorvel_function_value_equality(got, table) == 1);
  zorvel_type type = zorvel_constant_get_type(cost);
  CHECK(zorvel_type_equality(type, number) == 1);
  const zorvel_expr reference = zorvel_expr_make_constant_reference(env, cost, key12, 2);
  zorvel_constant found = zorvel_expr_get_constant(env, reference);
  CHECK(zorvel_constant_equality(found, cost) == 1);
  zorvel_param_iter iter = zorvel_constant_get_parameters(cost);
  zorvel_param first = zorvel_param_iter_next(iter);
  CHECK_TEXT(zorvel_param_get_name(first), "x");

  const zorvel_instance spirit = zorvel_instance_new(env, "spirit", rover);
  zorvel_function_value mass_of_spirit = zorvel_function_value_new_default_value(n[8]);
  const char* path[] = {"Rover"};
  zorvel_constant mass =
      zorvel_constant_field_new(env, "mass", number, path, 1, NULL, 0, &spirit, &mass_of_spirit, 1);
  CHECK_NOTHING(zorvel_function_value_is_error(zorvel_constant_get_value(mass)));
  zorvel_function_value field = zorvel_constant_get_value_of_instance(mass, spirit);
  CHECK(zorvel_expr_equality(zorvel_function_value_get_default_value(field), n[8]) == 1);

  zorvel_function_value_destroy(field);
  zorvel_constant_destroy(mass);
  zorvel_function_value_destroy(mass_of_spirit);
  zorvel_instance_destroy(spirit);
  zorvel_parameter_destroy(first);
  zorvel_param_iter_destroy(iter);
  zorvel_constant_destroy(found);
  zorvel_type_destroy(type);
  zorvel_function_value_destroy(got);
  zorvel_constant_destroy(cost);
  zorvel_function_value_destroy(table);
  zorvel_parameter_destroy(params[0]);
  zorvel_parameter_destroy(params[1]);
  zorvel_type_destroy(rover);
  zorvel_type_destroy(number);
  zorvel_env_destroy(env);
}

/* `action drive(Rover r) { duration :in [low, 5]; [end] at(r) := true; }` */
static zorvel_action make_drive(zorvel_env env, zorvel_fluent at, zorvel_param r, long low) {
  const zorvel_expr arg = zorvel_expr_make_parameter_reference(env, r);
  const zorvel_expr expressions[] = {
      zorvel_expr_make_in_assign(
          env, zorvel_expr_make_duration_anchor(env),
          zorvel_expr_make_closed_interval(env, zorvel_expr_make_integer_constant(env, low),
                                           zorvel_expr_make_integer_constant(env, 5))),
      zorvel_expr_make_temporal_expression(
          env, zorvel_expr_make_point_interval(env, zorvel_expr_make_end_anchor(env)),
          zorvel_expr_make_assign(env, zorvel_expr_make_fluent_reference(env, at, &arg, 1),
                                  zorvel_expr_make_true(env)))};
  return zorvel_action_new(env, "drive", NULL, 0, &r, 1, expressions, 2, NULL, 0);
}

static void no_type_lies_in_itself(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_type a = zorvel_user_type_new(env, "A"), b = zorvel_user_type_new(env, "B"),
              c = zorvel_user_type_new(env, "C");
  CHECK_ERROR(zorvel_user_type_add_user_type(a, a) == -1,
              "InvalidParameterError: The type 'A' would lie inside of itself");
  CHECK_ERROR(zorvel_user_type_add_base_type(a, a) == -1,
              "InvalidParameterError: The type 'A' would inherit from itself");
  CHECK(zorvel_user_type_add_user_type(a, b) == 0);
  CHECK(zorvel_user_type_add_base_type(b, c) == 0);
  /* In a circle, also one of both kinds: types own their parents and what lies in them. */
  CHECK_ERROR(zorvel_user_type_add_user_type(b, a) == -1,
              "InvalidParameterError: The type 'B' would lie inside of itself");
  CHECK_ERROR(zorvel_user_type_add_base_type(c, b) == -1,
              "InvalidParameterError: The type 'C' would inherit from itself");
  CHECK_ERROR(zorvel_user_type_add_base_type(c, a) == -1,
              "InvalidParameterError: The type 'C' would inherit from itself");
  CHECK(zorvel_user_type_add_base_type(a, c) == 0); /* two ways to one type are no circle */
  zorvel_type_destroy(c);
  zorvel_type_destroy(b);
  zorvel_type_destroy(a);
  zorvel_env_destroy(env);
}

static void problems(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_type rover = zorvel_user_type_new(env, "Rover"), lander = zorvel_user_type_new(env, "Lander");
  CHECK(zorvel_user_type_add_base_type(lander, rover) == 0);
  zorvel_type boolean = zorvel_boolean_type(env);
  zorvel_param r = zorvel_parameter_new("r", rover);
  zorvel_fluent at = zorvel_fluent_new(env, "at", boolean, NULL, 0, &r, 1);
  const zorvel_instance instances[] = {zorvel_instance_new(env, "spirit", rover),
                                       zorvel_instance_new(env, "eagle", lander)};
  /* A lander is a rover, and a rover no lander. */
  const zorvel_expr eagle = zorvel_expr_make_instance_reference(env, instances[1]),
                    spirit = zorvel_expr_make_instance_reference(env, instances[0]);
  CHECK(zorvel_expr_is_error(zorvel_expr_make_fluent_reference(env, at, &eagle, 1)) == 0);
  zorvel_param l = zorvel_parameter_new("l", lander);
  zorvel_fluent landed = zorvel_fluent_new(env, "landed", boolean, NULL, 0, &l, 1);
  CHECK_ERROR(zorvel_expr_is_error(zorvel_expr_make_fluent_reference(env, landed, &spirit, 1)),
              "TypeCheckingError: Found a fluent reference having non-compatible children: ");
  CHECK(zorvel_expr_is_error(zorvel_expr_make_equals(env, eagle, spirit)) == 0);
  zorvel_fluent_destroy(landed);
  zorvel_parameter_destroy(l);
  zorvel_action drive = make_drive(env, at, r, 2);
  CHECK(zorvel_action_is_temporally_uncertain(drive) == 1);
  zorvel_action fixed = make_drive(env, at, r, 5);
  CHECK(zorvel_action_is_temporally_uncertain(fixed) == 0);
  CHECK(zorvel_action_equality(drive, fixed) == 0);
  zorvel_action_destroy(fixed);
  CHECK_TEXT(zorvel_action_get_name(drive), "drive");
  zorvel_expr_iter expressions = zorvel_action_get_expressions(drive);
  CHECK(zorvel_expr_is_in_assign(env, zorvel_expr_iter_next(expressions)) == 1);
  CHECK(zorvel_expr_is_temporal_expression(env, zorvel_expr_iter_next(expressions)) == 1);
  CHECK_NOTHING(zorvel_expr_is_error(zorvel_expr_iter_next(expressions)));
  zorvel_expr_iter_destroy(expressions);

  const zorvel_type types[] = {rover, lander};
  zorvel_problem problem =
      zorvel_problem_new(env, &drive, 1, &at, 1, NULL, 0, instances, 2, types, 2, NULL, 0);
  zorvel_problem again = zorvel_problem_new(env, &drive, 1, &at, 1, NULL, 0, instances, 2, types, 2, NULL, 0);
  CHECK(zorvel_problem_is_error(problem) == 0);
  CHECK(zorvel_problem_equality(problem, again) == 1);
  CHECK(zorvel_problem_is_flat(problem) == 1);
  CHECK(zorvel_problem_has_temporal_uncertainty(problem) == 1);
  const zorvel_fluent twice[] = {at, at};
  CHECK_ERROR(zorvel_problem_is_error(
                  zorvel_problem_new(env, NULL, 0, twice, 2, NULL, 0, NULL, 0, types, 2, NULL, 0)),
              "RedefinitionError: ");

  zorvel_instance_iter by_name = zorvel_problem_get_instances(problem);
  zorvel_instance first = zorvel_instance_iter_next(by_name);
  CHECK_TEXT(zorvel_instance_get_name(first), "eagle");
  zorvel_instance_destroy(first);
  zorvel_instance_iter_destroy(by_name); /* in the middle */
  zorvel_instance_iter landers = zorvel_problem_get_user_type_instances(problem, lander);
  first = zorvel_instance_iter_next(landers);
  CHECK_TEXT(zorvel_instance_get_name(first), "eagle");
  zorvel_instance_destroy(first);
  CHECK_NOTHING(zorvel_instance_is_error(zorvel_instance_iter_next(landers)));
  zorvel_instance_iter_destroy(landers);
  zorvel_instance_iter rovers = zorvel_problem_get_user_type_instances(problem, rover);
  int count = 0;
  for (first = zorvel_instance_iter_next(rovers); !zorvel_instance_is_error(first);
       first = zorvel_instance_iter_next(rovers)) {
    zorvel_instance_destroy(first);
    ++count;
  }
  CHECK(count == 2);
  zorvel_instance_iter_destroy(rovers);
  zorvel_constant_iter none = zorvel_problem_get_constants(problem);
  CHECK_NOTHING(zorvel_constant_is_error(zorvel_constant_iter_next(none)));
  zorvel_constant_iter_destroy(none);
  zorvel_action_iter actions = zorvel_problem_get_actions(problem);
  zorvel_action found = zorvel_action_iter_next(actions);
  CHECK(zorvel_action_equality(found, drive) == 1);
  zorvel_action_destroy(found);
  zorvel_action_iter_destroy(actions);

  char* text = zorvel_problem_get_anml(problem);
  CHECK(text != NULL && strstr(text, "action drive(Rover r)") != NULL);
  free(text);

  /* A user type with a fluent of its own. */
  zorvel_type crate = zorvel_user_type_new(env, "Crate");
  const char* path[] = {"Crate"};
  zorvel_fluent open = zorvel_fluent_new(env, "open", boolean, path, 1, NULL, 0);
  CHECK(zorvel_user_type_add_fluent(crate, open) == 0);
  CHECK_ERROR(zorvel_user_type_add_fluent(crate, open) == -1,
              "RedefinitionError: Name 'open' already defined in this scope");
  zorvel_problem deep = zorvel_problem_new(env, NULL, 0, NULL, 0, NULL, 0, NULL, 0, &crate, 1, NULL, 0);
  CHECK(zorvel_problem_is_flat(deep) == 0);

  /* Handles may go in any order, also behind their environment. */
  zorvel_action_destroy(drive);
  zorvel_fluent_destroy(at);
  zorvel_type_destroy(rover);
  zorvel_env_destroy(env);
  zorvel_problem_destroy(deep);
  zorvel_problem_destroy(problem);
  zorvel_problem_destroy(again);
  zorvel_fluent_destroy(open);
  zorvel_instance_destroy(instances[0]);
  zorvel_instance_destroy(instances[1]);
  zorvel_parameter_destroy(r);
  zorvel_type_destroy(crate);
  zorvel_type_destroy(lander);
  zorvel_type_destroy(boolean);
}

int main(void) {
  types();
  parametric_objects();
  constants();
  no_type_lies_in_itself();
  problems();
  return check_result();
}
