#include "model/user_type.h"

#include <algorithm>
#include <ostream>

#include "model/action.h"
#include "model/constant.h"
#include "model/model_factory.h"

namespace zorvel::model {

UserTypeImpl::UserTypeImpl(Environment& env, std::weak_ptr<ModelFactory> factory, const std::string& name)
    : UserTypeImpl(env, std::move(factory), name, TypeCode::USER) {}

UserTypeImpl::UserTypeImpl(Environment& env, std::weak_ptr<ModelFactory> factory, const std::string& name,
                           TypeCode code)
    : EnvObject(env), TypeScope(env), TypeBase(code), factory_(std::move(factory)), name_(name) {}

UserTypeImpl::~UserTypeImpl() {
  if (const auto factory = factory_.lock()) factory->remove_user_type(this);
}

void UserTypeImpl::add_base_type(const TypePtr& type) {
  if (std::find(base_types_.begin(), base_types_.end(), type) == base_types_.end())
    base_types_.push_back(type);
}

bool UserTypeImpl::is_derived_from(const TypePtr& type, bool transitive) const {
  // A text may declare two types as parents of each other, so every type is opened once.
  std::vector<const UserTypeImpl*> open{this};
  for (std::size_t next = 0; next < open.size(); ++next) {
    for (const TypePtr& base : open[next]->base_types_) {
      if (base == type) return true;
      if (!transitive || !base->is_user_defined()) continue;
      const auto* parent = static_cast<const UserTypeImpl*>(base.get());
      if (std::find(open.begin(), open.end(), parent) == open.end()) open.push_back(parent);
    }
  }
  return false;
}

bool UserTypeImpl::has_forall() const {
  return std::any_of(actions_.begin(), actions_.end(),
                     [](const auto& entry) { return entry.second->has_forall(); }) ||
         std::any_of(user_types_.begin(), user_types_.end(),
                     [](const auto& entry) { return entry.second->has_forall(); });
}

bool UserTypeImpl::has_continuous_change() const {
  return std::any_of(actions_.begin(), actions_.end(),
                     [](const auto& entry) { return entry.second->has_continuous_change(); }) ||
         std::any_of(user_types_.begin(), user_types_.end(),
                     [](const auto& entry) { return entry.second->has_continuous_change(); });
}

void UserTypeImpl::resolve_action(const std::shared_ptr<ActionImpl>& action) {
  actions_[action->name()] = action;
}

void UserTypeImpl::resolve_fluent(const std::shared_ptr<FluentImpl>& fluent) {
  fluents_[fluent->name()] = fluent;
}

void UserTypeImpl::resolve_constant(const std::shared_ptr<ConstantImpl>& constant) {
  constants_[constant->name()] = constant;
}

void UserTypeImpl::resolve_user_type(const std::shared_ptr<UserTypeImpl>& type) {
  user_types_[type->name()] = type;
}

void UserTypeImpl::resolve_base_type(const TypePtr& old_type, const TypePtr& new_type) {
  const auto old_place = std::find(base_types_.begin(), base_types_.end(), old_type);
  if (old_place == base_types_.end() ||
      std::find(base_types_.begin(), base_types_.end(), new_type) != base_types_.end()) {
    if (old_place != base_types_.end() && old_type != new_type) base_types_.erase(old_place);
    add_base_type(new_type);
    return;
  }
  *old_place = new_type;  // in its parent's place, so that the declared order of the parents stays
}

std::ostream& operator<<(std::ostream& out, const std::shared_ptr<UserTypeImpl>& type) {
  out << "type " << type->name();
  for (const TypePtr& base : type->base_types()) out << " < " << base;
  out << " with {\n";
  type->print_scope(out);
  out << "};\n";
  for (const auto& [name, constant] : type->constants()) print_constant_values(out, *constant);
  return out;
}

UnresolvedType::UnresolvedType(Environment& env, const std::string& name)
    : EnvObject(env),
      UserTypeImpl(env, {}, name, TypeCode::UNRESOLVED),
      unresolved_name_("unresolved<" + name + ">") {}

}  // namespace zorvel::model
