#include "transformers/plan_quality.h"

#include <algorithm>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/walkers/expression_substituter.h"
#include "transformers/static_fluents.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

const MinimizeActionCost* cost_metric(const ProblemInstanceImpl& problem) {
  for (const auto& metric : problem.metrics())
    if (const auto* costs = dynamic_cast<const MinimizeActionCost*>(metric.get())) return costs;
  return nullptr;
}

}  // namespace

rational makespan(const TimeTriggeredPlan& plan) {
  rational latest(0);
  for (const auto& [start, steps] : plan.steps())
    for (const auto& step : steps) latest = std::max(latest, rational(start + step->duration));
  return latest;
}

std::optional<rational> action_cost(const ProblemPtr& problem, const TimeTriggeredPlan& plan) {
  const MinimizeActionCost* const metric = cost_metric(*problem);
  if (metric == nullptr) return std::nullopt;
  F& factory = problem->env().expression_factory();
  const StaticFluents static_fluents(problem);
  rational sum(0);
  for (const auto& [start, steps] : plan.steps())
    for (const auto& step : steps) {
      Node* const cost = metric->cost(step->action);
      if (cost == nullptr) continue;
      NodeMap arguments;
      const auto& parameters = step->action->parameters();
      for (std::size_t i = 0; i < parameters.size(); ++i)
        arguments.emplace(factory.make_parameter_reference(parameters[i]), step->parameters[i]);
      Node* const value = static_fluents(ExpressionSubstituter(problem->env(), arguments, {}, true)(cost));
      if (!F::is_numeric_constant(value)) return std::nullopt;
      sum += factory.get_numeric_constant(value);
    }
  return sum;
}

bool has_metric_on_final_values(const ProblemInstanceImpl& problem) {
  return std::ranges::any_of(problem.metrics(), [](const auto& metric) {
    return metric->kind() != MetricKind::MINIMIZE_MAKESPAN &&
           metric->kind() != MetricKind::MINIMIZE_ACTION_COST;
  });
}

}  // namespace zorvel::model
