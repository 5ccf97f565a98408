#include "validation/program.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "core/errors.h"
#include "model/fluent.h"

namespace zorvel::validation {

using model::ExpressionFactory;

namespace {

/// How much an equality or a bound on a duration may be missed by, since plans come from rounded texts.
constexpr double duration_tolerance = 1e-5;

bool names_duration(const Node* node) {
  return std::ranges::any_of(node->operands(), ExpressionFactory::is_duration_anchor);
}

/// The instruction of an operator; OPAQUE for every kind that is none.
Op operation_of(const Node* node) {
  switch (node->kind()) {
    case NodeKind::START: return Op::START;
    case NodeKind::END: return Op::END;
    case NodeKind::DURATION: return Op::DURATION;
    case NodeKind::AND: return Op::AND;
    case NodeKind::OR: return Op::OR;
    case NodeKind::NOT: return Op::NOT;
    case NodeKind::IMPLY: return Op::IMPLY;
    case NodeKind::IFF: return Op::IFF;
    case NodeKind::EQUALS: return names_duration(node) ? Op::NEARLY_EQUALS : Op::EQUALS;
    // An assignment to anything but the duration is an effect, and no condition.
    case NodeKind::ASSIGN: return names_duration(node) ? Op::NEARLY_EQUALS : Op::OPAQUE;
    case NodeKind::LT: return Op::LT;
    case NodeKind::LE: return names_duration(node) ? Op::NEARLY_LE : Op::LE;
    case NodeKind::GT: return Op::GT;
    case NodeKind::GE: return names_duration(node) ? Op::NEARLY_GE : Op::GE;
    case NodeKind::PLUS: return Op::PLUS;
    case NodeKind::TIMES: return Op::TIMES;
    case NodeKind::MINUS: return Op::MINUS;
    case NodeKind::DIV: return Op::DIV;
    case NodeKind::SQRT: return Op::SQRT;
    default: return Op::OPAQUE;
  }
}

/// The children that the instruction of the node needs: those of operators and of references.
std::span<Node* const> evaluated_operands(const Node* node) {
  const bool is_reference =
      ExpressionFactory::is_fluent_reference(node) || ExpressionFactory::is_constant_reference(node);
  return is_reference || operation_of(node) != Op::OPAQUE ? node->operands() : std::span<Node* const>();
}

/// Why an operation over these operands has no value: an opaque operand says more than an undefined one.
Value worst_of(const Value& a, const Value& b) {
  const auto badness = [](const Value& value) {
    return value.kind == ValueKind::OPAQUE ? 2 : value.is_known() ? 0 : 1;
  };
  const Value& worse = badness(b) > badness(a) ? b : a;
  return Value::without(worse.is_known() ? ValueKind::OPAQUE : worse.kind);
}

template <class Compare>
Value compare(const Value& a, const Value& b, Compare holds) {
  if (!a.is_number() || !b.is_number()) return worst_of(a, b);
  return Value::boolean(holds(a.number, b.number));
}

Value negation(const Value& a) { return a.is_boolean() ? Value::boolean(!a.truth) : worst_of(a, a); }

Value implication(const Value& a, const Value& b) {
  if (a.is_false() || b.is_true()) return Value::boolean(true);
  if (a.is_true()) return b;
  return b.is_false() ? negation(a) : worst_of(a, b);
}

Value equality(const Value& a, const Value& b) {
  if (a.is_number() && b.is_number()) return Value::boolean(a.number == b.number);
  if (a.kind != b.kind || !a.is_known()) return worst_of(a, b);
  return Value::boolean(a == b);
}

Value difference(const Value& a, const Value& b) {
  if (!a.is_number() || !b.is_number()) return worst_of(a, b);
  const bool are_integers = a.kind == ValueKind::INTEGER && b.kind == ValueKind::INTEGER;
  return are_integers ? Value::integer_number(a.number - b.number)
                      : Value::rational_number(a.number - b.number);
}

Value quotient(const Value& a, const Value& b) {
  if (!a.is_number() || !b.is_number()) return worst_of(a, b);
  if (b.number == rational(0)) return Value::without(ValueKind::UNDEFINED);
  if (a.kind == ValueKind::INTEGER && b.kind == ValueKind::INTEGER)
    return Value::rational_number(rational(a.number.numerator() / b.number.numerator()));
  return Value::rational_number(a.number / b.number);
}

Value square_root(const Value& a, const Value& decimals) {
  if (!a.is_number() || !decimals.is_number()) return worst_of(a, decimals);
  const auto root = model::decimal_square_root(a.number, decimals.number.numerator());
  return root ? Value::rational_number(*root) : Value::without(ValueKind::UNDEFINED);
}

}  // namespace

void ProgramBuilder::add(Node* expression) { program_.outputs.push_back(compile(simplify_(expression))); }

std::uint32_t ProgramBuilder::compile(Node* root) {
  std::vector<std::pair<Node*, bool>> stack{{root, false}};  // node, and whether its operands were pushed
  while (!stack.empty()) {
    const auto [node, expanded] = stack.back();
    if (registers_.contains(node)) {
      stack.pop_back();
    } else if (!expanded && !evaluated_operands(node).empty()) {
      stack.back().second = true;
      for (Node* operand : evaluated_operands(node)) stack.emplace_back(operand, false);
    } else {
      registers_.emplace(node, emit(node));
      stack.pop_back();
    }
  }
  return registers_.at(root);
}

std::uint32_t ProgramBuilder::emit(Node* node) {
  const Value constant = Value::of_node(slots_.env().expression_factory(), node);
  if (constant.is_known()) {
    program_.values.push_back(constant);
    return append(Op::VALUE, {}, program_.values.size() - 1);
  }
  switch (node->kind()) {
    case NodeKind::FLUENT_REFERENCE: return emit_fluent(node);
    case NodeKind::CONSTANT_REFERENCE: return emit_constant(node);
    case NodeKind::PARAMETER_REFERENCE: {
      const auto parameter = slots_.env().expression_factory().get_parameter_from_reference(node);
      const auto position = std::ranges::find(parameters_, parameter);
      if (position == parameters_.end()) return append(Op::OPAQUE, {});
      return append(Op::PARAMETER, {}, static_cast<std::size_t>(position - parameters_.begin()));
    }
    default: break;
  }
  const Op op = operation_of(node);
  if (op == Op::OPAQUE) return append(op, {});
  program_.names_an_anchor |= op == Op::START || op == Op::END;
  return append(op, node->operands());
}

std::uint32_t ProgramBuilder::emit_fluent(Node* node) {
  const auto reference = slots_.env().expression_factory().get_fluent_from_reference(node);
  const FluentId fluent = slots_.fluent(reference);
  program_.names_a_fluent = true;
  if (node->arity != reference->arity()) return append(Op::OPAQUE, {});
  std::vector<Node*> arguments;
  for (std::size_t i = 0; i < node->arity; ++i) {
    const Value argument = Value::of_node(slots_.env().expression_factory(), node->children[i]);
    Node* const ground = argument.is_known() ? slots_.as_argument(fluent, i, argument) : nullptr;
    if (ground == nullptr) return append(Op::FLUENT, node->operands(), static_cast<std::size_t>(fluent));
    arguments.push_back(ground);
  }
  return append(Op::SLOT, {}, index(slots_.slot(fluent, arguments)));
}

std::uint32_t ProgramBuilder::emit_constant(Node* node) {
  program_.constants.push_back(slots_.env().expression_factory().get_constant_from_reference(node));
  return append(Op::CONSTANT, node->operands(), program_.constants.size() - 1);
}

std::uint32_t ProgramBuilder::append(Op op, std::span<Node* const> operands, std::size_t data) {
  const auto first = static_cast<std::uint32_t>(program_.operands.size());
  for (Node* operand : operands) program_.operands.push_back(registers_.at(operand));
  program_.instructions.push_back(
      {op, static_cast<std::uint32_t>(data), first, static_cast<std::uint32_t>(operands.size())});
  return static_cast<std::uint32_t>(program_.instructions.size() - 1);
}

Evaluator::Evaluator(FluentSlots& slots)
    : slots_(slots), simplify_(slots.env()), tolerance_(duration_tolerance) {}

void Evaluator::run(const Program& program, const Binding& binding, const World& world,
                    std::vector<Slot>* reads) {
  if (registers_.size() < program.instructions.size()) registers_.resize(program.instructions.size());
  for (std::size_t i = 0; i < program.instructions.size(); ++i)
    registers_[i] = compute(program, program.instructions[i], binding, world, reads);
}

Value Evaluator::compute(const Program& program, const Program::Instruction& instruction,
                         const Binding& binding, const World& world, std::vector<Slot>* reads) {
  const std::span<const std::uint32_t> operands(program.operands.data() + instruction.first_operand,
                                                instruction.operand_count);
  const auto operand = [&](std::size_t i) -> const Value& { return registers_[operands[i]]; };
  switch (instruction.op) {
    case Op::VALUE: return program.values[instruction.data];
    case Op::PARAMETER:
      assert(instruction.data < binding.parameters.size());
      return binding.parameters[instruction.data];
    case Op::START: return binding.start;
    case Op::END: return binding.end;
    case Op::DURATION: return binding.duration;
    case Op::SLOT: return read(static_cast<Slot>(instruction.data), world, reads);
    case Op::FLUENT: {
      const auto fluent = static_cast<FluentId>(instruction.data);
      const ValueKind failure = gather_arguments(fluent, operands);
      if (failure != ValueKind::OBJECT) return Value::without(failure);
      return read(slots_.slot(fluent, arguments_), world, reads);
    }
    case Op::CONSTANT: return apply_constant(*program.constants[instruction.data], operands);
    case Op::OPAQUE: return Value::without(ValueKind::OPAQUE);
    case Op::AND: return conjunction(operands, true);
    case Op::OR: return conjunction(operands, false);
    case Op::NOT: return negation(operand(0));
    case Op::IMPLY: return implication(operand(0), operand(1));
    case Op::IFF:
      if (!operand(0).is_boolean() || !operand(1).is_boolean()) return worst_of(operand(0), operand(1));
      return Value::boolean(operand(0).truth == operand(1).truth);
    case Op::EQUALS: return equality(operand(0), operand(1));
    case Op::LT: return compare(operand(0), operand(1), [](auto& a, auto& b) { return a < b; });
    case Op::LE: return compare(operand(0), operand(1), [](auto& a, auto& b) { return a <= b; });
    case Op::GT: return compare(operand(0), operand(1), [](auto& a, auto& b) { return a > b; });
    case Op::GE: return compare(operand(0), operand(1), [](auto& a, auto& b) { return a >= b; });
    case Op::NEARLY_EQUALS:
      return compare(operand(0), operand(1),
                     [&](auto& a, auto& b) { return a < b + tolerance_ && a > b - tolerance_; });
    case Op::NEARLY_LE:
      return compare(operand(0), operand(1), [&](auto& a, auto& b) { return a < b + tolerance_; });
    case Op::NEARLY_GE:
      return compare(operand(0), operand(1), [&](auto& a, auto& b) { return a > b - tolerance_; });
    case Op::PLUS: return sum(operands);
    case Op::TIMES: return product(operands);
    case Op::MINUS: return difference(operand(0), operand(1));
    case Op::DIV: return quotient(operand(0), operand(1));
    case Op::SQRT: return square_root(operand(0), operand(1));
  }
  return Value::without(ValueKind::OPAQUE);
}

Value Evaluator::read(Slot slot, const World& world, std::vector<Slot>* reads) const {
  if (reads != nullptr) reads->push_back(slot);
  // The world may be older than the slot.
  const Value& value = index(slot) < world.size() ? world[index(slot)] : slots_.initial_value(slot);
  if (value.kind == ValueKind::UNSET)
    throw InvalidParameterError("Missing value for fluent: ")
        << model::print_expression{slots_.reference(slot)};
  return value;
}

ValueKind Evaluator::gather_arguments(FluentId fluent, std::span<const std::uint32_t> operands) {
  arguments_.clear();
  for (std::size_t i = 0; i < operands.size(); ++i) {
    const Value& argument = registers_[operands[i]];
    if (!argument.is_known()) return argument.kind;
    Node* const ground = slots_.as_argument(fluent, i, argument);
    if (ground == nullptr) return ValueKind::UNBOUNDED;
    arguments_.push_back(ground);
  }
  return ValueKind::OBJECT;
}

std::optional<Slot> Evaluator::target(const Program& program, FluentId fluent, std::size_t first,
                                      std::size_t count) {
  assert(first + count <= program.outputs.size());
  const std::span<const std::uint32_t> operands(program.outputs.data() + first, count);
  if (gather_arguments(fluent, operands) != ValueKind::OBJECT) return std::nullopt;
  return slots_.slot(fluent, arguments_);
}

Value Evaluator::apply_constant(const model::ConstantImpl& constant,
                                std::span<const std::uint32_t> operands) {
  ExpressionFactory& factory = slots_.env().expression_factory();
  arguments_.clear();
  for (const std::uint32_t operand : operands) {
    const Value& argument = registers_[operand];
    if (!argument.is_known()) return worst_of(argument, argument);
    arguments_.push_back(argument.node(factory));
  }
  model::normalize_arguments(factory, constant.parameters(), arguments_);
  const auto table = constant.value();
  Node* const value = table == nullptr ? nullptr : table->assignment(arguments_);
  if (value == nullptr) {
    InvalidParameterError error("Found uninitialized constant in the model: ");
    error << constant.name();
    for (std::size_t i = 0; i < arguments_.size(); ++i)
      error << (i == 0 ? "(" : ", ") << model::print_expression{arguments_[i]};
    if (!arguments_.empty()) error << ")";
    throw error;
  }
  return Value::of_node(factory, ExpressionFactory::is_value(value) ? value : simplify_(value));
}

/// The conjunction if true is neutral, otherwise the disjunction. One operand that decides is enough,
/// whatever the others are.
Value Evaluator::conjunction(std::span<const std::uint32_t> operands, bool neutral) const {
  Value result = Value::boolean(neutral);
  for (const std::uint32_t operand : operands) {
    const Value& value = registers_[operand];
    if (value.is_boolean() && value.truth != neutral) return value;
    if (!value.is_boolean()) result = worst_of(value, result);
  }
  return result;
}

// why the kinds are kept apart: A sum is an integer if its rational part vanishes, and only quotients of
// integers are cut.
Value Evaluator::sum(std::span<const std::uint32_t> operands) const {
  rational integers(0), rationals(0);
  for (const std::uint32_t operand : operands) {
    const Value& value = registers_[operand];
    if (!value.is_number()) return worst_of(value, value);
    (value.kind == ValueKind::INTEGER ? integers : rationals) += value.number;
  }
  return rationals == rational(0) ? Value::integer_number(integers)
                                  : Value::rational_number(integers + rationals);
}

Value Evaluator::product(std::span<const std::uint32_t> operands) const {
  rational integers(1), rationals(1);
  for (const std::uint32_t operand : operands) {
    const Value& value = registers_[operand];
    if (!value.is_number()) return worst_of(value, value);
    (value.kind == ValueKind::INTEGER ? integers : rationals) *= value.number;
  }
  return rationals == rational(1) ? Value::integer_number(integers)
                                  : Value::rational_number(integers * rationals);
}

}  // namespace zorvel::validation
