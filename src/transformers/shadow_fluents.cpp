#include "transformers/shadow_fluents.h"

#include <algorithm>
#include <cassert>
#include <string>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/fluent.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

constexpr std::size_t max_readings = 1'000'000;

bool is_effect(const Node* body) { return F::is_assign(body) && F::is_fluent_reference(body->children[0]); }

}  // namespace

std::vector<Node*> operands_of_conjunction(Node* expression) {
  std::vector<Node*> result, open{expression};
  while (!open.empty()) {
    Node* const node = open.back();
    open.pop_back();
    if (F::is_and(node) && node->arity > 0)
      open.insert(open.end(), node->operands().rbegin(), node->operands().rend());
    else
      result.push_back(node);
  }
  return result;
}

std::vector<Node*> expand_condition(Environment& env, Node* condition, const NodeMap& shadows) {
  const ExpressionFreeVars references_of(env);
  std::vector<Node*> references;
  for (Node* reference : references_of(condition))
    if (shadows.contains(reference)) references.push_back(reference);
  // why by falling id: a reference is younger than those in its arguments, and has to be found before these
  // are replaced.
  std::sort(references.begin(), references.end(), [](const Node* a, const Node* b) { return a->id > b->id; });
  constexpr std::size_t bits = 8 * sizeof(std::size_t);
  if (references.size() >= bits || (std::size_t{1} << references.size()) > max_readings)
    throw UnsupportedProblemError("The condition ")
        << print_expression{condition} << " can be read in more than " << max_readings << " ways, for it has "
        << references.size() << " references to fluents of uncertain values";

  std::vector<Node*> readings{condition};
  NodeSet seen{condition};
  for (Node* reference : references) {
    const ExpressionSubstituter substitute(env, {{reference, shadows.at(reference)}}, {}, false);
    for (std::size_t i = 0, count = readings.size(); i < count; ++i)
      if (Node* const reading = substitute(readings[i]); seen.insert(reading).second)
        readings.push_back(reading);
  }
  return readings;
}

ShadowFluents::ShadowFluents(Environment& env)
    : env_(env),
      factory_(env.expression_factory()),
      references_(env),
      has_forall_(env, NodeKind::FORALL),
      has_assign_(env, NodeKind::ASSIGN),
      in_shadow_(std::make_unique<ExpressionSubstituter>(env, NodeMap{}, NodeMap{}, false)) {}

void ShadowFluents::add(const std::shared_ptr<FluentImpl>& fluent,
                        const std::shared_ptr<FluentImpl>& shadow) {
  shadows_.emplace(fluent, shadow);
  all_shadows_.push_back(shadow);
  heads_.emplace(factory_.make_fluent_reference(fluent, {}), factory_.make_fluent_reference(shadow, {}));
  in_shadow_ = std::make_unique<ExpressionSubstituter>(env_, NodeMap{}, heads_, false);
}

void ShadowFluents::add_exclusive(const std::shared_ptr<FluentImpl>& fluent) { exclusive_.insert(fluent); }

bool ShadowFluents::is_exclusive(Node* reference) const {
  return exclusive_.contains(factory_.get_fluent_from_reference(reference));
}

bool ShadowFluents::is_shadow(Node* reference) const {
  return std::ranges::find(all_shadows_, factory_.get_fluent_from_reference(reference)) != all_shadows_.end();
}

std::vector<Node*> ShadowFluents::sorted_references(Node* expression) const {
  std::vector<Node*> result;
  for (Node* reference : sorted_by_id(references_(expression)))
    if (has(factory_.get_fluent_from_reference(reference))) result.push_back(reference);
  return result;
}

NodeMap ShadowFluents::shadows_in(Node* expression) const {
  NodeMap result;
  for (Node* reference : sorted_references(expression))
    result.emplace(reference, factory_.make_fluent_reference(
                                  shadows_.at(factory_.get_fluent_from_reference(reference)),
                                  {reference->operands().begin(), reference->operands().end()}));
  return result;
}

Node* ShadowFluents::is_certain(Node* reference) const {
  return factory_.make_equals(reference, shadows_in(reference).at(reference));
}

std::vector<Node*> ShadowFluents::expand(Node* statement, bool is_initial) const {
  const bool is_timed = F::is_temporal_expression(statement);
  Node* const interval = is_timed ? statement->children[0] : nullptr;
  Node* const body = is_timed ? statement->children[1] : statement;
  if (sorted_references(body).empty()) return {statement};
  std::vector<Node*> bodies;
  if (is_timed && F::is_contains(interval))
    bodies = {factory_.make_and(expand_condition(env_, body, shadows_in(body)))};
  else
    bodies = expand_body(body, is_initial);
  if (is_timed)
    for (Node*& part : bodies) part = factory_.make_temporal_expression(interval, part);
  return bodies;
}

std::vector<Node*> ShadowFluents::expand_body(Node* body, bool is_initial) const {
  if (has_forall_(body) && has_assign_(body))
    throw UnsupportedProblemError("Cannot tell the values of a forall that assigns apart: ")
        << print_expression{body};
  std::vector<Node*> result;
  // why operand by operand: the readings of n conditions add up, those of their conjunction multiply.
  for (Node* operand : operands_of_conjunction(body)) {
    const std::vector<Node*> parts = is_effect(operand)
                                         ? expand_effect(operand, is_initial)
                                         : expand_condition(env_, operand, shadows_in(operand));
    result.insert(result.end(), parts.begin(), parts.end());
  }
  return result;
}

std::vector<Node*> ShadowFluents::expand_effect(Node* effect, bool is_initial) const {
  assert(is_effect(effect));
  Node* const target = effect->children[0];
  std::vector<Node*> result{effect};
  if (has(factory_.get_fluent_from_reference(target)))
    result.push_back(factory_.make_assign(in_shadow(target), in_shadow(effect->children[1])));
  if (!is_initial) require_certainty(effect, result);
  return result;
}

/// The value is one of two if nothing that is read is uncertain, or one thing only.
void ShadowFluents::require_certainty(Node* effect, std::vector<Node*>& conditions) const {
  Node* const target = effect->children[0];
  const std::vector<Node*> read = sorted_references(effect->children[1]);
  NodeSet certain;
  const auto demand = [&](Node* reference) {
    if (certain.insert(reference).second) conditions.push_back(is_certain(reference));
  };
  for (Node* argument : target->operands())
    for (Node* reference : sorted_references(argument)) demand(reference);
  for (Node* reference : read)
    for (Node* argument : reference->operands())
      for (Node* inner : sorted_references(argument)) demand(inner);
  if (!has(factory_.get_fluent_from_reference(target)) || is_exclusive(target))
    for (Node* reference : read) demand(reference);
  for (std::size_t i = 0; i < read.size(); ++i)
    for (std::size_t j = i + 1; j < read.size(); ++j)
      if (!certain.contains(read[i]) && !certain.contains(read[j]))
        conditions.push_back(factory_.make_or(is_certain(read[i]), is_certain(read[j])));
}

}  // namespace zorvel::model
