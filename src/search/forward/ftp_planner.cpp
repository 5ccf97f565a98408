#include "search/forward/ftp_planner.h"

#include "search/forward/plain/plain_search.h"
#include "search/forward/plan_replay.h"
#include "search/forward/self_overlap.h"

namespace zorvel::tp::ftp {

FtpPlanner::FtpPlanner(Environment& env, model::ProblemPtr problem, HCustom::Function custom_heuristic)
    : TpPlanner(env, std::move(problem), std::move(custom_heuristic)) {
  model_ = std::make_unique<FtpModel>(env, problem_, plan_epsilon(env));
  tables_ = std::make_shared<EvaluationTables>(env, model_->index());
}

FtpPlanner::~FtpPlanner() = default;

std::unique_ptr<tp::SearchState> FtpPlanner::_initial_state() {
  return Successors<double>(*model_, {}, heuristics_.size()).initial_world();
}

std::vector<ActionId> FtpPlanner::relevant_ids() const {
  std::vector<ActionId> ids;
  for (const auto& action : relevant_actions_) ids.push_back(model_->action_id(action->name()));
  return ids;
}

std::shared_ptr<Plan> FtpPlanner::_solve(bool weak_equality, SearchGuard& guard) {
  const Configuration& options = env().configuration();
  std::vector<const Event*> events;
  const bool needs_plain_search = options.get_boolean_value("simultaneity") ||
                                  options.get_boolean_value("ftp-deordering") ||
                                  options.get_integer_value("ftp-diamond") >= 0;
  outcome_ = needs_plain_search ? search_plainly(weak_equality, guard, events)
                                : search_densely(weak_equality, guard, events);
  return outcome_ == SearchOutcome::plan_found ? build_plan(events) : nullptr;
}

SearchOutcome FtpPlanner::search_plainly(bool weak, SearchGuard& guard, std::vector<const Event*>& events) {
  PlainSearch search(
      *model_, heuristics_.size(), [this](tp::SearchState& state) { return set_heuristics(state); },
      relevant_ids(), guard);
  const SearchOutcome outcome = search.run(weak);
  events = search.events();
  statistics_ = search.statistics();
  return outcome;
}

SearchOutcome FtpPlanner::search_densely(bool weak, SearchGuard& guard, std::vector<const Event*>& events) {
  if (!dense_) dense_ = std::make_unique<DenseProblem>(*model_, tables_);
  const auto initial = Successors<double>(*model_, {}, heuristics_.size()).initial_world();
  DenseSearch search(*dense_, heuristics_, relevant_ids(), guard);
  const SearchOutcome outcome = search.run(initial.get(), weak);
  events = search.events();
  statistics_ = search.statistics();
  return outcome;
}

bool FtpPlanner::may_miss_self_overlap() {
  if (!dense_) dense_ = std::make_unique<DenseProblem>(*model_, tables_);
  const auto initial = Successors<double>(*model_, {}, 1).initial_world();
  if (!initial) return false;  // a condition at time 0 fails
  std::vector<ValueId> values;
  for (Node* node : initial->assignments()) values.push_back(dense_->values().id_of(node));
  std::vector<char> is_used(dense_->action_count(), 0);
  for (const ActionId action : relevant_ids()) is_used[action] = 1;
  return may_need_self_overlap(*dense_, values.data(), [&](ActionId action) { return is_used[action] != 0; });
}

std::shared_ptr<Plan> FtpPlanner::build_plan(const std::vector<const Event*>& events) {
  const Configuration& options = env().configuration();
  const bool deordering =
      options.get_boolean_value("ftp-deordering") || options.get_boolean_value("ftp-deordering-plan");
  return map_back(get_plan_from_event_list(events, deordering));
}

std::shared_ptr<TimeTriggeredPlan> FtpPlanner::get_plan_from_event_list(
    const std::vector<const Event*>& events, bool deordering) {
  return replay_events(*model_, events, deordering);
}

}  // namespace zorvel::tp::ftp
