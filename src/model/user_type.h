#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "model/type_scope.h"

namespace zorvel::model {

class ModelFactory;

/// A user type: a name, its parents, and a scope of its own (fluents, constants, actions, nested types).
class UserTypeImpl : public TypeScope, public TypeBase {
 public:
  UserTypeImpl(Environment& env, std::weak_ptr<ModelFactory> factory, const std::string& name);
  ~UserTypeImpl() override;

  const std::string& name() const { return name_; }
  const std::string& reference_name() const override { return name_; }
  bool is_finite_domain() const override { return true; }

  /// The parents, in the order in which they were added.
  const std::vector<TypePtr>& base_types() const { return base_types_; }
  void add_base_type(const TypePtr& type);  ///< Adding a parent twice changes nothing.
  /// Takes all parents away. Types that inherit from each other in a circle own each other, so whoever finds
  /// a circle must cut it.
  void clear_base_types() { base_types_.clear(); }
  /// Whether `type` is a parent; if `transitive`, also whether a parent is derived from it.
  bool is_derived_from(const TypePtr& type, bool transitive) const;
  /// This type and all user types that it derives from, nearest first; of equally near ones, in the order of
  /// declaration. A name is meant in the first of them that has it.
  std::vector<const UserTypeImpl*> lineage() const;
  /// What the name of an action means for an object of this type; null if it has none.
  std::shared_ptr<ActionImpl> find_action(const std::string& name) const;

  bool has_forall() const;
  bool has_continuous_change() const;

  // What the name resolver replaces, by the object's name.
  void resolve_action(const std::shared_ptr<ActionImpl>& action);
  void resolve_fluent(const std::shared_ptr<FluentImpl>& fluent);
  void resolve_constant(const std::shared_ptr<ConstantImpl>& constant);
  void resolve_user_type(const std::shared_ptr<UserTypeImpl>& type);
  void resolve_base_type(const TypePtr& old_type, const TypePtr& new_type);

 protected:
  UserTypeImpl(Environment& env, std::weak_ptr<ModelFactory> factory, const std::string& name, TypeCode code);

 private:
  std::weak_ptr<ModelFactory> factory_;
  std::string name_;
  std::vector<TypePtr> base_types_;
};

/// Whether every object of `type` is one of `wanted`: the same type, or a user type derived from it.
bool is_a(const TypeBase& type, const TypeBase& wanted);

/// A type's declaration with its body, and the value lines of its constants.
std::ostream& operator<<(std::ostream& out, const std::shared_ptr<UserTypeImpl>& type);

/// Stands for a name that a reader has seen and cannot yet bind.
class UnresolvedType : public UserTypeImpl {
 public:
  UnresolvedType(Environment& env, const std::string& name);
  const std::string& reference_name() const override { return unresolved_name_; }

 private:
  std::string unresolved_name_;  // "unresolved<name>"
};

}  // namespace zorvel::model
