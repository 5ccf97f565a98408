/* From text to a plan and back, with the callbacks. The files are written to the current folder. */
#include <math.h>

#include "check.h"

static const char lamp[] =
    "fluent boolean lit;\n"
    "fluent boolean seen;\n"
    "action light() { duration := 5; [start] lit := true; [end] lit := false; };\n"
    "action look() { duration := 2; [all] lit; [end] seen := true; };\n"
    "[start] lit := false;\n"
    "[start] seen := false;\n"
    "goal [end] seen;\n";

static zorvel_problem parse(zorvel_env env, const char* text) {
  int line = -1;
  zorvel_problem problem = zorvel_parse_anml_text(env, text, &line);
  CHECK(!zorvel_problem_is_error(problem) && line == 0);
  return problem;
}

static void a_plan_is_found_validated_and_read_again(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_problem problem = parse(env, lamp);
  zorvel_ttplan plan = zorvel_do_ftp_planning(problem);
  CHECK(!zorvel_ttplan_is_error(plan));
  CHECK(zorvel_ttplan_get_size(plan) == 2);
  CHECK(zorvel_ttplan_validate(problem, plan) == 1);
  char* reason = NULL;
  CHECK(zorvel_ttplan_explain(problem, plan, &reason) == 1);
  CHECK_OWNED_TEXT(reason, "");

  /* Steps of the planner have no post-condition. */
  zorvel_ttplan_step_iter steps = zorvel_ttplan_get_steps(plan);
  zorvel_ttplan_step step = zorvel_ttplan_step_iter_next(steps);
  CHECK_NOTHING(zorvel_expr_is_error(zorvel_ttplan_step_get_post_condition(step)));
  zorvel_ttplan_step_destroy(step);
  zorvel_ttplan_step_iter_destroy(steps);

  char* text = zorvel_ttplan_get_exact_string(plan);
  zorvel_ttplan read = zorvel_parse_ttplan_text(problem, text, NULL);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(read), text);
  free(text);
  zorvel_ttplan wrong = zorvel_parse_ttplan_text(problem, "0: look() [2]\n", NULL);
  CHECK(zorvel_ttplan_validate(problem, wrong) == 0);
  CHECK(zorvel_ttplan_explain(problem, wrong, &reason) == 0);
  CHECK(strlen(reason) > 0);
  free(reason);
  int line = 0;
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_parse_ttplan_text(problem, "0: look() [2]\nnonsense\n", &line)),
              "ParserError: ");
  CHECK(line == 2);

  zorvel_ttplan_destroy(wrong);
  zorvel_ttplan_destroy(read);
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

static void types_below_types_are_planned_for(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_problem problem =
      parse(env,
            "type Lamp with { fluent boolean lit; action light() { duration := 1; [end] lit := true; }; };\n"
            "type Torch < Lamp; type Box;\n"
            "instance Torch t; instance Lamp l; instance Box b;\n"
            "fluent boolean carried(Lamp x);\n"
            "action carry(Torch x) { duration := 2; [start] x.lit; [end] carried(x) := true; };\n"
            "[start] forall (Lamp x) { x.lit := false; carried(x) := false; };\n"
            "goal [end] carried(t);\n");
  zorvel_ttplan plan = zorvel_do_ftp_planning(problem);
  CHECK(zorvel_ttplan_get_size(plan) == 2);
  CHECK(zorvel_ttplan_validate(problem, plan) == 1);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(plan), "0: t.light() [1]\n101/100: carry(t) [2]\n");
  zorvel_ttplan wrong = zorvel_parse_ttplan_text(problem, "0: l.light() [1]\n2: carry(l) [2]\n", NULL);
  char* reason = NULL;
  CHECK(zorvel_ttplan_explain(problem, wrong, &reason) == 0);
  CHECK_OWNED_TEXT(reason, "Step 2: carry(l) [2] has a parameter 'x' that is no Torch");
  zorvel_ttplan_destroy(wrong);
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

static void no_plan_is_no_error(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_problem problem = parse(env,
                                 "fluent boolean p;\n"
                                 "[start] p := false;\n"
                                 "goal [end] p;\n");
  zorvel_search_outcome outcome = ZORVEL_PLAN_FOUND;
  CHECK_NOTHING(zorvel_ttplan_is_error(zorvel_do_ftp_planning(problem)));
  CHECK_NOTHING(zorvel_ttplan_is_error(zorvel_do_ftp_planning_with_limits(problem, 0, 0, &outcome)));
  CHECK(outcome == ZORVEL_NO_PLAN);
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_do_ftp_planning_with_limits(problem, NAN, 0, &outcome)),
              "InvalidParameterError: The argument 'seconds'");
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_do_ftp_planning_with_limits(problem, 1, -1, &outcome)),
              "InvalidParameterError: The argument 'mebibytes'");
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_do_ftp_planning_with_limits(problem, 1, 1, NULL)),
              "InvalidParameterError: The argument 'outcome' is null");
  zorvel_problem_destroy(problem);

  /* Counting up without an end: the search must be stopped. */
  problem = parse(env,
                  "fluent integer n;\n"
                  "fluent boolean p;\n"
                  "action up() { duration := 1; [end] n := n + 1; };\n"
                  "[start] n := 0;\n"
                  "[start] p := false;\n"
                  "goal [end] (n == -1);\n");
  const char* blind = "blind";
  CHECK(zorvel_env_set_vector_string_option(env, "ftp-heuristic", &blind, 1) == 0);
  CHECK_NOTHING(zorvel_ttplan_is_error(zorvel_do_ftp_planning_with_limits(problem, 0, 1, &outcome)));
  CHECK(outcome == ZORVEL_MEMORY_LIMIT);
  CHECK_NOTHING(zorvel_ttplan_is_error(zorvel_do_ftp_planning_with_limits(problem, 0.05, 0, &outcome)));
  CHECK(outcome == ZORVEL_TIME_LIMIT);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

/* The plan is there and valid. */
static void check_and_destroy(zorvel_problem problem, zorvel_ttplan plan) {
  CHECK(!zorvel_ttplan_is_error(plan));
  CHECK(zorvel_ttplan_validate(problem, plan) == 1);
  zorvel_ttplan_destroy(plan);
}

struct seen_plans {
  int plans, calls_before_stop;
  double makespan;
};

static int see_plan(zorvel_ttplan plan, double makespan, double seconds, void* user_data) {
  struct seen_plans* seen = user_data;
  CHECK(!zorvel_ttplan_is_error(plan));
  CHECK(seconds >= 0);
  CHECK(seen->plans == 0 || makespan < seen->makespan);
  seen->makespan = makespan;
  return ++seen->plans == seen->calls_before_stop;
}

static int stop_at_once(const zorvel_search_progress* progress, void* user_data) {
  ++*(int*)user_data;
  CHECK(progress->seconds >= 0);
  return 1;
}

static void plans_get_shorter_until_that_is_proved(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_problem problem = parse(env,
                                 "fluent boolean p := false;\n"
                                 "action slow() { duration := 9; [end] p := true; };\n"
                                 "action fast() { duration := 3; [end] p := true; };\n"
                                 "goal [end] p;\n"
                                 ":: (\"metric\", \"minimize-makespan\");\n");
  zorvel_search_outcome outcome = ZORVEL_TIME_LIMIT;
  zorvel_ttplan first = zorvel_do_guided_planning_with_limits(problem, 0, 0, &outcome);
  CHECK(outcome == ZORVEL_PLAN_FOUND);
  check_and_destroy(problem, first);

  zorvel_search search = zorvel_search_new(problem, NULL, NULL, 0);
  CHECK(!zorvel_search_is_error(search));
  CHECK(zorvel_search_get_bound(search) == 0);
  int plans = 0;
  while (1) {
    zorvel_ttplan plan = zorvel_search_next(search, 0, &outcome);
    if (zorvel_ttplan_is_error(plan)) break;
    CHECK(outcome == ZORVEL_PLAN_FOUND);
    check_and_destroy(problem, plan);
    ++plans;
  }
  CHECK(plans >= 1 && outcome == ZORVEL_NO_PLAN);
  CHECK(zorvel_search_get_bound(search) == 3);
  zorvel_search_progress progress;
  CHECK(zorvel_search_get_progress(search, &progress) == 0);
  CHECK_ERROR(zorvel_search_get_progress(search, NULL) == -1,
              "InvalidParameterError: The argument 'progress'");
  zorvel_search_destroy(search);
  const char* name = "no-such-option";
  const char* value = "1";
  CHECK_ERROR(zorvel_search_is_error(zorvel_search_new(problem, &name, &value, 1)),
              "InvalidParameterError: There is no option 'no-such-option' of a search");

  struct seen_plans seen = {0, 0, 0};
  zorvel_ttplan best = zorvel_do_anytime_planning(problem, 0, 0, see_plan, &seen, &outcome);
  CHECK(!zorvel_ttplan_is_error(best) && outcome == ZORVEL_PLAN_FOUND && seen.makespan == 3);
  zorvel_ttplan_destroy(best);
  struct seen_plans stopped = {0, 1, 0};
  best = zorvel_do_anytime_planning(problem, 0, 0, see_plan, &stopped, &outcome);
  CHECK(!zorvel_ttplan_is_error(best) && outcome == ZORVEL_INTERRUPTED && stopped.plans == 1);
  zorvel_ttplan_destroy(best);
  zorvel_problem_destroy(problem);

  problem = parse(env,
                  "fluent integer n := 0;\n"
                  "action up() { duration := 1; [end] n := n + 1; };\n"
                  "goal [end] (n == 1) or (n == -1);\n");
  const char* planners[] = {"auto", "ftp", "tsimple", "iw"};
  for (int i = 0; i < 4; ++i) {
    zorvel_ttplan plan = zorvel_do_planning_with_limits(problem, planners[i], 0, 0, NULL, NULL, &outcome);
    CHECK(!zorvel_ttplan_is_error(plan) && outcome == ZORVEL_PLAN_FOUND);
    zorvel_ttplan_destroy(plan);
  }
  CHECK_ERROR(
      zorvel_ttplan_is_error(zorvel_do_planning_with_limits(problem, "dijkstra", 0, 0, NULL, NULL, &outcome)),
      "InvalidParameterError: There is no planner 'dijkstra'");
  zorvel_problem_destroy(problem);
  problem = parse(env,
                  "fluent integer n := 0;\n"
                  "action up() { duration := 1; [end] n := n + 1; };\n"
                  "goal [end] (n == -1);\n");
  int calls = 0;
  CHECK_NOTHING(zorvel_ttplan_is_error(
      zorvel_do_planning_with_limits(problem, "ftp", 20, 0, stop_at_once, &calls, &outcome)));
  CHECK(outcome == ZORVEL_INTERRUPTED && calls >= 1);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

struct counting {
  zorvel_env env;
  zorvel_expr fluent;
  int calls, lit, errors;
};

static double prefer_lit(zorvel_classical_state state, zorvel_interpretation interpretation,
                         void* user_data) {
  struct counting* data = user_data;
  const zorvel_expr value = zorvel_state_get_value(state, interpretation, data->fluent);
  const int lit = zorvel_expr_get_boolean_constant(data->env, value);
  ++data->calls;
  if (lit == 1) ++data->lit;
  if (zorvel_expr_is_error(zorvel_state_get_value(state, interpretation, zorvel_expr_make_true(data->env))))
    ++data->errors;
  return lit == 1 ? 0 : 1;
}

static void a_custom_heuristic_reads_the_state(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_problem problem = parse(env, lamp);
  zorvel_fluent_iter fluents = zorvel_problem_get_fluents(problem);
  zorvel_fluent lit = zorvel_fluent_iter_next(fluents);
  CHECK_TEXT(zorvel_fluent_get_name(lit), "lit");
  struct counting data = {env, zorvel_expr_make_fluent_reference(env, lit, NULL, 0), 0, 0, 0};
  zorvel_ttplan plan = zorvel_do_ftp_planning_with_custom_heuristic(problem, prefer_lit, &data);
  CHECK(!zorvel_ttplan_is_error(plan));
  CHECK(zorvel_ttplan_validate(problem, plan) == 1);
  CHECK(data.calls > 0 && data.lit > 0 && data.lit < data.calls);
  CHECK(data.errors == data.calls); /* reading what is no fluent is an error, and does no harm */
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_do_ftp_planning_with_custom_heuristic(problem, NULL, NULL)),
              "InvalidParameterError: The argument 'callback' is null");
  zorvel_ttplan_destroy(plan);
  zorvel_fluent_destroy(lit);
  zorvel_fluent_iter_destroy(fluents);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

/* What a heuristic on a counter does: the estimate is the distance to `goal`, or `most` less it; or at the
 * call number `fails_at`, at all of them if that is -1, the value `failure`. */
struct distance {
  zorvel_env env;
  zorvel_expr fluent;
  long goal;
  double most, failure;
  int calls, fails_at;
};

static double distance_to_goal(zorvel_classical_state state, zorvel_interpretation interpretation,
                               void* user_data) {
  struct distance* data = user_data;
  const zorvel_expr value = zorvel_state_get_value(state, interpretation, data->fluent);
  long number = 0;
  zorvel_expr_get_integer_constant(data->env, value, &number);
  const double away = (double)labs(data->goal - number);
  if (++data->calls == data->fails_at || data->fails_at == -1) return data->failure;
  return data->most > 0 ? data->most - away : away;
}

static void the_guided_search_takes_a_custom_heuristic(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_problem problem = parse(env,
                                 "fluent integer [-50, 50] n := 0;\n"
                                 "action up() { duration := 1; [end] n := n + 1; };\n"
                                 "action down() { duration := 1; [end] n := n - 1; };\n"
                                 "goal [end] n == 9;\n");
  zorvel_fluent_iter fluents = zorvel_problem_get_fluents(problem);
  zorvel_fluent n = zorvel_fluent_iter_next(fluents);
  struct distance near = {env, zorvel_expr_make_fluent_reference(env, n, NULL, 0), 9, 0, 0, 0, 0};
  zorvel_search_outcome outcome = ZORVEL_TIME_LIMIT;

  /* It steers: away from the goal, all other values are met first. The first plan only, since what comes
   * after it is bounded by a fixed amount of work. */
  struct distance away = near;
  away.most = 100;
  struct distance* const both[] = {&near, &away};
  for (int i = 0; i < 2; ++i) {
    zorvel_search search =
        zorvel_search_new_with_custom_heuristic(problem, distance_to_goal, both[i], NULL, NULL, 0);
    zorvel_ttplan plan = zorvel_search_next(search, 0, &outcome);
    CHECK(outcome == ZORVEL_PLAN_FOUND);
    check_and_destroy(problem, plan);
    zorvel_search_destroy(search);
  }
  CHECK(near.calls >= 10 && 2 * near.calls < away.calls);

  zorvel_ttplan plans[] = {zorvel_do_guided_planning_with_custom_heuristic(problem, distance_to_goal, &near),
                           zorvel_do_guided_planning_with_custom_heuristic_and_limits(
                               problem, distance_to_goal, &near, 0, 0, &outcome)};
  CHECK(outcome == ZORVEL_PLAN_FOUND);
  for (int i = 0; i < 2; ++i) check_and_destroy(problem, plans[i]);

  /* Every planner takes it by its name, but for the one that has no estimates. */
  const char* const planners[] = {"auto", "ftp", "tsimple"};
  for (int i = 0; i < 3; ++i) {
    zorvel_ttplan plan = zorvel_do_planning_with_custom_heuristic_and_limits(
        problem, planners[i], distance_to_goal, &near, 0, 0, NULL, NULL, &outcome);
    CHECK(outcome == ZORVEL_PLAN_FOUND);
    check_and_destroy(problem, plan);
  }
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_do_planning_with_custom_heuristic_and_limits(
                  problem, "iw", distance_to_goal, &near, 0, 0, NULL, NULL, &outcome)),
              "InvalidParameterError: The planner 'iw' takes no heuristic of the caller");

  /* Its dead ends are believed. */
  struct distance hopeless = near;
  hopeless.calls = 0;
  hopeless.fails_at = -1;
  hopeless.failure = -1;
  CHECK_NOTHING(zorvel_ttplan_is_error(zorvel_do_guided_planning_with_custom_heuristic_and_limits(
      problem, distance_to_goal, &hopeless, 0, 0, &outcome)));
  CHECK(outcome == ZORVEL_NO_PLAN && hopeless.calls >= 1);

  /* A value that is none ends the call; the next one loses nothing by it. */
  struct distance failing = near;
  failing.calls = 0;
  failing.fails_at = 5;
  failing.failure = NAN;
  zorvel_search search =
      zorvel_search_new_with_custom_heuristic(problem, distance_to_goal, &failing, NULL, NULL, 0);
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_search_next(search, 0, &outcome)),
              "InvalidParameterError: The custom heuristic gave a value that is not finite: nan");
  zorvel_ttplan plan = zorvel_search_next(search, 0, &outcome);
  CHECK(!zorvel_ttplan_is_error(plan) && outcome == ZORVEL_PLAN_FOUND);
  zorvel_ttplan_destroy(plan);
  zorvel_search_destroy(search);

  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_do_guided_planning_with_custom_heuristic(problem, NULL, NULL)),
              "InvalidParameterError: The argument 'callback' is null");
  CHECK_ERROR(
      zorvel_search_is_error(zorvel_search_new_with_custom_heuristic(problem, NULL, NULL, NULL, NULL, 0)),
      "InvalidParameterError: The argument 'callback' is null");
  zorvel_fluent_destroy(n);
  zorvel_fluent_iter_destroy(fluents);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

static void classical_plans_are_partial_orders(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_problem problem = parse(env,
                                 "fluent boolean lit;\n"
                                 "fluent boolean seen;\n"
                                 "action light() { duration := 5; [end] lit := true; };\n"
                                 "action look() { duration := 2; [start] lit; [end] seen := true; };\n"
                                 "[start] lit := false;\n"
                                 "[start] seen := false;\n"
                                 "goal [end] seen;\n");
  zorvel_fluent_iter fluents = zorvel_problem_get_fluents(problem);
  zorvel_fluent lit = zorvel_fluent_iter_next(fluents);
  struct counting data = {env, zorvel_expr_make_fluent_reference(env, lit, NULL, 0), 0, 0, 0};
  zorvel_potplan plans[] = {zorvel_do_tsimple_planning(problem), zorvel_do_iw_planning(problem),
                            zorvel_do_tsimple_planning_with_custom_heuristic(problem, prefer_lit, &data)};
  CHECK(data.calls > 0 && data.lit > 0);
  for (int i = 0; i < 3; ++i) {
    CHECK(!zorvel_potplan_is_error(plans[i]));
    CHECK_OWNED_TEXT(zorvel_potplan_get_string(plans[i]),
                     "Steps to execute:\n 1) light() with duration 5\n 2) look() with duration 2\n"
                     "Subject to:\n 2 > 1\n");
    zorvel_ttplan schedule = zorvel_ttplan_from_potplan(plans[i]);
    check_and_destroy(problem, schedule);
    zorvel_potplan_destroy(plans[i]);
  }
  CHECK_ERROR(zorvel_potplan_is_error(zorvel_do_tsimple_planning_with_custom_heuristic(problem, NULL, NULL)),
              "InvalidParameterError: The argument 'callback' is null");
  zorvel_fluent_destroy(lit);
  zorvel_fluent_iter_destroy(fluents);
  zorvel_problem_destroy(problem);

  problem = parse(env, "fluent boolean p;\n[start] p := false;\ngoal [end] p;\n");
  CHECK_NOTHING(zorvel_potplan_is_error(zorvel_do_tsimple_planning(problem)));
  CHECK_NOTHING(zorvel_potplan_is_error(zorvel_do_iw_planning(problem)));
  zorvel_problem_destroy(problem);
  problem = parse(env, "fluent boolean p;\n[start] p := false;\n[5] p := true;\ngoal [end] p;\n");
  CHECK_ERROR(zorvel_potplan_is_error(zorvel_do_tsimple_planning(problem)),
              "UnsupportedProblemError: Search planner does not support TILs!");
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

struct doubling {
  zorvel_env env;
  zorvel_expr level;
  int calls;
};

/* level := level * parameter, computed here. */
static void multiply(zorvel_classical_state state, zorvel_interpretation interpretation,
                     zorvel_vector_expr parameters, zorvel_vector_expr result, void* user_data) {
  struct doubling* data = user_data;
  long level = 0, factor = 0;
  ++data->calls;
  CHECK(zorvel_vector_get_size(parameters) == 1);
  CHECK(zorvel_expr_get_integer_constant(
            data->env, zorvel_state_get_value(state, interpretation, data->level), &level) == 0);
  CHECK(zorvel_expr_get_integer_constant(data->env, zorvel_vector_get_expr(parameters, 0), &factor) == 0);
  CHECK(zorvel_expr_is_error(zorvel_vector_get_expr(parameters, 1)));
  zorvel_reset_error_message();
  CHECK(zorvel_vector_add_expr(result, zorvel_vector_get_expr(parameters, 0)) == 0 &&
        zorvel_vector_clear(result) == 0);
  CHECK(zorvel_vector_add_expr(result, zorvel_expr_make_integer_constant(data->env, level * factor)) == 0);
}

static void a_simulated_effect_computes_its_value(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_type number = zorvel_integer_type(env), small = zorvel_integer_type_lub(env, 2, 3);
  zorvel_fluent fluent = zorvel_fluent_new(env, "level", number, NULL, 0, NULL, 0);
  zorvel_param factor = zorvel_parameter_new("factor", small);
  const zorvel_expr level = zorvel_expr_make_fluent_reference(env, fluent, NULL, 0);
  const zorvel_expr at_start = zorvel_expr_make_point_interval(env, zorvel_expr_make_start_anchor(env));
  const zorvel_expr at_end = zorvel_expr_make_point_interval(env, zorvel_expr_make_end_anchor(env));
  struct doubling data = {env, level, 0};
  zorvel_simulated_effect effect = zorvel_simulated_effect_new(at_end, &level, 1, multiply, &data);
  CHECK(!zorvel_simulated_effect_is_error(effect));
  CHECK_ERROR(zorvel_simulated_effect_is_error(zorvel_simulated_effect_new(at_end, &level, 1, NULL, NULL)),
              "InvalidParameterError: The argument 'callback' is null");
  const zorvel_expr duration = zorvel_expr_make_assign(env, zorvel_expr_make_duration_anchor(env),
                                                       zorvel_expr_make_integer_constant(env, 1));
  zorvel_action grow = zorvel_action_new(env, "grow", NULL, 0, &factor, 1, &duration, 1, &effect, 1);
  const zorvel_expr statements[] = {
      zorvel_expr_make_temporal_expression(
          env, at_start, zorvel_expr_make_assign(env, level, zorvel_expr_make_integer_constant(env, 1))),
      zorvel_expr_make_temporal_expression(
          env, at_end, zorvel_expr_make_equals(env, level, zorvel_expr_make_integer_constant(env, 6)))};
  zorvel_problem problem =
      zorvel_problem_new(env, &grow, 1, &fluent, 1, NULL, 0, NULL, 0, NULL, 0, statements, 2);
  const char* heuristics[] = {"blind", "hadd"};
  for (int i = 0; i < 2; ++i) {
    CHECK(zorvel_env_set_vector_string_option(env, "ftp-heuristic", &heuristics[i], 1) == 0);
    zorvel_ttplan plan = zorvel_do_ftp_planning(problem);
    CHECK(zorvel_ttplan_get_size(plan) == 2); /* 2 * 3 in some order */
    check_and_destroy(problem, plan);
  }
  CHECK(data.calls > 0);
  const char* classical_heuristics[] = {"blind", "hadd", "hff", "hmax"};
  for (int i = 0; i < 4; ++i) {
    CHECK(zorvel_env_set_string_option(env, "tsimple-heuristic", classical_heuristics[i]) == 0);
    zorvel_potplan plan = zorvel_do_tsimple_planning(problem);
    CHECK(!zorvel_potplan_is_error(plan));
    CHECK(zorvel_potplan_get_size(plan) == 2);
    zorvel_potplan_destroy(plan);
  }
  zorvel_problem_destroy(problem);
  zorvel_action_destroy(grow);
  zorvel_simulated_effect_destroy(effect);
  zorvel_parameter_destroy(factor);
  zorvel_fluent_destroy(fluent);
  zorvel_type_destroy(small);
  zorvel_type_destroy(number);
  zorvel_env_destroy(env);
}

struct small {
  zorvel_env env;
  zorvel_type boolean;
  zorvel_fluent done;
  zorvel_expr at_start, at_end, is_done, set_done, unset_done;
};

static struct small small_new(void) {
  struct small s;
  s.env = zorvel_env_new();
  s.boolean = zorvel_boolean_type(s.env);
  s.done = zorvel_fluent_new(s.env, "done", s.boolean, NULL, 0, NULL, 0);
  s.at_start = zorvel_expr_make_point_interval(s.env, zorvel_expr_make_start_anchor(s.env));
  s.at_end = zorvel_expr_make_point_interval(s.env, zorvel_expr_make_end_anchor(s.env));
  const zorvel_expr done = zorvel_expr_make_fluent_reference(s.env, s.done, NULL, 0);
  s.is_done = zorvel_expr_make_temporal_expression(s.env, s.at_end, done);
  s.set_done = zorvel_expr_make_temporal_expression(
      s.env, s.at_end, zorvel_expr_make_assign(s.env, done, zorvel_expr_make_true(s.env)));
  s.unset_done = zorvel_expr_make_temporal_expression(
      s.env, s.at_start, zorvel_expr_make_assign(s.env, done, zorvel_expr_make_false(s.env)));
  return s;
}

static void small_destroy(struct small s) {
  zorvel_fluent_destroy(s.done);
  zorvel_type_destroy(s.boolean);
  zorvel_env_destroy(s.env);
}

/* A problem in which an action of these two statements brings about what is wanted. */
static zorvel_problem small_problem(struct small s, zorvel_expr duration, zorvel_expr more) {
  const zorvel_expr body[] = {duration, s.set_done, more};
  zorvel_action act = zorvel_action_new(s.env, "act", NULL, 0, NULL, 0, body, 3, NULL, 0);
  const zorvel_expr statements[] = {s.unset_done, s.is_done};
  zorvel_problem problem =
      zorvel_problem_new(s.env, &act, 1, &s.done, 1, NULL, 0, NULL, 0, NULL, 0, statements, 2);
  zorvel_action_destroy(act);
  return problem;
}

static void a_duration_in_a_point_is_fixed(void) {
  struct small s = small_new();
  const zorvel_expr three = zorvel_expr_make_integer_constant(s.env, 3);
  const zorvel_expr duration = zorvel_expr_make_in_assign(s.env, zorvel_expr_make_duration_anchor(s.env),
                                                          zorvel_expr_make_point_interval(s.env, three));
  CHECK_OWNED_TEXT(zorvel_expr_get_anml(duration), "(duration :in [3, 3])");
  zorvel_problem problem = small_problem(s, duration, s.set_done);
  CHECK(zorvel_problem_has_temporal_uncertainty(problem) == 1);
  zorvel_ttplan plan = zorvel_do_ftp_planning(problem);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(plan), "0: act() [3]\n");
  CHECK(zorvel_ttplan_validate(problem, plan) == 1);
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(problem);
  small_destroy(s);
}

#define UNLISTED                                                                            \
  "InvalidParameterError: The problem does not list the fluent 'level', which is used in: " \
  "[end] (level == 1)"

/* Everything that a planner cannot use is named. */
static void what_cannot_be_planned_for_is_named(void) {
  struct small s = small_new();
  const zorvel_expr one = zorvel_expr_make_integer_constant(s.env, 1);
  const zorvel_expr duration = zorvel_expr_make_assign(s.env, zorvel_expr_make_duration_anchor(s.env), one);
  zorvel_type number = zorvel_integer_type(s.env);
  zorvel_fluent level = zorvel_fluent_new(s.env, "level", number, NULL, 0, NULL, 0);
  const zorvel_expr reference = zorvel_expr_make_fluent_reference(s.env, level, NULL, 0);
  const zorvel_expr is_one =
      zorvel_expr_make_temporal_expression(s.env, s.at_end, zorvel_expr_make_equals(s.env, reference, one));

  zorvel_problem problem = small_problem(s, duration, is_one);
  zorvel_ttplan steps = zorvel_ttplan_new(s.env);
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_do_ftp_planning(problem)), UNLISTED);
  CHECK_ERROR(zorvel_potplan_is_error(zorvel_do_tsimple_planning(problem)), UNLISTED);
  CHECK_ERROR(zorvel_potplan_is_error(zorvel_do_iw_planning(problem)), UNLISTED);
  CHECK_ERROR(zorvel_ttplan_validate(problem, steps) == -1, UNLISTED);
  zorvel_problem_destroy(problem);

  const zorvel_expr late = zorvel_expr_make_point_interval(s.env, zorvel_expr_make_duration_anchor(s.env));
  problem = small_problem(
      s, duration, zorvel_expr_make_temporal_expression(s.env, late, zorvel_expr_get_child(s.is_done, 1)));
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_do_ftp_planning(problem)),
              "UnsupportedStatementError: A time is not 'start + k' or 'end - k' with a number k, in the "
              "statement of action 'act': [duration] done");
  zorvel_problem_destroy(problem);

  problem = small_problem(s, duration, s.set_done);
  const double weights[] = {NAN, -0.1, 1.1};
  const char* heuristics[] = {"blind", "hadd"};
  for (int i = 0; i < 6; ++i) {
    zorvel_env_set_vector_string_option(s.env, "ftp-heuristic", &heuristics[i % 2], 1);
    CHECK(zorvel_env_set_float_option(s.env, "weight", weights[i / 2]) == 0);
    CHECK_ERROR(zorvel_ttplan_is_error(zorvel_do_ftp_planning(problem)),
                "InvalidParameterError: The option 'weight' must lie between 0 and 1, but it is ");
    CHECK_ERROR(zorvel_potplan_is_error(zorvel_do_tsimple_planning(problem)),
                "InvalidParameterError: The option 'weight' must lie between 0 and 1, but it is ");
  }
  zorvel_problem_destroy(problem);
  zorvel_ttplan_destroy(steps);
  zorvel_fluent_destroy(level);
  zorvel_type_destroy(number);
  small_destroy(s);
}

/* The text of a sum that shares its parts doubles with each of them. */
static void messages_quote_the_beginning_of_long_expressions(void) {
  struct small s = small_new();
  zorvel_type number = zorvel_integer_type(s.env);
  zorvel_fluent level = zorvel_fluent_new(s.env, "level", number, NULL, 0, NULL, 0);
  zorvel_expr sum = zorvel_expr_make_fluent_reference(s.env, level, NULL, 0);
  for (int i = 0; i < 60; ++i)
    sum = i % 2 == 0 ? zorvel_expr_make_plus(s.env, sum, sum) : zorvel_expr_make_times(s.env, sum, sum);
  CHECK_ERROR(zorvel_expr_is_error(zorvel_expr_make_not(s.env, sum)), "TypeCheckingError: ");
  zorvel_expr_make_not(s.env, sum);
  CHECK(strlen(zorvel_get_last_error_message()) > 2000 && strlen(zorvel_get_last_error_message()) < 2200);
  zorvel_reset_error_message();

  const zorvel_expr goal = zorvel_expr_make_temporal_expression(
      s.env, s.at_end, zorvel_expr_make_equals(s.env, sum, zorvel_expr_make_integer_constant(s.env, 1)));
  zorvel_problem problem =
      small_problem(s, zorvel_expr_make_assign(s.env, zorvel_expr_make_duration_anchor(s.env), sum), goal);
  CHECK_ERROR(zorvel_ttplan_is_error(zorvel_do_ftp_planning(problem)), "InvalidParameterError: ");
  zorvel_problem_destroy(problem);

  const zorvel_expr begin = zorvel_expr_make_temporal_expression(
      s.env, s.at_start,
      zorvel_expr_make_assign(s.env, zorvel_expr_make_fluent_reference(s.env, level, NULL, 0),
                              zorvel_expr_make_integer_constant(s.env, 0)));
  const zorvel_expr statements[] = {begin, goal};
  problem = zorvel_problem_new(s.env, NULL, 0, &level, 1, NULL, 0, NULL, 0, NULL, 0, statements, 2);
  zorvel_ttplan steps = zorvel_ttplan_new(s.env);
  char* reason = NULL;
  CHECK(zorvel_ttplan_explain(problem, steps, &reason) == 0);
  CHECK(reason != NULL && strlen(reason) > 2000 && strlen(reason) < 5000);
  free(reason);
  zorvel_ttplan_destroy(steps);
  zorvel_problem_destroy(problem);
  zorvel_fluent_destroy(level);
  zorvel_type_destroy(number);
  small_destroy(s);
}

static void metrics_can_be_taken_off(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_problem with = parse(env,
                              "fluent boolean lit;\n[start] lit := false;\n"
                              "action light() { duration := 5; [end] lit := true; };\n"
                              "goal [end] lit;\n::(\"metric\", \"minimize-makespan\");\n");
  zorvel_reset_error_message();
  CHECK(zorvel_ttplan_is_error(zorvel_do_ftp_planning(with)) && zorvel_get_last_error_message() != NULL);
  zorvel_problem without = zorvel_problem_without_metrics(with);
  CHECK(zorvel_problem_equality(with, without) == 0);
  zorvel_ttplan plan = zorvel_do_ftp_planning(without);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(plan), "0: light() [5]\n");
  CHECK(zorvel_ttplan_validate(with, plan) == 1);
  zorvel_problem again = zorvel_problem_without_metrics(without);
  CHECK(zorvel_problem_equality(again, without) == 1);
  CHECK_ERROR(zorvel_problem_is_error(zorvel_problem_without_metrics((zorvel_problem){NULL})),
              NULL_HANDLE_ERROR);
  zorvel_problem_destroy(again);
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(without);
  zorvel_problem_destroy(with);
  zorvel_env_destroy(env);
}

static void mutual_exclusion_can_be_asked_for(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_problem without = parse(env,
                                 "fluent boolean lit;\n[start] lit := true;\n"
                                 "action look() { duration := 2; [end] lit; };\n"
                                 "action snuff() { duration := 1; [end] lit := false; };\n"
                                 "goal [end] not lit;\n");
  CHECK(zorvel_problem_has_mutual_exclusion(without) == 0);
  zorvel_problem with = zorvel_problem_with_mutual_exclusion(without, 1);
  CHECK(zorvel_problem_has_mutual_exclusion(with) == 1);
  CHECK(zorvel_problem_equality(with, without) == 0);
  zorvel_ttplan plan = zorvel_parse_ttplan_text(without, "0: look() [2]\n1: snuff() [1]\n", NULL);
  CHECK(zorvel_ttplan_validate(without, plan) == 1);
  CHECK(zorvel_ttplan_validate(with, plan) == 0);
  zorvel_problem again = zorvel_problem_with_mutual_exclusion(with, 0);
  CHECK(zorvel_problem_equality(again, without) == 1);
  CHECK_ERROR(zorvel_problem_is_error(zorvel_problem_with_mutual_exclusion((zorvel_problem){NULL}, 1)),
              NULL_HANDLE_ERROR);
  zorvel_problem_destroy(again);
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(with);
  zorvel_problem_destroy(without);
  zorvel_env_destroy(env);
}

static double not_a_number(zorvel_classical_state state, zorvel_interpretation interpretation,
                           void* user_data) {
  (void)state, (void)interpretation, (void)user_data;
  return NAN;
}

/* A faulty callback: `user_data` is what it adds, an error handle for nothing. */
static void add_nonsense(zorvel_classical_state state, zorvel_interpretation interpretation,
                         zorvel_vector_expr parameters, zorvel_vector_expr result, void* user_data) {
  (void)state, (void)interpretation, (void)parameters;
  zorvel_vector_add_expr(result, *(const zorvel_expr*)user_data);
  zorvel_reset_error_message();
}

static void faulty_callbacks_do_no_harm(void) {
  zorvel_env env = zorvel_env_new();
  zorvel_problem problem = parse(env, lamp);
  CHECK_ERROR(
      zorvel_ttplan_is_error(zorvel_do_ftp_planning_with_custom_heuristic(problem, not_a_number, NULL)),
      "InvalidParameterError: The custom heuristic gave a value that is not finite: nan");
  zorvel_problem_destroy(problem);

  zorvel_type number = zorvel_integer_type_lub(env, 0, 9);
  zorvel_fluent fluent = zorvel_fluent_new(env, "level", number, NULL, 0, NULL, 0);
  const zorvel_expr level = zorvel_expr_make_fluent_reference(env, fluent, NULL, 0);
  const zorvel_expr one = zorvel_expr_make_integer_constant(env, 1);
  const zorvel_expr at_start = zorvel_expr_make_point_interval(env, zorvel_expr_make_start_anchor(env));
  const zorvel_expr at_end = zorvel_expr_make_point_interval(env, zorvel_expr_make_end_anchor(env));
  const zorvel_expr duration = zorvel_expr_make_assign(env, zorvel_expr_make_duration_anchor(env), one);
  const zorvel_expr statements[] = {
      zorvel_expr_make_temporal_expression(env, at_start, zorvel_expr_make_assign(env, level, one)),
      zorvel_expr_make_temporal_expression(
          env, at_end, zorvel_expr_make_equals(env, level, zorvel_expr_make_integer_constant(env, 2)))};
  /* Nothing at all, a value of another type, one that is no value, one out of the bounds. */
  zorvel_expr nonsense[] = {
      {NULL}, zorvel_expr_make_true(env), level, zorvel_expr_make_integer_constant(env, 10)};
  const char* heuristics[] = {"blind", "hadd", "hmax"};
  for (size_t i = 0; i < sizeof nonsense / sizeof nonsense[0]; ++i) {
    zorvel_simulated_effect effect =
        zorvel_simulated_effect_new(at_end, &level, 1, add_nonsense, &nonsense[i]);
    zorvel_action act = zorvel_action_new(env, "act", NULL, 0, NULL, 0, &duration, 1, &effect, 1);
    problem = zorvel_problem_new(env, &act, 1, &fluent, 1, NULL, 0, NULL, 0, NULL, 0, statements, 2);
    for (size_t h = 0; h < sizeof heuristics / sizeof heuristics[0]; ++h) {
      zorvel_env_set_vector_string_option(env, "ftp-heuristic", &heuristics[h], 1);
      zorvel_ttplan plan = zorvel_do_ftp_planning(problem);
      CHECK(zorvel_ttplan_is_error(plan));
      zorvel_ttplan_destroy(plan);
      zorvel_ttplan steps = zorvel_parse_ttplan_text(problem, "0: act() [1]\n", NULL);
      CHECK(zorvel_ttplan_validate(problem, steps) != 1);
      zorvel_ttplan_destroy(steps);
    }
    zorvel_problem_destroy(problem);
    zorvel_action_destroy(act);
    zorvel_simulated_effect_destroy(effect);
  }
  zorvel_reset_error_message();
  zorvel_fluent_destroy(fluent);
  zorvel_type_destroy(number);
  zorvel_env_destroy(env);
}

static void files_are_read_and_written(void) {
  zorvel_env env = zorvel_env_new();
  CHECK_ERROR(zorvel_problem_is_error(zorvel_parse_anml(env, "no-such-file.anml")),
              "InvalidParameterError: File 'no-such-file.anml' does not exist!");
  CHECK_ERROR(zorvel_problem_is_error(zorvel_parse_anml(env, NULL)),
              "InvalidParameterError: The argument 'file' is null");
  int line = 0;
  CHECK_ERROR(
      zorvel_problem_is_error(zorvel_parse_anml_text(env, "fluent boolean p;\nfluent fluent;\n", &line)),
      "ParserError: syntax error at line 2");
  CHECK(line == 2);

  zorvel_problem problem = parse(env, lamp);
  CHECK(zorvel_dump_anml(problem, "capi_planning_test.anml") == 0);
  CHECK_ERROR(zorvel_dump_anml(problem, "no/such/folder/x.anml") == -1,
              "InvalidParameterError: Unable to open file 'no/such/folder/x.anml' for writing!");
  zorvel_problem read = zorvel_parse_anml(env, "capi_planning_test.anml");
  CHECK(!zorvel_problem_is_error(read));
  char* text = zorvel_problem_get_anml(problem);
  CHECK_OWNED_TEXT(zorvel_problem_get_anml(read), text);
  free(text);
  remove("capi_planning_test.anml");
  zorvel_problem_destroy(read);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

static const char cellar_domain[] =
    "(define (domain d) (:types m) (:predicates (lit) (used ?x - m))\n"
    "(:durative-action strike :parameters (?x - m) :duration (= ?duration 2)\n"
    " :condition (at start (not (used ?x))) :effect (and (at start (used ?x)) (at end (lit)))))\n";

static void write_text(const char* path, const char* text) {
  FILE* file = fopen(path, "wb");
  CHECK(file != NULL && fputs(text, file) >= 0 && fclose(file) == 0);
}

static void full_pddl_is_read_and_all_its_faults_are_reported(void) {
  zorvel_env env = zorvel_env_new();
  const char* domain =
      "(define (domain d) (:types wax wick - candle candle) (:predicates (at ?x - candle) (lit))\n"
      "(:action light :parameters (?x - wick) :precondition (not (at ?x)) :effect (and (at ?x) (Lit))))\n";
  zorvel_problem problem = zorvel_read_pddl_text(
      env, domain, "(define (problem p) (:objects a - wax b - wick) (:goal (and (lit) (not (at a)))))");
  CHECK(!zorvel_problem_is_error(problem));
  zorvel_ttplan plan = zorvel_do_ftp_planning(problem);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(plan), "0: light(b) [0]\n");
  CHECK(zorvel_ttplan_validate(problem, plan) == 1);
  CHECK_ERROR(zorvel_problem_is_error(zorvel_read_pddl_text(
                  env, domain, "(define (problem p) (:objects a - wix)\n (:goal (and (lit a) (out))))")),
              "ParserError: problem:1:35: the type 'wix' is not declared; did you mean 'wax'?\n"
              "problem:2:15: the predicate 'lit' has 1 argument, not 0 arguments as in (lit) at domain:1:85\n"
              "problem:2:23: the predicate 'out' is not declared");
  CHECK_ERROR(zorvel_problem_is_error(zorvel_read_pddl(env, "no_such_file", "x")),
              "InvalidParameterError: Input file 'no_such_file' does not exist!");
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

static void pddl_is_read_from_files_and_from_memory(void) {
  zorvel_env env = zorvel_env_new();
  int line = -1;
  zorvel_problem problem = zorvel_parse_pddl_text(
      env, cellar_domain, "(define (problem p) (:objects m1 - m) (:goal (lit)))", &line);
  CHECK(!zorvel_problem_is_error(problem) && line == 0);
  zorvel_ttplan plan = zorvel_do_ftp_planning(problem);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(plan), "0: action_strike(m1) [2]\n");
  CHECK(zorvel_ttplan_validate(problem, plan) == 1);

  const char* domain_file = "capi_planning_test_domain.pddl";
  const char* problem_file = "capi_planning_test_problem.pddl";
  write_text(domain_file, cellar_domain);
  write_text(problem_file, "(define (problem p)\n (:goal (out)))\n");
  CHECK_ERROR(zorvel_problem_is_error(zorvel_parse_pddl(env, domain_file, problem_file)),
              "InternalError: Not implemented 'unresolved_symbol': unresolved<out> "
              "(capi_planning_test_problem.pddl:2)");
  write_text(problem_file, "(define (problem p) (:objects m1 - m) (:goal (lit)))");
  zorvel_problem read = zorvel_parse_pddl(env, domain_file, problem_file);
  zorvel_ttplan same = zorvel_do_ftp_planning(read);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(same), "0: action_strike(m1) [2]\n");
  zorvel_ttplan_destroy(same);
  remove(problem_file);
  CHECK_ERROR(zorvel_problem_is_error(zorvel_parse_pddl(env, domain_file, problem_file)),
              "InvalidParameterError: Input file 'capi_planning_test_problem.pddl' does not exist!");
  remove(domain_file);
  CHECK_ERROR(zorvel_problem_is_error(zorvel_parse_pddl(env, domain_file, NULL)),
              "InvalidParameterError: The argument 'problem_file' is null");
  CHECK_ERROR(zorvel_problem_is_error(zorvel_parse_pddl_text(env, cellar_domain, "\n)", &line)),
              "ParserError: syntax error at line 2 (problem:2)");
  CHECK(line == 2);

  zorvel_problem_destroy(read);
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

/* The text has to hold each part, one behind the other. */
static void check_parts(char* text, const char* const* parts) {
  CHECK(text != NULL);
  const char* rest = text;
  for (; rest != NULL && *parts != NULL; ++parts) {
    rest = strstr(rest, *parts);
    if (rest == NULL) check_failed(__FILE__, __LINE__, *parts);
  }
  free(text);
}

static void answers_for_tools_have_the_names_of_the_text(void) {
  zorvel_env env = zorvel_env_new();
  const char* domain =
      "(define (domain d) (:types wax wick - candle candle) (:predicates (at ?x - candle) (lit ?x - "
      "candle))\n"
      "(:durative-action light :parameters (?x - wick) :duration (= ?duration 1.5)\n"
      " :condition (at start (at ?x)) :effect (at end (lit ?x))))\n";
  zorvel_problem problem =
      zorvel_read_pddl_text(env, domain,
                            "(define (problem p) (:objects Wick-1 wick-2 - wick idle - wax)\n"
                            "(:init (at wick-1)) (:goal (lit wick-1)))");
  CHECK(!zorvel_problem_is_error(problem));
  zorvel_ttplan plan = zorvel_do_ftp_planning(problem);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_pddl(problem, plan),
                   "; Makespan 1.500\n0.000: (light Wick-1) [1.500]\n");
  check_parts(zorvel_ttplan_get_json(problem, plan),
              (const char* const[]){"\"makespan\"", "\"3/2\"", "\"steps\"", "\"light\"", "\"Wick-1\"", NULL});
  check_parts(zorvel_ttplan_get_svg(problem, plan, "objects"),
              (const char* const[]){"<svg", "Wick-1", "light", "</svg>", NULL});
  CHECK_ERROR(zorvel_ttplan_get_svg(problem, plan, "colours") == NULL,
              "InvalidParameterError: There are no rows 'colours'");
  check_parts(zorvel_problem_check(problem),
              (const char* const[]){"\"unsolvable\": false", "idle", "\"line\"", NULL});

  zorvel_problem other = zorvel_read_pddl_text(env, domain, "(define (problem p) (:goal (lit wick-3)))");
  CHECK(zorvel_problem_is_error(other));
  CHECK_TEXT(zorvel_get_last_error_file(), "problem");
  CHECK(zorvel_get_last_error_line() == 1 && zorvel_get_last_error_column() == 33);
  zorvel_reset_error_message();
  CHECK(zorvel_get_last_error_file() == NULL && zorvel_get_last_error_line() == 0);

  /* An error handle in the place of a plan or a problem, and rows that are not named. */
  const zorvel_ttplan no_plan = {NULL};
  const zorvel_problem no_problem = {NULL};
  CHECK_ERROR(zorvel_ttplan_get_json(problem, no_plan) == NULL, NULL_HANDLE_ERROR);
  CHECK_ERROR(zorvel_ttplan_get_pddl(no_problem, plan) == NULL, NULL_HANDLE_ERROR);
  CHECK_ERROR(zorvel_problem_check(no_problem) == NULL, NULL_HANDLE_ERROR);
  CHECK_ERROR(zorvel_ttplan_get_svg(problem, plan, NULL) == NULL,
              "InvalidParameterError: The argument 'rows' is null");
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

static void features_are_compiled_away(void) {
  static const char places[] =
      "type Place; instance Place home, office, moon;\n"
      "fluent Place at := home; fluent boolean seen := false;\n"
      "action go() { duration := 4; [start] at == home; [start + 1] seen := true; [end] at := office; };\n"
      "goal [end] at == office;\n";
  zorvel_env env = zorvel_env_new();
  zorvel_problem problem = parse(env, places);
  zorvel_problem booleans = zorvel_problem_usertype_fluents_compiler(problem);
  zorvel_problem pieces = zorvel_problem_intermediate_effects_compiler(booleans);
  char* text = zorvel_problem_get_anml(pieces);
  CHECK(text != NULL && strstr(text, "action go_e()") != NULL && strstr(text, "fluent Place at") == NULL);
  free(text);
  zorvel_ttplan plan = zorvel_do_guided_planning(pieces);
  CHECK(zorvel_ttplan_get_size(plan) == 3);
  CHECK(zorvel_ttplan_validate(pieces, plan) == 1);

  zorvel_problem smaller = parse(env, "type Place; instance Place home, office;");
  zorvel_problem bounded = zorvel_problem_bound(problem, smaller);
  text = zorvel_problem_get_anml(bounded);
  CHECK(text != NULL && strstr(text, "_is_active_Place") != NULL);
  free(text);

  zorvel_problem lifted =
      parse(env, "type Place; fluent Place at; action go(Place to) { duration := 1; [end] at := to; };");
  CHECK_ERROR(
      zorvel_problem_is_error(zorvel_problem_usertype_fluents_compiler(lifted)),
      "UnsupportedProblemError: UserTypeFluentsCompiler transformer only works with ground actions! go");
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(lifted);
  zorvel_problem_destroy(bounded);
  zorvel_problem_destroy(smaller);
  zorvel_problem_destroy(pieces);
  zorvel_problem_destroy(booleans);
  zorvel_problem_destroy(problem);
  zorvel_env_destroy(env);
}

int main(void) {
  a_plan_is_found_validated_and_read_again();
  types_below_types_are_planned_for();
  no_plan_is_no_error();
  plans_get_shorter_until_that_is_proved();
  a_custom_heuristic_reads_the_state();
  the_guided_search_takes_a_custom_heuristic();
  classical_plans_are_partial_orders();
  a_simulated_effect_computes_its_value();
  a_duration_in_a_point_is_fixed();
  what_cannot_be_planned_for_is_named();
  messages_quote_the_beginning_of_long_expressions();
  metrics_can_be_taken_off();
  mutual_exclusion_can_be_asked_for();
  faulty_callbacks_do_no_harm();
  files_are_read_and_written();
  pddl_is_read_from_files_and_from_memory();
  full_pddl_is_read_and_all_its_faults_are_reported();
  answers_for_tools_have_the_names_of_the_text();
  features_are_compiled_away();
  return check_result();
}
