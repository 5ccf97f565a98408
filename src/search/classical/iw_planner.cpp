#include "search/classical/iw_planner.h"

#include <chrono>

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

std::shared_ptr<Plan> IWPlanner::solve() {
  width_ = 0;
  expanded_ = 0;
  const std::shared_ptr<Plan> plan = search();
  return plan ? map_back(plan) : nullptr;
}

std::shared_ptr<Plan> IWPlanner::search() {
  const auto started = std::chrono::steady_clock::now();
  outcome_ = SearchOutcome::incomplete;
  const std::size_t widest = unpromoted_->all_ground_fluents(false).size();
  while (outcome_ == SearchOutcome::incomplete && width_ < widest) {
    ++width_;
    ZORVEL_LOG(INFO) << "Start IW(" << width_ << ")";
    tsimple::TSimplePlanner planner(env(), problem_, width_);
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    SearchLimits left = limits_;
    if (limits_.expansions != 0) left.expansions = limits_.expansions - expanded_;
    if (limits_.seconds > 0) left.seconds = limits_.seconds - elapsed;
    if (limits_.on_progress)
      left.on_progress = [this, elapsed](SearchProgress progress) {
        progress.expanded += expanded_;
        progress.seconds += elapsed;
        limits_.on_progress(progress);
      };
    // No rest of a limit is a limit of 0, which would be none.
    if (limits_.expansions != 0 && left.expansions == 0) outcome_ = SearchOutcome::expansion_limit;
    if (limits_.seconds > 0 && left.seconds <= 0) outcome_ = SearchOutcome::time_limit;
    if (outcome_ != SearchOutcome::incomplete) break;
    planner.set_limits(std::move(left));
    const std::shared_ptr<Plan> plan = planner.solve();
    outcome_ = planner.outcome();
    expanded_ += planner.statistics().expanded;
    if (plan) return plan;
  }
  return nullptr;
}

}  // namespace zorvel::iw
