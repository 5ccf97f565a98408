#include "plans/pddl_plan_printer.h"

#include <algorithm>
#include <cassert>
#include <optional>
#include <ostream>

#include "core/decimals.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/instance.h"

namespace zorvel {

namespace {

constexpr unsigned min_decimals = 3;
constexpr unsigned max_decimals = 1000;

/// The decimals of a number that is a thousandth of epsilon or less.
unsigned decimals_for_rounding(const rational& epsilon) {
  assert(epsilon > rational(0));
  unsigned decimals = min_decimals;
  for (rational unit = rational(1); unit > epsilon && decimals < max_decimals; unit /= rational(10))
    ++decimals;
  return decimals;
}

struct Precision {
  unsigned decimals = min_decimals;
  bool is_exact = true;
};

Precision precision_for(const TimeTriggeredPlan& plan) {
  Precision precision;
  const auto look_at = [&](const rational& time) {
    const std::optional<unsigned> decimals = decimals_of(time);
    precision.decimals = std::max(precision.decimals, decimals.value_or(0));
    precision.is_exact = precision.is_exact && decimals.has_value();
  };
  for (const auto& [time, steps] : plan.steps()) {
    look_at(time);
    for (const auto& step : steps) look_at(step->duration);
  }
  if (!precision.is_exact)
    precision.decimals = std::max(precision.decimals, decimals_for_rounding(plan_epsilon(plan.env())));
  return precision;
}

void print_step(std::ostream& out, const TimeTriggeredStep& step, const PlanNames& names) {
  const PlanNames::ActionName* const name = names.find(step.action->name());
  assert(name == nullptr || step.parameters.size() <= name->order.size());
  out << '(';
  if (step.instance) out << step.instance->name() << '.';
  out << (name == nullptr ? step.action->name() : name->name);
  for (std::size_t i = 0; i < step.parameters.size(); ++i)
    out << ' ' << model::to_anml(step.parameters[name == nullptr ? i : name->order[i]]);
  out << ')';
}

}  // namespace

bool print_pddl_plan(std::ostream& out, const TimeTriggeredPlan& plan, const PlanNames& names) {
  const Precision precision = precision_for(plan);
  rational makespan(0);
  for (const auto& [time, steps] : plan.steps())
    for (const auto& step : steps)
      makespan = std::max(makespan, round(time + step->duration, precision.decimals));
  out << "; Makespan " << decimal_text(makespan, precision.decimals) << '\n';
  for (const auto& [time, steps] : plan.steps())
    for (const auto& step : steps) {
      out << decimal_text(time, precision.decimals) << ": ";
      print_step(out, *step, names);
      const PlanNames::ActionName* const name = names.find(step->action->name());
      if (step->has_duration && (name == nullptr || !name->is_instantaneous)) {
        // The end is rounded and not the duration, so that events at one moment stay at one moment.
        const rational duration =
            round(time + step->duration, precision.decimals) - round(time, precision.decimals);
        out << " [" << decimal_text(duration, precision.decimals) << ']';
      }
      out << '\n';
    }
  return precision.is_exact;
}

}  // namespace zorvel
