#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "core/errors.h"
#include "model/problem_instance.h"
#include "pddl/reader.h"
#include "random_pddl.h"

// Texts that are nearly PDDL: sound ones in which words were taken out, doubled and exchanged.

namespace zorvel::pddl {
namespace {

/// Words, parentheses and what lies between them.
std::vector<std::string> pieces_of(const std::string& text) {
  std::vector<std::string> pieces;
  const auto is_single = [](char c) { return c == '(' || c == ')' || c == ' ' || c == '\n'; };
  for (const char c : text) {
    if (pieces.empty() || is_single(c) || is_single(pieces.back()[0])) pieces.emplace_back();
    pieces.back() += c;
  }
  return pieces;
}

std::string damaged(std::vector<std::string> pieces, const std::vector<std::string>& others, Picker& random) {
  static const std::vector<std::string> words{
      "(",     ")",     "()",      "?x",       "?duration",  "at",       "start",  "over",
      "all",   "not",   "when",    "forall",   "(?z)",       "-",        "either", "=",
      "1e9",   "-1",    "#t",      "increase", "assign",     "and",      "exists", "l1",
      ":init", ":goal", ":effect", "object",   "preference", "\xc3\xa4", "always"};
  for (int change = random.between(1, 4); change > 0; --change) {
    const auto at = pieces.begin() + random.pick(static_cast<int>(pieces.size()));
    const auto any = [&](const std::vector<std::string>& choices) { return random.one_of(choices); };
    switch (random.pick(5)) {
      case 0: pieces.erase(at); break;
      case 1: pieces.insert(at, " " + any(words) + " "); break;
      case 2: *at = any(others); break;
      case 3: *at = " " + any(words) + " "; break;
      default: {
        // A stretch of the text once more, somewhere else.
        const auto length = std::min<std::ptrdiff_t>(random.between(2, 20), pieces.end() - at);
        const std::vector<std::string> stretch(at, at + length);
        pieces.insert(pieces.begin() + random.pick(static_cast<int>(pieces.size())), stretch.begin(),
                      stretch.end());
      }
    }
    if (pieces.empty()) pieces.emplace_back("(");
  }
  std::string text;
  for (const std::string& piece : pieces) text += piece;
  return text;
}

// The environment variable says how many texts are tried, each once with each file damaged.
TEST(PddlReader, GivesAProblemOrErrorsWithPlacesForDamagedTexts) {
  const char* const wanted = std::getenv("ZORVEL_PDDL_TEXTS");
  const unsigned texts = wanted == nullptr ? 500 : static_cast<unsigned>(std::atoi(wanted));
  int problems = 0, errors = 0;
  for (unsigned seed = 0; seed < texts; ++seed) {
    RandomPddl random(seed);
    random.make();
    const std::vector<std::string> domain = pieces_of(random.domain), problem = pieces_of(random.problem);
    for (const bool is_domain : {true, false}) {
      const std::string text =
          damaged(is_domain ? domain : problem, is_domain ? problem : domain, random.random());
      SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
      Environment env;
      PddlReader reader(env);
      try {
        const auto read =
            reader.read_texts(is_domain ? text : random.domain, is_domain ? random.problem : text);
        std::ostringstream printed;
        printed << read;
        EXPECT_FALSE(printed.str().empty());
        ++problems;
      } catch (const ParserError& error) {
        ++errors;
        EXPECT_GT(reader.error_line(), 0) << error.what();
        EXPECT_GT(reader.error_column(), 0) << error.what();
        for (const char* inner : {"unresolved", "__"})
          EXPECT_EQ(std::string(error.what()).find(inner), std::string::npos) << error.what();
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
      }
    }
  }
  // Most damage is found, and some of it is none.
  EXPECT_GT(errors, problems);
  EXPECT_GT(problems, 0);
}

}  // namespace
}  // namespace zorvel::pddl
