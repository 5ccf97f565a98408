#include "model/walkers/instantiate_walker.h"

#include <utility>

namespace zorvel::model {

InstantiateWalker::InstantiateWalker(Environment& env, std::unordered_map<Node*, Node*> flat_heads,
                                     Node* instance)
    : ExpressionIdentity(env), flat_heads_(std::move(flat_heads)), instance_(instance) {}

Node* InstantiateWalker::flat_head(Node* reference) const {
  Node* head = reference;
  if (reference->arity > 0)
    head = ExpressionFactory::is_fluent_reference(reference)
               ? factory().make_fluent_reference(factory().get_fluent_from_reference(reference), {})
               : factory().make_constant_reference(factory().get_constant_from_reference(reference), {});
  const auto found = flat_heads_.find(head);
  return found == flat_heads_.end() ? nullptr : found->second;
}

Node* InstantiateWalker::apply_to_object(Node* head, Node* object, const Node* reference) const {
  std::vector<Node*> arguments{object};
  for (Node* argument : reference->operands()) arguments.push_back(memoized_value(argument));
  if (ExpressionFactory::is_fluent_reference(head))
    return factory().make_fluent_reference(factory().get_fluent_from_reference(head), arguments);
  return factory().make_constant_reference(factory().get_constant_from_reference(head), arguments);
}

Node* InstantiateWalker::walk_fluent_reference(Node* node) const {
  Node* const head = instance_ == nullptr ? nullptr : flat_head(node);
  return head == nullptr ? ExpressionIdentity::walk_fluent_reference(node)
                         : apply_to_object(head, instance_, node);
}

Node* InstantiateWalker::walk_constant_reference(Node* node) const {
  Node* const head = instance_ == nullptr ? nullptr : flat_head(node);
  return head == nullptr ? ExpressionIdentity::walk_constant_reference(node)
                         : apply_to_object(head, instance_, node);
}

Node* InstantiateWalker::walk_dot(Node* node) const {
  // why the member as it stands: its rebuilt form may have got the current instance as an argument.
  Node* const member = node->children[1];
  Node* const head =
      ExpressionFactory::is_fluent_reference(member) || ExpressionFactory::is_constant_reference(member)
          ? flat_head(member)
          : nullptr;
  if (head == nullptr) throw InternalError("Invalid right-hand side in scoping: ") << print_expression{node};
  return apply_to_object(head, memoized_value(node->children[0]), member);
}

}  // namespace zorvel::model
