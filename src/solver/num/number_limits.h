#pragma once

#include <cstddef>

#include "solver/util/exception.h"
#include "solver/util/termination.h"

namespace vesk {

/// A number would have more bits than the limits allow.
class NumberTooLarge : public LimitReached {
 public:
  explicit NumberTooLarge(std::size_t max_bits);
};

/// The termination test ended work between two operations on numbers, wherever that was: a row may be half
/// done.
class StoppedAmidNumbers : public LimitReached {
 public:
  StoppedAmidNumbers() : LimitReached("stopped by the termination test") {}
};

/// How large exact numbers may become. GMP ends the process when memory does, and its code is not made for
/// exceptions, so `QNumber` asks here before it asks GMP.
struct NumberLimits {
  static constexpr std::size_t default_bits = std::size_t{1} << 22;

  std::size_t max_bits = default_bits;  ///< of a numerator or denominator
  std::size_t memory = 0;               ///< see require_memory(); 0 for no limit

  TerminationTest* stop = nullptr;  ///< polled every so many bytes of numbers; null where none may stop

  /// Throws NumberTooLarge or MemoryLimitReached if a number of so many bits may not be made, and
  /// StoppedAmidNumbers when `stop` says so.
  void require(std::size_t bits) const;

  /// Those that hold on this thread now.
  static const NumberLimits& current();
};

/// While it lives, `limits`, which must outlive it, hold on this thread. Scopes nest.
class NumberLimitsScope {
 public:
  explicit NumberLimitsScope(const NumberLimits& limits);
  NumberLimitsScope(const NumberLimitsScope&) = delete;
  NumberLimitsScope& operator=(const NumberLimitsScope&) = delete;
  ~NumberLimitsScope();

 private:
  const NumberLimits* before_;
};

}  // namespace vesk
