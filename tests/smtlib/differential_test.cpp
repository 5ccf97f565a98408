#include <gtest/gtest.h>

#include <string>

#include "smtlib/script_oracle.h"

namespace {

using namespace solver_fuzz;  // NOLINT

// For longer runs there is the program solver_fuzz, which also makes a faulty script small.
TEST(Differential, RandomScriptsAgreeWithTheirModelsAndWithZ3) {
  for (unsigned seed = 0; seed < 2500; ++seed) {
    const Options& options = option_sets()[seed / 3 % option_sets().size()];
    const Script script = random_script(seed);
    ASSERT_EQ(find_fault(script, options), "") << "seed " << seed << "\n" << script.text();
  }
  if (!has_reference()) GTEST_SKIP() << "Z3's library is missing: only models were checked";
}

TEST(Differential, RandomScriptsOfIntegersAgreeWithTheirModelsAndWithZ3) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    const Options& options = option_sets()[seed / 3 % option_sets().size()];
    const Script script = random_integer_script(seed);
    ASSERT_EQ(find_fault(script, options), "") << "seed " << seed << "\n" << script.text();
  }
}

TEST(Differential, EqualScriptsGetEqualAnswersAndModels) {
  for (unsigned seed = 500000; seed < 500150; ++seed) {
    std::string first, second;
    const Options& options = option_sets()[seed % option_sets().size()];
    ASSERT_EQ(find_fault(random_script(seed), options, &first), "") << "seed " << seed;
    ASSERT_EQ(find_fault(random_script(seed), options, &second), "") << "seed " << seed;
    ASSERT_EQ(first, second) << "seed " << seed;
  }
}

std::size_t statuses(const std::string& transcript, std::string* text) {
  std::size_t count = 0;
  for (std::size_t begin = 0; begin < transcript.size();) {
    const std::size_t end = transcript.find('\n', begin);
    const std::string line = transcript.substr(begin, end - begin);
    if (line == "sat" || line == "unsat") {
      *text += line + ' ';
      ++count;
    }
    begin = end + 1;
  }
  return count;
}

TEST(Differential, EveryOptionSetGivesTheSameAnswers) {
  for (unsigned seed = 600000; seed < 600060; ++seed) {
    const Script script = random_script(seed);
    std::string expected, transcript;
    ASSERT_EQ(find_fault(script, {}, &transcript), "") << "seed " << seed;
    const std::size_t count = statuses(transcript, &expected);
    for (const Options& options : option_sets()) {
      std::string actual;
      ASSERT_EQ(find_fault(script, options, &transcript), "") << "seed " << seed;
      // Where an answer is unknown, which one option set may have, there is nothing to compare.
      if (statuses(transcript, &actual) != count) continue;
      ASSERT_EQ(actual, expected) << "seed " << seed << "\n" << script.text();
    }
  }
}

}  // namespace
