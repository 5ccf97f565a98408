#include "transformers/grounding/static_value.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <utility>

#include "model/expression_factory.h"
#include "model/walkers/expression_simplifier.h"

namespace zorvel::model {

namespace {

using Kind = StaticValue::Kind;
__extension__ typedef __int128 Wide;

/// A fraction while it is computed. Two words a factor: no single operation on machine words overflows it.
struct Fraction {
  Wide numerator;
  Wide denominator;
};

Fraction fraction(const StaticValue& value) { return {value.a, value.b}; }

Wide magnitude(Wide value) { return value < 0 ? -value : value; }

/// In lowest terms with a positive denominator; none if that does not fit machine words.
std::optional<Fraction> reduced(Fraction value) {
  Wide a = magnitude(value.numerator), b = magnitude(value.denominator);
  while (b != 0) a = std::exchange(b, a % b);
  if (value.denominator < 0) a = -a;
  const Fraction result{value.numerator / a, value.denominator / a};
  constexpr Wide greatest = std::numeric_limits<std::int64_t>::max();
  if (magnitude(result.numerator) > greatest || result.denominator > greatest) return std::nullopt;
  return result;
}

std::optional<Fraction> plus(const Fraction& x, const Fraction& y) {
  return reduced({x.numerator * y.denominator + y.numerator * x.denominator, x.denominator * y.denominator});
}

std::optional<Fraction> times(const Fraction& x, const Fraction& y) {
  return reduced({x.numerator * y.numerator, x.denominator * y.denominator});
}

StaticValue value_of(Kind kind, const std::optional<Fraction>& value) {
  if (!value) return {};
  assert(kind == Kind::RATIONAL || value->denominator == 1);
  return {kind, static_cast<std::int64_t>(value->numerator), static_cast<std::int64_t>(value->denominator)};
}

/// `combine` over the numbers, integers and rationals apart, from `neutral` on.
template <class Combine>
StaticValue fold(std::span<const StaticValue> numbers, std::int64_t neutral, Combine combine) {
  std::optional<Fraction> integers = Fraction{neutral, 1}, rationals = Fraction{neutral, 1};
  for (const StaticValue& number : numbers) {
    std::optional<Fraction>& part = number.kind == Kind::INTEGER ? integers : rationals;
    part = combine(*part, fraction(number));
    if (!part) return {};
  }
  const bool is_neutral = rationals->numerator == neutral && rationals->denominator == 1;
  if (is_neutral) return value_of(Kind::INTEGER, integers);
  return value_of(Kind::RATIONAL, combine(*integers, *rationals));
}

}  // namespace

StaticValue StaticValue::number(Kind kind, const rational& value) {
  const integer numerator = value.numerator(), denominator = value.denominator();
  // The least machine word has no positive counterpart; without it every magnitude fits.
  const integer least(std::numeric_limits<long>::min());
  if (!numerator.fits_long() || !denominator.fits_long() || numerator == least) return {};
  return {kind, static_cast<long>(numerator), static_cast<long>(denominator)};
}

StaticValue StaticValue::of(const ExpressionFactory& factory, const Node* node) {
  switch (node->kind()) {
    case NodeKind::TRUE: return boolean(true);
    case NodeKind::FALSE: return boolean(false);
    case NodeKind::INTEGER_CONSTANT:
      return number(Kind::INTEGER, rational(factory.get_integer_constant(node)));
    case NodeKind::RATIONAL_CONSTANT: return number(Kind::RATIONAL, factory.get_rational_constant(node));
    case NodeKind::INSTANCE_REFERENCE: return {Kind::OBJECT, static_cast<std::int64_t>(node->id), 1};
    default: return {};
  }
}

int compare_numbers(const StaticValue& a, const StaticValue& b) {
  const Wide left = Wide(a.a) * b.b, right = Wide(b.a) * a.b;
  return left < right ? -1 : (left > right ? 1 : 0);
}

StaticValue sum(std::span<const StaticValue> numbers) { return fold(numbers, 0, plus); }

StaticValue product(std::span<const StaticValue> numbers) { return fold(numbers, 1, times); }

StaticValue difference(const StaticValue& a, const StaticValue& b) {
  const bool are_integers = a.kind == Kind::INTEGER && b.kind == Kind::INTEGER;
  return value_of(are_integers ? Kind::INTEGER : Kind::RATIONAL, plus(fraction(a), {-Wide(b.a), b.b}));
}

StaticValue quotient(const StaticValue& a, const StaticValue& b) {
  if (b.a == 0) return {};
  if (a.kind == Kind::INTEGER && b.kind == Kind::INTEGER) return {Kind::RATIONAL, a.a / b.a, 1};
  return value_of(Kind::RATIONAL, times(fraction(a), {b.b, b.a}));
}

StaticValue as_integer(const StaticValue& value) {
  return value.kind == Kind::RATIONAL && value.b == 1 ? StaticValue{Kind::INTEGER, value.a, 1} : value;
}

std::size_t StaticTable::KeyHash::operator()(std::span<const StaticValue> key) const {
  std::size_t result = key.size();
  for (const StaticValue& value : key) result = mix_hash(result, StaticValueHash()(value));
  return result;
}

bool StaticTable::KeyEquality::operator()(std::span<const StaticValue> a,
                                          std::span<const StaticValue> b) const {
  return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

StaticTable::StaticTable(Environment& env, const ConstantImpl& constant) {
  const auto table = constant.value();
  if (table == nullptr) return;
  const ExpressionFactory& factory = env.expression_factory();
  const ExpressionSimplifier simplify(env);
  for (const auto& [arguments, node] : table->sorted_assignments()) {
    Key key;
    for (const Node* argument : arguments) key.push_back(StaticValue::of(factory, argument));
    // A key that is no value is met only by arguments that are none either.
    has_symbolic_keys_ |= !std::all_of(arguments.begin(), arguments.end(), ExpressionFactory::is_value);
    if (!std::all_of(key.begin(), key.end(), [](const StaticValue& value) { return value.is_known(); }))
      continue;
    const bool is_value = ExpressionFactory::is_value(node);
    const StaticValue value = StaticValue::of(factory, is_value ? node : simplify(node));
    if (arguments.size() == constant.arity())
      rows_.push_back({key, value});
    else if (std::find(shorter_lengths_.begin(), shorter_lengths_.end(), key.size()) ==
             shorter_lengths_.end())
      shorter_lengths_.push_back(key.size());
    has_default_ |= key.empty();
    values_.emplace(std::move(key), value);
  }
  std::sort(shorter_lengths_.rbegin(), shorter_lengths_.rend());
}

StaticValue StaticTable::value(std::span<const StaticValue> arguments) const {
  bool is_undefined = false;
  for (const StaticValue& argument : arguments) {
    if (argument.kind == Kind::UNKNOWN) return {};
    is_undefined |= argument.is_undefined();
  }
  if (is_undefined) return has_symbolic_keys_ ? StaticValue() : StaticValue::undefined();
  const auto exact = values_.find(arguments);
  if (exact != values_.end()) return exact->second;
  for (const std::size_t length : shorter_lengths_) {
    const auto found = values_.find(arguments.first(std::min(length, arguments.size())));
    if (found != values_.end()) return found->second;
  }
  return StaticValue::undefined();
}

std::optional<StaticValue> StaticTable::value_elsewhere() const {
  if (shorter_lengths_.empty()) return StaticValue::undefined();
  if (shorter_lengths_.front() > 0) return std::nullopt;
  return values_.find(std::span<const StaticValue>())->second;
}

}  // namespace zorvel::model
