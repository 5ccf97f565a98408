#include "model/problem_instance.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <ostream>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/hash_mix.h"
#include "model/initial_defaults.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/tuples.h"
#include "model/user_type.h"
#include "model/walkers/check_contains_walker.h"

namespace zorvel::model {

namespace {

bool some_contains(Environment& env, const ExpressionSet& expressions, NodeKind kind) {
  const CheckContainsWalker contains(env, kind);
  return std::any_of(expressions.begin(), expressions.end(), [&](Node* node) { return contains(node); });
}

bool same_metrics(const std::vector<std::shared_ptr<PlanQualityMetric>>& a,
                  const std::vector<std::shared_ptr<PlanQualityMetric>>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const auto& x, const auto& y) { return same_metric(*x, *y); });
}

template <class Map>
std::size_t mix_names(std::size_t hash, const Map& map) {
  for (const auto& [name, object] : map) hash = mix_hash(hash, std::hash<std::string>()(name));
  return hash;
}

[[noreturn]] void refuse_ungroundable() {
  throw InvalidParameterError("The problem instance contains a non-groundable fluent.");
}

std::size_t integer_domain_size(const IntegerTypeBase& type) {
  const integer size = type.upper_bound() - type.lower_bound() + integer(1);
  if (size < integer(0)) return 0;
  if (!size.fits_long()) refuse_ungroundable();
  return static_cast<std::size_t>(static_cast<long>(size));
}

Node* integer_item(Environment& env, const IntegerTypeBase& type, std::size_t index) {
  return env.expression_factory().make_integer_constant(type.lower_bound() +
                                                        integer(static_cast<unsigned long>(index)));
}

}  // namespace

ProblemInstanceImpl::ProblemInstanceImpl(Environment& env, std::weak_ptr<ModelFactory> factory)
    : EnvObject(env), TypeScope(env), ExpressionScope(env), factory_(std::move(factory)) {}

ProblemInstanceImpl::~ProblemInstanceImpl() {
  if (!shared_) return;
  if (const auto factory = factory_.lock()) factory->remove_problem_instance(this);
}

bool ProblemInstanceImpl::has_name(const std::string& name) const {
  return TypeScope::has_name(name) || has_instance(name);
}

void ProblemInstanceImpl::add_instance(const std::shared_ptr<InstanceImpl>& instance) {
  if (has_name(instance->name()))
    throw RedefinitionError("Instance '") << instance->name() << "' already defined";
  instances_.emplace(instance->name(), instance);
}

void ProblemInstanceImpl::add_label(const std::string& name, Node* node) {
  if (!labels_.emplace(name, node).second) throw RedefinitionError("Label '") << name << "' already defined";
}

void ProblemInstanceImpl::add_action_cost(const std::shared_ptr<ActionImpl>& action, Node* cost) {
  auto found = std::find_if(metrics_.begin(), metrics_.end(), [](const auto& metric) {
    return metric->kind() == MetricKind::MINIMIZE_ACTION_COST;
  });
  if (found == metrics_.end())
    found = metrics_.insert(metrics_.end(), std::make_shared<MinimizeActionCost>());
  static_cast<MinimizeActionCost&>(**found).add_cost(action, cost);
}

const InstanceMap& ProblemInstanceImpl::instances(const TypePtr& type) const {
  // Kept, since no instance is added once a problem is published.
  const auto [place, is_new] = instances_by_type_.try_emplace(type);
  if (is_new) {
    for (const auto& [name, instance] : instances_) {
      const auto own_type = instance->type();
      if (TypePtr(own_type) == type || own_type->is_derived_from(type, true))
        place->second.emplace(name, instance);
    }
  }
  return place->second;
}

bool ProblemInstanceImpl::is_flat() const {
  return std::all_of(user_types_.begin(), user_types_.end(), [](const auto& entry) {
    const UserTypeImpl& type = *entry.second;
    return type.actions().empty() && type.fluents().empty() && type.constants().empty();
  });
}

void ProblemInstanceImpl::add_references(const std::shared_ptr<FluentImpl>& fluent,
                                         const std::vector<std::vector<Node*>>& arguments,
                                         std::vector<Node*>& references) const {
  for_each_tuple(arguments, TurnsFastest::LAST, [&](const std::vector<Node*>& tuple) {
    references.push_back(env().expression_factory().make_fluent_reference(fluent, tuple));
  });
}

std::vector<Node*> ProblemInstanceImpl::all_ground_fluents(bool only_boolean) const {
  if (!is_flat()) throw InvalidParameterError("The problem instance is not flat!");
  std::vector<Node*> result;
  for (const auto& [name, fluent] : fluents_) {
    if (only_boolean && !fluent->type()->is_boolean()) continue;
    std::vector<std::vector<Node*>> domains;
    for (const auto& parameter : fluent->parameters())
      domains.push_back(domain_items(env(), instances_, parameter->type()));
    add_references(fluent, domains, result);
  }
  return result;
}

std::vector<Node*> ProblemInstanceImpl::all_ground_atoms() const {
  std::vector<Node*> result;
  for (const auto& [name, fluent] : fluents_) {
    if (!fluent->type()->is_boolean()) continue;
    std::vector<std::vector<Node*>> domains;
    for (const auto& parameter : fluent->parameters())
      domains.push_back(values_for(*this, parameter->type()));
    add_references(fluent, domains, result);
  }
  return result;
}

bool ProblemInstanceImpl::has_contains() const {
  return some_contains(env(), expressions_, NodeKind::CONTAINS);
}

bool ProblemInstanceImpl::has_forall() const {
  return some_contains(env(), expressions_, NodeKind::FORALL) ||
         std::any_of(actions_.begin(), actions_.end(),
                     [](const auto& entry) { return entry.second->has_forall(); }) ||
         std::any_of(user_types_.begin(), user_types_.end(),
                     [](const auto& entry) { return entry.second->has_forall(); });
}

bool ProblemInstanceImpl::has_continuous_change() const {
  // One walker for all actions: ground ones share most of their nodes.
  const CheckContainsWalker contains_time(env(), NodeKind::TIME);
  return some_contains(env(), expressions_, NodeKind::TIME) ||
         std::any_of(actions_.begin(), actions_.end(),
                     [&](const auto& entry) {
                       return std::ranges::any_of(entry.second->expressions(),
                                                  [&](Node* node) { return contains_time(node); });
                     }) ||
         std::any_of(user_types_.begin(), user_types_.end(),
                     [](const auto& entry) { return entry.second->has_continuous_change(); });
}

bool operator==(const ProblemInstanceImpl& a, const ProblemInstanceImpl& b) {
  return a.instances_ == b.instances_ && a.user_types_ == b.user_types_ && a.fluents_ == b.fluents_ &&
         a.constants_ == b.constants_ && a.actions_ == b.actions_ && a.expressions_ == b.expressions_ &&
         a.labels_ordering_ == b.labels_ordering_ && same_metrics(a.metrics_, b.metrics_) &&
         a.rules_ == b.rules_;
}

std::size_t ProblemInstanceImpl::hash() const {
  std::size_t result = 0;
  // Of what is declared the names alone: their objects are compared where two problems have one hash.
  result = mix_names(result, instances_);
  result = mix_names(result, user_types_);
  result = mix_names(result, fluents_);
  result = mix_names(result, constants_);
  result = mix_names(result, actions_);
  for (const Node* expression : expressions_) result = mix_hash(result, expression->id);
  return result;
}

std::ostream& operator<<(std::ostream& out, const ProblemPtr& problem) {
  if (problem->rules().has_mutual_exclusion) out << ":: (\"mutual-exclusion\");\n";
  problem->print_scope(out);
  out << '\n';
  for (const auto& [name, instance] : problem->instances())
    out << "instance " << instance->type()->reference_name() << ' ' << name << ";\n";
  if (!problem->constants().empty()) out << '\n';
  for (const auto& [name, constant] : problem->constants()) print_constant_values(out, *constant);
  if (!problem->expressions().empty()) out << '\n';
  for (Node* expression : problem->expressions()) out << to_anml(expression) << ";\n";
  const InitialDefaults defaults(*problem);
  for (const InitialDefault& rule : problem->rules().initial_defaults)
    defaults.for_each_statement(rule.fluent, [&](Node* statement) { out << to_anml(statement) << ";\n"; });
  for (const AlwaysWithin& rule : problem->rules().always_within) {
    // The quotient of two integers would be cut when it is read.
    out << ":: (\"always-within\", " << rule.limit.numerator() << ".0";
    if (!rule.limit.is_integer()) out << " / " << rule.limit.denominator() << ".0";
    out << ", " << print_expression{rule.trigger} << ", " << print_expression{rule.response} << ");\n";
  }
  return out;
}

void require_listable(const TypeBase& type) {
  if (type.is_integer() && type.is_finite_domain() &&
      integer_domain_size(static_cast<const IntegerTypeBase&>(type)) > max_listed_values)
    throw UnsupportedProblemError("The type ")
        << type.reference_name() << " has too many values to list them";
}

std::size_t domain_size(const InstanceMap& instances, const TypePtr& type) {
  if (!type->is_finite_domain()) refuse_ungroundable();
  switch (type->kind()) {
    case TypeCode::BOOLEAN: return 2;
    case TypeCode::INTEGER: return integer_domain_size(static_cast<const IntegerTypeBase&>(*type));
    case TypeCode::RATIONAL: return 1;
    case TypeCode::USER:
      return static_cast<std::size_t>(std::count_if(instances.begin(), instances.end(), [&](const auto& e) {
        return TypePtr(e.second->type()) == type;
      }));
    default: throw InternalError("Found an undefined finite-domain type");
  }
}

Node* domain_item(Environment& env, const InstanceMap& instances, const TypePtr& type, std::size_t index) {
  ExpressionFactory& factory = env.expression_factory();
  switch (type->kind()) {
    case TypeCode::BOOLEAN: return factory.make_boolean_constant(index == 0);
    case TypeCode::INTEGER: return integer_item(env, static_cast<const IntegerTypeBase&>(*type), index);
    case TypeCode::RATIONAL:
      return factory.make_rational_constant(static_cast<const RationalTypeBase&>(*type).lower_bound());
    case TypeCode::USER:
      for (const auto& [name, instance] : instances)
        if (TypePtr(instance->type()) == type && index-- == 0)
          return factory.make_instance_reference(instance);
      throw InternalError("Required element is out-of-bounds!");
    default: throw InternalError("Found an undefined finite-domain type");
  }
}

Node* domain_item(Environment& env, const ProblemPtr& problem, const TypePtr& type, std::size_t index) {
  return domain_item(env, problem->instances(), type, index);
}

std::vector<Node*> domain_items(Environment& env, const InstanceMap& instances, const TypePtr& type) {
  std::vector<Node*> result;
  if (type->is_user_defined()) {  // one pass over the instances; `domain_item` goes through them for each
                                  // item
    for (const auto& [name, instance] : instances)
      if (TypePtr(instance->type()) == type)
        result.push_back(env.expression_factory().make_instance_reference(instance));
    return result;
  }
  const std::size_t size = domain_size(instances, type);
  require_listable(*type);
  for (std::size_t index = 0; index < size; ++index)
    result.push_back(domain_item(env, instances, type, index));
  return result;
}

std::vector<Node*> values_for(const ProblemInstanceImpl& problem, const TypePtr& type) {
  if (!type->is_user_defined()) return domain_items(problem.env(), problem.instances(), type);
  std::vector<Node*> result;
  for (const auto& [name, instance] : problem.instances(type))
    result.push_back(problem.env().expression_factory().make_instance_reference(instance));
  return result;
}

}  // namespace zorvel::model
