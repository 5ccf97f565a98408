#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "pddl/tree.h"

namespace zorvel::pddl {

/// The flat types that stand for a hierarchy. Types whose objects meet in a parameter of an action, a
/// predicate or a function are one family; others stay apart, so that `object` above all types joins none of
/// them. A parameter that may not stand for all objects of its family gets a condition.
class TypeFamilies {
 public:
  using Family = std::uint32_t;

  explicit TypeFamilies(const Task& task);

  Family family_of(const Object& object) const { return family_of_object_[object.number]; }
  Family family_of(const Sort& sort) const { return family_of_sort_.at(&sort); }
  /// Whether every object of the family is one of the sort.
  bool is_whole(const Sort& sort) const { return sort.objects.size() == objects_[family_of(sort)].size(); }
  std::size_t size() const { return objects_.size(); }
  const std::vector<const Object*>& objects(Family family) const { return objects_[family]; }
  /// The name of the type that has exactly these objects, or one made of the names of several.
  const std::string& name(Family family) const { return names_[family]; }

 private:
  struct Coverage {
    std::size_t objects = 0;
    Family family = 0;
    bool is_in_one_family = true;
  };

  std::vector<Coverage> coverage_of_types(const Task& task) const;
  void add_families(const Task& task, const std::vector<std::uint32_t>& roots);
  void name_families(const Task& task);

  std::vector<Family> family_of_object_;                    // by number
  std::unordered_map<const Sort*, Family> family_of_sort_;  // of the sorts of parameters
  std::vector<std::vector<const Object*>> objects_;         // by family
  std::vector<std::string> names_;                          // by family; several may be equal
};

}  // namespace zorvel::pddl
