#include "solver/util/memory.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <string>

namespace vesk {

MemoryLimitReached::MemoryLimitReached(std::size_t limit)
    : LimitReached("out of memory: the limit of " + std::to_string(limit) + " bytes is reached") {}

std::size_t memory_in_use() {
#if defined(__SANITIZE_ADDRESS__)
  constexpr int wanted = 1;  // field of the file: resident
#else
  constexpr int wanted = 0;  // all of the address space
#endif
  const int file = ::open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  std::array<char, 128> text{};
  const ssize_t size = ::read(file, text.data(), text.size());
  ::close(file);
  const char* at = text.data();
  const char* const end = at + (size > 0 ? size : 0);
  std::size_t pages = 0;
  for (int field = 0; field <= wanted; ++field) {
    while (at < end && *at == ' ') ++at;
    at = std::from_chars(at, end, pages).ptr;
  }
  return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

std::size_t peak_memory() {
  rusage usage{};
  if (::getrusage(RUSAGE_SELF, &usage) != 0) return 0;
  return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
}

void require_memory(std::size_t limit, std::size_t needed) {
  if (limit != 0 && memory_in_use() + needed > limit) throw MemoryLimitReached(limit);
}

}  // namespace vesk
