#include "model/model_factory.h"

#include <utility>

#include "model/expression_factory.h"

namespace zorvel::model {

namespace {

/// The type of the key, made with `arguments` if there is none.
template <class Type, class Map, class... Arguments>
TypePtr find_or_make(Map& types, const typename Map::key_type& key, const Arguments&... arguments) {
  TypePtr& type = types[key];
  if (type == nullptr) type = std::make_shared<Type>(arguments...);
  return type;
}

template <class Object>
void own_parameters(const std::shared_ptr<Object>& owner) {
  for (const auto& parameter : owner->parameters()) parameter->set_owner(owner);
}

/// The label of a labelled `contains` statement; null for another expression.
const std::string* label_of(const ExpressionFactory& expressions, const Node* expression) {
  if (!ExpressionFactory::is_temporal_expression(expression)) return nullptr;
  if (!ExpressionFactory::is_contains(expression->children[0])) return nullptr;
  const std::string& label = expressions.get_label_from_contains(expression->children[0]);
  return label.empty() ? nullptr : &label;
}

}  // namespace

ModelFactory::ModelFactory(Environment& env) : EnvObject(env) {}

ModelFactory::~ModelFactory() = default;

TypePtr ModelFactory::make_boolean_type() {
  if (boolean_type_ == nullptr) boolean_type_ = std::make_shared<BooleanTypeBase>();
  return boolean_type_;
}

TypePtr ModelFactory::make_integer_type() {
  if (integer_type_ == nullptr) integer_type_ = std::make_shared<IntegerTypeBase>();
  return integer_type_;
}

TypePtr ModelFactory::make_integer_type(const integer& lower, const integer& upper) {
  return find_or_make<IntegerTypeBase>(integers_within_, {lower, upper}, lower, upper);
}

TypePtr ModelFactory::make_half_bounded(const integer& value, bool is_lower) {
  return find_or_make<IntegerTypeBase>(is_lower ? integers_from_ : integers_up_to_, value, value, is_lower);
}

TypePtr ModelFactory::make_rational_type() {
  if (rational_type_ == nullptr) rational_type_ = std::make_shared<RationalTypeBase>();
  return rational_type_;
}

TypePtr ModelFactory::make_rational_type(const rational& lower, const rational& upper) {
  return find_or_make<RationalTypeBase>(rationals_within_, {lower, upper}, lower, upper);
}

TypePtr ModelFactory::make_half_bounded(const rational& value, bool is_lower) {
  return find_or_make<RationalTypeBase>(is_lower ? rationals_from_ : rationals_up_to_, value, value,
                                        is_lower);
}

std::shared_ptr<UserTypeImpl> ModelFactory::make_object_type() {
  object_type_ = make_user_type("object");
  return object_type_;
}

std::shared_ptr<UserTypeImpl> ModelFactory::make_user_type(const std::string& name) {
  const auto found = user_types_.find(name);
  if (found != user_types_.end())
    if (auto type = found->second.lock()) return type;
  return make_fresh_user_type(name);
}

std::shared_ptr<UserTypeImpl> ModelFactory::make_fresh_user_type(const std::string& name) {
  auto type = std::make_shared<UserTypeImpl>(env(), weak_from_this(), name);
  user_types_[name] = type;
  return type;
}

std::shared_ptr<UnresolvedType> ModelFactory::make_unresolved_type(const std::string& name) {
  std::shared_ptr<UnresolvedType>& type = unresolved_types_[name];
  if (type == nullptr) type = std::make_shared<UnresolvedType>(env(), name);
  return type;
}

std::shared_ptr<SetTypeBase> ModelFactory::make_set_type(const TypePtr& element) {
  std::shared_ptr<SetTypeBase>& type = set_types_[element];
  if (type == nullptr) type = std::make_shared<SetTypeBase>(element);
  return type;
}

template <class T>
std::shared_ptr<T> ModelFactory::intern(Table<T>& table, const std::shared_ptr<T>& candidate) {
  const std::size_t hash = candidate->hash();
  const auto [first, last] = table.equal_range(hash);
  for (auto entry = first; entry != last; ++entry)
    if (auto known = entry->second.owner.lock(); known != nullptr && *known == *candidate) return known;
  table.emplace(hash, Entry<T>{candidate.get(), candidate});
  candidate->set_shared();
  return candidate;
}

template <class T>
void ModelFactory::remove(Table<T>& table, const T* object) {
  const auto [first, last] = table.equal_range(object->hash());
  for (auto entry = first; entry != last; ++entry) {
    if (entry->second.object != object) continue;
    table.erase(entry);
    return;
  }
}

std::shared_ptr<FluentImpl> ModelFactory::make_fluent(const std::string& name, const TypePtr& type,
                                                      const std::vector<std::string>& path,
                                                      const ParameterVector& parameters) {
  const auto candidate = std::make_shared<FluentImpl>(weak_from_this(), name, path, type);
  for (const auto& parameter : parameters) candidate->add_parameter(parameter);
  const auto fluent = intern(fluents_, candidate);
  if (fluent == candidate) own_parameters(fluent);
  return fluent;
}

std::shared_ptr<ConstantImpl> ModelFactory::make_constant(const std::string& name, const TypePtr& type,
                                                          const std::vector<std::string>& path,
                                                          const ParameterVector& parameters,
                                                          const ConstantImpl::Values& values) {
  const auto candidate = std::make_shared<ConstantImpl>(weak_from_this(), name, path, type);
  for (const auto& parameter : parameters) candidate->add_parameter(parameter);
  candidate->set_all_values(values);
  const auto constant = intern(constants_, candidate);
  if (constant == candidate) own_parameters(constant);
  return constant;
}

std::shared_ptr<ActionImpl> ModelFactory::make_action(const std::string& name,
                                                      const std::vector<std::string>& path, bool is_process,
                                                      const ParameterVector& parameters,
                                                      const std::vector<Node*>& expressions,
                                                      const ActionImpl::SimulatedEffects& simulated_effects) {
  const auto candidate = std::make_shared<ActionImpl>(env(), weak_from_this(), name, path, is_process);
  for (const auto& parameter : parameters) candidate->add_parameter(parameter);
  for (Node* expression : expressions) candidate->add_expression(expression);
  for (const auto& effect : simulated_effects) candidate->add_simulated_effect(effect);
  const auto action = intern(actions_, candidate);
  if (action == candidate) own_parameters(action);
  return action;
}

std::shared_ptr<InstanceImpl> ModelFactory::make_instance(const std::string& name,
                                                          const std::shared_ptr<UserTypeImpl>& type) {
  return intern(instances_, std::make_shared<InstanceImpl>(weak_from_this(), name, type));
}

ProblemPtr ModelFactory::make_problem_instance(const std::vector<std::shared_ptr<ActionImpl>>& actions,
                                               const std::vector<std::shared_ptr<FluentImpl>>& fluents,
                                               const std::vector<std::shared_ptr<ConstantImpl>>& constants,
                                               const std::vector<std::shared_ptr<InstanceImpl>>& instances,
                                               const std::vector<std::shared_ptr<UserTypeImpl>>& user_types,
                                               const std::vector<Node*>& expressions,
                                               const LabelsOrdering& labels_ordering,
                                               const std::vector<std::shared_ptr<PlanQualityMetric>>& metrics,
                                               const PlanRules& rules) {
  const auto problem = std::make_shared<ProblemInstanceImpl>(env(), weak_from_this());
  for (const auto& action : actions) problem->add_action(action);
  for (const auto& fluent : fluents) problem->add_fluent(fluent);
  for (const auto& constant : constants) problem->add_constant(constant);
  for (const auto& instance : instances) problem->add_instance(instance);
  for (const auto& type : user_types) problem->add_user_type(type);
  for (const auto& type : user_types) problem->add_set_type(make_set_type(type));
  for (const auto& [before, after] : labels_ordering) problem->add_labels_ordering(before, after);
  for (Node* expression : expressions) {
    if (problem->expressions().contains(expression)) continue;  // its label would look like a second one
    problem->add_expression(expression);
    if (const std::string* label = label_of(env().expression_factory(), expression))
      problem->add_label(*label, expression);
  }
  for (const auto& metric : metrics) problem->add_metric(metric);
  problem->set_rules(rules);
  return intern(problems_, problem);
}

void ModelFactory::remove_user_type(UserTypeImpl* type) {
  // The entry of a dying type is expired by now; one that is not belongs to a later type of the same name.
  const auto found = user_types_.find(type->name());
  if (found != user_types_.end() && found->second.expired()) user_types_.erase(found);
}

void ModelFactory::remove_fluent(FluentImpl* fluent) { remove(fluents_, fluent); }
void ModelFactory::remove_constant(ConstantImpl* constant) { remove(constants_, constant); }
void ModelFactory::remove_action(ActionImpl* action) { remove(actions_, action); }
void ModelFactory::remove_instance(InstanceImpl* instance) { remove(instances_, instance); }
void ModelFactory::remove_problem_instance(ProblemInstanceImpl* problem) { remove(problems_, problem); }

}  // namespace zorvel::model
