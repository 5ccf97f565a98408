#include "transformers/temporal_uncertainty_compiler.h"

#include <algorithm>
#include <map>
#include <unordered_map>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "plans/time_triggered_plan.h"
#include "transformers/increase_decrease_compiler.h"
#include "transformers/plan_mapping.h"
#include "transformers/problem_parts.h"
#include "transformers/static_fluents.h"
#include "transformers/timing.h"
#include "transformers/uncertain_action.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

constexpr std::string_view unknown_new_action =
    "Found an action that is unknown to the temporal uncertainty compiler!";
constexpr std::string_view unknown_old_action = "Found an action that is unknown to the compiler!";

/// `duration :in [c, c]` is a fixed duration.
Node* with_fixed_duration(F& factory, Node* statement) {
  Node* const body = F::is_temporal_expression(statement) ? statement->children[1] : statement;
  if (!F::is_in_assign(body)) return statement;
  return factory.make_assign(body->children[0], body->children[1]->children[1]);
}

}  // namespace

TemporalUncertaintyCompiler::TemporalUncertaintyCompiler(const ProblemPtr& problem, bool steps_are_atomic)
    : OneToOneTransformer(problem,
                          {unknown_new_action, unknown_old_action, "the temporal uncertainty compiler!"}),
      steps_are_atomic_(steps_are_atomic),
      shadows_(problem->env()) {}

std::string TemporalUncertaintyCompiler::get_fluent_fresh_name(const std::shared_ptr<FluentImpl>& fluent,
                                                               bool sigma) {
  const std::string name = fluent->name() + (sigma ? "_sigma" : "");
  return names_.take(name) ? name : names_.numbered(name);
}

void TemporalUncertaintyCompiler::refuse_what_cannot_be_compiled() const {
  require_flat("The compile away uncertainty phase can be only applied to flattened models!");
  for (const auto& [name, action] : problem_->actions())
    if (!action->simulated_effects().empty())
      throw UnsupportedProblemError(
          "Temporal uncertainty compiler cannot be applied to problem with simulated effects");
  if (IncreaseDecreaseCompiler::is_needed(*problem_))
    throw UnsupportedProblemError(
        "The temporal uncertainty compiler cannot be applied to problems with increases and decreases!");
}

namespace {

/// Whether a statement of the problem begins at its start.
bool is_at_start(ExpressionFactory& factory, Node* statement) {
  return !F::is_temporal_expression(statement) ||
         read_timing(factory, statement->children[0]->children[0]) == Timing{true, 0};
}

}  // namespace

void TemporalUncertaintyCompiler::make_shadow(const std::shared_ptr<FluentImpl>& fluent) {
  ParameterVector parameters;
  for (const auto& parameter : fluent->parameters())
    parameters.push_back(std::make_shared<ParameterImpl>(parameter->name(), parameter->type()));
  const std::string name = get_fluent_fresh_name(fluent, true);
  shadows_.add(fluent, env().model_factory().make_fluent(name, fluent->type(), fluent->path(), parameters));
}

void TemporalUncertaintyCompiler::do_computation() {
  if (!problem_->rules().always_within.empty())
    throw UnsupportedProblemError("'always-within' cannot be kept where the world chooses durations!");
  ZORVEL_LOG(DEBUG) << "Temporal uncertainty compiler started!";
  refuse_what_cannot_be_compiled();
  names_.reserve_all_but_actions(*problem_);
  for (const auto& [name, action] : problem_->actions()) names_.reserve(name);

  ZORVEL_LOG(DEBUG) << "--> Create the sigma fluents";
  const StaticFluents static_fluents(problem_);
  std::map<std::string, UncertainAction> uncertain_actions;
  for (const auto& [name, action] : problem_->actions())
    if (action->is_temporally_uncertain(false)) uncertain_actions.try_emplace(name, action, static_fluents);
  std::map<std::string, std::vector<Node*>> impossible_actions;
  for (const auto& [name, action] : uncertain_actions) {
    if (!action.is_impossible()) continue;
    impossible_actions.emplace(name, action.never());
    env().warning_manager().warn("No duration keeps the bounds of action '" + name +
                                 "', which can never be taken");
  }
  for (const auto& [name, statements] : impossible_actions) uncertain_actions.erase(name);
  if (steps_are_atomic_) uncertain_actions.clear();  // they were made for what they refuse
  std::unordered_map<std::shared_ptr<FluentImpl>, int> number_of_effects;  // for look-ups
  for (const auto& [name, action] : uncertain_actions)
    for (const EndEffect& effect : action.end_effects())
      if (const auto fluent = factory().get_fluent_from_reference(effect.target);
          ++number_of_effects[fluent] == 1)
        make_shadow(fluent);
  const UncertainAction::IsContested is_contested = [&](Node* reference) {
    return number_of_effects.at(factory().get_fluent_from_reference(reference)) > 1;
  };
  for (const auto& [name, action] : uncertain_actions)
    for (const auto& fluent : action.fluents_read_before_written()) shadows_.add_exclusive(fluent);

  ProblemParts parts(*problem_);
  parts.fluents.insert(parts.fluents.end(), shadows_.all_shadows().begin(), shadows_.all_shadows().end());

  for (const InitialDefault& rule : problem_->rules().initial_defaults)
    if (shadows_.has(rule.fluent))
      parts.rules.initial_defaults.push_back({shadows_.shadow_of(rule.fluent), rule.value});

  ZORVEL_LOG(DEBUG) << "--> Re-introduce the actions compiling away the temporal uncertainty";
  MetricRewriter metrics(*problem_);
  const NodeRewrite unchanged = [](Node* node) { return node; };
  for (const auto& [name, action] : problem_->actions()) {
    std::vector<Node*> expressions;
    if (const auto uncertain = uncertain_actions.find(name); uncertain != uncertain_actions.end())
      expressions = uncertain->second.compile(shadows_, is_contested);
    else if (const auto impossible = impossible_actions.find(name); impossible != impossible_actions.end())
      expressions = impossible->second;
    else
      for (Node* statement : action->expressions())
        for (Node* part : shadows_.expand(with_fixed_duration(factory(), statement), false))
          expressions.push_back(part);
    const auto compiled = env().model_factory().make_action(name, action->path(), action->is_process(),
                                                            action->parameters(), expressions, {});
    parts.actions.push_back(compiled);
    pair(action, compiled);
    metrics.carry_cost(action, compiled, unchanged);
  }

  ZORVEL_LOG(DEBUG) << "--> Re-introduce all the expressions";
  // Only `contains` statements have labels, and each of them becomes one statement.
  parts.expressions.clear();
  parts.rewrite_statements([&](Node* statement) { return shadows_.expand(statement, true).front(); });
  for (Node* statement : problem_->expressions()) {
    for (Node* part : shadows_.expand(statement, is_at_start(factory(), statement)))
      parts.expressions.push_back(part);
  }
  parts.metrics = metrics.metrics(unchanged);
  new_problem_ = parts.make(env());
  is_cautious_ = has_uncertain_knot();
  ZORVEL_LOG(DEBUG) << "Temporal uncertainty compiling completed!";
}

/// Whether the new problem may ask for more than the input does.
bool TemporalUncertaintyCompiler::has_uncertain_knot() const {
  std::unordered_map<std::shared_ptr<FluentImpl>, int> effects;  // for look-ups
  const auto is_knot = [&](Node* statement) {
    Node* const body = F::is_temporal_expression(statement) ? statement->children[1] : statement;
    return std::ranges::any_of(operands_of_conjunction(body), [&](Node* operand) {
      if (!F::is_assign(operand)) return shadows_.shadows_in(operand).size() > 1;
      if (!F::is_fluent_reference(operand->children[0])) return false;  // the duration
      const auto target = factory().get_fluent_from_reference(operand->children[0]);
      return !shadows_.shadows_in(operand->children[1]).empty() ||
             (shadows_.has(target) && ++effects[target] > 1);
    });
  };
  for (const auto& [name, action] : problem_->actions())
    if (std::ranges::any_of(action->expressions(), is_knot)) return true;
  return std::ranges::any_of(problem_->expressions(), [&](Node* statement) {
    return !is_at_start(factory(), statement) && is_knot(statement);
  });
}

Node* TemporalUncertaintyCompiler::condition_back(Node* post_condition) const {
  const ExpressionFreeVars references(env());
  const auto reads_shadow = [&](Node* expression) {
    return std::ranges::any_of(references(expression),
                               [this](Node* node) { return shadows_.is_shadow(node); });
  };
  if (!reads_shadow(post_condition)) return post_condition;
  std::vector<Node*> kept;
  for (Node* operand : operands_of_conjunction(post_condition))
    if (!reads_shadow(operand)) kept.push_back(operand);
  return factory().make_and(kept);
}

}  // namespace zorvel::model
