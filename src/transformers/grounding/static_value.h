#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "core/environment.h"
#include "core/node.h"
#include "core/numbers.h"
#include "model/constant.h"
#include "model/hash_mix.h"

// Values and tables of constants in the form in which the grounder tests conditions: small, copied freely,
// and without a node for every value that is only looked at.

namespace zorvel::model {

class ExpressionFactory;

/// What an expression reduces to once its parameters have values, as far as the grounder can tell without
/// building it. A number that does not fit machine words is UNKNOWN, as is all that depends on the state.
struct StaticValue {
  enum class Kind : std::uint8_t {
    UNKNOWN,
    UNDEFINED,  ///< What is left still holds a constant that has no value.
    BOOLEAN,    ///< `a` is 0 or 1.
    INTEGER,    ///< `a`.
    RATIONAL,   ///< `a / b`, in lowest terms, `b` positive.
    OBJECT      ///< The id of an instance reference.
  };
  Kind kind = Kind::UNKNOWN;
  std::int64_t a = 0;
  std::int64_t b = 1;

  static StaticValue undefined() { return {Kind::UNDEFINED, 0, 1}; }
  static StaticValue boolean(bool value) { return {Kind::BOOLEAN, value ? 1 : 0, 1}; }
  static StaticValue number(Kind kind, const rational& value);
  /// The value of a constant or an instance reference; UNKNOWN for any other node.
  static StaticValue of(const ExpressionFactory& factory, const Node* node);

  bool is_known() const { return kind > Kind::UNDEFINED; }
  bool is_undefined() const { return kind == Kind::UNDEFINED; }
  bool is_boolean() const { return kind == Kind::BOOLEAN; }
  bool is_true() const { return is_boolean() && a == 1; }
  bool is_false() const { return is_boolean() && a == 0; }
  bool is_numeric() const { return kind == Kind::INTEGER || kind == Kind::RATIONAL; }
  friend bool operator==(const StaticValue&, const StaticValue&) = default;
};

/// -1, 0 or 1 as the number `a` is less than, equal to or greater than the number `b`.
int compare_numbers(const StaticValue& a, const StaticValue& b);

// Sum and product of numbers as the simplifier folds them: the integers and the rationals among the operands
// gather apart, and the result is an integer constant if the rationals add up to 0 (multiply to 1).
StaticValue sum(std::span<const StaticValue> numbers);
StaticValue product(std::span<const StaticValue> numbers);
StaticValue difference(const StaticValue& a, const StaticValue& b);
/// UNKNOWN for a division by 0, which stays in the expression.
StaticValue quotient(const StaticValue& a, const StaticValue& b);
/// A rational with denominator 1 as an integer, anything else as it is.
StaticValue as_integer(const StaticValue& value);

struct StaticValueHash {
  std::size_t operator()(const StaticValue& value) const {
    return mix_hash(static_cast<std::size_t>(value.a) * 31 + static_cast<std::size_t>(value.b),
                    static_cast<std::size_t>(value.kind));
  }
};

/// The value table of a constant.
class StaticTable {
 public:
  using Key = std::vector<StaticValue>;
  struct Row {
    Key key;
    StaticValue value;
  };

  /// The values are simplified first; one that is no constant even then is UNKNOWN.
  StaticTable(Environment& env, const ConstantImpl& constant);

  /// The value that the constant has for these arguments; UNKNOWN if an argument is, otherwise UNDEFINED if
  /// an argument is or if there is no value.
  StaticValue value(std::span<const StaticValue> arguments) const;
  /// What the constant has for arguments that no row of `rows` names; none if shorter keys make it depend on
  /// the arguments.
  std::optional<StaticValue> value_elsewhere() const;
  bool has_default() const { return has_default_; }
  /// The entries with a value for each argument, in the order of their nodes.
  const std::vector<Row>& rows() const { return rows_; }

 private:
  struct KeyHash {
    using is_transparent = void;
    std::size_t operator()(std::span<const StaticValue> key) const;
  };
  struct KeyEquality {
    using is_transparent = void;
    bool operator()(std::span<const StaticValue> a, std::span<const StaticValue> b) const;
  };

  std::unordered_map<Key, StaticValue, KeyHash, KeyEquality> values_;
  std::vector<std::size_t> shorter_lengths_;  // of the keys that are no row, longest first
  std::vector<Row> rows_;
  bool has_default_ = false;
  bool has_symbolic_keys_ = false;  // a key with an argument that is no value
};

}  // namespace zorvel::model
