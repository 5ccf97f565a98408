#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "search/classical_action.h"
#include "state/compiled_expression.h"
#include "state/expression_compiler.h"
#include "state/state_layout.h"

namespace zorvel {

/// The landmarks of a planning problem and what is known of their order.
///
/// A landmark is a fact that every plan makes true at some moment: a literal, or a disjunction of literals.
/// They are found backwards from the goal: what all first achievers of a landmark need is a landmark too, and
/// comes right before it (Hoffmann, Porteous and Sebastia 2004; disjunctions and the counting of landmarks
/// along a path after Richter and Westphal 2010). Landmarks have dense numbers in the order of their ids; a
/// set of them is a bit set of `words()` words. An evaluation is one pass over landmarks and orderings.
///
/// The caller keeps one such set with each state, those reached on the way to it:
///
///     graph.reach_initially(slots, own);        // of the initial state
///     graph.reach(parents_own, slots, own);     // of any other
///     h = graph.count_needed(own, slots);
class LandmarkGraph : public EnvObject {
 public:
  using LandmarkId = std::uint32_t;
  using Word = std::uint64_t;
  using Ordering = std::pair<LandmarkId, LandmarkId>;

  /// `slots` are the initial values in the layout; `goals` is the goal in disjunctive normal form. Where
  /// bits of clauses are paired into disjunctions, references from slot `first_progress` on, the progress
  /// fluents of a relaxed temporal problem, are paired with one another. The layout is referred to. Errors of
  /// ExpressionEvaluator and AllValuesEvaluator where the problem reads fluents without a value.
  LandmarkGraph(const StateLayout& layout, const ExpressionCompiler& compiler, const ValueId* slots,
                const std::vector<model::NodeSet>& goals, const std::vector<ClassicalAction>& actions,
                std::size_t first_progress = ~std::size_t{0});

  std::size_t size() const { return landmarks_.size(); }
  std::size_t words() const { return (landmarks_.size() + bits - 1) / bits; }
  const std::vector<Node*>& landmarks() const { return landmarks_; }  ///< By number.
  /// (a, b): a is true just before b is first achieved. Ascending.
  const std::vector<Ordering>& orderings() const { return orderings_; }
  /// Whether the landmark stands in the goal itself.
  bool is_goal(LandmarkId landmark) const { return is_goal_[landmark] != 0; }

  /// Whether the landmark holds; false where its value is undefined.
  bool is_true(LandmarkId landmark, const ValueId* slots) const;
  /// What is reached in the initial state: what holds there and has nothing ordered before it.
  void reach_initially(const ValueId* slots, Word* reached) const;
  /// What is reached in a state: what was reached in its parent, and what holds and has all that is ordered
  /// before it reached in the parent. `parent` and `reached` are different arrays.
  void reach(const Word* parent, const ValueId* slots, Word* reached) const;
  /// The number of landmarks to be achieved from here: those not reached, and those reached and lost again
  /// that the goal asks for or that a landmark not reached needs right before it.
  std::size_t count_needed(const Word* reached, const ValueId* slots) const;

  static bool contains(const Word* set, LandmarkId landmark) {
    return (set[landmark / bits] >> (landmark % bits) & 1) != 0;
  }

 private:
  static constexpr std::size_t bits = 64;
  struct Test {
    std::uint32_t slot;
    ValueId expected;
    bool is_equal;
  };
  /// How a landmark is evaluated: one of the tests from the first on must hold, or the program if there is
  /// one.
  struct Condition {
    std::uint32_t first_test, last_test;
    std::int32_t program;
  };

  void compile(Node* landmark, const ExpressionCompiler& compiler);
  void index_orderings();
  std::span<const LandmarkId> predecessors(LandmarkId landmark) const {
    return {predecessors_.data() + predecessor_offsets_[landmark],
            predecessors_.data() + predecessor_offsets_[landmark + 1]};
  }
  std::span<const LandmarkId> successors(LandmarkId landmark) const {
    return {successors_.data() + successor_offsets_[landmark],
            successors_.data() + successor_offsets_[landmark + 1]};
  }
  bool is_needed_again(LandmarkId landmark, const Word* reached) const;

  std::vector<Node*> landmarks_;
  std::vector<Ordering> orderings_;
  std::vector<char> is_goal_;
  std::vector<Condition> conditions_;
  std::vector<Test> tests_;
  std::vector<CompiledExpression> programs_;
  std::vector<std::uint32_t> predecessor_offsets_, successor_offsets_;
  std::vector<LandmarkId> predecessors_, successors_;
};

}  // namespace zorvel
