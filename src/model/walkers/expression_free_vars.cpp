#include "model/walkers/expression_free_vars.h"

#include <algorithm>

namespace zorvel::model {

NodeSet ExpressionFreeVars::union_of_children(const Node* node) const {
  if (node->arity == 0) return {};
  NodeSet all = memoized_value(node->children[0]);
  for (Node* child : node->operands().subspan(1)) {
    const NodeSet& more = memoized_value(child);
    all.insert(more.begin(), more.end());
  }
  return all;
}

#define ZORVEL_WALK_UNION(walk) \
  NodeSet ExpressionFreeVars::walk(Node* node) const { return union_of_children(node); }
#define ZORVEL_WALK_LEAF(walk) \
  NodeSet ExpressionFreeVars::walk(Node*) const { return {}; }
ZORVEL_WALK_UNION(walk_and)
ZORVEL_WALK_UNION(walk_or)
ZORVEL_WALK_UNION(walk_not)
ZORVEL_WALK_UNION(walk_imply)
ZORVEL_WALK_UNION(walk_iff)
ZORVEL_WALK_UNION(walk_equals)
ZORVEL_WALK_UNION(walk_lt)
ZORVEL_WALK_UNION(walk_le)
ZORVEL_WALK_UNION(walk_gt)
ZORVEL_WALK_UNION(walk_ge)
ZORVEL_WALK_UNION(walk_times)
ZORVEL_WALK_UNION(walk_plus)
ZORVEL_WALK_UNION(walk_div)
ZORVEL_WALK_UNION(walk_minus)
ZORVEL_WALK_UNION(walk_sqrt)
ZORVEL_WALK_UNION(walk_in)
ZORVEL_WALK_UNION(walk_subset)
ZORVEL_WALK_UNION(walk_union)
ZORVEL_WALK_UNION(walk_intersection)
ZORVEL_WALK_UNION(walk_difference)
ZORVEL_WALK_UNION(walk_assign)
ZORVEL_WALK_UNION(walk_increase)
ZORVEL_WALK_UNION(walk_decrease)
ZORVEL_WALK_UNION(walk_in_assign)
ZORVEL_WALK_UNION(walk_interval)
ZORVEL_WALK_UNION(walk_temporal_expression)
ZORVEL_WALK_LEAF(walk_start)
ZORVEL_WALK_LEAF(walk_end)
ZORVEL_WALK_LEAF(walk_duration)
ZORVEL_WALK_LEAF(walk_time)
ZORVEL_WALK_LEAF(walk_true)
ZORVEL_WALK_LEAF(walk_false)
ZORVEL_WALK_LEAF(walk_rational_constant)
ZORVEL_WALK_UNION(walk_set_constant)
ZORVEL_WALK_LEAF(walk_integer_constant)
ZORVEL_WALK_UNION(walk_forall)
ZORVEL_WALK_UNION(walk_unresolved_symbol)
ZORVEL_WALK_UNION(walk_constant_reference)
ZORVEL_WALK_LEAF(walk_parameter_reference)
ZORVEL_WALK_LEAF(walk_instance_reference)
ZORVEL_WALK_LEAF(walk_label_reference)
ZORVEL_WALK_UNION(walk_contains)
ZORVEL_WALK_LEAF(walk_action_status_is)
#undef ZORVEL_WALK_UNION
#undef ZORVEL_WALK_LEAF

NodeSet ExpressionFreeVars::walk_dot(Node* node) const { return memoized_value(node->children[1]); }

NodeSet ExpressionFreeVars::walk_fluent_reference(Node* node) const {
  NodeSet all = union_of_children(node);
  all.insert(node);
  return all;
}

NodeSet ExpressionFunApply::walk_constant_reference(Node* node) const {
  NodeSet all = union_of_children(node);
  if (node->arity > 0) all.insert(node);
  return all;
}

std::vector<Node*> sorted_by_id(const NodeSet& nodes) {
  std::vector<Node*> sorted(nodes.begin(), nodes.end());
  std::ranges::sort(sorted, NodeIdLess());
  return sorted;
}

}  // namespace zorvel::model
