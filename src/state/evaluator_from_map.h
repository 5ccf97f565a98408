#pragma once

#include <unordered_map>

#include "state/evaluator.h"

namespace zorvel {

/// Reduces expressions to their value under a map from ground fluent reference to value.
///
/// The same as ExpressionEvaluator, save that arguments are not compared with the types of parameters and
/// that parameters and unresolved symbols stay as they are. A reference that the map lacks raises
/// InvalidParameterError "Missing value for fluent: " and the reference.
class ExpressionEvaluatorFromMap : public ReferenceEvaluator {
 public:
  using Values = std::unordered_map<Node*, Node*>;

  /// The map is referred to and must outlive the evaluator; it may change between calls.
  ExpressionEvaluatorFromMap(Environment& env, const Values& values)
      : ReferenceEvaluator(env), values_(values) {}

 protected:
  Node* walk_parameter_reference(Node* node) const override { return node; }
  Node* value_of(Node* reference) const override;
  bool accepts(const model::ParameterVector&, const std::vector<Node*>&) const override { return true; }

 private:
  const Values& values_;
};

}  // namespace zorvel
