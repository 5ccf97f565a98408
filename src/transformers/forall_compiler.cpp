#include "transformers/forall_compiler.h"

#include <limits>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/model_factory.h"
#include "model/walkers/expression_substituter.h"
#include "transformers/finite_domain.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

namespace {

constexpr std::string_view unknown_to_forall_compiler = "Found an action that is unknown to the compiler!";

std::size_t number_of_combinations(const std::vector<std::vector<Node*>>& domains) {
  std::size_t product = 1;
  for (const auto& domain : domains) {
    if (!domain.empty() && product > std::numeric_limits<std::size_t>::max() / domain.size())
      throw UnsupportedProblemError("The variables of a forall have too many combinations of values");
    product *= domain.size();
  }
  return product;
}

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

/// Expands until no outer forall is left: the body of one may be another.
std::vector<Node*> ForallCompiler::expand_all(const ExpressionSet& expressions) const {
  std::vector<Node*> result;
  std::vector<Node*> open(expressions.rbegin(), expressions.rend());
  while (!open.empty()) {
    Node* const expression = open.back();
    open.pop_back();
    const std::vector<Node*> expansion = expand_forall(expression);
    if (expansion.size() == 1 && expansion.front() == expression)
      result.push_back(expression);
    else
      open.insert(open.end(), expansion.rbegin(), expansion.rend());
  }
  return result;
}

std::vector<Node*> ForallCompiler::expand_forall(Node* expression) const {
  const bool is_timed = ExpressionFactory::is_temporal_expression(expression);
  Node* const interval = is_timed ? expression->children[0] : nullptr;
  Node* const forall = is_timed ? expression->children[1] : expression;
  if (!ExpressionFactory::is_forall(forall)) return {expression};

  const ParameterVector variables = factory().get_parameters_from_forall(forall);
  std::vector<std::vector<Node*>> domains;
  for (const auto& variable : variables)
    domains.push_back(finite_domain_values(env(), problem_->instances(), variable->type()));
  std::vector<Node*> result;
  const std::size_t combinations = number_of_combinations(domains);
  for (std::size_t combination = 0; combination < combinations; ++combination) {
    NodeMap values;
    std::size_t rest = combination;
    for (std::size_t place = 0; place < variables.size(); ++place) {
      values[factory().make_parameter_reference(variables[place])] =
          domains[place][rest % domains[place].size()];
      rest /= domains[place].size();
    }
    const ExpressionSubstituter substitute(env(), std::move(values), {}, false);
    for (Node* statement : forall->operands()) {
      Node* const instance = substitute(statement);
      if (is_timed && ExpressionFactory::is_temporal_expression(instance))
        throw InternalError("The forall expression has a double interval definition: ")
            << print_expression{interval} << " and " << print_expression{instance->children[0]};
      result.push_back(is_timed ? factory().make_temporal_expression(interval, instance) : instance);
    }
  }
  return result;
}

ActionStep ForallCompiler::map_back(const ActionStep&) const { throw InternalError("Not implemented yet!"); }

std::vector<ActionStep> ForallCompiler::map_forward(const ActionStep&) const {
  throw InternalError("Not implemented yet!");
}

}  // namespace zorvel::model
