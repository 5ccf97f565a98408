#include "validation/plan_form.h"

#include <sstream>
#include <unordered_map>

#include "core/errors.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/instance.h"
#include "model/problem_source.h"
#include "model/user_type.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "state/operations.h"

namespace zorvel::validation {

using model::ExpressionFactory;

namespace {

/// From each action to the user type that declares it, null at top level.
using Owners = std::unordered_map<const model::ActionImpl*, const model::UserTypeImpl*>;

void collect_owners(const model::TypeScope& scope, const model::UserTypeImpl* owner, Owners& owners) {
  for (const auto& [name, action] : scope.actions()) owners.emplace(action.get(), owner);
  for (const auto& [name, type] : scope.user_types()) collect_owners(*type, type.get(), owners);
}

bool fits(Environment& env, const Node* value, const model::TypeBase& type) {
  return is_of_kind(env, value, type) && (!ExpressionFactory::is_numeric_constant(value) ||
                                          check_domain(env.expression_factory(), value, type));
}

class StepCheck {
 public:
  StepCheck(const model::ProblemInstanceImpl& problem, const TimeTriggeredStep& step)
      : env_(problem.env()), source_(problem.source().get()), step_(step) {}

  std::string find_fault(const model::UserTypeImpl* owner) const {
    const model::ParameterVector& formal = step_.action->parameters();
    if (step_.start < rational(0)) return fault("starts before time 0");
    if (step_.has_duration && step_.duration < rational(0)) return fault("has a negative duration");
    if (owner == nullptr && step_.instance) return fault("names an object, and its action is no method");
    if (owner != nullptr && !step_.instance) return fault("names no object, and its action is a method");
    if (owner != nullptr && !model::is_a(*step_.instance->type(), *owner))
      return fault("runs on an object that is no " + owner->name());
    if (owner != nullptr && step_.instance->type()->find_action(step_.action->name()) != step_.action)
      return fault("runs on an object whose type has another '" + step_.action->name() + "'");
    if (step_.parameters.size() != formal.size())
      return fault("needs " + std::to_string(formal.size()) + " parameters");
    for (std::size_t i = 0; i < formal.size(); ++i)
      if (step_.parameters[i] == nullptr || !fits(env_, step_.parameters[i], *formal[i]->type()))
        return fault("has a parameter '" + formal[i]->name() + "' that is no " +
                     formal[i]->type()->reference_name());
    return find_stranger();
  }

  /// A condition of the step that depends on nothing that changes, and is false.
  std::string find_static_fault() const {
    const model::ExpressionSimplifier simplify(env_);
    for (Node* statement : step_.action->expressions()) {
      if (!ExpressionFactory::is_temporal_expression(statement)) continue;
      Node* const ground = with_arguments(statement->children[1]);
      if (simplify(ground)->kind() == NodeKind::FALSE)
        return fault("needs " + model::to_anml(ground) + ", which never holds");
    }
    return {};
  }

 private:
  Node* with_arguments(Node* expression) const {
    model::NodeMap values;
    for (std::size_t i = 0; i < step_.parameters.size(); ++i)
      values[env_.expression_factory().make_parameter_reference(step_.action->parameters()[i])] =
          step_.parameters[i];
    return model::ExpressionSubstituter(env_, std::move(values), {}, false)(expression);
  }

  /// A reader that has joined types says by constants of its own who is of which.
  std::string find_stranger() const {
    if (source_ == nullptr || source_->memberships.empty()) return {};
    const model::ExpressionSimplifier simplify(env_);
    for (Node* statement : step_.action->expressions()) {
      if (!ExpressionFactory::is_temporal_expression(statement)) continue;
      Node* const condition = statement->children[1];
      if (!ExpressionFactory::is_constant_reference(condition) || condition->arity != 1) continue;
      const auto type =
          source_->memberships.find(env_.expression_factory().get_constant_from_reference(condition).get());
      if (type == source_->memberships.end()) continue;
      if (simplify(with_arguments(condition))->kind() == NodeKind::FALSE)
        return fault("has a parameter '" + model::to_anml(condition->children[0]) + "' that is no " +
                     type->second);
    }
    return {};
  }

  std::string fault(const std::string& what) const { return describe_step(step_) + ' ' + what; }

  Environment& env_;
  const model::ProblemSource* source_;  // null if the problem was not read from a text
  const TimeTriggeredStep& step_;
};

}  // namespace

std::string find_malformed_step(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan,
                                const TimeTriggeredStep*& malformed) {
  malformed = nullptr;
  Owners owners;
  collect_owners(problem, nullptr, owners);
  for (const auto& [time, steps] : plan.steps())
    for (const auto& step : steps) {
      const auto owner = owners.find(step->action.get());
      if (owner == owners.end())
        throw InternalError("Found an action that is unknown to the validator: ") << step->action->name();
      std::string fault = StepCheck(problem, *step).find_fault(owner->second);
      if (fault.empty()) continue;
      malformed = step.get();
      return fault;
    }
  return {};
}

std::string find_impossible_step(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan,
                                 const TimeTriggeredStep*& impossible) {
  for (const auto& [time, steps] : plan.steps())
    for (const auto& step : steps) {
      std::string fault = StepCheck(problem, *step).find_static_fault();
      if (fault.empty()) continue;
      impossible = step.get();
      return fault;
    }
  return {};
}

std::string describe_step(const TimeTriggeredStep& step) {
  std::ostringstream text;
  text << "Step " << step.start << ": ";
  print_plan_action(text, step);
  if (step.has_duration) text << " [" << step.duration << ']';
  return text.str();
}

}  // namespace zorvel::validation
