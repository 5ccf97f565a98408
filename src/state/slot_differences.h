#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zorvel {

/// Calls `visit` with each slot in which the two states differ, in order. Slots that are equal cost a
/// fraction of one that is visited: they are compared many at a time.
template <class Visit>
void for_each_difference(const std::uint32_t* one, const std::uint32_t* other, std::size_t slots,
                         Visit visit) {
  constexpr std::size_t stride = 32;
  for (std::size_t begin = 0; begin < slots; begin += stride) {
    const std::size_t end = std::min(begin + stride, slots);
    if (std::equal(one + begin, one + end, other + begin)) continue;
    for (std::size_t slot = begin; slot < end; ++slot)
      if (one[slot] != other[slot]) visit(slot);
  }
}

}  // namespace zorvel
