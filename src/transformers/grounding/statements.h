#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "core/node.h"
#include "model/expression_factory.h"

// How the grounder reads the statements of an action.

namespace zorvel::model {

/// What an effect writes, and when.
struct EffectTarget {
  Node* anchor;
  Node* reference;
};

/// The target of `[anchor] f(...) := v` or of a bare `f(...) := v`, which stands at the start; none for
/// another statement and for an assignment to the duration. InternalError "Found an effect over a
/// non-punctual interval" or "Found an unknown effect kind: " and the statement.
std::optional<EffectTarget> effect_target(ExpressionFactory& factory, Node* statement);

/// The applications of fluents to arguments that decide whether a statement makes sense at all: those in what
/// an effect writes, and those in a conjunct of a condition, since a conjunct with an application outside the
/// fluent's domain can never hold. What stands in a disjunction or an implication is left out. Operators for
/// which `enter` is false are not looked into.
std::vector<Node*> decisive_applications(Node* statement, const std::function<bool(const Node*)>& enter);

/// Whether a numeric constant among the arguments lies outside the type of its parameter.
bool is_outside_domain(const ExpressionFactory& factory, const Node* application);

}  // namespace zorvel::model
