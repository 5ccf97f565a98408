#include "search/heuristics/landmarks/landmark_truths.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace zorvel {

LandmarkTruths::LandmarkTruths(const LandmarkGraph& graph, const std::vector<ValueId>& slots)
    : graph_(graph),
      slots_(slots),
      watches_(slots.size()),
      readers_(slots.size()),
      true_tests_(graph.size()),
      holding_(graph.words()),
      is_stale_(graph.size()) {
  for (LandmarkId landmark = 0; landmark < graph.size(); ++landmark) {
    for (const LandmarkGraph::Test& test : graph.tests(landmark)) {
      watches_[test.slot].push_back({landmark, test.expected, test.is_equal});
      true_tests_[landmark] += test.holds(slots.data()) ? 1 : 0;
    }
    for (const std::uint32_t slot : graph.slots_of_program(landmark)) readers_[slot].push_back(landmark);
    note(landmark, graph.is_true(landmark, slots.data()));
  }
}

void LandmarkTruths::note(LandmarkId landmark, bool holds) {
  const LandmarkGraph::Word bit = LandmarkGraph::Word{1} << (landmark % LandmarkGraph::bits);
  LandmarkGraph::Word& word = holding_[landmark / LandmarkGraph::bits];
  word = holds ? word | bit : word & ~bit;
}

void LandmarkTruths::change(std::size_t slot, ValueId value) {
  assert(slot < slots_.size());
  const ValueId old = slots_[slot];
  slots_[slot] = value;
  for (const Watch& watch : watches_[slot]) {
    const bool held = (old == watch.expected) == watch.is_equal && old != unset_value;
    const bool holds = (value == watch.expected) == watch.is_equal && value != unset_value;
    if (held == holds) continue;
    std::uint32_t& count = true_tests_[watch.landmark];
    assert(holds || count > 0);
    count = holds ? count + 1 : count - 1;
    note(watch.landmark, count != 0);
  }
  for (const LandmarkId landmark : readers_[slot]) {
    if (is_stale_[landmark] != 0) continue;
    is_stale_[landmark] = 1;
    stale_.push_back(landmark);
  }
}

void LandmarkTruths::set_first(const ValueId* values, std::size_t count) {
  assert(count <= slots_.size());
  constexpr std::size_t block = 16;
  for (std::size_t first = 0; first < count; first += block) {
    const std::size_t size = std::min(block, count - first);
    if (std::memcmp(values + first, slots_.data() + first, size * sizeof(ValueId)) == 0) continue;
    for (std::size_t slot = first; slot < first + size; ++slot) set(slot, values[slot]);
  }
}

const LandmarkGraph::Word* LandmarkTruths::holding() {
  while (!stale_.empty()) {
    const LandmarkId landmark = stale_.back();
    note(landmark, graph_.is_true(landmark, slots_.data()));
    is_stale_[landmark] = 0;
    stale_.pop_back();
  }
  return holding_.data();
}

}  // namespace zorvel
