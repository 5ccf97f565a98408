#pragma once

#include <memory>
#include <string>
#include <vector>

#include "search/classical/tsimple/classical_search.h"
#include "search/classical/tsimple/tsimple_model.h"
#include "search/frame/planner.h"
#include "search/heuristics/relaxation/relaxed_problem.h"

namespace zorvel::tsimple {

/// A classical planner for problems with atomic actions: best-first search over states without time, and a
/// partial-order plan at the end, in which what actions read and write decides their order.
///
/// With a width k above 0 the search drops states that show no new tuple of k values, which keeps it small
/// and may lose all plans. Conditions that have to hold at some moment of the plan guide the search, and the
/// plan need not meet them.
class TSimplePlanner : public Planner {
 public:
  /// `custom_heuristic` may be empty; otherwise it takes the place of the option `tsimple-heuristic`, and
  /// needs a flat problem without sets. UnsupportedProblemError for a problem with a feature that the planner
  /// cannot handle, and "Heuristic not implemented!" for an unknown heuristic.
  TSimplePlanner(Environment& env, model::ProblemPtr problem, std::size_t width = 0,
                 HCustom::Function custom_heuristic = {});

  const std::string& name() const override;
  /// Searches with the options `tsimple-goals-serialization` and, with a width,
  /// `iw-disable-tuple-computation-in-initial-states`. The plan is a POTPlan.
  std::shared_ptr<Plan> solve_under(SearchGuard& guard) override;

  const TSimpleModel& model() const { return *model_; }
  /// The numbers of the model's actions that the search tries: all, or what the heuristic says that can be
  /// reached and can matter.
  const std::vector<std::uint32_t>& searched_actions() const { return searched_actions_; }
  /// Null: blind.
  const std::shared_ptr<Heuristic>& heuristic() const { return heuristic_; }
  double cost_of_missing() const { return cost_of_missing_; }
  /// Of the heuristic and the search.
  const EvaluationTables& tables() const { return *tables_; }

 private:
  void initialize_heuristic(HCustom::Function custom_heuristic);
  std::shared_ptr<const RelaxedProblem> relaxed_problem() const;
  std::shared_ptr<Plan> plan_of(const ClassicalSearch& search) const;

  std::size_t width_;
  std::unique_ptr<TSimpleModel> model_;
  std::shared_ptr<EvaluationTables> tables_;
  std::vector<std::uint32_t> searched_actions_;
  std::shared_ptr<Heuristic> heuristic_;
  double cost_of_missing_ = 0;  // see HeuristicRow
};

}  // namespace zorvel::tsimple
