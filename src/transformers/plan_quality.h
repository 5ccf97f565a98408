#pragma once

#include <optional>

#include "core/numbers.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"

// What the metrics of a problem say of a plan of it.

namespace zorvel::model {

/// The latest end of a step; 0 for a plan without steps.
rational makespan(const TimeTriggeredPlan& plan);

/// The sum of the costs of the steps, by the first action-cost metric of the problem. Actions for which it
/// says nothing are free. None without such a metric, and where a cost is no number once the step's arguments
/// and what never changes are put in.
std::optional<rational> action_cost(const ProblemPtr& problem, const TimeTriggeredPlan& plan);

/// Whether the problem has a metric of another kind than makespan and action costs.
bool has_metric_on_final_values(const ProblemInstanceImpl& problem);

}  // namespace zorvel::model
