#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/numbers.h"

namespace zorvel {

/// Points of time with constraints `t(later) >= t(earlier) + distance`, exact and all known before the
/// question.
///
/// Where a search asks after each constraint whether there is a schedule, `TemporalNetwork` does; this one
/// schedules once, without a tolerance, in a time that is close to linear when the points are numbered about
/// as they lie in time.
class EarliestTimes {
 public:
  using Point = std::uint32_t;

  Point add_point();
  /// Demands that `later` lies at least `distance` behind `earlier`; below 0 it may lie that much before it.
  void require(Point earlier, Point later, const rational& distance);
  /// Demands that `later` lies exactly `distance` behind `earlier`.
  void fix(Point earlier, Point later, const rational& distance);

  /// By point, the smallest times from 0 on that meet all constraints; none if no times do.
  std::optional<std::vector<rational>> solve() const;
  /// Whether these times meet all constraints.
  bool are_met(const std::vector<rational>& times) const;

 private:
  struct Edge {
    Point later;
    rational distance;
  };
  std::vector<std::vector<Edge>> edges_;  // by the earlier point
};

}  // namespace zorvel
