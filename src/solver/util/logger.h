#pragma once

#include <cstdio>

namespace vesk {

/// Progress lines of one environment, on standard error. A message above the verbosity costs one test.
class Logger {
 public:
  explicit Logger(int verbosity = 0) : verbosity_(verbosity) {}
  bool enabled(int level) const { return level <= verbosity_; }

  template <typename... Args>
  void log(int level, const char* format, Args... args) const {
    if (!enabled(level)) return;
    std::fprintf(stderr, "veskor: ");
    std::fprintf(stderr, format, args...);
    std::fprintf(stderr, "\n");
  }

 private:
  int verbosity_;
};

}  // namespace vesk
