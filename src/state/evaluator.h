#pragma once

#include "model/walkers/expression_simplifier.h"
#include "state/search_state.h"

namespace zorvel {

/// Base of the evaluators: simplification with values in place of references.
///
/// Nothing is kept from one call to the next, so what stands behind the references may change in between; the
/// reference that a call returns is valid until the next one. A division by zero, the square root of a
/// negative number, or a fluent or constant at an argument outside its parameter's type has no value: an
/// expression that depends on it does not reduce to a constant, and `model::is_undefined` of the result tells
/// so. Connectives follow Kleene's tables: `false and x` is false whatever x is.
class ReferenceEvaluator : public model::ExpressionSimplifier {
 public:
  explicit ReferenceEvaluator(Environment& env) : ExpressionSimplifier(env) {}
  Node* const& operator()(Node* root) const override;

 protected:
  Node* walk_equals(Node* node) const override;
  Node* walk_fluent_reference(Node* node) const override;
  Node* walk_constant_reference(Node* node) const override;
  Node* walk_parameter_reference(Node* node) const override = 0;

  /// The value of a ground reference.
  virtual Node* value_of(Node* reference) const = 0;
  /// Whether values can be asked for at these arguments.
  virtual bool accepts(const model::ParameterVector& parameters,
                       const std::vector<Node*>& arguments) const = 0;

 private:
  mutable int calls_ = 0;  // that are running now, one inside the other
};

/// Reduces expressions to their value in a state.
///
/// Errors: those of `SearchState::value`; InvalidParameterError "Found uninitialized constant in the model: "
/// and the reference for a constant without a value; InternalError "Found a parameter reference while FTP
/// planning!" and "Found an unresolved symbol while planning!".
class ExpressionEvaluator : public ReferenceEvaluator {
 public:
  /// Both are referred to and must outlive the evaluator.
  ExpressionEvaluator(Environment& env, const StateIndex& index, const SearchState& state)
      : ReferenceEvaluator(env), index_(index), state_(state) {}

 protected:
  Node* walk_parameter_reference(Node* node) const override;
  Node* walk_unresolved_symbol(Node* node) const override;
  Node* value_of(Node* reference) const override;
  bool accepts(const model::ParameterVector& parameters, const std::vector<Node*>& arguments) const override;

 private:
  const StateIndex& index_;
  const SearchState& state_;
};

}  // namespace zorvel
