#include "validation/replay.h"

#include <algorithm>
#include <cassert>
#include <ostream>
#include <sstream>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "model/expression_factory.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "state/operations.h"
#include "state/search_state.h"

namespace zorvel::validation {

using model::print_expression;

namespace {

template <class... Parts>
std::string text_of(const Parts&... parts) {
  std::ostringstream text;
  (text << ... << parts);
  return text.str();
}

}  // namespace

Replay::Replay(CompiledProblem& problem, const Timeline& timeline, const Observer& observer)
    : problem_(problem),
      timeline_(timeline),
      observer_(observer),
      evaluate_(problem.slots()),
      world_(timeline.initial),
      owed_since_(problem.rules().size()),
      has_mutual_exclusion_(problem.problem()->rules().has_mutual_exclusion) {}

bool Replay::run() {
  const std::vector<const Event*>& events = timeline_.order;
  std::size_t next = 0;
  if (!check_rules()) return false;
  while (next < events.size()) {
    const rational& time = events[next]->start;
    if (time != now_ && !advance(time)) return false;
    if (timeline_.has_unbound_parameters) bind_parameters(next);
    for (; next < events.size() && events[next]->start == time; ++next)
      if (!process(*events[next])) return false;
    if (!check_mutual_exclusion()) return false;
    const auto has_begun = [&](const Event& event) {
      return event.statement->is_left_closed || event.start < now_;
    };
    if (!check_stale_conditions(has_begun)) return false;
  }
  if (apply_changes() && !check_rules()) return false;
  if (!check_stale_conditions([&](const Event& event) { return event.end > now_; })) return false;
  for (std::size_t i = 0; i < owed_since_.size(); ++i)
    if (owed_since_[i]) return fail_rule(*problem_.rules()[i].source, *owed_since_[i]);
  // The last state stands for ever, so what it has not brought about by now does not come.
  for (const ActiveCondition& condition : conditions_)
    if (condition.event->statement->is_contains && !condition.is_over) return fail_contains(*condition.event);
  return true;
}

/// Goes on to `time`, through the state that holds from now_ until then.
bool Replay::advance(const rational& time) {
  if (apply_changes() && !check_rules()) return false;
  // why here: No event need stand between now_ and an interval's end, so this state may be the only one in
  // which a condition fails, or a `contains` holds.
  if (!check_stale_conditions([&](const Event& event) { return event.end > now_; })) return false;
  now_ = time;
  ++instant_;
  return retire_conditions(time);
}

/// Binds the parameters that conditions which begin now define. `first`: the first event of now_.
void Replay::bind_parameters(std::size_t first) {
  const std::vector<const Event*>& events = timeline_.order;
  // One definition may read the parameter of another one.
  for (bool has_bound = true; has_bound;) {
    has_bound = false;
    for (std::size_t i = first; i < events.size() && events[i]->start == events[first]->start; ++i) {
      const auto& definition = events[i]->statement->defines;
      if (!definition) continue;
      Binding& binding = events[i]->occurrence->binding;
      if (binding.parameters[definition->parameter].is_known()) continue;
      evaluate_.run(definition->value, binding, world_);
      const Value& value = evaluate_.output(definition->value, 0);
      if (!value.is_known()) continue;
      binding.parameters[definition->parameter] = value;
      has_bound = true;
    }
  }
}

void Replay::note_reads(const Event& event) {
  for (const Slot slot : reads_) reads_now_.push_back({slot, &event});
  reads_.clear();
}

/// Whether the fluent is named once everything is decided that the step's parameters and constants decide.
/// Slow: for what was evaluated all the same.
bool Replay::names(const Event& event, Slot slot) const {
  const Statement& statement = *event.statement;
  Environment& env = problem_.slots().env();
  const model::ExpressionSimplifier simplify(env);
  const Node* const sought = problem_.slots().reference(slot);
  std::vector<Node*> open;
  if (statement.kind == StatementKind::CONDITION)
    open.push_back(simplify(ground(event, statement.condition)));
  if (statement.kind == StatementKind::EFFECT) {
    open.push_back(simplify(ground(event, statement.value)));
    for (Node* argument : statement.targets.front().reference->operands())
      open.push_back(ground(event, argument));
  }
  if (statement.kind == StatementKind::SIMULATED_EFFECT) return true;
  while (!open.empty()) {
    Node* const node = open.back();
    open.pop_back();
    if (node == sought) return true;
    const bool is_of_one_fluent = model::ExpressionFactory::is_fluent_reference(node) &&
                                  node->arity == sought->arity && node->arity > 0 &&
                                  env.expression_factory().get_fluent_from_reference(node) ==
                                      env.expression_factory().get_fluent_from_reference(sought);
    // An argument that is a fluent may lead to it.
    if (is_of_one_fluent &&
        std::any_of(node->operands().begin(), node->operands().end(), [](const Node* argument) {
          return !model::ExpressionFactory::is_instance_reference(argument) && argument->arity > 0;
        }))
      return true;
    open.insert(open.end(), node->operands().begin(), node->operands().end());
  }
  return false;
}

bool Replay::check_mutual_exclusion() {
  for (const Read& read : reads_now_) {
    const std::size_t slot = index(read.slot);
    if (slot >= changed_at_.size() || changed_at_[slot] != instant_) continue;
    assert(changed_by_[slot] != nullptr);
    const Event& change = *changed_by_[slot];
    if (change.occurrence == read.event->occurrence || !names(*read.event, read.slot)) continue;
    const Statement& statement = *read.event->statement;
    const bool is_condition = statement.kind == StatementKind::CONDITION;
    Node* const stated = is_condition ? statement.condition : statement.targets.front().reference;
    std::ostringstream what;
    what << (is_condition ? "Condition " : "Effect on ") << print_expression{ground(*read.event, stated)}
         << " reads " << print_expression{problem_.slots().reference(read.slot)} << " at the time when ";
    if (const TimeTriggeredStep* step = change.occurrence->shown)
      print_plan_action(what, *step);
    else
      what << "the problem";
    what << " changes it";
    return fail(*read.event, what.str());
  }
  reads_now_.clear();
  return true;
}

/// Whether a value is another one now.
bool Replay::apply_changes() {
  bool has_changed = false;
  for (Change& change : changes_) {
    const std::size_t slot = index(change.slot);
    if (slot >= world_.size()) problem_.slots().extend(world_);
    assert(slot < world_.size());
    if (world_[slot] == change.value) continue;
    if (observer_) {
      model::ExpressionFactory& factory = problem_.slots().env().expression_factory();
      observer_(now_, problem_.slots().reference(change.slot), world_[slot].node(factory),
                change.value.node(factory));
    }
    world_[slot] = std::move(change.value);
    has_changed = true;
    if (slot >= watchers_.size()) continue;
    std::erase_if(watchers_[slot], [&](ConditionId id) { return conditions_[id].is_over; });
    for (const ConditionId id : watchers_[slot]) {
      if (conditions_[id].is_stale) continue;
      conditions_[id].is_stale = true;
      stale_.push_back(id);
    }
  }
  changes_.clear();
  return has_changed;
}

/// Looks at the state that begins at now_.
bool Replay::check_rules() {
  for (std::size_t i = 0; i < owed_since_.size(); ++i) {
    const CompiledRule& rule = problem_.rules()[i];
    evaluate_.run(rule.program, {}, world_);
    std::optional<rational>& since = owed_since_[i];
    if (evaluate_.output(rule.program, 1).is_true()) {
      if (since && now_ - *since > rule.source->limit) return fail_rule(*rule.source, *since);
      since.reset();
    } else if (!since && evaluate_.output(rule.program, 0).is_true()) {
      since = now_;
    }
  }
  return true;
}

bool Replay::fail_rule(const model::AlwaysWithin& rule, const rational& since) {
  reason_ = text_of(print_expression{rule.trigger}, " holds at time ", since, ", and ",
                    print_expression{rule.response}, " not within ", rule.limit, " from then on");
  ZORVEL_LOG(DEBUG) << reason_;
  return false;
}

bool Replay::retire_conditions(const rational& time) {
  const auto ends_later = [&](ConditionId a, ConditionId b) {
    return conditions_[a].event->end > conditions_[b].event->end;
  };
  while (!by_end_.empty() && conditions_[by_end_.front()].event->end < time) {
    std::pop_heap(by_end_.begin(), by_end_.end(), ends_later);
    ActiveCondition& condition = conditions_[by_end_.back()];
    by_end_.pop_back();
    const bool is_missed = condition.event->statement->is_contains && !condition.is_over;
    condition.is_over = true;
    if (is_missed) return fail_contains(*condition.event);
  }
  return true;
}

bool Replay::process(const Event& event) {
  if (Log::enabled(LogLevel::DEBUG)) {
    ZORVEL_LOG(DEBUG) << "Simulation Time: " << now_;
    if (Log::enabled(LogLevel::TRACE)) log_state();
  }
  switch (event.statement->kind) {
    case StatementKind::CONDITION: return process_condition(event);
    case StatementKind::EFFECT: return process_effect(event);
    case StatementKind::SIMULATED_EFFECT: return process_simulated_effect(event);
  }
  return true;
}

bool Replay::process_condition(const Event& event) {
  const bool has_moment =
      event.start < event.end ||
      (event.start == event.end && event.statement->is_left_closed && event.statement->is_right_closed);
  if (!has_moment)  // then it demands nothing, unless one is asked for
    return !event.statement->is_contains || fail_contains(event);
  if (event.start < event.end || event.statement->is_contains) {
    activate(event);
    return true;
  }
  reads_.clear();
  const bool is_at_instant = event.statement->is_point;
  const bool holds =
      evaluate_condition(event, has_mutual_exclusion_ && is_at_instant ? &reads_ : nullptr).is_true();
  note_reads(event);
  if (holds) return true;
  return fail(event, text_of("Condition ", print_expression{ground(event, event.statement->condition)},
                             " is violated!"));
}

void Replay::activate(const Event& event) {
  const auto id = static_cast<ConditionId>(conditions_.size());
  conditions_.push_back({&event, false, true, {}});
  stale_.push_back(id);
  by_end_.push_back(id);
  std::push_heap(by_end_.begin(), by_end_.end(), [&](ConditionId a, ConditionId b) {
    return conditions_[a].event->end > conditions_[b].event->end;
  });
}

/// Evaluates the stale conditions whose event `applies`; the others stay stale.
template <class Applies>
bool Replay::check_stale_conditions(Applies applies) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < stale_.size(); ++i) {
    const ConditionId id = stale_[i];
    ActiveCondition& condition = conditions_[id];
    if (condition.is_over) continue;
    if (!applies(*condition.event)) {
      stale_[kept++] = id;
      continue;
    }
    condition.is_stale = false;
    if (!check(id)) return false;
  }
  stale_.resize(kept);
  return true;
}

bool Replay::check(ConditionId id) {
  ActiveCondition& condition = conditions_[id];
  assert(!condition.is_over);
  const Event& event = *condition.event;
  reads_.clear();
  const bool holds = evaluate_condition(event, &reads_).is_true();
  std::sort(reads_.begin(), reads_.end());
  reads_.erase(std::unique(reads_.begin(), reads_.end()), reads_.end());
  for (const Slot slot : reads_) {
    if (std::find(condition.watched.begin(), condition.watched.end(), slot) != condition.watched.end())
      continue;
    condition.watched.push_back(slot);
    if (index(slot) >= watchers_.size()) watchers_.resize(problem_.slots().size());
    assert(index(slot) < watchers_.size());
    watchers_[index(slot)].push_back(id);
  }
  if (event.statement->is_contains) {
    if (holds) {
      condition.is_over = true;
      ZORVEL_LOG(DEBUG) << "Contains condition "
                        << print_expression{ground(event, event.statement->condition)}
                        << " satisfied at time " << now_;
    }
    return true;
  }
  if (holds) return true;
  return fail(event,
              text_of("Durative Condition ", print_expression{ground(event, event.statement->condition)},
                      " is violated at time ", event.end));
}

const Value& Replay::evaluate_condition(const Event& event, std::vector<Slot>* reads) {
  const Statement& statement = *event.statement;
  evaluate_.run(statement.body, event.occurrence->binding, world_, reads);
  const Value& value = evaluate_.output(statement.body, 0);
  if (value.kind == ValueKind::OPAQUE || (value.is_known() && !value.is_boolean()))
    raise_opaque(event, statement.condition);
  return value;
}

bool Replay::process_effect(const Event& event) {
  const Statement& statement = *event.statement;
  reads_.clear();
  evaluate_.run(statement.body, event.occurrence->binding, world_, has_mutual_exclusion_ ? &reads_ : nullptr);
  note_reads(event);
  const Value& value = evaluate_.output(statement.body, 0);
  if (value.kind == ValueKind::OPAQUE) raise_opaque(event, statement.value);
  assert(statement.targets.size() == 1);
  return record(event, statement.targets.front(), value);
}

/// Notes a change to be seen from the next instant on.
bool Replay::record(const Event& event, const Target& target, const Value& value) {
  FluentSlots& slots = problem_.slots();
  const auto slot =
      evaluate_.target(event.statement->body, target.fluent, target.first_argument, target.arity);
  if (!slot)
    return fail(event, text_of("Effect on ", print_expression{ground(event, target.reference)},
                               ", which has an argument outside its parameter's type"));
  Node* const reference = slots.reference(*slot);
  if (!value.is_known())
    return fail(event, text_of("Effect on ", print_expression{reference},
                               value.kind == ValueKind::UNBOUNDED
                                   ? " reads a fluent at an argument outside its parameter's type"
                                   : " divides by zero or takes the root of a negative number"));
  if (!slots.within_bounds(target.fluent, value))
    return fail(event, text_of("Effect on ", print_expression{reference}, " leaves the type ",
                               slots.type_name(target.fluent), ": ", value.number));
  if (index(*slot) >= changed_at_.size()) changed_at_.resize(slots.size(), 0);
  if (changed_at_[index(*slot)] == instant_) {
    if (repeats_a_change(event, *slot, slots.as_content(target.fluent, value))) return true;
    return fail(event, text_of("Double effect on ", print_expression{reference}, " at the same time!"));
  }
  changed_at_[index(*slot)] = instant_;
  if (has_mutual_exclusion_) {
    if (index(*slot) >= changed_by_.size()) changed_by_.resize(slots.size());
    changed_by_[index(*slot)] = &event;
  }
  changes_.push_back({*slot, slots.as_content(target.fluent, value)});
  ZORVEL_LOG(DEBUG) << "Assigning " << print_expression{reference} << " := "
                    << print_expression{changes_.back().value.node(slots.env().expression_factory())};
  return true;
}

/// Whether the step has written this value to the slot at this instant.
bool Replay::repeats_a_change(const Event& event, Slot slot, const Value& content) const {
  if (!has_mutual_exclusion_ || event.occurrence->step == nullptr ||
      changed_by_[index(slot)]->occurrence != event.occurrence)
    return false;
  const auto change = std::find_if(changes_.rbegin(), changes_.rend(),
                                   [&](const Change& other) { return other.slot == slot; });
  return change != changes_.rend() && change->value == content;
}

bool Replay::process_simulated_effect(const Event& event) {
  FluentSlots& slots = problem_.slots();
  model::ExpressionFactory& factory = slots.env().expression_factory();
  StateIndex state_index;
  SearchState state(world_.size(), 0);
  for (std::size_t i = 0; i < world_.size(); ++i) {
    if (world_[i].kind == ValueKind::UNSET) continue;
    Node* const reference = slots.reference(static_cast<Slot>(i));
    state_index.emplace(reference, i);
    state.override_value(i, world_[i].node(factory));
  }
  const Binding& binding = event.occurrence->binding;
  std::vector<Node*> parameters;
  for (const Value& parameter : binding.parameters) parameters.push_back(parameter.node(factory));

  const Statement& statement = *event.statement;
  const std::vector<Node*> values = statement.simulated_effect->function(state, state_index, parameters);
  if (values.size() != statement.targets.size())
    throw InternalError("A simulated effect on ")
        << statement.targets.size() << " fluents returned " << values.size() << " values";
  evaluate_.run(statement.body, binding, world_);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Value value = Value::of_node(factory, values[i]);
    if (!value.is_known()) raise_opaque(event, values[i]);
    if (!is_of_kind(slots.env(), values[i],
                    *factory.get_fluent_from_reference(statement.targets[i].reference)->type()))
      throw InternalError("A simulated effect gave ")
          << print_expression{values[i]} << " for " << print_expression{statement.targets[i].reference}
          << ", which is of another type" << context(event);
    if (!record(event, statement.targets[i], value)) return false;
  }
  return true;
}

/// The expression with the step's parameters in place. Slow: for messages.
Node* Replay::ground(const Event& event, Node* expression) const {
  const TimeTriggeredStep* step = event.occurrence->step;
  if (step == nullptr) return expression;
  Environment& env = problem_.slots().env();
  model::NodeMap values;
  const model::ParameterVector& parameters = step->action->parameters();
  model::ExpressionFactory& factory = env.expression_factory();
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const Value& value = event.occurrence->binding.parameters[i];
    if (value.is_known()) values[factory.make_parameter_reference(parameters[i])] = value.node(factory);
  }
  return model::ExpressionSubstituter(env, values, {}, false)(expression);
}

void Replay::raise_opaque(const Event& event, Node* expression) const {
  Node* const stated = ground(event, expression);
  const model::ExpressionSimplifier simplify(problem_.slots().env());
  throw InvalidParameterError("Unable to simplify to a constant! ")
      << print_expression{stated} << " -> " << print_expression{simplify(stated)} << context(event);
}

/// Where the statement of an event stands.
std::string Replay::context(const Event& event) const {
  std::ostringstream text;
  text << " (time " << now_ << ", ";
  if (const TimeTriggeredStep* step = event.occurrence->shown) {
    text << "step " << step->start << ": ";
    print_plan_action(text, *step);
    if (step->has_duration) text << " [" << step->duration << ']';
  } else {
    text << "statement " << print_expression{event.statement->source} << " of the problem";
  }
  text << ')';
  return text.str();
}

bool Replay::fail_contains(const Event& event) {
  return fail(event, text_of("Contains condition ",
                             print_expression{ground(event, event.statement->condition)}, " is violated!"));
}

bool Replay::fail(const Event& event, const std::string& what) {
  ZORVEL_LOG(DEBUG) << what;
  reason_ = what + context(event);
  failing_step_ = event.occurrence->shown;
  return false;
}

void Replay::log_state() const {
  const FluentSlots& slots = problem_.slots();
  ZORVEL_LOG(TRACE) << "Current State:";
  for (std::size_t i = 0; i < world_.size(); ++i) {
    if (world_[i].kind == ValueKind::UNSET) continue;
    ZORVEL_LOG(TRACE) << print_expression{slots.reference(static_cast<Slot>(i))}
                      << " := " << print_expression{world_[i].node(slots.env().expression_factory())};
  }
}

}  // namespace zorvel::validation
