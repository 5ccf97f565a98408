#include "search/heuristics/hmax.h"

#include <algorithm>

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

HMax::HMax(std::shared_ptr<const RelaxedProblem> problem)
    : Heuristic(problem->env()),
      problem_(std::move(problem)),
      reachability_(problem_->extended_tables(), problem_->goals(), problem_->actions()),
      values_(problem_->extended_initial()) {}

void HMax::read(const StateView& state) {
  std::copy_n(state.values, problem_->initial().size(), values_.begin());
  open_.clear();
  for (const OpenChain& open : state.open)
    if (const auto at = problem_->rings().position(open))
      open_.emplace_back(static_cast<std::uint32_t>(problem_->ring_slot(*at)), true_value);
}

double HMax::estimate(const StateView& state) {
  if (problem_->goals().empty()) return 0.0;
  if (problem_->initial().empty()) return dead_end;
  read(state);
  const auto layers = reachability_.layers(values_.data(), open_);
  was_plain_ = !layers;
  return layers ? *layers : layers_by_expressions();
}

double HMax::estimate_plainly(const StateView& state) {
  read(state);
  return layers_by_expressions();
}

/// What an effect can write while its arguments may have the values of the evaluator.
std::vector<Node*> HMax::references_written(const AllValuesEvaluator& evaluator, const Effect& effect) const {
  F& factory = env().expression_factory();
  std::vector<Node*> references;
  std::vector<std::vector<Node*>> choices;
  for (std::size_t i = 0; i < effect.parameters.size(); ++i) {
    model::NodeSet choice = evaluator(effect.parameters[i]);
    if (choice.contains(AllValuesEvaluator::any_value(factory))) {
      for (const auto& [reference, slot] : problem_->tables().layout.index())
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

double HMax::layers_by_expressions() const {
  if (problem_->goals().empty()) return 0.0;
  if (problem_->initial().empty()) return dead_end;
  F& factory = env().expression_factory();
  const EvaluationTables& tables = problem_->extended_tables();
  Assignments reached;
  for (std::size_t slot = 0; slot < values_.size(); ++slot)
    if (values_[slot] != unset_value)
      reached[tables.layout.reference(slot)].insert(tables.values.node_of(values_[slot]));
  for (const auto& [slot, value] : open_)
    reached[tables.layout.reference(slot)].insert(tables.values.node_of(value));
  const std::vector<Node*>& goals = problem_->goals();
  std::size_t size = number_of_values(reached);
  for (double depth = 0.0;; depth += 1.0) {
    const AllValuesEvaluator evaluator(env(), reached, ValueReachability::value_limit);
    if (std::all_of(goals.begin(), goals.end(), [&](Node* goal) { return can_be_true(evaluator, goal); }))
      return depth;
    Assignments next;
    for (const ClassicalAction& action : problem_->actions()) {
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
      if (known.size() > ValueReachability::value_limit) known = {AllValuesEvaluator::any_value(factory)};
    }
    const std::size_t grown = number_of_values(reached);
    if (grown == size) return dead_end;
    size = grown;
  }
}

}  // namespace zorvel
