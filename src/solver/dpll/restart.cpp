#include "solver/dpll/restart.h"

#include <algorithm>

namespace vesk::dpll {
namespace {

// The element at `index`, counted from 1, of 1 1 2 1 1 2 4 1 1 2 ...
double luby(std::uint64_t index) {
  for (;;) {
    std::uint64_t power = 1;  // the largest 2^(k-1) <= index
    while (2 * power <= index) power *= 2;
    if (index == 2 * power - 1) return static_cast<double>(power);
    index -= power - 1;
  }
}

}  // namespace

void RestartStrategy::init(const Configuration::Dpll& config) {
  kind_ = config.restart_strategy;
  initial_ = config.restart_initial;
  factor_ = config.restart_geometric_factor;
  limit_ = unit_ = initial_;
  index_ = 1;
  queue_.clear();
  queue_next_ = 0;
  queue_sum_ = total_lbd_ = 0;
}

void RestartStrategy::next() {
  switch (kind_) {
    case Configuration::Dpll::geometric: limit_ *= factor_; break;
    case Configuration::Dpll::luby_agility:
      if (agility_ >= 0.2)
        unit_ *= 2;
      else if (agility_ <= 0.15)
        unit_ = std::max(unit_ / 2, initial_);
      [[fallthrough]];
    case Configuration::Dpll::luby: limit_ = unit_ * luby(++index_); break;
    default:
      queue_.clear();
      queue_next_ = 0;
      queue_sum_ = 0;
      break;
  }
}

bool RestartStrategy::should_restart(std::uint64_t conflicts, std::uint64_t total_conflicts) const {
  if (kind_ != Configuration::Dpll::glucose) return static_cast<double>(conflicts) >= limit_;
  if (queue_.size() < queue_size || total_conflicts == 0) return false;
  const double recent = static_cast<double>(queue_sum_ / queue_size) * 0.7;
  return recent > static_cast<double>(total_lbd_) / static_cast<double>(total_conflicts);
}

void RestartStrategy::learnt(std::uint32_t lbd) {
  if (kind_ != Configuration::Dpll::glucose) return;
  total_lbd_ += lbd;
  queue_sum_ += lbd;
  if (queue_.size() < queue_size) {
    queue_.push_back(lbd);
    return;
  }
  queue_sum_ -= queue_[queue_next_];
  queue_[queue_next_] = lbd;
  queue_next_ = (queue_next_ + 1) % queue_size;
}

}  // namespace vesk::dpll
