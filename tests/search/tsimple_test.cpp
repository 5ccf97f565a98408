#include <numeric>

#include "model/model_factory.h"
#include "search/heuristics/hmax.h"
#include "search/tsimple_oracle.h"

namespace zorvel::tsimple {
namespace {

/// The options of one run, taken from a seed.
struct Options {
  explicit Options(unsigned seed)
      : heuristic(std::vector<std::string>{"blind", "hadd", "hff", "hmax", "hlandmarks"}[seed % 5]),
        width(seed / 4 % 4),
        serializes(seed / 16 % 3 == 0),
        skips(seed / 48 % 2 == 1),
        weight(std::vector<double>{0.5, 1.0, 0.25}[seed / 5 % 3]) {}
  void set(Configuration& options) const {
    options.set_value("tsimple-heuristic", heuristic);
    options.set_value("tsimple-goals-serialization", serializes);
    options.set_value("iw-disable-tuple-computation-in-initial-states", skips);
    options.set_value("weight", weight);
  }
  std::string heuristic;
  std::size_t width;
  bool serializes, skips;
  double weight;
};

std::string text_of(const Plan& plan) {
  std::ostringstream out;
  plan.print(out);
  return out.str();
}

TEST(TSimpleSearch, FindsWhatThePlainSearchFinds) {
  int found = 0, refuted = 0, incomplete = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Options options(seed);
    const std::string text = random_classical_problem(seed);
    Environment env;
    options.set(env.configuration());
    const auto problem = parse(env, text);
    TSimplePlanner packed(env, problem, options.width);
    packed.set_limits(at_most(400));
    const TSimplePlanner unused(env, problem, options.width);
    PlainSearch plain(unused, options.width);

    const auto plan = packed.solve();
    const PlainSearch::Result expected = plain.run(400);
    ASSERT_EQ(packed.outcome(), expected.outcome) << text;
    ASSERT_EQ(packed.statistics().expanded, expected.expanded) << text;
    ASSERT_EQ(packed.statistics().stored, expected.stored) << text;
    ASSERT_EQ(packed.statistics().evaluated, expected.evaluated) << text;
    ASSERT_EQ(plan != nullptr, expected.goal != nullptr);
    found += plan ? 1 : 0;
    refuted += expected.outcome == SearchOutcome::no_plan ? 1 : 0;
    incomplete += expected.outcome == SearchOutcome::incomplete ? 1 : 0;
    if (!plan) continue;
    std::shared_ptr<Plan> mapped = build_plan(unused.model(), *expected.goal);
    for (auto step = unused.transformers().rbegin(); step != unused.transformers().rend(); ++step)
      mapped = (*step)->map_back(mapped);
    ASSERT_EQ(text_of(*plan), text_of(*mapped));
  }
  EXPECT_GT(found, 100);
  EXPECT_GT(refuted, 30);
  EXPECT_GT(incomplete, 10);
}

/// Its note is the number of moves behind a state, and one more; so it is 0 for no state.
class HNotes : public Heuristic {
 public:
  using Heuristic::Heuristic;
  double estimate(const StateView& state) override {
    EXPECT_EQ(state.parent_note, state.depth);
    *state.note = state.parent_note + 1;
    return 0.0;
  }
  bool keeps_notes() const override { return true; }
};

TEST(TSimpleSearch, KeepsTheNoteOfTheHeuristicWithEachState) {
  Environment env;
  const TSimplePlanner planner(
      env, parse(env,
                 "fluent integer [0, 50] n; [start] n := 0; [end] n == 45; [start, end] contains n == 3;\n"
                 "action up() { duration := 1; [end] n := n + 1; };\n"));
  EvaluationTables tables(env, planner.model().index());
  SearchOptions options;
  options.heuristic = std::make_shared<HNotes>(env);
  SearchGuard guard(SearchLimits{});
  ClassicalSearch search(planner.model(), tables, {0}, options, guard);
  EXPECT_EQ(search.run(), SearchOutcome::plan_found);
  EXPECT_EQ(search.path().size(), 46U);
}

TEST(TSimpleSearch, FindsAPlanExactlyIfThereIsOne) {
  int with_plan = 0, without = 0;
  for (unsigned seed = 1000; seed < 1150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string text = random_classical_problem(seed);
    Environment env;
    const auto problem = parse(env, text);
    const bool expected = has_plan(TSimplePlanner(env, problem));
    (expected ? with_plan : without) += 1;
    for (const char* heuristic : {"blind", "hadd", "hff", "hmax", "hlandmarks"}) {
      env.configuration().set_value("tsimple-heuristic", std::string(heuristic));
      TSimplePlanner planner(env, problem);
      ASSERT_EQ(planner.solve() != nullptr, expected) << heuristic << '\n' << text;
      ASSERT_EQ(planner.outcome(), expected ? SearchOutcome::plan_found : SearchOutcome::no_plan);
    }
  }
  EXPECT_GT(with_plan, 30);
  EXPECT_GT(without, 30);
}

/// A random order of the steps that the plan allows.
std::vector<POTPlan::StepPtr> linearisation(const POTPlan& plan, std::mt19937& random) {
  std::unordered_set<POTPlan::StepPtr> done;
  std::vector<POTPlan::StepPtr> order;
  while (order.size() < plan.size()) {
    const auto ready = plan.schedulable_steps(done);
    EXPECT_FALSE(ready.empty());
    if (ready.empty()) break;
    order.push_back(ready[random() % ready.size()]);
    done.insert(order.back());
  }
  return order;
}

using States = std::deque<std::unique_ptr<PathState>>;

/// The states of a random walk from the initial one.
States random_walk(const TSimplePlanner& planner, std::mt19937& random) {
  const PlainSearch plain(planner);
  States states;
  states.push_back(std::make_unique<PathState>(planner.model().initial_state()));
  for (int step = 0; step < 8; ++step) {
    States children;
    for (const ClassicalAction& action : planner.model().actions()) {
      std::vector<unsigned long> written;
      if (auto child = plain.apply(action, *states.back(), written)) children.push_back(std::move(child));
    }
    if (children.empty()) break;
    states.push_back(std::move(children[random() % children.size()]));
  }
  return states;
}

TEST(TSimplePlan, EveryOrderThatItAllowsLeadsToTheSameState) {
  int unordered = 0;
  for (unsigned seed = 2000; seed < 2400; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string text = random_classical_problem(seed);
    Environment env;
    const TSimplePlanner planner(env, parse(env, text));
    std::mt19937 random(seed);
    const States walk = random_walk(planner, random);
    const auto plan = build_plan(planner.model(), *walk.back());
    std::map<std::string, const ClassicalAction*> actions;
    for (const ClassicalAction& action : planner.model().actions())
      actions.emplace(action.action()->name(), &action);
    std::set<std::vector<POTPlan::StepPtr>> orders;
    for (int sample = 0; sample < 6; ++sample) {
      const auto order = linearisation(*plan, random);
      orders.insert(order);
      States states;
      states.push_back(std::make_unique<PathState>(planner.model().initial_state()));
      for (const auto& step : order) {
        std::vector<unsigned long> written;
        auto next = PlainSearch(planner).apply(*actions.at(step->action->name()), *states.back(), written);
        ASSERT_TRUE(next) << step->action->name() << '\n' << text << text_of(*plan);
        states.push_back(std::move(next));
      }
      ASSERT_TRUE(*states.back() == *walk.back()) << text << text_of(*plan);
    }
    unordered += orders.size() > 1 ? 1 : 0;
  }
  EXPECT_GT(unordered, 150);
}

TEST(TSimplePlan, ItsScheduleIsValidWhereActionsReadAtTheirStartAndWriteAtTheirEnd) {
  int solved = 0;
  for (unsigned seed = 3000; seed < 3200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string text =
        (seed % 2 == 0 ? ":: (\"mutual-exclusion\");\n" : "") + random_classical_problem(seed, true);
    Environment env;
    const auto problem = parse(env, text);
    TSimplePlanner planner(env, problem);
    const auto plan = planner.solve();
    if (!plan) continue;
    ++solved;
    TTValidator validator(env, problem);
    ASSERT_TRUE(validator.check_validity(std::make_shared<TimeTriggeredPlan>(plan)))
        << validator.reason() << '\n'
        << text << text_of(*plan);
  }
  EXPECT_GT(solved, 60);
}

const std::string lamp =
    "fluent boolean on;\nfluent boolean seen;\nfluent integer [0, 9] pace;\n"
    "[start] on := false;\n[start] seen := false;\n[start] pace := 3;\n";

std::shared_ptr<Plan> solved(Environment& env, const std::string& text) {
  return TSimplePlanner(env, parse(env, text)).solve();
}

TEST(TSimplePlan, HasTheOrderAndTheDurationsThatItsActionsAskFor) {
  const struct {
    const char* statements;
    const char* plan;
  } cases[] = {
      {"[end] not seen;", "Steps to execute:\nSubject to:\n"},
      // Nothing in common: no order.
      {"action light() { duration := 2; [end] on := true; };\n"
       "action look() { duration == 1.5; [end] seen := true; };\n[end] on; [end] seen;",
       "Steps to execute:\n 1) light() with duration 2\n 2) look() with duration 3/2\nSubject to:\n"},
      // A duration that reads a fluent has the value of the state before, and comes behind who wrote it.
      {"action slow() { duration := 1; [start] pace == 3; [end] pace := 7; };\n"
       "action look() { duration := pace; [start] pace == 7; [end] seen := true; };\n[end] seen;",
       "Steps to execute:\n 1) slow() with duration 1\n 2) look() with duration 7\nSubject to:\n 2 > 1\n"},
      {"action look() { duration == pace + 1; [end] seen := true; };\n[end] seen;",
       "Steps to execute:\n 1) look() with duration 4\nSubject to:\n"},
      // A constant below 0 is no duration: the other way is the only one.
      {"constant integer length(integer [0, 1] i); length(0) := 0 - 1; length(1) := 4;\n"
       "action look(integer [0, 1] i) { duration := length(i); [end] seen := true; };\n[end] seen;",
       "Steps to execute:\n 1) look(1) with duration 4\nSubject to:\n"},
      // Who takes the light away comes behind who needed it.
      {"action light() { duration := 1; [start] not on; [start] not seen; [end] on := true; };\n"
       "action look() { duration := 1; [start] on; [end] seen := true; };\n"
       "action dark() { duration := 1; [start] on; [start] seen; [end] on := false; };\n"
       "[end] seen; [end] not on;",
       "Steps to execute:\n 1) light() with duration 1\n 2) look() with duration 1\n 3) dark() with duration "
       "1\nSubject to:\n 2 > 1\n 3 > 1, 2\n"},
      // The writer of another reference of the fluent does not hide an earlier reader.
      {"fluent boolean m(integer [0, 1] i); [start] m(0) := true; [start] m(1) := false;\n"
       "action a_read() { duration := 1; [start] m(0); [start] not seen; [end] seen := true; };\n"
       "action b_other() { duration := 1; [start] pace == 3; [start] seen; [end] m(1) := true; [end] pace := "
       "4; };\n"
       "action c_write() { duration := 1; [start] pace == 4; [end] m(0) := false; [end] pace := 5; };\n"
       "[end] pace == 5;",
       "Steps to execute:\n 1) a_read() with duration 1\n 2) b_other() with duration 1\n 3) c_write() with "
       "duration 1\nSubject to:\n 2 > 1\n 3 > 1, 2\n"},
  };
  for (const auto& test : cases) {
    for (const char* heuristic : {"blind", "hmax", "hadd"}) {
      SCOPED_TRACE(std::string(heuristic) + " " + test.statements);
      Environment env;
      env.configuration().set_value("tsimple-heuristic", std::string(heuristic));
      const auto plan = solved(env, lamp + test.statements);
      ASSERT_TRUE(plan);
      EXPECT_EQ(text_of(*plan), test.plan);
    }
  }
}

TEST(TSimplePlan, ASimulatedEffectMayReadEverything) {
  Environment env;
  env.configuration().set_value("tsimple-heuristic", std::string("blind"));
  model::ExpressionFactory& factory = env.expression_factory();
  const auto base = parse(env, lamp +
                                   "[end] seen; [end] not on;\n"
                                   "action dark() { duration := 1; [start] on; [end] on := false; };\n"
                                   "action light() { duration := 1; [end] on := true; };\n");
  Node* const on = factory.make_fluent_reference(base->fluents().at("on"), {});
  const auto effect = std::make_shared<model::SimulatedEffectImpl>();
  effect->timing = factory.make_end_anchor();
  effect->fluents = {factory.make_fluent_reference(base->fluents().at("seen"), {})};
  effect->function = [on](const zorvel::SearchState& state, const StateIndex& index,
                          const std::vector<Node*>&) { return std::vector<Node*>{state.value(index, on)}; };
  Node* const duration =
      factory.make_assign(factory.make_duration_anchor(), factory.make_rational_constant(rational(1)));
  const auto look = env.model_factory().make_action("look", {}, false, {}, {duration}, {effect});
  const auto problem = env.model_factory().make_problem_instance(
      {base->actions().at("dark"), base->actions().at("light"), look},
      {base->fluents().at("on"), base->fluents().at("seen"), base->fluents().at("pace")}, {}, {}, {},
      {base->expressions().begin(), base->expressions().end()}, {}, {});
  for (const std::size_t width : {0U, 3U}) {
    // Only plain effects feed the novelty test, so with a width the look is never worth it.
    const auto plan = TSimplePlanner(env, problem, width).solve();
    ASSERT_EQ(plan != nullptr, width == 0);
    if (!plan) continue;
    EXPECT_EQ(text_of(*plan),
              "Steps to execute:\n 1) light() with duration 1\n 2) look() with duration 1\n"
              " 3) dark() with duration 1\nSubject to:\n 2 > 1\n 3 > 1, 2\n");
  }
}

TEST(TSimplePlanner, RefusesWhatItCannotPlanFor) {
  const struct {
    const char* statements;
    const char* message;
  } cases[] = {
      {"[5] on := true; [end] on;", "UnsupportedProblemError: Search planner does not support TILs!"},
      {"action look() { duration >= 2; [end] seen := true; }; [end] seen;",
       "UnsupportedProblemError: Actions duration not specified!"},
      {"action look() { duration := 5 / (pace - 3); [end] seen := true; }; [end] seen;",
       "UnsupportedProblemError: Actions duration not specified!"},
      {"action look() { duration := pace - 5; [end] seen := true; }; [end] seen;",
       "InternalError: The duration of an action is negative: -2 in action look"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.statements);
    Environment env;
    try {
      solved(env, lamp + test.statements);
      FAIL() << "no error";
    } catch (const ZorvelError& error) {
      EXPECT_STREQ(error.what(), test.message);
    }
  }
  Environment env;
  env.configuration().set_value("tsimple-heuristic", std::string("hunch"));
  EXPECT_THROW(solved(env, lamp + "[end] on;"), InternalError);
}

TEST(TSimplePlanner, WarnsOfWhatItDoesNotSeeTo) {
  const struct {
    const char* statements;
    const char* warning;
  } cases[] = {
      {"[start, end] contains on;",
       "This planner is guided by these conditions, and does not see to it that they hold at some moment: "
       "on"},
      {"[start, end] not on;",
       "This planner knows no time but the end, and does not see to these conditions: [all] (not on)"},
      {"action look() { duration >= 2; [end] seen := true; };",
       "This planner takes no plan with these actions, whose duration no statement fixes: look"},
      {"fluent boolean lost; [end] lost;", "These fluents are used and have no initial value: lost"},
  };
  for (const auto& test : cases) {
    Environment env;
    const TSimplePlanner planner(env, parse(env, lamp + test.statements));
    const auto& warnings = env.warning_manager().warnings();
    ASSERT_EQ(warnings.size(), 1U) << test.statements;
    EXPECT_EQ(warnings[0], test.warning);
  }
}

TEST(TSimplePlanner, MovesThatBreakABoundOrDivideByZeroAreImpossible) {
  const struct {
    const char* statements;
    bool has_plan;
  } cases[] = {
      {"action up() { duration := 1; [end] pace := pace + 1; }; [end] pace == 9;", true},
      {"action up() { duration := 1; [end] pace := pace + 1; }; [end] pace == 10;", false},
      {"action up() { duration := 1; [start] 6 / (pace - 3) > 0; [end] seen := true; }; [end] seen;", false},
      {"action up() { duration := 1; [end] pace := pace / (pace - 3); [end] seen := true; }; [end] seen;",
       false},
      // An argument outside its type makes a condition false; at the third step it is inside.
      {"fluent boolean m(integer [0, 2] i); [start] m(0) := false; [start] m(1) := true; [start] m(2) := "
       "false;\naction down() { duration := 1; [end] pace := pace - 1; };\n"
       "action look() { duration := 1; [start] m(pace); [end] seen := true; }; [end] seen;",
       true},
  };
  for (const auto& test : cases) {
    for (const char* heuristic : {"blind", "hadd", "hmax"}) {
      SCOPED_TRACE(std::string(heuristic) + " " + test.statements);
      Environment env;
      env.configuration().set_value("tsimple-heuristic", std::string(heuristic));
      EXPECT_EQ(solved(env, lamp + test.statements) != nullptr, test.has_plan);
    }
  }
}

TEST(TSimplePlanner, WhatFollowsAnUncertainStepWaitsForItsLongestDuration) {
  Environment env;
  const auto problem =
      parse(env, lamp +
                     "action light() { duration :in [2, 5]; [start] not on; [end] on := true; };\n"
                     "action look() { duration := 1; [start] on; [end] seen := true; };\n"
                     "action walk() { duration :in [1, 9]; [start] pace >= 1; [end] pace := pace + 1; };\n"
                     "[end] seen; [end] pace == 4;");
  for (const char* heuristic : {"blind", "hadd", "hmax", "hlandmarks"}) {
    SCOPED_TRACE(heuristic);
    env.configuration().set_value("tsimple-heuristic", std::string(heuristic));
    const auto plan = TSimplePlanner(env, problem).solve();
    ASSERT_NE(plan, nullptr);
    EXPECT_EQ(plan->size(), 3U);
    const auto schedule = std::make_shared<TimeTriggeredPlan>(plan);
    TTValidator validator(env, problem);
    EXPECT_TRUE(validator.check_validity(schedule)) << validator.reason();
    EXPECT_GE(schedule->steps().rbegin()->first, rational(5));
  }
}

TEST(TSimplePlanner, ANumberThatCanTakeTooManyValuesCountsAsAnyNumber) {
  // Each layer doubles the values of n, which soon are too many to list.
  Environment env;
  TSimplePlanner planner(env, parse(env,
                                    "fluent integer n; [start] n := 1; [end] n == -1;\n"
                                    "action a() { duration := 1; [end] n := 2 * n; };\n"
                                    "action b() { duration := 1; [end] n := 3 * n + 1; };\n"));
  planner.set_limits(at_most(2));
  EXPECT_FALSE(planner.solve());
  EXPECT_EQ(planner.outcome(), SearchOutcome::expansion_limit);
}

TEST(TSimplePlanner, ACustomHeuristicSeesTheValuesAndDecides) {
  const std::string text = lamp +
                           "action up() { duration := 1; [end] pace := pace + 1; };\n"
                           "action light() { duration := 1; [end] on := true; };\n[end] on;";
  Environment env;
  const auto problem = parse(env, text);
  double deepest = 0;
  TSimplePlanner curious(env, problem, 0, [&](const zorvel::SearchState* state, const StateIndex& index) {
    deepest = std::max(deepest, state->g());
    EXPECT_EQ(state->assignments().size(), index.size());
    return 0.0;
  });
  const auto plan = curious.solve();
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->size(), 1U);
  EXPECT_EQ(deepest, 1.0);
  TSimplePlanner gloomy(env, problem, 0,
                        [](const zorvel::SearchState*, const StateIndex&) { return dead_end; });
  EXPECT_FALSE(gloomy.solve());
  EXPECT_EQ(gloomy.outcome(), SearchOutcome::no_plan);
  EXPECT_EQ(gloomy.statistics().expanded, 1U);  // the initial state is searched whatever is said of it
}

TEST(TSimplePlanner, LimitsEndASearchThatHasNoEnd) {
  const std::string endless =
      "fluent integer n; fluent boolean done; fluent boolean never; [start] n := 0; [start] never := false; "
      "[start] done := false;\n"
      "action up() { duration := 1; [end] n := n + 1; };\naction down() { duration := 1; [end] n := n - 1; "
      "};\n"
      "action stop() { duration := 1; [start] never; [end] done := true; };\n[end] done;";
  const std::atomic<bool> interrupted{true};
  SearchLimits time, memory, interrupt;
  time.seconds = 0.05;
  memory.memory_bytes = 1 << 20;
  interrupt.interrupted = &interrupted;
  for (const auto& [limits, outcome] :
       {std::pair(time, SearchOutcome::time_limit), std::pair(memory, SearchOutcome::memory_limit),
        std::pair(interrupt, SearchOutcome::interrupted),
        std::pair(at_most(100), SearchOutcome::expansion_limit)}) {
    Environment env;
    env.configuration().set_value("tsimple-heuristic", std::string("blind"));
    TSimplePlanner planner(env, parse(env, endless));
    planner.set_limits(limits);
    EXPECT_FALSE(planner.solve());
    EXPECT_EQ(planner.outcome(), outcome);
  }
}

/// Compares both forms of HMax on the states of a random walk; how many of them the packed one could answer.
int compare_on_walk(Environment& env, const std::string& text, unsigned seed) {
  env.configuration().set_value("tsimple-heuristic", std::string("hmax"));
  const TSimplePlanner planner(env, parse(env, text));
  const TSimpleModel& model = planner.model();
  HMax& hmax = dynamic_cast<HMax&>(*planner.heuristic());
  std::mt19937 random(seed);
  int answered = 0;
  for (const auto& state : random_walk(planner, random)) {
    std::vector<ValueId> values(model.index().size());
    planner.tables().layout.pack(*state, values.data());
    StateView view;
    view.values = values.data();
    const double layers = hmax.estimate(view);
    if (hmax.was_plain()) continue;
    ++answered;
    EXPECT_EQ(layers, hmax.estimate_plainly(view))
        << text << model::to_anml(state->as_expression(model.index(), env.expression_factory(), 0));
    if (testing::Test::HasFailure()) break;
  }
  return answered;
}

TEST(ValueReachability, CountsTheLayersThatThePlainFormCounts) {
  int answered = 0;
  for (unsigned seed = 5000; seed < 5200 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Environment env;
    answered += compare_on_walk(env, random_classical_problem(seed), seed);
  }
  EXPECT_GT(answered, 1000);
}

TEST(ValueReachability, TakesNumbersAndNestedReferencesAsThePlainFormDoes) {
  const char* const cases[] = {
      // Reachable in many layers, or never.
      "action up() { duration := 1; [end] pace := pace + 1; }; [end] pace == 9;",
      "action up() { duration := 1; [end] pace := pace + 1; }; [end] pace * 2 == 9;",
      "fluent float f; [start] f := 64.0; action halve() { duration := 1; [end] f := f / 2; }; [end] f < 1;",
      "fluent integer n; [start] n := 1; action a() { duration := 1; [end] n := 2 * n; };\n"
      "action b() { duration := 1; [end] n := 3 * n + 1; }; [end] n == -1;",
      "action div() { duration := 1; [start] 6 / (pace - 3) > 2; [end] seen := true; };\n"
      "action up() { duration := 1; [end] pace := pace + 1; }; [end] seen;",
      "fluent integer [0, 2] at(integer [0, 2] i); [start] at(0) := 1; [start] at(1) := 2; [start] at(2) := "
      "0;\n"
      "action go() { duration := 1; [end] at(1) := at(at(0)); }; [end] at(at(at(1))) == 0;",
      "constant integer cost(integer [0, 9] i); cost(*) := 0;\n"
      "cost(3) := 4; cost(4) := 6; cost(6) := 9;\n"
      "action pay() { duration := 1; [end] pace := cost(pace); }; [end] pace == 9;",
      "[end] on implies seen; [end] not (on == seen) or pace > 3;",
  };
  for (const char* text : cases) {
    SCOPED_TRACE(text);
    Environment env;
    try {
      EXPECT_GT(compare_on_walk(env, lamp + text, 1), 0);
    } catch (const ZorvelError& error) {
      ADD_FAILURE() << error.what();
    }
  }
}

TEST(Trie, RemembersTheTuplesOfStates) {
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    const std::size_t slots = 1 + random() % 5, width = 1 + random() % 5;
    SCOPED_TRACE(std::to_string(slots) + " slots, width " + std::to_string(width));
    Trie trie(slots, width);
    using Tuple = std::vector<std::pair<std::uint32_t, ValueId>>;
    std::set<Tuple> seen;
    for (int step = 0; step < 40; ++step) {
      std::vector<ValueId> values;
      for (std::size_t i = 0; i < slots; ++i) values.push_back(1 + static_cast<ValueId>(random() % 3));
      const auto slot = static_cast<std::uint32_t>(random() % slots);
      const bool all = random() % 3 == 0;
      bool is_new = false;
      for (unsigned mask = 0; mask < 1U << slots; ++mask) {
        Tuple tuple;
        for (std::uint32_t i = 0; i < slots; ++i)
          if ((mask >> i & 1U) != 0) tuple.emplace_back(i, values[i]);
        if (tuple.size() == width && (all || (mask >> slot & 1U) != 0))
          is_new = seen.insert(tuple).second || is_new;
      }
      ASSERT_EQ(all ? trie.add_all(values.data()) : trie.add_with(values.data(), slot), is_new);
      if (random() % 30 == 0) {
        trie.clear();
        seen.clear();
      }
    }
  }
}

TEST(StateTable, FindsWhatWasStoredAndNotErased) {
  constexpr std::size_t slots = 3;
  StateTable table(slots, 5);
  std::mt19937 random(11);
  std::map<std::vector<ValueId>, std::pair<StateId, std::uint32_t>> stored;
  for (std::uint32_t step = 0; step < 6000; ++step) {
    const std::vector<ValueId> values{static_cast<ValueId>(random() % 12),
                                      static_cast<ValueId>(random() % 12),
                                      static_cast<ValueId>(random() % 12)};
    const std::uint32_t hash = table.hash_of(values.data());
    const auto known = stored.find(values);
    ASSERT_EQ(table.contains(values.data(), hash), known != stored.end());
    if (known == stored.end()) {
      const std::uint32_t bits = step & 31U;
      stored[values] = {table.insert({step, 1, 2, 3}, std::span(&bits, 1), values.data(), hash), step};
    } else if (random() % 2 == 0) {
      table.erase(known->second.first);
      stored.erase(known);
    }
    ASSERT_EQ(table.size(), stored.size());
  }
  EXPECT_TRUE(table.is_consistent());
  for (const auto& [values, entry] : stored) {
    EXPECT_EQ(table.info(entry.first).parent, entry.second);
    EXPECT_EQ(table.bits(entry.first)[0], entry.second & 31U);
    EXPECT_TRUE(std::equal(values.begin(), values.end(), table.values(entry.first)));
  }
}

TEST(SuccessorGenerator, FindsTheActionsWhoseDemandsAreMetInOrder) {
  std::mt19937 random(5);
  for (int round = 0; round < 60; ++round) {
    constexpr std::size_t slots = 5;
    std::vector<std::vector<SuccessorGenerator::Demand>> demands(random() % 20);
    for (auto& of_action : demands)
      for (std::size_t i = random() % 4; i > 0; --i)
        of_action.push_back(
            {static_cast<std::uint32_t>(random() % slots), static_cast<ValueId>(random() % 3)});
    SuccessorGenerator generator(demands);
    for (int state = 0; state < 40; ++state) {
      std::vector<ValueId> values;
      for (std::size_t i = 0; i < slots; ++i) values.push_back(static_cast<ValueId>(random() % 3));
      std::vector<std::uint32_t> expected;
      for (std::uint32_t action = 0; action < demands.size(); ++action)
        if (std::all_of(demands[action].begin(), demands[action].end(),
                        [&](const auto& demand) { return values[demand.slot] == demand.value; }))
          expected.push_back(action);
      const auto found = generator.applicable(values.data());
      ASSERT_EQ(std::vector<std::uint32_t>(found.begin(), found.end()), expected);
    }
  }
}

}  // namespace
}  // namespace zorvel::tsimple
