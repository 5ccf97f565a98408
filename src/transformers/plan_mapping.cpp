#include "transformers/plan_mapping.h"

#include <cassert>
#include <unordered_map>
#include <unordered_set>

#include "core/errors.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"

namespace zorvel::model {

namespace {

using Image = std::function<std::optional<MappedStep>(const PlannedStep&)>;

PlannedStep planned_step(const PlanAction& step, const std::optional<rational>& start = std::nullopt) {
  return {
      {step.instance, step.action, step.parameters}, step.optional_duration(), step.post_condition, start};
}

void add_image(TimeTriggeredPlan& plan, const TimeTriggeredStep& original, const MappedStep& image) {
  assert(image.step.action != nullptr);
  assert(!image.duration || image.earlier == rational(0));
  std::optional<rational> duration = original.optional_duration();
  if (duration) *duration += image.earlier;
  if (image.duration) duration = image.duration;
  plan.add_step(std::make_shared<TimeTriggeredStep>(original.start - image.earlier, image.step.action,
                                                    image.step.parameters, duration, image.post_condition,
                                                    image.step.instance));
}

std::shared_ptr<Plan> map_time_triggered_steps(const TimeTriggeredPlan& plan, const Image& image) {
  auto result = std::make_shared<TimeTriggeredPlan>(plan.env());
  for (const auto& [start, steps] : plan.steps())
    for (const auto& step : steps)
      if (const auto mapped = image(planned_step(*step, start))) add_image(*result, *step, *mapped);
  return result;
}

using ImageTable = std::unordered_map<const POTStep*, POTPlan::StepPtr>;

/// The images of what precedes the step, looking through the steps that have none.
std::vector<POTPlan::StepPtr> remaining_predecessors(const POTPlan& plan, const POTPlan::StepPtr& step,
                                                     const ImageTable& images) {
  std::vector<POTPlan::StepPtr> result, open{step};
  std::unordered_set<const POTStep*> seen;
  for (std::size_t next = 0; next < open.size(); ++next) {
    const POTPlan::StepPtr current = open[next];  // a copy: the vector grows
    for (const auto& predecessor : plan.predecessors(current)) {
      if (!seen.insert(predecessor.get()).second) continue;
      if (const auto image = images.find(predecessor.get()); image != images.end())
        result.push_back(image->second);
      else
        open.push_back(predecessor);
    }
  }
  return result;
}

std::shared_ptr<Plan> map_partial_order(const POTPlan& plan, const Image& image) {
  auto result = std::make_shared<POTPlan>(plan.env());
  ImageTable images;
  for (const auto& step : plan.steps())
    if (const auto mapped = image(planned_step(*step)))
      images[step.get()] = result->add_step(step->delay, mapped->step.action, mapped->step.parameters,
                                            mapped->duration ? mapped->duration : step->optional_duration(),
                                            mapped->post_condition, mapped->step.instance);
  for (const auto& step : plan.steps()) {
    const auto later = images.find(step.get());
    if (later == images.end()) continue;
    for (const auto& predecessor : remaining_predecessors(plan, step, images))
      result->add_precedence(predecessor, later->second);
  }
  return result;
}

}  // namespace

std::shared_ptr<Plan> map_plan(const std::shared_ptr<Plan>& plan, std::string_view kind_ending,
                               const Image& image) {
  if (const auto timed = std::dynamic_pointer_cast<TimeTriggeredPlan>(plan))
    return map_time_triggered_steps(*timed, image);
  if (const auto partial = std::dynamic_pointer_cast<POTPlan>(plan))
    return map_partial_order(*partial, image);
  throw InternalError("Unknown plan kind to be converted by ") << kind_ending;
}

std::shared_ptr<TimeTriggeredPlan> map_time_triggered(
    const std::shared_ptr<TimeTriggeredPlan>& plan,
    const std::function<std::vector<MappedStep>(const PlannedStep&)>& images) {
  if (plan == nullptr) throw InternalError("A time-triggered plan was expected");
  auto result = std::make_shared<TimeTriggeredPlan>(plan->env());
  for (const auto& [start, steps] : plan->steps())
    for (const auto& step : steps)
      for (const MappedStep& mapped : images(planned_step(*step, start))) add_image(*result, *step, mapped);
  return result;
}

}  // namespace zorvel::model
