#include "transformers/user_type_fluents_substituter.h"

#include <algorithm>
#include <cassert>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/instance.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

std::vector<Node*> with_object(const Node* reference, Node* object) {
  std::vector<Node*> arguments(reference->operands().begin(), reference->operands().end());
  arguments.push_back(object);
  return arguments;
}

}  // namespace

UserTypeFluentsSubstituter::UserTypeFluentsSubstituter(const ProblemInstanceImpl& problem,
                                                       const FluentTable& new_fluents)
    : ExpressionIdentity(problem.env()), new_fluents_(new_fluents), simplify_(problem.env()) {
  for (const auto& [name, instance] : problem.instances())
    objects_[instance->type()].push_back(factory().make_instance_reference(instance));
  below_negation_.reset(new UserTypeFluentsSubstituter(*this, Form::one_object));
}

UserTypeFluentsSubstituter::UserTypeFluentsSubstituter(const UserTypeFluentsSubstituter& outer, Form form)
    : ExpressionIdentity(outer.env()),
      new_fluents_(outer.new_fluents_),
      objects_(outer.objects_),
      simplify_(outer.env()),
      form_(form) {}

/// Null for anything but a reference to an old fluent.
const std::shared_ptr<FluentImpl>* UserTypeFluentsSubstituter::new_fluent_of(const Node* node) const {
  if (!F::is_fluent_reference(node)) return nullptr;
  const auto found = new_fluents_.find(factory().get_fluent_from_reference(node).get());
  return found == new_fluents_.end() ? nullptr : &found->second;
}

/// The reference with its arguments as values.
Node* UserTypeFluentsSubstituter::simplified_reference(Node* node) const {
  Node* const reference = simplify_(node);
  const auto is_fixed = [](const Node* argument) {
    return F::is_value(argument) || F::is_constant_reference(argument);
  };
  if (!F::is_fluent_reference(reference) || !std::ranges::all_of(reference->operands(), is_fixed))
    throw InternalError(
        "The UserTypeFluentsSubstituter works only with fluents with constant parameters! 'forall-compiler', "
        "'free-var-params-compiler' and 'action-grounder' come first: ")
        << print_expression{node};
  return reference;
}

Node* UserTypeFluentsSubstituter::at_object(Node* reference, Node* object) const {
  const auto* const fluent = new_fluent_of(reference);
  assert(fluent != nullptr);
  return factory().make_fluent_reference(*fluent, with_object(reference, object));
}

const std::vector<Node*>& UserTypeFluentsSubstituter::common_values(Node* reference, const TypePtr& other,
                                                                    Node* node) const {
  const TypePtr type = factory().get_fluent_from_reference(reference)->type();
  if (other != type)
    throw UnsupportedProblemError(
        "Fluents over types below types cannot be taken out; 'type-hierarchy-compiler' comes first: ")
        << print_expression{node};
  static const std::vector<Node*> none;
  const auto found = objects_.find(type);
  return found == objects_.end() ? none : found->second;
}

Node* UserTypeFluentsSubstituter::equality_with_object(Node* reference, Node* object, Node* node) const {
  const auto& objects = common_values(reference, type_of(object), node);
  const auto part = [&](Node* value) {
    return factory().make_equals(at_object(reference, value),
                                 factory().make_boolean_constant(value == object));
  };
  // why one is enough: Exactly one object is the value, so the others say nothing new, and below a negation
  // they would make as many clauses of a normal form.
  if (form_ == Form::one_object) return part(object);
  std::vector<Node*> parts;
  for (Node* value : objects) parts.push_back(part(value));
  return factory().make_and(parts);
}

Node* UserTypeFluentsSubstituter::equality_of_fluents(Node* left, Node* right, Node* node) const {
  std::vector<Node*> choices;
  for (Node* object : common_values(left, factory().get_fluent_from_reference(right)->type(), node))
    choices.push_back(factory().make_and(at_object(left, object), at_object(right, object)));
  return factory().make_or(choices);
}

TypePtr UserTypeFluentsSubstituter::type_of(const Node* object) const {
  return factory().get_instance_from_reference(object)->type();
}

Node* UserTypeFluentsSubstituter::walk_equals(Node* node) const {
  Node* left = node->children[0];
  Node* right = node->children[1];
  if (new_fluent_of(left) == nullptr) std::swap(left, right);
  if (new_fluent_of(left) == nullptr)
    return below_negation_ == nullptr ? ExpressionIdentity::walk_equals(node) : turned_round(node);
  Node* const reference = simplified_reference(left);
  if (new_fluent_of(right) != nullptr)
    return equality_of_fluents(reference, simplified_reference(right), node);
  Node* const value = simplify_(right);
  // A table of constants and the like; to ask for the reference's own image is an error that says so.
  if (!F::is_instance_reference(value)) return memoized_value(left);
  return equality_with_object(reference, value, node);
}

Node* UserTypeFluentsSubstituter::walk_assign(Node* node) const {
  if (new_fluent_of(node->children[0]) == nullptr) return ExpressionIdentity::walk_assign(node);
  Node* const reference = simplified_reference(node->children[0]);
  Node* const value = simplify_(node->children[1]);
  if (!F::is_instance_reference(value))
    throw InternalError(
        "The UserTypeFluentsSubstituter supports only constant value as right-value assignment!")
        << ' ' << print_expression{node};
  std::vector<Node*> parts;
  for (Node* object : common_values(reference, type_of(value), node))
    parts.push_back(factory().make_assign(at_object(reference, object),
                                          factory().make_boolean_constant(object == value)));
  assignments_made_ += parts.size();
  return factory().make_and(parts);
}

Node* UserTypeFluentsSubstituter::walk_fluent_reference(Node* node) const {
  // Those of old fluents have no image of their own: see memoized_value.
  return new_fluent_of(node) == nullptr ? simplified_reference(node) : node;
}

Node* const& UserTypeFluentsSubstituter::memoized_value(Node* node) const {
  if (new_fluent_of(node) != nullptr)
    throw UnsupportedProblemError(
        "A fluent whose values are objects can only be assigned to, or compared with an object or another "
        "such fluent: ")
        << print_expression{node};
  return ExpressionIdentity::memoized_value(node);
}

/// The node where what is below it may stand negated.
Node* UserTypeFluentsSubstituter::turned_round(Node* node) const {
  assert(below_negation_ != nullptr);
  return (*below_negation_)(node);
}

Node* UserTypeFluentsSubstituter::walk_not(Node* node) const {
  return below_negation_ == nullptr ? ExpressionIdentity::walk_not(node) : turned_round(node);
}

Node* UserTypeFluentsSubstituter::walk_imply(Node* node) const {
  if (below_negation_ == nullptr) return ExpressionIdentity::walk_imply(node);
  return factory().make_imply(turned_round(node->children[0]), memoized_value(node->children[1]));
}

Node* UserTypeFluentsSubstituter::walk_iff(Node* node) const {
  return below_negation_ == nullptr ? ExpressionIdentity::walk_iff(node) : turned_round(node);
}

}  // namespace zorvel::model
