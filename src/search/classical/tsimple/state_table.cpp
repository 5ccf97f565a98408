#include "search/classical/tsimple/state_table.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <new>

namespace zorvel::tsimple {

namespace {

constexpr std::size_t block_words = 1 << 15;
constexpr std::size_t least_cells = 256;

}  // namespace

StateTable::StateTable(std::size_t slots, std::size_t bits)
    : slots_(slots),
      bit_words_((bits + 31) / 32),
      record_words_(info_words + bit_words_ + slots + 1),
      cells_(least_cells, 0) {
  const std::size_t records = std::bit_ceil(std::max<std::size_t>(1, block_words / record_words_));
  block_shift_ = static_cast<unsigned>(std::countr_zero(records));
  block_mask_ = static_cast<std::uint32_t>(records - 1);
}

std::uint32_t StateTable::hash_of(const ValueId* values) const {
  std::uint32_t hash = 0;
  for (std::size_t slot = 0; slot < slots_; ++slot) hash ^= hash_of(slot, values[slot]);
  return hash;
}

bool StateTable::contains(const ValueId* values, std::uint32_t hash) const {
  const std::size_t mask = cells_.size() - 1;
  for (std::size_t at = hash & mask; cells_[at] != 0; at = (at + 1) & mask)
    if (hash_in(cells_[at]) == hash &&
        std::equal(values, values + slots_, this->values(state_of(cells_[at]))))
      return true;
  return false;
}

StateId StateTable::new_record() {
  if (!free_.empty()) {
    const StateId id = free_.back();
    free_.pop_back();
    return id;
  }
  if (next_ == no_state) throw std::bad_alloc();
  if ((next_ & block_mask_) == 0)
    blocks_.push_back(
        std::make_unique_for_overwrite<std::uint32_t[]>((block_mask_ + std::size_t{1}) * record_words_));
  return next_++;
}

void StateTable::put(Cell cell) {
  assert(2 * size_ < cells_.size() && state_of(cell) < next_);
  const std::size_t mask = cells_.size() - 1;
  std::size_t at = hash_in(cell) & mask;
  while (cells_[at] != 0) at = (at + 1) & mask;
  cells_[at] = cell;
}

void StateTable::grow() {
  std::vector<Cell> old(2 * cells_.size(), 0);
  old.swap(cells_);
  for (const Cell cell : old)
    if (cell != 0) put(cell);
}

StateId StateTable::insert(const StateInfo& info, std::span<const std::uint32_t> bits, const ValueId* values,
                           std::uint32_t hash) {
  assert(hash == hash_of(values) && !contains(values, hash) && bits.size() == bit_words_);
  if (2 * (size_ + 1) > cells_.size()) grow();
  const StateId id = new_record();
  std::uint32_t* const words = record(id);
  words[0] = info.parent;
  words[1] = info.action;
  words[2] = info.depth;
  words[3] = info.achieved_goals;
  std::copy(bits.begin(), bits.end(), words + info_words);
  std::copy_n(values, slots_, words + info_words + bit_words_);
  words[record_words_ - 1] = hash;
  put(static_cast<Cell>(hash) << 32 | (static_cast<Cell>(id) + 1));
  ++size_;
  return id;
}

void StateTable::erase(StateId id) {
  assert(id < next_ && size_ > 0);
  const std::size_t mask = cells_.size() - 1;
  std::size_t hole = hash(id) & mask;
  while (state_of(cells_[hole]) != id) hole = (hole + 1) & mask;
  // What stands behind the hole moves into it unless its own place lies behind the hole too.
  for (std::size_t at = (hole + 1) & mask; cells_[at] != 0; at = (at + 1) & mask) {
    const std::size_t home = hash_in(cells_[at]) & mask;
    if (((at - home) & mask) < ((at - hole) & mask)) continue;
    cells_[hole] = cells_[at];
    hole = at;
  }
  cells_[hole] = 0;
  free_.push_back(id);
  --size_;
}

std::uint64_t StateTable::bytes() const {
  return blocks_.size() * (block_mask_ + std::uint64_t{1}) * record_words_ * sizeof(std::uint32_t) +
         cells_.capacity() * sizeof(Cell) + free_.capacity() * sizeof(StateId);
}

bool StateTable::is_consistent() const {
  std::size_t found = 0;
  for (const Cell cell : cells_) {
    if (cell == 0) continue;
    ++found;
    const StateId id = state_of(cell);
    if (hash_in(cell) != hash(id) || hash(id) != hash_of(values(id)) || !contains(values(id), hash(id)))
      return false;
  }
  return found == size_;
}

}  // namespace zorvel::tsimple
