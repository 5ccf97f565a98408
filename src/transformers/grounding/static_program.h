#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "model/parameter.h"
#include "transformers/grounding/static_value.h"

namespace zorvel::model {

/// The expressions of an action as one straight-line program over the values of its parameters.
///
/// Every distinct node is one slot, and operands have lower slots than what reads them. The program follows
/// the simplifier: what it finds to be TRUE, FALSE or a number is what substitution and simplification give,
/// and what it finds UNDEFINED makes the check for constants without a value raise, unless a surrounding
/// expression drops that operand. It may answer UNKNOWN at any time.
class StaticProgram {
 public:
  using Slot = std::uint32_t;

  /// `parameters` are the ones that get values, by position. The others stay UNKNOWN.
  StaticProgram(Environment& env, const ParameterVector& parameters);

  /// The slot of the expression's value.
  Slot compile(Node* expression);
  /// FALSE if one of the numbers lies outside the type of its place, else UNKNOWN.
  Slot compile_domain_test(const std::vector<Slot>& numbers, std::vector<TypePtr> types);
  /// FALSE if the two lists are known and equal, numbers by value if `by_value`, else UNKNOWN.
  Slot compile_difference(const std::vector<Slot>& left, const std::vector<Slot>& right, bool by_value);
  /// FALSE if both are.
  Slot compile_alternative(Slot a, Slot b) { return add(Op::OR, {a, b}); }
  /// `slot` as an argument for a parameter of the type.
  Slot compile_argument(Slot slot, const TypePtr& type);

  struct Abilities {
    bool may_be_known, may_be_undefined;
  };
  /// What values the slot can take at all.
  Abilities abilities(Slot slot) const { return slots_[slot].abilities; }

  /// What has to be evaluated for the slot, in order, itself included.
  std::vector<Slot> cone(Slot slot) const;
  /// The positions of the parameters in a cone, in increasing order.
  std::vector<std::uint32_t> parameters_of(std::span<const Slot> cone) const;

  void bind(std::uint32_t parameter, const StaticValue& value) {
    values_[parameter_slots_[parameter]] = value;
  }
  void unbind(std::uint32_t parameter) { bind(parameter, {}); }
  /// The value of the last slot of the cone under the parameters bound now.
  StaticValue evaluate(std::span<const Slot> cone);
  /// The same, with a given value in one slot of the cone.
  StaticValue evaluate_with(std::span<const Slot> cone, Slot assumed, const StaticValue& value);

  /// An application of a constant whose arguments are parameters or values.
  struct Application {
    Slot slot;
    const StaticTable* table;
    struct Argument {
      bool is_parameter;
      std::uint32_t parameter;  // if it is one
      StaticValue value;        // otherwise
    };
    std::vector<Argument> arguments;
  };
  std::vector<Application> applications_in(std::span<const Slot> cone) const;

 private:
  enum class Op : std::uint8_t {
    VALUE,  // set at compile time
    PARAMETER,
    NOT,
    AND,
    OR,
    IMPLY,
    IFF,
    EQUALS,
    LT,
    LE,
    GT,
    GE,
    PLUS,
    TIMES,
    MINUS,
    DIV,
    APPLICATION,
    AS_INTEGER,
    IN_DOMAIN,
    DIFFER,
    DIFFER_BY_VALUE,
    KEEP  // an operator that the simplifier never drops nor folds
  };
  struct Instruction {
    Op op;
    std::uint32_t first_operand, operand_count;  // in operands_
    std::uint32_t data;                          // parameter, table or list of types
    Abilities abilities;
  };

  static Op op_of(const Node* node);
  Slot compile_ready(Node* node);
  Slot compile_application(Node* node);
  Slot add(Op op, const std::vector<Slot>& operands, std::uint32_t data = 0);
  Slot add_value(const StaticValue& value);
  Abilities abilities_of(Op op, const std::vector<Slot>& operands, std::uint32_t data) const;
  std::span<const Slot> operands(const Instruction& instruction) const {
    return {operands_.data() + instruction.first_operand, instruction.operand_count};
  }
  void fold_if_fixed(Slot slot);
  StaticValue run(const Instruction& instruction);

  Environment& env_;
  std::unordered_map<Node*, Slot> slot_of_node_;
  std::vector<Instruction> slots_;
  std::vector<Slot> operands_;
  std::vector<StaticValue> values_;     // by slot
  std::vector<Slot> parameter_slots_;   // by parameter
  std::vector<StaticValue> arguments_;  // scratch of run()
  std::unordered_map<const ConstantImpl*, std::uint32_t> table_of_constant_;
  std::vector<std::unique_ptr<StaticTable>> tables_;
  std::vector<std::vector<TypePtr>> types_;
};

}  // namespace zorvel::model
