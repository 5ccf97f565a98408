#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "model/fluent.h"
#include "model/problem_instance.h"
#include "model/walkers/expression_identity.h"
#include "model/walkers/expression_simplifier.h"

namespace zorvel::model {

/// Rewrites expressions for boolean fluents `f'(args, o)` in the place of fluents `f(args)` whose values are
/// objects:
///
/// | was | becomes, over the objects o of the type, by name |
/// |---|---|
/// | `f(args) := v` | the `and` of `f'(args, o) := (o is v)` |
/// | `f(args) == v` | the `and` of `f'(args, o) == (o is v)`; where a normal form would turn it round,
/// `f'(args, v) == true` | | `f(args) == g(args2)` | the `or` of `f'(args, o) and g'(args2, o)` |
///
/// Constants become their values first. Arguments must be values.
///
/// Errors: InternalError "The UserTypeFluentsSubstituter works only with fluents with constant parameters!",
/// what has to come first, and the reference; "The UserTypeFluentsSubstituter supports only constant value as
/// right-value assignment!" and the assignment; UnsupportedProblemError for a reference to an old fluent
/// anywhere else, and for types below types, each with the expression.
class UserTypeFluentsSubstituter : public ExpressionIdentity {
 public:
  using FluentTable = std::unordered_map<const FluentImpl*, std::shared_ptr<FluentImpl>>;

  /// `new_fluents` has the boolean fluent of each fluent that has objects as values, and no other; it is
  /// referred to.
  UserTypeFluentsSubstituter(const ProblemInstanceImpl& problem, const FluentTable& new_fluents);

  /// How many assignments to single objects were made.
  std::size_t assignments_made() const { return assignments_made_; }

 protected:
  Node* walk_not(Node* node) const override;
  Node* walk_imply(Node* node) const override;
  Node* walk_iff(Node* node) const override;
  Node* walk_equals(Node* node) const override;
  Node* walk_assign(Node* node) const override;
  Node* walk_fluent_reference(Node* node) const override;
  Node* const& memoized_value(Node* node) const override;

 private:
  /// What an equality with an object becomes.
  enum class Form { all_objects, one_object };
  UserTypeFluentsSubstituter(const UserTypeFluentsSubstituter& outer, Form form);

  const std::shared_ptr<FluentImpl>* new_fluent_of(const Node* node) const;
  Node* simplified_reference(Node* node) const;
  Node* at_object(Node* reference, Node* object) const;
  Node* equality_with_object(Node* reference, Node* object, Node* node) const;
  Node* equality_of_fluents(Node* left, Node* right, Node* node) const;
  TypePtr type_of(const Node* object) const;
  /// The objects that the fluent of the reference may have; `other`, the type of what it meets in `node`, has
  /// to be its own.
  const std::vector<Node*>& common_values(Node* reference, const TypePtr& other, Node* node) const;
  Node* turned_round(Node* node) const;

  const FluentTable& new_fluents_;
  std::unordered_map<TypePtr, std::vector<Node*>> objects_;  // by exact type, by name
  ExpressionSimplifier simplify_;
  Form form_ = Form::all_objects;
  std::unique_ptr<UserTypeFluentsSubstituter> below_negation_;  // null below one
  mutable std::size_t assignments_made_ = 0;
};

}  // namespace zorvel::model
