#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "state/state_layout.h"

namespace zorvel {

/// An expression as a program over the slots of a packed state.
///
/// It gives what ExpressionEvaluator gives on the unpacked state, errors included: where the program meets
/// anything out of the ordinary (an unset slot, an argument without a slot, a division by zero) it leaves the
/// answer to the plain evaluator. A subexpression that occurs twice is computed once. Not for two threads at
/// a time, since values are numbered on the way.
class CompiledExpression {
 public:
  CompiledExpression() = default;

  /// The value in the state; `no_value` if it depends on a division by zero or the square root of a negative
  /// number. InternalError "A constant value was expected: " and the rest if it does not reduce for another
  /// reason; the errors of ExpressionEvaluator.
  ValueId evaluate(const ValueId* slots) const {
    const ValueId value = run(slots);
    return value != unset_value ? value : evaluate_plainly(slots);
  }

  Node* expression() const { return expression_; }
  /// The value, if the program is no more than that; `no_value` otherwise.
  ValueId constant() const {
    return program_.size() == 1 && program_[0].op == Op::constant ? program_[0].operand : no_value;
  }
  /// Every slot that can have a part in the value, ascending.
  std::span<const std::uint32_t> slots_read() const { return slots_read_; }
  /// False if `evaluate` raises on no state whose slots are all set, to values of the types of their fluents.
  bool can_raise() const { return can_raise_; }

 private:
  friend class ExpressionCompiler;
  friend class CompiledCondition;
  friend class CompiledEffect;

  enum class Op : std::uint8_t {
    constant,    // pushes the value `operand`
    load,        // pushes the value of slot `operand`
    load_of,     // pops the arguments of table `operand`, pushes the value of the slot found there
    value_of,    // pops the arguments of constant `operand`, pushes its value
    to_integer,  // gives the top the form of an integer, if it is one
    store,       // keeps the top as temporary `operand`
    fetch,       // pushes temporary `operand`
    logical_not,
    logical_and,  // of `operand` values
    logical_or,   // of `operand` values
    imply,
    iff,
    equals,
    less,
    less_or_equal,
    greater,
    greater_or_equal,
    sum,      // of `operand` values
    product,  // of `operand` values
    difference,
    quotient,
    square_root,
    give_up  // the plain evaluator must answer
  };
  struct Instruction {
    Op op;
    std::uint32_t operand;
  };

  /// The value, or `unset_value` where only the plain evaluator knows it.
  ValueId run(const ValueId* slots) const;
  ValueId run(const ValueId* slots, ValueId* stack) const;
  ValueId evaluate_plainly(const ValueId* slots) const;

  const StateLayout* layout_ = nullptr;
  Node* expression_ = nullptr;
  std::vector<Instruction> program_;
  std::vector<const ArgumentTable*> tables_;
  std::vector<ConstantTable*> constants_;
  std::vector<std::uint32_t> slots_read_;
  std::uint32_t height_ = 0;       // greatest height of the stack
  std::uint32_t temporaries_ = 0;  // which lie above it
  bool can_raise_ = false;
};

}  // namespace zorvel
