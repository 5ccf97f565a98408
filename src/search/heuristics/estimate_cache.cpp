#include "search/heuristics/estimate_cache.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace zorvel::tp::ftp {

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

EstimateCache::EstimateCache(const DenseProblem& problem, std::size_t estimates)
    : problem_(problem),
      most_open_(std::min<std::size_t>(problem.action_count(), 16)),
      key_words_(problem.slots() + most_open_),
      estimates_(estimates),
      entry_bytes_(key_words_ * sizeof(std::uint32_t) + estimates * sizeof(double) + sizeof(std::uint64_t)) {
  const auto chains = static_cast<std::uint32_t>(DenseProblem::first_action_chain + problem.action_count());
  std::uint32_t position = 0;
  for (std::uint32_t chain = 0; chain < chains; ++chain) {
    first_position_.push_back(position);
    position += static_cast<std::uint32_t>(problem.chain(chain).events.size());
  }
  const std::size_t entries =
      std::bit_floor(std::clamp<std::size_t>(most_bytes / entry_bytes_, 1, most_entries));
  mask_ = entries - 1;
  hashes_.resize(entries);
  keys_ = std::make_unique_for_overwrite<std::uint32_t[]>(entries * key_words_);
  values_ = std::make_unique_for_overwrite<double[]>(entries * estimates_);
  key_.resize(key_words_);
}

bool EstimateCache::write_key(const DenseView& view) {
  const auto open = std::copy_n(view.values, problem_.slots(), key_.begin());
  auto end = open;
  for (const Todo& todo : view.todo) {
    if (todo.chain < DenseProblem::first_action_chain) continue;
    if (end == key_.end()) return false;
    *end++ = first_position_[todo.chain] + todo.cursor;
  }
  // The order in which the actions were opened has no part in an estimate.
  std::sort(open, end);
  std::fill(end, key_.end(), no_position);
  return true;
}

double* EstimateCache::find(const DenseView& view) {
  if (!write_key(view)) return nullptr;
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

}  // namespace zorvel::tp::ftp
