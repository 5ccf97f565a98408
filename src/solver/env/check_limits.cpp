#include "solver/env/check_limits.h"

#include "solver/util/memory.h"

namespace vesk {
namespace {

// Looking takes microseconds; in this time a program takes no more than some megabytes.
constexpr auto between_memory_looks = std::chrono::milliseconds(1);

}  // namespace

void CheckLimits::start() {
  const Clock::time_point now = Clock::now();
  reason_ = "";
  is_out_of_memory_ = false;
  next_memory_look_ = now;
  // why the test: further away than the clock can say is no limit.
  constexpr double years = 1e9;
  deadline_ = seconds_ > 0 && seconds_ < years
                  ? now + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds_))
                  : Clock::time_point::max();
}

bool CheckLimits::stop(const char* reason) {
  reason_ = reason;
  return true;
}

bool CheckLimits::operator()() {
  if (test_ != nullptr && (*test_)()) return stop("stopped by the termination test");
  if (seconds_ <= 0 && memory_ == 0) return false;
  const Clock::time_point now = Clock::now();
  if (now >= deadline_) return stop("the time limit is reached");
  if (memory_ == 0 || now < next_memory_look_) return false;
  if (memory_in_use() > memory_) {
    is_out_of_memory_ = true;
    return stop("out of memory: the memory limit is reached");
  }
  next_memory_look_ = now + between_memory_looks;
  return false;
}

}  // namespace vesk
