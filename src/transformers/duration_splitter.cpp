#include "transformers/duration_splitter.h"

#include "core/errors.h"
#include "model/model_factory.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "plans/time_triggered_plan.h"
#include "transformers/plan_mapping.h"

namespace zorvel::model {

namespace {}  // namespace

std::shared_ptr<ActionImpl> DurationSplitter::make_version(const std::shared_ptr<ActionImpl>& action,
                                                           const Draft& draft, MetricRewriter& metrics) {
  ParameterVector parameters;
  NodeMap references;
  for (const auto& parameter : action->parameters()) {
    parameters.push_back(std::make_shared<ParameterImpl>(parameter->name(), parameter->type()));
    references[factory().make_parameter_reference(parameter)] =
        factory().make_parameter_reference(parameters.back());
  }
  const ExpressionSubstituter substitute(env(), std::move(references), {}, false);
  const NodeRewrite rewrite = [&](Node* node) { return parameters.empty() ? node : substitute(node); };
  std::vector<Node*> expressions;
  for (Node* expression : draft.expressions) expressions.push_back(rewrite(expression));
  const auto version = env().model_factory().make_action(
      names_.numbered(action->name()), action->path(), action->is_process(), parameters, expressions,
      rewrite_simulated_effects(draft.simulated_effects.value_or(action->simulated_effects()), rewrite));
  old_to_new_[action].push_back({version, rewrite(draft.constraint), draft.lead});
  if (draft.lead != rational(0)) leads_[version] = draft.lead;
  new_to_old_[version] = action;
  metrics.carry_cost(action, version, rewrite);
  return version;
}

void DurationSplitter::carry_over(const std::shared_ptr<ActionImpl>& action, MetricRewriter& metrics) {
  old_to_new_[action] = {{action, factory().make_boolean_constant(true), rational(0)}};
  new_to_old_[action] = action;
  metrics.carry_cost(action, action, [](Node* node) { return node; });
}

const std::vector<DurationSplitter::Version>& DurationSplitter::versions_of(
    const std::shared_ptr<ActionImpl>& action) const {
  const auto found = old_to_new_.find(action);
  if (found != old_to_new_.end()) return found->second;
  // An action of the problem that is in no table has no version: its durations exclude each other.
  static const std::vector<Version> none;
  const auto known = problem_->actions().find(action->name());
  if (known != problem_->actions().end() && known->second == action) return none;
  throw InternalError(unknown_to_transformer);
}

bool DurationSplitter::is_selected(const Version& version, const ActionStep& step,
                                   const rational& duration) const {
  const ParameterVector& parameters = version.action->parameters();
  if (parameters.size() != step.parameters.size())
    throw InternalError("A step of the action '") << step.action->name() << "' has " << step.parameters.size()
                                                  << " parameters in place of " << parameters.size();
  NodeMap values{{factory().make_duration_anchor(), factory().make_rational_constant(duration)}};
  for (std::size_t place = 0; place < parameters.size(); ++place)
    values[factory().make_parameter_reference(parameters[place])] = step.parameters[place];
  const ExpressionSubstituter substitute(env(), std::move(values), {}, false);
  Node* const holds = ExpressionSimplifier(env())(substitute(version.constraint));
  return ExpressionFactory::is_kind(holds, NodeKind::TRUE);
}

ActionStep DurationSplitter::map_back(const ActionStep& step) const {
  return {step.instance, find_action(new_to_old_, step.action, unknown_to_transformer), step.parameters};
}

std::shared_ptr<Plan> DurationSplitter::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "the transformer", [this](const PlannedStep& planned) {
    const auto lead = leads_.find(planned.step.action);
    return MappedStep{map_back(planned.step), planned.post_condition,
                      lead == leads_.end() ? rational(0) : -lead->second};
  });
}

std::vector<ActionStep> DurationSplitter::map_forward(const ActionStep& step) const {
  std::vector<ActionStep> result;
  for (const Version& version : versions_of(step.action))
    result.push_back({step.instance, version.action, step.parameters});
  return result;
}

std::shared_ptr<TimeTriggeredPlan> DurationSplitter::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>& plan) const {
  return map_time_triggered(plan, [this](const PlannedStep& planned) {
    const ActionStep& step = planned.step;
    const rational duration = planned.duration.value_or(rational(0));
    for (const Version& version : versions_of(step.action))
      if (is_selected(version, step, duration))
        return std::vector{MappedStep{
            {step.instance, version.action, step.parameters}, planned.post_condition, version.lead}};
    throw InternalError("No version of the action '")
        << step.action->name() << "' has the duration " << duration.str();
  });
}

}  // namespace zorvel::model
