#pragma once

#include "model/walkers/expression_walker.h"

namespace zorvel::model {

/// Whether a node of the given kind occurs in an expression.
class CheckContainsWalker : public ExpressionWalker<bool> {
 public:
  CheckContainsWalker(Environment& env, NodeKind kind) : ExpressionWalker(env), kind_(kind) {}

 protected:
#define ZORVEL_WALK_RESULT bool
  ZORVEL_FOR_EACH_WALK(ZORVEL_OVERRIDE_WALK)
#undef ZORVEL_WALK_RESULT

 private:
  bool occurs(const Node* node) const;
  NodeKind kind_;
};

}  // namespace zorvel::model
