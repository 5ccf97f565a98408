#pragma once

#include <vector>

#include "model/expression_factory.h"
#include "pddl/effects.h"

namespace zorvel::pddl {

/// A change whose parts are expressions of the model.
struct ModelChange {
  const Change* change = nullptr;
  Node* target = nullptr;     ///< A reference to a fluent.
  Node* value = nullptr;      ///< Of a numeric effect.
  Node* condition = nullptr;  ///< At the time of the effect; null if there is none.
};

/// One assignment for each reference that the changes of an action at one moment write. What they do to one
/// atom together is `p := a or (p and not d)`, where `a` and `d` are the conditions under which it is added
/// and deleted: an add wins over a delete. References that may or may not be the same, by what their
/// parameters stand for, get assignments that are equal where they are. Increases of one function are summed.
///
/// Changes of a function that do not go together, such as two assignments, are errors.
std::vector<Node*> join_changes(model::ExpressionFactory& factory, const std::vector<ModelChange>& changes,
                                Messages& messages);

}  // namespace zorvel::pddl
