#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "plans/plan.h"
#include "search/frame/search_guard.h"
#include "search/frame/search_limits.h"
#include "search/heuristics/hadd.h"
#include "search/heuristics/heuristic.h"
#include "state/search_state.h"
#include "transformers/basic_transformer.h"

namespace zorvel {

/// Root of the planners: a problem, and the chain of transformers that brought it into the form the engine
/// handles.
class Planner : public EnvObject {
 public:
  Planner(Environment& env, model::ProblemPtr problem) : EnvObject(env), problem_(std::move(problem)) {}
  virtual const std::string& name() const = 0;
  /// A plan of the caller's problem, or null if there is none. InternalError for a problem that the planner
  /// cannot handle comes from its constructor.
  std::shared_ptr<Plan> solve();
  /// The same under a guard of the caller's, who runs several planners under one.
  virtual std::shared_ptr<Plan> solve_under(SearchGuard& guard) = 0;

  /// The problem as the engine sees it, after all transformers.
  const model::ProblemPtr& problem() const { return problem_; }
  const std::vector<std::shared_ptr<model::BasicTransformer>>& transformers() const { return transformers_; }

  void set_limits(SearchLimits limits) { limits_ = std::move(limits); }
  /// How the last `solve` ended. Where it is neither `plan_found` nor `no_plan`, nothing is known. A search
  /// that ended without a plan on a problem that may have lost plans on the way is `incomplete`.
  SearchOutcome outcome() const {
    return outcome_ == SearchOutcome::no_plan && may_have_lost_plans() ? SearchOutcome::incomplete : outcome_;
  }
  /// Whether a transformer may have lost plans.
  bool may_have_lost_plans() const;
  /// After `no_plan`: whether there may be plans in which an action overlaps itself, which the planner does
  /// not look for.
  virtual bool may_miss_self_overlap() { return false; }

 protected:
  /// Runs the transformer and makes its result the problem.
  void apply(std::shared_ptr<model::BasicTransformer> transformer);
  std::shared_ptr<Plan> map_back(std::shared_ptr<Plan> plan) const;

  // The steps that the chains of several planners share; each does nothing where the problem does not need
  // it. Objects, sets and a user's own heuristic, which would see neither, do not go together.
  void apply_flattener(bool has_custom_heuristic);
  void apply_increase_decrease_compiler();
  void apply_forall_compiler();
  void apply_constant_promoter();
  void apply_temporal_uncertainty_compiler(bool steps_are_atomic);
  void apply_grounder(bool prune_actions);
  void apply_set_compiler(bool has_custom_heuristic);
  /// InternalError for continuous change and processes, which no engine handles.
  void require_discrete_change() const;

  model::ProblemPtr problem_;
  std::vector<std::shared_ptr<model::BasicTransformer>> transformers_;
  SearchLimits limits_;
  SearchOutcome outcome_ = SearchOutcome::not_run;
};

/// What the forward temporal search engines share: the pipeline of transformers, the heuristics, and the set
/// of actions that may be opened.
class TpPlanner : public Planner {
 public:
  /// `custom_heuristic` may be empty; otherwise it is the only heuristic, and needs a flat problem without
  /// sets.
  TpPlanner(Environment& env, model::ProblemPtr problem, HCustom::Function custom_heuristic);

  const std::string& name() const override;
  /// Searches with the heuristics of the option `ftp-heuristic`. With `weak-equality` states that differ in
  /// their open actions alone can be taken for one, which can lose all plans; so a search that finds none is
  /// repeated without.
  std::shared_ptr<Plan> solve_under(SearchGuard& guard) override;

 protected:
  using ActionSet = std::set<std::shared_ptr<model::ActionImpl>, model::ActionLt>;

  virtual std::shared_ptr<Plan> _solve(bool weak_equality, SearchGuard& guard) = 0;
  virtual std::unique_ptr<tp::SearchState> _initial_state() = 0;
  virtual const StateIndex& index() const = 0;
  virtual std::shared_ptr<EvaluationTables> tables() const = 0;
  virtual void initialize_heuristic();
  /// Sets the f values of a state from its g; false if a heuristic says that it is a dead end.
  bool set_heuristics(tp::SearchState& state);

  std::vector<std::shared_ptr<Heuristic>> heuristics_;  // null: blind
  ActionSet relevant_actions_;
  HCustom::Function custom_heuristic_;

 private:
  void apply_transformers();
  void prepare_relaxation_heuristics(const std::set<std::string>& names);
};

}  // namespace zorvel
