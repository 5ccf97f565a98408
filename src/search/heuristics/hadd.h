#pragma once

#include <memory>
#include <vector>

#include "search/heuristics/heuristic.h"
#include "search/heuristics/relaxation/additive_relaxation.h"
#include "search/heuristics/relaxation/relaxed_problem.h"

namespace zorvel {

/// The additive heuristic: an estimate that charges each goal in full (Bonet and Geffner 2001). Open actions
/// are seen as values of progress fluents.
class HAdd : public Heuristic {
 public:
  explicit HAdd(std::shared_ptr<const RelaxedProblem> problem);

  double estimate(const StateView& state) override;
  bool is_worth_caching() const override { return true; }
  /// By action of the relaxed problem: whether it can be reached from the state. All can without goals.
  std::vector<bool> reachable(const StateView& state);

 protected:
  /// Whether the cost of the goal is all that `finish_pass` asks for.
  virtual bool may_carry() const { return true; }
  /// The estimate after the pass has begun on a state.
  virtual double finish_pass() { return to_value(relaxation_.settle(true)); }
  static double to_value(AdditiveRelaxation::Cost cost) {
    return cost == AdditiveRelaxation::unreachable ? dead_end : static_cast<double>(cost);
  }
  const RelaxedProblem& problem() const { return *problem_; }

  AdditiveRelaxation relaxation_;

 private:
  struct Ring {
    std::vector<AdditiveRelaxation::PredicateId> positive, negative;  // by position
  };
  void begin(const StateView& state, bool may_carry);

  std::shared_ptr<const RelaxedProblem> problem_;
  std::vector<Ring> rings_;  // by action of the searched problem
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
  bool may_carry() const override { return false; }
  double finish_pass() override;
};

}  // namespace zorvel
