#include "search/frame/planner.h"

#include <algorithm>

#include "core/errors.h"
#include "core/log.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/normal_forms.h"
#include "search/frame/search_weight.h"
#include "search/heuristics/hlandmarks.h"
#include "search/heuristics/hmax.h"
#include "search/heuristics/relaxation/classical_action.h"
#include "transformers/clashing_effects.h"
#include "transformers/constant_promoter.h"
#include "transformers/contains_compiler.h"
#include "transformers/duration_bounds.h"
#include "transformers/empty_conditions_compiler.h"
#include "transformers/features.h"
#include "transformers/flattener.h"
#include "transformers/forall_compiler.h"
#include "transformers/free_var_params_compiler.h"
#include "transformers/grounder.h"
#include "transformers/increase_decrease_compiler.h"
#include "transformers/partial_order_compiler.h"
#include "transformers/set_compiler.h"
#include "transformers/temporal_uncertainty_compiler.h"
#include "transformers/temporally_aware_relaxer.h"

namespace zorvel {

using F = model::ExpressionFactory;

namespace {

[[noreturn]] void refuse(const char* feature) {
  throw InternalError("This version of the planner cannot handle problems with ") << feature;
}

}  // namespace

std::shared_ptr<Plan> Planner::solve() {
  SearchGuard guard(limits_);
  return solve_under(guard);
}

bool Planner::may_have_lost_plans() const {
  return std::ranges::any_of(transformers_,
                             [](const auto& transformer) { return transformer->may_lose_plans(); });
}

void Planner::apply(std::shared_ptr<model::BasicTransformer> transformer) {
  transformer->do_computation();
  problem_ = transformer->new_problem();
  transformers_.push_back(std::move(transformer));
}

std::shared_ptr<Plan> Planner::map_back(std::shared_ptr<Plan> plan) const {
  for (auto transformer = transformers_.rbegin(); transformer != transformers_.rend(); ++transformer)
    plan = (*transformer)->map_back(plan);
  return plan;
}

void Planner::apply_flattener(bool has_custom_heuristic) {
  if (!model::has_members(*problem_)) return;
  if (has_custom_heuristic) throw InternalError("Custom heuristic is not supported in non-flat problems!");
  apply(std::make_shared<model::Flattener>(problem_));
}

void Planner::apply_increase_decrease_compiler() {
  if (model::IncreaseDecreaseCompiler::is_needed(*problem_))
    apply(std::make_shared<model::IncreaseDecreaseCompiler>(problem_));
}

void Planner::apply_forall_compiler() {
  if (problem_->has_forall()) apply(std::make_shared<model::ForallCompiler>(problem_));
}

void Planner::apply_constant_promoter() {
  const auto promoter = std::make_shared<model::ConstantPromoter>(problem_);
  promoter->do_computation();
  if (promoter->new_problem() == problem_) return;
  problem_ = promoter->new_problem();
  transformers_.push_back(promoter);
}

void Planner::apply_temporal_uncertainty_compiler(bool steps_are_atomic) {
  if (problem_->has_temporal_uncertainty())
    apply(std::make_shared<model::TemporalUncertaintyCompiler>(problem_, steps_are_atomic));
}

void Planner::apply_grounder(bool prune_actions) {
  // It also takes out what can never be taken.
  if (problem_->is_ground(true) && !model::has_clashing_effects(*problem_)) return;
  apply(std::make_shared<model::Grounder>(problem_, false, prune_actions));
  if (!problem_->is_ground(true)) throw InternalError("Not able to ground the problem!");
}

void Planner::apply_set_compiler(bool has_custom_heuristic) {
  if (!model::uses_sets(*problem_)) return;
  if (has_custom_heuristic) throw InternalError("Custom heuristic is not supported in problems with sets!");
  apply(std::make_shared<model::SetCompiler>(problem_));
}

void Planner::require_discrete_change() const {
  if (problem_->has_continuous_change()) throw InternalError("Continuous change is not supported!");
  if (problem_->has_processes()) throw InternalError("Processes are not supported!");
}

TpPlanner::TpPlanner(Environment& env, model::ProblemPtr problem, HCustom::Function custom_heuristic)
    : Planner(env, std::move(problem)), custom_heuristic_(std::move(custom_heuristic)) {
  apply_transformers();
  for (const auto& [name, action] : problem_->actions()) relevant_actions_.insert(action);
}

const std::string& TpPlanner::name() const {
  static const std::string name = "FTP";
  return name;
}

void TpPlanner::apply_transformers() {
  const bool is_guided_by_user = static_cast<bool>(custom_heuristic_);
  apply_flattener(is_guided_by_user);
  apply_increase_decrease_compiler();
  apply_forall_compiler();
  // A user's own heuristic reads the fluents of the problem as it was written.
  if (!is_guided_by_user) apply_constant_promoter();
  apply(std::make_shared<model::FreeVarParamsCompiler>(problem_));
  apply_temporal_uncertainty_compiler(false);
  apply_grounder(!env().configuration().get_boolean_value("disable-prune-actions"));
  apply_set_compiler(is_guided_by_user);
  if (problem_->has_contains()) apply(std::make_shared<model::ContainsCompiler>(problem_));
  if (model::uses_contains(*problem_)) refuse("contains in actions");
  apply(std::make_shared<model::EmptyConditionsCompiler>(problem_));
  apply(std::make_shared<model::PartialOrderCompiler>(problem_));
  require_discrete_change();
}

std::shared_ptr<Plan> TpPlanner::solve_under(SearchGuard& guard) {
  search_weight(env());  // refused here even where nothing is weighed
  initialize_heuristic();
  const bool weak_equality = env().configuration().get_boolean_value("weak-equality");
  std::shared_ptr<Plan> plan = _solve(weak_equality, guard);
  if (weak_equality && outcome_ == SearchOutcome::no_plan) {
    ZORVEL_LOG(INFO) << "Weak Equality detected unsolvability. Resorting to tree-search!";
    plan = _solve(false, guard);
  }
  return plan;
}

bool TpPlanner::set_heuristics(tp::SearchState& state) {
  if (heuristics_.empty()) state.set_f(state.g(), 0);
  for (std::size_t i = 0; i < heuristics_.size(); ++i) {
    if (!heuristics_[i]) {
      state.set_f(state.g(), i);
      continue;
    }
    const double h = (*heuristics_[i])(state);
    if (h == dead_end) return false;
    const double w = heuristics_[i]->weight();
    state.set_f((1 - w) * state.g() + w * h, i);
  }
  return true;
}

void TpPlanner::initialize_heuristic() {
  heuristics_.clear();
  if (custom_heuristic_) {
    heuristics_.push_back(std::make_shared<HCustom>(env(), index(), custom_heuristic_));
    return;
  }
  static const std::set<std::string> known{"blind", "hsize", "hff", "hadd", "hlandmarks", "hmax"};
  const auto& requested = env().configuration().get_vector_string_value("ftp-heuristic");
  const std::set<std::string> names(requested.begin(), requested.end());
  for (const std::string& name : names)
    if (!known.contains(name))
      env().warning_manager().warn("Unknown heuristic '" + name +
                                   "' is ignored: known are blind, hsize, hff, hadd, "
                                   "hlandmarks, hmax");
  if (names.contains("blind")) heuristics_.push_back(nullptr);
  if (names.contains("hsize")) heuristics_.push_back(std::make_shared<HSize>(env()));
  if (names.contains("hadd") || names.contains("hff") || names.contains("hlandmarks") ||
      names.contains("hmax"))
    prepare_relaxation_heuristics(names);
}

void TpPlanner::prepare_relaxation_heuristics(const std::set<std::string>& names) {
  F& factory = env().expression_factory();
  model::TemporallyAwareRelaxer relaxer(problem_);
  relaxer.do_computation();
  const model::ProblemPtr& relaxed = relaxer.new_problem();

  model::CheckContainsWalker contains_assign(env(), NodeKind::ASSIGN);
  model::ExpressionFreeVars free_vars(env());
  std::vector<Node*> goals;
  std::vector<std::shared_ptr<model::FluentImpl>> needed;  // by conditions that are not the final goal
  const auto need = [&](Node* expression) {
    for (Node* reference : model::sorted_by_id(free_vars(expression)))
      if (F::is_fluent_reference(reference)) needed.push_back(factory.get_fluent_from_reference(reference));
  };
  for (Node* expression : relaxed->expressions()) {
    if (contains_assign(expression)) continue;
    const bool timed = F::is_temporal_expression(expression);
    if (timed && factory.is_point_interval(expression->children[0]) &&
        F::is_end_anchor(expression->children[0]->children[0]))
      goals.push_back(normalized_condition(env(), expression->children[1]));
    else
      need(expression);
  }
  for (const auto& [name, action] : problem_->actions())
    for (Node* expression : action->expressions())
      if (model::reads_duration(factory, expression)) need(expression);
  for (const auto& [action, ring] : relaxer.get_new_fluent())
    for (const auto& [k, reference] : ring)
      goals.push_back(normalized_condition(env(), k == 1 ? reference : factory.make_not(reference)));

  std::vector<ClassicalAction> classical;
  for (const auto& [name, action] : relaxed->actions()) classical.emplace_back(relaxed, action);
  const ProgressFluents& progress = relaxer.get_new_fluent();
  std::vector<std::shared_ptr<model::ActionImpl>> actions;
  for (const auto& [name, action] : problem_->actions()) actions.push_back(action);

  std::vector<model::NodeSet> dnf;
  if (names.contains("hadd") || names.contains("hff") || names.contains("hlandmarks"))
    dnf = model::ToDNF(env())(factory.make_and(goals));
  if (names.contains("hadd") || names.contains("hff")) {
    std::shared_ptr<HAdd> last;
    if (names.contains("hff"))
      heuristics_.push_back(last = std::make_shared<HFF>(env(), tables(), dnf, classical, progress, actions));
    if (names.contains("hadd"))
      heuristics_.push_back(last =
                                std::make_shared<HAdd>(env(), tables(), dnf, classical, progress, actions));
    if (const auto state = _initial_state()) {
      (*last)(*state, true);
      const HAdd::ActionSet useful = last->useful_actions(needed);
      relevant_actions_.clear();
      for (const auto& [action, pieces] : relaxer.get_new_action()) {
        const bool is_useful = std::any_of(pieces.begin(), pieces.end(),
                                           [&](const auto& piece) { return useful.contains(piece); });
        const bool is_reachable = std::all_of(pieces.begin(), pieces.end(), [&](const auto& piece) {
          return last->reachable().contains(piece);
        });
        if (is_useful && is_reachable) relevant_actions_.insert(action);
      }
    }
  }
  if (names.contains("hlandmarks"))
    if (const auto state = _initial_state())
      heuristics_.push_back(
          std::make_shared<tp::HLandmarks>(env(), tables(), progress, dnf, classical, actions, *state));
  if (names.contains("hmax"))
    heuristics_.push_back(std::make_shared<HMax>(env(), index(), goals, classical, progress));
}

}  // namespace zorvel
