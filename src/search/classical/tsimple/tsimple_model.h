#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "model/problem_instance.h"
#include "search/classical/tsimple/path_state.h"
#include "search/heuristics/relaxation/classical_action.h"

namespace zorvel::tsimple {

/// A ground problem with its actions taken as atomic: what a classical search works on.
///
/// Goals are the conditions of the problem at its end. Conditions that have to hold at some moment are
/// landmarks, which guide the search and are not demanded. Time plays no part but in plans.
class TSimpleModel {
 public:
  /// `problem` must be ground. UnsupportedProblemError "Search planner does not support TILs!" on an effect
  /// of the problem after its start, and the errors of ClassicalAction. Warns of conditions of the problem
  /// that are no goals, of fluents without an initial value, and of actions without a fixed duration.
  TSimpleModel(Environment& env, model::ProblemPtr problem);

  Environment& env() const { return env_; }
  const model::ProblemPtr& problem() const { return problem_; }
  const std::vector<Node*>& goals() const { return goals_; }
  const std::vector<Node*>& landmarks() const { return landmarks_; }
  /// By name, without those whose duration is a negative constant.
  const std::vector<ClassicalAction>& actions() const { return actions_; }
  const StateIndex& index() const { return index_; }

  SearchState initial_values() const;
  /// InternalError if a goal or a landmark reads a fluent without an initial value.
  PathState initial_state() const;
  /// Enters the landmarks that hold in the state, and counts its goals.
  void note_achievements(PathState& state) const;

 private:
  void add_statement(Node* expression);
  void warn_about_what_is_ignored(const std::vector<Node*>& conditions) const;
  void warn_about_missing_values() const;
  void warn_about_missing_durations() const;

  Environment& env_;
  model::ProblemPtr problem_;
  std::vector<Node*> goals_;
  std::vector<Node*> landmarks_;
  std::vector<Node*> ignored_;  // conditions of the problem that are neither
  std::vector<ClassicalAction> actions_;
  StateIndex index_;
  std::vector<std::pair<Node*, Node*>> initial_values_;  // reference and value, in order
};

/// The right side of the statement that fixes the duration of a ground action; null without one. An equality
/// counts if no assignment is there.
Node* duration_statement(Environment& env, const model::ActionImpl& action);

}  // namespace zorvel::tsimple
