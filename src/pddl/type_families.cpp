#include "pddl/type_families.h"

#include <algorithm>
#include <map>
#include <utility>

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

/// What the objects of each type and of all below it are, by number of the type.
std::vector<TypeFamilies::Coverage> TypeFamilies::coverage_of_types(const Task& task) const {
  // All objects of the same declared types have the same types above; there are few such sets.
  std::map<std::vector<Type*>, Coverage> of_declared_types;
  for (const Object& object : task.objects) {
    Coverage& of_set = of_declared_types[object.types];
    of_set.family = family_of(object);
    ++of_set.objects;
  }
  std::vector<Coverage> result(task.types.size());
  std::vector<std::size_t> seen_in(task.types.size(), 0);  // the last round that met the type
  std::size_t round = 0;
  for (const auto& [types, of_set] : of_declared_types) {
    ++round;
    std::vector<const Type*> open(types.begin(), types.end());
    while (!open.empty()) {
      const Type* const type = open.back();
      open.pop_back();
      if (std::exchange(seen_in[type->number], round) == round) continue;
      Coverage& of_type = result[type->number];
      of_type.is_in_one_family =
          of_type.objects == 0 || (of_type.is_in_one_family && of_type.family == of_set.family);
      of_type.family = of_set.family;
      of_type.objects += of_set.objects;
      open.insert(open.end(), type->parents.begin(), type->parents.end());
    }
  }
  return result;
}

void TypeFamilies::name_families(const Task& task) {
  names_.resize(objects_.size());
  // Of several types with the same objects, the last that was declared is the closest to them.
  const std::vector<Coverage> coverage = coverage_of_types(task);
  for (const Type& type : task.types) {
    const auto& [objects, family, is_in_one_family] = coverage[type.number];
    if (objects > 0 && is_in_one_family && objects == objects_[family].size())
      names_[family] = type.name.text;
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
