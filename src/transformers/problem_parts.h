#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "model/problem_instance.h"
#include "model/simulated_effect.h"

namespace zorvel::model {

using NodeRewrite = std::function<Node*(Node*)>;

/// The content of a problem while a transformer works on it: what `make_problem_instance` takes. A type may
/// be changed part by part; the input problem is not touched.
struct ProblemParts {
  ProblemParts() = default;
  /// Everything of the problem except its actions, which every transformer makes itself.
  explicit ProblemParts(const ProblemInstanceImpl& problem);
  ProblemPtr make(Environment& env) const;
  /// Puts expressions, label orderings and rules through the rewriting.
  void rewrite_statements(const NodeRewrite& rewrite);

  std::vector<std::shared_ptr<ActionImpl>> actions;
  std::vector<std::shared_ptr<FluentImpl>> fluents;
  std::vector<std::shared_ptr<ConstantImpl>> constants;
  std::vector<std::shared_ptr<InstanceImpl>> instances;
  std::vector<std::shared_ptr<UserTypeImpl>> user_types;
  std::vector<Node*> expressions;
  LabelsOrdering labels_ordering;
  std::vector<std::shared_ptr<PlanQualityMetric>> metrics;
  PlanRules rules;
};

/// Carries the metrics of a problem over to the problem that a transformer makes of it.
class MetricRewriter {
 public:
  /// InternalError with the text if the problem has two metrics of the kind MINIMIZE_ACTION_COST.
  explicit MetricRewriter(const ProblemInstanceImpl& problem,
                          std::string_view duplicate_message = "Multiple MINIMIZE_ACTION_COST metrics");

  /// Gives the new action the cost of the old one, rewritten. InternalError "The following action does not
  /// have a cost: " and the name, if there are costs but none for this action.
  void carry_cost(const std::shared_ptr<ActionImpl>& old_action,
                  const std::shared_ptr<ActionImpl>& new_action, const NodeRewrite& rewrite);
  /// Gives an action that no old one stands for this cost, if there are costs.
  void set_cost(const std::shared_ptr<ActionImpl>& new_action, Node* cost);
  /// The metrics of the new problem, in the order of the old ones, final values rewritten.
  std::vector<std::shared_ptr<PlanQualityMetric>> metrics(const NodeRewrite& rewrite) const;

 private:
  std::vector<std::shared_ptr<PlanQualityMetric>> old_metrics_;
  std::shared_ptr<MinimizeActionCost> old_costs_;  // null if the problem has none
  std::shared_ptr<MinimizeActionCost> new_costs_;
};

/// The effects with their fluents and timing rewritten, calling the same function; the very same objects
/// where the rewriting changes nothing.
std::vector<std::shared_ptr<SimulatedEffectImpl>> rewrite_simulated_effects(
    const std::vector<std::shared_ptr<SimulatedEffectImpl>>& effects, const NodeRewrite& rewrite);

}  // namespace zorvel::model
