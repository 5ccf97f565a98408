#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "search/frame/evaluation_tables.h"
#include "search/heuristics/relaxation/classical_action.h"
#include "search/heuristics/relaxation/set_expression.h"

namespace zorvel {

/// The relaxed reachability analysis of HMax on packed states: layer by layer, the sets of values that slots
/// can have, until all goals can be true.
///
/// Actions whose condition is a conjunction of tests of single slots and whose effects are constant, which
/// are most, are counted down to (as in the linear-time algorithm of Dowling and Gallier, 1984): each is
/// looked at once for each of its tests. The others are evaluated on sets in the layers behind those that
/// gave a new value to a slot that they read.
class ValueReachability {
 public:
  using Fact = std::pair<std::uint32_t, ValueId>;  ///< A slot and a value that it can have.
  /// A number that has taken so many values counts as able to take any.
  static constexpr std::size_t value_limit = 10000;

  /// `tables` must outlive it.
  ValueReachability(EvaluationTables& tables, const std::vector<Node*>& goals,
                    const std::vector<ClassicalAction>& actions);

  /// The number of the first layer in which all goals can be true, or `dead_end`; none where only the plain
  /// form of HMax has an answer or an error. `more` are values that slots have beside those of `values`.
  std::optional<double> layers(const ValueId* values, std::span<const Fact> more = {});
  /// By slot, the values that were found by the last analysis, up to the layer where it ended.
  const ValueSets& reached() const { return sets_; }

 private:
  /// A test of one slot: some value is `value`, or with `is_equal` false some value is another one.
  struct Test {
    std::uint32_t slot;
    ValueId value;
    bool is_equal;
  };
  struct Effect {
    Effect(SetExpression assigned, const ValueRange& admitted)
        : value(std::move(assigned)), range(admitted) {}
    SetExpression value;
    ValueRange range;
    std::uint32_t slot = 0;                // of the target, if `table` is null
    const ArgumentTable* table = nullptr;  // the slots of the target by its arguments
    std::vector<SetExpression> arguments;
    std::vector<ValueRange> argument_ranges;
  };
  struct Action {
    std::vector<SetExpression> conditions;  // beyond its tests
    std::vector<Effect> effects;            // beyond its facts
    std::vector<Fact> facts;                // that it always adds
    bool is_dynamic() const { return !conditions.empty() || !effects.empty(); }
  };

  void add_condition(Node* condition, std::uint32_t owner, std::vector<SetExpression>& rest);
  std::optional<Test> as_test(Node* conjunct) const;
  void add_test(const Test& test, std::uint32_t owner);
  void add_action(const ClassicalAction& action);
  void add_effect(Node* reference, const zorvel::Effect& effect, Action& action);
  void add_simulated(const ClassicalAction& source, Action& action);
  std::optional<std::uint32_t> slot_of(Node* reference) const;
  void watch_slots(const SetExpression& expression, std::uint32_t action);

  void begin();
  void add(Fact fact);
  void satisfy(std::uint32_t test);
  void take_new_facts();
  std::optional<bool> goals_can_hold();
  bool fire_actions();
  bool fire_dynamically(Action& action);
  bool fire(Effect& effect);

  EvaluationTables& tables_;
  bool is_compiled_ = true;
  bool has_goals_;
  static constexpr std::uint32_t goal_owner = ~std::uint32_t{0};
  std::vector<Action> actions_;
  std::vector<SetExpression> goals_;  // beyond the tests
  std::vector<Test> tests_;
  std::vector<std::vector<std::uint32_t>> owners_;          // by test: actions, or goal_owner
  std::vector<std::vector<std::uint32_t>> tests_of_value_;  // by slot and value: test + 1, or 0
  std::vector<std::vector<std::uint32_t>> other_tests_;     // by slot: tests for another value
  std::vector<std::vector<std::uint32_t>> readers_;         // by slot: dynamic actions
  std::vector<std::uint32_t> initially_missing_;            // by action
  std::uint32_t initially_missing_goals_ = 0;

  // Of one analysis.
  ValueSets sets_;                                // by slot
  std::vector<std::vector<std::uint64_t>> bits_;  // by slot and value: whether it is in the set
  std::vector<Fact> new_facts_, coming_facts_;
  std::vector<std::uint32_t> missing_;  // by action: its tests that fail
  std::uint32_t missing_goals_ = 0;
  std::vector<char> is_satisfied_;     // by test
  std::vector<std::uint32_t> ready_;   // actions to look at in this layer
  std::vector<std::uint32_t> stamps_;  // by action: the layer for which it is in ready_
  std::uint32_t layer_stamp_ = 0;
};

}  // namespace zorvel
