#pragma once

#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

#include <boost/container/flat_map.hpp>

#include "model/problem_instance.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_walker.h"

namespace zorvel::model {

/// What an expression becomes once there are no sets.
struct ExpressionForSet {
  /// From an element, which is a value, to the condition under which it is in the set. Ordered by node id, so
  /// that what is made of a set does not depend on addresses.
  using Members = boost::container::flat_map<Node*, Node*, NodeIdLess>;

  Node* expression = nullptr;  ///< Null if the expression is a set.
  Members members;             ///< Of a set; an element that is absent is not in it, and none is FALSE.

  bool is_set() const { return expression == nullptr; }
};

/// Rewrites expressions over sets to expressions over the membership of single elements.
///
/// A fluent or constant of type `set(T)` has become a boolean one with the element as first argument. An
/// operation on sets costs the members of its operands.
///
/// An assignment `s := t` becomes a conjunction of
///  - `s(e) := t[e]` for each element e that `s` can hold, left out where the member keeps its condition;
///  - one assignment to the first of these elements in any case, so that two assignments to one set at one
///    time are found to clash even if they change different members (but `s := s` does nothing);
///  - `not t[e]` for each other element, since a value outside of the type cannot be assigned.
///
/// Raises UnsupportedProblemError "Set compiler is not able to handle this expression: " and the expression
/// for an element that is no value, and for sets where they have no meaning (`s :+= t`, `s < t`, a set as
/// argument); InternalError "Found an undefined finite-domain type" for sets of sets; an InternalError
/// without a text for `forall`; std::out_of_range "map::at" for a constant that the table lacks.
class ExpressionSetCompiler : public ExpressionWalker<ExpressionForSet> {
 public:
  /// From the objects of the input to those of the result. For look-ups only.
  using FluentTable = std::unordered_map<std::shared_ptr<FluentImpl>, std::shared_ptr<FluentImpl>>;
  using ConstantTable = std::unordered_map<std::shared_ptr<ConstantImpl>, std::shared_ptr<ConstantImpl>>;

  /// The problem and both tables must outlive the walker. The problem gives the domains of the element types.
  ExpressionSetCompiler(const ProblemInstanceImpl& problem, const FluentTable& fluents,
                        const ConstantTable& constants);
  ~ExpressionSetCompiler() override;

  /// The elements that a set of this element type can hold, by node id.
  /// UnsupportedProblemError "Infinite sets are not supported: " and the type, and "A set has too many
  /// possible members: " and the type for more than a million; InternalError "Found an undefined
  /// finite-domain type".
  const std::vector<Node*>& domain(const TypePtr& element) const;

 protected:
#define ZORVEL_WALK_RESULT ExpressionForSet
  ZORVEL_FOR_EACH_WALK(ZORVEL_OVERRIDE_WALK)
#undef ZORVEL_WALK_RESULT

 private:
  class Rebuilder;
  ExpressionForSet rebuilt(Node* node) const;
  // What became of a child of `parent`; if it is not of this kind, InternalError blames the parent.
  Node* const& scalar(Node* child, Node* parent) const;
  const ExpressionForSet::Members& set(Node* child, Node* parent) const;
  bool are_sets(const Node* node) const;
  std::vector<Node*> scalar_children(Node* node) const;
  /// The value of an expression that stands for an element.
  Node* as_element(Node* expression, Node* parent) const;
  ExpressionForSet assigned_members(const ExpressionForSet::Members& left,
                                    const ExpressionForSet::Members& right) const;
  /// The members of a set over this element type, where `member` gives the condition of each.
  template <class Member>
  ExpressionForSet over_domain(const TypePtr& element, const Member& member) const;
  ExpressionFactory& factory() const { return env().expression_factory(); }

  const ProblemInstanceImpl& problem_;
  const FluentTable& fluents_;
  const ConstantTable& constants_;
  ExpressionSimplifier simplify_;
  std::unique_ptr<Rebuilder> rebuilder_;
  mutable std::map<TypePtr, std::vector<Node*>> domains_;  // by element type, for look-ups
};

}  // namespace zorvel::model
