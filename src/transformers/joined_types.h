#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/problem_instance.h"
#include "model/user_type.h"
#include "transformers/fresh_names.h"
#include "transformers/partition.h"

namespace zorvel::model {

/// Which user types of a flat problem have to become one, so that no object stands where another type is
/// declared. A type is asked for if a parameter, fluent, constant or bound variable is declared with it; it
/// joins the types above and below it that have objects or are asked for themselves. All others stay alone.
class JoinedTypes {
 public:
  explicit JoinedTypes(const ProblemInstanceImpl& problem);

  /// Whether no type joins another.
  bool is_empty() const { return joined_.empty(); }
  /// The type that stands for this one, a user type or a set; the same one where nothing joins.
  TypePtr joined_type(const TypePtr& type) const;
  /// Whether every object of the joined type is one of this type.
  bool is_whole(const TypePtr& type) const;
  /// The user types of the new problem: those of the old one, with the new ones in place of what joined.
  std::vector<std::shared_ptr<UserTypeImpl>> user_types() const;

 private:
  void add_type(const TypePtr& type);
  void add_asked_for(const TypePtr& type);
  void add_asked_for(const ProblemInstanceImpl& problem);
  void add_variables(Environment& env, const std::vector<Node*>& expressions);
  void join_relatives();
  void make_types(const ProblemInstanceImpl& problem);
  std::string name_of_class(const std::vector<std::uint32_t>& members) const;

  struct Entry {
    TypePtr type;
    std::vector<std::uint32_t> lineage;  // by number; the type itself first
    bool is_declared = false;            // by the problem, and not only above one that is
    bool is_asked_for = false;
    std::size_t own_objects = 0, all_objects = 0;  // all: those of derived types too
  };
  std::vector<Entry> types_;
  std::unordered_map<const TypeBase*, std::uint32_t> numbers_;
  Partition classes_{0};
  std::unordered_map<std::uint32_t, std::shared_ptr<UserTypeImpl>> joined_;  // by root of the class
  std::unordered_map<std::uint32_t, std::size_t> objects_;                   // by root of the class
};

}  // namespace zorvel::model
