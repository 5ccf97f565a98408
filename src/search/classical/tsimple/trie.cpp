#include "search/classical/tsimple/trie.h"

#include <algorithm>
#include <cassert>
#include <new>
#include <numeric>

namespace zorvel::tsimple {

namespace {

constexpr std::uint32_t tuples_between_checks = 1 << 14;
constexpr std::size_t least_edge_cells = 64;

std::size_t hash_of(std::uint64_t key) {
  key *= 0x9e3779b97f4a7c15U;
  key ^= key >> 32;
  key *= 0xff51afd7ed558ccdU;
  return static_cast<std::size_t>(key ^ (key >> 29));
}

std::uint64_t edge(std::uint32_t node, std::uint32_t pair) {
  return (static_cast<std::uint64_t>(node) << 32) | pair;
}

}  // namespace

std::size_t Trie::EdgeTable::position(std::uint64_t key) const {
  assert(key != 0 && size_ < cells_.size());
  const std::size_t mask = cells_.size() - 1;
  std::size_t at = hash_of(key) & mask;
  while (cells_[at].key != 0 && cells_[at].key != key) at = (at + 1) & mask;
  return at;
}

std::pair<Trie::Number, bool> Trie::EdgeTable::insert(std::uint64_t key, Number value) {
  if (2 * size_ >= cells_.size()) grow();
  Cell& cell = cells_[position(key)];
  if (cell.key == key) return {cell.value, false};
  cell = {key, value};
  ++size_;
  return {value, true};
}

void Trie::EdgeTable::grow() {
  std::vector<Cell> old(std::max(least_edge_cells, 2 * cells_.size()));
  old.swap(cells_);
  for (const Cell& cell : old)
    if (cell.key != 0) cells_[position(cell.key)] = cell;
}

void Trie::EdgeTable::clear() {
  cells_ = {};
  size_ = 0;
}

bool Trie::EdgeSet::insert(std::uint64_t key) {
  assert(key != 0);
  if (2 * size_ >= cells_.size()) grow();
  const std::size_t mask = cells_.size() - 1;
  std::size_t at = hash_of(key) & mask;
  while (cells_[at] != 0) {
    if (cells_[at] == key) return false;
    at = (at + 1) & mask;
  }
  cells_[at] = key;
  ++size_;
  return true;
}

void Trie::EdgeSet::grow() {
  std::vector<std::uint64_t> old(std::max(least_edge_cells, 2 * cells_.size()), 0);
  old.swap(cells_);
  const std::size_t mask = cells_.size() - 1;
  for (const std::uint64_t key : old) {
    if (key == 0) continue;
    std::size_t at = hash_of(key) & mask;
    while (cells_[at] != 0) at = (at + 1) & mask;
    cells_[at] = key;
  }
}

void Trie::EdgeSet::clear() {
  cells_ = {};
  size_ = 0;
}

Trie::Trie(std::size_t slots, std::size_t width, std::function<bool()> must_stop)
    : slots_(slots),
      width_(width),
      must_stop_(std::move(must_stop)),
      pairs_(slots),
      tuple_(width),
      path_(width) {
  assert(width > 0);
}

std::pair<Trie::Number, bool> Trie::pair_of(std::uint32_t slot, ValueId value) {
  std::vector<Number>& of_slot = pairs_[slot];
  if (of_slot.size() <= value) of_slot.resize(value + 1, 0);
  if (of_slot[value] != 0) return {of_slot[value], false};
  if (next_pair_ == first_node) throw std::bad_alloc();
  return {of_slot[value] = next_pair_++, true};
}

/// Adds the tuple of `tuple_`, of which the elements before `first_changed` are those of the last one.
bool Trie::add_tuple(const ValueId* values, std::size_t first_changed) {
  for (std::size_t i = first_changed; i + 1 < width_; ++i) {
    const Number pair = pair_of(tuple_[i], values[tuple_[i]]).first;
    if (i == 0) {
      path_[0] = pair;
      continue;
    }
    const auto [node, is_new] = inner_.insert(edge(path_[i - 1], pair), next_node_);
    if (is_new && ++next_node_ == 0) throw std::bad_alloc();
    path_[i] = node;
  }
  const std::uint32_t slot = tuple_[width_ - 1];
  return last_.insert(edge(path_[width_ - 2], pair_of(slot, values[slot]).first));
}

/// Makes `tuple_` of `subset_` and the fixed slot, from place `first` on; what stands before it is right.
void Trie::fill_tuple(std::size_t first, const std::uint32_t* fixed_slot) {
  const auto begin = tuple_.begin(), middle = begin + static_cast<std::ptrdiff_t>(first);
  bool is_pending = fixed_slot != nullptr && std::find(begin, middle, *fixed_slot) == middle;
  std::size_t from = first - (fixed_slot != nullptr && !is_pending ? 1 : 0);
  for (std::size_t to = first; to < width_; ++to) {
    std::uint32_t slot = 0;
    if (from < subset_.size())
      slot = subset_[from] + (fixed_slot != nullptr && subset_[from] >= *fixed_slot ? 1 : 0);
    if (is_pending && (from == subset_.size() || slot > *fixed_slot)) {
      tuple_[to] = *fixed_slot;
      is_pending = false;
    } else {
      tuple_[to] = slot;
      ++from;
    }
  }
  assert(!is_pending && std::ranges::is_sorted(tuple_));  // one tuple for each set of slots
}

/// Adds the tuple of each set of `width_` slots, in lexicographic order; only of those with the fixed slot,
/// if there is one.
bool Trie::add_subsets(const ValueId* values, const std::uint32_t* fixed_slot) {
  const std::size_t fixed = fixed_slot == nullptr ? 0 : 1;
  const std::size_t choices = slots_ - fixed, size = width_ - fixed;
  if (size > choices) return false;
  subset_.resize(size);
  std::iota(subset_.begin(), subset_.end(), 0);
  bool is_new = false;
  for (std::size_t first_changed = 0;;) {
    fill_tuple(first_changed, fixed_slot);
    is_new = add_tuple(values, first_changed) || is_new;
    if (++tuples_since_check_ >= tuples_between_checks) {
      tuples_since_check_ = 0;
      if (must_stop_ && must_stop_()) return is_new;
    }
    std::size_t last = size;
    while (last > 0 && subset_[last - 1] == choices - size + last - 1) --last;
    if (last == 0) return is_new;
    first_changed = last - 1;
    ++subset_[first_changed];
    for (std::size_t i = last; i < size; ++i) subset_[i] = subset_[i - 1] + 1;
  }
}

bool Trie::add_all(const ValueId* values) {
  if (width_ > 1) return add_subsets(values, nullptr);
  bool is_new = false;
  for (std::uint32_t slot = 0; slot < slots_; ++slot) is_new = pair_of(slot, values[slot]).second || is_new;
  return is_new;
}

bool Trie::add_with(const ValueId* values, std::uint32_t slot) {
  assert(slot < slots_);
  return width_ > 1 ? add_subsets(values, &slot) : pair_of(slot, values[slot]).second;
}

void Trie::clear() {
  for (auto& of_slot : pairs_) of_slot.clear();
  next_pair_ = 1;
  next_node_ = first_node;
  inner_.clear();
  last_.clear();
}

std::uint64_t Trie::bytes() const {
  std::uint64_t bytes = inner_.bytes() + last_.bytes();
  for (const auto& of_slot : pairs_) bytes += of_slot.capacity() * sizeof(Number);
  return bytes;
}

}  // namespace zorvel::tsimple
