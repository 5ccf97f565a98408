#include "transformers/initial_values_compiler.h"

#include <algorithm>
#include <set>

#include "model/action.h"
#include "model/fluent.h"
#include "model/initial_defaults.h"
#include "model/walkers/expression_parts.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

/// The ground references that a problem speaks of, and the fluents of references that are not ground.
struct Mentions {
  explicit Mentions(const ProblemInstanceImpl& problem) {
    std::vector<Node*> expressions(problem.expressions().begin(), problem.expressions().end());
    for (const auto& [name, action] : problem.actions())
      expressions.insert(expressions.end(), action->expressions().begin(), action->expressions().end());
    for (const AlwaysWithin& rule : problem.rules().always_within) {
      expressions.push_back(rule.trigger);
      expressions.push_back(rule.response);
    }
    for (const auto& metric : problem.metrics()) add_parts(*metric, expressions);
    const F& factory = problem.env().expression_factory();
    for_each_part(std::move(expressions), [&](Node* node) {
      if (!F::is_fluent_reference(node)) return;
      if (std::ranges::all_of(node->operands(), F::is_value))
        ground.push_back(node);
      else
        lifted.insert(factory.get_fluent_from_reference(node).get());
    });
    std::ranges::sort(ground, NodeIdLess());
  }

  std::vector<Node*> ground;
  std::set<const FluentImpl*> lifted;  // for look-ups

 private:
  static void add_parts(const PlanQualityMetric& metric, std::vector<Node*>& expressions) {
    switch (metric.kind()) {
      case MetricKind::MINIMIZE_MAKESPAN: return;
      case MetricKind::MINIMIZE_ACTION_COST:
        for (const auto& [action, cost] : static_cast<const MinimizeActionCost&>(metric).costs())
          expressions.push_back(cost);
        return;
      case MetricKind::MINIMIZE_EXPRESSION_ON_FINAL_VALUE:
        expressions.push_back(static_cast<const MinimizeExpressionOnFinalValue&>(metric).expression());
        return;
      case MetricKind::MAXIMIZE_EXPRESSION_ON_FINAL_VALUE:
        expressions.push_back(static_cast<const MaximizeExpressionOnFinalValue&>(metric).expression());
        return;
    }
  }
};

bool has_callbacks(const ProblemInstanceImpl& problem) {
  return std::ranges::any_of(problem.actions(),
                             [](const auto& entry) { return !entry.second->simulated_effects().empty(); });
}

}  // namespace

InitialValuesCompiler::InitialValuesCompiler(const ProblemPtr& problem, bool keeps_all)
    : OneToOneTransformer(problem, {unknown_to_transformer, unknown_to_transformer, "the transformer"}),
      keeps_all_(keeps_all || has_callbacks(*problem)) {}

bool InitialValuesCompiler::is_needed(const ProblemInstanceImpl& problem) {
  return !problem.rules().initial_defaults.empty();
}

void InitialValuesCompiler::do_computation() {
  const InitialDefaults defaults(*problem_);
  ProblemParts parts(*problem_);
  for (const auto& [name, action] : problem_->actions()) {
    parts.actions.push_back(action);
    pair(action, action);
  }
  const auto add = [&](Node* statement) { parts.expressions.push_back(statement); };
  std::set<const FluentImpl*> listed;
  if (keeps_all_) {
    for (const InitialDefault& rule : problem_->rules().initial_defaults) listed.insert(rule.fluent.get());
  } else {
    const Mentions mentions(*problem_);
    for (Node* reference : mentions.ground)
      if (Node* const statement = defaults.statement(reference)) add(statement);
    listed = mentions.lifted;
  }
  // What the problem speaks of once more is one node, and statements are a set.
  for (const InitialDefault& rule : problem_->rules().initial_defaults)
    if (listed.contains(rule.fluent.get())) defaults.for_each_statement(rule.fluent, add);
  parts.rules.initial_defaults.clear();
  new_problem_ = parts.make(env());
}

}  // namespace zorvel::model
