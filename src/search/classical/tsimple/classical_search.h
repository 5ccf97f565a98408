#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "search/classical/tsimple/compiled_action.h"
#include "search/classical/tsimple/state_table.h"
#include "search/classical/tsimple/trie.h"
#include "search/classical/tsimple/tsimple_model.h"
#include "search/frame/evaluation_tables.h"
#include "search/frame/search_guard.h"
#include "search/frame/search_statistics.h"
#include "search/frame/successor_generator.h"
#include "search/heuristics/heuristic.h"

namespace zorvel::tsimple {

struct SearchOptions {
  std::size_t width = 0;          ///< Of the novelty test; 0: none.
  bool serializes_goals = false;  ///< Whether a state with one more goal than its parent is committed to.
  bool skips_initial_tuples =
      false;  ///< Whether the tuples of initial and committed states are not recorded.
  std::shared_ptr<Heuristic> heuristic;  ///< Null: blind.
  double weight = 0;                     ///< Of the estimate: f = (1 - weight) * g + weight * h.
  double cost_of_missing = 0;            ///< See HeuristicRow.
};

/// Best-first graph search over packed states, with an optional novelty test (Lipovetzky and Geffner 2012).
///
/// A state is stored once, when it is made: one that is open or closed already is dropped, however cheap the
/// new way to it is. The open list is a binary heap by f; ties fall to the heap.
class ClassicalSearch {
 public:
  /// `actions` are the numbers of the model's actions to be tried, ascending. The guard must outlive the
  /// search.
  ClassicalSearch(const TSimpleModel& model, EvaluationTables& tables, std::vector<std::uint32_t> actions,
                  SearchOptions options, SearchGuard& guard);

  SearchOutcome run();
  /// The states from the initial one to the goal, after `plan_found`.
  std::vector<StateId> path() const;
  const StateTable& states() const { return states_; }
  const SearchStatistics& statistics() const { return statistics_; }

 private:
  /// What stands in the open list.
  struct Entry {
    double f;
    StateId state;
  };
  static bool is_worse(const Entry& a, const Entry& b) { return a.f > b.f; }

  void push_initial();
  SearchOutcome search();
  void commit_to(StateId id);
  void expand(StateId id);
  void make_child(StateId parent, std::uint32_t action);
  void write_child();
  void undo_child();
  void note_achievements();
  bool is_novel();
  void evaluate_and_push(const StateInfo& info, std::uint32_t parent_note);
  std::optional<double> estimate(const StateInfo& info, std::uint32_t parent_note);
  bool is_goal(const StateInfo& info) const { return info.achieved_goals == goals_.size(); }
  std::uint64_t memory() const;
  void log_state(const char* title, const Entry& entry) const;

  const TSimpleModel& model_;
  EvaluationTables& tables_;
  SearchOptions options_;
  SearchGuard& guard_;
  std::size_t slots_;
  std::vector<ValueId> initial_;
  std::vector<std::uint32_t> action_numbers_;  // in the model
  std::vector<CompiledAction> actions_;
  std::unique_ptr<SuccessorGenerator> generator_;
  std::vector<CompiledCondition> goals_, landmarks_;
  std::vector<std::vector<std::uint32_t>> goals_of_slot_, landmarks_of_slot_;

  bool keeps_notes_;
  StateTable states_;
  std::vector<Entry> open_;
  std::unique_ptr<Trie> seen_;  // null without a novelty test
  Entry goal_{0, no_state};
  bool has_left_out_states_ = false;

  // Of the state being expanded and of the child being made.
  std::vector<char> parent_goals_;  // whether each goal holds in the parent
  std::vector<ValueId> child_;      // equal to the parent but for writes_
  std::vector<SlotWrite> writes_, old_values_;
  std::size_t plain_writes_ = 0;
  std::uint32_t child_hash_ = 0, child_goals_ = 0, parent_goal_count_ = 0;
  std::vector<std::uint32_t> child_bits_;
  std::size_t landmark_words_;  // of the bits of a state; behind them may stand the note of a heuristic
  std::vector<std::uint32_t> goal_stamps_, landmark_stamps_;  // the child for which each was last tested
  std::uint32_t stamp_ = 0;

  SearchStatistics statistics_;
  double best_estimate_ = -1;
};

}  // namespace zorvel::tsimple
