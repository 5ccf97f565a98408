#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "search/frame/planner.h"
#include "search/heuristics/heuristic.h"

// Which planners there are. The program and the C interface take them from the one table here, by name.

namespace zorvel {

/// One planner.
struct PlannerRow {
  std::string_view name;
  /// Actions are atomic to it, and its plans are partial orders (POTPlan); otherwise they are schedules.
  bool is_classical;
  /// It takes problems with metrics; for all others they have to be taken out before.
  bool takes_metrics;
  std::unique_ptr<Planner> (*make)(Environment& env, const model::ProblemPtr& problem);
};

/// All planners, by name.
std::span<const PlannerRow> planner_table();
/// Null for a name that the table does not have.
const PlannerRow* find_planner(std::string_view name);
/// The names as messages list them: "'auto', 'ftp'".
std::string planner_names();

/// The planner with `heuristic` for its estimates. InvalidParameterError for one that takes no function.
std::unique_ptr<Planner> make_with_heuristic(const PlannerRow& row, Environment& env,
                                             const model::ProblemPtr& problem, HCustom::Function heuristic);

}  // namespace zorvel
