#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "search/heuristics/landmarks/landmark_graph.h"
#include "search/heuristics/relaxation/relaxed_task.h"

namespace zorvel {

/// Finds the landmarks of a relaxed task by number, backwards from the goal: what all first achievers of a
/// landmark ask for is a landmark too, and comes before it (Hoffmann, Porteous and Sebastia 2004; with
/// disjunctions of facts of one fluent after Richter and Westphal 2010). First achievers are told by a
/// relaxed exploration in which the landmark never becomes true.
///
/// The operators must be single events: what takes place at different times within one operator could hide
/// a way round a landmark.
class FactLandmarks {
 public:
  using LandmarkId = LandmarkGraph::LandmarkId;
  static constexpr std::size_t most_disjuncts = 4;

  struct Landmark {
    std::vector<FactId> facts;  ///< Literals of which one is true at some time, ascending; or one predicate.
    bool is_goal = false;
  };

  /// `initial` are the values of the initial state, `given` facts that come true by themselves.
  FactLandmarks(const RelaxedTask& task, const StateLayout& layout, const ValueId* initial,
                std::vector<FactId> given);

  /// Finds the landmarks behind the goals, and behind facts that every plan must make true at some time but
  /// not at its end. Stops looking further after `most_work` conditions of operators, or as soon as
  /// `must_stop` says so.
  void run(std::span<const FactId> goals, std::span<const FactId> passed, std::uint64_t most_work,
           const std::function<bool()>& must_stop);

  const std::vector<Landmark>& landmarks() const { return landmarks_; }
  /// (a, b): a is true at some time before b first is.
  const std::vector<LandmarkGraph::Ordering>& orderings() const { return orderings_; }
  std::uint64_t work() const { return work_; }
  LandmarkGraph graph(Environment& env) const;

 private:
  using OperatorId = RelaxedTask::OperatorId;
  static constexpr LandmarkId none = ~LandmarkId{0};

  void index_adders();
  bool holds_initially(FactId fact) const;
  /// The literals or the predicate that a condition of an operator stands for as a landmark; empty if it is
  /// too much for one.
  std::vector<FactId> as_landmark(FactId condition) const;
  LandmarkId add(std::vector<FactId> facts, bool is_goal);
  void look_behind(LandmarkId landmark);
  /// Whether what is given makes one of the facts true, or may make a predicate among them so.
  bool may_come_by_itself(const std::vector<FactId>& facts) const;
  std::vector<OperatorId> first_achievers(const std::vector<FactId>& facts);
  void explore();
  void reach(FactId fact);
  void apply(OperatorId id);
  void add_shared_conditions(const std::vector<OperatorId>& achievers, LandmarkId landmark);
  void add_disjunctions(const std::vector<OperatorId>& achievers, LandmarkId landmark);
  void add_candidate(std::vector<FactId> facts, LandmarkId landmark);
  void drop_removed();
  std::uint32_t group_of(FactId literal) const;

  const RelaxedTask& task_;
  const FactTable& table_;
  std::vector<FactId> given_;
  std::vector<char> holds_;                       // by fact, initially
  std::vector<std::uint32_t> missing_initially_;  // by operator
  std::vector<OperatorId> applicable_;            // initially
  std::vector<std::uint32_t> adder_offsets_;      // by fact
  std::vector<OperatorId> adders_;
  std::vector<std::uint32_t> fluent_of_slot_;
  std::vector<std::vector<FactId>> formula_literals_;  // by formula: the disjuncts, if they are literals

  std::vector<Landmark> landmarks_;
  std::vector<char> is_removed_;
  std::vector<std::vector<LandmarkId>> landmarks_with_;  // by fact
  std::vector<LandmarkGraph::Ordering> orderings_;
  std::vector<LandmarkId> queue_;
  std::uint64_t work_ = 0;

  // Of one exploration.
  std::uint32_t stamp_ = 0;
  std::vector<std::uint32_t> reached_in_, forbidden_in_;  // by fact
  std::vector<std::uint32_t> touched_in_, missing_;       // by operator
  std::vector<std::uint32_t> wanted_in_;                  // by operator: it adds the landmark,
  std::vector<std::uint32_t> sure_in_;                    // and in any case
  std::size_t wanted_left_ = 0;
  std::vector<FactId> reached_;
};

}  // namespace zorvel
