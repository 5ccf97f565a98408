#pragma once

#include <functional>
#include <vector>

#include "model/expression_factory.h"
#include "pddl/choices.h"
#include "pddl/effects.h"

namespace zorvel::pddl {

/// A change whose parts are expressions of the model.
struct ModelChange {
  const Change* change = nullptr;
  Node* target = nullptr;     ///< A reference to a fluent.
  Node* value = nullptr;      ///< Of a numeric effect, or the formula.
  Node* condition = nullptr;  ///< At the time of the effect; null if there is none.
};

/// The reference to an object.
using InstanceOf = std::function<Node*(const Object&)>;

/// What the changes of an action at one moment become.
struct JoinedChanges {
  std::vector<Node*> assignments;
  std::vector<Node*> conditions;  ///< On the action's parameters.
};

/// One assignment for each reference that the changes of an action at one moment write. What they do to one
/// atom together is `p := a or (p and not d)`, where `a` and `d` are the conditions under which it is added
/// and deleted: an add wins over a delete. Increases of one function are summed. A number that changes only
/// under a condition is one of `choices`.
///
/// Two references with parameters may be one, where these stand for the same objects. Then each is given what
/// all their changes do together, so both are given the same. Where a quantifier has written out the objects,
/// the reference with a parameter is written out as well.
///
/// Where a change gives a predicate a formula, all changes of that predicate stand as they are written.
///
/// Changes of a function that do not go together, such as two assignments, are errors; where they meet only
/// if parameters stand for the same objects, a condition says that these do not.
JoinedChanges join_changes(model::ExpressionFactory& factory, Choices& choices, const InstanceOf& instance,
                           const std::vector<ModelChange>& changes, Messages& messages);

}  // namespace zorvel::pddl
