#include "search/forward/ftp_planner.h"

#include <algorithm>
#include <cassert>
#include <numeric>

#include "core/errors.h"
#include "core/log.h"
#include "search/forward/dense/dense_search.h"
#include "search/forward/plain/ftp_successors.h"
#include "search/forward/plain/plain_search.h"
#include "search/forward/plan_replay.h"
#include "search/forward/self_overlap.h"
#include "search/frame/search_weight.h"
#include "search/heuristics/heuristic_set.h"

namespace zorvel::tp::ftp {

FtpPlanner::FtpPlanner(Environment& env, model::ProblemPtr problem, HCustom::Function custom_heuristic)
    : Planner(env, std::move(problem)), custom_heuristic_(std::move(custom_heuristic)) {
  apply_temporal_chain(static_cast<bool>(custom_heuristic_));
  model_ = std::make_unique<FtpModel>(env, this->problem(), plan_epsilon(env));
  tables_ = std::make_shared<EvaluationTables>(env, model_->index());
  openable_.resize(model_->actions().size());
  std::iota(openable_.begin(), openable_.end(), 0);
}

FtpPlanner::~FtpPlanner() = default;

const std::string& FtpPlanner::name() const {
  static const std::string name = "FTP";
  return name;
}

std::shared_ptr<Heuristic> FtpPlanner::make_custom_heuristic() const {
  return custom_heuristic_ ? std::make_shared<HCustom>(env(), tables_, custom_heuristic_) : nullptr;
}

void FtpPlanner::initialize_heuristic() {
  heuristics_.clear();
  if (auto custom = make_custom_heuristic()) {
    heuristics_.push_back(std::move(custom));
    return;
  }
  if (!Successors<double>(*model_, {}, 0).initial_world()) return;  // the search has nothing to begin with
  HeuristicSet set =
      make_heuristics(env(), Engine::temporal, env().configuration().get_vector_string_value("ftp-heuristic"),
                      [&] { return relaxed_problem(); });
  heuristics_ = std::move(set.heuristics);
  if (set.relevant) openable_ = *std::move(set.relevant);
  assert(std::ranges::is_sorted(openable_));
  assert(openable_.empty() || openable_.back() < model_->actions().size());
}

std::shared_ptr<const RelaxedProblem> FtpPlanner::relaxed_problem() const {
  const auto initial = Successors<double>(*model_, {}, 0).initial_world();
  if (!initial) return nullptr;
  std::vector<ValueId> values(tables_->layout.slots());
  tables_->layout.pack(*initial, values.data());
  return relax_time(problem(), tables_, std::move(values), model_->chain_lengths());
}

std::shared_ptr<Plan> FtpPlanner::solve_under(SearchGuard& guard) {
  search_weight(env());  // refused here even where nothing is weighed
  initialize_heuristic();
  const bool weak_equality = env().configuration().get_boolean_value("weak-equality");
  std::shared_ptr<Plan> plan = search(weak_equality, guard);
  if (weak_equality && outcome_ == SearchOutcome::no_plan) {
    ZORVEL_LOG(INFO) << "Weak Equality detected unsolvability. Resorting to tree-search!";
    // Two states that the weak comparison holds for equal may have different futures, so its end proves
    // nothing.
    plan = search(false, guard);
  }
  return plan;
}

std::shared_ptr<Plan> FtpPlanner::search(bool weak, SearchGuard& guard) {
  const Configuration& options = env().configuration();
  std::vector<const Event*> events;
  const bool needs_plain_search = options.get_boolean_value("simultaneity") ||
                                  options.get_boolean_value("ftp-deordering") ||
                                  options.get_integer_value("ftp-diamond") >= 0;
  outcome_ = needs_plain_search ? search_plainly(weak, guard, events) : search_densely(weak, guard, events);
  assert(outcome_ == SearchOutcome::plan_found || events.empty());
  return outcome_ == SearchOutcome::plan_found ? build_plan(events) : nullptr;
}

SearchOutcome FtpPlanner::search_plainly(bool weak, SearchGuard& guard, std::vector<const Event*>& events) {
  PlainSearch search(*model_, *tables_, heuristics_, openable_, guard);
  const SearchOutcome outcome = search.run(weak);
  events = search.events();
  statistics_ = search.statistics();
  return outcome;
}

SearchOutcome FtpPlanner::search_densely(bool weak, SearchGuard& guard, std::vector<const Event*>& events) {
  if (!dense_) dense_ = std::make_unique<DenseProblem>(*model_, tables_);
  const auto initial = Successors<double>(*model_, {}, heuristics_.size()).initial_world();
  DenseSearch search(*dense_, heuristics_, openable_, guard);
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
  assert(values.size() == dense_->slots());
  std::vector<char> is_used(dense_->action_count(), 0);
  for (const ActionId action : openable_) is_used[action] = 1;
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
