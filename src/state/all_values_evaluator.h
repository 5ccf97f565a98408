#pragma once

#include <optional>
#include <unordered_map>
#include <vector>

#include "model/parameter.h"
#include "model/walkers/expression_free_vars.h"

namespace zorvel {

/// The values that an expression can take when each fluent reference has any one of a set of values.
///
/// An over-approximation: two occurrences of one reference vary independently. The member `any_value()` in a
/// set stands for every value of the type; a reference with too many values is given this one, so that
/// counters that grow come to an end: arithmetic on it gives it again, a condition on it may be true and
/// false. Pairs without a value (a division by zero, the root of a negative number) contribute nothing.
///
/// Errors: InvalidParameterError "Missing value for fluent: " and the name, "Missing value for fluent
/// function: " and the reference, "Unknown value for constant: " and the name, or "Trying to evaluate ..."
/// for expressions that have no value.
class AllValuesEvaluator : public model::ExpressionWalker<model::NodeSet> {
 public:
  using Values = std::unordered_map<Node*, model::NodeSet>;

  /// `values` is referred to; clear the memo when it changes. An operation of arithmetic with more than
  /// `max_values` results gives `any_value()` instead.
  AllValuesEvaluator(Environment& env, const Values& values, std::size_t max_values = 10000);

  /// The node that stands for every value.
  static Node* any_value(model::ExpressionFactory& factory);

 protected:
#define ZORVEL_WALK_RESULT model::NodeSet
  ZORVEL_FOR_EACH_WALK(ZORVEL_OVERRIDE_WALK)
#undef ZORVEL_WALK_RESULT

 private:
  model::ExpressionFactory& factory() const { return env().expression_factory(); }
  const model::NodeSet& values_of_child(const Node* node, std::size_t child) const;
  bool can_be(Node* child, bool value) const;
  /// All combinations of values of the arguments that lie in the types of the parameters; none if an argument
  /// may have any value.
  std::optional<std::vector<std::vector<Node*>>> possible_arguments(
      const Node* node, const model::ParameterVector& parameters) const;

  const Values& values_;
  std::size_t max_values_;
};

}  // namespace zorvel
