#pragma once

#include <vector>

#include "transformers/basic_transformer.h"

namespace zorvel::model {

/// Expands `forall` over the finite domains of its variables, nested ones included. Actions keep their names
/// and parameters.
class ForallCompiler : public BasicTransformer {
 public:
  explicit ForallCompiler(const ProblemPtr& problem) : BasicTransformer(problem) {}

  /// InternalError "The forall compiler can be only applied to flattened models!", and those of
  /// `expand_forall`.
  void do_computation() override;

  /// The expansion of one outer `forall`, bare or under an interval: one expression for each combination of
  /// values (the first variable turning fastest) and each statement of the body. Any other expression comes
  /// back alone. InternalError "Found an undefined finite-domain type" for a variable without a finite
  /// domain, and "The forall expression has a double interval definition: ", both intervals joined by " and
  /// ", for a timed statement in a timed forall.
  std::vector<Node*> expand_forall(Node* expression) const;

  ActionStep map_back(const ActionStep& step) const override;  ///< InternalError "Not implemented yet!".
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;  ///< As `map_back` of a step.
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;

 private:
  std::vector<Node*> expand_all(const ExpressionSet& expressions) const;

  ActionTable old_to_new_, new_to_old_;
};

}  // namespace zorvel::model
