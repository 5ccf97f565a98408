#pragma once

#include <iosfwd>
#include <string>

namespace zorvel {

enum class LogLevel { NONE = 0, ERROR = 1, WARNING = 2, INFO = 3, DEBUG = 4, TRACE = 5 };

/// One log line: the constructor writes its head ("- ", the local time, the level, ": ") to `stream_`, the
/// caller streams the message into `Log::stream()`, the destructor ends the line.
///
/// Every site tests `Log::enabled(level)` before it makes a Log or composes anything, so that a line that is
/// off costs one comparison. Level and stream are shared by the whole process; there is no lock.
class Log {
 public:
  explicit Log(LogLevel level);
  virtual ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  static bool enabled(LogLevel level) { return reporting_level_ >= level; }
  static std::ostream& stream() { return *stream_; }
  static const std::string& to_string(LogLevel level);

  static LogLevel reporting_level_;  ///< Initially ERROR; nothing is ever written at ERROR or below.
  static std::ostream* stream_;      ///< Initially null. Not owned.
};

/// Sets the stream to standard error and the level to `level`, clamped into 0..5.
void set_logging_level(int level);

}  // namespace zorvel

/// `ZORVEL_LOG(DEBUG) << "--> flattening";` composes nothing when the level is off.
#define ZORVEL_LOG(level)                                   \
  if (!::zorvel::Log::enabled(::zorvel::LogLevel::level)) { \
  } else                                                    \
    ::zorvel::Log(::zorvel::LogLevel::level), ::zorvel::Log::stream()
