#pragma once

#include <vector>

#include "model/walkers/expression_walker.h"

namespace zorvel::model {

/// Rebuilds an expression from the results of its children; the base of everything that rewrites.
class ExpressionIdentity : public ExpressionWalker<Node*> {
 public:
  explicit ExpressionIdentity(Environment& env) : ExpressionWalker(env) {}

 protected:
#define ZORVEL_WALK_RESULT Node*
  ZORVEL_FOR_EACH_WALK(ZORVEL_OVERRIDE_WALK)
#undef ZORVEL_WALK_RESULT

  /// The results of the node's children, in order.
  std::vector<Node*> memoized_children(const Node* node) const;
  ExpressionFactory& factory() const { return env().expression_factory(); }
};

}  // namespace zorvel::model
