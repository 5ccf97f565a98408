#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "search/forward/dense/dense_problem.h"
#include "search/forward/guided/estimates/piece_builder.h"
#include "search/forward/guided/estimates/window_facts.h"
#include "search/frame/state_view.h"
#include "search/heuristics/heuristic.h"
#include "search/heuristics/landmarks/landmark_graph.h"
#include "search/heuristics/landmarks/landmark_truths.h"
#include "search/heuristics/landmarks/reached_sets.h"
#include "search/heuristics/relaxation/relaxed_pass.h"

namespace zorvel::tp::ftp {

/// The estimates of the guided search, from one relaxation that is read by number from the dense problem.
///
/// Values and preferred actions come from the pieces, dead ends and reachability from the events (see
/// PieceBuilder): the pieces may take for impossible what two overlapping actions do together, so a state
/// that they call a dead end is asked of the events as well, and the estimates of those count where they
/// disagree. All results depend on the state alone (the landmarks on its path too), in the same way on every
/// run. Not for two threads at a time.
class GuidedEstimates {
 public:
  /// The number of estimates of a state: the actions of a relaxed plan, the landmarks still to be achieved,
  /// and the additive costs of the goals.
  static constexpr std::size_t count = 3;
  struct Estimate {
    bool is_dead_end = false;
    std::array<double, count> values{};
  };

  /// `initial` holds the initial values by slot. `must_stop` is asked now and then; once it answers true, the
  /// set-up ends early, and nothing but `is_complete` may be called.
  GuidedEstimates(const DenseProblem& problem, const ValueId* initial, std::function<bool()> must_stop = {});

  /// From now on this estimate, the first one, is the only one, and no action is preferred.
  void replace_by(std::shared_ptr<Heuristic> custom) { custom_ = std::move(custom); }
  bool has_custom() const { return custom_ != nullptr; }
  /// Whether states have the estimate of this number.
  bool has(std::size_t estimate) const { return estimate == 0 || !has_custom(); }

  bool is_complete() const { return is_complete_; }
  /// Whether even the events, with nothing ever made false, miss a goal: there is no plan.
  bool is_unsolvable() const { return is_unsolvable_; }
  /// Whether all events of the action can be reached from the initial values, and what it writes can matter
  /// for the problem's own conditions, directly or by way of other such actions. No plan needs any other.
  bool is_relevant(ActionId action) const { return is_relevant_[action] != 0; }
  /// Whether the action writes to a slot what another action or a goal asks for, and later something else:
  /// others may have to take place while it is open.
  bool is_envelope(ActionId action) const { return split_[action] != PieceBuilder::no_position; }

  /// `parent_note` is what `note` was for the parent, or 0.
  Estimate evaluate(const StateView& state);
  /// Of the state evaluated last, unless it was a dead end: the actions of the relaxed plan that are
  /// applicable there as far as the values go, ascending, without open ones.
  std::span<const ActionId> preferred() const { return preferred_; }
  /// The open chains whose rest the relaxed plan uses, ascending.
  std::uint64_t bytes() const;
  const LandmarkGraph& landmarks() const { return *landmarks_; }

 private:
  using Cost = RelaxedPass::Cost;
  /// A condition of one of the problem's own chains: a goal while `position` is to come.
  struct TimedGoal {
    std::uint32_t position;
    PieceBuilder::Condition condition;
  };
  /// A fact that a chain of the problem writes, for the last time at `last_position`.
  struct TimedFact {
    std::uint32_t last_position;
    FactId fact;
  };

  void read_own_chains();
  void find_relevant(const ValueId* initial);
  void build_pieces();
  void find_landmarks(const ValueId* initial);
  void add_goals(RelaxedPass& pass, const StateView& state);
  void add_own_chain(RelaxedPass& pass, const OpenChain& open);
  /// The events from position `first` to before `last` of an open chain as one extra operator of the pieces.
  void add_open_piece(std::uint32_t chain, std::uint32_t first, std::uint32_t last, bool has_conditions,
                      FactId mark);
  void add_open_pieces(const OpenChain& open);
  void add_open_events(const OpenChain& open);
  Cost run_pieces(const StateView& state);
  Cost run_events(const StateView& state);
  double count_landmarks(const StateView& state);
  double read_relaxed_plan(RelaxedPass& pass, const RelaxedTask& task, const StateView& state);

  const DenseProblem& problem_;
  std::function<bool()> must_stop_;
  std::shared_ptr<Heuristic> custom_;  // null: the three of the relaxation
  bool is_complete_ = false, is_unsolvable_ = false;
  PieceBuilder builder_;
  std::array<std::vector<TimedGoal>, 2> timed_goals_;  // by own chain, the latest first
  std::array<std::vector<TimedFact>, 2> timed_facts_;  // likewise
  std::vector<char> is_relevant_;                      // by action
  std::vector<std::uint32_t> split_;                   // by action: see PieceBuilder::envelope_split
  std::vector<FactId> open_mark_;                      // by action: of an envelope
  std::unique_ptr<WindowFacts> windows_;
  std::unique_ptr<RelaxedTask> events_, pieces_;
  std::unique_ptr<RelaxedPass> event_pass_, piece_pass_;

  std::unique_ptr<LandmarkGraph> landmarks_;
  std::unique_ptr<LandmarkTruths> truths_;
  std::unique_ptr<ReachedSets> reached_sets_;
  std::vector<std::vector<LandmarkGraph::LandmarkId>> landmarks_with_;  // by fact

  std::vector<ActionId> preferred_;
  std::vector<std::uint32_t> counted_chains_;
  // Scratch.
  std::vector<std::uint32_t> extra_chains_;  // by extra operator
  std::vector<FactId> needed_, gained_;
  std::vector<LandmarkGraph::Word> reached_, on_its_way_;
  std::vector<std::uint32_t> counted_in_;  // by action: the evaluation that has counted it
  std::vector<std::uint32_t> open_in_;     // by action: the evaluation in which it was open
  std::uint32_t evaluation_ = 0;
};

}  // namespace zorvel::tp::ftp
