#include "transformers/forall_expansion.h"

#include <limits>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/walkers/expression_substituter.h"

namespace zorvel::model {

namespace {

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

std::vector<Node*> expand_forall(Environment& env, Node* expression, const DomainOf& domain_of) {
  ExpressionFactory& factory = env.expression_factory();
  const bool is_timed = ExpressionFactory::is_temporal_expression(expression);
  Node* const interval = is_timed ? expression->children[0] : nullptr;
  Node* const forall = is_timed ? expression->children[1] : expression;
  if (!ExpressionFactory::is_forall(forall)) return {expression};

  const ParameterVector variables = factory.get_parameters_from_forall(forall);
  std::vector<std::vector<Node*>> domains;
  for (const auto& variable : variables) domains.push_back(domain_of(variable->type()));
  std::vector<Node*> result;
  const std::size_t combinations = number_of_combinations(domains);
  for (std::size_t combination = 0; combination < combinations; ++combination) {
    NodeMap values;
    std::size_t rest = combination;
    for (std::size_t place = 0; place < variables.size(); ++place) {
      values[factory.make_parameter_reference(variables[place])] =
          domains[place][rest % domains[place].size()];
      rest /= domains[place].size();
    }
    const ExpressionSubstituter substitute(env, std::move(values), {}, false);
    for (Node* statement : forall->operands()) {
      Node* const instance = substitute(statement);
      if (is_timed && ExpressionFactory::is_temporal_expression(instance))
        throw InternalError("The forall expression has a double interval definition: ")
            << print_expression{interval} << " and " << print_expression{instance->children[0]};
      result.push_back(is_timed ? factory.make_temporal_expression(interval, instance) : instance);
    }
  }
  return result;
}

std::vector<Node*> expand_foralls(Environment& env, Node* expression, const DomainOf& domain_of) {
  std::vector<Node*> result, open{expression};
  while (!open.empty()) {
    Node* const next = open.back();
    open.pop_back();
    const std::vector<Node*> expansion = expand_forall(env, next, domain_of);
    if (expansion.size() == 1 && expansion.front() == next)
      result.push_back(next);
    else
      open.insert(open.end(), expansion.rbegin(), expansion.rend());
  }
  return result;
}

}  // namespace zorvel::model
