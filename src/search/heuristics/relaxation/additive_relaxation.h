#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "search/frame/evaluation_tables.h"
#include "search/heuristics/relaxation/additive_update.h"
#include "search/heuristics/relaxation/classical_action.h"
#include "state/compiled_condition.h"

namespace zorvel {

/// The delete relaxation of a set of classical actions over dense numbers, and additive costs on it (Bonet
/// and Geffner 2001): the cost of a predicate is the least, over the actions that add it, of one plus the sum
/// of the costs of the cheapest clause of the action's condition.
///
/// The costs are the least fixpoint of monotone equations with whole numbers, so they are settled in the
/// order of their size with a bucket queue (Knuth's generalisation of Dijkstra, 1977). A pass costs what it
/// touches beyond a copy of the tables' initial contents. Costs can double with each layer of actions, so
/// large ones go to a heap, and none grows beyond `max_cost`.
class AdditiveRelaxation {
 public:
  using PredicateId = std::uint32_t;
  using Cost = std::uint32_t;
  static constexpr Cost unreachable = std::numeric_limits<Cost>::max();
  static constexpr Cost max_cost = Cost{1} << 30;  ///< Sums of two of these do not overflow.

  /// An action that made a predicate cheaper, and the clause of its condition that was cheapest.
  struct Supporter {
    std::uint32_t action = ~std::uint32_t{0};
    std::uint32_t clause = 0;
    bool exists() const { return action != ~std::uint32_t{0}; }
  };

  /// `tables` must outlive the relaxation.
  AdditiveRelaxation(EvaluationTables& tables, const std::vector<model::NodeSet>& goals,
                     const std::vector<ClassicalAction>& actions);

  /// The predicate of a node; a new one that no condition mentions if it is not known.
  PredicateId predicate(Node* node);
  /// A predicate that holds in the state whatever the slots say, unless `suspend` takes it out for the next
  /// pass.
  void add_default(PredicateId predicate);
  /// Must be called once after the last `predicate` and `add_default`.
  void finish();

  /// Starts a pass on a state's values, with all defaults. Where it `may_carry` costs over from the pass
  /// before, large tables are brought up to date only where the states differ; of such a pass only the result
  /// of `settle` is known.
  void begin(const std::uint32_t* values, bool may_carry = false);
  /// Between `begin` and `settle`: this default does not hold in this state; this other predicate does.
  void suspend(PredicateId predicate);
  void establish(PredicateId predicate);
  /// Runs the pass. With `early`, it ends as soon as the goal's cost is known; otherwise everything reachable
  /// gets its final cost. The cost of the cheapest goal clause, or `unreachable`.
  Cost settle(bool early);

  // Of the last pass:
  std::uint32_t best_goal_clause() const { return best_goal_; }
  bool is_reached(std::uint32_t action) const;  ///< Only after a pass that was not `early`.
  Cost cost(PredicateId predicate) const { return costs_[predicate]; }
  /// Kept from pass to pass: a predicate that a pass does not make cheaper keeps its older supporter.
  const Supporter& supporter(PredicateId predicate) const { return supporters_[predicate]; }
  std::span<const PredicateId> goal_literals(std::uint32_t clause) const;
  std::span<const PredicateId> clause_literals(std::uint32_t action, std::uint32_t clause) const;
  std::size_t goal_clauses() const { return goal_count_; }

 private:
  /// A clause of an action's condition or of the goal.
  struct Clause {
    std::uint32_t owner;   // action, or `goal_owner`
    std::uint32_t number;  // within the owner
    std::uint32_t first_literal, literals;
  };
  struct Progress {
    std::uint32_t missing;
    Cost sum;
  };
  /// A condition that is no plain literal: true costs 0, false 1, whatever could make it true.
  struct Complex {
    PredicateId predicate;
    CompiledCondition condition;
  };
  static constexpr std::uint32_t goal_owner = ~std::uint32_t{0};

  void add_clause(std::uint32_t owner, std::uint32_t number, const model::NodeSet& literals);
  void note_state_predicate(Node* node, PredicateId id);
  void reach(PredicateId predicate, Cost cost);
  void complete(std::uint32_t clause, Cost sum);
  void settle_predicate(PredicateId predicate, Cost cost);
  bool settle_near(bool early);
  void settle_far(bool early);
  bool chooses_to_carry();
  void begin_carried(const std::uint32_t* values);
  Cost settle_carried();
  std::unique_ptr<AdditiveUpdate> make_update() const;

  EvaluationTables& tables_;
  std::unordered_map<Node*, PredicateId> numbers_;
  std::vector<Node*> nodes_;  // by predicate
  std::vector<Clause> clauses_;
  std::vector<PredicateId> literals_;
  std::vector<std::uint32_t> first_clause_;      // by action; its clauses are consecutive
  std::vector<std::vector<PredicateId>> added_;  // by action; after finish() without the next two kinds:
  std::vector<std::vector<PredicateId>> added_defaults_;  // by action: those that hold unless suspended
  std::vector<std::vector<std::uint32_t>> restorers_;     // by predicate: the actions that add this default
  std::size_t goal_count_ = 0;
  std::uint32_t first_goal_ = 0;
  static constexpr PredicateId no_predicate = ~PredicateId{0};
  std::vector<std::vector<PredicateId>> of_slot_;  // by slot and value: what the value makes true
  std::vector<Complex> complex_;
  std::vector<PredicateId> defaults_;

  // Built by finish().
  std::vector<std::uint32_t> gain_offsets_;   // by action, into gains_
  std::vector<PredicateId> gains_;            // added_, in one piece
  std::vector<std::uint32_t> watch_offsets_;  // by predicate, into watches_
  std::vector<std::uint32_t> watches_;        // clauses
  std::vector<Progress> initial_progress_;    // by clause, with the defaults applied
  std::vector<Cost> initial_costs_;
  std::vector<std::uint32_t> initially_complete_;

  // Of the pass.
  std::vector<Progress> progress_;
  std::vector<Cost> costs_;
  std::vector<char> completed_;             // by clause; only kept by passes that are not early
  std::vector<std::uint32_t> may_restore_;  // by action: the last pass with a suspended default that it adds
  std::uint32_t pass_ = 0;
  static constexpr Cost bucket_limit = Cost{1} << 14;
  std::vector<std::vector<PredicateId>> buckets_;  // by cost, below the limit
  std::vector<std::pair<Cost, PredicateId>> far_;  // a heap, the least cost on top
  std::vector<Supporter> supporters_;
  Supporter current_;
  Cost best_goal_cost_ = unreachable;
  std::uint32_t best_goal_ = 0;

  // Of passes that carry costs over.
  bool is_carried_ = false;                           // this pass
  std::unique_ptr<AdditiveUpdate> update_;            // null before the first one
  std::vector<std::uint32_t> known_values_;           // by slot: those that update_ has
  std::vector<PredicateId> suspended_, established_;  // that update_ has
  std::uint64_t excess_ = 0;                          // work of updates beyond that of passes from nothing
  std::uint32_t passes_to_next_try_ = 0;
};

}  // namespace zorvel
