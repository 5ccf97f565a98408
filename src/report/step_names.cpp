#include "report/step_names.h"

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/instance.h"
#include "model/problem_source.h"

namespace zorvel::report {

std::string StepNames::text() const {
  std::string text = object.empty() ? action + '(' : object + '.' + action + '(';
  for (std::size_t i = 0; i < arguments.size(); ++i) text += (i == 0 ? "" : ", ") + arguments[i];
  return text + ')';
}

StepNames names_of(const PlanAction& step, const model::ProblemInstanceImpl& problem) {
  const PlanNames::ActionName* const known =
      problem.source() == nullptr ? nullptr : problem.source()->names.find(step.action->name());
  // A plan built by hand may have another number of arguments than its action.
  const bool has_order = known != nullptr && known->order.size() == step.parameters.size();
  StepNames names;
  if (step.instance) names.object = step.instance->name();
  names.action = known == nullptr ? step.action->name() : known->name;
  for (std::size_t i = 0; i < step.parameters.size(); ++i)
    names.arguments.push_back(model::to_anml(step.parameters[has_order ? known->order[i] : i]));
  names.is_instantaneous = !step.has_duration || (known != nullptr && known->is_instantaneous);
  return names;
}

}  // namespace zorvel::report
