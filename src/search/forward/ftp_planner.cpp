#include "search/forward/ftp_planner.h"

#include <algorithm>

#include "core/errors.h"
#include "search/forward/plain/plain_search.h"

namespace zorvel::tp::ftp {

FtpPlanner::FtpPlanner(Environment& env, model::ProblemPtr problem, HCustom::Function custom_heuristic)
    : TpPlanner(env, std::move(problem), std::move(custom_heuristic)) {
  model_ = std::make_unique<FtpModel>(env, problem_, plan_epsilon(env));
  tables_ = std::make_shared<EvaluationTables>(env, model_->index());
}

FtpPlanner::~FtpPlanner() = default;

std::unique_ptr<tp::SearchState> FtpPlanner::_initial_state() {
  return Successors<double>(*model_, {}, heuristics_.size()).initial_state();
}

std::vector<ActionId> FtpPlanner::relevant_ids() const {
  std::vector<ActionId> ids;
  for (const auto& action : relevant_actions_) ids.push_back(model_->action_id(action->name()));
  return ids;
}

std::shared_ptr<Plan> FtpPlanner::_solve(bool weak_equality) {
  const Configuration& options = env().configuration();
  std::vector<const Event*> events;
  const bool needs_plain_search = options.get_boolean_value("simultaneity") ||
                                  options.get_boolean_value("ftp-deordering") ||
                                  options.get_integer_value("ftp-diamond") >= 0;
  outcome_ =
      needs_plain_search ? search_plainly(weak_equality, events) : search_densely(weak_equality, events);
  return outcome_ == SearchOutcome::plan_found ? build_plan(events) : nullptr;
}

SearchOutcome FtpPlanner::search_plainly(bool weak, std::vector<const Event*>& events) {
  PlainSearch search(
      *model_, heuristics_.size(), [this](tp::SearchState& state) { return set_heuristics(state); },
      relevant_ids(), limits_);
  const SearchOutcome outcome = search.run(weak);
  events = search.events();
  statistics_ = search.statistics();
  return outcome;
}

SearchOutcome FtpPlanner::search_densely(bool weak, std::vector<const Event*>& events) {
  if (!dense_) dense_ = std::make_unique<DenseProblem>(*model_, tables_);
  const auto initial = Successors<double>(*model_, {}, heuristics_.size()).initial_state();
  DenseSearch search(*dense_, heuristics_, relevant_ids(), limits_);
  const SearchOutcome outcome = search.run(initial.get(), weak);
  events = search.events();
  statistics_ = search.statistics();
  return outcome;
}

std::shared_ptr<Plan> FtpPlanner::build_plan(const std::vector<const Event*>& events) {
  const Configuration& options = env().configuration();
  const bool deordering =
      options.get_boolean_value("ftp-deordering") || options.get_boolean_value("ftp-deordering-plan");
  return map_back(get_plan_from_event_list(events, deordering));
}

std::shared_ptr<TimeTriggeredPlan> FtpPlanner::get_plan_from_event_list(
    const std::vector<const Event*>& events, bool deordering) {
  // The path holds every event that was applied, so chains are not run through by themselves here.
  Successors<rational> successors(*model_, {.deordering = deordering, .simultaneity = false}, 1);
  const auto state = successors.initial_state();
  if (!state) throw TemporalNetworkIsUnsat();
  for (const Event* event : events) {
    if (event->kind == EventKind::START_ACTION) {
      if (!successors.open_in_place(*state, model_->action_id(event->action->name())))
        throw TemporalNetworkIsUnsat();
      continue;
    }
    const auto list = std::find_if(state->todo.begin(), state->todo.end(),
                                   [&](const TodoList& todo) { return todo.front().first == event; });
    if (list == state->todo.end() || !successors.apply_in_place(*state, list->front()))
      throw TemporalNetworkIsUnsat();
  }
  while (!state->todo.empty())
    if (!successors.apply_in_place(*state, state->todo.front().front())) throw TemporalNetworkIsUnsat();

  const auto schedule = state->tn.get_min_makespan_solution(successors.interpreter());
  rational plan_start(0);
  if (const auto start = schedule.find(successors.plan_start()); start != schedule.end())
    plan_start = start->second;
  auto plan = std::make_shared<TimeTriggeredPlan>(env());
  for (const auto& [instance, time] : state->tn.schedule(successors.interpreter())) {
    if (instance.first->kind != EventKind::START_ACTION) continue;
    const ActionModel& action = model_->actions()[model_->action_id(instance.first->action->name())];
    const rational end = schedule.at({action.end, instance.second + 1});
    plan->add_step(std::make_shared<TimeTriggeredStep>(time - plan_start, action.action, std::vector<Node*>(),
                                                       end - time));
  }
  return plan;
}

}  // namespace zorvel::tp::ftp
