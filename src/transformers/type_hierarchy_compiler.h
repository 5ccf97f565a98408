#pragma once

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/constant.h"
#include "model/walkers/expression_substituter.h"
#include "transformers/fresh_names.h"
#include "transformers/joined_types.h"
#include "transformers/one_to_one_transformer.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

/// Takes types below types out of a flat problem: types whose objects meet (see JoinedTypes) become one type
/// of that name, and all objects are of exactly the type that is declared.
///
/// A parameter of an action that may not stand for all objects of its new type gets a condition on a hidden
/// boolean constant; a `forall` over such a variable is written out over the objects that it may stand for.
/// Fluents and constants are total then where the problem never asked for more. Only where an argument is
/// itself a fluent's value, the compilers behind this one try all objects of the joined type: there, fluents
/// and constants get a value for the others as well, which nothing reads in the end.
///
/// A problem in which nothing has to be joined is its own result. Instances are made anew, since their types
/// are; parameters of plans are translated in both directions. UnsupportedProblemError "Types below types
/// cannot be joined in a problem with simulated effects": the callback knows nothing of the new objects.
class TypeHierarchyCompiler : public OneToOneTransformer {
 public:
  explicit TypeHierarchyCompiler(const ProblemPtr& problem);

  /// Whether any types have to be joined.
  static bool is_needed(const ProblemInstanceImpl& problem);

  /// InternalError "The type hierarchy compiler can be only applied to flattened models!".
  void do_computation() override;

 protected:
  Node* value_back(Node* value) const override;
  Node* value_forward(Node* value) const override;
  Node* condition_back(Node* condition) const override;
  Node* condition_forward(Node* condition) const override;

 private:
  using OpenPlaces = std::unordered_map<const void*, std::unordered_set<std::size_t>>;

  void add_instances();
  void find_open_places();
  void note_open_places(const Node* reference);
  void add_fluent(const std::shared_ptr<FluentImpl>& fluent);
  void add_constant(const std::shared_ptr<ConstantImpl>& constant);
  void add_action(const std::shared_ptr<ActionImpl>& action, MetricRewriter& metrics);

  bool is_partial(const TypePtr& type) const { return type->is_user_defined() && !types_.is_whole(type); }
  bool has_partial_variable(Node* expression) const;
  /// The expression, or what it becomes where it has a forall over part of a joined type.
  std::vector<Node*> without_partial_foralls(Node* expression) const;
  ParameterVector joined_parameters(const ParameterVector& parameters) const;
  std::vector<Node*> new_values(const TypePtr& type) const;  ///< Of an old type, as the new problem has them.
  /// Calls `use` with every tuple of arguments that only a compiler asks for.
  template <class Use>
  void for_each_foreign_tuple(const void* head, const ParameterVector& parameters, Use use) const;
  Node* some_value(const TypePtr& type) const;
  Node* new_value(Node* value) const;
  Node* is_member(const TypePtr& type, Node* value);
  NodeRewrite rewriting(NodeMap parameters) const;

  JoinedTypes types_;
  ProblemParts parts_;  // of the new problem, as far as built
  FreshNames names_;
  bool has_foralls_ = false;
  OpenPlaces open_places_;  // by fluent or constant: where an argument is no parameter and no value
  std::unordered_map<const TypeBase*, std::shared_ptr<ConstantImpl>> memberships_;
  NodeMap new_heads_, old_heads_;  // fluents and constants, as references without arguments
  NodeMap new_instances_, old_instances_;
};

}  // namespace zorvel::model
