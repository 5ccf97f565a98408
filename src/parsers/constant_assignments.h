#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/constant.h"
#include "parsers/name_substituter.h"

namespace zorvel {

/// One statement `c(arguments) := value` or `object.c(arguments) := value` at top level.
struct ConstantAssignment {
  std::shared_ptr<model::ConstantImpl> constant;  ///< As declared, without values.
  std::string instance;                           ///< Empty outside of an object.
  std::vector<Node*> arguments;                   ///< Without a `*` at the end.
  Node* value;
  Node* expression;  ///< The whole statement, its names bound.
  Node* raw;         ///< The same as it was read.
};

/// The assignment in a statement that speaks of the start: `a := b`, `[start] a := b` or `[0] a := b`; null
/// for any other statement.
Node* assignment_at_start(const model::ExpressionFactory& factory, Node* statement);

/// The constant assignment that `expression`, with its names bound, is; nothing if it is none. It counts as
/// one if a constant stands on its left and it has no interval, or the interval `[start]` or `[0]`.
/// InvalidParameterError "Found an invalid initializationof constant: " and the expression, if the object is
/// no instance or an argument is unknown.
std::optional<ConstantAssignment> get_constant_assign(model::ExpressionFactory& factory, Node* expression,
                                                      Node* raw);

/// The assignments of one text, and the constants with values that they make.
class ConstantAssignments {
 public:
  using ConstantPtr = std::shared_ptr<model::ConstantImpl>;

  explicit ConstantAssignments(Environment& env) : env_(env) {}

  /// TypeCheckingError if an argument or the value does not fit the constant, InternalError "It is forbidden
  /// to assign a value to a constant more than one time".
  void add(ConstantAssignment assignment);

  /// A constant with values for each of `declared`, in that order. A value may use other constants, wherever
  /// they are assigned. InternalError "Found an uninitialized constant: " and the name, or "The value of
  /// constant '", the name and "' depends on itself".
  std::vector<ConstantPtr> make_constants(const std::vector<ConstantPtr>& declared);

  /// The declared constant and the statement that were being looked at last; null if none was.
  const model::ConstantImpl* current_constant() const { return current_constant_; }
  Node* current_statement() const { return current_statement_; }

 private:
  using Assignments = std::vector<ConstantAssignment>;
  std::vector<std::size_t> used_by(std::size_t constant) const;
  std::vector<std::size_t> order_of_use();
  ConstantPtr make_constant(const model::ConstantImpl& declared, const NameSubstituter& to_new);
  Node* argument_key(Node* argument) const;

  Environment& env_;
  std::map<const model::ConstantImpl*, Assignments> assignments_;  // never iterated: ordered by address
  std::vector<ConstantPtr> declared_;                              // during make_constants
  std::unordered_map<const model::ConstantImpl*, std::size_t> index_;
  const model::ConstantImpl* current_constant_ = nullptr;
  Node* current_statement_ = nullptr;
};

}  // namespace zorvel
