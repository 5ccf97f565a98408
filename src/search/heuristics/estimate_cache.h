#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "search/frame/state_view.h"

namespace zorvel {

/// Estimates of states met before, by all that an estimate may depend on: the slots, and how far each open
/// action has come. Without duplicate detection a search meets the same again and again, behind other orders
/// of the same moves.
///
/// A table of fixed size in which a newer state takes the place of an older one; memory is touched as it
/// fills.
class EstimateCache {
 public:
  /// `slots` is the number of values of a state, `estimates` how many are kept for it, and
  /// `action_chain_lengths` says how many events each action leaves pending when it opens.
  EstimateCache(std::size_t slots, const std::vector<std::uint32_t>& action_chain_lengths,
                std::size_t estimates);

  /// The estimates of the state, NaN where none was stored; valid until the next call. Null if more actions
  /// are open than an entry holds.
  double* find(const StateView& state);

  /// Whether so few states fit in that finding one takes longer than it saves.
  bool is_small() const { return mask_ + 1 < 1024; }
  std::uint64_t bytes() const { return used_ * entry_bytes_; }

 private:
  bool write_key(const StateView& state);

  std::vector<std::uint32_t> first_position_;  // by action: the number of its chain's first position
  std::size_t slots_, most_open_, key_words_, estimates_, entry_bytes_, mask_;
  std::uint64_t used_ = 0;
  std::vector<std::uint64_t> hashes_;  // 0: an unused entry
  std::unique_ptr<std::uint32_t[]> keys_;
  std::unique_ptr<double[]> values_;
  std::vector<std::uint32_t> key_;  // scratch
};

}  // namespace zorvel
