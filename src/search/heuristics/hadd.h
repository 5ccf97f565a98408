#pragma once

#include <memory>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "search/heuristics/heuristic.h"
#include "search/heuristics/relaxation/additive_relaxation.h"
#include "search/heuristics/relaxation/classical_action.h"
#include "transformers/temporally_aware_relaxer.h"

namespace zorvel {

/// The ring of progress fluents of each action of a temporal problem: position 1 is idle, position k is
/// reached when |ring| + 1 - k events are pending. See TemporallyAwareRelaxer.
using ProgressFluents = model::TemporallyAwareRelaxer::RingFluents;

/// The additive heuristic: an estimate that charges each goal in full (Bonet and Geffner 2001).
///
/// With progress fluents it estimates temporal states, whose open actions it sees as values of these fluents.
class HAdd : public Heuristic {
 public:
  using ActionSet = std::unordered_set<std::shared_ptr<model::ActionImpl>>;

  /// `goals` is the goal in disjunctive normal form. For temporal states, `actions` lists the actions of the
  /// problem that is searched, in order; it is empty otherwise.
  HAdd(Environment& env, std::shared_ptr<EvaluationTables> tables, std::vector<model::NodeSet> goals,
       std::vector<ClassicalAction> classical_actions, const ProgressFluents& progress = {},
       const std::vector<std::shared_ptr<model::ActionImpl>>& actions = {});

  double operator()(const SearchState& state) override { return (*this)(state, false); }
  /// With `record`, all reachable actions are determined, for `reachable`.
  virtual double operator()(const SearchState& state, bool record);
  double evaluate(const tp::ftp::DenseView& view) override;
  bool is_worth_caching() const override { return true; }
  /// The estimate for the values of a state in which no action is open.
  double evaluate(const ValueId* values);

  /// The actions reached by the last run with `record`.
  const ActionSet& reachable() const { return reached_; }
  /// The fluents of the goal, in order, without progress fluents.
  std::vector<std::shared_ptr<model::FluentImpl>> subgoals() const;
  /// The actions that can matter for the goal, or for the fluents given beside it: those that write a fluent
  /// that the goal, or a condition, value, argument or duration of such an action, reads.
  ActionSet useful_actions(const std::vector<std::shared_ptr<model::FluentImpl>>& more_goals = {}) const;

 protected:
  /// The estimate after the pass has begun on a state.
  virtual double finish_pass() { return to_value(relaxation_.settle(true)); }
  static double to_value(AdditiveRelaxation::Cost cost) {
    return cost == AdditiveRelaxation::unreachable ? dead_end : static_cast<double>(cost);
  }
  const std::vector<ClassicalAction>& classical_actions() const { return classical_actions_; }

  AdditiveRelaxation relaxation_;

 private:
  struct Ring {
    std::vector<AdditiveRelaxation::PredicateId> positive, negative;  // by k - 1
  };
  void begin(const SearchState& state);
  void set_progress(std::size_t action, std::size_t pending);

  std::shared_ptr<EvaluationTables> tables_;
  std::vector<model::NodeSet> goals_;
  std::vector<ClassicalAction> classical_actions_;
  std::unordered_map<std::shared_ptr<model::ActionImpl>, std::size_t> action_numbers_;
  std::vector<Ring> rings_;  // by action of the searched problem
  std::unordered_set<const model::FluentImpl*> progress_fluents_;
  ActionSet reached_;
  std::vector<std::uint32_t> values_;  // scratch
};

/// The cost of a relaxed plan, extracted along the cheapest supporters of the additive costs (Hoffmann and
/// Nebel 2001, with additive supporters after Keyder and Geffner 2008). Supporters of earlier states are used
/// where the present one needs none.
class HFF : public HAdd {
 public:
  using HAdd::HAdd;
  /// Supporters outlive the state that found them, so the estimate depends on the states before.
  bool is_worth_caching() const override { return false; }

 protected:
  double finish_pass() override;
};

}  // namespace zorvel
