#include "plans/plan.h"

#include <ostream>
#include <stdexcept>
#include <utility>

#include "core/configuration.h"
#include "core/errors.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/instance.h"

namespace zorvel {

std::ostream& operator<<(std::ostream& out, const Plan& plan) {
  plan.print(out);
  return out;
}

Environment& Plan::environment_of(const std::shared_ptr<Plan>& plan, std::string_view form) {
  if (!plan) throw InternalError("No known conversion to " + std::string(form) + " from the specified plan");
  return plan->env();
}

PlanAction::PlanAction(std::shared_ptr<model::ActionImpl> step_action, std::vector<Node*> step_parameters,
                       std::optional<rational> step_duration, Node* step_post_condition,
                       std::shared_ptr<model::InstanceImpl> step_instance)
    : action(std::move(step_action)),
      parameters(std::move(step_parameters)),
      duration(step_duration ? std::move(*step_duration) : rational()),
      has_duration(step_duration.has_value()),
      post_condition(step_post_condition),
      instance(std::move(step_instance)) {}

std::optional<rational> PlanAction::optional_duration() const {
  return has_duration ? std::optional<rational>(duration) : std::nullopt;
}

void print_plan_action(std::ostream& out, const PlanAction& step) {
  if (step.instance) out << step.instance->name() << '.';
  out << step.action->name() << '(';
  const char* separator = "";
  for (Node* parameter : step.parameters) {
    out << separator << model::to_anml(parameter);
    separator = ", ";
  }
  out << ')';
}

rational plan_epsilon(Environment& env) {
  const std::string& text = env.configuration().get_string_value("plan-epsilon");
  try {
    rational epsilon = rational_from_string(text);
    if (epsilon > rational(0)) return epsilon;
  } catch (const std::runtime_error&) {
    // The library's text names neither the option nor the number.
  }
  throw InvalidParameterError("The option 'plan-epsilon' must be a positive number, not '") << text << "'";
}

}  // namespace zorvel
