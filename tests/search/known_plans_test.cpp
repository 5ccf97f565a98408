#include <algorithm>

#include "parsers/ttp_parser.h"
#include "search/support.h"
#include "support/random_problems.h"

// Problems of which it is known that they have a plan: they were written around one, or trying all plans of
// few steps found one. Many of these plans have several actions running at once, which need one another.

namespace zorvel::tp::ftp {
namespace {

std::shared_ptr<TimeTriggeredPlan> read_plan(Environment& env, const model::ProblemPtr& problem,
                                             const std::string& text) {
  std::istringstream stream(text);
  return TTPParser(env, problem).parse(stream);
}

/// The plan as the simulation takes it.
std::vector<timed::Step> in_ticks(const timed::Problem& problem, const TimeTriggeredPlan& plan) {
  const auto ticks = [](const rational& time) {
    const rational count = time * rational(timed::ticks);
    EXPECT_TRUE(count.is_integer());
    return static_cast<int>(static_cast<long>(count.numerator()));
  };
  std::vector<timed::Step> result;
  for (const auto& [start, steps] : plan.steps())
    for (const auto& step : steps) {
      const std::string& name = step->action->name();
      const auto action =
          std::ranges::find(problem.actions, name, &timed::Action::name) - problem.actions.begin();
      const int object =
          step->parameters.empty() ? timed::no_argument : model::to_anml(step->parameters[0]).back() - '0';
      result.push_back({static_cast<std::size_t>(action), object, ticks(start), ticks(step->duration)});
    }
  return result;
}

struct Counts {
  int solved = 0, given_up = 0;
};

/// Solves the problem, which is known to have `known`, and compares every judge's word on the plans.
void check_problem(const timed::Problem& problem, const std::vector<timed::Step>& known,
                   const std::string& heuristic, std::uint64_t expansions, Counts& counts) {
  const std::string text = problem.text();
  SCOPED_TRACE(text + timed::plan_text(problem, known));
  Environment env;
  env.configuration().set_value("ftp-heuristic", std::vector<std::string>{heuristic});
  const model::ProblemPtr parsed = parse(env, text);
  TTValidator validator(env, parsed);
  ASSERT_TRUE(validator.check_validity(read_plan(env, parsed, timed::plan_text(problem, known))))
      << validator.reason();
  FtpPlanner planner(env, parsed);
  planner.set_limits(at_most(expansions));
  const auto plan = planner.solve();
  EXPECT_NE(planner.outcome(), SearchOutcome::no_plan);
  if (plan == nullptr) {
    ++counts.given_up;
    return;
  }
  ++counts.solved;
  const TimeTriggeredPlan found(plan);
  EXPECT_TRUE(timed::simulate(problem, in_ticks(problem, found)).is_valid()) << exact_text(plan);
}

TEST(KnownPlans, ProblemsWrittenAroundAPlanAreSolvedOrGivenUp) {
  Counts counts;
  for (unsigned seed = 0; seed < 120 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const timed::Problem problem = timed::random_problem(seed, timed::overlapping(seed));
    check_problem(problem, *problem.plan, seed % 2 == 0 ? "hadd" : "hff", 300, counts);
  }
  EXPECT_GT(counts.solved, 40);
}

TEST(KnownPlans, NoPlanOfFewStepsIsDenied) {
  Counts counts;
  timed::Features features;
  features.has_plan = false;
  features.fluents = 3;
  for (unsigned seed = 0; seed < 300 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    features.has_parameters = seed % 4 == 3;
    const timed::Problem problem = timed::random_problem(seed, features);
    const auto known = timed::find_plan(problem, 2, 8);
    if (!known) continue;
    check_problem(problem, *known, seed % 2 == 0 ? "blind" : "hadd", 1000, counts);
  }
  EXPECT_GT(counts.solved, 40);
}

}  // namespace
}  // namespace zorvel::tp::ftp
