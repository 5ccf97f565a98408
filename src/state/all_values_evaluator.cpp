#include "state/all_values_evaluator.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "core/errors.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/walkers/expression_simplifier.h"
#include "state/operations.h"

namespace zorvel {

using model::ExpressionFactory;
using model::NodeSet;

namespace {

bool are_integers(const Node* a, const Node* b) {
  return ExpressionFactory::is_integer_constant(a) && ExpressionFactory::is_integer_constant(b);
}

Node* sum(ExpressionFactory& factory, Node* a, Node* b) {
  if (are_integers(a, b))
    return factory.make_integer_constant(factory.get_integer_constant(a) + factory.get_integer_constant(b));
  return factory.make_rational_constant(factory.get_numeric_constant(a) + factory.get_numeric_constant(b));
}

Node* product(ExpressionFactory& factory, Node* a, Node* b) {
  if (are_integers(a, b))
    return factory.make_integer_constant(factory.get_integer_constant(a) * factory.get_integer_constant(b));
  return factory.make_rational_constant(factory.get_numeric_constant(a) * factory.get_numeric_constant(b));
}

Node* difference(ExpressionFactory& factory, Node* a, Node* b) {
  if (are_integers(a, b))
    return factory.make_integer_constant(factory.get_integer_constant(a) - factory.get_integer_constant(b));
  return factory.make_rational_constant(factory.get_numeric_constant(a) - factory.get_numeric_constant(b));
}

/// Null if b is 0.
Node* quotient(ExpressionFactory& factory, Node* a, Node* b) {
  if (ExpressionFactory::is_zero(b)) return nullptr;
  if (are_integers(a, b))
    return factory.make_integer_constant(factory.get_integer_constant(a) / factory.get_integer_constant(b));
  return factory.make_rational_constant(factory.get_numeric_constant(a) / factory.get_numeric_constant(b));
}

bool equals(const ExpressionFactory& factory, const Node* a, const Node* b) {
  if (a == b) return true;
  if (!ExpressionFactory::is_numeric_constant(a) || !ExpressionFactory::is_numeric_constant(b)) return false;
  return factory.get_numeric_constant(a) == factory.get_numeric_constant(b);
}

std::strong_ordering compare(const ExpressionFactory& factory, const Node* a, const Node* b) {
  if (are_integers(a, b)) return factory.get_integer_constant(a) <=> factory.get_integer_constant(b);
  return factory.get_numeric_constant(a) <=> factory.get_numeric_constant(b);
}

/// Evaluation of one node of the operations on pairs, with the marker for "any value" in mind.
class PairwiseOperations {
 public:
  PairwiseOperations(ExpressionFactory& factory, std::size_t max_values)
      : factory_(factory), any_(AllValuesEvaluator::any_value(factory)), max_values_(max_values) {}

  /// `combine(a, b)` for all pairs; a null result is left out.
  template <class Combine>
  NodeSet arithmetic(const NodeSet& left, const NodeSet& right, const Combine& combine) const {
    if (left.empty() || right.empty()) return {};
    if (is_any(left) || is_any(right)) return {any_};
    NodeSet results;
    for (Node* a : left) {
      for (Node* b : right)
        if (Node* const result = combine(factory_, a, b)) results.insert(result);
      if (results.size() > max_values_) return {any_};
    }
    return results;
  }

  /// `test(a, b)` for all pairs, until both answers were found.
  template <class Test>
  NodeSet comparison(const NodeSet& left, const NodeSet& right, const Test& test) const {
    if (left.empty() || right.empty()) return {};
    if (is_any(left) || is_any(right)) return both();
    NodeSet results;
    for (Node* a : left) {
      for (Node* b : right) {
        results.insert(factory_.make_boolean_constant(test(a, b)));
        if (results.size() == 2) return results;
      }
    }
    return results;
  }

  bool is_any(const NodeSet& values) const { return values.contains(any_); }
  NodeSet both() const {
    return {factory_.make_boolean_constant(false), factory_.make_boolean_constant(true)};
  }
  NodeSet any() const { return {any_}; }

 private:
  ExpressionFactory& factory_;
  Node* any_;
  std::size_t max_values_;
};

}  // namespace

AllValuesEvaluator::AllValuesEvaluator(Environment& env, const Values& values, std::size_t max_values)
    : ExpressionWalker(env), values_(values), max_values_(max_values) {}

Node* AllValuesEvaluator::any_value(ExpressionFactory& factory) {
  // why this node: no value of a fluent and no value of an expression is an unresolved symbol.
  return factory.make_unresolved_symbol("*", {});
}

const NodeSet& AllValuesEvaluator::values_of_child(const Node* node, std::size_t child) const {
  return memoized_value(node->children[child]);
}

bool AllValuesEvaluator::can_be(Node* child, bool value) const {
  const NodeSet& values = memoized_value(child);
  return values.contains(factory().make_boolean_constant(value)) || values.contains(any_value(factory()));
}

NodeSet AllValuesEvaluator::walk_not(Node* node) const {
  NodeSet results;
  for (const bool value : {false, true})
    if (can_be(node->children[0], value)) results.insert(factory().make_boolean_constant(!value));
  return results;
}

NodeSet AllValuesEvaluator::walk_and(Node* node) const {
  bool can_be_false = false;
  for (Node* child : node->operands()) {
    if (!can_be(child, true)) return {factory().make_boolean_constant(false)};
    can_be_false = can_be_false || can_be(child, false);
  }
  if (!can_be_false) return {factory().make_boolean_constant(true)};
  return {factory().make_boolean_constant(false), factory().make_boolean_constant(true)};
}

NodeSet AllValuesEvaluator::walk_or(Node* node) const {
  bool can_be_true = false;
  for (Node* child : node->operands()) {
    if (!can_be(child, false)) return {factory().make_boolean_constant(true)};
    can_be_true = can_be_true || can_be(child, true);
  }
  if (!can_be_true) return {factory().make_boolean_constant(false)};
  return {factory().make_boolean_constant(false), factory().make_boolean_constant(true)};
}

NodeSet AllValuesEvaluator::walk_imply(Node* node) const {
  // One side is enough for `true`, whether the other has a value or not.
  NodeSet results;
  if (can_be(node->children[0], false) || can_be(node->children[1], true))
    results.insert(factory().make_boolean_constant(true));
  if (can_be(node->children[0], true) && can_be(node->children[1], false))
    results.insert(factory().make_boolean_constant(false));
  return results;
}

NodeSet AllValuesEvaluator::walk_iff(Node* node) const {
  NodeSet results;
  for (const bool a : {false, true})
    for (const bool b : {false, true})
      if (can_be(node->children[0], a) && can_be(node->children[1], b))
        results.insert(factory().make_boolean_constant(a == b));
  return results;
}

NodeSet AllValuesEvaluator::walk_equals(Node* node) const {
  return PairwiseOperations(factory(), max_values_)
      .comparison(values_of_child(node, 0), values_of_child(node, 1),
                  [this](const Node* a, const Node* b) { return equals(factory(), a, b); });
}

#define ZORVEL_WALK_COMPARISON(walk, relation)                                                             \
  NodeSet AllValuesEvaluator::walk(Node* node) const {                                                     \
    return PairwiseOperations(factory(), max_values_)                                                      \
        .comparison(values_of_child(node, 0), values_of_child(node, 1),                                    \
                    [this](const Node* a, const Node* b) { return compare(factory(), a, b) relation 0; }); \
  }
ZORVEL_WALK_COMPARISON(walk_lt, <)
ZORVEL_WALK_COMPARISON(walk_le, <=)
ZORVEL_WALK_COMPARISON(walk_gt, >)
ZORVEL_WALK_COMPARISON(walk_ge, >=)
#undef ZORVEL_WALK_COMPARISON

NodeSet AllValuesEvaluator::walk_plus(Node* node) const {
  const PairwiseOperations pairs(factory(), max_values_);
  NodeSet running{factory().make_integer_constant(integer(0))};
  for (Node* child : node->operands()) running = pairs.arithmetic(running, memoized_value(child), sum);
  return running;
}

NodeSet AllValuesEvaluator::walk_times(Node* node) const {
  const PairwiseOperations pairs(factory(), max_values_);
  NodeSet running{factory().make_integer_constant(integer(1))};
  for (Node* child : node->operands()) running = pairs.arithmetic(running, memoized_value(child), product);
  return running;
}

NodeSet AllValuesEvaluator::walk_minus(Node* node) const {
  return PairwiseOperations(factory(), max_values_)
      .arithmetic(values_of_child(node, 0), values_of_child(node, 1), difference);
}

NodeSet AllValuesEvaluator::walk_div(Node* node) const {
  return PairwiseOperations(factory(), max_values_)
      .arithmetic(values_of_child(node, 0), values_of_child(node, 1), quotient);
}

NodeSet AllValuesEvaluator::walk_sqrt(Node* node) const {
  const integer& decimals = factory().get_integer_constant(node->children[1]);
  NodeSet results;
  for (Node* radicand : values_of_child(node, 0)) {
    if (radicand == any_value(factory())) return {radicand};
    if (const auto root = model::decimal_square_root(factory().get_numeric_constant(radicand), decimals))
      results.insert(factory().make_rational_constant(*root));
  }
  return results;
}

std::optional<std::vector<std::vector<Node*>>> AllValuesEvaluator::possible_arguments(
    const Node* node, const model::ParameterVector& parameters) const {
  std::vector<std::vector<Node*>> lists;
  for (std::size_t i = 0; i < node->arity; ++i) {
    NodeSet values = values_of_child(node, i);
    if (values.contains(any_value(factory()))) return std::nullopt;
    if (i < parameters.size()) prune_impossible_values(factory(), values, *parameters[i]->type());
    std::vector<Node*> list = model::sorted_by_id(values);
    if (i < parameters.size())
      for (Node*& value : list) value = model::as_argument_of(factory(), *parameters[i]->type(), value);
    lists.push_back(std::move(list));
  }
  return cartesian_product(lists);
}

NodeSet AllValuesEvaluator::walk_fluent_reference(Node* node) const {
  const auto fluent = factory().get_fluent_from_reference(node);
  if (node->arity == 0) {
    const auto found = values_.find(node);
    if (found == values_.end()) throw InvalidParameterError("Missing value for fluent: ") << fluent->name();
    return found->second;
  }
  const auto combinations = possible_arguments(node, fluent->parameters());
  NodeSet results;
  if (!combinations) {
    for (const auto& [reference, values] : values_)
      if (factory().get_fluent_from_reference(reference) == fluent)
        results.insert(values.begin(), values.end());
    return results;
  }
  for (const std::vector<Node*>& arguments : *combinations) {
    Node* const reference = factory().make_fluent_reference(fluent, arguments);
    const auto found = values_.find(reference);
    if (found == values_.end())
      throw InvalidParameterError("Missing value for fluent function: ")
          << model::print_expression{reference};
    results.insert(found->second.begin(), found->second.end());
  }
  return results;
}

NodeSet AllValuesEvaluator::walk_constant_reference(Node* node) const {
  const auto constant = factory().get_constant_from_reference(node);
  const auto table = constant->value();
  const auto combinations = possible_arguments(node, constant->parameters());
  const model::ExpressionSimplifier simplify(env());  // a value may name other constants
  NodeSet results;
  if (!combinations && table != nullptr) {
    for (const auto& [arguments, value] : table->sorted_assignments()) results.insert(simplify(value));
    return results;
  }
  if (combinations) {
    for (const std::vector<Node*>& arguments : *combinations) {
      Node* value = table == nullptr ? nullptr : table->assignment(arguments);
      if (value == nullptr && table != nullptr) value = table->default_value();
      if (value == nullptr) throw InvalidParameterError("Unknown value for constant: ") << constant->name();
      results.insert(simplify(value));
    }
  }
  return results;
}

#define ZORVEL_WALK_VALUE(walk) \
  NodeSet AllValuesEvaluator::walk(Node* node) const { return {node}; }
ZORVEL_WALK_VALUE(walk_true)
ZORVEL_WALK_VALUE(walk_false)
ZORVEL_WALK_VALUE(walk_integer_constant)
ZORVEL_WALK_VALUE(walk_rational_constant)
ZORVEL_WALK_VALUE(walk_instance_reference)
#undef ZORVEL_WALK_VALUE

#define ZORVEL_REFUSE(walk, noun) \
  NodeSet AllValuesEvaluator::walk(Node*) const { throw InvalidParameterError("Trying to evaluate " noun); }
ZORVEL_REFUSE(walk_action_status_is, "an action status is expression")
ZORVEL_REFUSE(walk_contains, "a contains expression")
ZORVEL_REFUSE(walk_label_reference, "a label expression")
ZORVEL_REFUSE(walk_parameter_reference, "a parameter reference")
ZORVEL_REFUSE(walk_unresolved_symbol, "an unresolved symbol expression")
ZORVEL_REFUSE(walk_forall, "a forall expression")
ZORVEL_REFUSE(walk_dot, "a dot expression")
ZORVEL_REFUSE(walk_set_constant, "a set constant expression")
ZORVEL_REFUSE(walk_time, "a #t expression")
ZORVEL_REFUSE(walk_duration, "a duration expression")
ZORVEL_REFUSE(walk_end, "an end expression")
ZORVEL_REFUSE(walk_start, "a start expression")
ZORVEL_REFUSE(walk_temporal_expression, "a temporal expression")
ZORVEL_REFUSE(walk_interval, "an interval expression")
ZORVEL_REFUSE(walk_in_assign, "an in-assign expression")
ZORVEL_REFUSE(walk_decrease, "an decrease expression")
ZORVEL_REFUSE(walk_increase, "an increase expression")
ZORVEL_REFUSE(walk_assign, "an assign expression")
ZORVEL_REFUSE(walk_difference, "a set difference expression")
ZORVEL_REFUSE(walk_intersection, "a set intersection expression")
ZORVEL_REFUSE(walk_union, "a set union expression")
ZORVEL_REFUSE(walk_subset, "a set subset expression")
ZORVEL_REFUSE(walk_in, "a set in expression")
#undef ZORVEL_REFUSE

}  // namespace zorvel
