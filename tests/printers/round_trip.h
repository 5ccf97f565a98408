#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "parsers/anml_parser.h"
#include "parsers/ttp_parser.h"
#include "plans/time_triggered_plan.h"
#include "search/engines/planner_table.h"
#include "search/frame/planner.h"
#include "validation/tt_validator.h"

// What the tests of all printers do: read, print, read again, and carry plans over.

namespace zorvel {

namespace fs = std::filesystem;

inline std::string content_of(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

/// The files below a folder with this ending, by name; none where the folder is not there.
inline std::vector<fs::path> files_below(const fs::path& folder, const std::string& ending) {
  std::vector<fs::path> result;
  if (fs::exists(folder))
    for (const auto& entry : fs::recursive_directory_iterator(folder))
      if (entry.path().string().ends_with(ending)) result.push_back(entry.path());
  std::sort(result.begin(), result.end());
  return result;
}

inline const fs::path examples = fs::path(ZORVEL_SOURCE_DIR) / "examples";
inline const fs::path benchmarks = fs::path(ZORVEL_SOURCE_DIR) / ".." / "shared" / "benchmarks";

/// A problem in an environment of its own, as of a reader of another day.
struct AnmlReading {
  explicit AnmlReading(const std::string& text) {
    std::istringstream stream(text);
    problem = AnmlParser(env).parse(stream);
  }
  Environment env;
  model::ProblemPtr problem;
};

struct Solution {
  bool is_known = false;  // the search came to an end
  bool has_plan = false;
  std::string plan = {};  // exact
};

inline Solution solve(Environment& env, const model::ProblemPtr& problem, std::uint64_t expansions) {
  const auto planner = find_planner("auto")->make(env, problem);
  SearchLimits limits;
  limits.expansions = expansions;
  planner->set_limits(limits);
  const std::shared_ptr<Plan> plan = planner->solve();
  if (plan == nullptr) return {planner->outcome() == SearchOutcome::no_plan};
  std::ostringstream out;
  TimeTriggeredPlan(plan).print_exact(out);
  return {true, true, out.str()};
}

/// Whether a plan, as text, is one of the problem; why not goes to `reason`.
inline bool is_valid(Environment& env, const model::ProblemPtr& problem, const std::string& plan,
                     std::string& reason) {
  std::istringstream stream(plan);
  TTValidator validator(env, problem);
  const bool is_good = validator.check_validity(TTPParser(env, problem).parse(stream));
  reason = validator.reason();
  return is_good;
}

}  // namespace zorvel
