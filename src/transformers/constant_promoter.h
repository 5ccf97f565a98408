#pragma once

#include <memory>
#include <unordered_map>

#include "transformers/basic_transformer.h"

namespace zorvel::model {

/// Makes constants of tables in fluents that never change, with the same name: what the initial state says of
/// them is then known when actions are grounded, which leaves out all those that it rules out. Languages
/// without constants have such tables in fluents.
///
/// A fluent is promoted if it has parameters, all of them objects, the problem gives it values at the start,
/// each reference one value, and nothing else in the problem assigns it. A reference without a value stays
/// without one: an action that needs it cannot be applied. Nothing is promoted where effects are computed by
/// callbacks, since these may read any fluent. Actions keep their names and parameters.
class ConstantPromoter : public BasicTransformer {
 public:
  explicit ConstantPromoter(const ProblemPtr& problem) : BasicTransformer(problem) {}

  /// InternalError "The constant promoter can be only applied to flattened models!". Where nothing can be
  /// promoted, the new problem is the input itself.
  void do_computation() override;
  // Unknown actions: InternalError "Found an action that is unknown to the transformer!".
  ActionStep map_back(const ActionStep& step) const override;
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;

 private:
  ActionTable old_to_new_, new_to_old_;
};

}  // namespace zorvel::model
