#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace vesk {

/// Greatest common divisors of pairs below 1024, filled on first use; 0 stands for "not yet known".
///
/// A pure cache: every thread that fills an entry writes the same value, so relaxed accesses suffice. The
/// table is zero pages until touched; it costs no start-up time and no memory before the first fraction.
inline constexpr std::uint64_t gcd_cache_size = 1024;
inline std::atomic<std::uint16_t> gcd_cache[gcd_cache_size * gcd_cache_size];

/// Stein's binary algorithm; `gcd(0, b) = b`.
inline std::uint64_t binary_gcd(std::uint64_t a, std::uint64_t b) {
  if (a == 0) return b;
  if (b == 0) return a;
  const int shift = std::countr_zero(a | b);
  a >>= std::countr_zero(a);
  while (b != 0) {
    b >>= std::countr_zero(b);
    if (a > b) {
      const std::uint64_t larger = a;
      a = b;
      b = larger;
    }
    b -= a;
  }
  return a << shift;
}

inline std::uint64_t gcd(std::uint64_t a, std::uint64_t b) {
  if (a == 1 || b == 1) return 1;
  if ((a | b) >= gcd_cache_size) return binary_gcd(a, b);
  std::atomic<std::uint16_t>& entry = gcd_cache[a * gcd_cache_size + b];
  std::uint16_t known = entry.load(std::memory_order_relaxed);
  if (known == 0) {
    known = static_cast<std::uint16_t>(binary_gcd(a, b));
    entry.store(known, std::memory_order_relaxed);
    gcd_cache[b * gcd_cache_size + a].store(known, std::memory_order_relaxed);
  }
  return known;
}

}  // namespace vesk
