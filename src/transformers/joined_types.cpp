#include "transformers/joined_types.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/walkers/expression_parts.h"

namespace zorvel::model {

JoinedTypes::JoinedTypes(const ProblemInstanceImpl& problem) {
  for (const auto& [name, type] : problem.user_types()) {
    add_type(type);
    types_[numbers_.at(type.get())].is_declared = true;
  }
  for (const auto& [name, instance] : problem.instances()) {
    add_type(instance->type());
    ++types_[numbers_.at(instance->type().get())].own_objects;
  }
  add_asked_for(problem);
  for (const Entry& entry : types_)
    for (const std::uint32_t above : entry.lineage) types_[above].all_objects += entry.own_objects;
  join_relatives();
  make_types(problem);
}

/// Also enters the types above it, which need not be among those of the problem.
void JoinedTypes::add_type(const TypePtr& type) {
  std::vector<TypePtr> open{type};
  const std::size_t first_new = types_.size();
  while (!open.empty()) {
    const TypePtr next = open.back();
    open.pop_back();
    if (!numbers_.try_emplace(next.get(), static_cast<std::uint32_t>(types_.size())).second) continue;
    types_.push_back({next, {}});
    for (const TypePtr& base : static_cast<const UserTypeImpl&>(*next).base_types())
      if (base->is_user_defined()) open.push_back(base);
  }
  for (std::size_t number = first_new; number < types_.size(); ++number)
    for (const UserTypeImpl* above : static_cast<const UserTypeImpl&>(*types_[number].type).lineage())
      types_[number].lineage.push_back(numbers_.at(above));
  assert(types_.size() == numbers_.size());
}

void JoinedTypes::add_asked_for(const TypePtr& type) {
  if (type->is_set()) return add_asked_for(static_cast<const SetTypeBase&>(*type).type());
  if (!type->is_user_defined()) return;
  add_type(type);
  types_[numbers_.at(type.get())].is_asked_for = true;
}

void JoinedTypes::add_asked_for(const ProblemInstanceImpl& problem) {
  for (const auto& [name, fluent] : problem.fluents()) {
    add_asked_for(fluent->type());
    for (const auto& parameter : fluent->parameters()) add_asked_for(parameter->type());
  }
  for (const auto& [name, constant] : problem.constants()) {
    add_asked_for(constant->type());
    for (const auto& parameter : constant->parameters()) add_asked_for(parameter->type());
  }
  std::vector<Node*> expressions(problem.expressions().begin(), problem.expressions().end());
  for (const auto& [name, action] : problem.actions()) {
    for (const auto& parameter : action->parameters()) add_asked_for(parameter->type());
    expressions.insert(expressions.end(), action->expressions().begin(), action->expressions().end());
  }
  add_variables(problem.env(), expressions);
}

void JoinedTypes::add_variables(Environment& env, const std::vector<Node*>& expressions) {
  for_each_part(expressions, [&](const Node* node) {
    if (!ExpressionFactory::is_forall(node)) return;
    for (const auto& variable : env.expression_factory().get_parameters_from_forall(node))
      add_asked_for(variable->type());
  });
}

void JoinedTypes::join_relatives() {
  // A lineage begins with the type itself.
  assert(std::ranges::all_of(
      types_, [&](const Entry& entry) { return entry.lineage.front() == numbers_.at(entry.type.get()); }));
  classes_ = Partition(types_.size());
  const auto is_used = [](const Entry& entry) { return entry.is_asked_for || entry.own_objects > 0; };
  for (std::uint32_t number = 0; number < types_.size(); ++number)
    for (const std::uint32_t above : types_[number].lineage)
      if ((types_[number].is_asked_for || types_[above].is_asked_for) && is_used(types_[number]) &&
          is_used(types_[above]))
        classes_.join(number, above);
}

void JoinedTypes::make_types(const ProblemInstanceImpl& problem) {
  std::vector<std::vector<std::uint32_t>> classes(types_.size());
  for (std::uint32_t number = 0; number < types_.size(); ++number) {
    const std::uint32_t root = classes_.root(number);
    classes[root].push_back(number);
    objects_[root] += types_[number].own_objects;
  }
  FreshNames names;
  for (const Entry& entry : types_)
    if (classes[classes_.root(numbers_.at(entry.type.get()))].size() == 1)
      names.reserve(entry.type->reference_name());
  for (std::uint32_t root = 0; root < classes.size(); ++root)
    if (classes[root].size() > 1)
      joined_[root] =
          problem.env().model_factory().make_fresh_user_type(names.unique(name_of_class(classes[root])));
}

/// The type above all others, or the names of those that have none above them.
std::string JoinedTypes::name_of_class(const std::vector<std::uint32_t>& members) const {
  constexpr std::size_t longest = 100;
  const std::unordered_set<std::uint32_t> in_class(members.begin(), members.end());
  std::string name;
  assert(members.size() > 1);
  for (const std::uint32_t member : members) {
    const auto& lineage = types_[member].lineage;
    const bool is_top = std::none_of(lineage.begin() + 1, lineage.end(),
                                     [&](std::uint32_t above) { return in_class.contains(above); });
    if (is_top && name.size() < longest)
      name += (name.empty() ? "" : "_or_") + types_[member].type->reference_name();
  }
  return name;
}

TypePtr JoinedTypes::joined_type(const TypePtr& type) const {
  if (type->is_set()) {
    const TypePtr& element = static_cast<const SetTypeBase&>(*type).type();
    const TypePtr joined = joined_type(element);
    if (joined == element || joined_.empty()) return type;
    return joined_.begin()->second->env().model_factory().make_set_type(joined);
  }
  const auto number = numbers_.find(type.get());
  if (number == numbers_.end()) return type;
  const auto joined = joined_.find(classes_.root(number->second));
  return joined == joined_.end() ? type : joined->second;
}

bool JoinedTypes::is_whole(const TypePtr& type) const {
  const auto number = numbers_.find(type.get());
  return number == numbers_.end() ||
         types_[number->second].all_objects == objects_.at(classes_.root(number->second));
}

std::vector<std::shared_ptr<UserTypeImpl>> JoinedTypes::user_types() const {
  std::vector<std::shared_ptr<UserTypeImpl>> result;
  std::unordered_set<std::uint32_t> entered;
  for (const Entry& entry : types_) {
    const std::uint32_t root = classes_.root(numbers_.at(entry.type.get()));
    const auto joined = joined_.find(root);
    if (joined == joined_.end() && entry.is_declared)
      result.push_back(std::static_pointer_cast<UserTypeImpl>(entry.type));
    else if (joined != joined_.end() && entered.insert(root).second)
      result.push_back(joined->second);
  }
  return result;
}

}  // namespace zorvel::model
