#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "parsers/anml_parser.h"
#include "search/forward/ftp_planner.h"
#include "search/forward/plain/ftp_successors.h"
#include "search/forward/plain/plain_view.h"
#include "test_helpers.h"
#include "validation/tt_validator.h"

namespace zorvel {

inline model::ProblemPtr parse(Environment& env, const std::string& text) {
  std::istringstream stream(text);
  return AnmlParser(env).parse(stream);
}

inline std::string exact_text(const std::shared_ptr<Plan>& plan) {
  std::ostringstream out;
  TimeTriggeredPlan(plan).print_exact(out);
  return out.str();
}

inline SearchLimits at_most(std::uint64_t expansions) {
  SearchLimits limits;
  limits.expansions = expansions;
  return limits;
}

/// Small temporal problems of all the features that the search handles, some of them without a plan.
inline std::string random_problem(unsigned seed) {
  std::mt19937 random(seed);
  const auto pick = [&](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
  const auto fluent = [&] { return "p" + std::to_string(pick(4)); };
  const auto literal = [&] { return (pick(3) == 0 ? "not " : "") + fluent(); };
  const auto value = [&] { return std::string(pick(3) == 0 ? "false" : "true"); };
  std::ostringstream text;
  for (int i = 0; i < 4; ++i) text << "fluent boolean p" << i << ";\n";
  text << "fluent integer [0, 3] level;\n";
  for (int i = 0; i < 4; ++i)
    text << "[start] p" << i << " := " << (pick(4) == 0 ? "true" : "false") << ";\n";
  text << "[start] level := " << pick(4) << ";\n";
  const int actions = 2 + pick(2);
  for (int a = 0; a < actions; ++a) {
    text << "action a" << a << "() {\n";
    const int low = 1 + pick(4);
    switch (pick(3)) {
      case 0: text << "  duration := " << low << ";\n"; break;
      case 1: text << "  duration >= " << low << " and duration <= " << low + 2 << ";\n"; break;
      default: text << "  duration > " << low << " and duration < " << low + 3 << ";\n"; break;
    }
    for (int s = 1 + pick(3); s > 0; --s) {
      switch (pick(8)) {
        case 0: text << "  [start] " << literal() << ";\n"; break;
        case 1: text << "  [start, end] " << literal() << ";\n"; break;
        case 2: text << "  (start, end) " << literal() << ";\n"; break;
        case 3: text << "  (start, end] " << literal() << ";\n"; break;
        case 4: text << "  [end] " << literal() << ";\n"; break;
        case 5: text << "  [start + 1] " << literal() << ";\n"; break;
        case 6: text << "  [start] level >= " << 1 + pick(2) << ";\n"; break;
        default: text << "  [start + 1, end - 1] " << literal() << ";\n"; break;
      }
    }
    // At most one effect a moment, so that no two assignments to one fluent meet there.
    if (pick(2) == 0) text << "  [start] " << fluent() << " := " << value() << ";\n";
    if (pick(4) == 0) text << "  [start + " << 1 + pick(2) << "] " << fluent() << " := " << value() << ";\n";
    if (pick(3) == 0) text << "  [end] level := level " << (pick(2) == 0 ? "+ 1" : "- 1") << ";\n";
    text << "  [end] " << fluent() << " := " << value() << ";\n};\n";
  }
  if (pick(4) == 0) text << "[" << 2 + pick(4) << "] " << fluent() << " := " << value() << ";\n";
  if (pick(6) == 0) text << "[" << 1 + pick(3) << ", " << 4 + pick(3) << "] " << literal() << ";\n";
  text << "[end] " << fluent() << ";\n";
  if (pick(2) == 0) text << "[end] " << literal() << ";\n";
  return text.str();
}

}  // namespace zorvel
