#include "search/heuristics/estimate_cache.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <limits>

namespace zorvel {

namespace {

constexpr std::size_t most_bytes = std::size_t{32} << 20;
constexpr std::size_t most_entries = std::size_t{1} << 17;
constexpr std::uint32_t no_position = ~std::uint32_t{0};

std::uint64_t hash_of(const std::vector<std::uint32_t>& words) {
  std::uint64_t hash = words.size();
  for (const std::uint32_t word : words) {
    hash ^= word;
    hash *= 0xff51afd7ed558ccdU;
    hash ^= hash >> 32;
  }
  return hash | 1;
}

}  // namespace

EstimateCache::EstimateCache(std::size_t slots, const std::vector<std::uint32_t>& action_chain_lengths,
                             std::size_t estimates)
    : slots_(slots),
      most_open_(std::min<std::size_t>(action_chain_lengths.size(), 16)),
      key_words_(slots + most_open_),
      estimates_(estimates),
      entry_bytes_(key_words_ * sizeof(std::uint32_t) + estimates * sizeof(double) + sizeof(std::uint64_t)) {
  std::uint32_t position = 0;
  for (const std::uint32_t length : action_chain_lengths) {
    first_position_.push_back(position);
    position += length;
  }
  const std::size_t entries =
      std::bit_floor(std::clamp<std::size_t>(most_bytes / entry_bytes_, 1, most_entries));
  mask_ = entries - 1;
  hashes_.resize(entries);
  keys_ = std::make_unique_for_overwrite<std::uint32_t[]>(entries * key_words_);
  values_ = std::make_unique_for_overwrite<double[]>(entries * estimates_);
  key_.resize(key_words_);
}

bool EstimateCache::write_key(const StateView& state) {
  const auto open = std::copy_n(state.values, slots_, key_.begin());
  auto end = open;
  for (const OpenChain& chain : state.open) {
    if (chain.chain < first_action_chain) continue;
    assert(chain.chain - first_action_chain < first_position_.size());
    if (end == key_.end()) return false;
    *end++ = first_position_[chain.chain - first_action_chain] + chain.cursor;
  }
  // The order in which the actions were opened has no part in an estimate.
  std::sort(open, end);
  std::fill(end, key_.end(), no_position);
  return true;
}

double* EstimateCache::find(const StateView& state) {
  if (!write_key(state)) return nullptr;
  const std::uint64_t hash = hash_of(key_);
  const std::size_t entry = (hash >> 20) & mask_;
  std::uint32_t* const kept = keys_.get() + entry * key_words_;
  double* const values = values_.get() + entry * estimates_;
  if (hashes_[entry] == hash && std::equal(key_.begin(), key_.end(), kept)) return values;
  if (hashes_[entry] == 0) ++used_;
  hashes_[entry] = hash;
  std::copy(key_.begin(), key_.end(), kept);
  std::fill_n(values, estimates_, std::numeric_limits<double>::quiet_NaN());
  return values;
}

}  // namespace zorvel
