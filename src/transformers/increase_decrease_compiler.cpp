#include "transformers/increase_decrease_compiler.h"

#include <algorithm>

#include "model/model_factory.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_identity.h"
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

IncreaseDecreaseCompiler::IncreaseDecreaseCompiler(const ProblemPtr& problem)
    : OneToOneTransformer(problem, {unknown_action, unknown_action, "the transformer"}) {}

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
    pair(action, rewritten);
    metrics.carry_cost(action, rewritten, rewrite);
  }
  parts.rewrite_statements(rewrite);
  parts.metrics = metrics.metrics(rewrite);
  new_problem_ = parts.make(env());
}

}  // namespace zorvel::model
