#include "core/configuration.h"

#include <gtest/gtest.h>

#include <functional>

#include "core/errors.h"

namespace zorvel {
namespace {

std::string message_of(const std::function<void()>& call) {
  try {
    call();
  } catch (const InvalidParameterError& error) {
    return error.what();
  }
  return "no error";
}

int parse(Configuration& configuration, std::vector<std::string> words, std::vector<std::string>& files) {
  words.insert(words.begin(), "zorvel");
  std::vector<const char*> argv;
  for (const std::string& word : words) argv.push_back(word.c_str());
  return configuration.parse_from_command_line(static_cast<int>(argv.size()), argv.data(), files);
}

TEST(Configuration, DefaultsAreThoseOfTheTable) {
  Configuration options;
  EXPECT_EQ(planner_options().size(), 55U);
  EXPECT_EQ(options.get_string_value("plan-epsilon"), "0.01");
  EXPECT_EQ(options.get_string_value("output-planner"), "./gplanner");
  EXPECT_EQ(options.get_integer_value("ftp-diamond"), -1);
  EXPECT_EQ(options.get_float_value("weight"), 0.5);
  EXPECT_FALSE(options.get_boolean_value("simultaneity"));
  EXPECT_EQ(options.get_vector_string_value("ftp-heuristic"), std::vector<std::string>{"hadd"});
  EXPECT_TRUE(options.get_vector_string_value("transformer").empty());
}

TEST(Configuration, AKeyIsFoundOnlyByItsKind) {
  Configuration options;
  EXPECT_EQ(message_of([&] { options.get_integer_value("pddl"); }),
            "InvalidParameterError: Undefined option pddl");
  EXPECT_EQ(message_of([&] { options.set_value("weight", 1L); }),
            "InvalidParameterError: Undefined option weight");
  EXPECT_EQ(options.get_float_value("weight"), 0.5);
  const std::uint64_t before = options.changes();
  EXPECT_EQ(message_of([&] { options.set_value("no-such", true); }),
            "InvalidParameterError: Undefined option no-such");
  EXPECT_EQ(options.changes(), before);
}

TEST(Configuration, ALiteralIsText) {
  Configuration options;
  options.set_value("plan-epsilon", "0.1");
  EXPECT_EQ(options.get_string_value("plan-epsilon"), "0.1");
  options.set_value("algorithm", "none of the allowed ones");
  EXPECT_EQ(options.get_string_value("algorithm"), "none of the allowed ones");
  EXPECT_EQ(options.changes(), 2U);
}

TEST(Configuration, ACommandLineSetsOptionsOfEveryKind) {
  Configuration options;
  std::vector<std::string> files;
  EXPECT_EQ(parse(options,
                  {"solve", "-w", "0.25", "--smt-max-horizon=7", "-k", "--ftp-heuristic", "hmax", "-B",
                   "blind", "-e", "1/8", "a.anml", "b.anml"},
                  files),
            0);
  EXPECT_EQ(options.get_string_value("function"), "solve");
  EXPECT_EQ(options.get_float_value("weight"), 0.25);
  EXPECT_EQ(options.get_integer_value("smt-max-horizon"), 7);
  EXPECT_TRUE(options.get_boolean_value("weak-equality"));
  EXPECT_EQ(options.get_string_value("plan-epsilon"), "1/8");
  EXPECT_EQ(options.get_vector_string_value("ftp-heuristic"), (std::vector<std::string>{"hmax", "blind"}));
  EXPECT_EQ(files, (std::vector<std::string>{"a.anml", "b.anml"}));
  EXPECT_GT(options.changes(), 0U);
}

TEST(Configuration, AnAddedOptionIsLikeThoseOfTheTable) {
  Configuration options;
  options.add_string_option("colour", "The colour.", "looks", "red", {"red", "blue"}, 'y');
  options.add_float_option("gloss", "The gloss.", "looks", 0.5);
  EXPECT_EQ(options.get_string_value("colour"), "red");
  std::vector<std::string> files;
  EXPECT_EQ(parse(options, {"solve", "-y", "blue", "--gloss", "0.75"}, files), 0);
  EXPECT_EQ(options.get_string_value("colour"), "blue");
  EXPECT_EQ(options.get_float_value("gloss"), 0.75);
  testing::internal::CaptureStderr();
  EXPECT_NE(parse(options, {"solve", "-y", "green"}, files), 0);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("green"), std::string::npos);
}

TEST(Configuration, ABadCommandLineIsReported) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"solve", "--no-such-option"},
                                                {"conquer"},
                                                {"solve", "--algorithm", "magic"},
                                                {"solve", "--weight", "heavy"}}) {
    Configuration options;
    std::vector<std::string> files;
    testing::internal::CaptureStderr();
    EXPECT_GT(parse(options, words, files), 1) << words.back();
    EXPECT_NE(testing::internal::GetCapturedStderr(), "") << words.back();
  }
  Configuration options;
  std::vector<std::string> files;
  testing::internal::CaptureStdout();
  EXPECT_EQ(parse(options, {"--help"}, files), 1);
  const std::string help = testing::internal::GetCapturedStdout();
  for (const OptionRow& row : planner_options()) EXPECT_NE(help.find(row.help), std::string::npos) << row.key;
  EXPECT_NE(help.find("solve options"), std::string::npos);
}

}  // namespace
}  // namespace zorvel
