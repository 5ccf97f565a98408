#include "plans/temporal_network.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>

#include "core/errors.h"
#include "plans/earliest_times.h"

namespace zorvel {
namespace {

template <class T>
T number(const rational& value) {
  return static_cast<T>(value);
}
const rational epsilon(1, 100);

struct Constraint {
  int from;
  int to;
  int bound;
};

/// The smallest non-negative solution by the plain Bellman-Ford algorithm; nothing if there is none.
std::optional<std::vector<int>> bellman_ford(int points, const std::vector<Constraint>& constraints) {
  std::vector<int> values(static_cast<std::size_t>(points), 0);
  for (int round = 0; round <= points; ++round) {
    bool changed = false;
    for (const Constraint& edge : constraints) {
      int& value = values[static_cast<std::size_t>(edge.to)];
      const int needed = values[static_cast<std::size_t>(edge.from)] - edge.bound;
      if (needed <= value) continue;
      value = needed;
      changed = true;
    }
    if (!changed) return values;
  }
  return std::nullopt;
}

template <class T>
class TemporalNetworkOf : public testing::Test {};
using Numbers = testing::Types<double, rational>;
TYPED_TEST_SUITE(TemporalNetworkOf, Numbers);

/// A network beside the constraints that it should hold.
template <class T>
struct Tracked {
  TemporalNetwork<int, T> network{epsilon};
  std::vector<Constraint> constraints;
};

template <class T>
void expect_agreement(const Tracked<T>& tracked, const TNInterpreter<int>& interpreter, int points) {
  const auto expected = bellman_ford(points, tracked.constraints);
  ASSERT_EQ(tracked.network.consistent(), expected.has_value());
  if (!expected) return;
  ASSERT_TRUE(tracked.network.is_satisfied());
  for (const auto& [point, value] : tracked.network.schedule(interpreter))
    ASSERT_EQ(value, number<T>(rational((*expected)[static_cast<std::size_t>(point)])));
}

// Copies are made and dropped on the way, and a copy goes on from any of them, so that a change of one that
// reaches another shows.
TYPED_TEST(TemporalNetworkOf, AgreesWithBellmanFordOnRandomNetworksAndTheirCopies) {
  for (unsigned seed = 0; seed < 1500; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto draw = [&](int low, int high) {
      return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
    };
    const int points = draw(2, 6);
    TNInterpreter<int> interpreter;
    std::vector<Tracked<TypeParam>> family(1);
    for (int step = 0; step < 25; ++step) {
      const std::size_t chosen = random() % family.size();
      if (draw(0, 3) == 0) family.push_back(family[chosen]);
      Tracked<TypeParam>& tracked = family[chosen];
      const Constraint next{draw(0, points - 1), draw(0, points - 1), draw(-8, 12)};
      tracked.network.add_le(interpreter, next.from, next.to, number<TypeParam>(rational(next.bound)));
      tracked.constraints.push_back(next);
      for (const Tracked<TypeParam>& member : family)
        ASSERT_NO_FATAL_FAILURE(expect_agreement(member, interpreter, points));
    }
  }
}

TYPED_TEST(TemporalNetworkOf, StoresABoundOnlyIfItIsTighter) {
  struct Row {
    Bound<int> stored, added;
    bool changes;
  };
  const Row rows[] = {{{5, false}, {7, false}, false}, {{5, false}, {5, false}, false},
                      {{5, true}, {5, false}, false},  {{5, true}, {5, true}, false},
                      {{5, false}, {5, true}, true},   {{7, false}, {5, false}, true},
                      {{7, true}, {5, false}, true},   {{5, false}, {7, true}, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.stored.value) + " then " + std::to_string(row.added.value));
    TemporalNetwork<int, TypeParam> network(epsilon);
    const auto bound = [](const Bound<int>& b) {
      return Bound<TypeParam>{number<TypeParam>(rational(b.value)), b.strict};
    };
    EXPECT_TRUE(network.add_constraint(0, 2, bound({9, false})));  // another edge of the same point
    EXPECT_TRUE(network.add_constraint(0, 1, bound(row.stored)));
    EXPECT_EQ(network.add_constraint(0, 1, bound(row.added)), row.changes);
  }
}

TYPED_TEST(TemporalNetworkOf, StaysInconsistentAndOnlyTakesPointsFromThenOn) {
  TNInterpreter<char> interpreter;
  TemporalNetwork<char, TypeParam> network(epsilon);
  network.add_le(interpreter, 'a', 'b', number<TypeParam>(rational(-1)));
  EXPECT_TRUE(network.consistent());
  network.add_le(interpreter, 'b', 'a', number<TypeParam>(rational(1, 2)));
  EXPECT_FALSE(network.consistent());
  EXPECT_FALSE((TemporalNetwork<char, TypeParam>(network).consistent()));
  network.add_le(interpreter, 'c', 'd', number<TypeParam>(rational(-3)));
  EXPECT_FALSE(network.consistent());
  EXPECT_EQ(network.values().size(), 4u);
  EXPECT_EQ(network.value(*interpreter.find('d')), TypeParam{});
  EXPECT_THROW(network.get_min_makespan_solution(interpreter), TemporalNetworkIsUnsat);
}

TYPED_TEST(TemporalNetworkOf, SchedulesEveryPointAsEarlyAsPossible) {
  TNInterpreter<char> interpreter;
  TemporalNetwork<char, TypeParam> network(epsilon);
  EXPECT_TRUE(network.get_min_makespan_solution(interpreter).empty());
  network.add_le(interpreter, 'a', 'b', number<TypeParam>(rational(-3)));
  network.add_le(interpreter, 'c', 'a', -number<TypeParam>(rational(0)));
  const auto times = network.get_min_makespan_solution(interpreter);
  EXPECT_EQ(times.size(), 3u);
  EXPECT_EQ(times.at('a'), number<TypeParam>(rational(0)));
  EXPECT_EQ(times.at('b'), number<TypeParam>(rational(3)));
  EXPECT_EQ(times.at('c'), number<TypeParam>(rational(0)));

  network.add_time_point(17);
  EXPECT_THROW(network.get_min_makespan_solution(interpreter), InternalError);
}

TYPED_TEST(TemporalNetworkOf, ToleratesANegativeCycleBelowItsPrecision) {
  for (const auto& [gap, consistent] : {std::pair(rational(1, 100000), true), {rational(1, 1000), false}}) {
    TNInterpreter<char> interpreter;
    TemporalNetwork<char, TypeParam> network(epsilon);
    network.add_le(interpreter, 'a', 'b', number<TypeParam>(rational(-1)));
    network.add_le(interpreter, 'b', 'a', number<TypeParam>(rational(1) - gap));
    EXPECT_EQ(network.consistent(), consistent) << gap;
  }
}

// Ten edges that are each short by less than the precision form a cycle that is not. It is let through, and
// turns for ever once a later edge, which is not on it, lifts it.
TYPED_TEST(TemporalNetworkOf, EndsOnACycleThatIsNegativeOnlyInSum) {
  TNInterpreter<int> interpreter;
  TemporalNetwork<int, TypeParam> network(epsilon);
  for (int i = 0; i < 10; ++i)
    network.add_le(interpreter, i, (i + 1) % 10, number<TypeParam>(rational(-9, 100000)));
  EXPECT_TRUE(network.consistent());
  network.add_le(interpreter, 10, 0, number<TypeParam>(rational(-5)));
  EXPECT_FALSE(network.consistent());
}

// The values that follow from one long chain: many rounds, none of them in vain.
TYPED_TEST(TemporalNetworkOf, CarriesAChangeThroughAllPoints) {
  constexpr int points = 300;
  TNInterpreter<int> interpreter;
  TemporalNetwork<int, TypeParam> network(epsilon);
  for (int i = points - 1; i > 0; --i) network.add_le(interpreter, i, i + 1, number<TypeParam>(rational(-1)));
  network.add_le(interpreter, 0, 1, number<TypeParam>(rational(-1)));
  ASSERT_TRUE(network.consistent());
  EXPECT_EQ(network.value(*interpreter.find(points)), number<TypeParam>(rational(points)));
  network.add_le(interpreter, points, 0, number<TypeParam>(rational(points)));
  EXPECT_TRUE(network.consistent());
  network.add_le(interpreter, points, 0, number<TypeParam>(rational(points - 1)));
  EXPECT_FALSE(network.consistent());
}

TEST(TemporalNetwork, DropsALongChainOfEdgesWithoutADeepStack) {
  auto network = std::make_unique<TemporalNetwork<int, double>>(epsilon);
  TNInterpreter<int> interpreter;
  for (int i = 1; i < 200000; ++i) network->add_le(interpreter, 0, 1, 200000.0 - i);
  auto copy = std::make_unique<TemporalNetwork<int, double>>(*network);
  network.reset();
  copy->add_le(interpreter, 0, 1, 0.5);
  copy.reset();
}

TEST(EarliestTimes, AgreeWithBellmanFord) {
  int solved = 0, contradictions = 0;
  for (unsigned seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto pick = [&](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
    const int points = 1 + pick(12);
    EarliestTimes times;
    std::vector<Constraint> constraints;
    for (int i = 0; i < points; ++i) times.add_point();
    for (int i = pick(3 * points); i > 0; --i) {
      const int from = pick(points), to = pick(points), distance = pick(14) - 9;
      const auto [earlier, later] =
          std::pair(static_cast<EarliestTimes::Point>(from), static_cast<EarliestTimes::Point>(to));
      constraints.push_back({from, to, -distance});
      if (pick(5) == 0) {
        times.fix(earlier, later, distance);
        constraints.push_back({to, from, distance});
      } else {
        times.require(earlier, later, distance);
      }
    }
    const auto expected = bellman_ford(points, constraints);
    const auto found = times.solve();
    ASSERT_EQ(found.has_value(), expected.has_value());
    ++(found ? solved : contradictions);
    if (found) {
      ASSERT_TRUE(std::equal(found->begin(), found->end(), expected->begin()));
    }
  }
  EXPECT_GT(solved, 500);
  EXPECT_GT(contradictions, 500);
}

}  // namespace
}  // namespace zorvel
