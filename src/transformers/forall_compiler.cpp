#include "transformers/forall_compiler.h"

#include "core/errors.h"
#include "core/log.h"
#include "model/model_factory.h"
#include "transformers/finite_domain.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

namespace {

constexpr std::string_view unknown_to_forall_compiler = "Found an action that is unknown to the compiler!";

}  // namespace

ForallCompiler::ForallCompiler(const ProblemPtr& problem)
    : OneToOneTransformer(problem,
                          {unknown_to_forall_compiler, unknown_to_forall_compiler, "the transformer"}) {}

void ForallCompiler::do_computation() {
  require_flat("The forall compiler can be only applied to flattened models!");
  ZORVEL_LOG(DEBUG) << "Forall compiler started!";
  MetricRewriter metrics(*problem_);
  const auto unchanged = [](Node* node) { return node; };
  ProblemParts parts(*problem_);
  for (const auto& [name, action] : problem_->actions()) {
    const auto expanded =
        env().model_factory().make_action(name, action->path(), action->is_process(), action->parameters(),
                                          expand_all(action->expressions()), action->simulated_effects());
    parts.actions.push_back(expanded);
    pair(action, expanded);
    metrics.carry_cost(action, expanded, unchanged);
  }
  parts.expressions = expand_all(problem_->expressions());
  parts.metrics = metrics.metrics(unchanged);
  new_problem_ = parts.make(env());
  ZORVEL_LOG(DEBUG) << "Forall compiling completed!";
}

std::vector<Node*> ForallCompiler::expand_all(const ExpressionSet& expressions) const {
  std::vector<Node*> result;
  for (Node* expression : expressions) {
    const std::vector<Node*> expansion = expand_foralls(env(), expression, domains());
    result.insert(result.end(), expansion.begin(), expansion.end());
  }
  return result;
}

std::vector<Node*> ForallCompiler::expand_forall(Node* expression) const {
  return model::expand_forall(env(), expression, domains());
}

DomainOf ForallCompiler::domains() const {
  return [this](const TypePtr& type) { return finite_domain_values(env(), problem_->instances(), type); };
}

ActionStep ForallCompiler::map_back(const ActionStep&) const { throw InternalError("Not implemented yet!"); }

std::vector<ActionStep> ForallCompiler::map_forward(const ActionStep&) const {
  throw InternalError("Not implemented yet!");
}

}  // namespace zorvel::model
