#include "state/compiled_expression.h"

#include <array>
#include <cassert>

#include "core/errors.h"
#include "model/walkers/expression_simplifier.h"
#include "state/evaluator.h"

namespace zorvel {

namespace {

constexpr std::uint32_t common_height = 32;  // of stack and temporaries together

/// `unset_value` if a value is no boolean.
ValueId conjunction(std::span<const ValueId> operands) {
  bool all = true;
  for (const ValueId operand : operands) {
    if (!ValueTable::is_boolean(operand)) return unset_value;
    all = all && operand == true_value;
  }
  return ValueTable::of_boolean(all);
}

ValueId disjunction(std::span<const ValueId> operands) {
  bool any = false;
  for (const ValueId operand : operands) {
    if (!ValueTable::is_boolean(operand)) return unset_value;
    any = any || operand == true_value;
  }
  return ValueTable::of_boolean(any);
}

ValueId equality(const ValueTable& values, ValueId a, ValueId b) {
  if (a == b) return true_value;
  if (values.is_number(a) && values.is_number(b)) return ValueTable::of_boolean(values.is_same_number(a, b));
  // An instance against a constant is ill-typed and does not reduce.
  return values.is_instance(a) == values.is_instance(b) ? false_value : unset_value;
}

}  // namespace

ValueId CompiledExpression::run(const ValueId* slots) const {
  assert(layout_ != nullptr);
  if (height_ + temporaries_ <= common_height) {
    std::array<ValueId, common_height> stack;
    return run(slots, stack.data());
  }
  std::vector<ValueId> stack(height_ + temporaries_);
  return run(slots, stack.data());
}

ValueId CompiledExpression::run(const ValueId* slots, ValueId* stack) const {
  ValueTable& values = layout_->values();
  ValueId* top = stack;  // the first free place
  ValueId* const temporaries = stack + height_;
  const auto are_numbers = [&] { return values.is_number(top[-2]) && values.is_number(top[-1]); };
  const auto are_all_numbers = [&](std::uint32_t count) {
    for (const ValueId* operand = top - count; operand != top; ++operand)
      if (!values.is_number(*operand)) return false;
    return true;
  };
  for (const Instruction instruction : program_) {
    const std::uint32_t operand = instruction.operand;
    switch (instruction.op) {
      case Op::constant: *top++ = operand; break;
      case Op::load:
        if (slots[operand] == unset_value) return unset_value;
        *top++ = slots[operand];
        break;
      case Op::load_of: {
        top -= tables_[operand]->arity();
        const std::uint32_t slot = tables_[operand]->find(top);
        if (slot == ArgumentTable::absent || slots[slot] == unset_value) return unset_value;
        *top++ = slots[slot];
        break;
      }
      case Op::value_of: {
        top -= constants_[operand]->arity();
        const ValueId value = constants_[operand]->find(top);
        if (value == unset_value) return unset_value;
        *top++ = value;
        break;
      }
      case Op::to_integer: top[-1] = values.as_integer(top[-1]); break;
      case Op::store: temporaries[operand] = top[-1]; break;
      case Op::fetch: *top++ = temporaries[operand]; break;
      case Op::logical_not:
        if (!ValueTable::is_boolean(top[-1])) return unset_value;
        top[-1] = ValueTable::of_boolean(top[-1] == false_value);
        break;
      case Op::logical_and:
      case Op::logical_or: {
        top -= operand;
        const std::span<const ValueId> operands(top, operand);
        *top = instruction.op == Op::logical_and ? conjunction(operands) : disjunction(operands);
        if (*top++ == unset_value) return unset_value;
        break;
      }
      case Op::imply:
      case Op::iff: {
        --top;
        if (!ValueTable::is_boolean(top[-1]) || !ValueTable::is_boolean(top[0])) return unset_value;
        const bool left = top[-1] == true_value, right = top[0] == true_value;
        top[-1] = ValueTable::of_boolean(instruction.op == Op::imply ? !left || right : left == right);
        break;
      }
      case Op::equals:
        --top;
        top[-1] = equality(values, top[-1], top[0]);
        if (top[-1] == unset_value) return unset_value;
        break;
      case Op::less:
        if (!are_numbers()) return unset_value;
        --top;
        top[-1] = ValueTable::of_boolean(values.is_less(top[-1], top[0]));
        break;
      case Op::less_or_equal:
        if (!are_numbers()) return unset_value;
        --top;
        top[-1] = ValueTable::of_boolean(values.is_less_or_equal(top[-1], top[0]));
        break;
      case Op::greater:
        if (!are_numbers()) return unset_value;
        --top;
        top[-1] = ValueTable::of_boolean(values.is_less(top[0], top[-1]));
        break;
      case Op::greater_or_equal:
        if (!are_numbers()) return unset_value;
        --top;
        top[-1] = ValueTable::of_boolean(values.is_less_or_equal(top[0], top[-1]));
        break;
      case Op::sum:
      case Op::product: {
        if (!are_all_numbers(operand)) return unset_value;
        top -= operand;
        const std::span<const ValueId> operands(top, operand);
        *top = instruction.op == Op::sum ? values.sum(operands) : values.product(operands);
        ++top;
        break;
      }
      case Op::difference:
        if (!are_numbers()) return unset_value;
        --top;
        top[-1] = values.difference(top[-1], top[0]);
        break;
      case Op::quotient:
        if (!are_numbers()) return unset_value;
        --top;
        top[-1] = values.quotient(top[-1], top[0]);
        if (top[-1] == no_value) return unset_value;
        break;
      case Op::square_root:
        if (!are_numbers() || !values.is_integer(top[-1])) return unset_value;
        --top;
        top[-1] = values.square_root(top[-1], top[0]);
        if (top[-1] == no_value) return unset_value;
        break;
      case Op::give_up: return unset_value;
    }
  }
  assert(top == stack + 1);
  return stack[0];
}

ValueId CompiledExpression::evaluate_plainly(const ValueId* slots) const {
  Environment& env = layout_->env();
  const SearchState state = layout_->unpack(slots);
  const ExpressionEvaluator evaluate_in_state(env, layout_->index(), state);
  Node* const value = evaluate_in_state(expression_);
  if (model::ExpressionFactory::is_value(value)) return layout_->values().id_of(value);
  if (model::is_undefined(env.expression_factory(), value)) return no_value;
  throw InternalError("A constant value was expected: ") << model::print_expression{value};
}

}  // namespace zorvel
