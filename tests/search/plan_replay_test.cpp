#include "search/forward/plan_replay.h"

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/errors.h"
#include "search/forward/plain/ftp_successors.h"
#include "search/support.h"

namespace zorvel::tp::ftp {
namespace {

struct Planner : FtpPlanner {
  using FtpPlanner::FtpPlanner;
  using FtpPlanner::map_back;
};

bool is_valid(Environment& env, const model::ProblemPtr& problem, const std::shared_ptr<Plan>& plan) {
  TTValidator validator(env, problem);
  const bool valid = validator.check_validity(std::make_shared<TimeTriggeredPlan>(plan));
  EXPECT_TRUE(valid) << validator.reason() << '\n' << exact_text(plan);
  return valid;
}

rational makespan(const TimeTriggeredPlan& plan) {
  rational latest(0);
  for (const auto& [start, steps] : plan.steps())
    for (const auto& step : steps) latest = std::max(latest, start + step->duration);
  return latest;
}

/// The events of a random walk through the moves of a problem, to a state with nothing pending.
std::vector<const Event*> random_path(const FtpModel& model, unsigned seed, std::size_t openings) {
  std::mt19937 random(seed);
  Successors<double> successors(model, {}, 1);
  auto state = successors.initial_state();
  std::vector<const Event*> events;
  int failures = 0;
  while (state && failures < 50 && (openings > 0 || !state->todo.empty())) {
    std::unique_ptr<PlainState<double>> next;
    const Event* event = nullptr;
    const bool opens = openings > 0 && (state->todo.empty() || random() % 3 == 0);
    if (opens) {
      const auto action = static_cast<ActionId>(random() % model.actions().size());
      event = model.actions()[action].start;
      next = successors.open(*state, action, false);
    } else {
      const EventInstance first = state->todo[random() % state->todo.size()].front();
      event = first.first;
      if (openings == 0 || event->action || event->anchor.from_start)
        next = successors.apply(*state, first, false);
    }
    if (!next) {
      ++failures;
      continue;
    }
    failures = 0;
    openings -= opens ? 1 : 0;
    events.push_back(event);
    state = std::move(next);
  }
  return state && state->todo.empty() ? events : std::vector<const Event*>();
}

/// The plan of a path in the order-keeping moves of the plain successors, in exact numbers.
std::shared_ptr<TimeTriggeredPlan> plan_of_successors(const FtpModel& model,
                                                      const std::vector<const Event*>& events,
                                                      bool deordering) {
  Successors<rational> successors(model, {.deordering = deordering, .simultaneity = false}, 1);
  const auto state = successors.initial_state();
  std::vector<std::pair<EventInstance, ActionId>> openings;
  for (const Event* event : events) {
    if (event->kind == EventKind::START_ACTION) {
      const ActionId action = model.action_id(event->action->name());
      openings.push_back({{event, state->next_instance}, action});
      EXPECT_TRUE(successors.open_in_place(*state, action));
      continue;
    }
    const auto list = std::find_if(state->todo.begin(), state->todo.end(),
                                   [&](const TodoList& todo) { return todo.front().first == event; });
    EXPECT_TRUE(list != state->todo.end() && successors.apply_in_place(*state, list->front()));
  }
  const auto times = state->tn.get_min_makespan_solution(successors.interpreter());
  auto plan = std::make_shared<TimeTriggeredPlan>(model.env());
  for (const auto& [start, id] : openings) {
    const ActionModel& action = model.actions()[id];
    plan->add_step(
        std::make_shared<TimeTriggeredStep>(times.at(start), action.action, std::vector<Node*>(),
                                            times.at({action.end, start.second + 1}) - times.at(start)));
  }
  return plan;
}

/// A random problem of several chains that touch one another, without goals.
std::string crowded_problem(unsigned seed) {
  std::istringstream lines(random_problem(seed) + random_problem(seed + 100000));
  std::string text, line;
  int actions = 0;
  bool in_second = false;
  while (std::getline(lines, line)) {
    if (line.starts_with("[end]")) {
      in_second = true;
      continue;
    }
    // Declarations and timed statements come from the first, actions from both.
    if (in_second && !line.starts_with("action") && !line.starts_with(" ") && line != "};") continue;
    if (line.starts_with("action")) line = "action a" + std::to_string(actions++) + "() {";
    text += line + '\n';
  }
  return text;
}

TEST(PlanReplay, RandomPathsGiveValidPlansInOrderAndOutOfIt) {
  int plans = 0, shorter = 0;
  for (unsigned seed = 0; seed < 400 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string text = (seed % 4 == 3 ? ":: (\"mutual-exclusion\");\n" : "") + crowded_problem(seed);
    SCOPED_TRACE(text);
    Environment env;
    const auto problem = parse(env, text);
    Planner planner(env, problem);
    std::vector<const Event*> events;
    for (unsigned attempt = 0; attempt < 20 && events.empty(); ++attempt)
      events = random_path(planner.model(), 1000 * seed + attempt, 2 + (seed + attempt) % 7);
    if (events.empty()) continue;
    ++plans;
    const auto ordered = replay_events(planner.model(), events, false);
    const auto deordered = replay_events(planner.model(), events, true);
    EXPECT_EQ(exact_text(ordered), exact_text(plan_of_successors(planner.model(), events, false)));
    EXPECT_EQ(exact_text(deordered), exact_text(plan_of_successors(planner.model(), events, true)));
    is_valid(env, problem, planner.map_back(ordered));
    is_valid(env, problem, planner.map_back(deordered));
    EXPECT_LE(makespan(*deordered), makespan(*ordered));
    shorter += makespan(*deordered) < makespan(*ordered) ? 1 : 0;
  }
  EXPECT_GT(plans, 100);
  EXPECT_GT(shorter, 50);
}

TEST(PlanReplay, RefusesPathsThatDoNotFit) {
  Environment env;
  const auto problem = parse(env,
                             "fluent boolean p; fluent boolean q; [start] p := false; [start] q := false;"
                             "action make() { duration := 2; [end] p := true; };"
                             "action use() { duration := 1; [start, end] p; [end] q := true; }; [end] q;");
  Planner planner(env, problem);
  const FtpModel& model = planner.model();
  const ActionModel& make = model.actions()[0];
  const ActionModel& use = model.actions()[1];
  const auto is_refused = [&](std::vector<const Event*> events) {
    return error_of([&] { replay_events(model, events, false); }) != "";
  };
  std::vector<const Event*> good{make.start};
  good.insert(good.end(), make.events.begin(), make.events.end());
  good.push_back(use.start);
  EXPECT_FALSE(is_refused(good)) << "what is pending in the end happens by itself";
  EXPECT_TRUE(is_refused({use.start})) << "a condition at the opening";
  EXPECT_TRUE(is_refused({make.start, use.start}));
  EXPECT_TRUE(is_refused({make.start})) << "the goal";
  EXPECT_TRUE(is_refused({make.events.back(), make.start})) << "an event of no open action";
  EXPECT_TRUE(is_refused({make.start, use.events.back()}));
}

struct DeorderingCase {
  const char* name;
  const char* text;
};

TEST(PlanReplay, BothFormsOfDeorderingKeepWhatCounts) {
  const DeorderingCase cases[] = {
      {"an event between an effect and its user",
       "fluent boolean p; fluent boolean q; fluent boolean r;"
       "[start] p := false; [start] q := false; [start] r := false;"
       "action make() { duration := 5; [end] p := true; };"
       "action other() { duration := 1; [start] p; [end] r := true; };"
       "action use() { duration := 1; [end] p; [end] q := true; }; [end] q and r;"},
      {"a duration that reads what another writes",
       "fluent boolean p; fluent boolean r; fluent integer [0, 9] n;"
       "[start] p := false; [start] r := false; [start] n := 2;"
       "action lift() { duration := 3; [end] n := 7; [end] r := true; };"
       "action run() { duration := n; [end] p := r; }; [end] p;"},
      {"the end of the plan is behind what happens at times of its own",
       "fluent boolean p; fluent boolean q; [start] p := false; [start] q := false; [20] q := true;"
       "action make() { duration := 1; [end] p := true; }; action spoil() { duration := 1; [end] p := false; "
       "};"
       "[end - 3, end] p;"},
  };
  for (const DeorderingCase& test : cases) {
    for (const char* option : {"ftp-deordering", "ftp-deordering-plan"}) {
      SCOPED_TRACE(std::string(test.name) + ", " + option);
      Environment env;
      env.configuration().set_value(option, true);
      const auto problem = parse(env, test.text);
      Planner planner(env, problem);
      planner.set_limits(at_most(20000));
      const auto plan = planner.solve();
      ASSERT_NE(plan, nullptr);
      is_valid(env, problem, plan);
    }
  }
}

}  // namespace
}  // namespace zorvel::tp::ftp
