#include "smtlib/run_limits.h"

#include <new>

#include "veskor.h"

namespace smtlib {

void RunLimits::set_seconds(double seconds) {
  constexpr double years = 1e9;  // as good as no limit, and more than the clock can say
  has_deadline_ = seconds > 0 && seconds < years;
  if (has_deadline_)
    deadline_ =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

bool RunLimits::has_memory_left() {
  if (memory_ == 0) return true;
  const Clock::time_point now = Clock::now();
  if (now < next_memory_look_) return true;
  next_memory_look_ = now + std::chrono::milliseconds(1);  // looking takes microseconds
  return vesk_get_memory_in_use() <= memory_;
}

bool RunLimits::is_over() {
  is_over_ = is_over_ || signal() != 0 || (has_deadline_ && Clock::now() >= deadline_);
  return is_over_;
}

void RunLimits::poll() {
  if (is_over()) throw RunEnded();
  // Not remembered: a check that ends gives its memory back.
  if (!has_memory_left()) throw std::bad_alloc();
}

}  // namespace smtlib
