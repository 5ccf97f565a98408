#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "search/forward/dense/dense_problem.h"

namespace zorvel::tp::ftp {

/// Estimates of states met before, by all that an estimate may depend on: the slots, and how far each open
/// action has come. Without duplicate detection a search meets the same again and again, behind other orders
/// of the same moves.
///
/// A table of fixed size in which a newer state takes the place of an older one; memory is touched as it
/// fills.
class EstimateCache {
 public:
  /// `estimates` is how many are kept for a state. The problem must outlive the cache.
  EstimateCache(const DenseProblem& problem, std::size_t estimates);

  /// The estimates of the state, NaN where none was stored; valid until the next call. Null if more actions
  /// are open than an entry holds.
  double* find(const DenseView& view);

  std::uint64_t bytes() const { return used_ * entry_bytes_; }

 private:
  bool write_key(const DenseView& view);

  const DenseProblem& problem_;
  std::vector<std::uint32_t> first_position_;  // by chain: the number of its first position
  std::size_t most_open_, key_words_, estimates_, entry_bytes_, mask_;
  std::uint64_t used_ = 0;
  std::vector<std::uint64_t> hashes_;  // 0: an unused entry
  std::unique_ptr<std::uint32_t[]> keys_;
  std::unique_ptr<double[]> values_;
  std::vector<std::uint32_t> key_;  // scratch
};

}  // namespace zorvel::tp::ftp
