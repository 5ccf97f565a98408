#include "core/log.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <iostream>

namespace zorvel {

LogLevel Log::reporting_level_ = LogLevel::ERROR;
std::ostream* Log::stream_ = nullptr;

const std::string& Log::to_string(LogLevel level) {
  static const std::array<std::string, 6> names = {"NONE", "ERROR", "WARNING", "INFO", "DEBUG", "TRACE"};
  return names.at(static_cast<std::size_t>(level));
}

Log::Log(LogLevel level) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, 80> head;
  std::snprintf(head.data(), head.size(), "- %d/%02d/%02d %02d:%02d:%02d ", local.tm_year + 1900,
                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  *stream_ << head.data() << to_string(level) << ": ";
}

Log::~Log() { *stream_ << '\n' << std::flush; }

void set_logging_level(int level) {
  Log::stream_ = &std::cerr;
  Log::reporting_level_ = static_cast<LogLevel>(std::clamp(level, 0, 5));
}

}  // namespace zorvel
