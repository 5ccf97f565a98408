#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "search/frame/evaluation_tables.h"
#include "search/heuristics/hadd.h"
#include "search/heuristics/heuristic.h"
#include "search/heuristics/landmarks/landmark_graph.h"
#include "search/heuristics/landmarks/landmark_truths.h"
#include "search/heuristics/landmarks/reached_sets.h"

namespace zorvel {

namespace tp::ftp {
class StatePath;
}

/// Counts the landmarks that are still to be achieved (Richter and Westphal 2010). The estimate depends on
/// the path: each state has the number of its reached set, which is computed from its parent's. It knows no
/// dead ends, and is no lower bound.
///
/// A search over packed states stores this number, four bytes, with each state, and calls
///
///     h = heuristic.estimate(slots, set);   // `set`: 0 for the initial state, otherwise the parent's
///
/// after which `set` is the state's own.
class HLandmarks : public Heuristic {
 public:
  using SetId = ReachedSets::Id;

  const LandmarkGraph& graph() const { return *graph_; }
  const ReachedSets& reached_sets() const { return sets_; }
  /// The reached set of the initial state.
  SetId initial_set() const { return initial_set_; }
  /// The estimate for a state with these values in the layout of the tables. `set` is that of its parent, 0
  /// if it has none, and becomes the state's own.
  double estimate(const ValueId* slots, SetId& set);
  std::uint64_t bytes() const override { return sets_.bytes(); }

 protected:
  HLandmarks(Environment& env, std::shared_ptr<EvaluationTables> tables, std::unique_ptr<LandmarkGraph> graph,
             const std::vector<ValueId>& slots);

  EvaluationTables& tables() const { return *tables_; }
  LandmarkTruths& truths() { return truths_; }

 private:
  std::shared_ptr<EvaluationTables> tables_;
  std::unique_ptr<LandmarkGraph> graph_;
  LandmarkTruths truths_;
  ReachedSets sets_;
  SetId initial_set_;
  std::vector<LandmarkGraph::Word> reached_;  // scratch
};

namespace tsimple {

class SearchState;

/// The landmarks of classical states.
class HLandmarks : public zorvel::HLandmarks {
 public:
  /// `goals` is the goal in disjunctive normal form, `slots` are the initial values in the layout of
  /// `tables`.
  HLandmarks(Environment& env, std::shared_ptr<EvaluationTables> tables,
             const std::vector<model::NodeSet>& goals, const std::vector<ClassicalAction>& classical_actions,
             const std::vector<ValueId>& slots);

  /// Of a tsimple::SearchState, whose parent, if it has one, lives and was evaluated before.
  double operator()(const zorvel::SearchState& state) override;

 private:
  std::vector<ValueId> slots_;  // scratch
  std::unordered_map<const SearchState*, SetId> set_of_state_;
};

}  // namespace tsimple

namespace tp {

/// The landmarks of temporal states. Open actions are seen as values of progress fluents, which have slots
/// behind those of the state.
class HLandmarks : public zorvel::HLandmarks {
 public:
  /// `actions` lists the actions of the problem that is searched, in order. InternalError if an action with
  /// pending events has no progress fluent for them.
  HLandmarks(Environment& env, std::shared_ptr<EvaluationTables> tables, const ProgressFluents& progress,
             const std::vector<model::NodeSet>& goals, const std::vector<ClassicalAction>& classical_actions,
             const std::vector<std::shared_ptr<model::ActionImpl>>& actions, const SearchState& initial);
  ~HLandmarks() override;

  /// Of a state of the plain search. The sets are kept by path; a path of which no set is known continues the
  /// nearest known one. An initial state, one without a path, forgets all others.
  double operator()(const zorvel::SearchState& state) override;
  double evaluate(const ftp::DenseView& view) override;

 private:
  struct Layout;
  struct Parts;
  HLandmarks(Environment& env, std::shared_ptr<EvaluationTables> tables, Parts parts);
  void add_open(std::size_t action, std::size_t pending);
  /// Passes on the positions of the actions given by `add_open`, all others being idle.
  void update_progress();
  SetId set_of_nearest(const ftp::StatePath* path) const;

  struct OpenAction {
    std::size_t action, position;  // position: k - 1
  };
  static constexpr std::size_t idle = ~std::size_t{0};
  std::unique_ptr<Layout> layout_;
  std::vector<ValueId> values_;         // scratch
  std::vector<std::size_t> positions_;  // by action, as passed on
  std::vector<OpenAction> open_;        // as passed on
  std::vector<OpenAction> next_open_;
  std::vector<char> stays_open_;  // by action; scratch
  // Holds on to its paths: the address of a cell that was freed could become another's.
  std::unordered_map<const ftp::StatePath*, std::pair<std::shared_ptr<const ftp::StatePath>, SetId>>
      set_of_path_;
};

}  // namespace tp

}  // namespace zorvel
