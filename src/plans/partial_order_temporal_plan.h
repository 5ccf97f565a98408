#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "plans/plan.h"

namespace zorvel {

/// An action that starts `delay` after it has become ready, which it is when all its predecessors have ended.
struct POTStep : PlanAction {
  /// Pass std::nullopt for a step without duration.
  POTStep(unsigned long step_id, rational step_delay, std::shared_ptr<model::ActionImpl> step_action,
          std::vector<Node*> step_parameters, std::optional<rational> step_duration,
          Node* step_post_condition = nullptr, std::shared_ptr<model::InstanceImpl> step_instance = nullptr);

  unsigned long id;  ///< The number printed for the step.
  rational delay;
};

/// Steps and precedences between them. Steps, and the predecessors of a step, are kept in the order in which
/// they were added.
class POTPlan : public Plan {
 public:
  using StepPtr = std::shared_ptr<POTStep>;

  explicit POTPlan(Environment& env) : Plan(env) {}
  /// A copy with ids from 1, or the steps of a TimeTriggeredPlan with their start times as delays and no
  /// precedence. Null or another kind of plan: InternalError "No known conversion to POTPlan from the
  /// specified plan".
  explicit POTPlan(const std::shared_ptr<Plan>& plan);

  /// A new step whose id is the number of steps then in the plan. Pass std::nullopt for no duration.
  StepPtr add_step(const rational& delay, const std::shared_ptr<model::ActionImpl>& action,
                   const std::vector<Node*>& parameters, const std::optional<rational>& duration,
                   Node* post_condition = nullptr,
                   const std::shared_ptr<model::InstanceImpl>& instance = nullptr);
  /// Enters a step that the caller made, with the id that it has; a second time changes nothing.
  void insert_step(const StepPtr& step);
  /// Demands that `first` ends before `second` is ready; twice is as once. A step of another plan:
  /// InternalError "Trying to set the precedence of a node that does not belong to this POTPlan".
  void add_precedence(const StepPtr& first, const StepPtr& second);

  const std::vector<StepPtr>& steps() const { return steps_; }
  /// InternalError "Trying to access precedences of a non-existing step!" for a step of another plan.
  const std::vector<StepPtr>& predecessors(const StepPtr& step) const;
  /// The steps not in `done` all of whose predecessors are, in the order of `steps`.
  std::vector<StepPtr> schedulable_steps(const std::unordered_set<StepPtr>& done) const;

  std::size_t size() const override { return steps_.size(); }
  const std::string& kind() const override;  ///< "Partial-Order Temporal Plan"
  /// "Steps to execute:", a line a step, "Subject to:", and for each step with predecessors their ids, all by
  /// id. Delays and durations are exact fractions.
  void print(std::ostream& out) const override;

 private:
  std::vector<StepPtr> steps_;
  std::unordered_map<const POTStep*, std::vector<StepPtr>> predecessors_;  // an entry for every step
};

using PartialOrderTemporalPlan = POTPlan;

}  // namespace zorvel
