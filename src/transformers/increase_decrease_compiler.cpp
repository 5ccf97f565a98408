#include "transformers/increase_decrease_compiler.h"

#include <algorithm>

#include "model/model_factory.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_identity.h"
#include "plans/time_triggered_plan.h"
#include "transformers/plan_mapping.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

namespace {

constexpr std::string_view unknown_action = "Found an action that is unknown to the transformer!";

class AssignmentWalker : public ExpressionIdentity {
 public:
  using ExpressionIdentity::ExpressionIdentity;

 protected:
  Node* walk_increase(Node* node) const override {
    Node* const target = memoized_value(node->children[0]);
    return factory().make_assign(target, factory().make_plus(target, memoized_value(node->children[1])));
  }
  Node* walk_decrease(Node* node) const override {
    Node* const target = memoized_value(node->children[0]);
    return factory().make_assign(target, factory().make_minus(target, memoized_value(node->children[1])));
  }
};

class Occurrence {
 public:
  explicit Occurrence(Environment& env)
      : increase_(env, NodeKind::INCREASE), decrease_(env, NodeKind::DECREASE) {}

  bool in(Node* expression) const { return increase_(expression) || decrease_(expression); }
  bool in(const ExpressionSet& expressions) const {
    return std::any_of(expressions.begin(), expressions.end(), [this](Node* node) { return in(node); });
  }
  bool in_actions(const TypeScope& scope) const {
    for (const auto& [name, action] : scope.actions())
      if (in(action->expressions())) return true;
    for (const auto& [name, type] : scope.user_types())
      if (in_actions(*type)) return true;
    return false;
  }

 private:
  CheckContainsWalker increase_, decrease_;
};

}  // namespace

bool IncreaseDecreaseCompiler::is_needed(const ProblemInstanceImpl& problem) {
  const Occurrence occurs(problem.env());
  return occurs.in(problem.expressions()) || occurs.in_actions(problem);
}

void IncreaseDecreaseCompiler::do_computation() {
  require_flat("The increase and decrease compiler can be only applied to flattened models!");
  const AssignmentWalker walker(env());
  const NodeRewrite rewrite = [&](Node* node) { return walker(node); };
  const Occurrence occurs(env());
  MetricRewriter metrics(*problem_);
  ProblemParts parts(*problem_);
  for (const auto& [name, action] : problem_->actions()) {
    auto rewritten = action;
    if (occurs.in(action->expressions())) {
      std::vector<Node*> expressions;
      for (Node* expression : action->expressions()) expressions.push_back(walker(expression));
      rewritten =
          env().model_factory().make_action(name, action->path(), action->is_process(), action->parameters(),
                                            expressions, action->simulated_effects());
    }
    parts.actions.push_back(rewritten);
    old_to_new_[action] = rewritten;
    new_to_old_[rewritten] = action;
    metrics.carry_cost(action, rewritten, rewrite);
  }
  parts.rewrite_statements(rewrite);
  parts.metrics = metrics.metrics(rewrite);
  new_problem_ = parts.make(env());
}

ActionStep IncreaseDecreaseCompiler::map_back(const ActionStep& step) const {
  return {step.instance, find_action(new_to_old_, step.action, unknown_action), step.parameters};
}

std::shared_ptr<Plan> IncreaseDecreaseCompiler::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "the transformer", [this](const PlannedStep& planned) {
    return MappedStep{map_back(planned.step), planned.post_condition};
  });
}

std::vector<ActionStep> IncreaseDecreaseCompiler::map_forward(const ActionStep& step) const {
  return {{step.instance, find_action(old_to_new_, step.action, unknown_action), step.parameters}};
}

std::shared_ptr<TimeTriggeredPlan> IncreaseDecreaseCompiler::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>& plan) const {
  return map_time_triggered(plan, [this](const PlannedStep& planned) {
    return std::vector{MappedStep{map_forward(planned.step).front(), planned.post_condition}};
  });
}

}  // namespace zorvel::model
