#include "plans/time_triggered_plan.h"

#include <algorithm>
#include <cassert>
#include <ostream>
#include <utility>

#include "core/configuration.h"
#include "core/errors.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/temporal_network.h"

namespace zorvel {

namespace {

/// The moments at which each step of a partial order becomes ready in its earliest schedule, by position in
/// `plan.steps()`.
std::vector<rational> earliest_ready_times(const POTPlan& plan, const rational& epsilon) {
  enum Moment : bool { END = false, READY = true };
  using Key = std::pair<POTPlan::StepPtr, bool>;
  TNInterpreter<Key> interpreter;
  TemporalNetwork<Key, rational> network(epsilon);
  for (const POTPlan::StepPtr& step : plan.steps()) {
    const rational length = step->duration + step->delay;
    network.add_le(interpreter, {step, READY}, {step, END}, -length);
    network.add_le(interpreter, {step, END}, {step, READY}, length);
  }
  for (const POTPlan::StepPtr& step : plan.steps())
    for (const POTPlan::StepPtr& predecessor : plan.predecessors(step))
      network.add_le(interpreter, {predecessor, END}, {step, READY}, -epsilon);

  const auto times = network.get_min_makespan_solution(interpreter);
  std::vector<rational> ready;
  ready.reserve(plan.size());
  for (const POTPlan::StepPtr& step : plan.steps()) ready.push_back(times.at({step, READY}));
  assert(std::ranges::all_of(ready, [](const rational& time) { return time >= rational(0); }));
  return ready;
}

void print_rounded(std::ostream& out, const rational& value) { out << short_decimal_text(value, 2); }
void print_fraction(std::ostream& out, const rational& value) { out << value; }

template <class PrintNumber>
void print_head(std::ostream& out, const TimeTriggeredStep& step, PrintNumber print_number) {
  print_number(out, step.start);
  out << ": ";
  print_plan_action(out, step);
}

template <class PrintNumber>
void print_duration(std::ostream& out, const rational& duration, PrintNumber print_number) {
  out << " [";
  print_number(out, duration);
  out << ']';
}

}  // namespace

TimeTriggeredStep::TimeTriggeredStep(rational step_start, std::shared_ptr<model::ActionImpl> step_action,
                                     std::vector<Node*> step_parameters,
                                     std::optional<rational> step_duration, Node* step_post_condition,
                                     std::shared_ptr<model::InstanceImpl> step_instance)
    : PlanAction(std::move(step_action), std::move(step_parameters), std::move(step_duration),
                 step_post_condition, std::move(step_instance)),
      start(std::move(step_start)) {}

TimeTriggeredPlan::TimeTriggeredPlan(const std::shared_ptr<Plan>& plan)
    : Plan(environment_of(plan, "TimeTriggeredPlan")) {
  if (const auto* scheduled = dynamic_cast<const TimeTriggeredPlan*>(plan.get())) {
    for (const auto& [time, steps] : scheduled->steps_)
      for (const StepPtr& step : steps) add_step(std::make_shared<TimeTriggeredStep>(*step));
    return;
  }
  const auto* partial_order = dynamic_cast<const POTPlan*>(plan.get());
  if (partial_order == nullptr)
    throw InternalError("No known conversion to TimeTriggeredPlan from the specified plan");
  const std::vector<rational> ready = earliest_ready_times(*partial_order, plan_epsilon(env()));
  for (std::size_t i = 0; i < ready.size(); ++i) {
    const POTStep& step = *partial_order->steps()[i];
    add_step(std::make_shared<TimeTriggeredStep>(ready[i] + step.delay, step.action, step.parameters,
                                                 step.optional_duration(), step.post_condition,
                                                 step.instance));
  }
}

void TimeTriggeredPlan::add_step(StepPtr step) {
  assert(step != nullptr && step->action != nullptr);
  std::vector<StepPtr>& steps_of_time = steps_[step->start];
  steps_of_time.push_back(std::move(step));
}

std::size_t TimeTriggeredPlan::size() const {
  std::size_t size = 0;
  for (const auto& [time, steps] : steps_) size += steps.size();
  return size;
}

const std::string& TimeTriggeredPlan::kind() const {
  static const std::string name = "Time-Triggered Plan";
  return name;
}

void TimeTriggeredPlan::print(std::ostream& out) const {
  const auto print_number =
      env().configuration().get_boolean_value("rational-precision") ? print_fraction : print_rounded;
  for (const auto& [time, steps] : steps_)
    for (const StepPtr& step : steps) {
      print_head(out, *step, print_number);
      if (step->has_duration) print_duration(out, step->duration, print_number);
      out << std::endl;
    }
}

void TimeTriggeredPlan::print_exact(std::ostream& out) const {
  for (const auto& [time, steps] : steps_)
    for (const StepPtr& step : steps) {
      print_head(out, *step, print_fraction);
      print_duration(out, step->has_duration ? step->duration : rational(0), print_fraction);
      out << '\n';
    }
}

}  // namespace zorvel
