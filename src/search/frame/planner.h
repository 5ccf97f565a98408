#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "plans/plan.h"
#include "search/frame/search_guard.h"
#include "search/frame/search_limits.h"
#include "search/frame/search_statistics.h"
#include "transformers/chain.h"

namespace zorvel {

/// Root of the planners: a problem, and the chain of transformers that brought it into the form the engine
/// handles.
class Planner : public EnvObject {
 public:
  Planner(Environment& env, model::ProblemPtr problem) : EnvObject(env), chain_(std::move(problem)) {}
  virtual const std::string& name() const = 0;
  /// A plan of the caller's problem, or null if there is none. UnsupportedProblemError
  /// for a problem that the planner cannot handle comes from its constructor.
  std::shared_ptr<Plan> solve();
  /// The same under a guard of the caller's, who runs several planners under one.
  virtual std::shared_ptr<Plan> solve_under(SearchGuard& guard) = 0;

  /// The problem as the engine sees it, after all transformers.
  const model::ProblemPtr& problem() const { return chain_.problem(); }
  const std::vector<std::shared_ptr<model::BasicTransformer>>& transformers() const {
    return chain_.transformers();
  }

  void set_limits(SearchLimits limits) { limits_ = std::move(limits); }
  /// How the last `solve` ended. Where it is neither `plan_found` nor `no_plan`, nothing is known. A search
  /// that ended without a plan on a problem that may have lost plans on the way is `incomplete`.
  SearchOutcome outcome() const {
    return outcome_ == SearchOutcome::no_plan && may_have_lost_plans() ? SearchOutcome::incomplete : outcome_;
  }
  /// What the last search did; of several in a row, the last one, or all where they are one series.
  const SearchStatistics& statistics() const { return statistics_; }
  /// Whether a transformer may have lost plans.
  bool may_have_lost_plans() const;
  /// After `no_plan`: whether there may be plans in which an action overlaps itself, which the planner does
  /// not look for.
  virtual bool may_miss_self_overlap() { return false; }

 protected:
  /// Runs these transformers in this order, each where the problem needs it. With a user's own heuristic the
  /// fluents stay as they were written: UnsupportedProblemError where the problem has objects or sets, which
  /// it would not see.
  void apply_chain(model::TransformerChain::Names names, const model::ChainOptions& options = {},
                   bool has_custom_heuristic = false);
  /// The chain of the planners that lay out actions in time, down to events of one order.
  void apply_temporal_chain(bool has_custom_heuristic = false);
  /// The chain of the planners that take actions as atomic, down to ground actions without sets.
  void apply_classical_chain(bool has_custom_heuristic = false);
  /// UnsupportedProblemError for continuous change and processes, which no engine handles.
  void require_discrete_change() const;
  std::shared_ptr<Plan> map_back(std::shared_ptr<Plan> plan) const {
    return chain_.map_back(std::move(plan));
  }

  SearchLimits limits_;
  SearchOutcome outcome_ = SearchOutcome::not_run;
  SearchStatistics statistics_;

 private:
  model::TransformerChain chain_;
};

}  // namespace zorvel
