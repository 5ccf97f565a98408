#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "search/heuristics/relaxation/classical_action.h"
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
/// set of them is a bit set of `words()` words.
///
/// The caller keeps one such set with each state, those reached on the way to it:
///
///     graph.reach_initially(holding, own);        // of the initial state
///     graph.reach(parents_own, holding, own);     // of any other
///     h = graph.count_needed(own, holding);
///
/// where `holding` is the set of the landmarks that hold there: see LandmarkTruths.
class LandmarkGraph : public EnvObject {
 public:
  using LandmarkId = std::uint32_t;
  using Word = std::uint64_t;
  using Ordering = std::pair<LandmarkId, LandmarkId>;
  static constexpr std::size_t bits = 64;  ///< Of a word.
  /// `slot` holds `expected`, or with `is_equal` false another value.
  struct Test {
    std::uint32_t slot;
    ValueId expected;
    bool is_equal;
    bool holds(const ValueId* slots) const {
      return (slots[slot] == expected) == is_equal && slots[slot] != unset_value;
    }
  };

  /// A landmark by number: one of the tests must hold, or the program if there is no test.
  struct Description {
    std::vector<Test> tests;
    CompiledExpression program;
    bool is_goal = false;
  };

  /// A graph of landmarks that were found elsewhere; it has no `landmarks()`.
  LandmarkGraph(Environment& env, const std::vector<Description>& landmarks, std::vector<Ordering> orderings);
  /// `slots` are the initial values in the layout; `goals` is the goal in disjunctive normal form. References
  /// from slot `first_progress` on are progress fluents of a relaxed temporal problem: where literals of
  /// several clauses form a disjunction, these come together. The layout is referred to. Errors of
  /// ExpressionEvaluator and AllValuesEvaluator where the problem reads fluents without a value.
  LandmarkGraph(const StateLayout& layout, const ExpressionCompiler& compiler, const ValueId* slots,
                const std::vector<model::NodeSet>& goals, const std::vector<ClassicalAction>& actions,
                std::size_t first_progress = ~std::size_t{0});

  std::size_t size() const { return conditions_.size(); }
  std::size_t words() const { return (size() + bits - 1) / bits; }
  const std::vector<Node*>& landmarks() const { return landmarks_; }  ///< By number.
  /// (a, b): a is true just before b is first achieved. Ascending.
  const std::vector<Ordering>& orderings() const { return orderings_; }
  /// Whether the landmark stands in the goal itself.
  bool is_goal(LandmarkId landmark) const { return contains(goals_.data(), landmark); }

  /// Whether the landmark holds; false where its value is undefined.
  bool is_true(LandmarkId landmark, const ValueId* slots) const;
  /// The tests one of which must hold; none of a landmark that is evaluated by a program.
  std::span<const Test> tests(LandmarkId landmark) const {
    return {tests_.data() + conditions_[landmark].first_test,
            tests_.data() + conditions_[landmark].last_test};
  }
  std::span<const std::uint32_t> slots_of_program(LandmarkId landmark) const;
  /// What is reached in the initial state: what holds there and has nothing ordered before it.
  void reach_initially(const Word* holding, Word* reached) const;
  /// What is reached in a state: what was reached in its parent, and what holds and has all that is ordered
  /// before it reached in the parent. `parent` and `reached` are different arrays.
  void reach(const Word* parent, const Word* holding, Word* reached) const;
  /// The same where a move may pass through states that are not seen: what holds was not false before
  /// without all that is ordered before it having held, so that counts as reached too. `parent` is null for
  /// the initial state.
  void reach_with_predecessors(const Word* parent, const Word* holding, Word* reached) const;
  /// The number of landmarks to be achieved from here: those not reached, and those reached and lost again
  /// that the goal asks for or that a landmark not reached needs right before it. Nothing is needed for what
  /// is `on_its_way` (null: nothing is).
  std::size_t count_needed(const Word* reached, const Word* holding, const Word* on_its_way = nullptr) const;

  static bool contains(const Word* set, LandmarkId landmark) {
    return (set[landmark / bits] >> (landmark % bits) & 1) != 0;
  }

 private:
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
  /// Whether it comes right before a landmark that is not reached.
  bool is_needed_again(LandmarkId landmark, const Word* reached, const Word* on_its_way) const;

  std::vector<Node*> landmarks_;
  std::vector<Ordering> orderings_;
  std::vector<Word> goals_;  // as a set
  std::vector<Condition> conditions_;
  std::vector<Test> tests_;
  std::vector<CompiledExpression> programs_;
  std::vector<std::uint32_t> predecessor_offsets_, successor_offsets_;
  std::vector<LandmarkId> predecessors_, successors_;
};

}  // namespace zorvel
