#include "validation/fluent_slots.h"

#include <cassert>

namespace zorvel::validation {

namespace {

/// A whole number as an integer where the type is one.
Value as_integer_of(const model::TypeBase& type, const Value& value) {
  if (value.kind != ValueKind::RATIONAL || !type.is_integer() || !value.number.is_integer()) return value;
  return Value::integer_number(value.number);
}

}  // namespace

FluentId FluentSlots::fluent(const std::shared_ptr<model::FluentImpl>& fluent) {
  const auto [entry, is_new] = ids_.try_emplace(fluent.get(), static_cast<FluentId>(fluents_.size()));
  if (is_new) {
    fluents_.push_back({fluent, fluent->type(), {}, {}, {}});
    for (const auto& parameter : fluent->parameters())
      fluents_.back().parameter_types.push_back(parameter->type());
  }
  return entry->second;
}

Slot FluentSlots::slot(FluentId fluent, const std::vector<Node*>& arguments) {
  assert(arguments.size() == info(fluent).parameter_types.size());
  auto& slots = fluents_[static_cast<std::size_t>(fluent)].slots;
  const auto [entry, is_new] = slots.try_emplace(arguments, static_cast<Slot>(owners_.size()));
  if (is_new) owners_.push_back({fluent, &entry->first});
  return entry->second;
}

void FluentSlots::set_default(FluentId fluent, const Value& value) {
  fluents_[static_cast<std::size_t>(fluent)].initial = value;
}

void FluentSlots::extend(std::vector<Value>& world) const {
  for (std::size_t slot = world.size(); slot < size(); ++slot)
    world.push_back(initial_value(static_cast<Slot>(slot)));
}

Node* FluentSlots::as_argument(FluentId fluent, std::size_t position, const Value& value) const {
  assert(value.is_known());
  if (value.kind == ValueKind::OBJECT) return value.object;
  const model::TypeBase& type = *info(fluent).parameter_types.at(position);
  if (value.is_number() &&
      (!model::within_bounds(type, value.number) || (type.is_integer() && !value.number.is_integer())))
    return nullptr;
  return as_integer_of(type, value).node(env().expression_factory());
}

Value FluentSlots::as_content(FluentId fluent, const Value& value) const {
  const model::TypeBase& type = *info(fluent).type;
  // A quotient of integers is cut, and that of a number that is no integer is not.
  if (value.kind == ValueKind::INTEGER && type.is_rational()) return Value::rational_number(value.number);
  return as_integer_of(type, value);
}

bool FluentSlots::within_bounds(FluentId fluent, const Value& value) const {
  return !value.is_number() || model::within_bounds(*info(fluent).type, value.number);
}

Node* FluentSlots::reference(Slot slot) const {
  assert(index(slot) < owners_.size());
  const Owner& owner = owners_[index(slot)];
  return env().expression_factory().make_fluent_reference(info(owner.fluent).fluent, *owner.arguments);
}

}  // namespace zorvel::validation
