#include "pddl/metrics.h"

#include <algorithm>
#include <string>

namespace zorvel::pddl {

namespace {

using F = model::ExpressionFactory;
using Kind = ExpressionKind;

bool contains(const Expression& expression, Kind kind) {
  return expression.kind == kind ||
         std::any_of(expression.operands.begin(), expression.operands.end(),
                     [&](const Expression* operand) { return contains(*operand, kind); });
}

/// A metric as a sum with weights. Numbers by themselves do not matter to it.
struct WeightedSum {
  struct Term {
    rational weight;
    const Expression* expression;
  };
  rational total_time;
  std::vector<Term> terms;

  void add(const Expression& expression, const rational& weight) {
    switch (expression.kind) {
      case Kind::number:
      case Kind::is_violated: return;  // preferences are left out, with a warning of their own
      case Kind::total_time: total_time += weight; return;
      case Kind::plus:
        for (const Expression* operand : expression.operands) add(*operand, weight);
        return;
      case Kind::minus:
        add(*expression.operands[0], expression.operands.size() == 1 ? -weight : weight);
        if (expression.operands.size() == 2) add(*expression.operands[1], -weight);
        return;
      case Kind::times: return add_product(expression, weight);
      case Kind::divide:
        if (expression.operands[1]->kind == Kind::number && expression.operands[1]->value != rational(0))
          return add(*expression.operands[0], weight / expression.operands[1]->value);
        break;
      default: break;
    }
    terms.push_back({weight, &expression});
  }

 private:
  void add_product(const Expression& product, rational weight) {
    const Expression* factor = nullptr;
    for (const Expression* operand : product.operands) {
      if (operand->kind == Kind::number) {
        weight *= operand->value;
      } else if (factor == nullptr) {
        factor = operand;
      } else {
        terms.push_back({weight, &product});
        return;
      }
    }
    if (factor != nullptr) add(*factor, weight);
  }
};

}  // namespace

bool reads_fluents(Node* expression) {
  std::vector<const Node*> open{expression};
  while (!open.empty()) {
    const Node* const node = open.back();
    open.pop_back();
    if (F::is_fluent_reference(node)) return true;
    for (const Node* child : node->operands()) open.push_back(child);
  }
  return false;
}

void ActionCosts::note(std::size_t action, const ModelChange& change) {
  OfFunction& function = functions_[change.target];
  const bool is_cost =
      change.change->kind == Kind::increase && change.condition == nullptr && !reads_fluents(change.value);
  function.are_costs =
      function.are_costs && is_cost && function.by_action.emplace(action, change.value).second;
}

std::vector<Node*> ActionCosts::costs(F& factory, Node* function, std::size_t actions) const {
  const auto found = functions_.find(function);
  if (found == functions_.end() || !found->second.are_costs) return {};
  std::vector<Node*> result(actions, factory.make_rational_constant(rational(0)));
  for (const auto& [action, cost] : found->second.by_action) result[action] = cost;
  return result;
}

std::vector<std::shared_ptr<model::PlanQualityMetric>> build_metrics(
    F& factory, const Metric& metric, const std::function<Node*(const Expression&)>& to_node,
    const ActionCosts& costs, const std::vector<std::shared_ptr<model::ActionImpl>>& actions,
    Messages& messages) {
  WeightedSum sum;
  sum.add(*metric.expression, rational(1));
  const rational zero(0);
  if (sum.total_time != zero) {
    if ((sum.total_time > zero) == metric.is_maximized) {
      messages.warn(metric.place, "a metric that wants a longer plan is left out of account");
      return {};
    }
    if (!sum.terms.empty())
      messages.warn(metric.place,
                    "of the metric, only 'total-time' is kept; what is added to it is left out");
    return {std::make_shared<model::MinimizeMakespan>()};
  }
  if (sum.terms.empty()) return {};

  const auto weighted = [&](const rational& weight, Node* node) {
    return weight == rational(1) ? node : factory.make_times(factory.make_rational_constant(weight), node);
  };
  const auto total = [&](const std::vector<Node*>& operands) {
    return operands.size() == 1 ? operands[0] : factory.make_plus(operands);
  };
  std::vector<Node*> final_values;
  std::vector<std::vector<Node*>> costs_of_actions(actions.size());
  bool are_costs = !metric.is_maximized;
  for (const auto& [weight, expression] : sum.terms) {
    if (contains(*expression, Kind::total_time) || contains(*expression, Kind::is_violated)) {
      messages.warn(expression->place, "a part of the metric that is no sum is left out of account");
      continue;
    }
    Node* const node = to_node(*expression);
    final_values.push_back(weighted(weight, node));
    const std::vector<Node*> of_actions = costs.costs(factory, node, actions.size());
    are_costs = are_costs && weight > zero && of_actions.size() == actions.size();
    for (std::size_t i = 0; are_costs && i < actions.size(); ++i)
      if (!F::is_zero(of_actions[i])) costs_of_actions[i].push_back(weighted(weight, of_actions[i]));
  }
  if (final_values.empty()) return {};
  if (are_costs) {
    auto result = std::make_shared<model::MinimizeActionCost>();
    for (std::size_t i = 0; i < actions.size(); ++i)
      result->add_cost(actions[i], costs_of_actions[i].empty() ? factory.make_rational_constant(zero)
                                                               : total(costs_of_actions[i]));
    return {result};
  }
  Node* const value = total(final_values);
  if (metric.is_maximized) return {std::make_shared<model::MaximizeExpressionOnFinalValue>(value)};
  return {std::make_shared<model::MinimizeExpressionOnFinalValue>(value)};
}

}  // namespace zorvel::pddl
