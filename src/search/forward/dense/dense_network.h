#pragma once

#include <cstdint>
#include <vector>

#include "search/forward/dense/block_pool.h"
#include "search/forward/dense/dense_state.h"

namespace zorvel::tp::ftp {

/// The temporal network of the state under construction, over doubles and dense time points.
///
/// Values and propagation are those of TemporalNetwork<K, double>: a potential that only rises, propagated
/// first-in first-out, an edge list from its newest edge. Constraints of older states are read in place; new
/// ones stand in a scratch list until the state is kept. Nothing is allocated for a state that is dropped.
class DenseNetwork {
 public:
  DenseNetwork(const BlockPool& pool, double epsilon, double precision)
      : pool_(pool), epsilon_(epsilon), precision_(precision) {}

  /// Starts from the times and lists of a stored state.
  void load(const double* times, const BlockPool::Ref* heads, std::uint32_t base, std::uint32_t next_point);
  /// Adds time points at 0 up to, not including, `next_point`.
  void extend(std::uint32_t next_point);

  /// Demands t(a) + distance <= t(b) for two points that are not frozen; `distance` may be negative. False on
  /// a contradiction: the network is of no more use then.
  [[nodiscard]] bool add_before(std::uint32_t a, std::uint32_t b, double distance) {
    if (a == b) return !(distance > precision_);
    if (!store(a, b, -distance)) return true;
    return propagate(a, b, -distance);
  }
  /// Demands t(b) >= time, for a bound that comes from frozen points.
  [[nodiscard]] bool add_earliest(std::uint32_t b, double time);
  /// Whether the demand could be added; the network is left as it is.
  bool would_accept_before(std::uint32_t a, std::uint32_t b, double distance);

  double time(std::uint32_t point) const { return times_[place(point)]; }
  double precision() const { return precision_; }
  double epsilon() const { return epsilon_; }
  bool is_frozen(std::uint32_t point) const { return point >= first_action_point && point < base_; }
  std::size_t new_edges() const { return cells_.size(); }

  /// Writes times and lists of the points 0, 1 and those from `base` on, and the new edges, which get their
  /// places from unit `cells_at` on.
  void store_into(std::uint32_t base, BlockPool::Ref cells_at, double* times, BlockPool::Ref* heads,
                  EdgeCell* cells) const;
  /// The invariant, from scratch: no edge between points that are not frozen is short by more than the
  /// precision.
  bool is_satisfied() const;

 private:
  static constexpr BlockPool::Ref scratch_bit = BlockPool::Ref{1} << 31;
  std::size_t place(std::uint32_t point) const {
    return point < first_action_point ? point : point - base_ + first_action_point;
  }
  const EdgeCell& cell(BlockPool::Ref ref) const {
    return (ref & scratch_bit) != 0 ? cells_[ref & ~scratch_bit] : *pool_.at<EdgeCell>(ref);
  }
  /// Stores an edge; false if an edge between the same points already demands as much.
  bool store(std::uint32_t a, std::uint32_t b, double bound);
  bool propagate(std::uint32_t a, std::uint32_t b, double bound);
  /// Propagates from a point whose value has just risen; a, b and bound are the new edge.
  bool run_queue(std::uint32_t raised, std::uint32_t a, std::uint32_t b, double bound);

  const BlockPool& pool_;
  double epsilon_;
  double precision_;
  std::uint32_t base_ = 0;
  std::vector<double> times_;          // by point
  std::vector<BlockPool::Ref> heads_;  // by point
  std::vector<EdgeCell> cells_;        // new edges, oldest first
  std::vector<std::uint32_t> queue_;   // scratch of run_queue: points
  std::vector<double> saved_times_;    // scratch of would_accept_before
};

}  // namespace zorvel::tp::ftp
