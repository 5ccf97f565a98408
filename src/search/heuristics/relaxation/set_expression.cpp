#include "search/heuristics/relaxation/set_expression.h"

#include <algorithm>
#include <cassert>
#include <unordered_map>

#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/types.h"
#include "search/heuristics/relaxation/value_reachability.h"

namespace zorvel {

using F = model::ExpressionFactory;

namespace {

bool is_any(const std::vector<ValueId>& set) { return set.size() == 1 && set[0] == any_value_id; }

bool can_be(const std::vector<ValueId>& set, ValueId boolean) {
  return is_any(set) || std::find(set.begin(), set.end(), boolean) != set.end();
}

void assign_booleans(std::vector<ValueId>& set, bool can_be_false, bool can_be_true) {
  set.clear();
  if (can_be_false) set.push_back(false_value);
  if (can_be_true) set.push_back(true_value);
}

void merge_into(std::vector<std::uint32_t>& slots, std::uint32_t slot) {
  const auto place = std::lower_bound(slots.begin(), slots.end(), slot);
  if (place == slots.end() || *place != slot) slots.insert(place, slot);
}

}  // namespace

void make_set(std::vector<ValueId>& values) {
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
  if (!values.empty() && values.back() == any_value_id) values = {any_value_id};
}

ValueRange::ValueRange(const model::TypeBase& type, EvaluationTables& tables) {
  F& factory = tables.layout.env().expression_factory();
  if (type.is_integer()) {
    const auto& integers = static_cast<const model::IntegerTypeBase&>(type);
    is_integer_ = true;
    if (integers.has_lower_bound())
      lower_ = tables.values.id_of(factory.make_integer_constant(integers.lower_bound()));
    if (integers.has_upper_bound())
      upper_ = tables.values.id_of(factory.make_integer_constant(integers.upper_bound()));
  } else if (type.is_rational()) {
    is_rational_ = true;
    const auto& rationals = static_cast<const model::RationalTypeBase&>(type);
    if (rationals.has_lower_bound())
      lower_ = tables.values.id_of(factory.make_rational_constant(rationals.lower_bound()));
    if (rationals.has_upper_bound())
      upper_ = tables.values.id_of(factory.make_rational_constant(rationals.upper_bound()));
  }
}

bool ValueRange::admits(const ValueTable& values, ValueId value) const {
  if (value == any_value_id || !values.is_number(value)) return true;
  return (lower_ == unset_value || !values.is_less(value, lower_)) &&
         (upper_ == unset_value || !values.is_less(upper_, value));
}

ValueId ValueRange::as_held(ValueTable& values, ValueId value) const {
  if (value == any_value_id || !values.is_number(value)) return value;
  return is_integer_ ? values.as_integer(value) : is_rational_ ? values.as_rational(value) : value;
}

SetExpression::SetExpression(EvaluationTables& tables, Node* expression) : tables_(tables) {
  // Operands come before what they are operands of, so one pass over the steps evaluates all.
  std::unordered_map<Node*, std::uint32_t, NodeIdHash> numbers;
  struct Visit {
    Node* node;
    bool has_operands;
  };
  std::vector<Visit> pending{{expression, false}};
  while (!pending.empty() && is_compiled_) {
    const auto [node, has_operands] = pending.back();
    pending.pop_back();
    if (numbers.contains(node)) continue;
    if (!has_operands) {
      pending.push_back({node, true});
      for (Node* child : node->operands()) pending.push_back({child, false});
      continue;
    }
    Step step;
    step.first_operand = static_cast<std::uint32_t>(operands_.size());
    step.operands = static_cast<std::uint32_t>(node->arity);
    for (Node* child : node->operands()) operands_.push_back(numbers.at(child));
    is_compiled_ = compile(node, step);
    numbers.emplace(node, static_cast<std::uint32_t>(steps_.size()));
    steps_.push_back(std::move(step));
  }
  results_.resize(steps_.size());
}

bool SetExpression::compile(Node* node, Step& step) {
  if (F::is_value(node)) {
    step.values = {tables_.values.id_of(node)};
    return true;
  }
  const F& factory = tables_.layout.env().expression_factory();
  switch (node->kind()) {
    case NodeKind::NOT: step.op = Op::logical_not; return true;
    case NodeKind::AND: step.op = Op::logical_and; return true;
    case NodeKind::OR: step.op = Op::logical_or; return true;
    case NodeKind::IMPLY: step.op = Op::imply; return true;
    case NodeKind::IFF: step.op = Op::iff; return true;
    case NodeKind::EQUALS: step.op = Op::equals; return true;
    case NodeKind::LT: step.op = Op::less; return true;
    case NodeKind::LE: step.op = Op::less_or_equal; return true;
    case NodeKind::GT: step.op = Op::greater; return true;
    case NodeKind::GE: step.op = Op::greater_or_equal; return true;
    case NodeKind::PLUS: step.op = Op::sum; return true;
    case NodeKind::TIMES: step.op = Op::product; return true;
    case NodeKind::MINUS: step.op = Op::difference; return true;
    case NodeKind::DIV: step.op = Op::quotient; return true;
    case NodeKind::FLUENT_REFERENCE: {
      const auto fluent = factory.get_fluent_from_reference(node);
      if (node->arity == 0) {
        const auto slot = tables_.layout.index().find(node);
        if (slot == tables_.layout.index().end()) return false;
        step.op = Op::slot;
        step.slot = static_cast<std::uint32_t>(slot->second);
        merge_into(slots_read_, step.slot);
        return true;
      }
      step.op = Op::slot_of;
      step.table = tables_.layout.slots_of(*fluent);
      if (step.table == nullptr || step.table->arity() != node->arity) return false;
      for (const std::uint32_t slot : step.table->results()) merge_into(slots_read_, slot);
      return compile_application(node, fluent->parameters(), step);
    }
    case NodeKind::CONSTANT_REFERENCE: {
      const auto constant = factory.get_constant_from_reference(node);
      step.op = Op::value_of;
      step.constant = &tables_.layout.values_of(constant);
      return step.constant->arity() == node->arity && compile_application(node, constant->parameters(), step);
    }
    default: return false;
  }
}

bool SetExpression::compile_application(Node* node, const model::ParameterVector& parameters, Step& step) {
  if (parameters.size() != node->arity) return false;
  step.first_range = static_cast<std::uint32_t>(ranges_.size());
  for (const auto& parameter : parameters) ranges_.emplace_back(*parameter->type(), tables_);
  return true;
}

const std::vector<ValueId>* SetExpression::evaluate(const ValueSets& slots) {
  if (!is_compiled_) return nullptr;
  assert(!steps_.empty());
  for (std::size_t number = 0; number < steps_.size(); ++number) {
    Step& step = steps_[number];
    if (!run(step, slots)) return nullptr;
    results_[number] = step.op == Op::slot ? &slots[step.slot] : &step.values;
  }
  return results_.back();
}

std::optional<bool> SetExpression::can_be_true(const ValueSets& slots) {
  const std::vector<ValueId>* const values = evaluate(slots);
  if (values == nullptr) return std::nullopt;
  // Of two truth values one is true.
  return values->size() > 1 || can_be(*values, true_value);
}

bool SetExpression::run(Step& step, const ValueSets& slots) {
  switch (step.op) {
    case Op::constant:
    case Op::slot: return true;
    case Op::slot_of:
    case Op::value_of: return run_application(step, slots);
    case Op::logical_not:
    case Op::logical_and:
    case Op::logical_or:
    case Op::imply:
    case Op::iff: run_connective(step); return true;
    case Op::equals:
    case Op::less:
    case Op::less_or_equal:
    case Op::greater:
    case Op::greater_or_equal: run_comparison(step); return true;
    case Op::sum:
    case Op::product:
    case Op::difference:
    case Op::quotient: run_arithmetic(step); return true;
  }
  return false;
}

void SetExpression::run_connective(Step& step) {
  const auto all = [&](ValueId value) {
    for (std::size_t i = 0; i < step.operands; ++i)
      if (!can_be(operand(step, i), value)) return false;
    return true;
  };
  const auto some = [&](ValueId value) {
    for (std::size_t i = 0; i < step.operands; ++i)
      if (can_be(operand(step, i), value)) return true;
    return false;
  };
  const auto left = [&](ValueId value) { return can_be(operand(step, 0), value); };
  const auto right = [&](ValueId value) { return can_be(operand(step, 1), value); };
  bool can_be_false = false, can_be_true = false;
  switch (step.op) {
    case Op::logical_not:
      can_be_false = left(true_value);
      can_be_true = left(false_value);
      break;
    // An operand without a value makes a conjunction false and a disjunction true.
    case Op::logical_and:
      can_be_true = all(true_value);
      can_be_false = !can_be_true || some(false_value);
      break;
    case Op::logical_or:
      can_be_false = all(false_value);
      can_be_true = !can_be_false || some(true_value);
      break;
    case Op::imply:
      can_be_false = left(true_value) && right(false_value);
      can_be_true = left(false_value) || right(true_value);  // the other side needs no value
      break;
    default:  // iff
      can_be_true = (left(false_value) && right(false_value)) || (left(true_value) && right(true_value));
      can_be_false = (left(false_value) && right(true_value)) || (left(true_value) && right(false_value));
  }
  assign_booleans(step.values, can_be_false, can_be_true);
}

void SetExpression::run_comparison(Step& step) {
  const auto &left = operand(step, 0), &right = operand(step, 1);
  if (left.empty() || right.empty()) return step.values.clear();  // no value, no answer
  if (is_any(left) || is_any(right)) return assign_booleans(step.values, true, true);
  const ValueTable& values = tables_.values;
  const auto holds = [&](ValueId a, ValueId b) {
    switch (step.op) {
      case Op::less: return values.is_less(a, b);
      case Op::less_or_equal: return values.is_less_or_equal(a, b);
      case Op::greater: return values.is_less(b, a);
      case Op::greater_or_equal: return values.is_less_or_equal(b, a);
      default: return a == b || (values.is_number(a) && values.is_number(b) && values.is_same_number(a, b));
    }
  };
  bool can_be_false = false, can_be_true = false;
  for (const ValueId a : left) {
    for (const ValueId b : right) {
      (holds(a, b) ? can_be_true : can_be_false) = true;
      if (can_be_false && can_be_true) return assign_booleans(step.values, true, true);
    }
  }
  assign_booleans(step.values, can_be_false, can_be_true);
}

void SetExpression::run_arithmetic(Step& step) {
  ValueTable& values = tables_.values;
  const auto combine = [&](ValueId a, ValueId b) {
    const ValueId pair[] = {a, b};
    switch (step.op) {
      case Op::sum: return values.sum(pair);
      case Op::product: return values.product(pair);
      case Op::difference: return values.difference(a, b);
      default: return values.quotient(a, b);
    }
  };
  constexpr std::size_t limit = ValueReachability::value_limit;
  std::vector<ValueId> running = operand(step, 0), next;
  for (std::size_t i = 1; i < step.operands; ++i) {
    const auto& right = operand(step, i);
    if (!running.empty() && !right.empty() && (is_any(running) || is_any(right))) {
      running = {any_value_id};
      continue;
    }
    next.clear();
    for (const ValueId a : running) {
      for (const ValueId b : right)
        if (const ValueId result = combine(a, b); result != no_value) next.push_back(result);
      // Most of a product are often values that were there before: they are counted only now and then.
      if (next.size() <= 4 * limit) continue;
      make_set(next);
      if (next.size() > limit) break;
    }
    make_set(next);
    if (next.size() > limit) next = {any_value_id};
    running.swap(next);
  }
  step.values = running;
}

bool SetExpression::run_application(Step& step, const ValueSets& slots) {
  ValueTable& table = tables_.values;
  step.values.clear();
  assert(step.op == Op::value_of ? step.constant != nullptr : step.table != nullptr);
  choices_.resize(step.operands);
  for (std::size_t i = 0; i < step.operands; ++i) {
    choices_[i].clear();
    const ValueRange& range = ranges_[step.first_range + i];
    for (const ValueId value : operand(step, i)) {
      if (value == any_value_id) {
        // A fluent has its slots, each with the values reached; a constant's table has no such list.
        if (step.op == Op::value_of) return false;
        for (const std::uint32_t slot : step.table->results())
          step.values.insert(step.values.end(), slots[slot].begin(), slots[slot].end());
        make_set(step.values);
        return true;
      }
      if (range.admits(table, value))
        choices_[i].push_back(range.is_integer() && table.is_number(value) ? table.as_integer(value) : value);
    }
    make_set(choices_[i]);
  }
  const bool is_defined = for_each_choice(choices_, [&](const std::vector<ValueId>& arguments) {
    if (step.op == Op::value_of) {
      step.values.push_back(step.constant->find(arguments.data()));
      return step.values.back() != unset_value;
    }
    const std::uint32_t slot = step.table->find(arguments.data());
    if (slot == ArgumentTable::absent) return false;
    step.values.insert(step.values.end(), slots[slot].begin(), slots[slot].end());
    return true;
  });
  make_set(step.values);
  return is_defined;
}

}  // namespace zorvel
