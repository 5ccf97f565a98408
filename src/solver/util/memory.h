#pragma once

#include <cstddef>

#include "solver/util/exception.h"

namespace vesk {

/// A memory limit that somebody set was reached. The text begins with "out of memory".
class MemoryLimitReached : public LimitReached {
 public:
  explicit MemoryLimitReached(std::size_t limit);
};

/// The address space of the process in bytes, which is what malloc() and `ulimit -v` go by: all of it, the
/// host's part included. 0 where the system does not say. Under the address sanitizer, which reserves
/// terabytes, what is resident. Costs a few system calls.
std::size_t memory_in_use();
/// The most that was ever resident, in bytes.
std::size_t peak_memory();

/// Throws MemoryLimitReached if `needed` more bytes would exceed `limit`; 0 is no limit.
void require_memory(std::size_t limit, std::size_t needed);

}  // namespace vesk
