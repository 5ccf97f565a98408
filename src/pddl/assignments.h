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
  Node* value = nullptr;      ///< Of a numeric effect.
  Node* condition = nullptr;  ///< At the time of the effect; null if there is none.
};

/// The reference to an object.
using InstanceOf = std::function<Node*(const Object&)>;

/// One assignment for each reference that the changes of an action at one moment write. What they do to one
/// atom together is `p := a or (p and not d)`, where `a` and `d` are the conditions under which it is added
/// and deleted: an add wins over a delete. Increases of one function are summed. A number that changes only
/// under a condition is one of `choices`.
///
/// Two references whose parameters stand for the same objects are written twice; such an action can never be
/// taken. Where a quantifier has written out the objects, the reference with a parameter is written out as
/// well.
///
/// Changes of a function that do not go together, such as two assignments, are errors.
std::vector<Node*> join_changes(model::ExpressionFactory& factory, Choices& choices,
                                const InstanceOf& instance, const std::vector<ModelChange>& changes,
                                Messages& messages);

}  // namespace zorvel::pddl
