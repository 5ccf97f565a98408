#include "search/forward/guided/type_buckets.h"

namespace zorvel::tp::ftp {

std::optional<std::pair<BlockPool::Ref, Move>> TypeBuckets::pop(MoveQueues& moves) {
  while (!buckets_.empty()) {
    auto bucket = buckets_.upper_bound(last_);
    if (bucket == buckets_.end()) bucket = buckets_.begin();
    last_ = bucket->first;
    auto& ranges = bucket->second;
    while (!ranges.empty()) {
      // Marsaglia's xorshift: any spread will do, but the same on every machine.
      draws_ ^= draws_ << 13;
      draws_ ^= draws_ >> 7;
      draws_ ^= draws_ << 17;
      MoveQueues::Range& range = ranges[draws_ % ranges.size()];
      if (const auto move = moves.take(range, draws_ >> 32)) return std::pair(range.parent, *move);
      range = ranges.back();
      ranges.pop_back();
    }
    buckets_.erase(bucket);
  }
  return std::nullopt;
}

}  // namespace zorvel::tp::ftp
