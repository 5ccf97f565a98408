#include "model/initial_defaults.h"

#include <algorithm>

#include "core/unsupported_problem.h"
#include "model/fluent.h"
#include "model/tuples.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

// Written out, they take more than a gigabyte.
constexpr std::size_t max_listed_atoms = 5000000;

}  // namespace

InitialDefaults::InitialDefaults(const ProblemInstanceImpl& problem)
    : problem_(problem),
      factory_(problem.env().expression_factory()),
      at_start_(factory_.make_point_interval(factory_.make_start_anchor())) {
  for (const InitialDefault& rule : problem.rules().initial_defaults)
    values_.emplace(rule.fluent.get(), rule.value);
  if (values_.empty()) return;
  for (const Node* statement : problem.expressions())
    if (F::is_temporal_expression(statement) && statement->children[0] == at_start_ &&
        F::is_assign(statement->children[1]))
      given_.insert(statement->children[1]->children[0]);
}

Node* InitialDefaults::statement(Node* reference) const {
  const auto found = values_.find(factory_.get_fluent_from_reference(reference).get());
  if (found == values_.end() || given_.contains(reference)) return nullptr;
  return factory_.make_temporal_expression(at_start_, factory_.make_assign(reference, found->second));
}

void InitialDefaults::for_each_statement(const std::shared_ptr<FluentImpl>& fluent,
                                         const std::function<void(Node*)>& use) const {
  std::vector<std::vector<Node*>> domains;
  std::size_t atoms = 1;
  for (const auto& parameter : fluent->parameters()) {
    domains.push_back(domain_items(problem_.env(), problem_.instances(), parameter->type()));
    atoms = std::min(atoms * domains.back().size(), max_listed_atoms + 1);
  }
  if (atoms > max_listed_atoms)
    throw UnsupportedProblemError("The fluent '")
        << fluent->name() << "' stands for more than " << max_listed_atoms
        << " ground ones, too many to write out their values at the start";
  for_each_tuple(domains, TurnsFastest::LAST, [&](const std::vector<Node*>& arguments) {
    if (Node* const given = statement(factory_.make_fluent_reference(fluent, arguments))) use(given);
  });
}

}  // namespace zorvel::model
