#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "core/environment.h"
#include "core/node.h"
#include "core/numbers.h"

namespace zorvel {

/// Dense number of a value in its ValueTable.
using ValueId = std::uint32_t;
inline constexpr ValueId unset_value = 0;  ///< The slot of a state that has no value yet.
inline constexpr ValueId false_value = 1;
inline constexpr ValueId true_value = 2;
inline constexpr ValueId no_value = 0xFFFF'FFFF;  ///< The result of an expression that has none: 1 / 0.

/// Numbers every value that a state can hold (booleans, numbers, instances) once, from 1.
///
/// One node is one id: the integer 1 and the rational 1 are different values with different ids. Numbers
/// carry their value as a fraction of machine words where it fits, so that arithmetic and comparisons touch
/// no node; the node of a computed number is made when it is first asked for. Ids are never given back: they
/// follow the distinct values met, of which a counter without bounds makes ever more.
class ValueTable : public EnvObject {
 public:
  explicit ValueTable(Environment& env);
  ValueTable(const ValueTable&) = delete;
  ValueTable& operator=(const ValueTable&) = delete;

  /// The id of a value; `unset_value` for null. InternalError "Found a value that a state cannot hold: " and
  /// the node for anything but a boolean or numeric constant or an instance reference.
  ValueId id_of(Node* value);
  /// The node of an id; null for `unset_value`.
  Node* node_of(ValueId id);
  std::size_t size() const { return entries_.size(); }  ///< Ids given so far, the unset one among them.

  static bool is_boolean(ValueId id) { return id == false_value || id == true_value; }
  static ValueId of_boolean(bool value) { return value ? true_value : false_value; }
  bool is_integer(ValueId id) const { return entries_[id].kind == Kind::integer; }
  bool is_number(ValueId id) const { return entries_[id].kind >= Kind::integer; }
  bool is_instance(ValueId id) const { return entries_[id].kind == Kind::instance; }
  /// The value of a number, exact and as the nearest double.
  rational number_of(ValueId id) const;
  double approximation_of(ValueId id) const { return entries_[id].approximation; }

  /// The integer of the same value if `id` is a rational with denominator 1, otherwise `id`.
  ValueId as_integer(ValueId id);
  /// The rational of the same value if `id` is an integer, otherwise `id`.
  ValueId as_rational(ValueId id);

  // On numbers only, with the results that the simplifier of expressions gives.
  ValueId sum(std::span<const ValueId> terms);
  ValueId product(std::span<const ValueId> factors);
  ValueId difference(ValueId a, ValueId b);
  ValueId quotient(ValueId a, ValueId b);  ///< `no_value` if b is 0.
  /// To `decimals` places; `no_value` if there is no root.
  ValueId square_root(ValueId radicand, ValueId decimals);
  bool is_less(ValueId a, ValueId b) const;
  bool is_less_or_equal(ValueId a, ValueId b) const { return !is_less(b, a); }
  bool is_same_number(ValueId a, ValueId b) const;  ///< By value: the integer 1 equals the rational 1.

 private:
  enum class Kind : std::uint8_t { unset, boolean, instance, integer, rational };
  struct Entry {
    Node* node;        // null if not yet made
    std::int64_t num;  // the value of a number is num / den, if den is not 0; otherwise only the node has it
    std::int64_t den;
    double approximation;
    Kind kind;
  };
  /// An operation on rationals, whose result is looked up by the ids of its operands.
  enum class Op : std::uint8_t { sum, product, difference, quotient, square_root };

  /// The binary operations within one kind of number; the kind of the result is that of `a`.
  ValueId integer_result(Op op, ValueId a, ValueId b);
  ValueId rational_result(Op op, ValueId a, ValueId b);
  ValueId exact_result(Op op, ValueId a, ValueId b);

  ValueId add_entry(const Entry& entry);
  ValueId id_of_small_integer(std::int64_t value);
  ValueId id_of_integer(const integer& value);
  ValueId id_of_rational(const rational& value);
  bool is_small(ValueId id) const { return entries_[id].den != 0; }

  /// Open addressing from a key of two words to an id; a power of two of slots, at most half full.
  class PairTable {
   public:
    PairTable() : slots_(64) {}
    /// The id of the key, or null if it is new.
    const ValueId* find(std::uint64_t first, std::uint64_t second) const;
    void insert(std::uint64_t first, std::uint64_t second, ValueId id);

   private:
    struct Slot {
      std::uint64_t first = 0, second = 0;
      ValueId id = unset_value;  // unset: free
    };
    static std::size_t hash(std::uint64_t first, std::uint64_t second);
    std::vector<Slot> slots_;
    std::size_t size_ = 0;
  };

  std::vector<Entry> entries_;                                // by id
  std::unordered_map<const Node*, ValueId, NodeIdHash> ids_;  // of the entries with a node
  PairTable small_integers_;                                  // by value
  PairTable small_rationals_;                                 // by numerator and denominator
  PairTable results_;                                         // of operations on rationals, by operands
  static constexpr std::int64_t near_limit = 1024;
  std::array<ValueId, 2 * near_limit> near_integers_{};  // of -near_limit .. near_limit - 1
};

}  // namespace zorvel
