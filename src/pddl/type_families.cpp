#include "pddl/type_families.h"

#include <algorithm>
#include <map>

#include "transformers/partition.h"

namespace zorvel::pddl {

namespace {

/// The objects, by number, have to be of one family.
void join_all(model::Partition& partition, const std::vector<const Object*>& objects) {
  for (const Object* object : objects) partition.join(objects.front()->number, object->number);
}

/// The sorts of all parameters in the order of the text. Those of quantifiers are not among them: quantifiers
/// are written out.
std::vector<const Sort*> sorts_of_parameters(const Task& task) {
  std::vector<const Sort*> sorts;
  for (const Fluent& fluent : task.fluents)
    for (const Variable* parameter : fluent.parameters) sorts.push_back(parameter->sort);
  for (const Action& action : task.actions)
    for (const Variable* parameter : action.parameters) sorts.push_back(parameter->sort);
  return sorts;
}

}  // namespace

TypeFamilies::TypeFamilies(const Task& task) {
  model::Partition partition(task.objects.size());
  std::map<std::vector<Type*>, std::uint32_t> first_of_types;
  for (const Object& object : task.objects)
    partition.join(first_of_types.try_emplace(object.types, object.number).first->second, object.number);
  const std::vector<const Sort*> sorts = sorts_of_parameters(task);
  for (const Sort* sort : sorts) join_all(partition, sort->objects);
  std::vector<std::uint32_t> roots;
  for (const Object& object : task.objects) roots.push_back(partition.root(object.number));
  add_families(task, roots);
  name_families(task);
  for (const Sort* sort : sorts) {
    if (family_of_sort_.contains(sort)) continue;
    if (!sort->objects.empty()) {
      family_of_sort_[sort] = family_of(*sort->objects.front());
    } else {
      family_of_sort_[sort] = static_cast<Family>(objects_.size());
      objects_.emplace_back();
      names_.push_back(sort->types.front()->name.text);
    }
  }
}

void TypeFamilies::add_families(const Task& task, const std::vector<std::uint32_t>& roots) {
  std::unordered_map<std::uint32_t, Family> families;
  for (const Object& object : task.objects) {
    const auto [entry, is_new] =
        families.try_emplace(roots[object.number], static_cast<Family>(objects_.size()));
    if (is_new) objects_.emplace_back();
    objects_[entry->second].push_back(&object);
    family_of_object_.push_back(entry->second);
  }
}

void TypeFamilies::name_families(const Task& task) {
  names_.resize(objects_.size());
  // Of several types with the same objects, the last that was declared is the closest to them.
  for (const Type& type : task.types) {
    if (type.objects.empty()) continue;
    const Family family = family_of(*type.objects.front());
    const bool is_all_of_it = type.objects.size() == objects_[family].size() &&
                              std::all_of(type.objects.begin(), type.objects.end(),
                                          [&](const Object* object) { return family_of(*object) == family; });
    if (is_all_of_it) names_[family] = type.name.text;
  }
  constexpr std::size_t longest = 100;
  for (Family family = 0; family < objects_.size(); ++family) {
    std::string& name = names_[family];
    if (!name.empty()) continue;
    std::vector<const Type*> seen;
    for (const Object* object : objects_[family])
      for (const Type* type : object->types) {
        if (name.size() > longest || std::find(seen.begin(), seen.end(), type) != seen.end()) continue;
        seen.push_back(type);
        name += (name.empty() ? "" : "_or_") + type->name.text;
      }
  }
}

}  // namespace zorvel::pddl
