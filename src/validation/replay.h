#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "model/simulated_effect.h"
#include "validation/timeline.h"

namespace zorvel::validation {

/// Simulates one timeline.
///
/// A change is visible from behind its instant: all that happens at one time sees the state before that time.
/// A condition over an interval is evaluated at the instants in it and on the states between them, though
/// only if a fluent that it reads has changed since it was last evaluated.
///
/// A rule `always-within` looks at the state behind each instant at which something changed.
///
/// Two effects on one fluent do not meet at one instant. With mutual exclusion, what a condition at one
/// instant or the value of an effect reads may not be changed at that instant by another step, and effects of
/// one step that write the same value are one effect.
class Replay {
 public:
  /// Hears of each change; see TTValidator.
  using Observer = std::function<void(const rational&, Node*, Node*, Node*)>;

  Replay(CompiledProblem& problem, const Timeline& timeline, const Observer& observer = {});

  /// Whether everything holds. Otherwise `reason` says what fails first. An expression that has no value in
  /// any state raises InvalidParameterError "Unable to simplify to a constant! ", the expression, " -> " and
  /// what is left of it; a fluent or constant without a value raises as told at Evaluator::run.
  bool run();
  const std::string& reason() const { return reason_; }
  /// The step before the transformers whose statement fails; null for one of the problem.
  const TimeTriggeredStep* failing_step() const { return failing_step_; }
  const rational& failing_time() const { return now_; }

 private:
  /// A condition over an interval that has begun.
  struct ActiveCondition {
    const Event* event;
    bool is_over = false;       // a `contains` that was met, or the interval's end is past
    bool is_stale = true;       // in stale_
    std::vector<Slot> watched;  // the slots that evaluations have read
  };
  using ConditionId = std::uint32_t;
  struct Change {
    Slot slot;
    Value value;
  };

  bool advance(const rational& time);
  void bind_parameters(std::size_t first);
  bool retire_conditions(const rational& time);
  bool process(const Event& event);
  bool process_condition(const Event& event);
  bool process_effect(const Event& event);
  bool process_simulated_effect(const Event& event);
  bool record(const Event& event, const Target& target, const Value& value);
  bool repeats_a_change(const Event& event, Slot slot, const Value& content) const;
  void activate(const Event& event);
  void note_reads(const Event& event);
  bool names(const Event& event, Slot slot) const;
  bool check_mutual_exclusion();
  bool apply_changes();
  bool check_rules();
  bool fail_rule(const model::AlwaysWithin& rule, const rational& since);
  template <class Applies>
  bool check_stale_conditions(Applies applies);
  bool check(ConditionId id);
  const Value& evaluate_condition(const Event& event, std::vector<Slot>* reads);
  [[noreturn]] void raise_opaque(const Event& event, Node* expression) const;
  bool fail_contains(const Event& event);
  bool fail(const Event& event, const std::string& what);

  Node* ground(const Event& event, Node* expression) const;
  std::string context(const Event& event) const;
  void log_state() const;

  CompiledProblem& problem_;
  const Timeline& timeline_;
  const Observer observer_;
  Evaluator evaluate_;
  std::string reason_;
  const TimeTriggeredStep* failing_step_ = nullptr;
  rational now_{0};
  World world_;
  std::vector<Change> changes_;            // made at now_, not visible yet
  std::vector<std::uint32_t> changed_at_;  // by slot: number of the instant of its last change
  std::uint32_t instant_ = 1;
  std::vector<ActiveCondition> conditions_;
  std::vector<ConditionId> by_end_;                  // heap of those not retired, the earliest end on top
  std::vector<ConditionId> stale_;                   // to be evaluated before they are believed
  std::vector<std::vector<ConditionId>> watchers_;   // by slot
  std::vector<Slot> reads_;                          // scratch
  std::vector<std::optional<rational>> owed_since_;  // by rule
  const bool has_mutual_exclusion_;
  struct Read {
    Slot slot;
    const Event* event;
  };
  std::vector<Read> reads_now_;           // at now_, with mutual exclusion
  std::vector<const Event*> changed_by_;  // by slot: the event of its last change
};

}  // namespace zorvel::validation
