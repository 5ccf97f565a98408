#include "transformers/one_to_one_transformer.h"

#include <cassert>

#include "plans/time_triggered_plan.h"
#include "transformers/plan_mapping.h"

namespace zorvel::model {

void OneToOneTransformer::pair(const std::shared_ptr<ActionImpl>& old_action,
                               const std::shared_ptr<ActionImpl>& new_action) {
  assert(old_action != nullptr && !new_to_old_.contains(new_action));
  old_to_new_[old_action] = new_action;
  new_to_old_[new_action] = old_action;
}

ActionStep OneToOneTransformer::step_back(const ActionStep& step) const {
  ActionStep result{step.instance, find_action(new_to_old_, step.action, texts_.unknown_new_action), {}};
  for (Node* value : step.parameters) result.parameters.push_back(value_back(value));
  return result;
}

ActionStep OneToOneTransformer::step_forward(const ActionStep& step) const {
  ActionStep result{step.instance, find_action(old_to_new_, step.action, texts_.unknown_old_action), {}};
  for (Node* value : step.parameters) result.parameters.push_back(value_forward(value));
  return result;
}

ActionStep OneToOneTransformer::map_back(const ActionStep& step) const { return step_back(step); }

std::vector<ActionStep> OneToOneTransformer::map_forward(const ActionStep& step) const {
  return {step_forward(step)};
}

std::shared_ptr<Plan> OneToOneTransformer::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, texts_.unknown_plan, [this](const PlannedStep& planned) {
    Node* const condition = planned.post_condition;
    return MappedStep{step_back(planned.step), condition == nullptr ? nullptr : condition_back(condition)};
  });
}

std::shared_ptr<TimeTriggeredPlan> OneToOneTransformer::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>& plan) const {
  return map_time_triggered(plan, [this](const PlannedStep& planned) {
    Node* const condition = planned.post_condition;
    return std::vector{MappedStep{step_forward(planned.step),
                                  condition == nullptr ? nullptr : condition_forward(condition)}};
  });
}

}  // namespace zorvel::model
