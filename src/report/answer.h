#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/numbers.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "report/finding.h"
#include "search/frame/planner.h"
#include "search/frame/search_statistics.h"

// What a program says to another one: JSON texts, whose form docs/json.md tells and docs/answer.schema.json
// defines. Each is one object and ends with a newline.

namespace zorvel::report {

/// What became of a search.
struct SearchAnswer {
  SearchOutcome outcome = SearchOutcome::not_run;
  std::string planner;                            ///< As the option `algorithm` names it.
  std::shared_ptr<const TimeTriggeredPlan> plan;  ///< Null without one.
  SearchStatistics statistics;
  std::vector<std::string> warnings;
  std::string reason;             ///< Why there is no plan; empty with one.
  std::vector<Finding> findings;  ///< What stands out in the problem, where that was asked for.
};

/// What a validator said of a plan.
struct Verdict {
  bool is_valid = false;
  std::string reason;                       ///< Empty for a valid plan.
  const TimeTriggeredStep* step = nullptr;  ///< The step at fault; null where the problem's own statement is.
  std::optional<rational> time;             ///< When it breaks; none if nothing was simulated.
  std::vector<std::string> warnings;
};

// The names are those of the problem's source, where it has one.

std::string to_json(const SearchAnswer& answer, const model::ProblemPtr& problem);
std::string to_json(const Verdict& verdict, const model::ProblemPtr& problem);
/// The makespan, the metric and the steps alone.
std::string to_json(const TimeTriggeredPlan& plan, const model::ProblemPtr& problem);
/// An answer with the status "error", or another one without a plan.
std::string failure_to_json(std::string_view status, std::string_view reason);

/// A name of what became of a search: "solved", "unsolvable", "limit", "interrupted" or "unknown".
std::string_view status_of(SearchOutcome outcome);

}  // namespace zorvel::report
