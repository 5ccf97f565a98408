#pragma once

#include <cstdint>
#include <vector>

#include "search/heuristics/landmarks/landmark_graph.h"

namespace zorvel {

/// Which landmarks hold in a state, carried over from one state to the next: an update costs the slots that
/// differ, since states that are evaluated one after the other are mostly siblings.
class LandmarkTruths {
 public:
  /// `slots` are the values of a first state, all of the layout. The graph is referred to.
  LandmarkTruths(const LandmarkGraph& graph, const std::vector<ValueId>& slots);

  void set(std::size_t slot, ValueId value) {
    if (slots_[slot] != value) change(slot, value);
  }
  /// Sets the first `count` slots.
  void set_first(const ValueId* values, std::size_t count);
  /// The landmarks that hold, as a set. The errors of ExpressionEvaluator.
  const LandmarkGraph::Word* holding();

 private:
  using LandmarkId = LandmarkGraph::LandmarkId;
  /// A test of a slot, as seen from the slot.
  struct Watch {
    LandmarkId landmark;
    ValueId expected;
    bool is_equal;
  };
  void change(std::size_t slot, ValueId value);
  void note(LandmarkId landmark, bool holds);

  const LandmarkGraph& graph_;
  std::vector<ValueId> slots_;
  std::vector<std::vector<Watch>> watches_;       // by slot
  std::vector<std::vector<LandmarkId>> readers_;  // by slot: landmarks that are programs
  std::vector<std::uint32_t> true_tests_;         // by landmark
  std::vector<LandmarkGraph::Word> holding_;
  std::vector<LandmarkId> stale_;  // programs
  std::vector<char> is_stale_;
};

}  // namespace zorvel
