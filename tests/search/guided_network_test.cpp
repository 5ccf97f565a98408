#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <vector>

#include "search/forward/guided/guided_network.h"

namespace zorvel::tp::ftp {
namespace {

constexpr double nothing = GuidedNetwork::nothing;
constexpr double precision = 1e-6;

/// All demands in a list, and longest paths from scratch.
struct PlainNetwork {
  struct Demand {
    std::uint32_t from, to;
    double distance;
  };
  std::uint32_t points = 0;
  std::vector<Demand> demands;

  /// The longest distances from one point; none on a positive cycle.
  std::optional<std::vector<double>> distances_from(std::uint32_t source) const {
    std::vector<double> distance(points, nothing);
    distance[source] = 0;
    for (std::uint32_t round = 0; round <= points; ++round) {
      bool has_changed = false;
      for (const Demand& demand : demands)
        if (distance[demand.from] + demand.distance > distance[demand.to] + precision) {
          distance[demand.to] = distance[demand.from] + demand.distance;
          has_changed = true;
        }
      if (!has_changed) return distance;
    }
    return std::nullopt;
  }
  bool is_consistent() const {
    for (std::uint32_t point = 0; point < points; ++point)
      if (!distances_from(point)) return false;
    return true;
  }
};

// Columns are moments of the past: in the plain network they are points like others, of which the newest one
// of each column bounds what comes later.
TEST(GuidedNetwork, AgreesWithLongestPathsOnRandomNetworks) {
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto below = [&](std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); };
    constexpr std::uint32_t columns = 3;
    GuidedNetwork network(columns, precision);
    PlainNetwork plain;
    std::vector<std::optional<std::uint32_t>> column_points(columns);
    std::vector<std::uint32_t> names;  // the plain point of each point
    const auto add_point = [&] {
      names.push_back(plain.points++);
      network.add_point();
    };
    add_point();
    add_point();
    bool is_consistent = true;
    for (int step = 0; step < 25 && is_consistent; ++step) {
      const std::uint32_t a = below(network.points()), b = below(network.points()), column = below(columns);
      const double distance = static_cast<double>(below(21)) - 11;
      switch (below(6)) {
        case 0:
          if (network.points() < 6) add_point();
          break;
        case 1: {
          const std::uint32_t moment = plain.points++;
          plain.demands.push_back({names[a], moment, distance});
          network.set_column(column, a, distance);
          column_points[column] = moment;
          break;
        }
        case 2: {
          const std::uint32_t moment = plain.points++;
          plain.demands.push_back({names[a], moment, distance});
          if (column_points[column]) plain.demands.push_back({*column_points[column], moment, 0});
          network.raise_column(column, a, distance);
          column_points[column] = moment;
          break;
        }
        case 3:
          if (column_points[column]) {
            plain.demands.push_back({*column_points[column], names[b], distance});
            is_consistent = network.add_behind_column(column, b, distance);
          }
          break;
        default:
          plain.demands.push_back({names[a], names[b], distance});
          ASSERT_EQ(network.would_accept_before(a, b, distance), plain.is_consistent());
          is_consistent = network.add_before(a, b, distance);
      }
      ASSERT_EQ(is_consistent, plain.is_consistent());
      if (!is_consistent) break;
      ASSERT_TRUE(network.is_closed());
      for (std::uint32_t from = 0; from < network.points(); ++from) {
        const auto distances = *plain.distances_from(names[from]);
        for (std::uint32_t to = 0; to < network.points(); ++to)
          EXPECT_DOUBLE_EQ(network.lower(from, to), distances[names[to]]);
        for (std::uint32_t c = 0; c < columns; ++c)
          EXPECT_DOUBLE_EQ(network.column(from, c),
                           column_points[c] ? distances[*column_points[c]] : nothing);
      }
    }
  }
}

}  // namespace
}  // namespace zorvel::tp::ftp
