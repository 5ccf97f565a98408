#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/constant.h"
#include "model/walkers/expression_substituter.h"
#include "transformers/basic_transformer.h"
#include "transformers/fresh_names.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

/// Removes the structure of user types. The member `m` of a type `T` becomes `_T_m` at top level, with the
/// object as first parameter "object", and `o.m(x)` becomes `_T_m(o, x)`; a nested type `U` becomes `_T_U`.
/// Types keep their instances and parents and lose their members. Where a derived type has an action of the
/// same name, its objects are kept out of the inherited one by a condition on a constant.
///
/// Instances are made anew, since their types are; parameters of plans are translated in both directions.
///
/// A name that is taken gets underscores behind it. UnsupportedProblemError "Flattening cannot be applied to
/// problem with simulated effects" if an action has some: the callback knows nothing of the new fluents.
class Flattener : public BasicTransformer {
 public:
  explicit Flattener(const ProblemPtr& problem) : BasicTransformer(problem) {}

  void do_computation() override;
  /// An action that the flattener did not make is left as it is. InternalError "Invalid object parameter for
  /// action " and the name, if the first parameter of a class action is no instance.
  ActionStep map_back(const ActionStep& step) const override;
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;

 private:
  using Path = std::vector<std::string>;

  std::string flat_name(const Path& path, const std::string& name);
  void build_types(Path& path, const TypeScope& scope);
  void add_instances();
  void add_members(Path& path, const UserTypeImpl& type);
  void add_fluent(const FluentImpl& fluent, const Path& path, const UserTypeImpl* owner);
  void add_constant(const std::shared_ptr<ConstantImpl>& constant);
  void add_actions(Path& path, const UserTypeImpl& type, MetricRewriter& metrics);
  void add_action(const std::shared_ptr<ActionImpl>& action, const std::string& name, const Path& path,
                  const UserTypeImpl* owner, MetricRewriter& metrics);

  void add_availability(const ActionImpl& action, const UserTypeImpl& owner, const std::string& name,
                        Node* object, std::vector<Node*>& expressions);

  TypePtr flat_type(const TypePtr& type) const;
  ParameterVector flat_parameters(const ParameterVector& parameters, const UserTypeImpl* owner,
                                  NodeMap* references) const;
  ConstantImpl::Values flat_values(const ConstantImpl& constant, const UserTypeImpl* owner) const;
  NodeRewrite rewriting(Node* object, NodeMap parameters) const;
  Node* scoped_again(Node* expression) const;

  struct PlacedConstant {
    Path path;
    const UserTypeImpl* owner;  // null at top level
  };

  FreshNames names_;
  ProblemParts parts_;  // of the new problem, as far as built
  std::map<const TypeBase*, std::shared_ptr<UserTypeImpl>> types_;
  std::vector<std::pair<std::shared_ptr<ConstantImpl>, PlacedConstant>> constants_;
  std::unordered_map<const ConstantImpl*, std::size_t> constant_places_;  // index into constants_
  NodeMap member_heads_;     // fluents and constants of types, old to flat, as references without arguments
  NodeMap top_level_heads_;  // likewise, those at top level
  NodeMap old_heads_;        // from flat fluents to old ones
  NodeMap new_instances_, old_instances_;
  ActionTable old_to_new_, new_to_old_;
};

}  // namespace zorvel::model
