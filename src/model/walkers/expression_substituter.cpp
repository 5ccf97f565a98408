#include "model/walkers/expression_substituter.h"

#include <string>
#include <utility>

namespace zorvel::model {

ExpressionSubstituter::ExpressionSubstituter(Environment& env, NodeMap value_map, NodeMap head_map,
                                             bool on_input)
    : ExpressionIdentity(env),
      value_map_(std::move(value_map)),
      head_map_(std::move(head_map)),
      on_input_(on_input) {}

void ExpressionSubstituter::do_memoize_value(Node* node, Node* value) const {
  const auto found = value_map_.find(on_input_ ? node : value);
  ExpressionIdentity::do_memoize_value(node, found == value_map_.end() ? value : found->second);
}

Node* ExpressionSubstituter::with_new_head(Node* head, const std::vector<Node*>& arguments) const {
  switch (head->kind()) {
    case NodeKind::UNRESOLVED_SYMBOL:
      return factory().make_unresolved_symbol(factory().get_name_from_unresolved_symbol(head), arguments);
    case NodeKind::FLUENT_REFERENCE:
      return factory().make_fluent_reference(factory().get_fluent_from_reference(head), arguments);
    case NodeKind::CONSTANT_REFERENCE:
      return factory().make_constant_reference(factory().get_constant_from_reference(head), arguments);
    case NodeKind::INSTANCE_REFERENCE:
    case NodeKind::PARAMETER_REFERENCE: return head;
    default: throw InternalError("Cannot put an expression in place of a name: ") << print_expression{head};
  }
}

Node* ExpressionSubstituter::rebuild_reference(Node* head, Node* node) const {
  const auto found = head_map_.find(head);
  return with_new_head(found == head_map_.end() ? head : found->second, memoized_children(node));
}

Node* ExpressionSubstituter::walk_fluent_reference(Node* node) const {
  return rebuild_reference(
      node->arity == 0 ? node
                       : factory().make_fluent_reference(factory().get_fluent_from_reference(node), {}),
      node);
}

Node* ExpressionSubstituter::walk_constant_reference(Node* node) const {
  return rebuild_reference(
      node->arity == 0 ? node
                       : factory().make_constant_reference(factory().get_constant_from_reference(node), {}),
      node);
}

Node* ExpressionSubstituter::walk_unresolved_symbol(Node* node) const {
  return rebuild_reference(node->arity == 0 ? node
                                            : factory().make_unresolved_symbol(
                                                  factory().get_name_from_unresolved_symbol(node), {}),
                           node);
}

std::shared_ptr<FunctionValueImpl> substitute_function_value(Environment& env, const FunctionValueImpl& value,
                                                             const NodeMap& map) {
  const ExpressionSubstituter substitute(env, map, {}, false);
  auto result = std::make_shared<FunctionValueImpl>();
  // why sorted: nodes are made on the way, and their ids must not depend on the order of a table.
  for (const auto& [arguments, assigned] : value.sorted_assignments()) {
    std::vector<Node*> new_arguments;
    new_arguments.reserve(arguments.size());
    for (Node* argument : arguments) new_arguments.push_back(substitute(argument));
    result->add_assignment(new_arguments, substitute(assigned));
  }
  return result;
}

}  // namespace zorvel::model
