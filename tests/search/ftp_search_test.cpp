#include <tuple>

#include "search/support.h"
#include "support/random_problems.h"

namespace zorvel::tp::ftp {
namespace {

/// Runs either form of the search on one problem.
class BothSearches : public FtpPlanner {
 public:
  using FtpPlanner::FtpPlanner;
  struct Result {
    SearchOutcome outcome;
    std::uint64_t expanded, stored;
    std::vector<const Event*> events;
    friend bool operator==(const Result&, const Result&) = default;
  };
  Result run(bool dense, bool weak) {
    initialize_heuristic();
    Result result;
    SearchGuard guard(limits_);
    result.outcome =
        dense ? search_densely(weak, guard, result.events) : search_plainly(weak, guard, result.events);
    result.expanded = statistics().expanded;
    result.stored = statistics().stored;
    return result;
  }
};

void expect_equal_searches(const std::string& text, const std::vector<std::string>& heuristics, bool weak,
                           std::uint64_t expansions) {
  Environment env;
  env.configuration().set_value("ftp-heuristic", heuristics);
  BothSearches planner(env, parse(env, text));
  planner.set_limits(at_most(expansions));
  const auto plain = planner.run(false, weak);
  const auto dense = planner.run(true, weak);
  EXPECT_EQ(plain.outcome, dense.outcome);
  EXPECT_EQ(plain.expanded, dense.expanded);
  EXPECT_EQ(plain.stored, dense.stored);
  EXPECT_TRUE(plain.events == dense.events) << text;
}

TEST(FtpSearch, DenseAndPlainSearchAgreeOnRandomProblems) {
  const std::vector<std::vector<std::string>> heuristics{
      {"blind"},         {"hadd"},       {"blind", "hadd"},     {"hff"},
      {"hsize", "hmax"}, {"hlandmarks"}, {"hadd", "hlandmarks"}};
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string rule = seed >= 150 ? ":: (\"mutual-exclusion\");\n" : "";
    expect_equal_searches(rule + random_problem(seed), heuristics[seed % heuristics.size()], seed % 5 == 0,
                          300);
    if (HasFailure()) break;
  }
}

// So many slots that states store only what changed, and actions after which there is too much of that.
TEST(FtpSearch, DenseAndPlainSearchAgreeOnWideStates) {
  std::string wide =
      "fluent boolean wide(integer [0, 700] n);\n[start] forall(integer [0, 700] n) { wide(n) := false; };\n";
  for (const auto& [name, first, count] : {std::tuple("one", 0, 1), std::tuple("many", 10, 30)}) {
    wide += std::string("action ") + name + "() { duration := 1; [start] wide(0) == false;";
    for (int slot = first; slot < first + count; ++slot)
      wide += " [end] wide(" + std::to_string(slot) + ") := true;";
    wide += " };\n";
  }
  const std::vector<std::vector<std::string>> heuristics{{"blind"}, {"hadd"}, {"blind", "hmax"}};
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    expect_equal_searches(random_problem(seed) + wide, heuristics[seed % heuristics.size()], seed % 5 == 0,
                          200);
    if (HasFailure()) break;
  }
}

TEST(FtpSearch, DenseAndPlainSearchAgreeWhereSeveralChainsOverlap) {
  for (unsigned seed = 0; seed < 90; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    timed::Features features = timed::overlapping(seed);
    features.has_timed_effects = features.has_timed_conditions = seed % 3 == 0;
    timed::Problem problem = timed::random_problem(seed, features);
    problem.has_mutual_exclusion = seed >= 60;
    expect_equal_searches(problem.text(), {seed % 2 == 0 ? "hadd" : "hff"}, false, 100);
    if (HasFailure()) break;
  }
}

// `outer` is told late that it has to hold `after` as well. This pushes its start, and through the end of
// `link`, which lies behind it, the start and the end of `first` and the start of `early`, all of actions
// that are through: they must not be taken for settled while `outer` is open.
TEST(FtpSearch, WhatIsThroughStillMovesWhileAnOpenActionHoldsIt) {
  const auto once = [](const std::string& name, int duration, const std::string& rest) {
    return "fluent boolean " + name + "_on; [start] " + name + "_on := false;\n" +  //
           "fluent boolean " + name + "_done; [start] " + name + "_done := false;\n" + "action " + name +
           "() { duration := " + std::to_string(duration) + "; [start] not " + name + "_on; [start] " + name +
           "_on := true; " + rest + " [end] " + name + "_done := true; };\n";
  };
  const auto text = [&](int duration) {
    return once("first", 5, "[end] link_on;") +                                //
           once("early", 10, "[start] first_on; [end] link_done;") +           //
           once("link", 1, "[start] early_on; [end] outer_on;") +              //
           once("outer", duration, "[start] first_done; [end] after_done;") +  //
           once("after", 2, "[start] early_done;") + "[end] outer_done;";
  };
  for (const int duration : {5, 7}) {
    SCOPED_TRACE(duration);
    expect_equal_searches(text(duration), {"blind"}, false, 20000);
    Environment env;
    FtpPlanner planner(env, parse(env, text(duration)));
    EXPECT_EQ(planner.solve() != nullptr, duration == 7);
    EXPECT_EQ(planner.outcome(), duration == 7 ? SearchOutcome::plan_found : SearchOutcome::no_plan);
  }
}

/// Solves random problems with options that depend on the seed, and validates each plan; how many were
/// solved.
template <class SetOptions>
int solve_and_validate(unsigned first_seed, unsigned last_seed, std::uint64_t expansions,
                       SetOptions set_options) {
  int solved = 0;
  for (unsigned seed = first_seed; seed < last_seed && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string text = (seed % 4 == 3 ? ":: (\"mutual-exclusion\");\n" : "") + random_problem(seed);
    Environment env;
    set_options(env.configuration(), seed);
    const auto problem = parse(env, text);
    FtpPlanner planner(env, problem);
    planner.set_limits(at_most(expansions));
    const auto plan = planner.solve();
    if (!plan) continue;
    ++solved;
    TTValidator validator(env, problem);
    EXPECT_TRUE(validator.check_validity(std::make_shared<TimeTriggeredPlan>(plan)))
        << validator.reason() << '\n'
        << text << exact_text(plan);
  }
  return solved;
}

TEST(FtpSearch, EveryPlanOfARandomProblemIsValid) {
  const int solved = solve_and_validate(1000, 1200, 2000, [](Configuration& options, unsigned seed) {
    options.set_value("ftp-heuristic", std::vector<std::string>{seed % 2 == 0 ? "blind" : "hadd"});
  });
  EXPECT_GT(solved, 50);
}

TEST(FtpSearch, OptionsForOtherMovesFindValidPlansToo) {
  const int solved = solve_and_validate(2000, 2060, 300, [](Configuration& options, unsigned seed) {
    options.set_value("simultaneity", seed % 3 == 0);
    options.set_value("ftp-deordering", seed % 3 == 1);
    options.set_value("ftp-diamond", seed % 3 == 2 ? 2 : -1);
  });
  EXPECT_GT(solved, 10);
}

struct Case {
  const char* name;
  const char* text;
  const char* plan;  ///< Exact text; null: no plan.
};

TEST(FtpSearch, SolvesSmallProblemsAsTheyMustBeSolved) {
  const Case cases[] = {
      {"a goal that holds needs no step", "fluent boolean p; [start] p := true; [end] p;", ""},
      {"one step, with its duration",
       "fluent boolean p; [start] p := false; action a() { duration := 5/2; [end] p := true; }; [end] p;",
       "0: a() [2]\n"},
      {"a strict lower bound is kept by one epsilon",
       "fluent boolean p; [start] p := false; action a() { duration > 3; [end] p := true; }; [end] p;",
       "0: a() [301/100]\n"},
      {"a duration read from a fluent",
       "fluent boolean p; fluent integer [0, 9] n; [start] p := false; [start] n := 4;"
       "action lift() { duration := 1; [end] n := 7; };"
       "action a() { duration := n; [start] n == 7; [end] p := true; }; [end] p;",
       "0: lift() [1]\n101/100: a() [7]\n"},
      {"required concurrency: light must burn while one mends",
       "fluent boolean light; fluent boolean mended; [start] light := false; [start] mended := false;"
       "action burn() { duration := 5; [start] light := true; [end] light := false; };"
       "action mend() { duration := 3; [start, end] light; [end] mended := true; }; [end] mended;",
       "0: burn() [5]\n1/100: mend() [3]\n"},
      {"a condition that only a timed effect provides",
       "fluent boolean open; fluent boolean p; [start] open := false; [start] p := false;"
       "[10] open := true; action enter() { duration := 1; [start] open; [end] p := true; }; [end] p;",
       "1001/100: enter() [1]\n"},
      {"a timed effect that undoes the goal comes before the end",
       "fluent boolean p; [start] p := true; [10] p := false; action a() { duration := 1; [end] p := true; };"
       "[end] p;",
       "901/100: a() [1]\n"},
      {"two effects on one fluent are set apart",
       "fluent integer [0, 2] n; [start] n := 0;"
       "action a() { duration := 1; [end] n := n + 1; }; action b() { duration := 1; [end] n := n + 1; };"
       "[end] n == 2;",
       nullptr},
      {"no action makes the goal true", "fluent boolean p; [start] p := false; [end] p;", nullptr},
      {"an effect beyond the bounds is no move",
       "fluent integer [0, 1] n; fluent boolean p; [start] n := 1; [start] p := false;"
       "action a() { duration := 1; [end] n := n + 1; [end] p := true; }; [end] p;",
       nullptr},
      {"a division by zero is no move and no error",
       "fluent integer [0, 4] n; fluent boolean p; [start] n := 0; [start] p := false;"
       "action a() { duration := 1; [start] 4 / n == 2; [end] p := true; };"
       "action b() { duration := 1; [end] n := 2; }; [end] p;",
       "0: b() [1]\n101/100: a() [1]\n"},
      {"a bare condition in an action stands at its start",
       "fluent boolean p; fluent boolean q; [start] p := false; [start] q := false;"
       "action a() { duration := 1; q; [end] p := true; }; action b() { duration := 1; [end] q := true; };"
       "[end] p;",
       "0: b() [1]\n101/100: a() [1]\n"},
      {"a condition over the whole plan, and one over its beginning",
       "fluent boolean p; fluent boolean q; [start] p := false; [start] q := false; [2] q := true;"
       "action a() { duration := 5; [end] p := true; }; action b() { duration := 1; [start] q := false; };"
       "[start, end] not (p and q); [start, 4] not p; [end] p;",
       "4: b() [1]\n401/100: a() [5]\n"},
      {"an increase",
       "fluent integer [0, 5] n; [start] n := 2; action a() { duration := 1; [end] n :+= 2; };"
       "[end] n == 4;",
       "0: a() [1]\n"},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    Environment env;
    const auto problem = parse(env, test.text);
    FtpPlanner planner(env, problem);
    planner.set_limits(at_most(20000));
    const auto plan = planner.solve();
    if (std::string(test.name).starts_with("two effects")) {
      // Either order will do; the ends must differ.
      ASSERT_NE(plan, nullptr);
      EXPECT_TRUE(TTValidator(env, problem).check_validity(std::make_shared<TimeTriggeredPlan>(plan)));
      continue;
    }
    ASSERT_EQ(plan == nullptr, test.plan == nullptr);
    if (!plan) {
      EXPECT_EQ(planner.outcome(), SearchOutcome::no_plan);
      continue;
    }
    EXPECT_EQ(exact_text(plan), test.plan);
    EXPECT_TRUE(TTValidator(env, problem).check_validity(std::make_shared<TimeTriggeredPlan>(plan)));
  }
}

TEST(FtpSearch, LimitsEndASearchThatHasNoEnd) {
  const char* const endless =
      "fluent integer n; fluent boolean p; [start] n := 0; [start] p := false;"
      "action a() { duration := 1; [end] n := n + 1; }; action b() { duration := 1; [start] n < 0; [end] p "
      ":= "
      "true; }; [end] p;";
  const auto outcome = [&](const char* option, SearchLimits limits) {
    Environment env;
    env.configuration().set_value("ftp-heuristic", std::vector<std::string>{"blind"});
    if (option != nullptr) env.configuration().set_value(option, true);
    FtpPlanner planner(env, parse(env, endless));
    planner.set_limits(std::move(limits));
    EXPECT_EQ(planner.solve(), nullptr);
    return planner.outcome();
  };
  SearchLimits short_time, little_memory, interrupt;
  short_time.seconds = 0.01;
  little_memory.memory_bytes = 1 << 16;
  const std::atomic<bool> interrupted{true};
  interrupt.interrupted = &interrupted;
  for (const char* option : {static_cast<const char*>(nullptr), "simultaneity", "ftp-deordering"}) {
    SCOPED_TRACE(option == nullptr ? "dense" : option);
    EXPECT_EQ(outcome(option, short_time), SearchOutcome::time_limit);
    EXPECT_EQ(outcome(option, little_memory), SearchOutcome::memory_limit);
    EXPECT_EQ(outcome(option, at_most(10)), SearchOutcome::expansion_limit);
    EXPECT_EQ(outcome(option, interrupt), SearchOutcome::interrupted);
  }
}

TEST(FtpSearch, LimitsEndASearchBetweenTwoChildrenOfAState) {
  Environment env;
  const auto problem =
      parse(env,
            "fluent integer n; fluent boolean p; [start] n := 0; [start] p := false; [end] p;"
            "action a(integer [0, 999] i) { duration := 1; [end] n := i; };"
            "action b() { duration := 1; [start] n < 0; [end] p := true; };");
  std::atomic<bool> interrupted{false};
  int calls = 0;
  FtpPlanner planner(env, problem, [&](const zorvel::SearchState*, const StateIndex&) {
    if (++calls == 100) interrupted = true;
    return 1.0;
  });
  SearchLimits limits;
  limits.interrupted = &interrupted;
  planner.set_limits(limits);
  EXPECT_EQ(planner.solve(), nullptr);
  EXPECT_EQ(planner.outcome(), SearchOutcome::interrupted);
  EXPECT_GE(calls, 100);
  EXPECT_LT(calls, 200);
}

TEST(FtpSearch, RefusesWhatItCannotPlanFor) {
  const auto refusal = [](const std::string& text, HCustom::Function custom = {}) {
    Environment env;
    const auto problem = parse(env, text);
    return error_of([&] { FtpPlanner(env, problem, custom); });
  };
  const std::string goal = "fluent boolean p; [start] p := false; [end] p;";
  EXPECT_EQ(refusal(goal + "process a() { [start] p := true; };"),
            "UnsupportedProblemError: Processes are not supported!");
  EXPECT_NE(
      refusal(goal + "action a() { duration := 2; [start, end] contains p; };").find("contains in actions"),
      std::string::npos);
  EXPECT_NE(refusal(goal + "::(\"metric\", \"minimize-makespan\");"), "");
  EXPECT_NE(refusal(goal +
                    "fluent float n; [start] n := 0; action a() { duration := 1; [end] n := n + duration; };")
                .find("duration of an action cannot be read"),
            std::string::npos);
  EXPECT_EQ(refusal("type T with { fluent boolean q; }; instance T t; [start] t.q := true; [end] t.q;",
                    [](const zorvel::SearchState*, const StateIndex&) { return 0.0; }),
            "UnsupportedProblemError: Custom heuristic is not supported in non-flat problems!");
}

TEST(FtpSearch, ACustomHeuristicSeesTheValuesAndDecides) {
  const char* const text =
      "fluent integer [0, 9] n; [start] n := 0; action up() { duration := 1; [end] n := n + 1; };"
      "action noise() { duration := 1; [end] n := n; }; [end] n == 5;";
  Environment env;
  const auto problem = parse(env, text);
  int calls = 0;
  FtpPlanner planner(env, problem, [&](const zorvel::SearchState* state, const StateIndex& index) {
    ++calls;
    EXPECT_EQ(index.size(), 1U);
    const long n = static_cast<long>(env.expression_factory().get_integer_constant(state->value(0)));
    return n > 5 ? -1.0 : 3.0 * static_cast<double>(5 - n);
  });
  const auto plan = planner.solve();
  ASSERT_NE(plan, nullptr);
  EXPECT_EQ(plan->size(), 5U);
  EXPECT_GT(calls, 5);
}

TEST(FtpSearch, WarnsOfFluentsWithoutValuesAndOfUnknownHeuristics) {
  Environment env;
  env.configuration().set_value("ftp-heuristic", std::vector<std::string>{"haddd"});
  FtpPlanner planner(env, parse(env,
                                "fluent boolean p; fluent boolean q; [start] p := true;"
                                "action a() { duration := 1; [start] q; [end] p := true; }; [end] p;"));
  planner.set_limits(at_most(1));
  EXPECT_EQ(error_of([&] { planner.solve(); }), "InternalError: Found an unexpected fluent: q");
  const auto& warnings = env.warning_manager().warnings();
  ASSERT_EQ(warnings.size(), 2U);
  EXPECT_EQ(warnings[0], "These fluents are used and have no initial value: q");
  EXPECT_NE(warnings[1].find("haddd"), std::string::npos);
}

}  // namespace
}  // namespace zorvel::tp::ftp
