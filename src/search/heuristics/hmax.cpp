#include "search/heuristics/hmax.h"

#include <algorithm>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "state/operations.h"

namespace zorvel {

using F = model::ExpressionFactory;

namespace {

bool can_be_true(const AllValuesEvaluator& evaluator, Node* condition) {
  const model::NodeSet& values = evaluator(condition);
  return values.size() > 1 || std::any_of(values.begin(), values.end(), [](const Node* value) {
           return F::is_kind(value, NodeKind::TRUE);
         });
}

std::size_t number_of_values(const HMax::Assignments& assignments) {
  std::size_t sum = 0;
  for (const auto& [reference, values] : assignments) sum += values.size();
  return sum;
}

}  // namespace

HMax::HMax(Environment& env, const StateIndex& index, std::vector<Node*> goals,
           std::vector<ClassicalAction> classical_actions, const ProgressFluents& progress)
    : Heuristic(env),
      index_(index),
      goals_(std::move(goals)),
      classical_actions_(std::move(classical_actions)),
      progress_(progress) {}

HMax::Assignments HMax::initial_assignments(const SearchState& state) const {
  F& factory = env().expression_factory();
  Assignments assignments;
  for (const auto& [reference, slot] : index_)
    if (state.value(slot) != nullptr) assignments[reference].insert(state.value(slot));
  for (const auto& [action, ring] : progress_)
    for (const auto& [k, reference] : ring)
      assignments[reference].insert(factory.make_boolean_constant(k == 1));
  if (progress_.empty()) return assignments;
  for (const auto& [action, pending] : temporal(state).todo_sizes()) {
    const auto ring = progress_.find(action);
    if (ring == progress_.end()) throw InternalError();
    const auto reference = ring->second.find(ring->second.size() + 1 - pending);
    if (reference == ring->second.end()) throw InternalError();
    assignments[reference->second].insert(factory.make_boolean_constant(true));
  }
  return assignments;
}

/// What an effect can write while its arguments may have the values of the evaluator.
std::vector<Node*> HMax::references_written(const AllValuesEvaluator& evaluator, const Effect& effect) const {
  F& factory = env().expression_factory();
  std::vector<Node*> references;
  std::vector<std::vector<Node*>> choices;
  for (std::size_t i = 0; i < effect.parameters.size(); ++i) {
    model::NodeSet choice = evaluator(effect.parameters[i]);
    if (choice.contains(AllValuesEvaluator::any_value(factory))) {
      for (const auto& [reference, slot] : index_)
        if (factory.get_fluent_from_reference(reference) == effect.fluent) references.push_back(reference);
      return references;
    }
    prune_impossible_values(factory, choice, *effect.fluent->parameters()[i]->type());
    choices.push_back(model::sorted_by_id(choice));
  }
  for (const std::vector<Node*>& arguments : cartesian_product(choices))
    references.push_back(factory.make_fluent_reference(effect.fluent, arguments));
  return references;
}

double HMax::operator()(const SearchState& state) {
  if (goals_.empty()) return 0.0;
  F& factory = env().expression_factory();
  Assignments reached = initial_assignments(state);
  if (state.assignments().empty()) return dead_end;
  std::size_t size = number_of_values(reached);
  for (double depth = 0.0;; depth += 1.0) {
    const AllValuesEvaluator evaluator(env(), reached, value_limit);
    if (std::all_of(goals_.begin(), goals_.end(), [&](Node* goal) { return can_be_true(evaluator, goal); }))
      return depth;
    Assignments next;
    for (const ClassicalAction& action : classical_actions_) {
      if (!can_be_true(evaluator, action.condition())) continue;
      for (const auto& [reference, effect] : action.effects()) {
        model::NodeSet values = evaluator(effect->value);
        take_form_of(factory, values, *effect->fluent->type());
        for (Node* written : references_written(evaluator, *effect))
          next[written].insert(values.begin(), values.end());
      }
      for (const auto& simulated : action.simulated_effects()) {
        for (Node* reference : simulated->fluents) {
          if (!std::all_of(reference->operands().begin(), reference->operands().end(), F::is_value)) {
            // Where it writes is not known before the search, nor what.
            for (const auto& [ground, values] : reached)
              if (factory.get_fluent_from_reference(ground) == factory.get_fluent_from_reference(reference))
                next[ground].insert(AllValuesEvaluator::any_value(factory));
            continue;
          }
          if (!factory.get_fluent_from_reference(reference)->type()->is_finite_domain())
            next[reference].insert(AllValuesEvaluator::any_value(factory));
          for (Node* added : action.predicates_added(true)) {
            if (added == reference)
              next[reference].insert(factory.make_boolean_constant(true));
            else if (F::is_not(added) && added->children[0] == reference)
              next[reference].insert(factory.make_boolean_constant(false));
            else if (F::is_equals(added) && added->children[0] == reference)
              next[reference].insert(added->children[1]);
          }
        }
      }
    }
    for (const auto& [reference, values] : next) {
      model::NodeSet& known = reached[reference];
      known.insert(values.begin(), values.end());
      if (known.size() > value_limit) known = {AllValuesEvaluator::any_value(factory)};
    }
    const std::size_t grown = number_of_values(reached);
    if (grown == size) return dead_end;
    size = grown;
  }
}

}  // namespace zorvel
