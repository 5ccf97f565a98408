#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/environment.h"
#include "model/action.h"
#include "model/problem_instance.h"
#include "model/walkers/check_contains_walker.h"
#include "plans/bound.h"
#include "search/forward/event.h"
#include "search/forward/event_maker.h"
#include "transformers/static_fluents.h"

namespace zorvel::tp::ftp {

/// One ground action as the search sees it: its two ends and the chain of happenings between them.
struct ActionModel {
  std::shared_ptr<model::ActionImpl> action;
  Event* start = nullptr;      ///< START_ACTION, with all conditions that must hold at the opening.
  Node* opening = nullptr;     ///< What must hold at the very moment of the opening, and no longer, or null.
  Event* end = nullptr;        ///< END_ACTION; never applied, a time point only.
  std::vector<Event*> events;  ///< What happens between them, in order.
  /// Bounds of the duration of an action whose order of events rests on them.
  std::optional<DurationBounds> duration_bounds;
  /// The other statements on the duration, read when the action is opened.
  std::vector<Node*> duration_constraints;
};

/// Lays out what each action of a problem does: the events of its chain, in the order in which they happen
/// whatever its duration is.
class ActionTimeline {
 public:
  ActionTimeline(Environment& env, const model::ProblemPtr& problem, EventMaker& maker);

  /// InternalError on an effect over an interval; UnsupportedProblemError on an effect or condition that
  /// reads the duration.
  ActionModel lay_out(const std::shared_ptr<model::ActionImpl>& action);

 private:
  struct Statements;

  Statements sort(const model::ActionImpl& action);
  /// Reads the statements on the duration. A representative one, which only orders the events.
  rational read_duration(const Statements& statements, ActionModel& entry) const;
  void make_ends(const std::vector<Node*>& conditions, ActionModel& entry);
  /// Whether the condition has to hold at the opening; then its body.
  Node* asked_at_opening(const Node* condition) const;

  Environment& env_;
  EventMaker& maker_;
  bool has_mutual_exclusion_;
  model::StaticFluents static_fluents_;
  model::CheckContainsWalker contains_duration_;
};

}  // namespace zorvel::tp::ftp
