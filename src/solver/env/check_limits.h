#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "solver/util/termination.h"

namespace vesk {

/// What one check may use, as the one test that all loops of the solver poll, and what of it ended the check.
class CheckLimits : public TerminationTest {
 public:
  void set_test(TerminationTest* test) { test_ = test; }
  /// Of the clock on the wall; 0: as long as it takes.
  void set_seconds(double seconds) { seconds_ = seconds; }
  /// See require_memory(); 0: as much as there is.
  void set_memory(std::size_t bytes) { memory_ = bytes; }

  /// The time begins now.
  void start();
  /// True when the work should stop. It should then stop at every later poll, too.
  bool operator()() override;

  /// In words, why the work was stopped.
  const char* reason() const { return reason_; }
  bool is_out_of_memory() const { return is_out_of_memory_; }

 private:
  using Clock = std::chrono::steady_clock;

  bool stop(const char* reason);

  TerminationTest* test_ = nullptr;
  double seconds_ = 0;
  std::size_t memory_ = 0;
  Clock::time_point deadline_;
  Clock::time_point next_memory_look_;
  const char* reason_ = "";
  bool is_out_of_memory_ = false;
};

}  // namespace vesk
