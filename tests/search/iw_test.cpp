#include "search/classical/iw_planner.h"
#include "search/tsimple_oracle.h"

namespace zorvel::iw {
namespace {

using tsimple::random_classical_problem;

TEST(IWPlanner, FindsAPlanExactlyIfThereIsOne) {
  int with_plan = 0, wide = 0;
  for (unsigned seed = 4000; seed < 4120; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string text = random_classical_problem(seed);
    Environment env;
    env.configuration().set_value("tsimple-heuristic", std::string(seed % 2 == 0 ? "blind" : "hmax"));
    env.configuration().set_value("iw-disable-tuple-computation-in-initial-states", seed % 3 == 0);
    const auto problem = parse(env, text);
    const bool expected = tsimple::has_plan(tsimple::TSimplePlanner(env, problem));
    IWPlanner planner(env, problem);
    ASSERT_EQ(planner.solve() != nullptr, expected) << text;
    ASSERT_EQ(planner.outcome(), expected ? SearchOutcome::plan_found : SearchOutcome::no_plan) << text;
    with_plan += expected ? 1 : 0;
    wide += planner.width() > 1 ? 1 : 0;
  }
  EXPECT_GT(with_plan, 40);
  EXPECT_LT(with_plan, 110);
  EXPECT_GT(wide, 10);
}

const std::string stairs =
    "fluent integer [0, 9] x; fluent integer [0, 9] y; [start] x := 0; [start] y := 0;\n"
    "action right() { duration := 1; [end] x := x + 1; };\naction up() { duration := 1; [end] y := y + 1; "
    "};\n";

TEST(IWPlanner, UsesNoLargerWidthThanItNeeds) {
  const struct {
    const char* goal;
    std::size_t width;
    SearchOutcome outcome;
  } cases[] = {
      {"[end] x == 4;", 1, SearchOutcome::plan_found},
      // One of the two alone shows new values at width 1; for both, pairs are needed.
      {"[end] x == 2; [end] y == 2;", 2, SearchOutcome::plan_found},
      // All pairs are seen at width 2, and nothing is left out.
      {"[end] x + y == 19;", 2, SearchOutcome::no_plan},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.goal);
    Environment env;
    env.configuration().set_value("tsimple-heuristic", std::string("blind"));
    IWPlanner planner(env, parse(env, stairs + test.goal));
    EXPECT_EQ(planner.solve() != nullptr, test.outcome == SearchOutcome::plan_found);
    EXPECT_EQ(planner.width(), test.width);
    EXPECT_EQ(planner.outcome(), test.outcome);
  }
}

TEST(IWPlanner, CommitsToGoalsOneByOne) {
  // With both goals at once this needs width 2; one goal after the other needs only 1.
  Environment env;
  env.configuration().set_value("tsimple-heuristic", std::string("blind"));
  env.configuration().set_value("tsimple-goals-serialization", true);
  IWPlanner planner(env, parse(env, stairs + "[end] x >= 2; [end] y >= 2;"));
  const auto plan = planner.solve();
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->size(), 4U);
  EXPECT_EQ(planner.width(), 1U);
}

TEST(IWPlanner, WithoutGroundFluentsThereIsNoSearch) {
  Environment env;
  IWPlanner planner(env, parse(env, "action wait() { duration := 1; };"));
  EXPECT_FALSE(planner.solve());
  EXPECT_EQ(planner.width(), 0U);
  EXPECT_EQ(planner.outcome(), SearchOutcome::incomplete);
}

TEST(IWPlanner, LimitsHoldForAllWidthsTogether) {
  Environment env;
  env.configuration().set_value("tsimple-heuristic", std::string("blind"));
  IWPlanner planner(env, parse(env, stairs + "[end] x + y == 19;"));
  planner.solve();
  const std::uint64_t all = planner.expanded();
  planner.set_limits(at_most(all - 1));
  EXPECT_FALSE(planner.solve());
  EXPECT_EQ(planner.outcome(), SearchOutcome::expansion_limit);
  EXPECT_EQ(planner.width(), 2U);
  planner.set_limits(at_most(all));
  EXPECT_FALSE(planner.solve());
  EXPECT_EQ(planner.outcome(), SearchOutcome::no_plan);
}

TEST(IWPlanner, PlansOfObjectsAreThoseOfTheirProblem) {
  Environment env;
  const auto problem =
      parse(env,
            "type Lamp with { fluent boolean on; action light() { duration := 2; [end] on := "
            "true; }; };\ninstance Lamp desk, door;\n"
            "[start] desk.on := false; [start] door.on := false; [end] desk.on; [end] door.on;");
  IWPlanner planner(env, problem);
  const auto plan = planner.solve();
  ASSERT_TRUE(plan);
  TTValidator validator(env, problem);
  EXPECT_TRUE(validator.check_validity(std::make_shared<TimeTriggeredPlan>(plan))) << validator.reason();
  // Writers of one fluent keep their order, whatever its arguments.
  EXPECT_EQ(exact_text(plan), "0: desk.light() [2]\n201/100: door.light() [2]\n");
}

}  // namespace
}  // namespace zorvel::iw
