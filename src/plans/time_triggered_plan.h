#pragma once

#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plans/plan.h"

namespace zorvel {

/// An action with an absolute start time.
struct TimeTriggeredStep : PlanAction {
  /// Pass std::nullopt for a step without duration.
  TimeTriggeredStep(rational step_start, std::shared_ptr<model::ActionImpl> step_action,
                    std::vector<Node*> step_parameters, std::optional<rational> step_duration,
                    Node* step_post_condition = nullptr,
                    std::shared_ptr<model::InstanceImpl> step_instance = nullptr);

  rational start;
};

/// Actions at absolute start times. Steps of one time keep their order of insertion.
class TimeTriggeredPlan : public Plan {
 public:
  using StepPtr = std::shared_ptr<TimeTriggeredStep>;
  using Steps = std::map<rational, std::vector<StepPtr>>;

  explicit TimeTriggeredPlan(Environment& env) : Plan(env) {}
  /// A copy, step by step, or the schedule of a PartialOrderTemporalPlan of least makespan, in which a step
  /// becomes ready at least `plan-epsilon` after the end of each of its predecessors. A partial order that
  /// has no schedule raises TemporalNetworkIsUnsat; null or another kind of plan InternalError "No known
  /// conversion to TimeTriggeredPlan from the specified plan".
  explicit TimeTriggeredPlan(const std::shared_ptr<Plan>& plan);

  /// Appends behind the steps of the same start time.
  void add_step(StepPtr step);
  const Steps& steps() const { return steps_; }

  std::size_t size() const override;
  const std::string& kind() const override;  ///< "Time-Triggered Plan"

  /// One line a step, by time: `0: load(truck1, box2) [2.5]`, without the bracket for a step without
  /// duration. With the option `rational-precision` numbers are exact fractions; otherwise they are rounded
  /// to two decimals, without zeros at the end. That text is for people: to keep a plan, use `print_exact`.
  void print(std::ostream& out) const override;

  /// The same lines for the plan reader, whatever the options say: exact fractions, and a bracket on every
  /// line, as the reader demands ("[0]" for a step without duration, which is what a validator takes it for).
  void print_exact(std::ostream& out) const;

 private:
  Steps steps_;
};

}  // namespace zorvel
