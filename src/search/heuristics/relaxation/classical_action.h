#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

#include "model/action.h"
#include "model/problem_instance.h"
#include "model/walkers/expression_free_vars.h"
#include "state/effect.h"

namespace zorvel {

/// The atemporal projection of a ground action: one condition, and one effect for each fluent reference.
///
/// A predicate is a node: a boolean fluent reference, its negation, an equality of a fluent reference and an
/// instance, or any other condition.
class ClassicalAction {
 public:
  using Effects = std::map<Node*, std::shared_ptr<Effect>, NodeIdLess>;

  /// InternalError on an action with parameters; UnsupportedProblemError on a timed statement that reads the
  /// duration, on several effects on one fluent that are not one at the start and one at the end (the one at
  /// the end counts), and on a fluent with both a plain and a simulated effect.
  ClassicalAction(model::ProblemPtr problem, std::shared_ptr<model::ActionImpl> action);

  const std::shared_ptr<model::ActionImpl>& action() const { return action_; }
  double cost() const { return 1.0; }
  Node* condition() const { return condition_; }  ///< The conjunction of the conditions; true without any.
  /// The condition in disjunctive normal form; empty without conditions.
  const std::vector<model::NodeSet>& dnf_condition() const { return dnf_condition_; }
  const std::vector<Node*>& conditions() const { return conditions_; }
  /// The leaves of the conditions under their ANDs and ORs.
  const std::vector<Node*>& predicates_conditions() const { return predicates_conditions_; }
  const Effects& effects() const { return effects_; }
  const model::ActionImpl::SimulatedEffects& simulated_effects() const {
    return action_->simulated_effects();
  }
  /// The predicates that the action may make true, in a fixed order. Effects on numeric fluents add nothing
  /// unless `all` is set.
  const std::vector<Node*>& predicates_added(bool all) const;
  /// The fluents that it writes, simulated effects included.
  std::unordered_set<const model::FluentImpl*> written_fluents() const;

 private:
  Environment& env() const { return problem_->env(); }
  void add_effect(Node* expression, const std::shared_ptr<Effect>& effect);
  void add_condition(Node* condition);
  void add_predicates_of(Node* reference, Node* value, bool all, std::vector<Node*>& added) const;

  model::ProblemPtr problem_;
  std::shared_ptr<model::ActionImpl> action_;
  Node* condition_ = nullptr;
  std::vector<model::NodeSet> dnf_condition_;
  std::vector<Node*> conditions_;
  std::vector<Node*> predicates_conditions_;
  Effects effects_;
  mutable std::array<std::optional<std::vector<Node*>>, 2> predicates_added_;  // by `all`
};

/// A goal or condition as the abstractions want it: negations in front of atoms, constants folded, so that
/// `x == true` is the literal `x`.
Node* normalized_condition(Environment& env, Node* condition);

}  // namespace zorvel
