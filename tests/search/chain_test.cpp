#include <algorithm>

#include "search/rich_problems.h"
#include "search/support.h"
#include "transformers/chain.h"

namespace zorvel {
namespace {

std::shared_ptr<TimeTriggeredPlan> scheduled(const std::shared_ptr<Plan>& plan) {
  return std::make_shared<TimeTriggeredPlan>(plan);
}

/// Steps in one order, whatever the order of those that start together.
std::string sorted_text(const std::shared_ptr<Plan>& plan) {
  std::istringstream lines(exact_text(plan));
  std::vector<std::string> sorted;
  for (std::string line; std::getline(lines, line);) sorted.push_back(line);
  std::ranges::sort(sorted);
  std::string text;
  for (const std::string& line : sorted) text += line + '\n';
  return text;
}

struct Counts {
  int valid = 0, round_trips = 0;
};

using Transformers = std::vector<std::shared_ptr<model::BasicTransformer>>;

/// Takes a plan forward through the transformers; at each stage it is valid for the problem of the stage, and
/// going back gives the stage before.
void check_stages(Environment& env, const Transformers& transformers, std::shared_ptr<TimeTriggeredPlan> plan,
                  Counts& counts) {
  for (const auto& transformer : transformers) {
    const auto image = transformer->map_forward(plan);
    ASSERT_EQ(sorted_text(transformer->map_back(std::static_pointer_cast<Plan>(image))), sorted_text(plan));
    ++counts.round_trips;
    TTValidator validator(env, transformer->new_problem());
    ASSERT_TRUE(validator.check_validity(image)) << validator.reason() << '\n' << exact_text(image);
    ++counts.valid;
    plan = image;
  }
}

/// Every transformer that takes plans forward, in the order of the chain, where the problem asks for it.
Transformers reversible_chain(const model::ProblemPtr& problem) {
  model::TransformerChain chain(problem);
  for (const char* name : {"flattener", "type-hierarchy-compiler", "increase-decrease-compiler",
                           "forall-compiler", "temporal-uncertainty-compiler", "action-grounder",
                           "set-compiler", "empty-conditions-compiler", "partial-order-compiler"})
    chain.apply(name);
  return chain.transformers();
}

TEST(Chain, PlansOfRichProblemsAreValidAtEachStage) {
  Counts counts;
  int solved = 0, unsolved = 0;
  for (unsigned seed = 0; seed < 150; ++seed) {
    const std::string text = RichProblem(seed).text();
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
    Environment env;
    const auto problem = parse(env, text);
    if (seed % 2 == 0) env.configuration().set_value("ftp-heuristic", std::vector<std::string>{"blind"});
    tp::ftp::FtpPlanner planner(env, problem);
    planner.set_limits(at_most(1500));
    const auto plan = planner.solve();
    if (!plan) {
      ++unsolved;
      continue;
    }
    ++solved;
    TTValidator validator(env, problem);
    ASSERT_TRUE(validator.check_validity(scheduled(plan))) << validator.reason() << '\n' << exact_text(plan);
    check_stages(env, reversible_chain(problem), scheduled(plan), counts);
    if (HasFatalFailure()) return;
  }
  RecordProperty("solved", solved);
  EXPECT_GT(solved, 40);
  EXPECT_GT(unsolved, 5);
  EXPECT_GT(counts.round_trips, 200);
}

}  // namespace
}  // namespace zorvel
