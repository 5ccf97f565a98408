#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"

namespace zorvel {

/// An assignment to a fluent, taken apart.
struct Effect {
  Node* anchor;  ///< When it happens; the start anchor if the expression does not say.
  std::shared_ptr<model::FluentImpl> fluent;
  Node* value;                                ///< The assigned expression.
  std::shared_ptr<model::ActionImpl> action;  ///< May be null.
  std::vector<Node*> parameters;              ///< The arguments of the fluent.
  std::string name = {};
};

/// The effect that `expression` (an assignment, or a temporal expression around one) stands for; null if it
/// is no assignment or assigns the duration. InternalError "Found an effect over a non-punctual interval" for
/// an effect that is not at a point, "Found an unknown effect kind: " and the expression where the left side
/// is no fluent.
std::unique_ptr<Effect> get_effect(model::ExpressionFactory& factory, Node* expression,
                                   const std::shared_ptr<model::ActionImpl>& action);

}  // namespace zorvel
