#include "cli/anytime.h"

#include <cmath>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace zorvel::cli {

namespace {

/// A time for people: two decimals at most, without zeros at the end.
std::string rounded(double time) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(2) << time;
  std::string digits = text.str();
  digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.back() == '.') digits.pop_back();
  return digits;
}

std::string makespan_of(const tp::ftp::GuidedPlanner& planner) {
  return rounded(static_cast<double>(planner.best_makespan()));
}

}  // namespace

std::shared_ptr<Plan> improve_plan(tp::ftp::GuidedPlanner& planner, SearchLimits limits,
                                   const Deadline& deadline,
                                   const std::function<void(const std::shared_ptr<Plan>&)>& on_plan) {
  std::shared_ptr<Plan> best;
  std::optional<rational> least_cost;
  auto found = planner.best_plan();
  unsigned plans = 0;
  while (found) {
    const auto cost = planner.action_cost(*found);
    std::ostringstream seconds;
    seconds << std::fixed << std::setprecision(1) << deadline.seconds_passed();
    std::cerr << "zorvel: plan " << ++plans << ": makespan " << makespan_of(planner);
    if (cost) std::cerr << ", cost " << rounded(static_cast<double>(*cost));
    std::cerr << " after " << seconds.str() << " s\n";
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
    std::cerr << "zorvel: the plan is the cheapest of " << plans << " found\n";
  else if (planner.is_proved_optimal())
    std::cerr << "zorvel: the plan is optimal: makespan " << makespan_of(planner) << '\n';
  else
    // A bound is rounded down, so that what is said is true.
    std::cerr << "zorvel: the plan is not proved optimal: makespan " << makespan_of(planner)
              << ", and no plan takes less than "
              << rounded(std::floor(planner.makespan_bound() * 100 + 1e-6) / 100) << '\n';
  return best;
}

void report_cost(const tp::ftp::GuidedPlanner& planner, const std::shared_ptr<Plan>& plan) {
  const auto cost = planner.action_cost(static_cast<const TimeTriggeredPlan&>(*plan));
  if (cost)
    std::cerr << "zorvel: the actions of the plan cost " << rounded(static_cast<double>(*cost)) << '\n';
}

}  // namespace zorvel::cli
