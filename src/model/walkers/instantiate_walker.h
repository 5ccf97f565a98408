#pragma once

#include <unordered_map>

#include "model/walkers/expression_identity.h"

namespace zorvel::model {

/// Rewrites scoped names to flat ones: `a.b(x)` becomes `T_b(a, x)`.
///
/// The map goes from a fluent or constant of a user type (its reference without arguments) to the reference
/// of its flat version without arguments; a name that it lacks is kept. `instance` is the object in whose
/// scope the expression stands, null outside of one: names of the scope get it as first argument. A member
/// that is no fluent or constant of the map raises InternalError "Invalid right-hand side in scoping: " and
/// the expression.
class InstantiateWalker : public ExpressionIdentity {
 public:
  InstantiateWalker(Environment& env, std::unordered_map<Node*, Node*> flat_heads, Node* instance);

 protected:
  Node* walk_fluent_reference(Node* node) const override;
  Node* walk_constant_reference(Node* node) const override;
  Node* walk_dot(Node* node) const override;

 private:
  /// The flat head of a reference, null if the map lacks it.
  Node* flat_head(Node* reference) const;
  /// `head` applied to `object` and the rebuilt arguments of `reference`.
  Node* apply_to_object(Node* head, Node* object, const Node* reference) const;

  std::unordered_map<Node*, Node*> flat_heads_;
  Node* instance_;
};

}  // namespace zorvel::model
