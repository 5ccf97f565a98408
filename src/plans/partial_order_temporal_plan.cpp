#include "plans/partial_order_temporal_plan.h"

#include <algorithm>
#include <ostream>
#include <utility>

#include "core/errors.h"
#include "plans/time_triggered_plan.h"

namespace zorvel {

namespace {

/// Steps that have one id, which a caller may give, keep their order.
std::vector<POTPlan::StepPtr> by_id(std::vector<POTPlan::StepPtr> steps) {
  std::stable_sort(steps.begin(), steps.end(),
                   [](const POTPlan::StepPtr& a, const POTPlan::StepPtr& b) { return a->id < b->id; });
  return steps;
}

}  // namespace

POTStep::POTStep(unsigned long step_id, rational step_delay, std::shared_ptr<model::ActionImpl> step_action,
                 std::vector<Node*> step_parameters, std::optional<rational> step_duration,
                 Node* step_post_condition, std::shared_ptr<model::InstanceImpl> step_instance)
    : PlanAction(std::move(step_action), std::move(step_parameters), std::move(step_duration),
                 step_post_condition, std::move(step_instance)),
      id(step_id),
      delay(std::move(step_delay)) {}

POTPlan::POTPlan(const std::shared_ptr<Plan>& plan) : Plan(environment_of(plan, "POTPlan")) {
  const auto add_copy = [this](const rational& delay, const PlanAction& step) {
    return add_step(delay, step.action, step.parameters, step.optional_duration(), step.post_condition,
                    step.instance);
  };
  if (const auto* partial_order = dynamic_cast<const POTPlan*>(plan.get())) {
    std::unordered_map<const POTStep*, StepPtr> copies;
    for (const StepPtr& step : partial_order->steps_) copies[step.get()] = add_copy(step->delay, *step);
    for (const StepPtr& step : partial_order->steps_)
      for (const StepPtr& predecessor : partial_order->predecessors(step))
        add_precedence(copies.at(predecessor.get()), copies.at(step.get()));
    return;
  }
  const auto* scheduled = dynamic_cast<const TimeTriggeredPlan*>(plan.get());
  if (scheduled == nullptr) throw InternalError("No known conversion to POTPlan from the specified plan");
  for (const auto& [time, steps] : scheduled->steps())
    for (const TimeTriggeredPlan::StepPtr& step : steps) add_copy(step->start, *step);
}

POTPlan::StepPtr POTPlan::add_step(const rational& delay, const std::shared_ptr<model::ActionImpl>& action,
                                   const std::vector<Node*>& parameters,
                                   const std::optional<rational>& duration, Node* post_condition,
                                   const std::shared_ptr<model::InstanceImpl>& instance) {
  auto step = std::make_shared<POTStep>(steps_.size() + 1, delay, action, parameters, duration,
                                        post_condition, instance);
  insert_step(step);
  return step;
}

void POTPlan::insert_step(const StepPtr& step) {
  if (predecessors_.try_emplace(step.get()).second) steps_.push_back(step);
}

void POTPlan::add_precedence(const StepPtr& first, const StepPtr& second) {
  const auto entry = predecessors_.find(second.get());
  if (entry == predecessors_.end() || !predecessors_.contains(first.get()))
    throw InternalError("Trying to set the precedence of a node that does not belong to this POTPlan");
  std::vector<StepPtr>& before = entry->second;
  if (std::find(before.begin(), before.end(), first) == before.end()) before.push_back(first);
}

const std::vector<POTPlan::StepPtr>& POTPlan::predecessors(const StepPtr& step) const {
  const auto entry = predecessors_.find(step.get());
  if (entry == predecessors_.end())
    throw InternalError("Trying to access precedences of a non-existing step!");
  return entry->second;
}

std::vector<POTPlan::StepPtr> POTPlan::schedulable_steps(const std::unordered_set<StepPtr>& done) const {
  std::vector<StepPtr> schedulable;
  for (const StepPtr& step : steps_) {
    const std::vector<StepPtr>& before = predecessors(step);
    if (!done.contains(step) && std::all_of(before.begin(), before.end(), [&](const StepPtr& predecessor) {
          return done.contains(predecessor);
        }))
      schedulable.push_back(step);
  }
  return schedulable;
}

const std::string& POTPlan::kind() const {
  static const std::string name = "Partial-Order Temporal Plan";
  return name;
}

void POTPlan::print(std::ostream& out) const {
  const std::vector<StepPtr> steps = by_id(steps_);
  out << "Steps to execute:" << std::endl;
  for (const StepPtr& step : steps) {
    out << ' ' << step->id << ") ";
    print_plan_action(out, *step);
    if (step->delay > rational(0)) out << " with delay " << step->delay;
    if (step->has_duration) out << " with duration " << step->duration;
    out << std::endl;
  }
  out << "Subject to:" << std::endl;
  for (const StepPtr& step : steps) {
    const std::vector<StepPtr> before = by_id(predecessors(step));
    if (before.empty()) continue;
    out << ' ' << step->id << " > ";
    const char* separator = "";
    for (const StepPtr& predecessor : before) {
      out << separator << predecessor->id;
      separator = ", ";
    }
    out << std::endl;
  }
}

}  // namespace zorvel
