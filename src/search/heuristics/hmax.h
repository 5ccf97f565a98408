#pragma once

#include <memory>
#include <vector>

#include "search/heuristics/heuristic.h"
#include "search/heuristics/relaxation/relaxed_problem.h"
#include "search/heuristics/relaxation/value_reachability.h"
#include "state/all_values_evaluator.h"

namespace zorvel {

/// The number of layers of a relaxed reachability analysis over sets of values (the first layer that holds
/// all goals; Bonet and Geffner 2001, in its form for multi-valued and numeric variables by Hoffmann 2003).
///
/// ValueReachability counts the layers. Its twin, the same analysis on expressions, says what it must find,
/// and answers where it has no answer; the tests compare them.
class HMax : public Heuristic {
 public:
  using Assignments = AllValuesEvaluator::Values;

  explicit HMax(std::shared_ptr<const RelaxedProblem> problem);

  double estimate(const StateView& state) override;
  /// The estimate by the analysis on expressions alone; slow.
  double estimate_plainly(const StateView& state);
  /// Whether the last `estimate` needed the slow form.
  bool was_plain() const { return was_plain_; }
  bool is_worth_caching() const override { return true; }

 private:
  /// Sets the slots of the state, and what open actions make possible beside them.
  void read(const StateView& state);
  double layers_by_expressions() const;
  std::vector<Node*> references_written(const AllValuesEvaluator& evaluator, const Effect& effect) const;

  std::shared_ptr<const RelaxedProblem> problem_;
  ValueReachability reachability_;
  std::vector<ValueId> values_;                // of the state, with all actions idle
  std::vector<ValueReachability::Fact> open_;  // of open actions, beside them
  bool was_plain_ = false;
};

}  // namespace zorvel
