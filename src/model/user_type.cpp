#include "model/user_type.h"

#include <algorithm>
#include <ostream>
#include <unordered_set>

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
  if (std::find(base_types_.begin(), base_types_.end(), type) != base_types_.end()) return true;
  if (!transitive || base_types_.empty()) return false;
  const std::vector<const UserTypeImpl*> above = lineage();
  return std::any_of(above.begin() + 1, above.end(),
                     [&](const UserTypeImpl* parent) { return parent->is_derived_from(type, false); });
}

std::vector<const UserTypeImpl*> UserTypeImpl::lineage() const {
  std::vector<const UserTypeImpl*> result{this};
  // A text may declare two types as parents of each other, so every type is opened once.
  std::unordered_set<const UserTypeImpl*> seen{this};
  for (std::size_t next = 0; next < result.size(); ++next) {
    for (const TypePtr& base : result[next]->base_types_) {
      if (!base->is_user_defined()) continue;
      const auto* parent = static_cast<const UserTypeImpl*>(base.get());
      if (seen.insert(parent).second) result.push_back(parent);
    }
  }
  return result;
}

std::shared_ptr<ActionImpl> UserTypeImpl::find_action(const std::string& name) const {
  for (const UserTypeImpl* type : lineage())
    if (const auto found = type->actions_.find(name); found != type->actions_.end()) return found->second;
  return nullptr;
}

bool is_a(const TypeBase& type, const TypeBase& wanted) {
  if (&type == &wanted) return true;
  if (!type.is_user_defined() || !wanted.is_user_defined()) return false;
  const std::vector<const UserTypeImpl*> lineage = static_cast<const UserTypeImpl&>(type).lineage();
  return std::find(lineage.begin(), lineage.end(), static_cast<const UserTypeImpl*>(&wanted)) !=
         lineage.end();
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
