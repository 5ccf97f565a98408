#include "pddl/expansion.h"

#include <algorithm>
#include <cassert>

namespace zorvel::pddl {

namespace {

using Kind = ExpressionKind;

const Object* object_of(const Expression& argument, const Binding& binding) {
  return argument.kind == Kind::object ? argument.object : binding[*argument.variable];
}

/// The objects that the arguments stand for; nothing if one is open.
std::optional<std::vector<const Object*>> objects_of(const Expression& expression, const Binding& binding) {
  std::vector<const Object*> objects;
  objects.reserve(expression.operands.size());
  for (const Expression* argument : expression.operands) {
    objects.push_back(object_of(*argument, binding));
    if (objects.back() == nullptr) return std::nullopt;
  }
  return objects;
}

/// Whether an argument names an object, that is whether an equality is one of objects.
bool is_object(const Expression& term) { return term.kind == Kind::object || term.kind == Kind::variable; }

bool compare(Kind kind, const rational& a, const rational& b) {
  switch (kind) {
    case Kind::less: return a < b;
    case Kind::less_or_equal: return a <= b;
    case Kind::greater: return a > b;
    case Kind::greater_or_equal: return a >= b;
    default: assert(kind == Kind::equality); return a == b;
  }
}

[[maybe_unused]] bool is_comparison(Kind kind) {
  return kind >= Kind::less && kind <= Kind::greater_or_equal;
}

}  // namespace

std::optional<bool> Expansion::decide_atom(const Expression& atom, const Binding& binding) const {
  if (!is_known(*atom.fluent)) return std::nullopt;
  const auto objects = objects_of(atom, binding);
  if (!objects) {
    // A table without a row is false whatever its arguments are.
    if (initial_state_.rows(*atom.fluent).empty()) return false;
    return std::nullopt;
  }
  return initial_state_.holds(*atom.fluent, *objects);
}

std::optional<bool> Expansion::decide_equality(const Expression& equality, const Binding& binding) const {
  const Expression& left = *equality.operands[0];
  const Expression& right = *equality.operands[1];
  if (!is_object(left)) return decide_comparison(equality, binding);
  const Object* const a = object_of(left, binding);
  const Object* const b = object_of(right, binding);
  if (a != nullptr && b != nullptr) return a == b;
  if (left.variable != nullptr && left.variable == right.variable) return true;
  // Without an object in common, the two may have types that the model cannot compare.
  const bool can_be_equal = a == nullptr && b == nullptr
                                ? overlap(*left.variable->sort, *right.variable->sort)
                            : a == nullptr ? contains(*left.variable->sort, *b)
                                           : contains(*right.variable->sort, *a);
  return can_be_equal ? std::nullopt : std::optional(false);
}

std::optional<bool> Expansion::decide_comparison(const Expression& comparison, const Binding& binding) const {
  const auto a = compute(*comparison.operands[0], binding);
  const auto b = compute(*comparison.operands[1], binding);
  if (a && b) return compare(comparison.kind, *a, *b);
  return std::nullopt;
}

std::optional<bool> Expansion::decide(const Expression& expression, const Binding& binding) const {
  switch (expression.kind) {
    case Kind::truth: return true;
    case Kind::falsity: return false;
    case Kind::atom: return decide_atom(expression, binding);
    case Kind::equality: return decide_equality(expression, binding);
    case Kind::negation: {
      const auto operand = decide(*expression.operands[0], binding);
      return operand ? std::optional(!*operand) : std::nullopt;
    }
    case Kind::implication: {
      const auto premise = decide(*expression.operands[0], binding);
      if (premise == false) return true;
      const auto conclusion = decide(*expression.operands[1], binding);
      if (conclusion == true) return true;
      return premise == true ? conclusion : std::nullopt;
    }
    case Kind::conjunction:
    case Kind::disjunction: {
      const bool absorbing = expression.kind == Kind::disjunction;
      bool is_open = false;
      for (const Expression* operand : expression.operands) {
        const auto truth = decide(*operand, binding);
        if (truth == absorbing) return absorbing;
        is_open = is_open || !truth;
      }
      return is_open ? std::nullopt : std::optional(!absorbing);
    }
    case Kind::less:
    case Kind::less_or_equal:
    case Kind::greater:
    case Kind::greater_or_equal: return decide_comparison(expression, binding);
    default: return std::nullopt;  // of quantifiers: expanding decides them
  }
}

std::optional<rational> Expansion::compute(const Expression& expression, const Binding& binding) const {
  if (expression.kind == Kind::number) return expression.value;
  if (expression.kind == Kind::function) {
    if (!is_known(*expression.fluent)) return std::nullopt;
    const auto objects = objects_of(expression, binding);
    const rational* const value = objects ? initial_state_.value(*expression.fluent, *objects) : nullptr;
    return value == nullptr ? std::nullopt : std::optional(*value);
  }
  const bool is_operation = expression.kind >= Kind::plus && expression.kind <= Kind::divide;
  if (!is_operation) return std::nullopt;
  std::vector<rational> operands;
  for (const Expression* operand : expression.operands) {
    const auto value = compute(*operand, binding);
    if (!value) return std::nullopt;
    operands.push_back(*value);
  }
  rational result(expression.kind == Kind::times ? 1 : 0);
  switch (expression.kind) {
    case Kind::plus:
      for (const rational& operand : operands) result += operand;
      return result;
    case Kind::times:
      for (const rational& operand : operands) result *= operand;
      return result;
    case Kind::minus: return operands.size() == 1 ? -operands[0] : operands[0] - operands[1];
    default:
      if (operands[1] == rational(0)) return std::nullopt;
      return operands[0] / operands[1];
  }
}

const Expression* Expansion::known(bool value, const Place& place) {
  return task_.add(value ? Kind::truth : Kind::falsity, place);
}

const Expression* Expansion::replace(const Expression& argument, const Binding& binding) {
  if (argument.kind != Kind::variable || binding[*argument.variable] == nullptr) return &argument;
  Expression* const object = task_.add(Kind::object, argument.place);
  object->object = binding[*argument.variable];
  return object;
}

const Expression* Expansion::replace_arguments(const Expression& expression, const Binding& binding) {
  bool is_same = true;
  std::vector<const Expression*> operands;
  operands.reserve(expression.operands.size());
  for (const Expression* operand : expression.operands) {
    operands.push_back(replace(*operand, binding));
    is_same = is_same && operands.back() == operand;
  }
  if (is_same) return &expression;
  Expression* const result = task_.add(expression.kind, expression.place, std::move(operands));
  result->fluent = expression.fluent;
  return result;
}

void Expansion::count_operand(const Place& place) {
  if (++operands_ <= max_operands) return;
  messages_.error(place, "the formula has more than " + std::to_string(max_operands) +
                             " operands when its quantifiers are written out");
  throw TooLarge();
}

const Expression* Expansion::condition(const Expression& expression, const Binding& binding) {
  operands_ = 0;
  Binding local = binding;
  try {
    return expand(expression, local);
  } catch (const TooLarge&) {
    return known(false, expression.place);
  }
}

const Expression* Expansion::expand(const Expression& expression, Binding& binding) {
  switch (expression.kind) {
    case Kind::negation: return negate(expand(*expression.operands[0], binding));
    case Kind::conjunction:
    case Kind::disjunction:
    case Kind::implication: return expand_list(expression, binding);
    case Kind::exists:
    case Kind::forall: return expand_quantifier(expression, binding);
    default: break;
  }
  if (const auto truth = decide(expression, binding)) return known(*truth, expression.place);
  if (expression.kind == Kind::preference) {
    messages_.error(expression.place, "a preference cannot stand in the condition of a 'when'");
    return known(true, expression.place);
  }
  count_operand(expression.place);
  if (expression.kind == Kind::atom) return replace_arguments(expression, binding);
  if (is_object(*expression.operands[0])) return replace_arguments(expression, binding);
  assert(is_comparison(expression.kind) || expression.kind == Kind::equality);
  return task_.add(expression.kind, expression.place,
                   {number(*expression.operands[0], binding), number(*expression.operands[1], binding)});
}

/// Puts an operand into a list of its kind, without the neutral ones and the inner lists of that kind.
void Expansion::join(Kind kind, const Expression* operand, std::vector<const Expression*>& operands) {
  const Kind neutral = kind == Kind::conjunction ? Kind::truth : Kind::falsity;
  if (operand->kind == kind)
    operands.insert(operands.end(), operand->operands.begin(), operand->operands.end());
  else if (operand->kind != neutral)
    operands.push_back(operand);
}

const Expression* Expansion::expand_list(const Expression& expression, Binding& binding) {
  // A part that is known and decides the whole is found before the others are expanded.
  if (const auto truth = decide(expression, binding)) return known(*truth, expression.place);
  const bool is_implication = expression.kind == Kind::implication;
  const Kind kind = is_implication ? Kind::disjunction : expression.kind;
  const Kind absorbing = kind == Kind::conjunction ? Kind::falsity : Kind::truth;
  std::vector<const Expression*> operands;
  for (std::size_t i = 0; i < expression.operands.size(); ++i) {
    const Expression* operand = expand(*expression.operands[i], binding);
    if (is_implication && i == 0) operand = negate(operand);
    if (operand->kind == absorbing) return operand;
    join(kind, operand, operands);
  }
  if (operands.empty()) return known(kind == Kind::conjunction, expression.place);
  if (operands.size() == 1) return operands[0];
  return task_.add(kind, expression.place, std::move(operands));
}

const Expression* Expansion::expand_quantifier(const Expression& expression, Binding& binding) {
  const bool is_forall = expression.kind == Kind::forall;
  const Kind kind = is_forall ? Kind::conjunction : Kind::disjunction;
  const Kind absorbing = is_forall ? Kind::falsity : Kind::truth;
  const Expression& body = *expression.operands[0];
  std::vector<const Expression*> operands;
  const Expression* decided = nullptr;
  // What the body is known to be after the first few variables spares the choices of the others.
  const auto is_excluded = [&] {
    if (decided != nullptr) return true;
    const auto truth = decide(body, binding);
    if (truth && *truth != is_forall) decided = known(*truth, expression.place);
    return truth.has_value();
  };
  for_each_choice(expression.variables, binding, is_excluded, [&] {
    if (decided != nullptr) return;
    const Expression* const operand = expand(body, binding);
    if (operand->kind == absorbing)
      decided = operand;
    else
      join(kind, operand, operands);
  });
  if (decided != nullptr) return decided;
  if (operands.empty()) return known(is_forall, expression.place);
  if (operands.size() == 1) return operands[0];
  return task_.add(kind, expression.place, std::move(operands));
}

const Expression* Expansion::negate(const Expression* expression) {
  switch (expression->kind) {
    case Kind::truth: return known(false, expression->place);
    case Kind::falsity: return known(true, expression->place);
    case Kind::negation: return expression->operands[0];
    default: return task_.add(Kind::negation, expression->place, {expression});
  }
}

const Expression* Expansion::number(const Expression& expression, const Binding& binding) {
  if (expression.kind != Kind::number) {
    if (const auto value = compute(expression, binding)) {
      Expression* const result = task_.add(Kind::number, expression.place);
      result->value = *value;
      return result;
    }
  }
  if (expression.kind == Kind::function) return replace_arguments(expression, binding);
  if (expression.operands.empty()) return &expression;
  std::vector<const Expression*> operands;
  for (const Expression* operand : expression.operands) operands.push_back(number(*operand, binding));
  return task_.add(expression.kind, expression.place, std::move(operands));
}

const Expression* Expansion::target(const Expression& expression, const Binding& binding) {
  return replace_arguments(expression, binding);
}

}  // namespace zorvel::pddl
