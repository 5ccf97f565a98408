#pragma once

#include <string>
#include <vector>

#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "report/value_history.h"

// Plans as pictures. All text of a problem is escaped, and nothing refers to anything outside.

namespace zorvel::report {

struct ChartOptions {
  /// What a row of the Gantt chart is: an object, with the steps that name it, or an action.
  enum class Rows { objects, actions };
  Rows rows = Rows::actions;
  std::vector<std::string> fluents = {};  ///< Whose values are shown; see require_fluents.
};

/// One picture in SVG: the Gantt chart, the values of fluents below it, and the moment at which the plan
/// fails. It stands alone, and in an HTML page.
std::string plan_to_svg(const model::ProblemPtr& problem, const std::shared_ptr<TimeTriggeredPlan>& plan,
                        const ChartOptions& options);

/// A page in HTML with the verdict, the picture and a table of the steps.
std::string plan_to_html(const model::ProblemPtr& problem, const std::shared_ptr<TimeTriggeredPlan>& plan,
                         const ChartOptions& options);

}  // namespace zorvel::report
