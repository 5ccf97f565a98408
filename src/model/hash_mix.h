#pragma once

#include <cstddef>

namespace zorvel::model {

/// The hash `h` of a sequence, extended by the hash of its next item.
inline std::size_t mix_hash(std::size_t h, std::size_t item) {
  return h ^ ((h << 6) + item + 0x9e3779b9 + (h >> 2));
}

}  // namespace zorvel::model
