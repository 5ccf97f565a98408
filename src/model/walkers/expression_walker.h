#pragma once

#include <array>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/environment.h"
#include "core/errors.h"
#include "core/node.h"
#include "model/expression_factory.h"

namespace zorvel::model {

/// Every kind of node with its operation, in the order of the operations' slots.
// clang-format off
#define ZORVEL_FOR_EACH_WALK(X) \
  X(AND, walk_and) X(OR, walk_or) X(NOT, walk_not) X(IMPLY, walk_imply) X(IFF, walk_iff) \
  X(EQUALS, walk_equals) X(LT, walk_lt) X(LE, walk_le) X(GT, walk_gt) X(GE, walk_ge) X(TIMES, walk_times) \
  X(PLUS, walk_plus) X(DIV, walk_div) X(MINUS, walk_minus) X(SQRT, walk_sqrt) X(IN, walk_in) \
  X(SUBSET, walk_subset) X(UNION, walk_union) X(INTERSECTION, walk_intersection) \
  X(DIFFERENCE, walk_difference) X(ASSIGN, walk_assign) X(INCREASE, walk_increase) \
  X(DECREASE, walk_decrease) X(IN_ASSIGN, walk_in_assign) X(INTERVAL, walk_interval) \
  X(TEMPORAL_EXPRESSION, walk_temporal_expression) X(START, walk_start) X(END, walk_end) \
  X(DURATION, walk_duration) X(TIME, walk_time) X(TRUE, walk_true) X(FALSE, walk_false) \
  X(RATIONAL_CONSTANT, walk_rational_constant) X(SET_CONSTANT, walk_set_constant) \
  X(INTEGER_CONSTANT, walk_integer_constant) X(DOT, walk_dot) X(FORALL, walk_forall) \
  X(UNRESOLVED_SYMBOL, walk_unresolved_symbol) X(FLUENT_REFERENCE, walk_fluent_reference) \
  X(CONSTANT_REFERENCE, walk_constant_reference) X(PARAMETER_REFERENCE, walk_parameter_reference) \
  X(INSTANCE_REFERENCE, walk_instance_reference) X(LABEL_REFERENCE, walk_label_reference) \
  X(CONTAINS, walk_contains) X(ACTION_STATUS_IS, walk_action_status_is)
// clang-format on

/// The one bottom-up traversal of expressions: each distinct node is visited once and its result kept, on
/// explicit stacks, so that depth costs no call stack.
///
/// A subclass gives one operation a kind; when it runs, the results of the children stand in the memo
/// (`memoized_value`). The last child is evaluated first. The memo lasts from call to call: whoever changes
/// what a walker depends on calls `clear_memoization`. Operations are const and the memo is mutable.
template <class T>
class ExpressionWalker : public EnvObject {
 public:
  explicit ExpressionWalker(Environment& env) : EnvObject(env) {}

  /// The result for `root`; the reference is valid until the memo is cleared.
  virtual const T& operator()(Node* root) const {
    std::vector<std::pair<Node*, bool>> stack;  // node, and whether its children were pushed
    stack.emplace_back(root, false);
    while (!stack.empty()) {
      auto& [node, expanded] = stack.back();
      if (is_memoized(node)) {
        stack.pop_back();
      } else if (expanded || node->arity == 0) {
        Node* const ready = node;
        evaluate_and_cache_expression(ready);
        stack.pop_back();
      } else {
        expanded = true;
        Node* const parent = node;  // the pushes may move the stack
        for (Node* child : parent->operands()) stack.emplace_back(child, false);
      }
    }
    return memoized_value(root);
  }
  virtual void clear_memoization() { memo_.clear(); }

 protected:
#define ZORVEL_DECLARE_WALK(kind, walk) virtual T walk(Node* node) const = 0;
  ZORVEL_FOR_EACH_WALK(ZORVEL_DECLARE_WALK)
#undef ZORVEL_DECLARE_WALK

  /// InternalError "Unexplored expression queried to 'memoized_value': " and the node, if it was never
  /// walked.
  virtual const T& memoized_value(Node* node) const {
    const auto found = memo_.find(node);
    if (found == memo_.end())
      throw InternalError("Unexplored expression queried to 'memoized_value': ") << print_expression{node};
    return found->second;
  }
  virtual void evaluate_and_cache_expression(Node* node) const {
    switch (node->kind()) {
#define ZORVEL_DISPATCH_WALK(kind, walk) \
  case NodeKind::kind: do_memoize_value(node, walk(node)); return;
      ZORVEL_FOR_EACH_WALK(ZORVEL_DISPATCH_WALK)
#undef ZORVEL_DISPATCH_WALK
    }
    throw InternalError("Unknown node type encountered in walking (bug in expression_walker.template.hxx)");
  }
  virtual void do_memoize_value(Node* node, T value) const { memo_.insert_or_assign(node, std::move(value)); }
  virtual bool is_memoized(Node* node) const { return memo_.contains(node); }

  mutable std::unordered_map<Node*, T, NodeIdHash> memo_;
};

/// Declares in a subclass an override for every kind: `ZORVEL_FOR_EACH_WALK(ZORVEL_OVERRIDE_WALK(T))` is not
/// possible with a plain macro, so a subclass that overrides all kinds defines `ZORVEL_WALK_RESULT` and uses
/// this.
#define ZORVEL_OVERRIDE_WALK(kind, walk) ZORVEL_WALK_RESULT walk(Node* node) const override;

}  // namespace zorvel::model
