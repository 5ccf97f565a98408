#pragma once

#include <set>

#include "core/environment.h"
#include "core/node.h"

namespace zorvel::model {

using ExpressionSet = std::set<Node*, NodeIdLess>;

/// The expressions of a problem or an action, in order of their first creation.
class ExpressionScope : public virtual EnvObject {
 public:
  explicit ExpressionScope(Environment& env) : EnvObject(env) {}
  void add_expression(Node* expression) { expressions_.insert(expression); }
  const ExpressionSet& expressions() const { return expressions_; }

 protected:
  ExpressionSet expressions_;
};

}  // namespace zorvel::model
