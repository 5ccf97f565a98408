#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <sstream>
#include <string>

#include "parsers/anml_parser.h"
#include "parsers/ttp_parser.h"
#include "validation/tt_validator.h"

namespace zorvel {

/// A plan for a problem that its table gives, with the verdict.
struct PlanRow {
  const char* name;
  const char* plan;
  const char* reason = "";  ///< Empty for a valid plan; otherwise a part of the reason.
};

inline void expect_verdicts(const std::string& problem_text, std::initializer_list<PlanRow> rows) {
  Environment env;
  std::istringstream text(problem_text);
  const auto problem = AnmlParser(env).parse(text);
  TTValidator validator(env, problem);
  for (const PlanRow& row : rows) {
    SCOPED_TRACE(row.name);
    std::istringstream plan(row.plan);
    const bool should_accept = std::string(row.reason).empty();
    EXPECT_EQ(validator.check_validity(TTPParser(env, problem).parse(plan)), should_accept)
        << validator.reason();
    if (!should_accept) {
      EXPECT_NE(validator.reason().find(row.reason), std::string::npos) << validator.reason();
    }
  }
}

}  // namespace zorvel
