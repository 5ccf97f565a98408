#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace zorvel {

/// Additive costs that are carried over from one state to the next: only what a change reaches is settled
/// again (Liu, Koenig and Furcy, Speeding Up the Calculation of Heuristics for Heuristic Search-Based
/// Planning, 2002; after Ramalingam and Reps, An Incremental Algorithm for a Generalization of the
/// Shortest-Path Problem, 1996). The costs are those of a pass from nothing: the least fixpoint is unique.
///
/// Invariant between updates: `costs_` is the fixpoint, each finite cost above its base has a rule that gives
/// it, and each rule knows the sum of the finite costs of its conditions and how many are not finite.
class AdditiveUpdate {
 public:
  using Predicate = std::uint32_t;
  using RuleId = std::uint32_t;
  using Cost = std::uint32_t;
  static constexpr Cost unreachable = std::numeric_limits<Cost>::max();

  /// Costs of one plus the sum of the conditions reach what is added; none grows beyond `max_cost`, of which
  /// two must have a sum.
  AdditiveUpdate(std::size_t predicates, Cost max_cost);
  /// All of them before `finish`. Conditions must not repeat.
  void add_rule(std::span<const Predicate> conditions, std::span<const Predicate> added);
  /// The conjunction is a goal; the cheapest one counts.
  void add_goal(std::span<const Predicate> conditions);
  void finish();

  /// What the predicate costs in the state without any rule. Takes effect with the next `update`.
  void set_base(Predicate predicate, Cost cost);
  /// The cost of the cheapest goal, or `unreachable`.
  Cost update();
  Cost cost(Predicate predicate) const { return costs_[predicate]; }
  /// Of the last update: the conditions and additions that it looked at.
  std::uint64_t work() const { return work_; }
  /// The invariant, from scratch, linear in the rules.
  bool is_settled() const;

 private:
  struct Rule {
    std::uint32_t first_condition, first_added;  // up to those of the next rule
  };
  struct Progress {
    std::uint64_t sum = 0;  // without the cap, so that it can shrink again
    std::uint32_t missing = 0;
  };
  static constexpr RuleId no_rule = ~RuleId{0};

  std::span<const Predicate> conditions(RuleId rule) const;
  std::span<const Predicate> added(RuleId rule) const;
  std::span<const RuleId> rules_with(Predicate predicate) const;
  std::span<const RuleId> rules_adding(Predicate predicate) const;
  Cost cost_by(RuleId rule) const;
  void forget();
  void raise_unsupported();
  void lower(Predicate predicate, Cost cost, RuleId supporter);
  void settle();
  Cost goal_cost() const;

  Cost max_cost_;
  std::vector<Rule> rules_;  // one more for the end
  std::vector<Predicate> conditions_, added_;
  std::vector<RuleId> goals_;
  std::vector<std::uint32_t> with_begin_, adding_begin_;  // by predicate; one more for the end
  std::vector<RuleId> with_, adding_;

  std::vector<Cost> base_, costs_;  // by predicate
  std::vector<RuleId> supporters_;  // by predicate; none where the base gives the cost
  std::vector<Progress> progress_;  // by rule
  std::vector<Predicate> changed_;  // those whose base changed, perhaps more than once
  std::vector<char> is_changed_;
  bool is_capped_ = false;  // some cost is max_cost, so that rules may support each other in a circle

  // Scratch of an update.
  std::vector<Predicate> raised_;
  std::vector<RuleId> broken_;                     // that lost their cost to those
  std::vector<std::pair<Cost, Predicate>> queue_;  // a heap, the least cost on top
  std::vector<Cost> tentative_;                    // by predicate; `unreachable` outside of updates
  std::vector<RuleId> tentative_supporters_;
  std::uint64_t work_ = 0;
};

}  // namespace zorvel
