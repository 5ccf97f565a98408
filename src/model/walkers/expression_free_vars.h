#pragma once

#include <unordered_set>

#include "model/walkers/expression_walker.h"

namespace zorvel::model {

/// Hashed by id, so that the order of a set depends on nothing but the nodes and how it was filled.
using NodeSet = std::unordered_set<Node*, NodeIdHash>;

/// The fluent references of an expression. Iterate the result by node id where the order can be seen.
class ExpressionFreeVars : public ExpressionWalker<NodeSet> {
 public:
  explicit ExpressionFreeVars(Environment& env) : ExpressionWalker(env) {}

 protected:
#define ZORVEL_WALK_RESULT NodeSet
  ZORVEL_FOR_EACH_WALK(ZORVEL_OVERRIDE_WALK)
#undef ZORVEL_WALK_RESULT
  NodeSet union_of_children(const Node* node) const;
};

/// The applications of fluents and of constants with arguments.
class ExpressionFunApply : public ExpressionFreeVars {
 public:
  explicit ExpressionFunApply(Environment& env) : ExpressionFreeVars(env) {}

 protected:
  NodeSet walk_constant_reference(Node* node) const override;
};

/// The members of a set of nodes by id.
std::vector<Node*> sorted_by_id(const NodeSet& nodes);

}  // namespace zorvel::model
