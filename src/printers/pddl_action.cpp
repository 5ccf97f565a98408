#include "printers/pddl_action.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <utility>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/type_checker.h"
#include "model/walkers/expression_parts.h"

namespace zorvel {

using namespace model;

namespace {

using F = ExpressionFactory;

bool speaks_of_duration(const Node* expression) {
  return any_part(expression, [](const Node* node) { return F::is_duration_anchor(node); });
}

bool is_comparison(const Node* node) {
  switch (node->kind()) {
    case NodeKind::ASSIGN:
    case NodeKind::EQUALS:
    case NodeKind::LT:
    case NodeKind::LE:
    case NodeKind::GT:
    case NodeKind::GE: return true;
    default: return false;
  }
}

/// The comparison with its sides changed.
Node* turned(F& factory, const Node* comparison) {
  Node* const a = comparison->children[0];
  Node* const b = comparison->children[1];
  switch (comparison->kind()) {
    case NodeKind::LT: return factory.make_gt(b, a);
    case NodeKind::LE: return factory.make_ge(b, a);
    case NodeKind::GT: return factory.make_lt(b, a);
    case NodeKind::GE: return factory.make_le(b, a);
    default: return factory.make_equals(b, a);
  }
}

/// What the value of a type lies within, as far as it is bounded.
std::vector<Node*> bounds_of(F& factory, const TypeBase& type, Node* value) {
  std::vector<Node*> result;
  const auto add = [&](const auto& numeric) {
    if (numeric.has_lower_bound())
      result.push_back(
          factory.make_ge(value, factory.make_rational_constant(rational(numeric.lower_bound()))));
    if (numeric.has_upper_bound())
      result.push_back(
          factory.make_le(value, factory.make_rational_constant(rational(numeric.upper_bound()))));
  };
  if (type.is_integer()) add(static_cast<const IntegerTypeBase&>(type));
  if (type.is_rational()) add(static_cast<const RationalTypeBase&>(type));
  return result;
}

}  // namespace

PddlAction::PddlAction(const PddlProblem& problem, const ActionImpl& action)
    : factory_(problem.problem().env().expression_factory()), problem_(problem), action_(action) {
  for (Node* statement : action.expressions()) add(problem.written(statement));
  add_bounds_of_values();
  // The model of a problem that was read from PDDL says itself what effects that meet come to.
  if (!problem.problem().rules().has_mutual_exclusion) keep_effects_apart();
  refuse_cut_quotients();
}

void PddlAction::forbid(const Node* statement) {
  throw InternalError("Found a forbidden expression' ") << print_expression{statement};
}

Node* PddlAction::at_start(Node* body) const {
  return factory_.make_temporal_expression(factory_.make_point_interval(factory_.make_start_anchor()), body);
}

void PddlAction::add(Node* statement) {
  if (F::is_temporal_expression(statement)) return add_timed(statement);
  for (Node* part : conjuncts_of(statement)) add_bare(part);
}

/// What has no time is meant at the start.
void PddlAction::add_bare(Node* statement) {
  if (is_comparison(statement) &&
      (F::is_duration_anchor(statement->children[0]) || F::is_duration_anchor(statement->children[1])))
    return add_duration(statement);
  if (F::is_temporal_expression(statement) || F::is_forall(statement)) forbid(statement);
  add_timed(at_start(statement));
}

void PddlAction::add_duration(Node* bound) {
  Node* const written = F::is_duration_anchor(bound->children[0]) ? bound : turned(factory_, bound);
  if (speaks_of_duration(written->children[1])) forbid(bound);
  durations_.push_back(written);
}

void PddlAction::add_timed(Node* statement) {
  const Node* const interval = statement->children[0];
  const Node* const body = statement->children[1];
  if (!F::is_interval(interval) || F::is_forall(body) || F::is_temporal_expression(body)) forbid(statement);
  if (speaks_of_duration(body)) forbid(statement);
  for (const Node* end : interval->operands())
    if (!F::is_start_anchor(end) && !F::is_end_anchor(end))
      throw InternalError("Intermediate effects are forbidden!");
  if (body->kind() == NodeKind::TRUE) return;
  std::vector<Node*>& section = F::is_assign(body) ? effects_ : conditions_;
  if (std::ranges::find(section, statement) == section.end()) section.push_back(statement);
}

/// The functions of PDDL have no bounds: an effect that leaves those of its fluent takes its action away.
void PddlAction::add_bounds_of_values() {
  for (Node* effect : effects_) {
    const Node* const target = effect->children[1]->children[0];
    if (F::is_fluent_reference(target))
      add_bound(effect, *factory_.get_fluent_from_reference(target)->type());
  }
}

void PddlAction::add_bound(Node* effect, const TypeBase& type) {
  Node* const value = effect->children[1]->children[1];
  const std::vector<Node*> within = bounds_of(factory_, type, value);
  if (within.empty()) return;
  Node* condition = within.size() == 1 ? within.front() : factory_.make_and(within);
  if (F::is_numeric_constant(value)) {
    if (within_bounds(type, factory_.get_numeric_constant(value))) return;
    condition = factory_.make_boolean_constant(false);
  }
  conditions_.push_back(factory_.make_temporal_expression(effect->children[0], condition));
}

/// An action that would write a fluent twice at one moment, for some choice of its parameters, is not taken;
/// in PDDL it would be, and what is added wins.
void PddlAction::keep_effects_apart() {
  std::map<std::pair<std::uint64_t, const FluentImpl*>, std::vector<const Node*>> targets;
  for (const Node* effect : effects_) {
    const Node* const target = effect->children[1]->children[0];
    if (!F::is_fluent_reference(target)) continue;
    std::vector<const Node*>& known =
        targets[{effect->children[0]->id, factory_.get_fluent_from_reference(target).get()}];
    for (const Node* other : known) keep_apart(other, target);
    known.push_back(target);
  }
}

void PddlAction::keep_apart(const Node* a, const Node* b) {
  std::vector<Node*> equalities;
  for (std::uint64_t i = 0; i < a->arity; ++i) {
    Node* const left = a->children[i];
    Node* const right = b->children[i];
    if (left == right) continue;
    if (F::is_instance_reference(left) && F::is_instance_reference(right)) return;
    equalities.push_back(factory_.make_equals(left, right));
    for (Node* const known : {equalities.back(), factory_.make_equals(right, left)})
      if (std::ranges::find(conditions_, at_start(factory_.make_not(known))) != conditions_.end()) return;
  }
  Node* const apart = equalities.empty()       ? factory_.make_boolean_constant(false)
                      : equalities.size() == 1 ? factory_.make_not(equalities.front())
                                               : factory_.make_not(factory_.make_and(equalities));
  if (std::ranges::find(conditions_, at_start(apart)) == conditions_.end())
    conditions_.push_back(at_start(apart));
}

void PddlAction::refuse_cut_quotients() const {
  std::vector<const Node*> statements(durations_.begin(), durations_.end());
  statements.insert(statements.end(), conditions_.begin(), conditions_.end());
  statements.insert(statements.end(), effects_.begin(), effects_.end());
  const auto is_whole = [&](Node* operand) {
    return problem_.problem().env().type_checker()(operand)->is_integer();
  };
  if (any_part(std::move(statements), [&](const Node* node) {
        return F::is_kind(node, NodeKind::DIV) && is_whole(node->children[0]) && is_whole(node->children[1]);
      }))
    throw UnsupportedProblemError("PDDL cannot cut the quotient of two integers, as action '")
        << action_.name() << "' does";
}

}  // namespace zorvel
