#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "smtlib/interpreter.h"

namespace {

namespace fs = std::filesystem;

// Each script holds the answers it is to get, behind ";> ".
TEST(Scripts, GetTheAnswersThatTheyName) {
  std::vector<fs::path> scripts;
  for (const auto& entry : fs::directory_iterator(fs::path(ZORVEL_SOURCE_DIR) / "tests/smtlib/scripts"))
    scripts.push_back(entry.path());
  std::sort(scripts.begin(), scripts.end());
  ASSERT_FALSE(scripts.empty());
  for (const fs::path& path : scripts) {
    std::ifstream script(path, std::ios::binary);
    std::string expected;
    for (std::string line; std::getline(script, line);)
      if (line.starts_with(";> ")) expected += line.substr(3) + '\n';
    script.clear();
    script.seekg(0);
    std::ostringstream answers;
    smtlib::Interpreter interpreter(answers);
    interpreter.run(script, path.filename().string());
    EXPECT_EQ(answers.str(), expected) << path;
    EXPECT_EQ(interpreter.has_failed(), expected.find("(error") != std::string::npos) << path;
  }
}

std::string answers_to(const std::string& text) {
  std::istringstream script(text);
  std::ostringstream answers;
  smtlib::Interpreter interpreter(answers);
  interpreter.run(script, "s");
  return answers.str();
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

TEST(Scripts, TermsMayBeAsDeepAsMemoryAllows) {
  constexpr int depth = 1000000;
  const std::string declarations = "(declare-const a Bool)(declare-const b Bool)";
  const std::string negations = repeated("(or b (not ", depth) + 'a' + repeated("))", depth);
  EXPECT_EQ(answers_to(declarations + "(assert " + negations + ")(assert (not b))(check-sat)(get-value (a))"),
            "sat\n((a true))\n");
  const std::string lets = repeated("(let ((a (not a))) ", depth + 1) + 'a' + repeated(")", depth + 1);
  EXPECT_EQ(answers_to(declarations + "(assert " + lets + ")(check-sat)(get-value (a))"),
            "sat\n((a false))\n");
  EXPECT_EQ(answers_to(repeated("(", depth)),
            "(error \"s:1:1: the command is not closed before the script ends\")\n");
  EXPECT_EQ(
      answers_to("(assert " + repeated("(and ", depth) + repeated(")", depth) + ")(check-sat)"),
      "(error \"s:1:" + std::to_string(9 + 5 * depth) + ": an application without an argument\")\nunknown\n");
}

TEST(Scripts, NumbersMayBeLong) {
  const std::string digits(10000, '7');
  EXPECT_EQ(answers_to("(set-logic QF_LRA)(declare-const x Real)(assert (= (* 2 x) (+ x " + digits +
                       ")))(check-sat)(get-value (x))"),
            "sat\n((x " + digits + ".0))\n");
}

TEST(Scripts, AnUnknownAnswerSaysWhy) {
  const std::string answers = answers_to(
      "(set-logic QF_LRA)(declare-const x Real)(assert (= (* x x) 2))(check-sat)(get-info :reason-unknown)");
  EXPECT_EQ(answers.find("unknown\n(:reason-unknown \"only linear"), 0u) << answers;
}

// Whatever the bytes are: answers, no crash, and nothing behind a balanced command is lost.
TEST(Scripts, DamagedOnesAreSurvived) {
  const fs::path folder = fs::path(ZORVEL_SOURCE_DIR) / "tests/smtlib/scripts";
  std::ifstream file(folder / "models.smt2", std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  const std::string whole = text.str();
  for (std::size_t i = 0; i < whole.size(); i += 3) {
    std::string damaged = whole;
    damaged[i] = "()|\";:#\0\xff"[i % 9];
    answers_to(damaged);
    answers_to(whole.substr(0, i));
    damaged.erase(i, 1 + i % 7);
    answers_to(damaged);
  }
}

}  // namespace
