#include "transformers/grounder.h"

#include <algorithm>
#include <cassert>
#include <functional>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/hash_mix.h"
#include "model/model_factory.h"
#include "model/tuples.h"
#include "model/walkers/expression_simplifier.h"
#include "plans/plan.h"
#include "plans/time_triggered_plan.h"
#include "transformers/clashing_effects.h"
#include "transformers/finite_domain.h"
#include "transformers/grounding/action_grounder.h"
#include "transformers/grounding/ground_names.h"
#include "transformers/plan_mapping.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

namespace {

constexpr const char* unknown_to_step = "Found an action that is unknown to the transformer!";
constexpr const char* unknown_to_plan = "Found an action that is unknown to the grounder!";

/// The parameters of finite types, with their values, and the others.
struct SplitParameters {
  SplitParameters(const ProblemInstanceImpl& problem, const ParameterVector& parameters) {
    for (const auto& parameter : parameters) {
      if (parameter->type()->is_finite_domain())
        domains.push_back(finite_domain_values(problem.env(), problem.instances(), parameter->type()));
      else
        infinite.push_back(parameter);
    }
  }
  std::vector<std::vector<Node*>> domains;
  ParameterVector infinite;
};

}  // namespace

std::size_t Grounder::KeyHash::operator()(const Key& key) const {
  return mix_hash(std::hash<const ActionImpl*>()(key.first), NodeVectorHash()(key.second));
}

Grounder::Grounder(const ProblemPtr& problem, bool full, bool prune_actions)
    : BasicTransformer(problem), full_(full), prune_actions_(prune_actions) {}

Grounder::~Grounder() = default;

std::vector<std::shared_ptr<FluentImpl>> Grounder::ground_fluents() {
  std::vector<std::shared_ptr<FluentImpl>> result;
  for (const auto& [name, fluent] : problem_->fluents()) {
    const SplitParameters split(*problem_, fluent->parameters());
    if (split.domains.empty()) {
      result.push_back(fluent);
      continue;
    }
    GroundNames names(*problem_, name);
    for_each_tuple(
        split.domains, TurnsFastest::FIRST, [&, &fluent = fluent](const std::vector<Node*>& values) {
          ParameterVector parameters;
          for (const auto& parameter : split.infinite)
            parameters.push_back(std::make_shared<ParameterImpl>(parameter->name(), parameter->type()));
          const auto ground =
              env().model_factory().make_fluent(names.next(), fluent->type(), fluent->path(), parameters);
          assert(values.size() == split.domains.size());
          ground_objects_[{fluent.get(), values}] = factory().make_fluent_reference(ground, {});
          old_fluents_[ground.get()] = fluent;
          result.push_back(ground);
        });
  }
  return result;
}

std::vector<std::shared_ptr<ConstantImpl>> Grounder::ground_constants() {
  const bool skips_undefined = env().configuration().get_boolean_value("pddl");
  std::vector<std::shared_ptr<ConstantImpl>> result;
  for (const auto& [name, constant] : problem_->constants()) {
    if (!constant->has_parameters()) {
      result.push_back(constant);
      continue;
    }
    const SplitParameters split(*problem_, constant->parameters());
    if (!split.infinite.empty())
      throw UnsupportedProblemError("Ground all not supported for Constant with infinite formal parameters!");
    const auto table = constant->value();
    GroundNames names(*problem_, name);
    for_each_tuple(
        split.domains, TurnsFastest::FIRST, [&, &constant = constant](const std::vector<Node*>& values) {
          Node* const value = table == nullptr ? nullptr : table->assignment(values);
          // The fixed part of PDDL leaves out what nothing asks for; in ANML a hole in a table is a mistake.
          if (value == nullptr) {
            if (skips_undefined) return;
            throw InternalError("Constants values are not fully defined!");
          }
          const auto ground =
              env().model_factory().make_constant(names.next(), constant->type(), constant->path(), {},
                                                  {{"", std::make_shared<FunctionValueImpl>(value)}});
          ground_objects_[{constant.get(), values}] = factory().make_constant_reference(ground, {});
          result.push_back(ground);
        });
  }
  return result;
}

void Grounder::do_computation() {
  require_flat("The grounding phase can be only applied to flattened models!");
  ZORVEL_LOG(DEBUG) << "Grounder started!";
  ProblemParts parts(*problem_);
  ZORVEL_LOG(DEBUG) << "--> Re-introduce the top-level instances";
  // Before the actions, whose statements name what becomes of the fluents and constants.
  if (full_) {
    if (!parts.rules.initial_defaults.empty())
      throw UnsupportedProblemError(
          "Grounding on fluents needs all values at the start: run 'initial-values-compiler' before it");
    ZORVEL_LOG(DEBUG) << "--> Ground the top-level fluents and constants";
    parts.fluents = ground_fluents();
    parts.constants = ground_constants();
  } else {
    ZORVEL_LOG(DEBUG) << "--> Re-introduce the top-level fluents and constants";
  }
  const FunApplySubstituter functions(env(), ground_objects_, full_);
  const ExpressionSimplifier simplify(env());
  const NodeRewrite rewrite = [&](Node* expression) { return simplify(functions(expression)); };
  ZORVEL_LOG(DEBUG) << "--> Re-introduce the user types";
  MetricRewriter metrics(*problem_);

  ZORVEL_LOG(DEBUG) << "--> Ground the actions";
  ActionGrounder grounder(*problem_, full_ ? &functions : nullptr, prune_actions_);
  const auto enter = [&](const std::shared_ptr<ActionImpl>& ground, const std::shared_ptr<ActionImpl>& old,
                         const std::vector<Node*>& values) {
    assert(!origins_.contains(ground.get()));  // two origins would leave its steps without one to go back to
    origins_[ground.get()] = {old, values};
    ground_actions_[{old.get(), values}] = ground;
    parts.actions.push_back(ground);
  };
  for (const auto& [name, action] : problem_->actions()) {
    if (full_ && !action->simulated_effects().empty())
      throw UnsupportedProblemError(
          "Grounding on fluents cannot be applied to problem with simulated effects");
    if (!action->has_parameters() && has_clashing_effects(*action)) {
      env().warning_manager().warn("Action '" + name +
                                   "' writes one fluent twice at one moment and can never be taken");
      continue;
    }
    if (!action->has_parameters()) {
      std::vector<Node*> statements;
      for (Node* statement : action->expressions()) statements.push_back(rewrite(statement));
      const auto ground =
          env().model_factory().make_action(name, action->path(), action->is_process(), {}, statements,
                                            rewrite_simulated_effects(action->simulated_effects(), rewrite));
      enter(ground, action, {});
      metrics.carry_cost(action, ground, rewrite);
      continue;
    }
    GroundNames names(*problem_, name);
    const auto counters =
        grounder.ground(*action, [&, &action = action](const ActionGrounder::GroundAction& kept) {
          const auto ground =
              env().model_factory().make_action(names.next(), action->path(), action->is_process(),
                                                kept.parameters, kept.statements, kept.simulated_effects);
          enter(ground, action, kept.values);
          metrics.carry_cost(action, ground, [&](Node* cost) { return grounder.rewrite(cost); });
          ++counters_.kept;
        });
    counters_.combinations += counters.combinations;
    counters_.tries += counters.tries;
    counters_.built += counters.built;
  }

  ZORVEL_LOG(DEBUG) << "--> Re-introduce all the expressions";
  parts.rewrite_statements(rewrite);
  parts.metrics = metrics.metrics([&](Node* expression) { return functions(expression); });
  new_problem_ = parts.make(env());
  ZORVEL_LOG(DEBUG) << "Grounding completed! (" << parts.actions.size() << " actions resulting)";
}

std::shared_ptr<FluentImpl> Grounder::old_fluent(const std::shared_ptr<FluentImpl>& ground_fluent) const {
  const auto found = old_fluents_.find(ground_fluent.get());
  return found == old_fluents_.end() ? ground_fluent : found->second;
}

ActionStep Grounder::map_step_back(const ActionStep& step, const char* unknown_action) const {
  const auto found = origins_.find(step.action.get());
  if (found == origins_.end()) throw InternalError(unknown_action);
  const auto& [action, values] = found->second;
  if (values.size() + step.parameters.size() != action->parameters().size())
    throw InternalError("Missing parameters initialization in grounder map-back!");
  std::vector<Node*> parameters;
  auto value = values.begin();
  auto given = step.parameters.begin();
  for (const auto& parameter : action->parameters()) {
    auto& next = parameter->type()->is_finite_domain() ? value : given;
    parameters.push_back(*next++);
  }
  assert(value == values.end() && given == step.parameters.end());
  return {step.instance, action, std::move(parameters)};
}

std::shared_ptr<ActionImpl> Grounder::find_ground_action(const ActionStep& step) const {
  if (step.action == nullptr) return nullptr;
  const ParameterVector& declared = step.action->parameters();
  if (!std::all_of(declared.begin(), declared.end(),
                   [](const auto& parameter) { return parameter->type()->is_finite_domain(); }))
    throw InternalError("Grounder map forward works only with action with only finite parameters!");
  std::vector<Node*> values = step.parameters;
  normalize_arguments(factory(), declared, values);
  const auto found = ground_actions_.find({step.action.get(), values});
  return found == ground_actions_.end() ? nullptr : found->second;
}

ActionStep Grounder::map_step_forward(const ActionStep& step, const char* unknown_action) const {
  const std::shared_ptr<ActionImpl> ground = find_ground_action(step);
  if (ground == nullptr) throw InternalError(unknown_action);
  return {step.instance, ground, {}};
}

ActionStep Grounder::map_back(const ActionStep& step) const { return map_step_back(step, unknown_to_step); }

std::vector<ActionStep> Grounder::map_forward(const ActionStep& step) const {
  return {map_step_forward(step, unknown_to_step)};
}

std::shared_ptr<Plan> Grounder::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "grounder", [this](const PlannedStep& step) -> std::optional<MappedStep> {
    return MappedStep{map_step_back(step.step, unknown_to_plan), step.post_condition};
  });
}

std::shared_ptr<TimeTriggeredPlan> Grounder::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>& plan) const {
  return map_time_triggered(plan, [this](const PlannedStep& step) -> std::vector<MappedStep> {
    return {{map_step_forward(step.step, unknown_to_plan), step.post_condition}};
  });
}

}  // namespace zorvel::model
