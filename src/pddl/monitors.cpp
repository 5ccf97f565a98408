#include "pddl/monitors.h"

#include <unordered_map>

#include "model/walkers/expression_substituter.h"
#include "pddl/unification.h"

namespace zorvel::pddl {

namespace {

using F = model::ExpressionFactory;

/// The references to fluents in an expression, each once, in the order of a walk.
std::vector<Node*> references_in(Node* expression) {
  std::vector<Node*> references, open{expression};
  std::unordered_map<const Node*, bool> seen;
  while (!open.empty()) {
    Node* const node = open.back();
    open.pop_back();
    if (!seen.try_emplace(node, true).second) continue;
    if (F::is_fluent_reference(node)) references.push_back(node);
    for (Node* child : node->operands()) open.push_back(child);
  }
  return references;
}

}  // namespace

Node* condition_after(F& factory, Choices& choices, Node* condition, const std::vector<Node*>& assignments) {
  model::NodeMap replaced;
  for (Node* reference : references_in(condition)) {
    const auto fluent = factory.get_fluent_from_reference(reference);
    Node* value = reference;
    for (const Node* assignment : assignments) {
      Node* const target = assignment->children[0];
      if (factory.get_fluent_from_reference(target) != fluent) continue;
      const auto equalities = unify(factory, target, reference);
      if (!equalities) continue;
      Node* const assigned = assignment->children[1];
      if (equalities->empty()) {
        value = assigned;
      } else {
        Node* const is_same = equalities->size() == 1 ? equalities->front() : factory.make_and(*equalities);
        value = fluent->type()->is_boolean()
                    ? factory.make_or(factory.make_and(is_same, assigned),
                                      factory.make_and(factory.make_not(is_same), value))
                    : choices.if_else(is_same, assigned, value);
      }
    }
    if (value != reference) replaced.emplace(reference, value);
  }
  if (replaced.empty()) return condition;
  return model::ExpressionSubstituter(factory.env(), replaced, {}, false)(condition);
}

Node* Monitors::add_memory(bool at_start, std::vector<Node*>& statements) {
  Node* const memory = factory_.make_fluent_reference(make_fluent_(), {});
  statements.push_back(factory_.make_temporal_expression(
      factory_.make_point_interval(factory_.make_start_anchor()),
      factory_.make_assign(memory, factory_.make_boolean_constant(at_start))));
  return memory;
}

void Monitors::at_most_once(Node* condition, std::vector<Node*>& statements) {
  Node* const is_over = add_memory(false, statements);
  monitors_.push_back({Kind::at_most_once, is_over, condition, condition});
  statements.push_back(factory_.make_temporal_expression(
      factory_.make_closed_interval(factory_.make_start_anchor(), factory_.make_end_anchor()),
      factory_.make_not(both(is_over, condition))));
}

void Monitors::sometime_after(Node* condition, Node* later, bool condition_at_start, bool later_at_start,
                              std::vector<Node*>& statements) {
  Node* const is_pending = add_memory(condition_at_start && !later_at_start, statements);
  monitors_.push_back({Kind::sometime_after, is_pending, condition, later});
  statements.push_back(factory_.make_temporal_expression(
      factory_.make_point_interval(factory_.make_end_anchor()), factory_.make_not(is_pending)));
}

void Monitors::sometime_before(Node* condition, Node* earlier, std::vector<Node*>& statements) {
  Node* const was_seen = add_memory(false, statements);
  monitors_.push_back({Kind::sometime_before, was_seen, condition, earlier});
  statements.push_back(factory_.make_temporal_expression(
      factory_.make_closed_interval(factory_.make_start_anchor(), factory_.make_end_anchor()),
      factory_.make_or(factory_.make_not(condition), was_seen)));
}

void Monitors::throughout(Node* memory, Node* condition) {
  monitors_.push_back({Kind::throughout, memory, condition, condition});
}

/// The memory as it was before an event, or true where the event itself begins it.
Node* Monitors::old_memory(const Monitor& monitor, const std::vector<Node*>& begun) const {
  Node* result = monitor.memory;
  for (const Node* reference : begun) {
    if (factory_.get_fluent_from_reference(reference) != factory_.get_fluent_from_reference(monitor.memory))
      continue;
    const auto equalities = unify(factory_, reference, monitor.memory);
    if (!equalities) continue;
    if (equalities->empty()) return factory_.make_boolean_constant(true);
    Node* const is_same = equalities->size() == 1 ? equalities->front() : factory_.make_and(*equalities);
    result = factory_.make_or(is_same, result);
  }
  return result;
}

Node* Monitors::next_value(const Monitor& monitor, Node* condition_after_event,
                           Node* other_after_event) const {
  switch (monitor.kind) {
    // It was true before the event, and is no longer.
    case Kind::at_most_once:
      return factory_.make_or(monitor.memory,
                              both(monitor.condition, factory_.make_not(condition_after_event)));
    case Kind::sometime_after:
      return both(factory_.make_or(monitor.memory, condition_after_event),
                  factory_.make_not(other_after_event));
    // The state before the event counts, for the other condition has to be true strictly earlier.
    case Kind::sometime_before: return factory_.make_or(monitor.memory, monitor.other);
    case Kind::throughout: break;
  }
  return monitor.memory;
}

std::vector<Node*> Monitors::updates(const std::vector<Node*>& assignments,
                                     const std::vector<Node*>& begun) const {
  std::vector<Node*> result;
  for (const Monitor& monitor : monitors_) {
    Node* const condition = condition_after(factory_, choices_, monitor.condition, assignments);
    Node* const other = condition_after(factory_, choices_, monitor.other, assignments);
    if (condition == monitor.condition && other == monitor.other) continue;
    Node* const value = monitor.kind == Kind::throughout ? both(old_memory(monitor, begun), condition)
                                                         : next_value(monitor, condition, other);
    result.push_back(factory_.make_assign(monitor.memory, value));
  }
  return result;
}

}  // namespace zorvel::pddl
