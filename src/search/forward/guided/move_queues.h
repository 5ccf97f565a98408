#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "search/forward/guided/guided_state.h"

namespace zorvel::tp::ftp {

/// Moves not yet taken, in several queues by priority: the lowest key first, equal ones first in, first out.
///
/// The moves of a state are stored once, whatever number of queues has them: a queue holds ranges of them,
/// and a move that was taken from one queue is gone from all.
class MoveQueues {
 public:
  explicit MoveQueues(std::size_t queues) : queues_(queues) {}

  /// Moves of one state, side by side.
  struct Range {
    BlockPool::Ref parent;
    std::uint32_t first, last;
  };
  Range store(BlockPool::Ref parent, std::span<const Move> moves);
  void push(std::size_t queue, double key, const Range& range);
  /// The first move of a queue that was not yet taken; none if there is none.
  std::optional<std::pair<BlockPool::Ref, Move>> pop(std::size_t queue);
  /// A move of a range that was not yet taken, from the place `draw` of it on and then from its start; none
  /// if there is none.
  std::optional<Move> take(const Range& range, std::uint64_t draw);
  /// May be false although all moves that are left were taken from elsewhere.
  bool is_empty(std::size_t queue) const { return queues_[queue].empty(); }

  std::uint64_t stored() const { return moves_.size(); }
  std::uint64_t taken() const { return taken_; }
  std::uint64_t bytes() const { return moves_.capacity() * sizeof(std::uint32_t) + ranges_ * sizeof(Range); }

 private:
  static constexpr std::uint32_t taken_code = ~std::uint32_t{0};
  struct Bucket {
    std::vector<Range> ranges;
    std::size_t head = 0;
  };
  std::vector<std::map<double, Bucket>> queues_;
  std::vector<std::uint32_t> moves_;  // codes
  std::uint64_t ranges_ = 0;
  std::uint64_t taken_ = 0;
};

}  // namespace zorvel::tp::ftp
