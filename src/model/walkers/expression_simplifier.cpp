#include "model/walkers/expression_simplifier.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>

#include "model/constant.h"
#include "model/fluent.h"

namespace zorvel::model {

namespace {

constexpr int max_constant_depth = 1000;

bool is_true(const Node* node) { return node->kind() == NodeKind::TRUE; }
bool is_false(const Node* node) { return node->kind() == NodeKind::FALSE; }

bool are_numbers(const Node* a, const Node* b) {
  return ExpressionFactory::is_numeric_constant(a) && ExpressionFactory::is_numeric_constant(b);
}

std::strong_ordering compare_numbers(const ExpressionFactory& factory, const Node* a, const Node* b) {
  if (ExpressionFactory::is_integer_constant(a) && ExpressionFactory::is_integer_constant(b))
    return factory.get_integer_constant(a) <=> factory.get_integer_constant(b);
  return factory.get_numeric_constant(a) <=> factory.get_numeric_constant(b);
}

bool is_ground_value(const Node* node) {
  if (ExpressionFactory::is_set_constant(node)) return std::ranges::all_of(node->operands(), is_ground_value);
  return ExpressionFactory::is_value(node);
}

bool are_same_value(const ExpressionFactory& factory, const Node* a, const Node* b);

bool contains_all_of(const ExpressionFactory& factory, const Node* set, const Node* members) {
  // Equal values are one node, save for an integer beside a rational and for sets in sets.
  const std::unordered_set<const Node*> nodes(set->operands().begin(), set->operands().end());
  return std::ranges::all_of(members->operands(), [&](const Node* member) {
    return nodes.contains(member) || std::ranges::any_of(set->operands(), [&](const Node* own) {
             return are_same_value(factory, own, member);
           });
  });
}

/// Equality of two ground values: numbers by value, sets by their members.
bool are_same_value(const ExpressionFactory& factory, const Node* a, const Node* b) {
  if (a == b) return true;
  if (are_numbers(a, b)) return compare_numbers(factory, a, b) == 0;
  return ExpressionFactory::is_set_constant(a) && ExpressionFactory::is_set_constant(b) &&
         contains_all_of(factory, a, b) && contains_all_of(factory, b, a);
}

}  // namespace

std::optional<rational> decimal_square_root(const rational& value, const integer& decimals) {
  const double root = std::sqrt(static_cast<double>(value));
  if (!std::isfinite(root) || decimals < integer(0)) return std::nullopt;
  const rational exact(root);
  // why a limit: no double has more decimal places than this, so rounding to more changes nothing, and the
  // power of ten would fill the memory.
  constexpr long max_decimals_of_double = 1074;
  if (decimals >= integer(max_decimals_of_double)) return exact;
  return round(exact, static_cast<unsigned>(static_cast<int>(decimals)));
}

Node* fold_division(ExpressionFactory& factory, Node* a, Node* b) {
  if (ExpressionFactory::is_zero(b)) return nullptr;
  if (ExpressionFactory::is_integer_constant(a) && ExpressionFactory::is_integer_constant(b))
    return factory.make_rational_constant(
        rational(factory.get_integer_constant(a) / factory.get_integer_constant(b)));
  return factory.make_rational_constant(factory.get_numeric_constant(a) / factory.get_numeric_constant(b));
}

bool has_argument_outside(const ExpressionFactory& factory, const ParameterVector& parameters,
                          std::span<Node* const> arguments) {
  for (std::size_t i = 0; i < parameters.size() && i < arguments.size(); ++i) {
    if (!ExpressionFactory::is_numeric_constant(arguments[i])) continue;
    const rational value = factory.get_numeric_constant(arguments[i]);
    const TypeBase& type = *parameters[i]->type();
    if (!within_bounds(type, value) || (type.is_integer() && !value.is_integer())) return true;
  }
  return false;
}

bool is_undefined(const ExpressionFactory& factory, Node* simplified) {
  const auto is_applied_outside = [&](Node* node) {
    if (ExpressionFactory::is_fluent_reference(node))
      return has_argument_outside(factory, factory.get_fluent_from_reference(node)->parameters(),
                                  node->operands());
    return ExpressionFactory::is_constant_reference(node) &&
           has_argument_outside(factory, factory.get_constant_from_reference(node)->parameters(),
                                node->operands());
  };
  std::vector<Node*> pending{simplified};
  std::unordered_set<Node*> seen{simplified};
  while (!pending.empty()) {
    Node* const node = pending.back();
    pending.pop_back();
    if (ExpressionFactory::is_div(node) && ExpressionFactory::is_zero(node->children[1])) return true;
    if (is_applied_outside(node)) return true;
    if (ExpressionFactory::is_sqrt(node) && ExpressionFactory::is_numeric_constant(node->children[0]) &&
        !decimal_square_root(factory.get_numeric_constant(node->children[0]),
                             factory.get_integer_constant(node->children[1])))
      return true;
    for (Node* child : node->operands())
      if (seen.insert(child).second) pending.push_back(child);
  }
  return false;
}

Node* as_value_of(ExpressionFactory& factory, const TypeBase& type, Node* value) {
  if (type.is_rational() && ExpressionFactory::is_integer_constant(value))
    return factory.make_rational_constant(factory.get_numeric_constant(value));
  return as_argument_of(factory, type, value);
}

Node* as_argument_of(ExpressionFactory& factory, const TypeBase& type, Node* value) {
  if (!type.is_integer() || !ExpressionFactory::is_rational_constant(value)) return value;
  const rational& number = factory.get_rational_constant(value);
  return number.is_integer() ? factory.make_integer_constant(number.numerator()) : value;
}

void normalize_arguments(ExpressionFactory& factory, const ParameterVector& parameters,
                         std::vector<Node*>& arguments) {
  if (parameters.size() != arguments.size()) return;
  for (std::size_t i = 0; i < arguments.size(); ++i)
    if (ExpressionFactory::is_rational_constant(arguments[i]))
      arguments[i] = as_argument_of(factory, *parameters[i]->type(), arguments[i]);
}

Node* ExpressionSimplifier::walk_not(Node* node) const {
  Node* const a = memoized_value(node->children[0]);
  if (ExpressionFactory::is_boolean_constant(a)) return factory().make_boolean_constant(is_false(a));
  return factory().make_not(a);
}

Node* ExpressionSimplifier::walk_and(Node* node) const {
  std::vector<Node*> kept;
  for (Node* child : node->operands()) {
    Node* const a = memoized_value(child);
    if (is_false(a)) return a;
    if (!is_true(a)) kept.push_back(a);
  }
  if (kept.empty()) return factory().make_boolean_constant(true);
  return kept.size() == 1 ? kept[0] : factory().make_and(kept);
}

Node* ExpressionSimplifier::walk_or(Node* node) const {
  std::vector<Node*> kept;
  for (Node* child : node->operands()) {
    Node* const a = memoized_value(child);
    if (is_true(a)) return a;
    if (!is_false(a)) kept.push_back(a);
  }
  if (kept.empty()) return factory().make_boolean_constant(false);
  return kept.size() == 1 ? kept[0] : factory().make_or(kept);
}

Node* ExpressionSimplifier::walk_imply(Node* node) const {
  Node* const a = memoized_value(node->children[0]);
  Node* const b = memoized_value(node->children[1]);
  if (is_true(a)) return b;
  if (is_false(a) || is_true(b)) return factory().make_boolean_constant(true);
  return is_false(b) ? factory().make_not(a) : factory().make_imply(a, b);
}

Node* ExpressionSimplifier::walk_iff(Node* node) const {
  Node* const a = memoized_value(node->children[0]);
  Node* const b = memoized_value(node->children[1]);
  const bool is_first_constant = ExpressionFactory::is_boolean_constant(a);
  if (!is_first_constant && !ExpressionFactory::is_boolean_constant(b)) return factory().make_iff(a, b);
  Node* const constant = is_first_constant ? a : b;
  Node* const other = is_first_constant ? b : a;
  return is_true(constant) ? other : (*this)(factory().make_not(other));
}

Node* ExpressionSimplifier::walk_equals(Node* node) const {
  Node* const a = memoized_value(node->children[0]);
  Node* const b = memoized_value(node->children[1]);
  if (a == b) return factory().make_boolean_constant(true);
  const bool are_constants = ExpressionFactory::is_constant(a) && ExpressionFactory::is_constant(b);
  const bool are_instances =
      ExpressionFactory::is_instance_reference(a) && ExpressionFactory::is_instance_reference(b);
  // A set that holds anything but values may still turn out equal to another one.
  if ((are_constants || are_instances) && is_ground_value(a) && is_ground_value(b))
    return factory().make_boolean_constant(are_same_value(factory(), a, b));
  return factory().make_equals(a, b);
}

#define ZORVEL_WALK_COMPARISON(walk, make, comparison)                                     \
  Node* ExpressionSimplifier::walk(Node* node) const {                                     \
    Node* const a = memoized_value(node->children[0]);                                     \
    Node* const b = memoized_value(node->children[1]);                                     \
    if (!are_numbers(a, b)) return factory().make(a, b);                                   \
    return factory().make_boolean_constant(compare_numbers(factory(), a, b) comparison 0); \
  }
ZORVEL_WALK_COMPARISON(walk_lt, make_lt, <)
ZORVEL_WALK_COMPARISON(walk_le, make_le, <=)
ZORVEL_WALK_COMPARISON(walk_gt, make_gt, >)
ZORVEL_WALK_COMPARISON(walk_ge, make_ge, >=)
#undef ZORVEL_WALK_COMPARISON

Node* ExpressionSimplifier::walk_plus(Node* node) const {
  integer integers(0);
  rational rationals(0);
  std::vector<Node*> kept;
  for (Node* child : node->operands()) {
    Node* const a = memoized_value(child);
    if (ExpressionFactory::is_integer_constant(a))
      integers += factory().get_integer_constant(a);
    else if (ExpressionFactory::is_rational_constant(a))
      rationals += factory().get_rational_constant(a);
    else
      kept.push_back(a);
  }
  Node* constant = nullptr;
  if (rationals != rational(0))
    constant = factory().make_rational_constant(rationals + rational(integers));
  else if (integers != integer(0))
    constant = factory().make_integer_constant(integers);
  if (kept.empty()) return constant != nullptr ? constant : factory().make_integer_constant(integer(0));
  if (constant != nullptr) kept.push_back(constant);
  return factory().make_plus(kept);
}

Node* ExpressionSimplifier::walk_times(Node* node) const {
  integer integers(1);
  rational rationals(1);
  std::vector<Node*> kept;
  for (Node* child : node->operands()) {
    Node* const a = memoized_value(child);
    if (ExpressionFactory::is_integer_constant(a))
      integers *= factory().get_integer_constant(a);
    else if (ExpressionFactory::is_rational_constant(a))
      rationals *= factory().get_rational_constant(a);
    else
      kept.push_back(a);
  }
  Node* constant = nullptr;
  if (rationals != rational(1))
    constant = factory().make_rational_constant(rationals * rational(integers));
  else if (integers != integer(1))
    constant = factory().make_integer_constant(integers);
  if (kept.empty()) return constant != nullptr ? constant : factory().make_integer_constant(integer(1));
  if (constant != nullptr) kept.push_back(constant);
  return factory().make_times(kept);
}

Node* ExpressionSimplifier::walk_minus(Node* node) const {
  Node* const a = memoized_value(node->children[0]);
  Node* const b = memoized_value(node->children[1]);
  if (!are_numbers(a, b)) return factory().make_minus(a, b);
  if (ExpressionFactory::is_integer_constant(a) && ExpressionFactory::is_integer_constant(b))
    return factory().make_integer_constant(factory().get_integer_constant(a) -
                                           factory().get_integer_constant(b));
  return factory().make_rational_constant(factory().get_numeric_constant(a) -
                                          factory().get_numeric_constant(b));
}

Node* ExpressionSimplifier::walk_div(Node* node) const {
  Node* const a = memoized_value(node->children[0]);
  Node* const b = memoized_value(node->children[1]);
  Node* const quotient = are_numbers(a, b) ? fold_division(factory(), a, b) : nullptr;
  return quotient != nullptr ? quotient : factory().make_div(a, b);
}

Node* ExpressionSimplifier::walk_sqrt(Node* node) const {
  Node* const radicand = memoized_value(node->children[0]);
  const integer& decimals = factory().get_integer_constant(node->children[1]);
  if (ExpressionFactory::is_numeric_constant(radicand))
    if (const auto root = decimal_square_root(factory().get_numeric_constant(radicand), decimals))
      return factory().make_rational_constant(*root);
  return factory().make_sqrt(radicand, node->children[1]);
}

Node* ExpressionSimplifier::walk_fluent_reference(Node* node) const {
  if (node->arity == 0) return node;
  const auto fluent = factory().get_fluent_from_reference(node);
  std::vector<Node*> arguments = memoized_children(node);
  normalize_arguments(factory(), fluent->parameters(), arguments);
  return factory().make_fluent_reference(fluent, arguments);
}

Node* ExpressionSimplifier::walk_constant_reference(Node* node) const {
  const auto constant = factory().get_constant_from_reference(node);
  std::vector<Node*> arguments = memoized_children(node);
  normalize_arguments(factory(), constant->parameters(), arguments);
  const auto table = constant->value();
  Node* const value = table == nullptr ? nullptr : table->assignment(arguments);
  if (value == nullptr) return factory().make_constant_reference(constant, arguments);
  return simplify_value(*constant, value);
}

Node* ExpressionSimplifier::simplify_value(const ConstantImpl& constant, Node* value) const {
  if (ExpressionFactory::is_value(value)) return value;
  // A value may name other constants. It is walked from here, so the depth must be bounded.
  if (constant_depth_ >= max_constant_depth)
    throw InternalError("The value of constant '")
        << constant.name() << "' refers to itself or through too many other constants";
  struct DepthGuard {
    explicit DepthGuard(int& counter) : depth(counter) { ++depth; }
    ~DepthGuard() { --depth; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;
    int& depth;
  } guard(constant_depth_);
  return (*this)(value);
}

}  // namespace zorvel::model
