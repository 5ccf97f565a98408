#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "parsers/pddl_parser.h"
#include "parsers/pddl_plan_parser.h"
#include "pddl/reader.h"
#include "plans/pddl_plan_printer.h"
#include "search/forward/ftp_planner.h"
#include "search/forward/guided/guided_planner.h"
#include "transformers/problem_parts.h"
#include "validation/tt_validator.h"

// What the reader of the fixed part of PDDL reads too means the same to both readers.

namespace zorvel {
namespace {

namespace fs = std::filesystem;

/// A problem as one of the two readers sees it, in an environment of its own.
struct Reading {
  template <class Reader>
  void read(const fs::path& domain, const fs::path& problem_path) {
    Reader reader(env);
    if constexpr (std::is_same_v<Reader, PddlReader>)
      problem = reader.read_files(domain.string(), problem_path.string());
    else
      problem = reader.parse_files(domain.string(), problem_path.string());
    names = reader.plan_names();
    // The rule of mutual exclusion is the one thing in which they differ.
    model::ProblemParts parts(*problem);
    for (const auto& [name, action] : problem->actions()) parts.actions.push_back(action);
    parts.rules.has_mutual_exclusion = false;
    parts.metrics.clear();
    relaxed = parts.make(env);
  }

  /// The plan of a search, as text and its number of steps; -1 where it found none within the expansions.
  template <class PlannerType>
  std::pair<std::string, int> solve(const model::ProblemPtr& which, std::uint64_t expansions) {
    env.configuration().set_value("ftp-heuristic", std::vector<std::string>{"blind"});
    PlannerType planner(env, which);
    SearchLimits limits;
    limits.expansions = expansions;
    planner.set_limits(limits);
    const auto plan = planner.solve();
    if (plan == nullptr) return {"", planner.outcome() == SearchOutcome::no_plan ? -2 : -1};
    const auto timed = std::make_shared<TimeTriggeredPlan>(plan);
    std::ostringstream out;
    // A time without an end of decimals is rounded, and the other side reads it rounded.
    if (!print_pddl_plan(out, *timed, names)) return {"", -1};
    return {out.str(), static_cast<int>(timed->size())};
  }

  /// Why the plan is not valid; empty if it is.
  std::string fault_of(const std::string& plan) {
    std::istringstream text(plan);
    TTValidator validator(env, relaxed);
    return validator.check_validity(PddlPlanParser(env, relaxed, names).parse(text)) ? ""
                                                                                     : validator.reason();
  }

  Environment env;
  model::ProblemPtr problem, relaxed;
  PlanNames names;
};

struct Counts {
  int guided = 0, blind = 0;
};

void compare(const fs::path& domain, const fs::path& problem, std::uint64_t most, Counts& counts) {
  SCOPED_TRACE(problem.string());
  Reading fixed, full;
  fixed.read<PddlParser>(domain, problem);
  full.read<PddlReader>(domain, problem);
  const auto of_fixed = fixed.solve<tp::ftp::GuidedPlanner>(fixed.problem, 1000);
  const auto of_full = full.solve<tp::ftp::GuidedPlanner>(full.problem, 1000);
  if (of_fixed.second >= 0) {
    ++counts.guided;
    EXPECT_EQ(full.fault_of(of_fixed.first), "") << of_fixed.first;
  }
  if (of_full.second >= 0) {
    ++counts.guided;
    EXPECT_EQ(fixed.fault_of(of_full.first), "") << of_full.first;
  }
  const int length = fixed.solve<tp::ftp::FtpPlanner>(fixed.relaxed, most).second;
  const int other = full.solve<tp::ftp::FtpPlanner>(full.relaxed, most).second;
  if (length == -1 || other == -1) return;
  ++counts.blind;
  EXPECT_EQ(length, other);
}

TEST(PddlReaders, AgreeOnTheExample) {
  const fs::path examples = fs::path(ZORVEL_SOURCE_DIR) / "examples";
  Counts counts;
  for (const auto& entry : fs::directory_iterator(examples)) {
    const std::string name = entry.path().filename().string(), end = "_domain.pddl";
    if (!name.ends_with(end)) continue;
    compare(entry.path(), examples / (name.substr(0, name.size() - end.size()) + "_problem.pddl"), 200000,
            counts);
  }
  EXPECT_GE(counts.guided, 2);
  EXPECT_GE(counts.blind, 1);
}

TEST(PddlReaders, AgreeOnBenchmarks) {
  const fs::path folder = fs::path(ZORVEL_SOURCE_DIR) / ".." / "shared" / "benchmarks" / "pddl";
  if (!fs::exists(folder)) GTEST_SKIP() << "the benchmark problems are not here; only the example is tested";
  std::vector<fs::path> domains;
  for (const auto& entry : fs::directory_iterator(folder)) domains.push_back(entry.path());
  std::sort(domains.begin(), domains.end());
  Counts counts;
  for (const fs::path& domain : domains) {
    const fs::path own = domain / "p01-domain.pddl";
    compare(fs::exists(own) ? own : domain / "domain.pddl", domain / "p01.pddl", 3000, counts);
  }
  EXPECT_GE(counts.guided, 10);
  EXPECT_GE(counts.blind, 1);
}

}  // namespace
}  // namespace zorvel
