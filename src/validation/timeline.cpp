#include "validation/timeline.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "transformers/clashing_effects.h"

namespace zorvel::validation {

rational round_time(const rational& time) {
  // Nearly all times are round already, and a remainder is cheaper than arithmetic on fractions.
  const integer denominator = time.denominator();
  if (denominator.fits_long() && 100000 % static_cast<long>(denominator) == 0) return time;
  return time < rational(0) ? -round(-time, time_decimals) : round(time, time_decimals);
}

bool comes_before(const Event& a, const Event& b) {
  if (a.start != b.start) return a.start < b.start;
  const Statement& left = *a.statement;
  const Statement& right = *b.statement;
  if (left.is_left_closed != right.is_left_closed) return right.is_left_closed;
  return left.kind == StatementKind::CONDITION && right.kind != StatementKind::CONDITION;
}

CompiledProblem::CompiledProblem(model::ProblemPtr problem)
    : problem_(std::move(problem)), slots_(problem_->env()), evaluate_(slots_) {
  model::refuse_statements_before_start(*problem_);
  for (const model::InitialDefault& rule : problem_->rules().initial_defaults)
    slots_.set_default(slots_.fluent(rule.fluent),
                       Value::of_node(problem_->env().expression_factory(), rule.value));
  for (Node* expression : problem_->expressions())
    for (Statement& statement : compile_statements(slots_, {}, expression))
      statements_.push_back(std::move(statement));
  for (const model::AlwaysWithin& rule : problem_->rules().always_within) {
    ProgramBuilder builder(slots_, {});
    builder.add(rule.trigger);
    builder.add(rule.response);
    rules_.push_back({&rule, builder.take()});
  }
}

Timeline CompiledProblem::lay_out(const TimeTriggeredPlan& plan, const TimeTriggeredPlan& shown) {
  Timeline timeline;
  rational makespan(0);
  // Transformers that map one step to one keep times and order, so the steps correspond by position.
  std::vector<const TimeTriggeredStep*> shown_steps;
  const TimeTriggeredPlan& originals = shown.size() == plan.size() ? shown : plan;
  for (const auto& [time, steps] : originals.steps())
    for (const auto& step : steps) shown_steps.push_back(step.get());
  std::size_t position = 0;
  for (const auto& [time, steps] : plan.steps())
    for (const auto& step : steps) add_step(timeline, *step, *shown_steps[position++], makespan);
  assert(position == shown_steps.size());
  add_problem(timeline, makespan);
  for (const Event& event : timeline.events) timeline.order.push_back(&event);
  std::stable_sort(timeline.order.begin(), timeline.order.end(),
                   [](const Event* a, const Event* b) { return comes_before(*a, *b); });
  return timeline;
}

const std::vector<Statement>& CompiledProblem::statements_of(const TimeTriggeredStep& step) {
  const auto known = actions_.find(step.action);
  if (known != actions_.end()) return known->second;
  // All steps of one action give as many parameters: those that people see.
  return actions_.emplace(step.action, compile_action(slots_, *step.action, step.parameters.size()))
      .first->second;
}

void CompiledProblem::add_step(Timeline& timeline, const TimeTriggeredStep& step,
                               const TimeTriggeredStep& shown, rational& makespan) {
  const model::ExpressionFactory& factory = slots_.env().expression_factory();
  const rational end = step.start + step.duration;
  Occurrence& occurrence = timeline.occurrences.emplace_back(Occurrence{&step, &shown, {}});
  for (Node* parameter : step.parameters)
    occurrence.binding.parameters.push_back(Value::of_node(factory, parameter));
  if (step.parameters.size() < step.action->parameters().size()) {
    occurrence.binding.parameters.resize(step.action->parameters().size());
    timeline.has_unbound_parameters = true;
  }
  occurrence.binding.start = Value::rational_number(step.start);
  occurrence.binding.end = Value::rational_number(end);
  occurrence.binding.duration = Value::rational_number(step.duration);

  makespan = std::max(makespan, end);
  for (const Statement& statement : statements_of(step))
    if (const Event* event = add_event(timeline, statement, occurrence))
      makespan = std::max(makespan, event->end);
}

void CompiledProblem::add_problem(Timeline& timeline, rational& makespan) {
  Occurrence& occurrence = timeline.occurrences.emplace_back(Occurrence{nullptr, nullptr, {}});
  Binding& binding = occurrence.binding;
  binding.start = Value::rational_number(rational(0));
  for (const Statement& statement : statements_) {
    if (statement.kind == StatementKind::CONDITION) {
      // What is measured from the start happens before the end, be it a condition too.
      for (const TimeAnchor* anchor : {&statement.lower, &statement.upper})
        if (!anchor->names_end && !(statement.is_point && anchor == &statement.upper))
          makespan = std::max(makespan, round_time(time_of(*anchor, statement, binding)));
    } else if (time_of(statement.lower, statement, binding) == rational(0)) {
      set_initial_value(timeline.initial, statement, binding);
    } else {
      makespan = std::max(makespan, add_event(timeline, statement, occurrence)->end);
    }
  }
  binding.end = Value::rational_number(makespan + rational(1));
  for (const Statement& statement : statements_)
    if (statement.kind == StatementKind::CONDITION) add_event(timeline, statement, occurrence);
}

const Event* CompiledProblem::add_event(Timeline& timeline, const Statement& statement,
                                        Occurrence& occurrence) {
  Event event{
      round_time(time_of(statement.lower, statement, occurrence.binding)), {}, &statement, &occurrence};
  event.end =
      statement.is_point ? event.start : round_time(time_of(statement.upper, statement, occurrence.binding));
  if (event.start == event.end && !(statement.is_left_closed && statement.is_right_closed) &&
      !statement.is_contains)
    return nullptr;
  return &timeline.events.emplace_back(std::move(event));
}

rational CompiledProblem::time_of(const TimeAnchor& anchor, const Statement& statement,
                                  const Binding& binding) {
  evaluate_.run(anchor.program, binding, {});
  const Value& time = evaluate_.output(anchor.program, 0);
  if (!time.is_number()) {
    InvalidParameterError error("Unsupported timing for expression: ");
    if (statement.source != nullptr)
      error << model::print_expression{statement.source};
    else
      error << "simulated effect at " << model::print_expression{statement.simulated_effect->timing};
    throw error;
  }
  return anchor.is_offset ? binding.start.number + time.number : time.number;
}

void CompiledProblem::set_initial_value(World& world, const Statement& statement, const Binding& binding) {
  evaluate_.run(statement.body, binding, world);
  const Target& target = statement.targets.front();
  const auto slot = evaluate_.target(statement.body, target.fluent, target.first_argument, target.arity);
  const Value& value = evaluate_.output(statement.body, 0);
  if (!slot || !value.is_known())
    throw InvalidParameterError("Unable to simplify to a constant! ")
        << model::print_expression{slot ? statement.value : target.reference} << " -> "
        << model::print_expression{slot ? statement.value : target.reference};
  if (index(*slot) >= world.size()) slots_.extend(world);
  assert(index(*slot) < world.size());
  world[index(*slot)] = slots_.as_content(target.fluent, value);
}

}  // namespace zorvel::validation
