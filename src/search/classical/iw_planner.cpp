#include "search/classical/iw_planner.h"

#include "core/log.h"
#include "search/classical/tsimple/tsimple_planner.h"

namespace zorvel::iw {

IWPlanner::IWPlanner(Environment& env, model::ProblemPtr problem) : Planner(env, std::move(problem)) {
  apply_flattener(false);
  apply_increase_decrease_compiler();
  apply_forall_compiler();
  unpromoted_ = problem_;
  apply_constant_promoter();
  apply_temporal_uncertainty_compiler(true);
  apply_grounder(true);
  require_discrete_change();
}

const std::string& IWPlanner::name() const {
  static const std::string name = "IW";
  return name;
}

std::shared_ptr<Plan> IWPlanner::solve_under(SearchGuard& guard) {
  width_ = 0;
  expanded_ = 0;
  const std::shared_ptr<Plan> plan = search(guard);
  return plan ? map_back(plan) : nullptr;
}

std::shared_ptr<Plan> IWPlanner::search(SearchGuard& guard) {
  outcome_ = SearchOutcome::incomplete;
  const std::size_t widest = unpromoted_->all_ground_fluents(false).size();
  while (outcome_ == SearchOutcome::incomplete && width_ < widest) {
    // Narrow searches of a large problem are mostly set-up.
    if (guard.must_stop_now()) {
      outcome_ = guard.outcome();
      break;
    }
    ++width_;
    ZORVEL_LOG(INFO) << "Start IW(" << width_ << ")";
    tsimple::TSimplePlanner planner(env(), problem_, width_);
    const std::shared_ptr<Plan> plan = planner.solve_under(guard);
    outcome_ = planner.outcome();
    expanded_ += planner.statistics().expanded;
    if (plan) return plan;
  }
  return nullptr;
}

}  // namespace zorvel::iw
