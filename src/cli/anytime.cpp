#include "cli/anytime.h"

#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace zorvel::cli {

namespace {

std::string makespan_of(const tp::ftp::GuidedPlanner& planner) {
  return short_decimal_text(planner.best_makespan(), 2);
}

}  // namespace

std::shared_ptr<Plan> improve_plan(tp::ftp::GuidedPlanner& planner, SearchLimits limits,
                                   const Deadline& deadline, std::ostream& remarks,
                                   const std::function<void(const std::shared_ptr<Plan>&)>& on_plan) {
  std::shared_ptr<Plan> best;
  std::optional<rational> least_cost;
  auto found = planner.best_plan();
  unsigned plans = 0;
  while (found) {
    const auto cost = planner.action_cost(*found);
    std::ostringstream seconds;
    seconds << std::fixed << std::setprecision(1) << deadline.seconds_passed();
    remarks << "zorvel: plan " << ++plans << ": makespan " << makespan_of(planner);
    if (cost) remarks << ", cost " << short_decimal_text(*cost, 2);
    remarks << " after " << seconds.str() << " s\n";
    if (!cost || !least_cost || *cost <= *least_cost) {
      best = found;
      least_cost = cost;
      on_plan(best);
    }
    limits.seconds = deadline.seconds_left();
    planner.set_limits(limits);
    found = planner.next();
  }
  if (least_cost)
    remarks << "zorvel: the plan is the cheapest of " << plans << " found\n";
  else if (planner.is_proved_optimal())
    remarks << "zorvel: the plan is optimal: makespan " << makespan_of(planner) << '\n';
  else
    // A bound is rounded down, so that what is said is true.
    remarks << "zorvel: the plan is not proved optimal: makespan " << makespan_of(planner)
            << ", and no plan takes less than "
            << short_decimal_text(rational(std::floor(planner.makespan_bound() * 100 + 1e-6) / 100), 2)
            << '\n';
  return best;
}

void report_cost(const tp::ftp::GuidedPlanner& planner, const std::shared_ptr<Plan>& plan,
                 std::ostream& remarks) {
  const auto cost = planner.action_cost(static_cast<const TimeTriggeredPlan&>(*plan));
  if (cost) remarks << "zorvel: the actions of the plan cost " << short_decimal_text(*cost, 2) << '\n';
}

}  // namespace zorvel::cli
