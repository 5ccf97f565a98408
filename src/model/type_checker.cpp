#include "model/type_checker.h"

#include <algorithm>
#include <optional>
#include <string>

#include "model/constant.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/user_type.h"

namespace zorvel::model {

/// The type of intervals and conditions on containment; no model object has it.
class ExpressionTypeChecker::IntervalType : public TypeBase {
 public:
  IntervalType() : TypeBase(TypeCode::INTERVAL) {}
  const std::string& reference_name() const override {
    static const std::string name = "interval";
    return name;
  }
  bool is_finite_domain() const override { return false; }
};

/// The type of statements, and of the members of the empty set; no model object has it.
class ExpressionTypeChecker::VoidType : public TypeBase {
 public:
  VoidType() : TypeBase(TypeCode::VOID) {}
  const std::string& reference_name() const override {
    static const std::string name = "void";
    return name;
  }
  bool is_finite_domain() const override { return false; }
};

namespace {

bool is_numeric(const TypeBase& type) { return type.is_integer() || type.is_rational(); }

const SetTypeBase& as_set(const TypeBase& type) { return static_cast<const SetTypeBase&>(type); }

struct Bounds {
  std::optional<rational> lower, upper;
};

template <class Numeric>
Bounds bounds_of_numeric(const Numeric& type) {
  Bounds bounds;
  if (type.has_lower_bound()) bounds.lower = rational(type.lower_bound());
  if (type.has_upper_bound()) bounds.upper = rational(type.upper_bound());
  return bounds;
}

/// The bounds of an integer or rational type.
Bounds bounds_of(const TypeBase& type) {
  return type.is_integer() ? bounds_of_numeric(static_cast<const IntegerTypeBase&>(type))
                           : bounds_of_numeric(static_cast<const RationalTypeBase&>(type));
}

bool lies_within(const Bounds& inner, const Bounds& outer) {
  return (!outer.lower || (inner.lower && *outer.lower <= *inner.lower)) &&
         (!outer.upper || (inner.upper && *outer.upper >= *inner.upper));
}

bool are_disjoint(const Bounds& a, const Bounds& b) {
  return (a.lower && b.upper && *a.lower > *b.upper) || (a.upper && b.lower && *a.upper < *b.lower);
}

bool are_numbers_of_one_kind(const TypeBase& a, const TypeBase& b) {
  return (a.is_integer() && b.is_integer()) || (a.is_rational() && b.is_rational());
}

/// Whether an object of `given` may stand where one of `declared` is asked for; of an equality, the other way
/// round as well.
bool are_related(const TypeBase& declared, const TypeBase& given, bool is_equality) {
  return is_a(given, declared) || (is_equality && is_a(declared, given));
}

/// Whether members of the two types may stand in one set: the same type or one derived from it, nothing at
/// all, or numbers of one kind.
bool are_compatible_members(const TypeBase& a, const TypeBase& b, bool is_equality) {
  return are_related(a, b, is_equality) || a.is_void() || b.is_void() || are_numbers_of_one_kind(a, b);
}

[[noreturn]] void refuse(const char* message, Node* node) {
  throw TypeCheckingError(message) << print_expression{node};
}

using Limit = PossiblyInfiniteRational;

/// The range of a numeric expression; bounds that are absent are infinite.
struct Range {
  Limit lower, upper;
};

Range range_of(const TypeBase& type) {
  const Bounds bounds = bounds_of(type);
  return {bounds.lower ? Limit(*bounds.lower) : Limit::infinity(false),
          bounds.upper ? Limit(*bounds.upper) : Limit::infinity(true)};
}

Range sum(const Range& a, const Range& b) { return {a.lower + b.lower, a.upper + b.upper}; }

Range difference(const Range& a, const Range& b) { return {a.lower - b.upper, a.upper - b.lower}; }

Range product(const Range& a, const Range& b) {
  const Limit ll = a.lower * b.lower, lu = a.lower * b.upper;
  const Limit ul = a.upper * b.lower, uu = a.upper * b.upper;
  return {Limit::min(Limit::min(ll, lu), Limit::min(ul, uu)),
          Limit::max(Limit::max(ll, lu), Limit::max(ul, uu))};
}

/// Without bounds unless the divisor is one known number; InternalError if that is 0.
Range quotient(const Range& a, const Range& b) {
  if (b.lower.is_infinite() || b.upper.is_infinite() || b.lower.num() != b.upper.num())
    return {Limit::infinity(false), Limit::infinity(true)};
  const Limit first = a.lower / b.lower, second = a.upper / b.lower;
  return {Limit::min(first, second), Limit::max(first, second)};
}

/// One of the four operations of arithmetic, as far as types go.
struct Arithmetic {
  Range (*combine)(const Range&, const Range&);
  int neutral;                // the value of the operation without operands
  const char* operand_error;  // a text of TypeCheckingError
  const char* word;           // in the text on inconsistent bounds
  bool truncates;             // bounds of an integer result are rounded towards zero
};

constexpr Arithmetic multiplication{
    product, 1, "Found a multiplication having a non-numeric operand: ", "multiplication", false};
constexpr Arithmetic addition{sum, 0, "Found a sum having a non-numeric operand: ", "sum", false};
constexpr Arithmetic division{quotient, 1, "Found a division having a non-numeric operand: ", "division",
                              true};
constexpr Arithmetic subtraction{difference, 0,
                                 "Found a subtraction having a non-numeric operand: ", "subtraction", false};

/// The bounds that a type gets from a range. A range that is infinite on one side where a bound should be
/// comes from a product of an infinite bound with 0, and keeps 0 as its one bound.
Bounds bounds_of_range(const Range& range, const Arithmetic& operation, Node* node) {
  const auto inconsistent = [&] {
    return InternalError("Inconsistent upper-lower bound in type-checking ")
           << operation.word << print_expression{node};
  };
  const bool has_lower = !range.lower.is_infinite(), has_upper = !range.upper.is_infinite();
  if (has_lower && has_upper) {
    if (range.lower.num() > range.upper.num()) throw inconsistent();
    return {range.lower.num(), range.upper.num()};
  }
  if (has_lower) {
    if (!range.upper.is_positive()) throw inconsistent();
    return {range.lower.num(), std::nullopt};
  }
  if (has_upper) {
    if (range.lower.is_positive()) throw inconsistent();
    return {std::nullopt, range.upper.num()};
  }
  if (range.lower.is_positive() != range.upper.is_positive()) return {};
  return range.lower.is_positive() ? Bounds{rational(0), std::nullopt} : Bounds{std::nullopt, rational(0)};
}

integer integer_bound(const rational& bound, const Arithmetic& operation) {
  return operation.truncates ? bound.numerator() / bound.denominator() : bound.numerator();
}

TypePtr make_numeric_type(ModelFactory& factory, const Bounds& bounds) {
  if (bounds.lower && bounds.upper) return factory.make_rational_type(*bounds.lower, *bounds.upper);
  if (bounds.lower) return factory.make_rational_type(*bounds.lower, true);
  if (bounds.upper) return factory.make_rational_type(*bounds.upper, false);
  return factory.make_rational_type();
}

TypePtr make_integer_type(ModelFactory& factory, const Bounds& bounds, const Arithmetic& operation) {
  if (bounds.lower && bounds.upper)
    return factory.make_integer_type(integer_bound(*bounds.lower, operation),
                                     integer_bound(*bounds.upper, operation));
  if (bounds.lower) return factory.make_integer_type(integer_bound(*bounds.lower, operation), true);
  if (bounds.upper) return factory.make_integer_type(integer_bound(*bounds.upper, operation), false);
  return factory.make_integer_type();
}

/// The type of an operation of arithmetic on operands of the given types.
TypePtr type_of_arithmetic(ModelFactory& factory, const std::vector<TypePtr>& operands,
                           const Arithmetic& operation, Node* node) {
  if (operands.empty())
    return factory.make_integer_type(integer(operation.neutral), integer(operation.neutral));
  if (!std::ranges::all_of(operands, [](const TypePtr& type) { return is_numeric(*type); }))
    refuse(operation.operand_error, node);
  Range range = range_of(*operands[0]);
  for (std::size_t i = 1; i < operands.size(); ++i) range = operation.combine(range, range_of(*operands[i]));
  const Bounds bounds = bounds_of_range(range, operation, node);
  const bool is_integer =
      std::ranges::all_of(operands, [](const TypePtr& type) { return type->is_integer(); });
  return is_integer ? make_integer_type(factory, bounds, operation) : make_numeric_type(factory, bounds);
}

}  // namespace

ExpressionTypeChecker::ExpressionTypeChecker(Environment& env)
    : ExpressionWalker(env),
      interval_type_(std::make_shared<IntervalType>()),
      void_type_(std::make_shared<VoidType>()) {}

bool ExpressionTypeChecker::compatible_operands(const TypePtr& a, const TypePtr& b, bool is_equality) const {
  if (are_related(*a, *b, is_equality)) return true;
  if (a->is_set() && b->is_set())
    return are_compatible_members(*as_set(*a).type(), *as_set(*b).type(), is_equality);
  const bool are_numbers = (a->is_integer() && b->is_integer()) || (a->is_rational() && is_numeric(*b)) ||
                           (is_equality && a->is_integer() && b->is_rational());
  if (!are_numbers) return false;

  const Bounds bounds_a = bounds_of(*a), bounds_b = bounds_of(*b);
  if (lies_within(bounds_b, bounds_a)) return true;
  const bool disjoint = are_disjoint(bounds_a, bounds_b);
  if (is_equality != disjoint) return is_equality;
  env().warning_manager().warn(std::string(is_equality ? "Equality" : "Assignment") +
                               " operands bounds not compatible: " + a->reference_name() + " and " +
                               b->reference_name());
  return true;
}

const TypePtr& ExpressionTypeChecker::type_of_child(const Node* node, std::size_t index) const {
  return memoized_value(node->children[index]);
}

TypePtr ExpressionTypeChecker::boolean_type() const { return env().model_factory().make_boolean_type(); }

TypePtr ExpressionTypeChecker::boolean_of_booleans(Node* node, const char* message) const {
  for (std::size_t i = 0; i < node->arity; ++i)
    if (!type_of_child(node, i)->is_boolean()) refuse(message, node);
  return boolean_type();
}

TypePtr ExpressionTypeChecker::boolean_of_numbers(Node* node, const char* message) const {
  for (std::size_t i = 0; i < node->arity; ++i)
    if (!is_numeric(*type_of_child(node, i))) refuse(message, node);
  return boolean_type();
}

std::vector<TypePtr> ExpressionTypeChecker::types_of_children(const Node* node) const {
  std::vector<TypePtr> types;
  types.reserve(node->arity);
  for (Node* child : node->operands()) types.push_back(memoized_value(child));
  return types;
}

void ExpressionTypeChecker::check_pair(Node* node, bool is_equality, const char* message) const {
  if (!compatible_operands(type_of_child(node, 0), type_of_child(node, 1), is_equality))
    refuse(message, node);
}

void ExpressionTypeChecker::check_sets(Node* node) const {
  static const char* const message = "Found an expression having non-compatible operands: ";
  if (!type_of_child(node, 0)->is_set() || !type_of_child(node, 1)->is_set()) refuse(message, node);
  // Neither side receives the other, so either may be the one of the derived type.
  if (!are_compatible_members(*as_set(*type_of_child(node, 0)).type(),
                              *as_set(*type_of_child(node, 1)).type(), true))
    refuse(message, node);
}

TypePtr ExpressionTypeChecker::type_of_set_operation(Node* node) const {
  check_sets(node);
  const TypePtr& first = type_of_child(node, 0);
  const TypePtr& second = type_of_child(node, 1);
  const TypeBase& first_member = *as_set(*first).type();
  const TypeBase& second_member = *as_set(*second).type();
  if (first_member.is_void()) return second;
  const bool is_second_wider = is_a(first_member, second_member);
  const bool is_second_narrower = is_a(second_member, first_member);
  if (node->kind() == NodeKind::UNION) return is_second_wider ? second : first;
  return node->kind() == NodeKind::INTERSECTION && is_second_narrower ? second : first;
}

void ExpressionTypeChecker::check_arguments(Node* node, const ParameterVector& parameters,
                                            const std::string& noun) const {
  if (node->arity != parameters.size())
    throw TypeCheckingError("Found a " + noun + " reference having wrong number of parameters");
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const TypePtr wanted = parameters[i]->type();
    const TypePtr& given = type_of_child(node, i);
    if (!compatible_operands(wanted, given, false))
      throw TypeCheckingError("Found a " + noun + " reference having non-compatible children: ")
          << print_expression{node} << " type of parameter " << i + 1 << " is " << given->reference_name()
          << " while it should be " << wanted->reference_name();
  }
}

TypePtr ExpressionTypeChecker::walk_and(Node* node) const {
  return boolean_of_booleans(node, "Found an and having a non-boolean operand: ");
}
TypePtr ExpressionTypeChecker::walk_or(Node* node) const {
  return boolean_of_booleans(node, "Found an or having a non-boolean operand: ");
}
TypePtr ExpressionTypeChecker::walk_not(Node* node) const {
  return boolean_of_booleans(node, "Found a not having a non-boolean operand: ");
}
TypePtr ExpressionTypeChecker::walk_imply(Node* node) const {
  return boolean_of_booleans(node, "Found an imply having a non-boolean operand: ");
}
TypePtr ExpressionTypeChecker::walk_iff(Node* node) const {
  return boolean_of_booleans(node, "Found an iff having a non-boolean operand: ");
}

TypePtr ExpressionTypeChecker::walk_equals(Node* node) const {
  check_pair(node, true, "Found an equality having non-compatible operands: ");
  return boolean_type();
}

TypePtr ExpressionTypeChecker::walk_lt(Node* node) const {
  return boolean_of_numbers(node, "Found a '<' having a non-numeric operand: ");
}
TypePtr ExpressionTypeChecker::walk_le(Node* node) const {
  return boolean_of_numbers(node, "Found a '<=' having a non-numeric operand: ");
}
TypePtr ExpressionTypeChecker::walk_gt(Node* node) const {
  return boolean_of_numbers(node, "Found a '>' having a non-numeric operand: ");
}
TypePtr ExpressionTypeChecker::walk_ge(Node* node) const {
  return boolean_of_numbers(node, "Found a '>=' having a non-numeric operand: ");
}

TypePtr ExpressionTypeChecker::walk_times(Node* node) const {
  return type_of_arithmetic(env().model_factory(), types_of_children(node), multiplication, node);
}
TypePtr ExpressionTypeChecker::walk_plus(Node* node) const {
  return type_of_arithmetic(env().model_factory(), types_of_children(node), addition, node);
}
TypePtr ExpressionTypeChecker::walk_div(Node* node) const {
  return type_of_arithmetic(env().model_factory(), types_of_children(node), division, node);
}
TypePtr ExpressionTypeChecker::walk_minus(Node* node) const {
  return type_of_arithmetic(env().model_factory(), types_of_children(node), subtraction, node);
}

TypePtr ExpressionTypeChecker::walk_sqrt(Node* node) const {
  if (!is_numeric(*type_of_child(node, 0)))
    refuse("Found a sqrt expression having a non-numeric first operand: ", node);
  const Node* const decimals = node->children[1];
  if (!ExpressionFactory::is_integer_constant(decimals) ||
      env().expression_factory().get_integer_constant(decimals) < integer(0))
    refuse("Found a sqrt expression having a non-positive integer second operand: ", node);
  return env().model_factory().make_rational_type(rational(0), true);
}

TypePtr ExpressionTypeChecker::walk_in(Node* node) const {
  static const char* const message = "Found an expression having non-compatible operands: ";
  const TypeBase& element = *type_of_child(node, 0);
  const TypeBase& set = *type_of_child(node, 1);
  if (!set.is_set()) refuse(message, node);
  const TypeBase& member = *as_set(set).type();
  const bool is_accepted = is_a(element, member) || member.is_void() ||
                           (member.is_integer() && element.is_integer()) ||
                           (member.is_rational() && element.is_rational());
  if (!is_accepted) refuse(message, node);
  return boolean_type();
}

TypePtr ExpressionTypeChecker::walk_subset(Node* node) const {
  check_sets(node);
  return boolean_type();
}
TypePtr ExpressionTypeChecker::walk_union(Node* node) const { return type_of_set_operation(node); }
TypePtr ExpressionTypeChecker::walk_intersection(Node* node) const { return type_of_set_operation(node); }
TypePtr ExpressionTypeChecker::walk_difference(Node* node) const { return type_of_set_operation(node); }

TypePtr ExpressionTypeChecker::walk_assign(Node* node) const {
  check_pair(node, false, "Found an assign having non-compatible operands: ");
  return void_type_;
}
TypePtr ExpressionTypeChecker::walk_increase(Node* node) const {
  check_pair(node, false, "Found an increase having non-compatible operands: ");
  return void_type_;
}
TypePtr ExpressionTypeChecker::walk_decrease(Node* node) const {
  check_pair(node, false, "Found an decrease having non-compatible operands: ");
  return void_type_;
}

TypePtr ExpressionTypeChecker::walk_in_assign(Node* node) const {
  if (!type_of_child(node, 0)->is_rational() || !type_of_child(node, 1)->is_interval())
    refuse("Found an :in assign having non-compatible operands: ", node);
  return void_type_;
}

TypePtr ExpressionTypeChecker::walk_interval(Node* node) const {
  for (std::size_t i = 0; i < node->arity; ++i)
    if (!is_numeric(*type_of_child(node, i))) refuse("Found an interval having a non-numeric bound: ", node);
  return interval_type_;
}

TypePtr ExpressionTypeChecker::walk_temporal_expression(Node* node) const {
  if (!type_of_child(node, 0)->is_interval())
    refuse("Found a temporal expression having a non-interval as first operand: ", node);
  const TypePtr& body = type_of_child(node, 1);
  if (!body->is_boolean() && !body->is_void())
    refuse("Found a temporal expression having a non-boolean and non-void as second operand: ", node);
  return body;
}

TypePtr ExpressionTypeChecker::walk_contains(Node* node) const {
  if (!type_of_child(node, 0)->is_interval())
    refuse("Found a containment expression having a non-interval as first operand: ", node);
  if (node->arity > 1 && !is_numeric(*type_of_child(node, 1)))
    refuse("Found a containment expression having a non-numeric as second operand: ", node);
  return interval_type_;
}

TypePtr ExpressionTypeChecker::walk_start(Node*) const { return env().model_factory().make_rational_type(); }
TypePtr ExpressionTypeChecker::walk_end(Node*) const { return env().model_factory().make_rational_type(); }
TypePtr ExpressionTypeChecker::walk_duration(Node*) const {
  return env().model_factory().make_rational_type();
}
TypePtr ExpressionTypeChecker::walk_time(Node*) const { return env().model_factory().make_rational_type(); }
TypePtr ExpressionTypeChecker::walk_label_reference(Node*) const {
  return env().model_factory().make_rational_type();
}

TypePtr ExpressionTypeChecker::walk_true(Node*) const { return boolean_type(); }
TypePtr ExpressionTypeChecker::walk_false(Node*) const { return boolean_type(); }
TypePtr ExpressionTypeChecker::walk_action_status_is(Node*) const { return boolean_type(); }

TypePtr ExpressionTypeChecker::walk_rational_constant(Node* node) const {
  const rational& value = env().expression_factory().get_rational_constant(node);
  return env().model_factory().make_rational_type(value, value);
}

TypePtr ExpressionTypeChecker::walk_integer_constant(Node* node) const {
  const integer& value = env().expression_factory().get_integer_constant(node);
  return env().model_factory().make_integer_type(value, value);
}

TypePtr ExpressionTypeChecker::walk_set_constant(Node* node) const {
  if (node->arity == 0) return env().model_factory().make_set_type(void_type_);
  TypePtr member = type_of_child(node, 0);
  // The bounds of numbers play no part, as between sets: 1 and 7 have disjoint ones.
  for (std::size_t i = 1; i < node->arity; ++i) {
    const TypePtr& next = type_of_child(node, i);
    if (is_a(*member, *next))
      member = next;
    else if (!are_numbers_of_one_kind(*member, *next) && !compatible_operands(member, next, false))
      refuse("Found an expression having non-compatible operands: ", node);
  }
  return env().model_factory().make_set_type(member);
}

TypePtr ExpressionTypeChecker::walk_dot(Node* node) const { return type_of_child(node, 1); }
TypePtr ExpressionTypeChecker::walk_forall(Node*) const { return void_type_; }

TypePtr ExpressionTypeChecker::walk_unresolved_symbol(Node* node) const {
  if (env().expression_factory().get_name_from_unresolved_symbol(node) == "*")
    throw InternalError("Symbol '*' used in a not allowed position") << print_expression{node};
  throw InternalError("Not implemented 'unresolved_symbol': ") << print_expression{node};
}

TypePtr ExpressionTypeChecker::walk_fluent_reference(Node* node) const {
  const auto fluent = env().expression_factory().get_fluent_from_reference(node);
  check_arguments(node, fluent->parameters(), "fluent");
  return fluent->type();
}

TypePtr ExpressionTypeChecker::walk_constant_reference(Node* node) const {
  const auto constant = env().expression_factory().get_constant_from_reference(node);
  check_arguments(node, constant->parameters(), "constant");
  return constant->type();
}

TypePtr ExpressionTypeChecker::walk_parameter_reference(Node* node) const {
  return env().expression_factory().get_parameter_from_reference(node)->type();
}

TypePtr ExpressionTypeChecker::walk_instance_reference(Node* node) const {
  return env().expression_factory().get_instance_from_reference(node)->type();
}

}  // namespace zorvel::model
