#include "state/value_table.h"

#include <cassert>
#include <optional>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/expression_factory.h"
#include "model/walkers/expression_simplifier.h"

namespace zorvel {

using model::ExpressionFactory;

namespace {

__extension__ using Wide = __int128;

/// The word that `value` is, if it fits one. Both ends of the range are left out, so that no negation of an
/// entry overflows.
std::optional<std::int64_t> as_word(const integer& value) {
  if (!value.fits_long()) return std::nullopt;
  const auto word = static_cast<std::int64_t>(static_cast<long>(value));
  return word == INT64_MIN || word == INT64_MAX ? std::nullopt : std::optional(word);
}

}  // namespace

std::size_t ValueTable::PairTable::hash(std::uint64_t first, std::uint64_t second) {
  std::uint64_t mixed = first * 0x9E3779B97F4A7C15u ^ (second + 0x7F4A7C15u) * 0xC2B2AE3D27D4EB4Fu;
  return mixed ^ mixed >> 32;
}

const ValueId* ValueTable::PairTable::find(std::uint64_t first, std::uint64_t second) const {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash(first, second) & mask;; i = (i + 1) & mask) {
    const Slot& slot = slots_[i];
    if (slot.id == unset_value) return nullptr;
    if (slot.first == first && slot.second == second) return &slot.id;
  }
}

void ValueTable::PairTable::insert(std::uint64_t first, std::uint64_t second, ValueId id) {
  assert(id != unset_value && find(first, second) == nullptr);
  if (2 * (size_ + 1) > slots_.size()) {
    std::vector<Slot> old(2 * slots_.size());
    old.swap(slots_);
    size_ = 0;
    for (const Slot& slot : old)
      if (slot.id != unset_value) insert(slot.first, slot.second, slot.id);
  }
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = hash(first, second) & mask;
  while (slots_[i].id != unset_value) i = (i + 1) & mask;
  slots_[i] = {first, second, id};
  ++size_;
}

ValueTable::ValueTable(Environment& env) : EnvObject(env) {
  ExpressionFactory& factory = env.expression_factory();
  entries_.push_back({nullptr, 0, 0, 0, Kind::unset});
  for (const bool value : {false, true}) {
    Node* const node = factory.make_boolean_constant(value);
    ids_.emplace(node, add_entry({node, 0, 0, 0, Kind::boolean}));
  }
}

ValueId ValueTable::add_entry(const Entry& entry) {
  if (entries_.size() == no_value) throw UnsupportedProblemError("Too many different values in a search");
  entries_.push_back(entry);
  return static_cast<ValueId>(entries_.size() - 1);
}

ValueId ValueTable::id_of_small_integer(std::int64_t value) {
  const bool is_near = -near_limit <= value && value < near_limit;
  ValueId* const near = is_near ? &near_integers_[static_cast<std::size_t>(value + near_limit)] : nullptr;
  if (near != nullptr && *near != unset_value) return *near;
  const auto key = static_cast<std::uint64_t>(value);
  if (near == nullptr)
    if (const ValueId* const found = small_integers_.find(key, 0)) return *found;
  const ValueId id = add_entry({nullptr, value, 1, static_cast<double>(value), Kind::integer});
  if (near != nullptr)
    *near = id;
  else
    small_integers_.insert(key, 0, id);
  return id;
}

ValueId ValueTable::id_of_integer(const integer& value) {
  if (const auto word = as_word(value)) return id_of_small_integer(*word);
  Node* const node = env().expression_factory().make_integer_constant(value);
  const auto [entry, is_new] = ids_.try_emplace(node, unset_value);
  if (is_new) entry->second = add_entry({node, 0, 0, static_cast<double>(value), Kind::integer});
  return entry->second;
}

ValueId ValueTable::id_of_rational(const rational& value) {
  const auto num = as_word(value.numerator()), den = as_word(value.denominator());
  if (num && den) {
    const auto first = static_cast<std::uint64_t>(*num), second = static_cast<std::uint64_t>(*den);
    if (const ValueId* const found = small_rationals_.find(first, second)) return *found;
    const ValueId id = add_entry({nullptr, *num, *den, static_cast<double>(value), Kind::rational});
    small_rationals_.insert(first, second, id);
    return id;
  }
  Node* const node = env().expression_factory().make_rational_constant(value);
  const auto [entry, is_new] = ids_.try_emplace(node, unset_value);
  if (is_new) entry->second = add_entry({node, 0, 0, static_cast<double>(value), Kind::rational});
  return entry->second;
}

ValueId ValueTable::id_of(Node* value) {
  if (value == nullptr) return unset_value;
  if (const auto found = ids_.find(value); found != ids_.end()) return found->second;
  ExpressionFactory& factory = env().expression_factory();
  ValueId id;
  if (ExpressionFactory::is_integer_constant(value)) {
    id = id_of_integer(factory.get_integer_constant(value));
  } else if (ExpressionFactory::is_rational_constant(value)) {
    id = id_of_rational(factory.get_rational_constant(value));
  } else if (ExpressionFactory::is_instance_reference(value)) {
    id = add_entry({value, 0, 0, 0, Kind::instance});
  } else {
    throw InternalError("Found a value that a state cannot hold: ") << model::print_expression{value};
  }
  entries_[id].node = value;
  ids_.emplace(value, id);
  return id;
}

// Numbers get their nodes when somebody asks for them: a search makes far more numbers than it shows, and a
// node lives as long as the environment.
Node* ValueTable::node_of(ValueId id) {
  assert(id < entries_.size());
  if (entries_[id].node == nullptr && id != unset_value) {
    ExpressionFactory& factory = env().expression_factory();
    const Entry& entry = entries_[id];
    Node* const node = entry.kind == Kind::integer
                           ? factory.make_integer_constant(integer(static_cast<long>(entry.num)))
                           : factory.make_rational_constant(rational(integer(static_cast<long>(entry.num)),
                                                                     integer(static_cast<long>(entry.den))));
    entries_[id].node = node;
    ids_.emplace(node, id);
  }
  return entries_[id].node;
}

rational ValueTable::number_of(ValueId id) const {
  assert(is_number(id));
  const Entry& entry = entries_[id];
  if (entry.den == 0) return env().expression_factory().get_numeric_constant(entry.node);
  if (entry.den == 1) return rational(static_cast<long>(entry.num));
  return rational(integer(static_cast<long>(entry.num)), integer(static_cast<long>(entry.den)));
}

ValueId ValueTable::as_integer(ValueId id) {
  assert(id < entries_.size());
  if (entries_[id].kind != Kind::rational) return id;
  if (entries_[id].den > 1) return id;
  if (entries_[id].den == 1) return id_of_small_integer(entries_[id].num);
  const rational value = number_of(id);
  return value.is_integer() ? id_of_integer(value.numerator()) : id;
}

ValueId ValueTable::as_rational(ValueId id) {
  return entries_[id].kind == Kind::integer ? id_of_rational(number_of(id)) : id;
}

bool ValueTable::is_less(ValueId a, ValueId b) const {
  assert(is_number(a) && is_number(b));
  const Entry &left = entries_[a], &right = entries_[b];
  if (left.den == 1 && right.den == 1) return left.num < right.num;
  // Denominators are positive, so the order survives; the products of two words fit twice a word.
  if (left.den != 0 && right.den != 0) return Wide(left.num) * right.den < Wide(right.num) * left.den;
  return number_of(a) < number_of(b);
}

bool ValueTable::is_same_number(ValueId a, ValueId b) const {
  assert(is_number(a) && is_number(b));
  if (a == b) return true;
  const Entry &left = entries_[a], &right = entries_[b];
  if (left.kind == right.kind) return false;  // one value of one kind is one id
  if (left.den != 0 && right.den != 0) return left.num == right.num && left.den == right.den;
  return number_of(a) == number_of(b);
}

ValueId ValueTable::exact_result(Op op, ValueId a, ValueId b) {
  const bool are_integers = is_integer(a) && is_integer(b);
  switch (op) {
    case Op::sum: {
      const rational result = number_of(a) + number_of(b);
      return are_integers ? id_of_integer(result.numerator()) : id_of_rational(result);
    }
    case Op::product: {
      const rational result = number_of(a) * number_of(b);
      return are_integers ? id_of_integer(result.numerator()) : id_of_rational(result);
    }
    case Op::difference: {
      const rational result = number_of(a) - number_of(b);
      return are_integers ? id_of_integer(result.numerator()) : id_of_rational(result);
    }
    case Op::quotient: {
      const rational left = number_of(a), right = number_of(b);
      if (right == rational(0)) return no_value;
      // The quotient of integers is truncated, and yet a rational.
      return id_of_rational(are_integers ? rational(left.numerator() / right.numerator()) : left / right);
    }
    case Op::square_root: {
      const auto root = model::decimal_square_root(number_of(a), number_of(b).numerator());
      return root ? id_of_rational(*root) : no_value;
    }
  }
  return no_value;
}

ValueId ValueTable::integer_result(Op op, ValueId a, ValueId b) {
  if (is_small(a) && is_small(b)) {
    const std::int64_t left = entries_[a].num, right = entries_[b].num;
    std::int64_t result = 0;
    bool overflows = false;
    switch (op) {
      case Op::sum: overflows = __builtin_add_overflow(left, right, &result); break;
      case Op::product: overflows = __builtin_mul_overflow(left, right, &result); break;
      case Op::difference: overflows = __builtin_sub_overflow(left, right, &result); break;
      default: overflows = true;
    }
    if (!overflows && result != INT64_MIN && result != INT64_MAX) return id_of_small_integer(result);
  }
  return exact_result(op, a, b);
}

// Rationals are cancelled and looked up for each result, which costs more than finding what was computed
// before; sums of words are done faster than either.
ValueId ValueTable::rational_result(Op op, ValueId a, ValueId b) {
  const std::uint64_t operands = std::uint64_t(a) << 32 | b;
  const auto key = static_cast<std::uint64_t>(op);
  if (const ValueId* const found = results_.find(operands, key)) return *found;
  const ValueId result = exact_result(op, a, b);
  results_.insert(operands, key, result);
  return result;
}

ValueId ValueTable::sum(std::span<const ValueId> terms) {
  ValueId integers = id_of_small_integer(0), rationals = unset_value;
  for (const ValueId term : terms) {
    assert(is_number(term));
    if (is_integer(term))
      integers = integer_result(Op::sum, integers, term);
    else
      rationals = rationals == unset_value ? term : rational_result(Op::sum, rationals, term);
  }
  if (rationals == unset_value || (entries_[rationals].num == 0 && entries_[rationals].den == 1))
    return integers;
  return rational_result(Op::sum, rationals, integers);
}

ValueId ValueTable::product(std::span<const ValueId> factors) {
  ValueId integers = id_of_small_integer(1), rationals = unset_value;
  for (const ValueId factor : factors) {
    assert(is_number(factor));
    if (is_integer(factor))
      integers = integer_result(Op::product, integers, factor);
    else
      rationals = rationals == unset_value ? factor : rational_result(Op::product, rationals, factor);
  }
  if (rationals == unset_value || (entries_[rationals].num == 1 && entries_[rationals].den == 1))
    return integers;
  return rational_result(Op::product, rationals, integers);
}

ValueId ValueTable::difference(ValueId a, ValueId b) {
  return is_integer(a) && is_integer(b) ? integer_result(Op::difference, a, b)
                                        : rational_result(Op::difference, a, b);
}

ValueId ValueTable::quotient(ValueId a, ValueId b) { return rational_result(Op::quotient, a, b); }

ValueId ValueTable::square_root(ValueId radicand, ValueId decimals) {
  return rational_result(Op::square_root, radicand, decimals);
}

}  // namespace zorvel
