#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "core/environment.h"
#include "core/node.h"
#include "model/constant.h"
#include "model/parameter.h"
#include "model/walkers/expression_simplifier.h"
#include "validation/fluent_slots.h"
#include "validation/value.h"

// Expressions are compiled once an action and evaluated for each of its steps: an expression becomes a list
// of instructions, one a distinct subexpression, each writing the register of its own number. A step supplies
// the values of parameters and anchors as a binding, the replay those of fluents as a world. No node is made
// or walked while a plan is replayed.

namespace zorvel::validation {

enum class Op : std::uint8_t {
  VALUE,      ///< The constant number `data`.
  PARAMETER,  ///< The actual parameter number `data`.
  START,
  END,
  DURATION,
  SLOT,      ///< The content of the slot `data`.
  FLUENT,    ///< The fluent `data` at the operands.
  CONSTANT,  ///< The constant function `data` at the operands.
  OPAQUE,    ///< Anything that has no value in a state.
  AND,
  OR,
  NOT,
  IMPLY,
  IFF,
  EQUALS,
  LT,
  LE,
  GT,
  GE,
  NEARLY_EQUALS,  ///< `==`, `<=` and `>=` where an operand is the duration: with some slack.
  NEARLY_LE,
  NEARLY_GE,
  PLUS,
  TIMES,
  MINUS,
  DIV,
  SQRT,
};

/// Several expressions in one list of instructions; see ProgramBuilder.
struct Program {
  struct Instruction {
    Op op;
    std::uint32_t data;
    std::uint32_t first_operand;
    std::uint32_t operand_count;
  };
  std::vector<Instruction> instructions;
  std::vector<std::uint32_t> operands;  // registers
  std::vector<Value> values;
  std::vector<std::shared_ptr<model::ConstantImpl>> constants;
  std::vector<std::uint32_t> outputs;  // the register of each expression added
  bool names_an_anchor = false;        // some START or END
  bool names_a_fluent = false;
};

/// Compiles expressions over the given parameters. Subexpressions that they share are computed once.
class ProgramBuilder {
 public:
  ProgramBuilder(FluentSlots& slots, const model::ParameterVector& parameters)
      : slots_(slots), parameters_(parameters), simplify_(slots.env()) {}

  /// Adds an expression as the next output. Its constants are folded first.
  void add(Node* expression);
  Program take() { return std::move(program_); }

 private:
  std::uint32_t compile(Node* root);
  std::uint32_t emit(Node* node);
  std::uint32_t emit_fluent(Node* node);
  std::uint32_t emit_constant(Node* node);
  std::uint32_t append(Op op, std::span<Node* const> operands, std::size_t data = 0);

  FluentSlots& slots_;
  const model::ParameterVector& parameters_;
  model::ExpressionSimplifier simplify_;
  Program program_;
  std::unordered_map<Node*, std::uint32_t, NodeIdHash> registers_;
};

/// What one step of a plan, or the problem, gives to its programs.
struct Binding {
  std::vector<Value> parameters;
  Value start = Value::without(ValueKind::OPAQUE);
  Value end = Value::without(ValueKind::OPAQUE);
  Value duration = Value::without(ValueKind::OPAQUE);
};

/// Runs programs. The results stand until the next run.
class Evaluator {
 public:
  explicit Evaluator(FluentSlots& slots);

  /// Computes all outputs. The slots that are read are appended to `reads`, if it is not null.
  ///
  /// A fluent without a value raises InvalidParameterError "Missing value for fluent: " and the reference, a
  /// constant without one "Found uninitialized constant in the model: " and the constant's name with its
  /// arguments.
  void run(const Program& program, const Binding& binding, const World& world,
           std::vector<Slot>* reads = nullptr);
  const Value& output(const Program& program, std::size_t number) const {
    return registers_[program.outputs[number]];
  }
  /// The slot of a fluent at arguments that are outputs from `first` on; nothing if an argument has no value
  /// or lies outside its parameter's type.
  std::optional<Slot> target(const Program& program, FluentId fluent, std::size_t first, std::size_t count);

 private:
  Value compute(const Program& program, const Program::Instruction& instruction, const Binding& binding,
                const World& world, std::vector<Slot>* reads);
  Value read(Slot slot, const World& world, std::vector<Slot>* reads) const;
  /// Puts the operands into arguments_. The failure's kind, or OBJECT if there is none.
  ValueKind gather_arguments(FluentId fluent, std::span<const std::uint32_t> operands);
  Value apply_constant(const model::ConstantImpl& constant, std::span<const std::uint32_t> operands);
  Value conjunction(std::span<const std::uint32_t> operands, bool neutral) const;
  Value sum(std::span<const std::uint32_t> operands) const;
  Value product(std::span<const std::uint32_t> operands) const;

  FluentSlots& slots_;
  model::ExpressionSimplifier simplify_;  // for constants whose values name other constants
  const rational tolerance_;
  std::vector<Value> registers_;
  std::vector<Node*> arguments_;  // scratch
};

}  // namespace zorvel::validation
