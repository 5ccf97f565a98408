#pragma once

#include <functional>
#include <string>
#include <vector>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "pddl/choices.h"

namespace zorvel::pddl {

/// Hidden fluents that remember what a plan has gone through, for the constraints and effects that depend on
/// it. The events that may change the conditions of such a thing set its fluent as well.
///
/// All conditions are ground.
class Monitors {
 public:
  /// `make_fluent` gives a new boolean fluent without parameters.
  Monitors(model::ExpressionFactory& factory, Choices& choices,
           std::function<std::shared_ptr<model::FluentImpl>()> make_fluent)
      : factory_(factory), choices_(choices), make_fluent_(std::move(make_fluent)) {}

  // Each adds what the constraint says of the whole plan to `statements`. `at_start` is what a condition is
  // in the initial state.
  void at_most_once(Node* condition, std::vector<Node*>& statements);
  void sometime_after(Node* condition, Node* later, bool condition_at_start, bool later_at_start,
                      std::vector<Node*>& statements);
  void sometime_before(Node* condition, Node* earlier, std::vector<Node*>& statements);

  /// `memory` stays true as long as the condition does. Whoever begins something sets it.
  void throughout(Node* memory, Node* condition);

  /// What an event that makes these assignments adds to them. `begun` are the references, with parameters,
  /// to memories of `throughout` that it sets: it leaves those to their setter.
  std::vector<Node*> updates(const std::vector<Node*>& assignments,
                             const std::vector<Node*>& begun = {}) const;

 private:
  enum class Kind { at_most_once, sometime_after, sometime_before, throughout };
  struct Monitor {
    Kind kind;
    Node* memory;  // the reference to the hidden fluent
    Node* condition;
    Node* other;
  };

  Node* add_memory(bool at_start, std::vector<Node*>& statements);
  Node* next_value(const Monitor& monitor, Node* condition_after, Node* other_after) const;
  Node* old_memory(const Monitor& monitor, const std::vector<Node*>& begun) const;
  Node* both(Node* a, Node* b) const { return factory_.make_and(a, b); }

  model::ExpressionFactory& factory_;
  Choices& choices_;
  std::function<std::shared_ptr<model::FluentImpl>()> make_fluent_;
  std::vector<Monitor> monitors_;
};

/// What a ground condition is after the assignments, as a condition on the state before them; the condition
/// itself if they cannot change it.
Node* condition_after(model::ExpressionFactory& factory, Choices& choices, Node* condition,
                      const std::vector<Node*>& assignments);

}  // namespace zorvel::pddl
