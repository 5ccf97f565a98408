#pragma once

#include <optional>
#include <vector>

#include "model/expression_factory.h"

namespace zorvel::pddl {

/// The equalities under which two references to one fluent are the same, none where they are; nothing if they
/// never are. The order of the two does not matter.
std::optional<std::vector<Node*>> unify(model::ExpressionFactory& factory, const Node* a, const Node* b);

}  // namespace zorvel::pddl
