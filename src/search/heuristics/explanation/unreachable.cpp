#include "search/heuristics/explanation/unreachable.h"

#include <algorithm>

#include "model/expression_factory.h"
#include "model/walkers/expression_parts.h"
#include "search/heuristics/heuristic.h"

namespace zorvel {

using F = model::ExpressionFactory;

Unreachable::Unreachable(const RelaxedProblem& problem)
    : problem_(problem),
      // A goal that is never met makes the analysis go on until nothing is new.
      reachability_(problem.extended_tables(),
                    {problem.env().expression_factory().make_boolean_constant(false)}, problem.actions()) {
  is_known_ = reachability_.layers(problem.extended_initial().data()) == dead_end &&
              !problem.extended_initial().empty();
  if (!is_known_) return;
  for (Node* goal : problem.goals())
    for (Node* conjunct : model::conjuncts_of(goal))
      if (!is_progress(conjunct) && !can_be_true(conjunct)) goals_.push_back(conjunct);
  find_dead_actions();
}

/// Whether the condition speaks of how far an action is, which follows from its other conditions.
bool Unreachable::is_progress(Node* condition) const {
  const F& factory = problem_.env().expression_factory();
  return model::any_part(condition, [&](const Node* node) {
    return F::is_fluent_reference(node) &&
           problem_.rings().is_progress(factory.get_fluent_from_reference(node).get());
  });
}

bool Unreachable::can_be_true(Node* condition) const {
  if (!is_known_) return true;
  SetExpression expression(problem_.extended_tables(), condition);
  if (!expression.is_compiled()) return true;
  return expression.can_be_true(reachability_.reached()).value_or(true);
}

bool Unreachable::can_be_false(Node* condition) const {
  return can_be_true(problem_.env().expression_factory().make_not(condition));
}

void Unreachable::find_dead_actions() {
  std::vector<Node*> missing(problem_.source_count(), nullptr);
  // The pieces of one action stand in their order.
  for (std::size_t piece = 0; piece < problem_.actions().size(); ++piece) {
    const std::uint32_t source = problem_.sources()[piece];
    if (source == RelaxedProblem::no_source || missing[source] != nullptr) continue;
    for (Node* condition : model::conjuncts_of(problem_.actions()[piece].condition()))
      if (!is_progress(condition) && !can_be_true(condition)) {
        missing[source] = condition;
        break;
      }
  }
  for (std::uint32_t action = 0; action < missing.size(); ++action)
    if (missing[action] != nullptr) dead_actions_.push_back({action, missing[action]});
}

/// The first action that would make the literal true.
const Unreachable::DeadAction* Unreachable::dead_action_for(Node* condition) const {
  F& factory = problem_.env().expression_factory();
  Node* target = condition;
  Node* value = factory.make_boolean_constant(true);
  if (F::is_not(target)) {
    target = target->children[0];
    value = factory.make_boolean_constant(false);
  } else if (F::is_equals(target)) {
    const bool is_turned = F::is_fluent_reference(target->children[1]);
    value = target->children[is_turned ? 0 : 1];
    target = target->children[is_turned ? 1 : 0];
  }
  for (std::size_t piece = 0; piece < problem_.actions().size(); ++piece) {
    const auto& effects = problem_.actions()[piece].effects();
    const auto effect = effects.find(target);
    if (effect == effects.end() || effect->second->value != value) continue;
    const auto dead =
        std::ranges::lower_bound(dead_actions_, problem_.sources()[piece], {}, &DeadAction::action);
    if (dead != dead_actions_.end() && dead->action == problem_.sources()[piece]) return &*dead;
  }
  return nullptr;
}

std::vector<Unreachable::Link> Unreachable::chain_to(Node* goal) const {
  std::vector<Link> chain;
  Node* condition = goal;
  while (std::ranges::find(chain, condition, &Link::condition) == chain.end()) {
    const DeadAction* const action = dead_action_for(condition);
    chain.push_back({condition, action == nullptr ? std::nullopt : std::optional(action->action)});
    if (action == nullptr) break;
    condition = action->missing;
  }
  return chain;
}

}  // namespace zorvel
