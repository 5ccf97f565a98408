#include "state/argument_table.h"

#include <algorithm>
#include <cassert>

namespace zorvel {

namespace {

constexpr std::size_t max_cells = std::size_t(1) << 24;
constexpr std::size_t max_cells_per_entry = 64;

}  // namespace

ArgumentTable::ArgumentTable(std::size_t arity, std::vector<Entry> entries)
    : arity_(arity), positions_(arity), sorted_(std::move(entries)) {
  for (const Entry& entry : sorted_) {
    assert(entry.arguments.size() == arity);
    results_.push_back(entry.result);
  }
  std::ranges::sort(results_);
  std::ranges::stable_sort(sorted_, {}, &Entry::arguments);

  std::size_t cells = 1;
  for (std::size_t i = 0; i < arity; ++i) {
    std::size_t values = 0;
    std::vector<std::uint32_t>& offsets = positions_[i].offsets;
    for (const Entry& entry : sorted_) {
      const ValueId value = entry.arguments[i];
      if (value >= offsets.size()) offsets.resize(value + 1, absent);
      if (offsets[value] == absent) offsets[value] = static_cast<std::uint32_t>(values++ * cells);
    }
    cells *= values;
    if (cells > max_cells || cells > max_cells_per_entry * (sorted_.size() + 16)) {
      positions_.clear();
      return;
    }
  }
  cells_.assign(cells, absent);
  for (const Entry& entry : sorted_) {
    std::size_t cell = 0;
    for (std::size_t i = 0; i < arity; ++i) cell += positions_[i].offsets[entry.arguments[i]];
    if (cells_[cell] == absent) cells_[cell] = entry.result;
  }
  sorted_.clear();
}

std::uint32_t ArgumentTable::find(const ValueId* arguments) const {
  if (cells_.empty()) return find_sorted(arguments);
  std::size_t cell = 0;
  for (std::size_t i = 0; i < arity_; ++i) {
    const std::vector<std::uint32_t>& offsets = positions_[i].offsets;
    if (arguments[i] >= offsets.size() || offsets[arguments[i]] == absent) return absent;
    cell += offsets[arguments[i]];
  }
  return cells_[cell];
}

std::uint32_t ArgumentTable::find_sorted(const ValueId* arguments) const {
  const std::span<const ValueId> wanted(arguments, arity_);
  const auto found = std::ranges::lower_bound(
      sorted_, wanted,
      [](std::span<const ValueId> a, std::span<const ValueId> b) {
        return std::ranges::lexicographical_compare(a, b);
      },
      [](const Entry& entry) { return std::span<const ValueId>(entry.arguments); });
  return found != sorted_.end() && std::ranges::equal(found->arguments, wanted) ? found->result : absent;
}

}  // namespace zorvel
