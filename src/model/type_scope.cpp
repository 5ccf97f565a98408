#include "model/type_scope.h"

#include <algorithm>
#include <ostream>

#include "core/errors.h"
#include "model/action.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/user_type.h"

namespace zorvel::model {

namespace {

void require_new_name(const TypeScope& scope, const std::string& name) {
  if (scope.has_name(name)) throw RedefinitionError("Name '") << name << "' already defined in this scope";
}

/// Whether `test` holds of the second part of some entry.
template <class Map, class Test>
bool any_value(const Map& map, Test test) {
  return std::any_of(map.begin(), map.end(), [&](const auto& entry) { return test(*entry.second); });
}

bool has_set_parameter(const ActionImpl& action) {
  return std::any_of(action.parameters().begin(), action.parameters().end(),
                     [](const auto& parameter) { return parameter->type()->is_set(); });
}

}  // namespace

bool TypeScope::has_name(const std::string& name) const {
  return has_action(name) || has_user_type(name) || has_fluent(name) || has_constant(name);
}

void TypeScope::add_action(const std::shared_ptr<ActionImpl>& action) {
  require_new_name(*this, action->name());
  actions_.emplace(action->name(), action);
}

void TypeScope::add_user_type(const std::shared_ptr<UserTypeImpl>& type) {
  require_new_name(*this, type->name());
  user_types_.emplace(type->name(), type);
}

void TypeScope::add_fluent(const std::shared_ptr<FluentImpl>& fluent) {
  require_new_name(*this, fluent->name());
  fluents_.emplace(fluent->name(), fluent);
}

void TypeScope::add_constant(const std::shared_ptr<ConstantImpl>& constant) {
  require_new_name(*this, constant->name());
  constants_.emplace(constant->name(), constant);
}

void TypeScope::add_set_type(const std::shared_ptr<SetTypeBase>& type) {
  if (!set_types_.emplace(type->type(), type).second)
    throw RedefinitionError("Set type '") << type->reference_name() << "' already defined in this scope";
}

bool TypeScope::has_temporal_uncertainty() const {
  return any_value(actions_, [](const ActionImpl& action) { return action.is_temporally_uncertain(true); }) ||
         any_value(user_types_, [](const UserTypeImpl& type) { return type.has_temporal_uncertainty(); });
}

bool TypeScope::has_intermediate_effects() const {
  return any_value(actions_, [](const ActionImpl& action) { return action.has_intermediate_effects(); }) ||
         any_value(user_types_, [](const UserTypeImpl& type) { return type.has_intermediate_effects(); });
}

bool TypeScope::has_processes() const {
  return any_value(actions_, [](const ActionImpl& action) { return action.is_process(); }) ||
         any_value(user_types_, [](const UserTypeImpl& type) { return type.has_processes(); });
}

bool TypeScope::is_ground(bool actions_only) const {
  const auto has_parameters = [](const auto& object) { return object.has_parameters(); };
  if (any_value(actions_, has_parameters)) return false;
  if (!actions_only && (any_value(fluents_, has_parameters) || any_value(constants_, has_parameters)))
    return false;
  return !any_value(user_types_,
                    [actions_only](const UserTypeImpl& type) { return !type.is_ground(actions_only); });
}

bool TypeScope::has_sets() const {
  const auto is_set = [](const auto& object) { return object.type()->is_set(); };
  return any_value(fluents_, is_set) || any_value(constants_, is_set) ||
         any_value(actions_, has_set_parameter) ||
         any_value(user_types_, [](const UserTypeImpl& type) { return type.has_sets(); });
}

void TypeScope::print_scope(std::ostream& out) const {
  for (const auto& [name, constant] : constants_)
    out << "constant " << constant->type() << ' ' << *constant << ";\n";
  if (!fluents_.empty()) out << '\n';
  for (const auto& [name, fluent] : fluents_) out << "fluent " << fluent->type() << ' ' << *fluent << ";\n";
  if (!user_types_.empty()) out << '\n';
  for (const auto& [name, type] : user_types_) out << type << '\n';
  if (!actions_.empty()) out << '\n';
  for (const auto& [name, action] : actions_) out << action << '\n';
}

}  // namespace zorvel::model
