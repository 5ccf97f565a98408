#include "search/classical/tsimple/tsimple_planner.h"

#include <deque>
#include <numeric>

#include "core/errors.h"
#include "core/log.h"
#include "model/expression_factory.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/normal_forms.h"
#include "search/classical/tsimple/hmax.h"
#include "search/classical/tsimple/plan_builder.h"
#include "search/frame/search_weight.h"
#include "search/heuristics/hadd.h"
#include "search/heuristics/hlandmarks.h"
#include "transformers/free_var_params_compiler.h"

namespace zorvel::tsimple {

TSimplePlanner::TSimplePlanner(Environment& env, model::ProblemPtr problem, std::size_t width,
                               HCustom::Function custom_heuristic)
    : Planner(env, std::move(problem)), width_(width) {
  apply_transformers(static_cast<bool>(custom_heuristic));
  model_ = std::make_unique<TSimpleModel>(env, problem_);
  tables_ = std::make_shared<EvaluationTables>(env, model_->index());
  searched_actions_.resize(model_->actions().size());
  std::iota(searched_actions_.begin(), searched_actions_.end(), 0);
  initialize_heuristic(std::move(custom_heuristic));
}

const std::string& TSimplePlanner::name() const {
  static const std::string name = "TSimple";
  return name;
}

void TSimplePlanner::apply_transformers(bool is_guided_by_user) {
  apply_flattener(is_guided_by_user);
  apply_increase_decrease_compiler();
  apply_forall_compiler();
  // A user's own heuristic reads the fluents of the problem as it was written.
  if (!is_guided_by_user) apply_constant_promoter();
  apply(std::make_shared<model::FreeVarParamsCompiler>(problem_));
  apply_temporal_uncertainty_compiler(true);
  apply_grounder(true);
  apply_set_compiler(is_guided_by_user);
  require_discrete_change();
}

void TSimplePlanner::initialize_heuristic(HCustom::Function custom_heuristic) {
  if (custom_heuristic) {
    const auto custom = std::make_shared<HCustom>(env(), model_->index(), std::move(custom_heuristic));
    evaluate_ = [this, custom](const StateView& view) {
      zorvel::SearchState state = tables_->layout.unpack(view.values, 1);
      state.set_g(view.depth);
      return (*custom)(state);
    };
    heuristic_ = custom;
    return;
  }
  const std::string& name = env().configuration().get_string_value("tsimple-heuristic");
  if (name == "blind") return;
  if (name == "hadd" || name == "hff") {
    initialize_additive_heuristic(name == "hff");
  } else if (name == "hlandmarks") {
    initialize_landmarks();
  } else if (name == "hmax") {
    const auto hmax =
        std::make_shared<HMax>(env(), tables_, model_->goals(), model_->landmarks(), model_->actions());
    evaluate_ = [hmax](const StateView& view) { return hmax->evaluate(view); };
    heuristic_ = hmax;
  } else {
    throw InternalError("Heuristic not implemented!");
  }
}

std::vector<model::NodeSet> TSimplePlanner::goal_clauses() const {
  if (model_->goals().empty()) return {};
  return model::ToDNF(env())(env().expression_factory().make_and(model_->goals()));
}

/// The number of a state's reached set is what the heuristic keeps with it.
void TSimplePlanner::initialize_landmarks() {
  std::vector<ValueId> slots(tables_->layout.slots());
  tables_->layout.pack(model_->initial_state(), slots.data());
  const auto landmarks =
      std::make_shared<HLandmarks>(env(), tables_, goal_clauses(), model_->actions(), slots);
  heuristic_bits_ = 8 * sizeof(HLandmarks::SetId);
  evaluate_ = [landmarks](const StateView& view) {
    HLandmarks::SetId set = view.parent_bits.empty() ? 0 : view.parent_bits.front();
    const double estimate = landmarks->estimate(view.values, set);
    view.bits.front() = set;
    return estimate;
  };
  heuristic_ = landmarks;
}

void TSimplePlanner::initialize_additive_heuristic(bool extracts_plans) {
  model::ExpressionFactory& factory = env().expression_factory();
  const std::vector<model::NodeSet> goals = goal_clauses();
  const auto hadd = extracts_plans ? std::make_shared<HFF>(env(), tables_, goals, model_->actions())
                                   : std::make_shared<HAdd>(env(), tables_, goals, model_->actions());
  heuristic_ = hadd;
  evaluate_ = [hadd](const StateView& view) { return hadd->evaluate(view.values); };
  if (goals.empty()) return;

  // The landmarks' fluents count as goals here, lest the actions that they guide to are left out.
  model::ExpressionFreeVars free_vars(env());
  std::vector<std::shared_ptr<model::FluentImpl>> guiding;
  for (Node* landmark : model_->landmarks())
    for (Node* reference : model::sorted_by_id(free_vars(landmark)))
      guiding.push_back(factory.get_fluent_from_reference(reference));
  (*hadd)(model_->initial_state(), true);
  const HAdd::ActionSet useful = hadd->useful_actions(guiding);
  std::erase_if(searched_actions_, [&](std::uint32_t number) {
    const auto& action = model_->actions()[number].action();
    return !useful.contains(action) || !hadd->reachable().contains(action);
  });
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
  search_options.evaluate = evaluate_;
  search_options.heuristic_bits = heuristic_bits_;
  search_options.weight = heuristic_ ? heuristic_->weight() : 0.0;
  ClassicalSearch search(*model_, *tables_, searched_actions_, std::move(search_options), guard);
  outcome_ = search.run();
  statistics_ = search.statistics();
  return outcome_ == SearchOutcome::plan_found ? map_back(plan_of(search)) : nullptr;
}

std::shared_ptr<Plan> TSimplePlanner::plan_of(const ClassicalSearch& search) const {
  std::deque<SearchState> way;  // a deque, since states point to their parents
  for (const StateId id : search.path()) {
    SearchState& state = way.emplace_back(tables_->layout.unpack(search.states().values(id), 1));
    const StateInfo info = search.states().info(id);
    state.set_g(info.depth);
    if (info.parent == no_state) continue;
    state.parent = &way[way.size() - 2];
    state.last_action = model_->actions()[searched_actions_[info.action]].action();
  }
  return build_plan(*model_, way.back());
}

}  // namespace zorvel::tsimple
