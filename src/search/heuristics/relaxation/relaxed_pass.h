#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "search/heuristics/relaxation/relaxed_task.h"

namespace zorvel {

/// Additive costs (Bonet and Geffner 2001) of the facts of a RelaxedTask from one state, and a relaxed plan
/// along the cheapest supporters of that pass (Keyder and Geffner 2008).
///
/// What holds in the state is carried over from the state before, with the number of conditions that each
/// operator still misses, so a pass costs the slots that differ and what it reaches beyond the state. Facts
/// are settled in the order of their costs with a bucket queue (Knuth's generalisation of Dijkstra, 1977).
/// The result depends on the state alone, not on those before.
class RelaxedPass {
 public:
  using Cost = std::uint32_t;
  using OperatorId = RelaxedTask::OperatorId;
  static constexpr Cost unreachable = std::numeric_limits<Cost>::max();
  static constexpr Cost max_cost = Cost{1} << 30;  ///< No cost grows beyond; sums of two do not overflow.

  /// A part of a relaxed plan.
  struct Step {
    std::uint32_t number;  ///< Of the operator, or of the extra one.
    bool is_extra;
    std::uint32_t times;  ///< How often, as far as numbers ask for more than once.
  };

  /// With `is_optimistic`, any change of a slot makes true every predicate that reads it: nothing that is
  /// called unreachable can then be reached. Otherwise changes count as often as they have to happen, and
  /// those that lead away are not counted at all. The task must outlive the pass.
  RelaxedPass(const RelaxedTask& task, bool is_optimistic);

  /// Starts a pass from a state.
  void begin(const ValueId* values);
  bool holds(FactId fact) const { return facts_[fact].pass == always; }

  // Between begin() and settle():
  /// An operator for this pass alone; its number. Its conditions must not repeat.
  std::uint32_t add_extra(std::span<const FactId> conditions, std::span<const FactId> added, Cost cost);
  void add_goal(FactId fact);

  /// Runs the pass, once; with `early`, it ends as soon as all goals have their cost. The sum of the costs of
  /// the goals, or `unreachable`.
  Cost settle(bool early);

  Cost cost(FactId fact) const {
    const FactState& state = facts_[fact];
    return state.pass == always ? 0 : state.pass == pass_ ? state.cost : unreachable;
  }
  /// Whether the conditions of the operator cost nothing: after `settle`, if the operator was reached.
  bool is_free(OperatorId id) const;
  /// The relaxed plan of the last pass, whose goals are all reached: each operator and extra operator once.
  /// Rules of formulas are left out. Valid until the next call.
  std::span<const Step> extract();
  std::uint64_t bytes() const;

 private:
  struct FactState {
    std::uint32_t pass;  // in which it got its cost; `always`: it holds in the state
    Cost cost;
    std::uint32_t supporter;
    std::uint32_t marked;  // the pass in which a goal or an extra operator waits for it
  };
  struct Extra {
    std::uint32_t first_condition, first_added, last_added;  // in extra_facts_
    Cost cost;
    std::uint32_t missing;
    Cost sum;
  };
  static constexpr std::uint32_t always = ~std::uint32_t{0};
  static constexpr std::uint32_t no_supporter = ~std::uint32_t{0};
  static constexpr std::uint32_t change_bit = std::uint32_t{1} << 31;
  static constexpr Cost bucket_limit = 4096;

  void set_state(const ValueId* values);
  void change_slot(std::uint32_t slot, ValueId value);
  void set_holds(FactId fact, bool holds);
  void reach(FactId fact, Cost cost, std::uint32_t supporter);
  void complete(OperatorId id);
  void complete_extra(std::uint32_t number);
  void settle_fact(FactId fact, Cost cost);
  void settle_marked(FactId fact, Cost cost);
  void settle_change(FactId fact, Cost cost);
  bool is_done(bool early) const { return early && goals_missing_ == 0; }
  bool settle_near(bool early);
  void settle_far(bool early);
  void add_step(std::uint32_t supporter, std::uint32_t times);

  const RelaxedTask& task_;
  const FactTable& table_;
  bool is_optimistic_;
  bool has_state_ = false;
  std::vector<ValueId> values_;  // of the state
  std::vector<FactState> facts_;
  // By operator: its conditions that do not hold in the state, and those not yet settled in the pass. Small
  // numbers apart from all else, since most of a pass is counting them down.
  using Count = std::uint32_t;
  std::vector<Count> missing_in_state_, missing_;
  std::vector<std::uint64_t> applicable_;  // bit set of the operators that miss nothing
  std::vector<std::uint32_t> stale_predicates_;
  std::vector<char> is_stale_;

  // Of the pass.
  std::uint32_t pass_ = 0;
  std::vector<std::vector<FactId>> buckets_;
  Cost lowest_ = 0, highest_ = 0;             // the buckets that may hold facts
  std::vector<std::pair<Cost, FactId>> far_;  // a heap
  std::vector<FactId> goals_;
  std::vector<std::uint32_t> goal_pass_;  // by fact
  std::size_t goals_missing_ = 0;
  Cost goal_sum_ = 0;
  std::vector<Extra> extras_;
  std::vector<FactId> extra_facts_;

  // Of extract().
  std::vector<FactId> stack_;
  std::vector<std::uint32_t> fact_seen_;                   // by fact: the pass
  std::vector<std::uint32_t> operator_step_, extra_step_;  // number in steps_ plus 1, or 0
  std::vector<Step> steps_;
};

}  // namespace zorvel
