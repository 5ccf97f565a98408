#include "search/frame/planner.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <string_view>

#include "core/errors.h"
#include "core/unsupported_problem.h"

namespace zorvel {

namespace {

using Names = model::TransformerChain::Names;

// Events of one order come last: the splitting compilers need a ground problem without other features.
constexpr auto chain_to_ground = std::to_array<std::string_view>(
    {"flattener", "type-hierarchy-compiler", "increase-decrease-compiler", "forall-compiler",
     "constant-promoter", "free-var-params-compiler", "temporal-uncertainty-compiler", "action-grounder",
     "initial-values-compiler", "set-compiler"});
constexpr auto chain_of_moments =
    std::to_array<std::string_view>({"always-within-compiler", "contains-compiler"});
constexpr auto chain_to_events =
    std::to_array<std::string_view>({"empty-conditions-compiler", "partial-order-compiler"});

}  // namespace

std::shared_ptr<Plan> Planner::solve() {
  SearchGuard guard(limits_);
  const std::shared_ptr<Plan> plan = solve_under(guard);
  assert(plan != nullptr || outcome_ != SearchOutcome::plan_found);
  assert(outcome_ != SearchOutcome::not_run);
  return plan;
}

bool Planner::may_have_lost_plans() const {
  return std::ranges::any_of(transformers(),
                             [](const auto& transformer) { return transformer->may_lose_plans(); });
}

void Planner::apply_chain(Names names, const model::ChainOptions& options, bool has_custom_heuristic) {
  for (const std::string_view name : names) {
    if (has_custom_heuristic) {
      // A user's own heuristic reads the fluents of the problem as it was written.
      if (name == "constant-promoter") continue;
      if (name == "flattener" && model::has_members(*problem()))
        throw UnsupportedProblemError("Custom heuristic is not supported in non-flat problems!");
      if (name == "type-hierarchy-compiler" && model::find_transformer(name)->is_needed(*problem()))
        throw UnsupportedProblemError(
            "Custom heuristic is not supported in problems with types below types!");
      if (name == "set-compiler" && model::uses_sets(*problem()))
        throw UnsupportedProblemError("Custom heuristic is not supported in problems with sets!");
    }
    chain_.apply(name, options);
  }
}

void Planner::apply_temporal_chain(bool has_custom_heuristic) {
  model::ChainOptions options;
  options.keeps_all_values = has_custom_heuristic;
  options.prune_actions = !env().configuration().get_boolean_value("disable-prune-actions");
  apply_chain(chain_to_ground, options, has_custom_heuristic);
  apply_chain(chain_of_moments, options);
  // What the problem demands at some moment is gone now; what an action demands has no transformer.
  if (model::uses_contains(*problem()))
    throw UnsupportedProblemError(
        "This version of the planner cannot handle problems with contains in actions");
  apply_chain(chain_to_events, options, has_custom_heuristic);
  require_discrete_change();
}

void Planner::apply_classical_chain(bool has_custom_heuristic) {
  model::ChainOptions options;
  options.keeps_all_values = has_custom_heuristic;
  options.steps_are_atomic = true;
  apply_chain(chain_to_ground, options, has_custom_heuristic);
  require_discrete_change();
}

void Planner::require_discrete_change() const {
  if (problem()->has_continuous_change())
    throw UnsupportedProblemError("Continuous change is not supported!");
  if (problem()->has_processes()) throw UnsupportedProblemError("Processes are not supported!");
}

}  // namespace zorvel
