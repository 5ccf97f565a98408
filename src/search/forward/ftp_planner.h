#pragma once

#include <memory>
#include <string>
#include <vector>

#include "plans/time_triggered_plan.h"
#include "search/forward/dense/dense_problem.h"
#include "search/forward/ftp_model.h"
#include "search/frame/planner.h"
#include "search/heuristics/heuristic.h"

namespace zorvel {
class RelaxedProblem;
}

namespace zorvel::tp::ftp {

/// The forward temporal planner: best-first search over states that hold a world, the events still owed by
/// open actions, and a temporal network.
///
/// A move opens an action or applies the first event of one chain. The search runs in doubles; the plan of
/// the goal state is rebuilt by replaying its events in exact numbers, so its times are exact. Open lists are
/// ordered by f with a tolerance of 1e-7, then by the number of todo lists. States with nothing left but the
/// final checks are searched once for each world. With the option `weak-equality`, states with equal worlds,
/// as many todo lists and a first list of equal length are searched once.
class FtpPlanner : public Planner {
 public:
  /// `custom_heuristic` may be empty; otherwise it is the only heuristic, and needs a flat problem without
  /// sets. UnsupportedProblemError for a problem with a feature that the planner cannot handle.
  FtpPlanner(Environment& env, model::ProblemPtr problem, HCustom::Function custom_heuristic = {});
  ~FtpPlanner() override;

  const std::string& name() const override;
  /// Searches with the heuristics of the option `ftp-heuristic`. With `weak-equality` states that differ in
  /// their open actions alone can be taken for one, which can lose all plans; so a search that finds none is
  /// repeated without.
  std::shared_ptr<Plan> solve_under(SearchGuard& guard) override;

  const FtpModel& model() const { return *model_; }
  bool may_miss_self_overlap() override;
  /// The problem without time and without what is taken away, as the heuristics see it; null where a
  /// condition fails at time 0 already.
  std::shared_ptr<const RelaxedProblem> relaxed_problem() const;

  /// As `replay_events`, on the planner's own model.
  std::shared_ptr<TimeTriggeredPlan> get_plan_from_event_list(const std::vector<const Event*>& events,
                                                              bool deordering);

 protected:
  void initialize_heuristic();
  const std::shared_ptr<EvaluationTables>& tables() const { return tables_; }
  /// The user's own; null without one.
  std::shared_ptr<Heuristic> make_custom_heuristic() const;
  // Each of them searches once and leaves the events of the plan.
  SearchOutcome search_densely(bool weak, SearchGuard& guard, std::vector<const Event*>& events);
  SearchOutcome search_plainly(bool weak, SearchGuard& guard, std::vector<const Event*>& events);

  std::vector<std::shared_ptr<Heuristic>> heuristics_;  // null: blind

 private:
  std::shared_ptr<Plan> search(bool weak, SearchGuard& guard);
  std::shared_ptr<Plan> build_plan(const std::vector<const Event*>& events);

  HCustom::Function custom_heuristic_;
  std::unique_ptr<FtpModel> model_;
  std::shared_ptr<EvaluationTables> tables_;
  std::vector<ActionId> openable_;       // ascending; those that can be reached and matter
  std::unique_ptr<DenseProblem> dense_;  // built by the first search
};

}  // namespace zorvel::tp::ftp
