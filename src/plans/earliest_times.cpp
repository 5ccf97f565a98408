#include "plans/earliest_times.h"

#include <cassert>
#include <cstddef>
#include <deque>
#include <numeric>

namespace zorvel {

namespace {

constexpr EarliestTimes::Point no_point = UINT32_MAX;

/// Whether following `parents` from some point comes back to it.
bool has_cycle(const std::vector<EarliestTimes::Point>& parents) {
  std::vector<EarliestTimes::Point> seen_from(parents.size(), no_point);
  for (EarliestTimes::Point first = 0; first < parents.size(); ++first)
    for (EarliestTimes::Point point = first; point != no_point; point = parents[point]) {
      if (seen_from[point] == first) return true;
      if (seen_from[point] != no_point) break;
      seen_from[point] = first;
    }
  return false;
}

}  // namespace

EarliestTimes::Point EarliestTimes::add_point() {
  edges_.emplace_back();
  return static_cast<Point>(edges_.size() - 1);
}

void EarliestTimes::require(Point earlier, Point later, const rational& distance) {
  assert(earlier < edges_.size() && later < edges_.size());
  edges_[earlier].push_back({later, distance});
}

void EarliestTimes::fix(Point earlier, Point later, const rational& distance) {
  require(earlier, later, distance);
  require(later, earlier, -distance);
}

std::optional<std::vector<rational>> EarliestTimes::solve() const {
  const std::size_t count = edges_.size();
  std::vector<rational> times(count, rational(0));
  // Label correcting (Bellman, Moore). The queue starts with all points, so its first round is one sweep in
  // the order of the numbers; later rounds hold only what an earlier-numbered point has to wait for.
  std::deque<Point> queue(count);
  std::iota(queue.begin(), queue.end(), Point{0});
  std::vector<bool> is_queued(count, true);
  // The constraint that set each time. With a contradiction the times rise for ever, and then these turn in a
  // circle sooner or later (Cherkassky and Goldberg, 1999). A look now and then costs no more than the rest.
  std::vector<Point> parents(count, no_point);
  std::size_t steps_to_look = count;
  while (!queue.empty()) {
    const Point earlier = queue.front();
    queue.pop_front();
    is_queued[earlier] = false;
    for (const Edge& edge : edges_[earlier]) {
      rational time = times[earlier] + edge.distance;
      if (!(times[edge.later] < time)) continue;
      if (edge.later == earlier) return std::nullopt;
      times[edge.later] = std::move(time);
      parents[edge.later] = earlier;
      if (is_queued[edge.later]) continue;
      is_queued[edge.later] = true;
      queue.push_back(edge.later);
    }
    if (--steps_to_look > 0) continue;
    if (has_cycle(parents)) return std::nullopt;
    steps_to_look = count;
  }
  assert(are_met(times));
  return times;
}

bool EarliestTimes::are_met(const std::vector<rational>& times) const {
  for (std::size_t earlier = 0; earlier < edges_.size(); ++earlier)
    for (const Edge& edge : edges_[earlier])
      if (times[edge.later] < times[earlier] + edge.distance) return false;
  return true;
}

}  // namespace zorvel
