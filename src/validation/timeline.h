#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <unordered_map>
#include <vector>

#include "core/numbers.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "validation/statement.h"

namespace zorvel::validation {

/// The number of decimals to which the times of events are rounded.
inline constexpr unsigned time_decimals = 5;

/// The multiple of ten to the minus `time_decimals` nearest to `time`; a tie goes away from zero.
rational round_time(const rational& time);

/// A step of the plan with the values that it gives to its action, or the problem itself. Parameters that it
/// gives no value are bound in the replay, when the condition that defines them begins.
struct Occurrence {
  const TimeTriggeredStep* step;   ///< Null for the problem.
  const TimeTriggeredStep* shown;  ///< The step before the transformers, for messages.
  Binding binding;
};

/// A statement at its place in time.
struct Event {
  rational start;
  rational end;  ///< Equal to `start` for a point.
  const Statement* statement;
  Occurrence* occurrence;
};

/// Orders events by time; at one time those of left-open intervals come first, and then conditions before
/// effects.
bool comes_before(const Event& a, const Event& b);

/// All that happens along one plan, in order, and the values of the fluents at time 0.
struct Timeline {
  std::vector<Event> events;        // those of the plan, then those of the problem
  std::vector<const Event*> order;  // the events by comes_before; equal ones as they stand in `events`
  World initial;
  std::deque<Occurrence> occurrences;  // a deque, since events point to them
  bool has_unbound_parameters = false;
};

/// A rule `always-within`, compiled: the trigger and the response are the outputs.
struct CompiledRule {
  const model::AlwaysWithin* source;
  Program program;
};

/// The statements of a problem, compiled once for any number of plans.
class CompiledProblem {
 public:
  explicit CompiledProblem(model::ProblemPtr problem);

  const model::ProblemPtr& problem() const { return problem_; }
  FluentSlots& slots() { return slots_; }
  const std::vector<CompiledRule>& rules() const { return rules_; }

  /// Places the statements of the plan's steps and of the problem in time. The end of the problem lies one
  /// unit behind the last event of the plan and the last moment that the problem itself measures from its
  /// start.
  ///
  /// An interval that is empty, since its ends coincide and are not both included, makes no event, unless
  /// something has to hold at some moment of it. Times are exact until the time of an event is complete, and
  /// rounded then.
  ///
  /// `shown` is the plan before the transformers, which messages speak of.
  Timeline lay_out(const TimeTriggeredPlan& plan, const TimeTriggeredPlan& shown);

 private:
  const std::vector<Statement>& statements_of(const TimeTriggeredStep& step);
  void add_step(Timeline& timeline, const TimeTriggeredStep& step, const TimeTriggeredStep& shown,
                rational& makespan);
  void add_problem(Timeline& timeline, rational& makespan);
  /// Adds the event; null if its interval is empty. The event is valid until the next one is added.
  const Event* add_event(Timeline& timeline, const Statement& statement, Occurrence& occurrence);
  rational time_of(const TimeAnchor& anchor, const Statement& statement, const Binding& binding);
  void set_initial_value(World& world, const Statement& statement, const Binding& binding);

  model::ProblemPtr problem_;
  FluentSlots slots_;
  Evaluator evaluate_;
  std::vector<Statement> statements_;  // of the problem
  std::vector<CompiledRule> rules_;
  std::unordered_map<std::shared_ptr<model::ActionImpl>, std::vector<Statement>> actions_;
};

}  // namespace zorvel::validation
