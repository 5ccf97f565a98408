#include "search/classical/tsimple/tsimple_planner.h"

#include <algorithm>
#include <cassert>
#include <deque>
#include <numeric>

#include "core/errors.h"
#include "core/log.h"
#include "model/expression_factory.h"
#include "model/walkers/expression_free_vars.h"
#include "search/classical/tsimple/plan_builder.h"
#include "search/frame/search_weight.h"
#include "search/heuristics/heuristic_set.h"

namespace zorvel::tsimple {

TSimplePlanner::TSimplePlanner(Environment& env, model::ProblemPtr problem, std::size_t width,
                               HCustom::Function custom_heuristic)
    : Planner(env, std::move(problem)), width_(width) {
  apply_classical_chain(static_cast<bool>(custom_heuristic));
  model_ = std::make_unique<TSimpleModel>(env, this->problem());
  tables_ = std::make_shared<EvaluationTables>(env, model_->index());
  searched_actions_.resize(model_->actions().size());
  std::iota(searched_actions_.begin(), searched_actions_.end(), 0);
  initialize_heuristic(std::move(custom_heuristic));
}

const std::string& TSimplePlanner::name() const {
  static const std::string name = "TSimple";
  return name;
}

void TSimplePlanner::initialize_heuristic(HCustom::Function custom_heuristic) {
  if (custom_heuristic) {
    heuristic_ = std::make_shared<HCustom>(env(), tables_, std::move(custom_heuristic));
    return;
  }
  const std::string& name = env().configuration().get_string_value("tsimple-heuristic");
  if (find_heuristic(name, Engine::classical) == nullptr) throw InternalError("Heuristic not implemented!");
  HeuristicSet set = make_heuristics(env(), Engine::classical, {name}, [this] { return relaxed_problem(); });
  assert(set.heuristics.size() == 1);
  heuristic_ = set.heuristics.front();
  cost_of_missing_ = set.cost_of_missing;
  if (set.relevant) searched_actions_ = *std::move(set.relevant);
  assert(std::ranges::is_sorted(searched_actions_));
}

std::shared_ptr<const RelaxedProblem> TSimplePlanner::relaxed_problem() const {
  RelaxedProblem::Parts parts;
  parts.tables = tables_;
  parts.initial.resize(tables_->layout.slots());
  tables_->layout.pack(model_->initial_values(), parts.initial.data());
  parts.goals = model_->goals();
  parts.actions = model_->actions();
  parts.source_count = parts.actions.size();
  parts.sources.resize(parts.actions.size());
  std::iota(parts.sources.begin(), parts.sources.end(), 0);
  // The landmarks' fluents count as goals, lest the actions that they guide to are left out.
  model::ExpressionFreeVars free_vars(env());
  for (Node* landmark : model_->landmarks())
    for (Node* reference : model::sorted_by_id(free_vars(landmark)))
      parts.guiding.push_back(env().expression_factory().get_fluent_from_reference(reference));
  return std::make_shared<RelaxedProblem>(env(), std::move(parts));
}

std::shared_ptr<Plan> TSimplePlanner::solve_under(SearchGuard& guard) {
  const Configuration& options = env().configuration();
  ZORVEL_LOG(DEBUG) << "Start Tsimple";
  ZORVEL_LOG(DEBUG) << "Goals " << model_->goals().size();
  ZORVEL_LOG(DEBUG) << "Landmarks " << model_->landmarks().size();
  SearchOptions search_options;
  search_options.width = width_;
  search_options.serializes_goals = options.get_boolean_value("tsimple-goals-serialization");
  search_options.skips_initial_tuples =
      options.get_boolean_value("iw-disable-tuple-computation-in-initial-states");
  search_options.heuristic = heuristic_;
  search_options.cost_of_missing = cost_of_missing_;
  search_options.weight = heuristic_ ? heuristic_->weight() : 0.0;
  ClassicalSearch search(*model_, *tables_, searched_actions_, std::move(search_options), guard);
  outcome_ = search.run();
  statistics_ = search.statistics();
  return outcome_ == SearchOutcome::plan_found ? map_back(plan_of(search)) : nullptr;
}

std::shared_ptr<Plan> TSimplePlanner::plan_of(const ClassicalSearch& search) const {
  std::deque<PathState> way;  // a deque, since states point to their parents
  for (const StateId id : search.path()) {
    PathState& state = way.emplace_back(tables_->layout.unpack(search.states().values(id), 1));
    const StateInfo info = search.states().info(id);
    state.set_g(info.depth);
    assert((info.parent == no_state) == (way.size() == 1));
    if (info.parent == no_state) continue;
    state.parent = &way[way.size() - 2];
    assert(info.action < searched_actions_.size());
    state.last_action = model_->actions()[searched_actions_[info.action]].action();
  }
  return build_plan(*model_, way.back());
}

}  // namespace zorvel::tsimple
