#include "transformers/static_fluents.h"

#include <algorithm>
#include <cassert>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_simplifier.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

bool has_value_arguments(const Node* reference) {
  return std::all_of(reference->operands().begin(), reference->operands().end(), F::is_value);
}

/// The assignment that gives a fluent its value at the start; null for any other statement of a problem.
Node* initial_assignment(F& factory, Node* statement) {
  Node* assignment = statement;
  if (F::is_temporal_expression(statement)) {
    Node* const interval = statement->children[0];
    if (!factory.is_point_interval(interval) ||
        read_timing(factory, interval->children[0]) != Timing{true, 0})
      return nullptr;
    assignment = statement->children[1];
  }
  const bool assigns_fluent = F::is_assign(assignment) && F::is_fluent_reference(assignment->children[0]);
  return assigns_fluent ? assignment : nullptr;
}

}  // namespace

Node* StaticFluents::operator()(Node* expression) const {
  if (const auto known = results_.find(expression); known != results_.end()) return known->second;
  Environment& env = problem_->env();
  const ExpressionSimplifier simplify(env);
  // why simplified first: an argument behind a constant must stand as a value to be found.
  Node* result = simplify(expression);
  if (CheckContainsWalker(env, NodeKind::FLUENT_REFERENCE)(expression))
    result = simplify(ExpressionSubstituter(env, tables().static_values, {}, false)(result));
  results_.emplace(expression, result);
  return result;
}

Node* StaticFluents::value(Node* reference) const {
  const auto found = tables().static_values.find(reference);
  return found == tables().static_values.end() ? nullptr : found->second;
}

const StaticFluents::Tables& StaticFluents::tables() const {
  if (tables_ != nullptr) return *tables_;
  auto tables = std::make_unique<Tables>();
  F& factory = problem_->env().expression_factory();
  for (const auto& [name, action] : problem_->actions()) {
    for (Node* expression : action->expressions()) collect_writes(expression, *tables);
    for (const auto& effect : action->simulated_effects())
      for (Node* fluent : effect->fluents) note_write(fluent, *tables);
  }
  for (Node* statement : problem_->expressions())
    if (initial_assignment(factory, statement) == nullptr) collect_writes(statement, *tables);
  tables->seen.clear();
  collect_initial_values(*tables);
  for (const auto& [reference, value] : tables->initial_values)
    if (value != nullptr && !is_written(reference, *tables)) tables->static_values.emplace(reference, value);
  tables_ = std::move(tables);
  return *tables_;
}

void StaticFluents::collect_writes(Node* expression, Tables& tables) const {
  // A node writes the same wherever it stands, and ground actions have most of theirs in common.
  std::unordered_set<Node*>& seen = tables.seen;
  if (!seen.insert(expression).second) return;
  std::vector<Node*> open{expression};
  while (!open.empty()) {
    Node* const node = open.back();
    open.pop_back();
    if ((F::is_assign(node) || F::is_increase(node) || F::is_decrease(node)) &&
        F::is_fluent_reference(node->children[0]))
      note_write(node->children[0], tables);
    for (Node* child : node->operands())
      if (seen.insert(child).second) open.push_back(child);
  }
}

void StaticFluents::note_write(Node* reference, Tables& tables) const {
  Node* const simplified = ExpressionSimplifier(problem_->env())(reference);
  if (has_value_arguments(simplified)) {
    tables.written.insert(simplified);
    return;
  }
  F& factory = problem_->env().expression_factory();
  tables.patterns[factory.get_fluent_from_reference(simplified).get()].push_back(simplified);
}

void StaticFluents::collect_initial_values(Tables& tables) const {
  F& factory = problem_->env().expression_factory();
  const ExpressionSimplifier simplify(problem_->env());
  for (Node* statement : problem_->expressions()) {
    Node* const assignment = initial_assignment(factory, statement);
    if (assignment == nullptr) continue;
    Node* const reference = simplify(assignment->children[0]);
    Node* value = simplify(assignment->children[1]);
    // why a copy of the reading: a value may be given in terms of fluents that have got theirs before.
    if (!F::is_value(value))
      value = simplify(ExpressionSubstituter(problem_->env(), tables.initial_values, {}, false)(value));
    if (!has_value_arguments(reference) || !F::is_value(value)) {
      note_write(reference, tables);
      continue;
    }
    value = as_value_of(factory, *factory.get_fluent_from_reference(reference)->type(), value);
    const auto [entry, is_new] = tables.initial_values.emplace(reference, value);
    if (!is_new && entry->second != value) tables.written.insert(reference);
  }
}

bool StaticFluents::is_written(Node* reference, const Tables& tables) const {
  assert(has_value_arguments(reference));
  if (tables.written.contains(reference)) return true;
  F& factory = problem_->env().expression_factory();
  const auto patterns = tables.patterns.find(factory.get_fluent_from_reference(reference).get());
  if (patterns == tables.patterns.end()) return false;
  return std::any_of(patterns->second.begin(), patterns->second.end(), [&](const Node* pattern) {
    assert(pattern->arity == reference->arity);
    for (std::size_t place = 0; place < reference->arity; ++place)
      if (F::is_value(pattern->children[place]) && pattern->children[place] != reference->children[place])
        return false;
    return true;
  });
}

}  // namespace zorvel::model
