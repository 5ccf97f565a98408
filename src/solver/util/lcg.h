#pragma once

#include <cstdint>

namespace vesk {

/// The 48-bit linear congruential generator of POSIX drand48 (D. E. Knuth, TAOCP vol. 2, 3.2.1): small,
/// and the same on every platform, so that equal runs decide alike.
class Lcg {
 public:
  explicit Lcg(std::uint64_t seed = 0) : state_(seed & mask) {}

  std::uint64_t next() { return state_ = (state_ * 25214903917ULL + 11ULL) & mask; }

  /// In [0, 1).
  double next_double() { return static_cast<double>(next()) / static_cast<double>(mask + 1); }

  /// In [0, bound); the low bits are left out, they have short periods. `bound` is positive.
  std::uint64_t next_below(std::uint64_t bound) { return (next() >> 16) % bound; }
  bool next_bit() { return ((next() >> 16) & 1) != 0; }

 private:
  static constexpr std::uint64_t mask = (1ULL << 48) - 1;
  std::uint64_t state_;
};

}  // namespace vesk
