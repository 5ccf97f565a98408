#include "model/walkers/fun_apply_substituter.h"

#include <utility>

#include "model/constant.h"
#include "model/fluent.h"

namespace zorvel::model {

std::size_t FunApplySubstituter::KeyHash::operator()(const Key& key) const {
  std::size_t hash = std::hash<const void*>()(key.first);
  for (const Node* argument : key.second) hash = hash * 0x9E3779B97F4A7C15u + argument->id + 1;
  return hash;
}

FunApplySubstituter::FunApplySubstituter(Environment& env, GroundObjects ground_objects, bool enabled)
    : ExpressionIdentity(env),
      simplifier_(env),
      ground_objects_(std::move(ground_objects)),
      enabled_(enabled) {}

Node* FunApplySubstituter::ground_head(const void* object, const ParameterVector& parameters, Node* node,
                                       std::vector<Node*>& remaining) const {
  if (parameters.size() != node->arity)
    throw InternalError("Wrong number of arguments: ") << print_expression{node};
  Key key{object, {}};
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    Node* const argument = memoized_value(node->children[i]);
    const TypePtr type = parameters[i]->type();
    if (!type->is_finite_domain()) {
      remaining.push_back(argument);
      continue;
    }
    Node* const value = as_argument_of(factory(), *type, simplifier_(argument));
    if (!ExpressionFactory::is_constant(value) && !ExpressionFactory::is_instance_reference(value))
      throw GroundingFailedError("To ground a functional apply its parameters must be constant");
    key.second.push_back(value);
  }
  const auto found = ground_objects_.find(key);
  return found == ground_objects_.end() ? nullptr : found->second;
}

Node* FunApplySubstituter::walk_fluent_reference(Node* node) const {
  if (!enabled_ || node->arity == 0) return node;
  const auto fluent = factory().get_fluent_from_reference(node);
  std::vector<Node*> remaining;
  Node* const head = ground_head(fluent.get(), fluent->parameters(), node, remaining);
  if (head == nullptr) return ExpressionIdentity::walk_fluent_reference(node);
  return factory().make_fluent_reference(factory().get_fluent_from_reference(head), remaining);
}

Node* FunApplySubstituter::walk_constant_reference(Node* node) const {
  if (!enabled_ || node->arity == 0) return node;
  const auto constant = factory().get_constant_from_reference(node);
  std::vector<Node*> remaining;
  Node* const head = ground_head(constant.get(), constant->parameters(), node, remaining);
  if (head == nullptr) return ExpressionIdentity::walk_constant_reference(node);
  return factory().make_constant_reference(factory().get_constant_from_reference(head), remaining);
}

}  // namespace zorvel::model
