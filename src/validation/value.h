#pragma once

#include <cstdint>

#include "core/node.h"
#include "core/numbers.h"
#include "model/expression_factory.h"

namespace zorvel::validation {

enum class ValueKind : std::uint8_t {
  UNSET,      ///< A fluent that has no value yet.
  UNDEFINED,  ///< A division by zero, or a root that is no number.
  UNBOUNDED,  ///< A fluent applied to an argument outside its parameter's type.
  OPAQUE,     ///< An expression that has no value in a state, such as a label.
  BOOLEAN,
  INTEGER,
  RATIONAL,
  OBJECT,
};

/// What an expression is worth in a state: the constant nodes of the model without the nodes, so that
/// arithmetic leaves nothing behind in the node table.
///
/// An integer and a rational of the same number are equal in comparisons, yet of different kinds, since a
/// quotient of two integers is cut.
struct Value {
  static Value boolean(bool truth) { return {ValueKind::BOOLEAN, truth, {}, nullptr}; }
  static Value integer_number(rational number) {
    return {ValueKind::INTEGER, false, std::move(number), nullptr};
  }
  static Value rational_number(rational number) {
    return {ValueKind::RATIONAL, false, std::move(number), nullptr};
  }
  static Value object_reference(Node* object) { return {ValueKind::OBJECT, false, {}, object}; }
  static Value without(ValueKind kind) { return {kind, false, {}, nullptr}; }
  /// OPAQUE if the node is no value.
  static Value of_node(const model::ExpressionFactory& factory, Node* node);

  bool is_number() const { return kind == ValueKind::INTEGER || kind == ValueKind::RATIONAL; }
  bool is_boolean() const { return kind == ValueKind::BOOLEAN; }
  bool is_true() const { return kind == ValueKind::BOOLEAN && truth; }
  bool is_false() const { return kind == ValueKind::BOOLEAN && !truth; }
  bool is_known() const { return kind >= ValueKind::BOOLEAN; }
  /// The constant node or instance reference; null for a value that is not known.
  Node* node(model::ExpressionFactory& factory) const;
  friend bool operator==(const Value& a, const Value& b) = default;

  ValueKind kind = ValueKind::UNSET;
  bool truth = false;
  rational number;
  Node* object = nullptr;
};

}  // namespace zorvel::validation
