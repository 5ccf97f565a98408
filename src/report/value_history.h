#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/numbers.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "report/answer.h"

namespace zorvel::report {

/// The values of one ground fluent along a plan.
struct FluentHistory {
  struct Point {
    rational time;      ///< The value is seen from behind this moment on.
    std::string value;  ///< As it is written in ANML; empty where the fluent has none.
    std::optional<double> number;
  };
  std::string name;           ///< Of the fluent, as it was declared.
  std::string fluent;         ///< With its object and arguments, as it is written in ANML.
  std::vector<Point> points;  ///< In order of time; the first one is at 0.
};

/// A plan that was replayed.
struct ReplayedPlan {
  Verdict verdict;
  std::vector<FluentHistory> histories;  ///< Of all fluents that changed, those that change first in front.
};

/// Validates a plan and notes how values change, up to where it fails. What the validator cannot handle makes
/// a verdict with the error as its reason.
ReplayedPlan replay_plan(const model::ProblemPtr& problem, const std::shared_ptr<TimeTriggeredPlan>& plan);

/// InvalidParameterError "The problem has no fluent '" for a choice that no fluent of the problem has: each
/// is the name of a fluent, or of one with its arguments.
void require_fluents(const model::ProblemInstanceImpl& problem, const std::vector<std::string>& choices);

/// The histories of the chosen fluents; without a choice, as many of the first as a page can well show.
std::vector<FluentHistory> chosen_histories(std::vector<FluentHistory> histories,
                                            const std::vector<std::string>& choices);

}  // namespace zorvel::report
