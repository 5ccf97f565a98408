#pragma once

#include <functional>
#include <iosfwd>
#include <memory>

#include "cli/deadline.h"
#include "plans/plan.h"
#include "search/forward/guided/guided_planner.h"

namespace zorvel::cli {

/// Goes on from the first plan of the planner to shorter ones, until a limit or an interrupt ends it or the
/// best plan is proved to be one. `remarks` gets a line for each plan, the first one too, and a last one
/// that says what is known; `on_plan` is called with each plan that is the best so far, which is the
/// shortest, or the cheapest where the problem has a metric of action costs. The best plan.
std::shared_ptr<Plan> improve_plan(tp::ftp::GuidedPlanner& planner, SearchLimits limits,
                                   const Deadline& deadline, std::ostream& remarks,
                                   const std::function<void(const std::shared_ptr<Plan>&)>& on_plan);

/// Tells what the plan costs, if the problem has a metric of action costs.
void report_cost(const tp::ftp::GuidedPlanner& planner, const std::shared_ptr<Plan>& plan,
                 std::ostream& remarks);

}  // namespace zorvel::cli
