#include "printers/carried_metric.h"

#include <algorithm>
#include <cassert>

#include "core/errors.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "transformers/fresh_names.h"
#include "transformers/problem_parts.h"
#include "transformers/without_metrics.h"

namespace zorvel {

using namespace model;

namespace {

using F = ExpressionFactory;
using Sums = std::vector<std::pair<Node*, Node*>>;  // a function, and what is added to it

/// The assignment that a statement makes; null if it makes none.
Node* assignment_of(Node* statement) {
  Node* const body = F::is_temporal_expression(statement) ? statement->children[1] : statement;
  return F::is_assign(body) || F::is_increase(body) || F::is_decrease(body) ? body : nullptr;
}

/// What the assignment adds to its own target; null if it does something else.
Node* summand_of(const Node* assignment) {
  Node* const target = assignment->children[0];
  Node* const value = assignment->children[1];
  if (F::is_increase(assignment)) return value;
  const bool is_sum =
      F::is_assign(assignment) && F::is_plus(value) && value->arity == 2 && value->children[0] == target;
  return is_sum ? value->children[1] : nullptr;
}

/// Whether the action changes `function` by adding the cost to it, once, or not at all if it costs nothing.
bool adds_up(const ActionImpl& action, const Node* function, const Node* cost) {
  std::size_t sums = 0;
  for (Node* statement : action.expressions()) {
    const Node* const assignment = assignment_of(statement);
    if (assignment == nullptr || assignment->children[0] != function) continue;
    if (summand_of(assignment) != cost) return false;
    ++sums;
  }
  return sums == (F::is_zero(cost) ? 0U : 1U);
}

Node* at(F& factory, Node* time, Node* body) {
  return factory.make_temporal_expression(factory.make_point_interval(time), body);
}

}  // namespace

CarriedMetric::CarriedMetric(const ProblemPtr& problem) : problem_(without_metrics(problem)) {
  choose(*problem);
  if (value_ != nullptr && cost_name_.empty()) carry_value();
}

void CarriedMetric::choose(const ProblemInstanceImpl& problem) {
  for (const auto& metric : problem.metrics()) {
    if (kind_ != Kind::none) {
      problem.env().warning_manager().warn(
          std::string("PDDL has one metric: another one is left out, of the kind ") +
          to_string(metric->kind()));
      continue;
    }
    switch (metric->kind()) {
      case MetricKind::MINIMIZE_MAKESPAN: kind_ = Kind::makespan; break;
      case MetricKind::MINIMIZE_ACTION_COST:
        kind_ = Kind::minimize;
        carry_costs(static_cast<const MinimizeActionCost&>(*metric));
        break;
      case MetricKind::MINIMIZE_EXPRESSION_ON_FINAL_VALUE:
        kind_ = Kind::minimize;
        value_ = static_cast<const MinimizeExpressionOnFinalValue&>(*metric).expression();
        break;
      case MetricKind::MAXIMIZE_EXPRESSION_ON_FINAL_VALUE:
        kind_ = Kind::maximize;
        value_ = static_cast<const MaximizeExpressionOnFinalValue&>(*metric).expression();
        break;
    }
  }
}

/// A problem that was read from PDDL has a function that adds the costs up already.
void CarriedMetric::carry_costs(const MinimizeActionCost& costs) {
  for (const auto& [name, action] : problem_->actions())
    if (costs.cost(action) == nullptr)
      throw InternalError("The following action does not have a cost: ") << name;
  if (const auto sum = existing_sum(costs)) {
    cost_name_ = sum->name();
    value_ = problem_->env().expression_factory().make_fluent_reference(sum, {});
  } else {
    add_sum(costs);
  }
}

std::shared_ptr<FluentImpl> CarriedMetric::existing_sum(const MinimizeActionCost& costs) const {
  F& factory = problem_->env().expression_factory();
  const bool is_free = std::ranges::all_of(
      problem_->actions(), [&](const auto& entry) { return F::is_zero(costs.cost(entry.second)); });
  if (is_free) return nullptr;
  for (const auto& [name, fluent] : problem_->fluents()) {
    if (fluent->has_parameters() || (!fluent->type()->is_rational() && !fluent->type()->is_integer()))
      continue;
    const Node* const function = factory.make_fluent_reference(fluent, {});
    if (std::ranges::all_of(problem_->actions(), [&](const auto& entry) {
          return adds_up(*entry.second, function, costs.cost(entry.second));
        }))
      return fluent;
  }
  return nullptr;
}

std::shared_ptr<FluentImpl> CarriedMetric::new_function(const char* name) const {
  FreshNames names;
  names.reserve_all_but_actions(*problem_);
  for (const auto& [action_name, action] : problem_->actions()) names.reserve(action_name);
  ModelFactory& factory = problem_->env().model_factory();
  return factory.make_fluent(names.unique(name), factory.make_rational_type(), {}, {});
}

void CarriedMetric::add_sum(const MinimizeActionCost& costs) {
  Environment& env = problem_->env();
  F& factory = env.expression_factory();
  const auto sum = new_function("total-cost");
  Node* const start = factory.make_start_anchor();
  cost_name_ = sum->name();
  value_ = factory.make_fluent_reference(sum, {});
  ProblemParts parts(*problem_);
  parts.fluents.push_back(sum);
  parts.expressions.push_back(
      at(factory, start, factory.make_assign(value_, factory.make_rational_constant(rational(0)))));
  for (const auto& [name, action] : problem_->actions()) {
    std::vector<Node*> statements(action->expressions().begin(), action->expressions().end());
    Node* const cost = costs.cost(action);
    if (!F::is_zero(cost))
      statements.push_back(at(factory, start, factory.make_assign(value_, factory.make_plus(value_, cost))));
    parts.actions.push_back(env.model_factory().make_action(name, action->path(), action->is_process(),
                                                            action->parameters(), statements,
                                                            action->simulated_effects()));
  }
  problem_ = parts.make(env);
}

void CarriedMetric::carry_value() {
  F& factory = problem_->env().expression_factory();
  const auto marker = new_function("metric");
  marker_name_ = marker->name();
  ProblemParts parts(*problem_);
  for (const auto& [name, action] : problem_->actions()) parts.actions.push_back(action);
  parts.fluents.push_back(marker);
  parts.expressions.push_back(at(factory, factory.make_end_anchor(),
                                 factory.make_equals(factory.make_fluent_reference(marker, {}), value_)));
  problem_ = parts.make(problem_->env());
}

ProblemPtr CarriedMetric::take_out(const ProblemPtr& transformed) {
  F& factory = transformed->env().expression_factory();
  if (!cost_name_.empty()) value_ = factory.make_fluent_reference(transformed->fluents().at(cost_name_), {});
  if (marker_name_.empty()) return transformed;
  const Node* const marker = factory.make_fluent_reference(transformed->fluents().at(marker_name_), {});
  ProblemParts parts(*transformed);
  for (const auto& [name, action] : transformed->actions()) parts.actions.push_back(action);
  std::erase_if(parts.fluents, [&](const auto& fluent) { return fluent->name() == marker_name_; });
  std::erase_if(parts.expressions, [&](const Node* statement) {
    const Node* const body = F::is_temporal_expression(statement) ? statement->children[1] : statement;
    if (!F::is_equals(body) || body->children[0] != marker) return false;
    value_ = body->children[1];
    return true;
  });
  return parts.make(transformed->env());
}

}  // namespace zorvel
