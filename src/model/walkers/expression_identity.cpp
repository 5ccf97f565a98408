#include "model/walkers/expression_identity.h"

#include <string>

namespace zorvel::model {

std::vector<Node*> ExpressionIdentity::memoized_children(const Node* node) const {
  std::vector<Node*> children;
  children.reserve(node->arity);
  for (Node* child : node->operands()) children.push_back(memoized_value(child));
  return children;
}

#define ZORVEL_WALK_LEAF(walk) \
  Node* ExpressionIdentity::walk(Node* node) const { return node; }
#define ZORVEL_WALK_UNARY(walk, make)                         \
  Node* ExpressionIdentity::walk(Node* node) const {          \
    return factory().make(memoized_value(node->children[0])); \
  }
#define ZORVEL_WALK_BINARY(walk, make)                                                           \
  Node* ExpressionIdentity::walk(Node* node) const {                                             \
    return factory().make(memoized_value(node->children[0]), memoized_value(node->children[1])); \
  }
#define ZORVEL_WALK_VECTOR(walk, make) \
  Node* ExpressionIdentity::walk(Node* node) const { return factory().make(memoized_children(node)); }
ZORVEL_WALK_VECTOR(walk_and, make_and)
ZORVEL_WALK_VECTOR(walk_or, make_or)
ZORVEL_WALK_UNARY(walk_not, make_not)
ZORVEL_WALK_BINARY(walk_imply, make_imply)
ZORVEL_WALK_BINARY(walk_iff, make_iff)
ZORVEL_WALK_BINARY(walk_equals, make_equals)
ZORVEL_WALK_BINARY(walk_lt, make_lt)
ZORVEL_WALK_BINARY(walk_le, make_le)
ZORVEL_WALK_BINARY(walk_gt, make_gt)
ZORVEL_WALK_BINARY(walk_ge, make_ge)
ZORVEL_WALK_BINARY(walk_div, make_div)
ZORVEL_WALK_BINARY(walk_minus, make_minus)
ZORVEL_WALK_BINARY(walk_sqrt, make_sqrt)
ZORVEL_WALK_BINARY(walk_in, make_in)
ZORVEL_WALK_BINARY(walk_subset, make_subset)
ZORVEL_WALK_BINARY(walk_union, make_union)
ZORVEL_WALK_BINARY(walk_intersection, make_intersection)
ZORVEL_WALK_BINARY(walk_difference, make_difference)
ZORVEL_WALK_BINARY(walk_assign, make_assign)
ZORVEL_WALK_BINARY(walk_increase, make_increase)
ZORVEL_WALK_BINARY(walk_decrease, make_decrease)
ZORVEL_WALK_BINARY(walk_in_assign, make_in_assign)
ZORVEL_WALK_BINARY(walk_temporal_expression, make_temporal_expression)
ZORVEL_WALK_BINARY(walk_dot, make_scoping)
ZORVEL_WALK_VECTOR(walk_set_constant, make_set_constant)
ZORVEL_WALK_LEAF(walk_start)
ZORVEL_WALK_LEAF(walk_end)
ZORVEL_WALK_LEAF(walk_duration)
ZORVEL_WALK_LEAF(walk_time)
ZORVEL_WALK_LEAF(walk_true)
ZORVEL_WALK_LEAF(walk_false)
ZORVEL_WALK_LEAF(walk_rational_constant)
ZORVEL_WALK_LEAF(walk_integer_constant)
ZORVEL_WALK_LEAF(walk_unresolved_symbol)
ZORVEL_WALK_LEAF(walk_parameter_reference)
ZORVEL_WALK_LEAF(walk_instance_reference)
ZORVEL_WALK_LEAF(walk_label_reference)
ZORVEL_WALK_LEAF(walk_action_status_is)
#undef ZORVEL_WALK_LEAF
#undef ZORVEL_WALK_UNARY
#undef ZORVEL_WALK_BINARY
#undef ZORVEL_WALK_VECTOR

Node* ExpressionIdentity::walk_times(Node* node) const {
  if (node->arity == 0) return node;
  Node* product = memoized_value(node->children[0]);
  for (Node* factor : node->operands().subspan(1))
    product = factory().make_times(product, memoized_value(factor));
  return product;
}

Node* ExpressionIdentity::walk_plus(Node* node) const {
  if (node->arity == 0) return node;
  Node* sum = memoized_value(node->children[0]);
  for (Node* term : node->operands().subspan(1)) sum = factory().make_plus(sum, memoized_value(term));
  return sum;
}

Node* ExpressionIdentity::walk_interval(Node* node) const {
  if (node->arity == 1) return factory().make_point_interval(memoized_value(node->children[0]));
  return factory().make_interval(memoized_value(node->children[0]), memoized_value(node->children[1]),
                                 factory().is_left_closed(node), factory().is_right_closed(node));
}

Node* ExpressionIdentity::walk_contains(Node* node) const {
  Node* const duration = node->arity > 1 ? memoized_value(node->children[1]) : nullptr;
  // why a copy: the maker may intern a payload while it holds the reference into the old one.
  const std::string label = factory().get_label_from_contains(node);
  return factory().make_contains(memoized_value(node->children[0]), duration, label);
}

Node* ExpressionIdentity::walk_forall(Node* node) const {
  return factory().make_forall(factory().get_parameters_from_forall(node), memoized_children(node));
}

Node* ExpressionIdentity::walk_fluent_reference(Node* node) const {
  if (node->arity == 0) return node;
  return factory().make_fluent_reference(factory().get_fluent_from_reference(node), memoized_children(node));
}

Node* ExpressionIdentity::walk_constant_reference(Node* node) const {
  if (node->arity == 0) return node;
  return factory().make_constant_reference(factory().get_constant_from_reference(node),
                                           memoized_children(node));
}

}  // namespace zorvel::model
