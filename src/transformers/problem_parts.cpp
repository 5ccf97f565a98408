#include "transformers/problem_parts.h"

#include "core/errors.h"
#include "model/action.h"
#include "model/model_factory.h"

namespace zorvel::model {

namespace {

template <class Map>
auto values_of(const Map& map) {
  std::vector<typename Map::mapped_type> values;
  values.reserve(map.size());
  for (const auto& [name, value] : map) values.push_back(value);
  return values;
}

}  // namespace

ProblemParts::ProblemParts(const ProblemInstanceImpl& problem)
    : fluents(values_of(problem.fluents())),
      constants(values_of(problem.constants())),
      instances(values_of(problem.instances())),
      user_types(values_of(problem.user_types())),
      expressions(problem.expressions().begin(), problem.expressions().end()),
      labels_ordering(problem.labels_ordering()),
      metrics(problem.metrics()),
      rules(problem.rules()) {}

ProblemPtr ProblemParts::make(Environment& env) const {
  return env.model_factory().make_problem_instance(actions, fluents, constants, instances, user_types,
                                                   expressions, labels_ordering, metrics, rules);
}

void ProblemParts::rewrite_statements(const NodeRewrite& rewrite) {
  for (Node*& expression : expressions) expression = rewrite(expression);
  LabelsOrdering rewritten;
  for (const auto& [before, after] : labels_ordering) {
    Node* const new_before = rewrite(before);
    rewritten.emplace(new_before, rewrite(after));
  }
  labels_ordering = std::move(rewritten);
  for (AlwaysWithin& rule : rules.always_within) {
    rule.trigger = rewrite(rule.trigger);
    rule.response = rewrite(rule.response);
  }
}

MetricRewriter::MetricRewriter(const ProblemInstanceImpl& problem, std::string_view duplicate_message)
    : old_metrics_(problem.metrics()) {
  for (const auto& metric : old_metrics_) {
    if (metric->kind() != MetricKind::MINIMIZE_ACTION_COST) continue;
    if (old_costs_ != nullptr) throw InternalError(duplicate_message);
    old_costs_ = std::static_pointer_cast<MinimizeActionCost>(metric);
    new_costs_ = std::make_shared<MinimizeActionCost>();
  }
}

void MetricRewriter::carry_cost(const std::shared_ptr<ActionImpl>& old_action,
                                const std::shared_ptr<ActionImpl>& new_action, const NodeRewrite& rewrite) {
  if (old_costs_ == nullptr) return;
  Node* const cost = old_costs_->cost(old_action);
  if (cost == nullptr)
    throw InternalError("The following action does not have a cost: ") << old_action->name();
  new_costs_->add_cost(new_action, rewrite(cost));
}

void MetricRewriter::set_cost(const std::shared_ptr<ActionImpl>& new_action, Node* cost) {
  if (new_costs_ != nullptr) new_costs_->add_cost(new_action, cost);
}

std::vector<std::shared_ptr<PlanQualityMetric>> MetricRewriter::metrics(const NodeRewrite& rewrite) const {
  std::vector<std::shared_ptr<PlanQualityMetric>> result;
  for (const auto& metric : old_metrics_) {
    switch (metric->kind()) {
      case MetricKind::MINIMIZE_MAKESPAN: result.push_back(metric); break;
      case MetricKind::MINIMIZE_ACTION_COST: result.push_back(new_costs_); break;
      case MetricKind::MINIMIZE_EXPRESSION_ON_FINAL_VALUE:
        result.push_back(std::make_shared<MinimizeExpressionOnFinalValue>(
            rewrite(static_cast<const MinimizeExpressionOnFinalValue&>(*metric).expression())));
        break;
      case MetricKind::MAXIMIZE_EXPRESSION_ON_FINAL_VALUE:
        result.push_back(std::make_shared<MaximizeExpressionOnFinalValue>(
            rewrite(static_cast<const MaximizeExpressionOnFinalValue&>(*metric).expression())));
        break;
    }
  }
  return result;
}

std::vector<std::shared_ptr<SimulatedEffectImpl>> rewrite_simulated_effects(
    const std::vector<std::shared_ptr<SimulatedEffectImpl>>& effects, const NodeRewrite& rewrite) {
  std::vector<std::shared_ptr<SimulatedEffectImpl>> result;
  for (const auto& effect : effects) {
    Node* const timing = rewrite(effect->timing);
    std::vector<Node*> fluents;
    for (Node* fluent : effect->fluents) fluents.push_back(rewrite(fluent));
    const bool unchanged = timing == effect->timing && fluents == effect->fluents;
    result.push_back(unchanged ? effect
                               : std::make_shared<SimulatedEffectImpl>(
                                     SimulatedEffectImpl{timing, std::move(fluents), effect->function}));
  }
  return result;
}

}  // namespace zorvel::model
