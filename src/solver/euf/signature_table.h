#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace vesk::euf {

/// The applications that stand for their signatures: function and classes of the arguments. Open addressing
/// with linear probing; each entry keeps its hash, so that neither growth nor removal looks at signatures,
/// which merges change. Removal closes the gap, so a table that is filled and emptied all the time as the
/// search goes back and forth neither allocates nor ages.
class SignatureTable {
 public:
  using Node = std::int32_t;
  using Hash = std::uint32_t;

  std::size_t size() const { return size_; }

  /// The entry with this hash for which `is_same(entry)` holds, -1 if there is none.
  template <typename Predicate>
  Node find(Hash hash, Predicate&& is_same) const {
    for (std::size_t i = hash & mask();; i = (i + 1) & mask()) {
      if (slots_[i].node < 0) return -1;
      if (slots_[i].hash == hash && is_same(slots_[i].node)) return slots_[i].node;
    }
  }

  /// Adds a node of which no entry has the signature.
  void add(Node node, Hash hash) {
    if (++size_ * 2 > slots_.size()) grow();
    put({hash, node});
  }

  /// Removes an entry, which was added with this hash.
  void remove(Node node, Hash hash) {
    std::size_t gap = hash & mask();
    for (; slots_[gap].node != node; gap = (gap + 1) & mask()) assert(slots_[gap].node >= 0);
    --size_;
    // What stands behind moves into the gap, unless that would put it before its own place.
    for (std::size_t i = (gap + 1) & mask(); slots_[i].node >= 0; i = (i + 1) & mask()) {
      if (((i - slots_[i].hash) & mask()) < ((i - gap) & mask())) continue;
      slots_[gap] = slots_[i];
      gap = i;
    }
    slots_[gap].node = -1;
  }

 private:
  struct Slot {
    Hash hash = 0;
    Node node = -1;
  };

  std::size_t mask() const { return slots_.size() - 1; }
  void put(Slot slot) {
    std::size_t i = slot.hash & mask();
    while (slots_[i].node >= 0) i = (i + 1) & mask();
    slots_[i] = slot;
  }
  void grow() {
    std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(2 * slots_.size()));
    for (const Slot& slot : old)
      if (slot.node >= 0) put(slot);
  }

  std::vector<Slot> slots_ = std::vector<Slot>(16);  // a power of two of them, half of them free
  std::size_t size_ = 0;
};

}  // namespace vesk::euf
