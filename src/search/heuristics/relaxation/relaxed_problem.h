#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "model/problem_instance.h"
#include "search/frame/evaluation_tables.h"
#include "search/heuristics/relaxation/classical_action.h"
#include "search/heuristics/relaxation/progress_rings.h"

namespace zorvel {

/// A ground problem without time, from which the heuristics of both engines are made: goals, actions, or the
/// pieces of temporal ones, and the progress fluents that tie such pieces together.
class RelaxedProblem : public EnvObject {
 public:
  /// The source of an action that stands for a timed effect of the searched problem itself.
  static constexpr std::uint32_t no_source = 0xFFFF'FFFF;

  /// What the problem is made of. `tables` and `initial` are those of the search.
  struct Parts {
    std::shared_ptr<EvaluationTables> tables;
    std::vector<ValueId> initial;  ///< By slot.
    std::vector<Node*> goals;
    std::vector<ClassicalAction> actions;
    /// By action: the number of the action of the searched problem that it is, or is a piece of; `no_source`
    /// for none.
    std::vector<std::uint32_t> sources;
    std::size_t source_count = 0;
    /// Fluents that guide a plan beside the goals, so that actions for them matter.
    std::vector<std::shared_ptr<model::FluentImpl>> guiding;
    ProgressRings rings;
  };
  explicit RelaxedProblem(Environment& env, Parts parts);
  RelaxedProblem(const RelaxedProblem&) = delete;
  RelaxedProblem& operator=(const RelaxedProblem&) = delete;

  const std::vector<Node*>& goals() const { return parts_.goals; }
  const std::vector<ClassicalAction>& actions() const { return parts_.actions; }
  const std::vector<std::uint32_t>& sources() const { return parts_.sources; }
  std::size_t source_count() const { return parts_.source_count; }
  const std::vector<std::shared_ptr<model::FluentImpl>>& guiding() const { return parts_.guiding; }
  const ProgressRings& rings() const { return parts_.rings; }
  const std::vector<ValueId>& initial() const { return parts_.initial; }
  EvaluationTables& tables() const { return *parts_.tables; }

  /// The goal in disjunctive normal form, which can be large; none without goals.
  const std::vector<model::NodeSet>& goal_clauses() const;

  // The slots of the search's states and, behind them, those of the progress fluents.
  EvaluationTables& extended_tables() const { return *extended_; }
  /// The values of the initial state with no action open.
  const std::vector<ValueId>& extended_initial() const { return extended_initial_; }
  /// The slot of a position of an action's ring.
  std::size_t ring_slot(const RingPosition& at) const { return first_ring_slot_[at.action] + at.position; }

 private:
  void extend();

  Parts parts_;
  mutable std::optional<std::vector<model::NodeSet>> goal_clauses_;
  StateIndex extended_index_;
  std::unique_ptr<EvaluationTables> extended_;
  std::vector<ValueId> extended_initial_;
  std::vector<std::size_t> first_ring_slot_;  // by action of the searched problem
};

/// A ground temporal problem cut into pieces by the TemporallyAwareRelaxer. `tables` and `initial` are those
/// of the search, and `chain_lengths` says how many events each action, in the order of the names, leaves
/// pending when it opens.
std::shared_ptr<RelaxedProblem> relax_time(const model::ProblemPtr& problem,
                                           std::shared_ptr<EvaluationTables> tables,
                                           std::vector<ValueId> initial,
                                           std::vector<std::uint32_t> chain_lengths);

}  // namespace zorvel
