#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/metric.h"
#include "pddl/assignments.h"
#include "pddl/messages.h"
#include "pddl/tree.h"

namespace zorvel::pddl {

/// By how much each action changes functions without arguments.
class ActionCosts {
 public:
  void note(std::size_t action, const ModelChange& change);

  /// The increase of `function`, a reference, by each action, 0 where there is none. Nothing if an action
  /// does more than increase it once by what never changes.
  std::vector<Node*> costs(model::ExpressionFactory& factory, Node* function, std::size_t actions) const;

 private:
  struct OfFunction {
    std::map<std::size_t, Node*> by_action;
    bool are_costs = true;
  };
  std::map<Node*, OfFunction> functions_;  // looked up only
};

/// Whether an expression depends on the state.
bool reads_fluents(Node* expression);

/// The metrics of the model that a metric stands for. `total-time` is the makespan; a sum of functions that
/// count the costs of actions is a sum of action costs; any other expression is one on the final state. Of a
/// sum of the makespan with others, the makespan is kept, with a warning. Violations of preferences are left
/// out. In the expression of `metric`, operations on known numbers are computed.
std::vector<std::shared_ptr<model::PlanQualityMetric>> build_metrics(
    model::ExpressionFactory& factory, const Metric& metric,
    const std::function<Node*(const Expression&)>& to_node, const ActionCosts& costs,
    const std::vector<std::shared_ptr<model::ActionImpl>>& actions, Messages& messages);

}  // namespace zorvel::pddl
