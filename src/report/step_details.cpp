#include "report/step_details.h"

#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/expression_parts.h"
#include "model/walkers/expression_substituter.h"

namespace zorvel::report {

using F = model::ExpressionFactory;

namespace {

bool is_effect(const Node* statement) {
  return model::any_part(statement, [](const Node* node) {
    return F::is_assign(node) || F::is_increase(node) || F::is_decrease(node) || F::is_in_assign(node);
  });
}
bool is_about_duration(const Node* statement) {
  return model::any_part(statement, [](const Node* node) { return F::is_duration_anchor(node); });
}

model::NodeMap values_of(const model::ActionImpl& action, const std::vector<Node*>& values) {
  model::NodeMap map;
  const model::ParameterVector& parameters = action.parameters();
  for (std::size_t i = 0; i < parameters.size() && i < values.size(); ++i)
    map[action.env().expression_factory().make_parameter_reference(parameters[i])] = values[i];
  return map;
}

}  // namespace

bool is_hidden(const Node* expression, Environment& env) {
  const F& factory = env.expression_factory();
  return model::any_part(expression, [&](const Node* node) {
    if (F::is_fluent_reference(node))
      return factory.get_fluent_from_reference(node)->name().starts_with("__");
    return F::is_constant_reference(node) &&
           factory.get_constant_from_reference(node)->name().starts_with("__");
  });
}

Node* condition_in(Node* statement) {
  if (is_effect(statement) || is_about_duration(statement)) return nullptr;
  return F::is_temporal_expression(statement) ? statement->children[1] : statement;
}

Node* with_arguments(const model::ActionImpl& action, const std::vector<Node*>& values, Node* expression) {
  return model::ExpressionSubstituter(action.env(), values_of(action, values), {}, false)(expression);
}

StepDetails details_of(const TimeTriggeredStep& step, const UserWords& words) {
  Environment& env = step.action->env();
  const model::ExpressionSubstituter substitute(env, values_of(*step.action, step.parameters), {}, false);
  StepDetails details;
  for (Node* statement : step.action->expressions()) {
    if (is_about_duration(statement) || is_hidden(statement, env)) continue;
    (is_effect(statement) ? details.effects : details.conditions)
        .push_back(words.text(substitute(statement)));
  }
  return details;
}

}  // namespace zorvel::report
