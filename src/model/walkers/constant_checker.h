#pragma once

#include "model/walkers/expression_identity.h"

namespace zorvel::model {

/// Raises UndefinedConstantError "No value for constant " and the node for a constant reference whose
/// arguments are all constants or instances. Applied after simplification, it finds every constant without a
/// value.
class ConstantChecker : public ExpressionIdentity {
 public:
  explicit ConstantChecker(Environment& env) : ExpressionIdentity(env) {}

 protected:
  Node* walk_constant_reference(Node* node) const override;
};

}  // namespace zorvel::model
