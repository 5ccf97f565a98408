#include "search/forward/guided/move_queues.h"

#include <cassert>

namespace zorvel::tp::ftp {

MoveQueues::Range MoveQueues::store(BlockPool::Ref parent, std::span<const Move> moves) {
  const auto first = static_cast<std::uint32_t>(moves_.size());
  for (const Move move : moves) {
    assert(move.code != taken_code);
    moves_.push_back(move.code);
  }
  return {parent, first, static_cast<std::uint32_t>(moves_.size())};
}

void MoveQueues::push(std::size_t queue, double key, const Range& range) {
  if (range.first == range.last) return;
  assert(range.last <= moves_.size() && range.parent != 0);
  queues_[queue][key].ranges.push_back(range);
  ++ranges_;
}

std::optional<Move> MoveQueues::take(const Range& range, std::uint64_t draw) {
  assert(range.first < range.last && range.last <= moves_.size());
  const std::uint32_t size = range.last - range.first;
  const auto start = static_cast<std::uint32_t>(draw % size);
  for (std::uint32_t i = 0; i < size; ++i) {
    std::uint32_t& code = moves_[range.first + (start + i) % size];
    if (code == taken_code) continue;
    const Move move{code};
    code = taken_code;
    ++taken_;
    return move;
  }
  return std::nullopt;
}

std::optional<std::pair<BlockPool::Ref, Move>> MoveQueues::pop(std::size_t queue) {
  auto& buckets = queues_[queue];
  while (!buckets.empty()) {
    Bucket& bucket = buckets.begin()->second;
    while (bucket.head < bucket.ranges.size()) {
      Range& range = bucket.ranges[bucket.head];
      while (range.first < range.last) {
        std::uint32_t& code = moves_[range.first++];
        if (code == taken_code) continue;
        const Move move{code};
        code = taken_code;
        ++taken_;
        return std::pair(range.parent, move);
      }
      ++bucket.head;
    }
    assert(ranges_ >= bucket.ranges.size());
    ranges_ -= bucket.ranges.size();
    buckets.erase(buckets.begin());
  }
  return std::nullopt;
}

}  // namespace zorvel::tp::ftp
