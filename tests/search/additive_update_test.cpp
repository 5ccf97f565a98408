#include "search/heuristics/relaxation/additive_update.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace zorvel {
namespace {

using Cost = AdditiveUpdate::Cost;
constexpr Cost unreachable = AdditiveUpdate::unreachable;

struct Rule {
  std::vector<std::uint32_t> conditions, added;
};

struct RandomRules {
  explicit RandomRules(unsigned seed) : random(seed), predicates(3 + random() % 12), bases(predicates) {
    const std::size_t count = 2 + random() % 25;
    for (std::size_t i = 0; i < count; ++i) rules.push_back({some(4), some(3)});
    for (std::size_t i = 0; i < 1 + random() % 2; ++i) goals.push_back({some(4), {}});
    std::ranges::fill(bases, unreachable);
  }
  std::vector<std::uint32_t> some(std::size_t most) {
    std::vector<std::uint32_t> result;
    for (std::size_t i = 0; i < random() % most; ++i) {
      const auto next = static_cast<std::uint32_t>(random() % predicates);
      if (std::ranges::find(result, next) == result.end()) result.push_back(next);
    }
    return result;
  }
  AdditiveUpdate update(Cost cap) const {
    AdditiveUpdate made(predicates, cap);
    for (const Rule& rule : rules) made.add_rule(rule.conditions, rule.added);
    for (const Rule& goal : goals) made.add_goal(goal.conditions);
    made.finish();
    return made;
  }

  std::mt19937 random;
  std::size_t predicates;
  std::vector<Cost> bases;
  std::vector<Rule> rules, goals;
};

/// The sum of the costs, at most the cap.
Cost sum_of(const std::vector<Cost>& costs, const std::vector<std::uint32_t>& conditions, Cost cap) {
  std::uint64_t sum = 0;
  for (const std::uint32_t condition : conditions) {
    if (costs[condition] == unreachable) return unreachable;
    sum += costs[condition];
  }
  return static_cast<Cost>(std::min<std::uint64_t>(sum, cap));
}

std::vector<Cost> by_iteration(const RandomRules& random, Cost cap) {
  std::vector<Cost> costs = random.bases;
  for (bool changes = true; changes;) {
    changes = false;
    for (const Rule& rule : random.rules) {
      const Cost sum = sum_of(costs, rule.conditions, cap);
      if (sum == unreachable) continue;
      for (const std::uint32_t added : rule.added) {
        if (costs[added] <= std::min(sum + 1, cap)) continue;
        costs[added] = std::min(sum + 1, cap);
        changes = true;
      }
    }
  }
  return costs;
}

// A low cap makes rules that support each other in a circle at the same cost.
TEST(AdditiveUpdate, GivesTheCostsOfAPassFromNothingAfterAnyChanges) {
  for (unsigned seed = 0; seed < 2000 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Cost cap = seed % 3 == 0 ? 6 : 1U << 30;
    RandomRules random(seed);
    AdditiveUpdate update = random.update(cap);
    for (int step = 0; step < 12; ++step) {
      for (std::size_t changes = random.random() % 5; changes > 0; --changes) {
        const auto predicate = static_cast<std::uint32_t>(random.random() % random.predicates);
        const unsigned draw = random.random() % 5;
        random.bases[predicate] = draw < 2 ? unreachable : draw - 2;
        update.set_base(predicate, random.bases[predicate]);
      }
      const Cost found = update.update();
      const std::vector<Cost> expected = by_iteration(random, cap);
      Cost goal = unreachable;
      for (const Rule& wanted : random.goals) goal = std::min(goal, sum_of(expected, wanted.conditions, cap));
      EXPECT_EQ(found, goal) << "step " << step;
      for (std::uint32_t predicate = 0; predicate < random.predicates; ++predicate)
        EXPECT_EQ(update.cost(predicate), expected[predicate]) << "step " << step << " of " << predicate;
      ASSERT_TRUE(update.is_settled());
    }
  }
}

// In a chain of a thousand the change at its end is all that an update looks at.
TEST(AdditiveUpdate, LooksOnlyAtWhatAChangeReaches) {
  constexpr std::uint32_t length = 1000;
  AdditiveUpdate update(length + 2, 1U << 30);
  for (std::uint32_t i = 0; i < length; ++i) update.add_rule(std::vector{i}, std::vector{i + 1});
  update.add_goal(std::vector{length, length + 1});
  update.finish();
  update.set_base(0, 0);
  EXPECT_EQ(update.update(), unreachable);
  update.set_base(length + 1, 0);
  EXPECT_EQ(update.update(), length);
  EXPECT_LT(update.work(), 10U);
  update.set_base(length - 1, 0);
  EXPECT_EQ(update.update(), 1U);
  EXPECT_LT(update.work(), 20U);
  update.set_base(length - 1, unreachable);
  EXPECT_EQ(update.update(), length);
  EXPECT_LT(update.work(), 20U);
}

}  // namespace
}  // namespace zorvel
