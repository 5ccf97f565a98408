#include "state/operations.h"

#include <utility>

#include "core/errors.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/user_type.h"
#include "model/walkers/expression_simplifier.h"
#include "state/effect.h"
#include "state/evaluator.h"

namespace zorvel {

using model::ExpressionFactory;

bool check_domain(const ExpressionFactory& factory, const Node* value, const model::TypeBase& type) {
  if (!type.is_integer() && !type.is_rational()) return true;
  return model::within_bounds(type, factory.get_numeric_constant(value));
}

bool is_of_kind(Environment& env, const Node* value, const model::TypeBase& type) {
  const ExpressionFactory& factory = env.expression_factory();
  if (type.is_boolean()) return ExpressionFactory::is_boolean_constant(value);
  if (type.is_integer() || type.is_rational())
    return ExpressionFactory::is_numeric_constant(value) &&
           (type.is_rational() || factory.get_numeric_constant(value).is_integer());
  if (!type.is_user_defined()) return true;
  if (!ExpressionFactory::is_instance_reference(value)) return false;
  return &type == env.model_factory().make_object_type().get() ||
         model::is_a(*factory.get_instance_from_reference(value)->type(), type);
}

void prune_impossible_values(const ExpressionFactory& factory, model::NodeSet& values,
                             const model::TypeBase& type) {
  // What is no number stands for all values: see AllValuesEvaluator.
  std::erase_if(values, [&](const Node* value) {
    return ExpressionFactory::is_numeric_constant(value) && !check_domain(factory, value, type);
  });
}

void take_form_of(ExpressionFactory& factory, model::NodeSet& values, const model::TypeBase& type) {
  prune_impossible_values(factory, values, type);
  model::NodeSet held;
  for (Node* value : values) held.insert(model::as_value_of(factory, type, value));
  values = std::move(held);
}

namespace tp {

namespace {

/// The reference that `fluent` of the values of `arguments` is; none if an argument has no value or lies
/// outside its parameter's type.
std::optional<Node*> ground_reference(const ExpressionEvaluator& evaluate, ExpressionFactory& factory,
                                      const std::shared_ptr<model::FluentImpl>& fluent,
                                      std::span<Node* const> arguments) {
  std::vector<Node*> values;
  for (Node* argument : arguments) {
    values.push_back(evaluate(argument));
    if (!ExpressionFactory::is_value(values.back()) && model::is_undefined(factory, values.back()))
      return std::nullopt;
  }
  model::normalize_arguments(factory, fluent->parameters(), values);
  if (model::has_argument_outside(factory, fluent->parameters(), values)) return std::nullopt;
  return factory.make_fluent_reference(fluent, values);
}

/// Appends the write of one assignment to `writes`; false if the effect is impossible.
bool add_write(Environment& env, const ExpressionEvaluator& evaluate, Node* assignment,
               const StateIndex& index, std::vector<StateWrite>& writes) {
  ExpressionFactory& factory = env.expression_factory();
  const auto effect = get_effect(factory, assignment, nullptr);
  if (effect == nullptr)
    throw InternalError("Found an unknown effect kind: ") << model::print_expression{assignment};
  Node* const value = evaluate(effect->value);
  if (!ExpressionFactory::is_value(value)) {
    if (model::is_undefined(factory, value)) return false;
    throw InternalError("A constant value was expected: ") << model::print_expression{value};
  }
  if (!check_bounds(env, *effect->fluent, value)) return false;

  const auto reference = ground_reference(evaluate, factory, effect->fluent, effect->parameters);
  if (!reference) return false;
  writes.push_back({slot_of(index, *reference), model::as_value_of(factory, *effect->fluent->type(), value)});
  return true;
}

}  // namespace

bool check(Environment& env, const zorvel::SearchState& state, Node* condition, const StateIndex& index) {
  const ExpressionEvaluator evaluate(env, index, state);
  Node* const value = evaluate(condition);
  if (ExpressionFactory::is_boolean_constant(value))
    return env.expression_factory().get_boolean_constant(value);
  if (model::is_undefined(env.expression_factory(), value)) return false;
  throw InternalError("A boolean constant was expected: ") << model::print_expression{value};
}

std::optional<std::vector<StateWrite>> writes_of(Environment& env, const zorvel::SearchState& state,
                                                 Node* effect, const StateIndex& index) {
  const ExpressionEvaluator evaluate(env, index, state);
  const std::span<Node* const> assignments =
      ExpressionFactory::is_and(effect) ? effect->operands() : std::span<Node* const>(&effect, 1);
  std::vector<StateWrite> writes;
  for (Node* assignment : assignments)
    if (!add_write(env, evaluate, assignment, index, writes)) return std::nullopt;
  return writes;
}

std::optional<std::vector<StateWrite>> writes_of_simulated(Environment& env, const zorvel::SearchState& state,
                                                           const model::SimulatedEffectImpl& effect,
                                                           const std::vector<Node*>& parameters,
                                                           const StateIndex& index) {
  ExpressionFactory& factory = env.expression_factory();
  const std::vector<Node*> values = effect.function(state, index, parameters);
  if (values.size() != effect.fluents.size())
    throw InternalError("A simulated effect gave ")
        << values.size() << " values for " << effect.fluents.size() << " fluents";
  const ExpressionEvaluator evaluate(env, index, state);
  std::vector<StateWrite> writes;
  for (std::size_t i = 0; i < values.size(); ++i) {
    Node* const target = effect.fluents[i];
    if (values[i] == nullptr || !ExpressionFactory::is_value(values[i]))
      throw InternalError("A simulated effect gave no constant value for ")
          << model::print_expression{target};
    const auto fluent = factory.get_fluent_from_reference(target);
    if (!is_of_kind(env, values[i], *fluent->type()))
      throw InternalError("A simulated effect gave ")
          << model::print_expression{values[i]} << " for " << model::print_expression{target}
          << ", which is of another type";
    if (!check_bounds(env, *fluent, values[i])) return std::nullopt;
    const auto reference = ground_reference(evaluate, factory, fluent, target->operands());
    if (!reference) return std::nullopt;
    writes.push_back({slot_of(index, *reference), model::as_value_of(factory, *fluent->type(), values[i])});
  }
  return writes;
}

bool apply(Environment& env, zorvel::SearchState& state, Node* effect, const StateIndex& index) {
  const auto writes = writes_of(env, state, effect, index);
  if (!writes) return false;
  for (const StateWrite& write : *writes) state.override_value(write.slot, write.value);
  return true;
}

bool check_bounds(Environment& env, const model::FluentImpl& fluent, const Node* value) {
  return check_domain(env.expression_factory(), value, *fluent.type());
}

}  // namespace tp

}  // namespace zorvel
