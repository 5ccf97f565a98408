#include "transformers/chain.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <utility>

#include "core/errors.h"
#include "model/action.h"
#include "model/constant.h"
#include "model/user_type.h"
#include "model/walkers/expression_parts.h"
#include "plans/plan.h"
#include "transformers/always_within_compiler.h"
#include "transformers/bounder.h"
#include "transformers/clashing_effects.h"
#include "transformers/constant_promoter.h"
#include "transformers/contains_compiler.h"
#include "transformers/empty_conditions_compiler.h"
#include "transformers/flattener.h"
#include "transformers/forall_compiler.h"
#include "transformers/free_var_params_compiler.h"
#include "transformers/grounder.h"
#include "transformers/increase_decrease_compiler.h"
#include "transformers/initial_values_compiler.h"
#include "transformers/intermediate_effects_compiler.h"
#include "transformers/partial_order_compiler.h"
#include "transformers/set_compiler.h"
#include "transformers/temporal_uncertainty_compiler.h"
#include "transformers/type_hierarchy_compiler.h"
#include "transformers/user_type_fluents_compiler.h"

namespace zorvel::model {

namespace {

bool is_set_node(const Node& node) {
  switch (node.kind()) {
    case NodeKind::IN:
    case NodeKind::SUBSET:
    case NodeKind::UNION:
    case NodeKind::INTERSECTION:
    case NodeKind::DIFFERENCE:
    case NodeKind::SET_CONSTANT: return true;
    default: return false;
  }
}

bool is_contains_node(const Node& node) { return node.kind() == NodeKind::CONTAINS; }

/// Whether the test holds for a node of an expression of the problem, of a top-level action or of the value
/// of a top-level constant.
bool occurs(const ProblemInstanceImpl& problem, bool (*test)(const Node&)) {
  std::vector<const Node*> expressions(problem.expressions().begin(), problem.expressions().end());
  for (const auto& [name, action] : problem.actions())
    expressions.insert(expressions.end(), action->expressions().begin(), action->expressions().end());
  for (const auto& [name, constant] : problem.constants())
    for (const auto& [key, table] : constant->all_values())
      if (table != nullptr)
        for (const auto& [arguments, value] : table->assignments()) expressions.push_back(value);
  return any_part(std::move(expressions), [test](const Node* node) { return test(*node); });
}

bool always(const ProblemInstanceImpl&) { return true; }

// The grounder also takes out what can never be taken.
bool needs_grounder(const ProblemInstanceImpl& problem) {
  return !problem.is_ground(true) || has_clashing_effects(problem);
}

void require_ground(const ProblemInstanceImpl& problem) {
  if (!problem.is_ground(true)) throw InternalError("Not able to ground the problem!");
}

template <class T>
std::shared_ptr<BasicTransformer> make(const ProblemPtr& problem, const ChainOptions&) {
  return std::make_shared<T>(problem);
}

std::shared_ptr<BasicTransformer> make_bounder(const ProblemPtr& problem, const ChainOptions& options) {
  if (options.bounding_problem == nullptr)
    throw InvalidParameterError("The transformer 'bounder' needs a bounding problem");
  return std::make_shared<Bounder>(problem, options.bounding_problem);
}

std::shared_ptr<BasicTransformer> make_intermediate_effects_compiler(const ProblemPtr& problem,
                                                                     const ChainOptions&) {
  return std::make_shared<IntermediateEffectsCompiler>(problem, plan_epsilon(problem->env()));
}

template <bool grounds_fluents>
std::shared_ptr<BasicTransformer> make_grounder(const ProblemPtr& problem, const ChainOptions& options) {
  return std::make_shared<Grounder>(problem, grounds_fluents, options.prune_actions);
}

const auto table = std::to_array<TransformerRow>({
    {"action-grounder", &needs_grounder, &make_grounder<false>, &require_ground},
    {"always-within-compiler",
     [](const ProblemInstanceImpl& problem) { return !problem.rules().always_within.empty(); },
     &make<AlwaysWithinCompiler>},
    {"bounder", &always, &make_bounder},
    {"constant-promoter", &always, &make<ConstantPromoter>},
    {"contains-compiler", [](const ProblemInstanceImpl& problem) { return problem.has_contains(); },
     &make<ContainsCompiler>},
    {"empty-conditions-compiler", &always, &make<EmptyConditionsCompiler>},
    {"flattener", &has_members, &make<Flattener>},
    {"forall-compiler", [](const ProblemInstanceImpl& problem) { return problem.has_forall(); },
     &make<ForallCompiler>},
    {"free-var-params-compiler", &always, &make<FreeVarParamsCompiler>},
    {"full-grounder", &always, &make_grounder<true>},
    {"increase-decrease-compiler", &IncreaseDecreaseCompiler::is_needed, &make<IncreaseDecreaseCompiler>},
    {"initial-values-compiler", &InitialValuesCompiler::is_needed,
     [](const ProblemPtr& problem, const ChainOptions& options) -> std::shared_ptr<BasicTransformer> {
       return std::make_shared<InitialValuesCompiler>(problem, options.keeps_all_values);
     }},
    {"intermediate-effects-compiler", &IntermediateEffectsCompiler::is_needed,
     &make_intermediate_effects_compiler},
    {"partial-order-compiler", &always, &make<PartialOrderCompiler>},
    {"set-compiler", &uses_sets, &make<SetCompiler>},
    {"temporal-uncertainty-compiler",
     [](const ProblemInstanceImpl& problem) { return problem.has_temporal_uncertainty(); },
     [](const ProblemPtr& problem, const ChainOptions& options) -> std::shared_ptr<BasicTransformer> {
       return std::make_shared<TemporalUncertaintyCompiler>(problem, options.steps_are_atomic);
     }},
    {"type-hierarchy-compiler", &TypeHierarchyCompiler::is_needed, &make<TypeHierarchyCompiler>},
    {"uncertain-ends-compiler", &FreeVarParamsCompiler::has_nested_uncertain_end,
     [](const ProblemPtr& problem, const ChainOptions&) -> std::shared_ptr<BasicTransformer> {
       return std::make_shared<FreeVarParamsCompiler>(problem, FreeVarParamsCompiler::Scope::UNCERTAIN_ENDS);
     }},
    {"usertype-fluents-compiler", &UserTypeFluentsCompiler::is_needed, &make<UserTypeFluentsCompiler>},
});

}  // namespace

std::span<const TransformerRow> transformer_table() { return table; }

const TransformerRow* find_transformer(std::string_view name) {
  const auto row = std::ranges::find(table, name, &TransformerRow::name);
  return row == table.end() ? nullptr : &*row;
}

void TransformerChain::apply(std::string_view name, const ChainOptions& options) {
  const TransformerRow* const row = find_transformer(name);
  if (row == nullptr) throw InternalError("There is no transformer ") << name;
  if (!row->is_needed(*problem_)) return;
  std::shared_ptr<BasicTransformer> transformer = row->make(problem_, options);
  transformer->do_computation();
  assert(transformer->problem() == problem_ && transformer->new_problem() != nullptr);
  if (transformer->new_problem() == problem_) return;
  problem_ = transformer->new_problem();
  transformers_.push_back(std::move(transformer));
  if (row->check != nullptr) row->check(*problem_);
  // What it takes out is gone from its result.
  assert(row->is_needed == &always || !row->is_needed(*problem_));
}

void TransformerChain::apply(Names names, const ChainOptions& options) {
  for (const std::string_view name : names) apply(name, options);
}

std::shared_ptr<Plan> TransformerChain::map_back(std::shared_ptr<Plan> plan) const {
  for (auto transformer = transformers_.rbegin(); transformer != transformers_.rend(); ++transformer) {
    [[maybe_unused]] const std::size_t steps = plan->size();
    plan = (*transformer)->map_back(plan);
    assert(plan != nullptr);
    assert(plan->size() == steps || (plan->size() < steps && (*transformer)->drops_steps()));
  }
  return plan;
}

bool has_members(const ProblemInstanceImpl& problem) {
  return std::ranges::any_of(problem.user_types(), [](const auto& entry) {
    const UserTypeImpl& type = *entry.second;
    return !type.actions().empty() || !type.user_types().empty() || !type.fluents().empty() ||
           !type.constants().empty();
  });
}

bool uses_sets(const ProblemInstanceImpl& problem) {
  return problem.has_sets() || occurs(problem, &is_set_node);
}

bool uses_contains(const ProblemInstanceImpl& problem) { return occurs(problem, &is_contains_node); }

}  // namespace zorvel::model
