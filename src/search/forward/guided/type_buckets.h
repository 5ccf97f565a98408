#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "search/forward/guided/move_queues.h"

namespace zorvel::tp::ftp {

/// Moves by the type of the state that they leave from, an estimate and a depth: each type is served in turn,
/// however many moves it has, which leads a greedy search out of a plateau that its estimates do not see the
/// end of (Xie, Mueller, Holte and Imai, Type-based Exploration with Multiple Search Queues, 2014). Within a
/// type the state is drawn, always in the same way.
class TypeBuckets {
 public:
  void push(double estimate, std::uint32_t depth, const MoveQueues::Range& range) {
    if (range.first != range.last) buckets_[{estimate, depth}].push_back(range);
  }
  /// A move of the next type that has one left.
  std::optional<std::pair<BlockPool::Ref, Move>> pop(MoveQueues& moves);

 private:
  using Type = std::pair<double, std::uint32_t>;
  std::map<Type, std::vector<MoveQueues::Range>> buckets_;
  Type last_{-1, 0};  // served last
  std::uint64_t draws_ = 0x2545f4914f6cdd1dU;
};

}  // namespace zorvel::tp::ftp
