#include "solver/num/number_limits.h"

#include <string>

#include "solver/util/memory.h"

namespace vesk {
namespace {

constexpr NumberLimits default_limits;
// why for each thread: an operator of a number has no way to its environment, and a thread works for one.
thread_local const NumberLimits* limits_in_force = &default_limits;
thread_local std::size_t bytes_since_look = 0;

constexpr std::size_t bytes_between_looks = std::size_t{1} << 20;
// What multiplication and the reduction of a fraction take beside their result.
constexpr std::size_t scratch_factor = 16;

}  // namespace

NumberTooLarge::NumberTooLarge(std::size_t max_bits)
    : LimitReached("a number exceeds the limit of " + std::to_string(max_bits) +
                   " bits (option theory.max_number_bits)") {}

const NumberLimits& NumberLimits::current() { return *limits_in_force; }

void NumberLimits::require(std::size_t bits) const {
  if (bits > max_bits) throw NumberTooLarge(max_bits);
  const std::size_t bytes = bits / 8 * scratch_factor;
  bytes_since_look += bytes;
  if (bytes_since_look < bytes_between_looks) return;
  bytes_since_look = 0;
  // One pivot may be thousands of such operations, and one of them milliseconds: too much to wait for.
  if (stop != nullptr && (*stop)()) throw StoppedAmidNumbers();
  if (memory == 0) return;
  require_memory(memory, bytes + bytes_between_looks);
}

NumberLimitsScope::NumberLimitsScope(const NumberLimits& limits) : before_(limits_in_force) {
  limits_in_force = &limits;
}

NumberLimitsScope::~NumberLimitsScope() { limits_in_force = before_; }

}  // namespace vesk
