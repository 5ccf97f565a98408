#pragma once

#include <memory>

#include "transformers/basic_transformer.h"

namespace zorvel::model {

/// Takes out the rules `always-within` of a ground problem. For each rule the fluent `__owed_0` tells whether
/// a response is owed, which the events that change trigger or response keep up to date, and a new action
/// `__watch_0` with a duration up to the limit has to be open, as the fluent `__watched_0` says, whenever it
/// does; it can end only where nothing is owed. What is owed at the start becomes a `contains`.
///
/// The action begins an epsilon before the trigger at the latest and ends an epsilon behind the response, so
/// its limit is longer by as much. A plan is lost if it owes again sooner than the action can end and begin
/// again.
class AlwaysWithinCompiler : public BasicTransformer {
 public:
  explicit AlwaysWithinCompiler(const ProblemPtr& problem) : BasicTransformer(problem) {}

  /// UnsupportedProblemError where an action with simulated effects meets a rule, or a rule holds a reference
  /// that is not ground or whose value at the start is not known.
  void do_computation() override;
  ActionStep map_back(const ActionStep& step) const override;  ///< "Not implemented yet!"
  /// Steps of the new actions are left out.
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;  ///< "Not implemented yet!"
  /// "Not supported!", for a plan does not say when the new actions are to take place.
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;

  bool may_lose_plans() const override { return true; }
  bool drops_steps() const override { return true; }

 private:
  ActionTable old_of_new_;
};

}  // namespace zorvel::model
