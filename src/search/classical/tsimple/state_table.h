#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "state/value_table.h"

namespace zorvel::tsimple {

/// The number of a stored state.
using StateId = std::uint32_t;
inline constexpr StateId no_state = 0xFFFF'FFFF;

/// What a stored state knows beside its values.
struct StateInfo {
  StateId parent = no_state;
  std::uint32_t action = 0;  ///< That led here; nothing without a parent.
  std::uint32_t depth = 0;
  std::uint32_t achieved_goals = 0;
};

/// All states of a search, each set of values once: packed records in blocks that never move, and one hash
/// table over them. A record holds the info, bits (of landmarks), and the values.
class StateTable {
 public:
  StateTable(std::size_t slots, std::size_t bits);

  std::size_t bit_words() const { return bit_words_; }
  StateInfo info(StateId id) const {
    const std::uint32_t* const words = record(id);
    return {words[0], words[1], words[2], words[3]};
  }
  std::span<const std::uint32_t> bits(StateId id) const { return {record(id) + info_words, bit_words_}; }
  const ValueId* values(StateId id) const { return record(id) + info_words + bit_words_; }
  std::uint32_t hash(StateId id) const { return record(id)[info_words + bit_words_ + slots_]; }

  /// The share of one value in the hash of a state, which is the exclusive or of those of all slots.
  static std::uint32_t hash_of(std::size_t slot, ValueId value) {
    std::uint64_t key = (static_cast<std::uint64_t>(slot) << 32 | value) + 0x9e3779b97f4a7c15U;
    key = (key ^ (key >> 30)) * 0xbf58476d1ce4e5b9U;
    key = (key ^ (key >> 27)) * 0x94d049bb133111ebU;
    return static_cast<std::uint32_t>(key >> 32);
  }
  std::uint32_t hash_of(const ValueId* values) const;

  /// `hash` must be that of the values.
  bool contains(const ValueId* values, std::uint32_t hash) const;
  /// Stores a state, whose values must not be there yet.
  StateId insert(const StateInfo& info, std::span<const std::uint32_t> bits, const ValueId* values,
                 std::uint32_t hash);
  void erase(StateId id);
  std::size_t size() const { return size_; }
  std::uint64_t bytes() const;
  /// Every stored state is found by its values and hash; for tests, slow.
  bool is_consistent() const;

 private:
  /// 0: free. Otherwise the number of a state plus one, and in the upper half its hash.
  using Cell = std::uint64_t;
  static constexpr std::size_t info_words = 4;

  const std::uint32_t* record(StateId id) const {
    return blocks_[id >> block_shift_].get() + (id & block_mask_) * record_words_;
  }
  std::uint32_t* record(StateId id) {
    return blocks_[id >> block_shift_].get() + (id & block_mask_) * record_words_;
  }
  StateId new_record();
  void grow();
  void put(Cell cell);
  static StateId state_of(Cell cell) { return static_cast<StateId>(cell) - 1; }
  static std::uint32_t hash_in(Cell cell) { return static_cast<std::uint32_t>(cell >> 32); }

  std::size_t slots_, bit_words_, record_words_;
  unsigned block_shift_;  // log2 of the records of a block
  std::uint32_t block_mask_;
  std::vector<std::unique_ptr<std::uint32_t[]>> blocks_;
  StateId next_ = 0;
  std::vector<StateId> free_;
  std::vector<Cell> cells_;  // a power of two of them
  std::size_t size_ = 0;
};

}  // namespace zorvel::tsimple
