#include "core/log.h"

#include <gtest/gtest.h>

#include <iostream>
#include <regex>
#include <sstream>

#include "core/environment.h"

namespace zorvel {
namespace {

/// Puts the process-wide settings back.
class LogSettings : public testing::Test {
 protected:
  ~LogSettings() override {
    Log::reporting_level_ = level_;
    Log::stream_ = stream_;
  }

 private:
  LogLevel level_ = Log::reporting_level_;
  std::ostream* stream_ = Log::stream_;
};

TEST_F(LogSettings, AWarningIsStoredEvenWhereNothingIsPrinted) {
  ASSERT_EQ(Log::stream_, nullptr);  // as the process starts; a line would crash
  WarningManager manager;
  manager.warn("bounds may not fit");
  ASSERT_EQ(manager.warnings().size(), 1U);
  EXPECT_EQ(manager.warnings()[0], "bounds may not fit");
}

TEST_F(LogSettings, ALineHasItsHeadAndOffLinesAreNotComposed) {
  std::ostringstream out;
  Log::stream_ = &out;
  Log::reporting_level_ = LogLevel::INFO;
  int composed = 0;
  ZORVEL_LOG(DEBUG) << ++composed;
  EXPECT_EQ(composed, 0);
  ZORVEL_LOG(INFO) << "--> " << ++composed;
  WarningManager().warn("w");
  const std::string time = R"(\d{4}/\d\d/\d\d \d\d:\d\d:\d\d)";
  EXPECT_TRUE(
      std::regex_match(out.str(), std::regex("- " + time + " INFO: --> 1\n- " + time + " WARNING: w\n")))
      << out.str();
}

TEST_F(LogSettings, TheLevelIsClamped) {
  set_logging_level(-3);
  EXPECT_EQ(Log::reporting_level_, LogLevel::NONE);
  set_logging_level(9);
  EXPECT_EQ(Log::reporting_level_, LogLevel::TRACE);
  EXPECT_EQ(Log::stream_, &std::cerr);
}

}  // namespace
}  // namespace zorvel
