#pragma once

#include <cstdint>
#include <vector>

#include "solver/config/configuration.h"

namespace vesk::dpll {

/// When the search starts over from the backtrack points. Four strategies: geometric limits, the Luby
/// sequence (M. Luby, A. Sinclair, D. Zuckerman, 1993), the same with a unit that follows the agility of
/// the search (A. Biere, SAT 2008), and falling LBDs (G. Audemard, L. Simon, CP 2012).
class RestartStrategy {
 public:
  /// At the start of a solve call.
  void init(const Configuration::Dpll& config);
  /// After a restart.
  void next();

  /// `conflicts` since the last restart, `total_conflicts` of this solve call.
  bool should_restart(std::uint64_t conflicts, std::uint64_t total_conflicts) const;
  void learnt(std::uint32_t lbd);

  bool tracks_agility() const { return kind_ == Configuration::Dpll::luby_agility; }
  void update_agility(bool phase_changed) {
    agility_ *= agility_decay;
    if (phase_changed) agility_ += 1 - agility_decay;
  }
  double limit() const { return limit_; }

 private:
  static constexpr double agility_decay = 0.9999;
  static constexpr std::size_t queue_size = 100;

  int kind_ = 0;
  double initial_ = 0;
  double factor_ = 0;
  double limit_ = 0;
  double unit_ = 0;
  std::uint64_t index_ = 0;
  double agility_ = 0;
  std::vector<std::uint32_t> queue_;  // the last LBDs, a ring
  std::size_t queue_next_ = 0;
  std::uint64_t queue_sum_ = 0;
  std::uint64_t total_lbd_ = 0;
};

}  // namespace vesk::dpll
