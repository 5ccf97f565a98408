#pragma once

#include <chrono>
#include <csignal>
#include <cstddef>

namespace smtlib {

/// The run is to end now: a limit of the whole run, or a signal.
struct RunEnded {};

/// What ends a run from outside: its time, its memory, a signal. Asked by all loops that read, and by the
/// solver.
class RunLimits {
 public:
  /// Of the whole run, from now on; 0 for no limit.
  void set_seconds(double seconds);
  /// Of the address space, see vesk_get_memory_in_use(); 0 for no limit.
  void set_memory(std::size_t bytes) { memory_ = bytes; }
  /// The number of a signal that has come, 0 if none has; set by a handler. Must outlive this object.
  void set_signal(const volatile std::sig_atomic_t* signal_number) { signal_ = signal_number; }

  /// Whether a signal came or the time is over. Costs a look at the clock, if there is a limit.
  bool is_over();
  /// Why it is over: a signal's number, or 0 for the time.
  int signal() const { return signal_ == nullptr ? 0 : static_cast<int>(*signal_); }
  /// Throws RunEnded when the run is over, and std::bad_alloc when the memory limit is reached.
  void poll();
  /// As poll(), at every so-manieth call.
  void poll_now_and_then() {
    if (++calls_ % calls_between_polls == 0) poll();
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr unsigned calls_between_polls = 512;

  bool has_memory_left();

  bool has_deadline_ = false;
  Clock::time_point deadline_;
  Clock::time_point next_memory_look_;
  std::size_t memory_ = 0;
  const volatile std::sig_atomic_t* signal_ = nullptr;
  bool is_over_ = false;
  unsigned calls_ = 0;
};

}  // namespace smtlib
