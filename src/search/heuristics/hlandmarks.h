#pragma once

#include <memory>
#include <vector>

#include "search/heuristics/heuristic.h"
#include "search/heuristics/landmarks/landmark_graph.h"
#include "search/heuristics/landmarks/landmark_truths.h"
#include "search/heuristics/landmarks/reached_sets.h"
#include "search/heuristics/relaxation/relaxed_problem.h"

namespace zorvel {

/// Counts the landmarks that are still to be achieved (Richter and Westphal 2010). The estimate depends on
/// the path: the note of a state is the number of its reached set, which is computed from its parent's. It
/// knows no dead ends, and is no lower bound.
///
/// Open actions are seen as values of progress fluents, which have slots behind those of the state.
class HLandmarks : public Heuristic {
 public:
  using SetId = ReachedSets::Id;

  explicit HLandmarks(std::shared_ptr<const RelaxedProblem> problem);

  double estimate(const StateView& state) override;
  bool keeps_notes() const override { return true; }
  std::uint64_t bytes() const override { return sets_.bytes(); }

  const LandmarkGraph& graph() const { return graph_; }
  const ReachedSets& reached_sets() const { return sets_; }

 private:
  /// Passes on the positions of the open actions, all others being idle.
  void update_progress(std::span<const OpenChain> open);

  static constexpr std::uint32_t idle = ~std::uint32_t{0};
  std::shared_ptr<const RelaxedProblem> problem_;
  LandmarkGraph graph_;
  LandmarkTruths truths_;
  ReachedSets sets_;
  std::vector<LandmarkGraph::Word> reached_;  // scratch
  std::vector<std::uint32_t> positions_;      // by action, as passed on
  std::vector<RingPosition> open_;            // as passed on
  std::vector<RingPosition> next_open_;
  std::vector<char> stays_open_;  // by action; scratch
};

}  // namespace zorvel
