#include "transformers/grounding/static_program.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <utility>

#include "model/constant.h"
#include "model/expression_factory.h"

namespace zorvel::model {

namespace {

using Kind = StaticValue::Kind;
using Values = std::span<const StaticValue>;

const StaticValue unknown;

bool any_undefined(Values operands) {
  return std::any_of(operands.begin(), operands.end(),
                     [](const auto& value) { return value.is_undefined(); });
}

/// For operators that hold on to their operands: an undefined one stays.
StaticValue kept(Values operands) { return any_undefined(operands) ? StaticValue::undefined() : unknown; }

/// AND with `absorbing` false, OR with `absorbing` true.
StaticValue connect(Values operands, bool absorbing) {
  bool has_unknown = false, has_undefined = false;
  for (const StaticValue& value : operands) {
    if (value.is_boolean() && (value.a == 1) == absorbing) return StaticValue::boolean(absorbing);
    has_undefined |= value.is_undefined();
    has_unknown |= !value.is_undefined() && !value.is_boolean();
  }
  // An operand that is not known may still absorb the undefined one.
  if (has_unknown) return unknown;
  return has_undefined ? StaticValue::undefined() : StaticValue::boolean(!absorbing);
}

StaticValue imply(const StaticValue& a, const StaticValue& b) {
  if (a.is_false() || b.is_true()) return StaticValue::boolean(true);
  if (a.is_true()) return b.is_boolean() || b.is_undefined() ? b : unknown;
  const bool is_rest_undefined = b.is_undefined() || b.is_false();
  return a.is_undefined() && is_rest_undefined ? a : unknown;
}

StaticValue equivalence(Values operands) {
  if (any_undefined(operands)) return StaticValue::undefined();
  if (!operands[0].is_boolean() || !operands[1].is_boolean()) return unknown;
  return StaticValue::boolean(operands[0].a == operands[1].a);
}

StaticValue equality(const StaticValue& a, const StaticValue& b) {
  // Two sides that are not known may be the same expression, and equal for that.
  if (!a.is_known() || !b.is_known()) return a.is_known() || b.is_known() ? kept(std::array{a, b}) : unknown;
  if (a.is_numeric() && b.is_numeric()) return StaticValue::boolean(compare_numbers(a, b) == 0);
  if ((a.kind == Kind::OBJECT) != (b.kind == Kind::OBJECT)) return unknown;
  return StaticValue::boolean(a == b);
}

template <class Test>
StaticValue comparison(Values operands, Test test) {
  if (!operands[0].is_numeric() || !operands[1].is_numeric()) return kept(operands);
  return StaticValue::boolean(test(compare_numbers(operands[0], operands[1])));
}

template <class Compute>
StaticValue arithmetic(Values operands, Compute compute) {
  const bool are_numbers =
      std::all_of(operands.begin(), operands.end(), [](const auto& value) { return value.is_numeric(); });
  return are_numbers ? compute() : kept(operands);
}

bool is_in_domain(const StaticValue& value, const TypeBase& type) {
  if (!value.is_numeric()) return true;
  if (type.is_integer() && value.b != 1) return false;
  return within_bounds(type,
                       rational(integer(static_cast<long>(value.a)), integer(static_cast<long>(value.b))));
}

/// Whether the first half of the operands is known and equal to the second half.
bool halves_agree(Values operands, bool by_value) {
  const std::size_t half = operands.size() / 2;
  for (std::size_t i = 0; i < half; ++i) {
    const StaticValue &a = operands[i], &b = operands[half + i];
    if (!a.is_known() || !b.is_known()) return false;
    const bool are_equal = by_value && a.is_numeric() && b.is_numeric() ? compare_numbers(a, b) == 0 : a == b;
    if (!are_equal) return false;
  }
  return true;
}

}  // namespace

StaticProgram::StaticProgram(Environment& env, const ParameterVector& parameters) : env_(env) {
  for (std::uint32_t i = 0; i < parameters.size(); ++i) {
    parameter_slots_.push_back(add(Op::PARAMETER, {}, i));
    slot_of_node_[env.expression_factory().make_parameter_reference(parameters[i])] = parameter_slots_[i];
  }
}

StaticProgram::Op StaticProgram::op_of(const Node* node) {
  switch (node->kind()) {
    case NodeKind::NOT: return Op::NOT;
    case NodeKind::AND: return Op::AND;
    case NodeKind::OR: return Op::OR;
    case NodeKind::IMPLY: return Op::IMPLY;
    case NodeKind::IFF: return Op::IFF;
    case NodeKind::EQUALS: return Op::EQUALS;
    case NodeKind::LT: return Op::LT;
    case NodeKind::LE: return Op::LE;
    case NodeKind::GT: return Op::GT;
    case NodeKind::GE: return Op::GE;
    case NodeKind::PLUS: return Op::PLUS;
    case NodeKind::TIMES: return Op::TIMES;
    case NodeKind::MINUS: return Op::MINUS;
    case NodeKind::DIV: return Op::DIV;
    case NodeKind::CONSTANT_REFERENCE: return Op::APPLICATION;
    default: return Op::KEEP;
  }
}

StaticProgram::Slot StaticProgram::compile(Node* expression) {
  std::vector<Node*> open{expression};
  while (!open.empty()) {
    Node* const node = open.back();
    const std::size_t depth = open.size();
    if (!slot_of_node_.contains(node))
      for (Node* child : node->operands())
        if (!slot_of_node_.contains(child)) open.push_back(child);
    if (open.size() > depth) continue;
    open.pop_back();
    if (!slot_of_node_.contains(node)) slot_of_node_[node] = compile_ready(node);
  }
  return slot_of_node_.at(expression);
}

StaticProgram::Slot StaticProgram::compile_ready(Node* node) {
  if (ExpressionFactory::is_value(node)) return add_value(StaticValue::of(env_.expression_factory(), node));
  const Op op = op_of(node);
  if (op == Op::APPLICATION) return compile_application(node);
  std::vector<Slot> operands;
  for (Node* child : node->operands()) operands.push_back(slot_of_node_.at(child));
  return add(op, operands);
}

StaticProgram::Slot StaticProgram::compile_application(Node* node) {
  const auto constant = env_.expression_factory().get_constant_from_reference(node);
  const auto [table, is_new] =
      table_of_constant_.emplace(constant.get(), static_cast<std::uint32_t>(tables_.size()));
  if (is_new) tables_.push_back(std::make_unique<StaticTable>(env_, *constant));
  std::vector<Slot> arguments;
  for (std::size_t i = 0; i < node->arity; ++i) {
    const Slot argument = slot_of_node_.at(node->children[i]);
    const bool is_declared = node->arity == constant->arity();
    arguments.push_back(is_declared ? compile_argument(argument, constant->parameters()[i]->type())
                                    : argument);
  }
  return add(Op::APPLICATION, arguments, table->second);
}

StaticProgram::Slot StaticProgram::compile_argument(Slot slot, const TypePtr& type) {
  // A parameter's values come from its own finite domain, where integers are integers already.
  const bool may_be_rational = slots_[slot].op != Op::PARAMETER && slots_[slot].abilities.may_be_known;
  return type->is_integer() && may_be_rational ? add(Op::AS_INTEGER, {slot}) : slot;
}

StaticProgram::Slot StaticProgram::compile_domain_test(const std::vector<Slot>& numbers,
                                                       std::vector<TypePtr> types) {
  assert(numbers.size() == types.size());
  types_.push_back(std::move(types));
  return add(Op::IN_DOMAIN, numbers, static_cast<std::uint32_t>(types_.size() - 1));
}

StaticProgram::Slot StaticProgram::compile_difference(const std::vector<Slot>& left,
                                                      const std::vector<Slot>& right, bool by_value) {
  assert(left.size() == right.size());
  std::vector<Slot> operands = left;
  operands.insert(operands.end(), right.begin(), right.end());
  return add(by_value ? Op::DIFFER_BY_VALUE : Op::DIFFER, operands);
}

StaticProgram::Slot StaticProgram::add_value(const StaticValue& value) {
  const Slot slot = add(Op::VALUE, {});
  values_[slot] = value;
  slots_[slot].abilities = {value.is_known(), value.is_undefined()};
  return slot;
}

StaticProgram::Slot StaticProgram::add(Op op, const std::vector<Slot>& operands, std::uint32_t data) {
  const auto first = static_cast<std::uint32_t>(operands_.size());
  operands_.insert(operands_.end(), operands.begin(), operands.end());
  slots_.push_back(
      {op, first, static_cast<std::uint32_t>(operands.size()), data, abilities_of(op, operands, data)});
  values_.emplace_back();
  const Slot slot = static_cast<Slot>(slots_.size() - 1);
  if (op > Op::PARAMETER) fold_if_fixed(slot);
  return slot;
}

/// Turns an operator whose operands are all values into its own value.
void StaticProgram::fold_if_fixed(Slot slot) {
  Instruction& instruction = slots_[slot];
  const auto all = operands(instruction);
  if (!std::all_of(all.begin(), all.end(), [this](Slot s) { return slots_[s].op == Op::VALUE; })) return;
  values_[slot] = run(instruction);
  instruction.op = Op::VALUE;
  instruction.operand_count = 0;
  instruction.abilities = {values_[slot].is_known(), values_[slot].is_undefined()};
}

StaticProgram::Abilities StaticProgram::abilities_of(Op op, const std::vector<Slot>& operands,
                                                     std::uint32_t data) const {
  bool all_known = true, any_known = false, any_undefined = false;
  for (const Slot operand : operands) {
    const Abilities& abilities = slots_[operand].abilities;
    all_known &= abilities.may_be_known;
    any_known |= abilities.may_be_known;
    any_undefined |= abilities.may_be_undefined;
  }
  switch (op) {
    case Op::VALUE: return {false, false};
    case Op::PARAMETER: return {true, false};
    case Op::APPLICATION: return {all_known, any_undefined || !tables_[data]->has_default()};
    case Op::AND:
    case Op::OR:
    case Op::IMPLY:
    case Op::IN_DOMAIN: return {any_known, any_undefined};
    case Op::DIFFER:
    case Op::DIFFER_BY_VALUE: return {all_known, false};
    case Op::KEEP: return {false, any_undefined};
    default: return {all_known, any_undefined};
  }
}

std::vector<StaticProgram::Slot> StaticProgram::cone(Slot slot) const {
  std::vector<Slot> open{slot}, result;
  std::vector<bool> is_seen(slot + 1, false);
  while (!open.empty()) {
    const Slot next = open.back();
    open.pop_back();
    if (is_seen[next]) continue;
    is_seen[next] = true;
    result.push_back(next);
    for (const Slot operand : operands(slots_[next])) open.push_back(operand);
  }
  std::sort(result.begin(), result.end());
  return result;
}

std::vector<std::uint32_t> StaticProgram::parameters_of(std::span<const Slot> cone) const {
  std::vector<std::uint32_t> result;
  for (const Slot slot : cone)
    if (slots_[slot].op == Op::PARAMETER) result.push_back(slots_[slot].data);
  std::sort(result.begin(), result.end());
  return result;
}

std::vector<StaticProgram::Application> StaticProgram::applications_in(std::span<const Slot> cone) const {
  std::vector<Application> result;
  for (const Slot slot : cone) {
    const Instruction& instruction = slots_[slot];
    if (instruction.op != Op::APPLICATION) continue;
    Application application{slot, tables_[instruction.data].get(), {}};
    for (const Slot argument : operands(instruction)) {
      const Op op = slots_[argument].op;
      if (op == Op::PARAMETER)
        application.arguments.push_back({true, slots_[argument].data, {}});
      else if (op == Op::VALUE && values_[argument].is_known())
        application.arguments.push_back({false, 0, values_[argument]});
    }
    if (application.arguments.size() == instruction.operand_count) result.push_back(std::move(application));
  }
  return result;
}

StaticValue StaticProgram::evaluate(std::span<const Slot> cone) {
  for (const Slot slot : cone) {
    const Instruction& instruction = slots_[slot];
    if (instruction.op > Op::PARAMETER) values_[slot] = run(instruction);
  }
  return values_[cone.back()];
}

StaticValue StaticProgram::evaluate_with(std::span<const Slot> cone, Slot assumed, const StaticValue& value) {
  for (const Slot slot : cone) {
    const Instruction& instruction = slots_[slot];
    if (slot == assumed)
      values_[slot] = value;
    else if (instruction.op > Op::PARAMETER)
      values_[slot] = run(instruction);
  }
  return values_[cone.back()];
}

StaticValue StaticProgram::run(const Instruction& instruction) {
  arguments_.clear();
  for (const Slot operand : operands(instruction)) arguments_.push_back(values_[operand]);
  const std::vector<StaticValue>& a = arguments_;
  switch (instruction.op) {
    case Op::VALUE:
    case Op::PARAMETER: break;
    case Op::NOT: return a[0].is_boolean() ? StaticValue::boolean(a[0].is_false()) : kept(a);
    case Op::AND: return connect(a, false);
    case Op::OR: return connect(a, true);
    case Op::IMPLY: return imply(a[0], a[1]);
    case Op::IFF: return equivalence(a);
    case Op::EQUALS: return equality(a[0], a[1]);
    case Op::LT: return comparison(a, [](int order) { return order < 0; });
    case Op::LE: return comparison(a, [](int order) { return order <= 0; });
    case Op::GT: return comparison(a, [](int order) { return order > 0; });
    case Op::GE: return comparison(a, [](int order) { return order >= 0; });
    case Op::PLUS: return arithmetic(a, [&] { return sum(a); });
    case Op::TIMES: return arithmetic(a, [&] { return product(a); });
    case Op::MINUS: return arithmetic(a, [&] { return difference(a[0], a[1]); });
    case Op::DIV: return arithmetic(a, [&] { return quotient(a[0], a[1]); });
    case Op::APPLICATION: return tables_[instruction.data]->value(a);
    case Op::AS_INTEGER: return as_integer(a[0]);
    case Op::IN_DOMAIN: {
      const std::vector<TypePtr>& types = types_[instruction.data];
      for (std::size_t i = 0; i < a.size(); ++i)
        if (!is_in_domain(a[i], *types[i])) return StaticValue::boolean(false);
      return unknown;
    }
    case Op::DIFFER: return halves_agree(a, false) ? StaticValue::boolean(false) : unknown;
    case Op::DIFFER_BY_VALUE: return halves_agree(a, true) ? StaticValue::boolean(false) : unknown;
    case Op::KEEP: return kept(a);
  }
  assert(false && "these slots are set, not run");
  return unknown;
}

}  // namespace zorvel::model
