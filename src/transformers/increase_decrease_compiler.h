#pragma once

#include "transformers/basic_transformer.h"

namespace zorvel::model {

/// Spells out `x :+= e` as `x := x + e` and `x :-= e` as `x := x - e`, in actions and in the problem's own
/// statements, so that all that follows knows assignments alone. Actions keep their names and parameters.
///
/// It works on flat problems, so in a chain it stands first or right behind the flattener.
class IncreaseDecreaseCompiler : public BasicTransformer {
 public:
  explicit IncreaseDecreaseCompiler(const ProblemPtr& problem) : BasicTransformer(problem) {}

  /// Whether an increase or decrease occurs anywhere in the problem, members of user types included.
  static bool is_needed(const ProblemInstanceImpl& problem);

  /// InternalError "The increase and decrease compiler can be only applied to flattened models!".
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
