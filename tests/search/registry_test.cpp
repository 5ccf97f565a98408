#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>
#include <string>

#include "core/environment.h"
#include "core/planner_options.h"
#include "search/heuristics/heuristic_set.h"
#include "transformers/chain.h"

namespace zorvel {
namespace {

std::set<std::string> choices_of(std::string_view key) {
  const auto rows = planner_options();
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const OptionRow& r) { return r.key == key; });
  if (row == rows.end()) return {};
  std::istringstream words{std::string(row->allowed)};
  return {std::istream_iterator<std::string>(words), {}};
}

/// The choices of an option are the names of a table and those kept free for other engines.
void expect_choices(std::string_view key, std::set<std::string> names, const std::set<std::string>& others) {
  names.insert(others.begin(), others.end());
  EXPECT_EQ(choices_of(key), names) << key;
}

TEST(Registries, TheChoicesOfTheOptionsAreTheNamesOfTheTables) {
  const auto temporal = heuristic_names(Engine::temporal), classical = heuristic_names(Engine::classical);
  expect_choices("ftp-heuristic", {temporal.begin(), temporal.end()}, {"rlvalue", "rldistance"});
  expect_choices("tsimple-heuristic", {classical.begin(), classical.end()}, {});
  std::set<std::string> transformers;
  for (const model::TransformerRow& row : model::transformer_table()) transformers.emplace(row.name);
  transformers.erase("increase-decrease-compiler");  // of the chains alone
  expect_choices("transformer", transformers,
                 {"bounder", "intermediate-effects-compiler", "usertype-fluents-compiler"});
}

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
