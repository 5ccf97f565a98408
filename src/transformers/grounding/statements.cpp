#include "transformers/grounding/statements.h"

#include <algorithm>
#include <unordered_set>

#include "core/errors.h"
#include "model/fluent.h"
#include "model/walkers/expression_parts.h"
#include "transformers/timed_statements.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

bool is_change(const Node* body) {
  return F::is_assign(body) || F::is_increase(body) || F::is_decrease(body) || F::is_in_assign(body);
}

bool is_alternative(const Node* node) {
  return F::is_and(node) || F::is_or(node) || F::is_imply(node) || F::is_forall(node);
}

/// What must be evaluated whenever the statement is.
std::vector<Node*> decisive_parts(Node* statement) {
  Node* const body = body_of(statement);
  if (!is_change(body)) return conjuncts_of(body);
  if (F::is_duration_anchor(body->children[0])) return {};
  return {body->children[0]};
}

}  // namespace

std::optional<EffectTarget> effect_target(ExpressionFactory& factory, Node* statement) {
  Node* const body = body_of(statement);
  if (!F::is_assign(body) || F::is_duration_anchor(body->children[0])) return std::nullopt;
  const bool is_timed = body != statement;
  if (is_timed && !factory.is_point_interval(statement->children[0]))
    throw InternalError("Found an effect over a non-punctual interval");
  Node* const reference = body->children[0];
  if (!F::is_fluent_reference(reference))
    throw InternalError("Found an unknown effect kind: ") << print_expression{statement};
  return EffectTarget{is_timed ? statement->children[0]->children[0] : factory.make_start_anchor(),
                      reference};
}

std::vector<Node*> decisive_applications(Node* statement, const std::function<bool(const Node*)>& enter) {
  std::vector<Node*> open = decisive_parts(statement), result;
  std::unordered_set<Node*> seen;
  while (!open.empty()) {
    Node* const node = open.back();
    open.pop_back();
    if (is_alternative(node) || !seen.insert(node).second) continue;
    if (F::is_fluent_reference(node) && node->arity > 0) result.push_back(node);
    if (!enter(node)) continue;
    const auto operands = node->operands();
    open.insert(open.end(), operands.begin(), operands.end());
  }
  return result;
}

bool is_outside_domain(const ExpressionFactory& factory, const Node* application) {
  const auto fluent = factory.get_fluent_from_reference(application);
  if (fluent->arity() != application->arity) return false;
  for (std::size_t i = 0; i < application->arity; ++i) {
    const Node* const argument = application->children[i];
    if (!F::is_numeric_constant(argument)) continue;
    const TypePtr type = fluent->parameters()[i]->type();
    const rational value = factory.get_numeric_constant(argument);
    if ((type->is_integer() && !value.is_integer()) || !within_bounds(*type, value)) return true;
  }
  return false;
}

}  // namespace zorvel::model
