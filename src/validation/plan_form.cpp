#include "validation/plan_form.h"

#include <sstream>
#include <unordered_map>

#include "core/errors.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/instance.h"
#include "model/user_type.h"
#include "state/operations.h"

namespace zorvel::validation {

using model::ExpressionFactory;

namespace {

/// From each action to the user type that declares it, null at top level.
using Owners = std::unordered_map<const model::ActionImpl*, const model::UserTypeImpl*>;

void collect_owners(const model::TypeScope& scope, const model::UserTypeImpl* owner, Owners& owners) {
  for (const auto& [name, action] : scope.actions()) owners.emplace(action.get(), owner);
  for (const auto& [name, type] : scope.user_types()) collect_owners(*type, type.get(), owners);
}

bool fits(Environment& env, const Node* value, const model::TypeBase& type) {
  return is_of_kind(env, value, type) && (!ExpressionFactory::is_numeric_constant(value) ||
                                          check_domain(env.expression_factory(), value, type));
}

class StepCheck {
 public:
  StepCheck(Environment& env, const TimeTriggeredStep& step) : env_(env), step_(step) {}

  std::string find_fault(const model::UserTypeImpl* owner) const {
    const model::ParameterVector& formal = step_.action->parameters();
    if (step_.start < rational(0)) return fault("starts before time 0");
    if (step_.has_duration && step_.duration < rational(0)) return fault("has a negative duration");
    if (owner == nullptr && step_.instance) return fault("names an object, and its action is no method");
    if (owner != nullptr && !step_.instance) return fault("names no object, and its action is a method");
    if (owner != nullptr && !model::is_a(*step_.instance->type(), *owner))
      return fault("runs on an object that is no " + owner->name());
    if (owner != nullptr && step_.instance->type()->find_action(step_.action->name()) != step_.action)
      return fault("runs on an object whose type has another '" + step_.action->name() + "'");
    if (step_.parameters.size() != formal.size())
      return fault("needs " + std::to_string(formal.size()) + " parameters");
    for (std::size_t i = 0; i < formal.size(); ++i)
      if (step_.parameters[i] == nullptr || !fits(env_, step_.parameters[i], *formal[i]->type()))
        return fault("has a parameter '" + formal[i]->name() + "' that is no " +
                     formal[i]->type()->reference_name());
    return {};
  }

 private:
  std::string fault(const std::string& what) const { return describe_step(step_) + ' ' + what; }

  Environment& env_;
  const TimeTriggeredStep& step_;
};

}  // namespace

std::string find_malformed_step(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan,
                                const TimeTriggeredStep*& malformed) {
  malformed = nullptr;
  Owners owners;
  collect_owners(problem, nullptr, owners);
  for (const auto& [time, steps] : plan.steps())
    for (const auto& step : steps) {
      const auto owner = owners.find(step->action.get());
      if (owner == owners.end())
        throw InternalError("Found an action that is unknown to the validator: ") << step->action->name();
      std::string fault = StepCheck(plan.env(), *step).find_fault(owner->second);
      if (fault.empty()) continue;
      malformed = step.get();
      return fault;
    }
  return {};
}

std::string describe_step(const TimeTriggeredStep& step) {
  std::ostringstream text;
  text << "Step " << step.start << ": ";
  print_plan_action(text, step);
  if (step.has_duration) text << " [" << step.duration << ']';
  return text.str();
}

}  // namespace zorvel::validation
