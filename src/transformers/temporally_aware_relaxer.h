#pragma once

#include <map>
#include <memory>
#include <vector>

#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/normal_forms.h"
#include "transformers/basic_transformer.h"
#include "transformers/fresh_names.h"
#include "transformers/problem_parts.h"
#include "transformers/static_fluents.h"

namespace zorvel::model {

/// Turns a flat, ground temporal problem into one of instantaneous actions, for the heuristics that ignore
/// what actions delete. It is no part of a chain: plans are not mapped.
///
/// Each action becomes a chain of pieces, one for what has to hold at its start and one for each later
/// condition and effect, in the order in which the search takes them: by time under one fixed duration,
/// conditions before effects, each group in the order of its printed interval. A ring of N boolean fluents,
/// exactly one of which is true, keeps the pieces in that order: piece k needs fluent k and leaves fluent k +
/// 1 true, the last piece fluent 1. An action that waits for the last `count` of its N pieces is thus at
/// fluent N + 1 - count.
///
/// The new problem gives the ring fluents no initial value: who uses it knows which actions are open.
class TemporallyAwareRelaxer : public BasicTransformer {
 public:
  /// The ring fluents of an action by index, from 1 to N. Actions by name.
  using RingFluents = std::map<std::shared_ptr<ActionImpl>, std::map<unsigned long, Node*>, ActionLt>;
  /// The pieces of an action, in the order of the chain.
  using Pieces = std::map<std::shared_ptr<ActionImpl>, std::vector<std::shared_ptr<ActionImpl>>, ActionLt>;

  explicit TemporallyAwareRelaxer(const ProblemPtr& problem);

  /// InternalError "This phase can be only applied to flattened models!", an empty text for a time anchor of
  /// an unknown form, and the text of a statement on the duration that cannot be read and is needed.
  void do_computation() override;
  const RingFluents& get_new_fluent() const { return ring_fluents_; }
  const Pieces& get_new_action() const { return pieces_; }

  ActionStep map_back(const ActionStep& step) const override;  ///< "Map back not implemented!"
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  std::vector<ActionStep> map_forward(
      const ActionStep& step) const override;  ///< "Map forward not implemented!"
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;  ///< "Not supported!"

 private:
  /// What happens at one point: assignments, simulated effects, or both.
  struct EffectPiece {
    std::vector<Node*> assignments;
    ActionImpl::SimulatedEffects simulated;
  };
  struct Moment {
    std::vector<Node*> conditions;
    std::vector<EffectPiece> effects;
  };
  struct Timeline {
    std::vector<Node*> start_conditions;  // checked when the action is opened
    std::map<rational, Moment> moments;   // by time from the start
    unsigned long size() const;           // the number of pieces
  };
  struct Sorted;

  Sorted sort(const ActionImpl& action) const;
  Timeline timeline(const ActionImpl& action) const;
  void add_action(const std::shared_ptr<ActionImpl>& action);
  void add_statements();
  /// The conjunction of the ring fluent and more conditions, as literals.
  Node* condition_of(const std::vector<Node*>& conditions) const;

  FreshNames names_;
  StaticFluents static_fluents_;
  CheckContainsWalker has_duration_;  // kept for its memo: actions share most of their nodes
  ToNNF to_nnf_;
  ExpressionSimplifier simplify_;
  ProblemParts parts_;  // of the new problem, as far as built
  RingFluents ring_fluents_;
  Pieces pieces_;
};

}  // namespace zorvel::model
