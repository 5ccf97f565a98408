#pragma once

#include <concepts>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/environment.h"
#include "model/action.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/problem_instance.h"
#include "model/user_type.h"

namespace zorvel::model {

/// The only maker of model objects; it interns them, so that equal content is one object.
///
/// Tables of objects hold weak pointers: the factory keeps nothing alive but types.
class ModelFactory : public EnvObject, public std::enable_shared_from_this<ModelFactory> {
 public:
  explicit ModelFactory(Environment& env);
  ~ModelFactory() override;
  std::shared_ptr<ModelFactory> get_shared_ptr() { return shared_from_this(); }

  TypePtr make_boolean_type();
  TypePtr make_integer_type();
  TypePtr make_integer_type(const integer& lower, const integer& upper);
  /// One bound alone: the lower one if `is_lower`. Takes nothing but a `bool`, so that a number given as
  /// `int` for the upper bound is not taken for a flag.
  TypePtr make_integer_type(const integer& value, std::same_as<bool> auto is_lower) {
    return make_half_bounded(value, is_lower);
  }
  TypePtr make_rational_type();
  TypePtr make_rational_type(const rational& lower, const rational& upper);
  TypePtr make_rational_type(const rational& value, std::same_as<bool> auto is_lower) {
    return make_half_bounded(value, is_lower);
  }
  /// The user type named "object": the same object as a declared type of that name.
  std::shared_ptr<UserTypeImpl> make_object_type();
  /// The type that the name stands for now; made if there is none.
  std::shared_ptr<UserTypeImpl> make_user_type(const std::string& name);
  /// A new type object, which the name stands for from now on; types of other problems are not touched. This
  /// is what a reader calls for each declaration.
  std::shared_ptr<UserTypeImpl> make_fresh_user_type(const std::string& name);
  std::shared_ptr<UnresolvedType> make_unresolved_type(const std::string& name);  ///< One per name.
  std::shared_ptr<SetTypeBase> make_set_type(const TypePtr& element);             ///< One per element type.

  std::shared_ptr<FluentImpl> make_fluent(const std::string& name, const TypePtr& type,
                                          const std::vector<std::string>& path,
                                          const ParameterVector& parameters);
  std::shared_ptr<ConstantImpl> make_constant(const std::string& name, const TypePtr& type,
                                              const std::vector<std::string>& path,
                                              const ParameterVector& parameters,
                                              const ConstantImpl::Values& values);
  std::shared_ptr<ActionImpl> make_action(const std::string& name, const std::vector<std::string>& path,
                                          bool is_process, const ParameterVector& parameters,
                                          const std::vector<Node*>& expressions,
                                          const ActionImpl::SimulatedEffects& simulated_effects);
  std::shared_ptr<InstanceImpl> make_instance(const std::string& name,
                                              const std::shared_ptr<UserTypeImpl>& type);
  ProblemPtr make_problem_instance(const std::vector<std::shared_ptr<ActionImpl>>& actions,
                                   const std::vector<std::shared_ptr<FluentImpl>>& fluents,
                                   const std::vector<std::shared_ptr<ConstantImpl>>& constants,
                                   const std::vector<std::shared_ptr<InstanceImpl>>& instances,
                                   const std::vector<std::shared_ptr<UserTypeImpl>>& user_types,
                                   const std::vector<Node*>& expressions,
                                   const LabelsOrdering& labels_ordering,
                                   const std::vector<std::shared_ptr<PlanQualityMetric>>& metrics,
                                   const PlanRules& rules = {});

  // Called from destructors of published objects. An entry that is another object by now stays.
  void remove_user_type(UserTypeImpl* type);
  void remove_fluent(FluentImpl* fluent);
  void remove_constant(ConstantImpl* constant);
  void remove_action(ActionImpl* action);
  void remove_instance(InstanceImpl* instance);
  void remove_problem_instance(ProblemInstanceImpl* problem);

 private:
  template <class T>
  struct Entry {
    T* object;  // only for comparing, never followed: `owner` tells whether it lives
    std::weak_ptr<T> owner;
  };
  /// By content hash at the time of interning. Values of constants change later, which neither moves an entry
  /// nor lets a dying object take another one's entry away.
  template <class T>
  using Table = std::unordered_multimap<std::size_t, Entry<T>>;
  template <class T>
  std::shared_ptr<T> intern(Table<T>& table, const std::shared_ptr<T>& candidate);
  template <class T>
  void remove(Table<T>& table, const T* object);
  TypePtr make_half_bounded(const integer& value, bool is_lower);
  TypePtr make_half_bounded(const rational& value, bool is_lower);

  TypePtr boolean_type_, integer_type_, rational_type_;
  std::map<integer, TypePtr> integers_from_, integers_up_to_;
  std::map<std::pair<integer, integer>, TypePtr> integers_within_;
  std::map<rational, TypePtr> rationals_from_, rationals_up_to_;
  std::map<std::pair<rational, rational>, TypePtr> rationals_within_;
  std::map<std::weak_ptr<TypeBase>, std::shared_ptr<SetTypeBase>, std::owner_less<>> set_types_;
  std::unordered_map<std::string, std::shared_ptr<UnresolvedType>> unresolved_types_;
  std::unordered_map<std::string, std::weak_ptr<UserTypeImpl>> user_types_;
  std::shared_ptr<UserTypeImpl> object_type_;
  Table<FluentImpl> fluents_;
  Table<ConstantImpl> constants_;
  Table<ActionImpl> actions_;
  Table<InstanceImpl> instances_;
  Table<ProblemInstanceImpl> problems_;
};

}  // namespace zorvel::model
