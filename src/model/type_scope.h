#pragma once

#include <iosfwd>
#include <map>
#include <memory>
#include <string>

#include "core/environment.h"
#include "model/types.h"

namespace zorvel::model {

class ActionImpl;
class ConstantImpl;
class FluentImpl;
class ParameterImpl;
class UserTypeImpl;

/// The named content of a problem or of a user type. Every map iterates in the byte order of the names.
///
/// The `add_*` raise RedefinitionError "Name '<name>' already defined in this scope" where `has_name` holds.
class TypeScope : public virtual EnvObject {
 public:
  explicit TypeScope(Environment& env) : EnvObject(env) {}
  virtual void add_action(const std::shared_ptr<ActionImpl>& action);
  /// Whether an action, user type, fluent or constant (a subclass may add more) has the name.
  virtual bool has_name(const std::string& name) const;

  void add_user_type(const std::shared_ptr<UserTypeImpl>& type);
  void add_fluent(const std::shared_ptr<FluentImpl>& fluent);
  void add_constant(const std::shared_ptr<ConstantImpl>& constant);
  /// Keyed by element type; a second one raises RedefinitionError "Set type 'set(<name>)' already defined in
  /// this scope".
  void add_set_type(const std::shared_ptr<SetTypeBase>& type);

  bool has_action(const std::string& name) const { return actions_.contains(name); }
  bool has_user_type(const std::string& name) const { return user_types_.contains(name); }
  bool has_fluent(const std::string& name) const { return fluents_.contains(name); }
  bool has_constant(const std::string& name) const { return constants_.contains(name); }
  bool has_set_type(const TypePtr& element) const { return set_types_.contains(element); }

  const std::map<std::string, std::shared_ptr<ActionImpl>>& actions() const { return actions_; }
  const std::map<std::string, std::shared_ptr<UserTypeImpl>>& user_types() const { return user_types_; }
  const std::map<std::string, std::shared_ptr<FluentImpl>>& fluents() const { return fluents_; }
  const std::map<std::string, std::shared_ptr<ConstantImpl>>& constants() const { return constants_; }
  const std::map<TypePtr, std::shared_ptr<SetTypeBase>>& set_types() const { return set_types_; }

  bool has_temporal_uncertainty() const;  ///< Some action here or in a nested type has a duration interval.
  bool has_intermediate_effects() const;
  bool has_processes() const;
  bool is_ground(bool actions_only) const;
  bool has_sets() const;  ///< A fluent, constant or action parameter has a set type.

  /// Constants, fluents, user types, actions: the body of a type and the first section of a problem.
  void print_scope(std::ostream& out) const;

 protected:
  std::map<std::string, std::shared_ptr<UserTypeImpl>> user_types_;
  std::map<std::string, std::shared_ptr<FluentImpl>> fluents_;
  std::map<std::string, std::shared_ptr<ConstantImpl>> constants_;
  std::map<std::string, std::shared_ptr<ActionImpl>> actions_;
  std::map<TypePtr, std::shared_ptr<SetTypeBase>> set_types_;
};

}  // namespace zorvel::model
