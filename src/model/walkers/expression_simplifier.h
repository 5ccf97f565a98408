#pragma once

#include <optional>
#include <vector>

#include "model/parameter.h"
#include "model/walkers/expression_identity.h"

namespace zorvel::model {

/// Folds constants and drops neutral operands. Integer division truncates: 7 / 2 is 3.0. A division by a
/// constant zero and the square root of a negative number are left as they stand. `x * 0` stays a product,
/// `not (not x)` stays as it is. A constant becomes its value, simplified in its turn; values that refer to
/// each other more than a thousand deep, or in a circle, raise InternalError.
class ExpressionSimplifier : public ExpressionIdentity {
 public:
  explicit ExpressionSimplifier(Environment& env) : ExpressionIdentity(env) {}

 protected:
  Node* walk_not(Node* node) const override;
  Node* walk_and(Node* node) const override;
  Node* walk_or(Node* node) const override;
  Node* walk_imply(Node* node) const override;
  Node* walk_iff(Node* node) const override;
  Node* walk_equals(Node* node) const override;
  Node* walk_lt(Node* node) const override;
  Node* walk_le(Node* node) const override;
  Node* walk_gt(Node* node) const override;
  Node* walk_ge(Node* node) const override;
  Node* walk_plus(Node* node) const override;
  Node* walk_times(Node* node) const override;
  Node* walk_minus(Node* node) const override;
  Node* walk_div(Node* node) const override;
  Node* walk_sqrt(Node* node) const override;
  Node* walk_fluent_reference(Node* node) const override;
  Node* walk_constant_reference(Node* node) const override;

  /// `value`, one that the table of `constant` holds, simplified.
  Node* simplify_value(const ConstantImpl& constant, Node* value) const;

 private:
  mutable int constant_depth_ = 0;  // values of constants that are being simplified now
};

/// The square root of `value` in double precision, rounded to `decimals` places; none where the root is no
/// finite number (of a negative value, or of one beyond the range of double) or `decimals` is negative.
std::optional<rational> decimal_square_root(const rational& value, const integer& decimals);

/// The quotient that an expression `a / b` of two numeric constants has, as a rational constant; null if b is
/// 0.
Node* fold_division(ExpressionFactory& factory, Node* a, Node* b);

/// Whether a number among the arguments lies outside the type of its parameter.
bool has_argument_outside(const ExpressionFactory& factory, const ParameterVector& parameters,
                          std::span<Node* const> arguments);

/// Whether a simplified expression has a part without a value: a division by a constant zero, the square root
/// of a number that has none, or a fluent or constant at an argument outside its parameter's type.
bool is_undefined(const ExpressionFactory& factory, Node* simplified);

/// `value` in the form that a fluent of `type` holds: a rational constant with denominator 1 becomes the
/// integer constant where the type is integer, and an integer constant the rational one where it is rational,
/// since a quotient of integers is cut. Everything else is returned as it is.
Node* as_value_of(ExpressionFactory& factory, const TypeBase& type, Node* value);

/// The same for a parameter of `type`, save that an integer stays as it is: `f(1)` is the one reference,
/// whether its parameter is an integer or a rational.
Node* as_argument_of(ExpressionFactory& factory, const TypeBase& type, Node* value);

/// Makes `as_argument_of` of every argument for its parameter. The sizes must agree, otherwise nothing
/// happens.
void normalize_arguments(ExpressionFactory& factory, const ParameterVector& parameters,
                         std::vector<Node*>& arguments);

}  // namespace zorvel::model
