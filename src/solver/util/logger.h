#pragma once

#include <cstdio>

namespace vesk {

/// Progress lines of one environment, on standard error. A message above the verbosity costs one test.
class Logger {
 public:
  explicit Logger(int verbosity = 0) : verbosity_(verbosity) {}
  bool enabled(int level) const { return level <= verbosity_; }

  void log(int level, const char* text) const {
    if (enabled(level)) std::fprintf(stderr, "veskor: %s\n", text);
  }

 private:
  int verbosity_;
};

}  // namespace vesk
