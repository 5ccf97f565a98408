#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "search/heuristics/hadd.h"
#include "search/heuristics/heuristic.h"
#include "search/heuristics/relaxation/classical_action.h"
#include "state/all_values_evaluator.h"

namespace zorvel {

/// The number of layers of a relaxed reachability analysis over sets of values (the first layer that holds
/// all goals; Bonet and Geffner 2001, in its form for multi-valued and numeric variables by Hoffmann 2003).
///
/// With progress fluents it estimates temporal states. A numeric fluent that has taken `value_limit` values
/// counts as able to take any.
class HMax : public Heuristic {
 public:
  using Assignments = AllValuesEvaluator::Values;
  static constexpr std::size_t value_limit = 10000;

  /// `index` must outlive the heuristic.
  HMax(Environment& env, const StateIndex& index, std::vector<Node*> goals,
       std::vector<ClassicalAction> classical_actions, const ProgressFluents& progress = {});

  double operator()(const SearchState& state) override;
  bool is_worth_caching() const override { return true; }
  const StateIndex& interpretation() const { return index_; }
  const std::vector<Node*>& goals() const { return goals_; }

 private:
  Assignments initial_assignments(const SearchState& state) const;
  std::vector<Node*> references_written(const AllValuesEvaluator& evaluator, const Effect& effect) const;

  const StateIndex& index_;
  std::vector<Node*> goals_;
  std::vector<ClassicalAction> classical_actions_;
  ProgressFluents progress_;
};

}  // namespace zorvel
