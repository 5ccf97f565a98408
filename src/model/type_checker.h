#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/parameter.h"
#include "model/types.h"
#include "model/walkers/expression_walker.h"

namespace zorvel::model {

/// The type of an expression, with bounds by interval arithmetic; raises TypeCheckingError (with the printed
/// expression) on an ill-typed one. The environment holds one checker, whose memo lasts as long as its nodes.
class ExpressionTypeChecker : public ExpressionWalker<TypePtr> {
 public:
  class IntervalType;
  class VoidType;

  explicit ExpressionTypeChecker(Environment& env);

  /// Whether a value of type `b` may go where `a` is declared (an assignment, an argument), or, with
  /// `is_equality`, be compared with it. Bounds that may not fit warn; bounds that cannot fit are refused,
  /// save in an equality, which warns.
  bool compatible_operands(const TypePtr& a, const TypePtr& b, bool is_equality) const;

 protected:
#define ZORVEL_WALK_RESULT TypePtr
  ZORVEL_FOR_EACH_WALK(ZORVEL_OVERRIDE_WALK)
#undef ZORVEL_WALK_RESULT

 private:
  const TypePtr& type_of_child(const Node* node, std::size_t index) const;
  std::vector<TypePtr> types_of_children(const Node* node) const;
  TypePtr boolean_type() const;
  // Each refuses the node with the given text where its operands do not fit.
  TypePtr boolean_of_booleans(Node* node, const char* message) const;
  TypePtr boolean_of_numbers(Node* node, const char* message) const;
  void check_pair(Node* node, bool is_equality, const char* message) const;
  void check_sets(Node* node) const;
  TypePtr type_of_set_operation(Node* node) const;
  /// `noun` is "fluent" or "constant".
  void check_arguments(Node* node, const ParameterVector& parameters, const std::string& noun) const;

  TypePtr interval_type_;
  TypePtr void_type_;
};

}  // namespace zorvel::model
