#pragma once

namespace vesk {

/// Asked now and then by every long-running loop of the solver. Whoever polls it may be left by an
/// exception at that place: Environment::recover() puts the search state in order again.
class TerminationTest {
 public:
  virtual ~TerminationTest() = default;

  /// True when the work should stop.
  virtual bool operator()() = 0;

  /// Thrown by poll(); no vesk::Exception, since being stopped is no fault.
  struct Terminated {};

  /// Throws Terminated when `test` is there and says so. Null is allowed.
  static void poll(TerminationTest* test) {
    if (test != nullptr && (*test)()) throw Terminated();
  }
};

}  // namespace vesk
