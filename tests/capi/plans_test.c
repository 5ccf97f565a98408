/* Plans of both forms, built by hand. */
#include "check.h"

struct world {
  zorvel_env env;
  zorvel_type rover;
  zorvel_param r;
  zorvel_instance spirit;
  zorvel_action drive, rest;
  zorvel_expr yes, to_spirit;
};

static struct world make_world(void) {
  struct world w;
  w.env = zorvel_env_new();
  w.rover = zorvel_user_type_new(w.env, "Rover");
  w.r = zorvel_parameter_new("r", w.rover);
  w.spirit = zorvel_instance_new(w.env, "spirit", w.rover);
  w.drive = zorvel_action_new(w.env, "drive", NULL, 0, &w.r, 1, NULL, 0, NULL, 0);
  w.rest = zorvel_action_new(w.env, "rest", NULL, 0, NULL, 0, NULL, 0, NULL, 0);
  w.yes = zorvel_expr_make_true(w.env);
  w.to_spirit = zorvel_expr_make_instance_reference(w.env, w.spirit);
  return w;
}

static void destroy_world(struct world w) {
  zorvel_action_destroy(w.rest);
  zorvel_action_destroy(w.drive);
  zorvel_instance_destroy(w.spirit);
  zorvel_parameter_destroy(w.r);
  zorvel_type_destroy(w.rover);
  zorvel_env_destroy(w.env);
}

static void time_triggered(struct world w) {
  zorvel_ttplan plan = zorvel_ttplan_new(w.env);
  CHECK(zorvel_ttplan_get_size(plan) == 0);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(plan), "");
  zorvel_ttplan_step late = zorvel_ttplan_step_new("7/3", w.drive, &w.to_spirit, 1, "5/2", w.yes);
  zorvel_ttplan_step early =
      zorvel_ttplan_step_new_object_action("0", w.rest, NULL, 0, NULL, w.yes, w.spirit);
  CHECK(zorvel_ttplan_add_step(plan, late) == 0 && zorvel_ttplan_add_step(plan, early) == 0);
  CHECK(zorvel_ttplan_get_size(plan) == 2);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(plan), "0: spirit.rest() [0]\n7/3: drive(spirit) [5/2]\n");
  CHECK_OWNED_TEXT(zorvel_ttplan_get_string(plan), "0: spirit.rest()\n2.33: drive(spirit) [2.5]\n");

  zorvel_ttplan_step_iter steps = zorvel_ttplan_get_steps(plan);
  zorvel_ttplan_step first = zorvel_ttplan_step_iter_next(steps),
                     second = zorvel_ttplan_step_iter_next(steps);
  CHECK(zorvel_ttplan_step_equality(first, early) == 1 && zorvel_ttplan_step_equality(second, late) == 1);
  CHECK_NOTHING(zorvel_ttplan_step_is_error(zorvel_ttplan_step_iter_next(steps)));
  CHECK_OWNED_TEXT(zorvel_ttplan_step_get_start_time(second), "7/3");
  CHECK_OWNED_TEXT(zorvel_ttplan_step_get_duration(second), "5/2");
  CHECK(zorvel_ttplan_step_get_num_parameters(second) == 1);
  CHECK(zorvel_expr_equality(zorvel_ttplan_step_get_parameter(second, 0), w.to_spirit) == 1);
  CHECK_ERROR(zorvel_expr_is_error(zorvel_ttplan_step_get_parameter(second, 1)),
              "Index 1 is out of range: number of parameters is 1");
  CHECK(zorvel_expr_equality(zorvel_ttplan_step_get_post_condition(first), w.yes) == 1);
  CHECK_NOTHING(zorvel_instance_is_error(zorvel_ttplan_step_get_instance(second)));
  zorvel_instance instance = zorvel_ttplan_step_get_instance(first);
  CHECK(zorvel_instance_equality(instance, w.spirit) == 1);
  zorvel_action action = zorvel_ttplan_step_get_action(first);
  CHECK(zorvel_action_equality(action, w.rest) == 1);

  const zorvel_expr none = {NULL};
  CHECK_ERROR(zorvel_ttplan_step_is_error(zorvel_ttplan_step_new("0", w.rest, NULL, 0, "1", none)),
              NULL_HANDLE_ERROR);
  CHECK_ERROR(zorvel_ttplan_step_is_error(zorvel_ttplan_step_new("0", w.drive, &none, 1, "1", w.yes)),
              NULL_HANDLE_ERROR);
  CHECK_ERROR(zorvel_ttplan_step_is_error(zorvel_ttplan_step_new("0.5", w.rest, NULL, 0, "1", w.yes)),
              "Unexpected content found while parsing character string.");
  CHECK_ERROR(zorvel_ttplan_step_is_error(zorvel_ttplan_step_new("0", w.rest, NULL, 0, "1/0", w.yes)),
              "bad rational: zero denominator");
  CHECK_ERROR(zorvel_ttplan_step_is_error(zorvel_ttplan_step_new(NULL, w.rest, NULL, 0, "1", w.yes)),
              "InvalidParameterError: The argument 'start' is null");

  zorvel_potplan order = zorvel_potplan_from_ttplan(plan);
  CHECK(zorvel_potplan_get_size(order) == 2);
  zorvel_ttplan back = zorvel_ttplan_from_potplan(order);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(back), "0: spirit.rest() [0]\n7/3: drive(spirit) [5/2]\n");

  zorvel_ttplan_destroy(back);
  zorvel_potplan_destroy(order);
  zorvel_action_destroy(action);
  zorvel_instance_destroy(instance);
  zorvel_ttplan_step_destroy(first);
  zorvel_ttplan_step_destroy(second);
  zorvel_ttplan_step_iter_destroy(steps);
  zorvel_ttplan_step_destroy(early);
  zorvel_ttplan_step_destroy(late);
  zorvel_ttplan_destroy(plan);
}

static void partial_order(struct world w) {
  zorvel_potplan plan = zorvel_potplan_new(w.env), other = zorvel_potplan_new(w.env);
  zorvel_potplan_step first = zorvel_potplan_add_step(plan, "0", w.drive, &w.to_spirit, 1, "2", w.yes);
  zorvel_potplan_step second =
      zorvel_potplan_add_step_object_action(plan, "1/2", w.rest, NULL, 0, "1", w.yes, w.spirit);
  zorvel_potplan_step stranger = zorvel_potplan_add_step(other, "0", w.rest, NULL, 0, "1", w.yes);
  CHECK(zorvel_potplan_get_size(plan) == 2);
  CHECK(zorvel_potplan_step_get_id(second) == zorvel_potplan_step_get_id(first) + 1);
  CHECK_OWNED_TEXT(zorvel_potplan_step_get_delay_time(second), "1/2");
  CHECK_OWNED_TEXT(zorvel_potplan_step_get_duration(second), "1");
  zorvel_instance instance = zorvel_potplan_step_get_instance(second);
  CHECK(zorvel_instance_equality(instance, w.spirit) == 1);
  zorvel_action action = zorvel_potplan_step_get_action(first);
  CHECK(zorvel_action_equality(action, w.drive) == 1);
  CHECK(zorvel_potplan_step_get_num_parameters(first) == 1);
  CHECK(zorvel_expr_equality(zorvel_potplan_step_get_parameter(first, 0), w.to_spirit) == 1);
  CHECK(zorvel_expr_equality(zorvel_potplan_step_get_post_condition(first), w.yes) == 1);

  CHECK(zorvel_potplan_add_precedence(plan, first, second) == 0);
  CHECK_ERROR(zorvel_potplan_add_precedence(plan, first, stranger) == -1,
              "InternalError: Trying to set the precedence of a node that does not belong to this POTPlan");
  zorvel_potplan_step_iter before = zorvel_potplan_get_predecessors(plan, second);
  zorvel_potplan_step only = zorvel_potplan_step_iter_next(before);
  CHECK(zorvel_potplan_step_equality(only, first) == 1);
  CHECK_NOTHING(zorvel_potplan_step_is_error(zorvel_potplan_step_iter_next(before)));
  CHECK_ERROR(zorvel_potplan_step_iter_is_error(zorvel_potplan_get_predecessors(plan, stranger)),
              "InternalError: Trying to access precedences of a non-existing step!");
  char* text = zorvel_potplan_get_string(plan);
  CHECK(text != NULL && strstr(text, "Steps to execute:") != NULL && strstr(text, "Subject to:") != NULL);
  free(text);

  /* The second step is ready plan-epsilon behind the end of the first, and waits for its delay. */
  zorvel_ttplan schedule = zorvel_ttplan_from_potplan(plan);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(schedule),
                   "0: drive(spirit) [2]\n251/100: spirit.rest() [1]\n");
  CHECK(zorvel_potplan_add_precedence(plan, second, first) == 0);
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_ttplan_from_potplan(plan)), "TemporalNetworkIsUnsat: ");

  zorvel_ttplan_destroy(schedule);
  zorvel_potplan_step_destroy(only);
  zorvel_potplan_step_iter_destroy(before);
  zorvel_action_destroy(action);
  zorvel_instance_destroy(instance);
  zorvel_potplan_step_destroy(stranger);
  zorvel_potplan_step_destroy(second);
  zorvel_potplan_step_destroy(first);
  zorvel_potplan_destroy(other);
  zorvel_potplan_destroy(plan);
}

int main(void) {
  const struct world w = make_world();
  time_triggered(w);
  partial_order(w);
  destroy_world(w);
  return check_result();
}
