#include <optional>

#include "search/support.h"
#include "transformers/random_sets.h"

namespace zorvel::tp::ftp {
namespace {

/// The plan as the plain simulation takes it, in hundredths; null if a step starts at no hundredth.
std::optional<std::vector<random_sets::Step>> in_hundredths(const TimeTriggeredPlan& plan) {
  std::vector<random_sets::Step> steps;
  for (const auto& [start, at_start] : plan.steps()) {
    const rational hundredths = start * rational(100);
    if (!hundredths.is_integer()) return std::nullopt;
    for (const auto& step : at_start)
      steps.push_back(
          {step->action->name().back() - '0', static_cast<int>(static_cast<long>(hundredths.numerator()))});
  }
  return steps;
}

TEST(SetPlanning, PlansAreValidAndNoneIsMissed) {
  int solved = 0, refuted = 0;
  for (unsigned seed = 0; seed < 300 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    random_sets::Random random(seed);
    const random_sets::Problem problem = random_sets::random_problem(random);
    Environment env;
    env.configuration().set_value(
        "ftp-heuristic",
        std::vector<std::string>{seed % 3 == 0 ? "blind" : (seed % 3 == 1 ? "hadd" : "hmax")});
    const model::ProblemPtr parsed = parse(env, problem.text);
    FtpPlanner planner(env, parsed);
    planner.set_limits(at_most(400));
    const auto plan = planner.solve();
    if (plan == nullptr) {
      if (planner.outcome() != SearchOutcome::no_plan) continue;
      ++refuted;
      // Whatever the heuristics say, no single step and no two in a row reach the goal.
      const int count = static_cast<int>(problem.actions.size());
      EXPECT_FALSE(random_sets::is_valid(problem, {}, 1)) << problem.text;
      for (int first = 0; first < count; ++first) {
        EXPECT_FALSE(random_sets::is_valid(problem, {{first, 0}}, 1)) << problem.text;
        for (int second = 0; second < count; ++second)
          EXPECT_FALSE(random_sets::is_valid(problem, {{first, 0}, {second, 4}}, 1)) << problem.text;
      }
      continue;
    }
    ++solved;
    const auto timed = std::make_shared<TimeTriggeredPlan>(plan);
    TTValidator validator(env, parsed);
    EXPECT_TRUE(validator.check_validity(timed)) << problem.text << exact_text(plan) << validator.reason();
    const auto steps = in_hundredths(*timed);
    ASSERT_TRUE(steps.has_value()) << exact_text(plan);
    EXPECT_TRUE(random_sets::is_valid(problem, *steps, 100)) << problem.text << exact_text(plan);
  }
  EXPECT_GT(solved, 60);
  EXPECT_GT(refuted, 10);
}

TEST(SetPlanning, SetsInExpressionsAloneAndWithParametersAreSolved) {
  const char* const problems[] = {
      // No fluent is a set.
      "type T; instance T a, b, c; fluent boolean p := false; fluent T at := a;"
      "action go(T x) { duration := 1; [start] x in {b, c}; [end] at := x; }; goal [end] at == b or at == c;",
      // Members of types, a constant set, and elements that are parameters.
      "type T with { fluent set(T) near; constant set(T) friends; action meet(T x) { duration := 1;"
      " [start] x in friends; [end] near := near union {x}; }; }; instance T o, q, r;"
      "o.friends := {q, r}; q.friends := {}; r.friends := {o};"
      "forall (T x) { [start] x.near := {}; }; goal [end] o.friends == o.near and r.near != {};",
  };
  for (const char* text : problems) {
    Environment env;
    const model::ProblemPtr problem = parse(env, text);
    FtpPlanner planner(env, problem);
    const auto plan = planner.solve();
    ASSERT_NE(plan, nullptr) << text;
    EXPECT_TRUE(TTValidator(env, problem).check_validity(std::make_shared<TimeTriggeredPlan>(plan)));
  }
}

}  // namespace
}  // namespace zorvel::tp::ftp
