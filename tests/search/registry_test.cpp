#include <gtest/gtest.h>

#include <string>

#include "core/environment.h"
#include "search/heuristics/heuristic_set.h"

namespace zorvel {
namespace {

TEST(Registries, AnUnknownHeuristicIsNamedWithAllThatThereAre) {
  Environment env;
  const HeuristicSet set = make_heuristics(
      env, Engine::temporal, {"blind", "haddd"},
      []() -> std::shared_ptr<const RelaxedProblem> { throw std::logic_error("not asked for"); });
  ASSERT_EQ(set.heuristics.size(), 1U);
  EXPECT_EQ(set.heuristics[0], nullptr);
  EXPECT_FALSE(set.relevant);
  EXPECT_EQ(
      env.warning_manager().warnings(),
      std::vector<std::string>{"Unknown heuristic 'haddd' is ignored: known are blind, hsize, hff, hadd, "
                               "hlandmarks, hmax"});
}

}  // namespace
}  // namespace zorvel
