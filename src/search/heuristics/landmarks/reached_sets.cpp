#include "search/heuristics/landmarks/reached_sets.h"

#include <algorithm>
#include <cassert>

namespace zorvel {

ReachedSets::ReachedSets(std::size_t words) : words_(words), slots_(64) {}

std::size_t ReachedSets::hash(const Word* set) const {
  Word hash = 0x9e3779b97f4a7c15U;
  for (std::size_t i = 0; i < words_; ++i) {
    hash ^= set[i];
    hash *= 0xff51afd7ed558ccdU;
    hash ^= hash >> 32;
  }
  return static_cast<std::size_t>(hash);
}

bool ReachedSets::is_equal(const Word* a, const Word* b) const { return std::equal(a, a + words_, b); }

ReachedSets::Id ReachedSets::insert(const Word* set) {
  assert(2 * size_ <= slots_.size());
  std::size_t slot = hash(set) & (slots_.size() - 1);
  for (; slots_[slot] != 0; slot = (slot + 1) & (slots_.size() - 1))
    if (is_equal((*this)[slots_[slot]], set)) return slots_[slot];
  store_.insert(store_.end(), set, set + words_);
  const Id id = slots_[slot] = static_cast<Id>(++size_);
  if (2 * size_ > slots_.size()) grow();
  return id;
}

void ReachedSets::grow() {
  std::vector<Id> larger(2 * slots_.size());
  for (Id id = 1; id <= size_; ++id) {
    std::size_t slot = hash((*this)[id]) & (larger.size() - 1);
    while (larger[slot] != 0) slot = (slot + 1) & (larger.size() - 1);
    larger[slot] = id;
  }
  slots_.swap(larger);
}

}  // namespace zorvel
