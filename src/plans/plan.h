#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/environment.h"
#include "core/node.h"
#include "core/numbers.h"

namespace zorvel {

namespace model {
class ActionImpl;
class InstanceImpl;
}  // namespace model

/// The result of every planner, and what every model transformer maps back.
///
/// Two forms exist, TimeTriggeredPlan and PartialOrderTemporalPlan, each built from the other. Actions,
/// instances and expressions in a plan are shared with the problem that it belongs to.
class Plan : public EnvObject {
 public:
  using EnvObject::EnvObject;
  virtual std::size_t size() const = 0;  ///< Number of steps.
  virtual const std::string& kind() const = 0;
  virtual void print(std::ostream& out) const = 0;

 protected:
  /// The environment of a plan that is to be converted; InternalError, which names the wanted form, if there
  /// is no plan.
  static Environment& environment_of(const std::shared_ptr<Plan>& plan, std::string_view form);
};

std::ostream& operator<<(std::ostream& out, const Plan& plan);

/// What steps of both forms of plan have in common. Times are in the problem's unit.
struct PlanAction {
  /// `duration` may be std::nullopt, `post_condition` and `instance` may be null.
  PlanAction(std::shared_ptr<model::ActionImpl> step_action, std::vector<Node*> step_parameters,
             std::optional<rational> step_duration, Node* step_post_condition,
             std::shared_ptr<model::InstanceImpl> step_instance);

  std::shared_ptr<model::ActionImpl> action;
  std::vector<Node*> parameters;  ///< Actual parameters: constants or instance references.
  rational duration;              ///< Meaningful if `has_duration`; 0 otherwise.
  bool has_duration;
  Node* post_condition;                           ///< Has to hold after the step; null if there is none.
  std::shared_ptr<model::InstanceImpl> instance;  ///< The object on which the action runs, or null.

  /// The duration as the constructors take it, for making a step out of another one.
  std::optional<rational> optional_duration() const;
};

/// "object.action(argument, argument)", the object only if the step has one.
void print_plan_action(std::ostream& out, const PlanAction& step);

/// The option `plan-epsilon`: the least time between two events that must not coincide. A text that is no
/// number, or a number that is not above 0, raises InvalidParameterError "The option 'plan-epsilon' must be a
/// positive number, not '" and the text.
rational plan_epsilon(Environment& env);

}  // namespace zorvel
