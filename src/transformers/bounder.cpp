#include "transformers/bounder.h"

#include <algorithm>
#include <cassert>
#include <functional>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/user_type.h"
#include "model/walkers/expression_parts.h"
#include "model/walkers/expression_simplifier.h"
#include "transformers/forall_expansion.h"
#include "transformers/fresh_names.h"
#include "transformers/timed_statements.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

constexpr std::string_view unknown_to_bounder = "Found an action that is unknown to the bounder!";
constexpr double max_defaults = 5e6;

/// The value of the type that is nearest to 0.
template <class Number, TypeCode code>
Number nearest_to_zero(const NumericTypeBase<Number, code>& type) {
  const Number zero(0);
  if (type.has_lower_bound() && type.lower_bound() > zero) return type.lower_bound();
  if (type.has_upper_bound() && type.upper_bound() < zero) return type.upper_bound();
  return zero;
}

/// The tuples of arguments with at least one that is left out, the last argument turning fastest.
class TuplesLeftOut {
 public:
  using IsInactive = std::function<bool(const Node*)>;
  using Use = std::function<void(const std::vector<Node*>&)>;

  TuplesLeftOut(std::vector<std::vector<Node*>> domains, const IsInactive& is_inactive)
      : domains_(std::move(domains)), is_inactive_(is_inactive), is_last_chance_(domains_.size(), true) {
    bool later = false;
    for (std::size_t place = domains_.size(); place-- > 0;) {
      is_last_chance_[place] = !later;
      later |= std::ranges::any_of(domains_[place], is_inactive_);
    }
    has_any_ = later;
  }

  bool has_any() const { return has_any_; }
  /// How many there are, or a little less or more if they are beyond counting.
  double count() const {
    double all = 1, active = 1;
    for (const auto& domain : domains_) {
      all *= static_cast<double>(domain.size());
      active *= static_cast<double>(
          std::ranges::count_if(domain, [this](const Node* value) { return !is_inactive_(value); }));
    }
    return all - active;
  }
  void for_each(const Use& use) {
    tuple_.clear();
    extend(false, use);
  }

 private:
  // As deep as the fluent has parameters.
  void extend(bool has_inactive, const Use& use) {
    const std::size_t place = tuple_.size();
    if (place == domains_.size()) {
      assert(has_inactive);
      return use(tuple_);
    }
    for (Node* value : domains_[place]) {
      const bool has_one = has_inactive || is_inactive_(value);
      if (!has_one && is_last_chance_[place]) continue;
      tuple_.push_back(value);
      extend(has_one, use);
      tuple_.pop_back();
    }
  }

  std::vector<std::vector<Node*>> domains_;
  IsInactive is_inactive_;
  std::vector<bool> is_last_chance_;  // no later argument can be one that is left out
  bool has_any_ = false;
  std::vector<Node*> tuple_;
};

}  // namespace

Bounder::Bounder(const ProblemPtr& problem, const ProblemPtr& bounding_problem)
    : BackOnly(problem, {unknown_to_bounder, unknown_to_bounder, "bounder"}),
      bounding_problem_(bounding_problem) {
  assert(bounding_problem_ != nullptr);
}

void Bounder::do_computation() {
  require_flat("The bounding phase can be only applied to flattened models!");
  split_instances();
  ProblemParts parts(*problem_);
  add_constants(parts);
  MetricRewriter metrics(*problem_);
  const auto unchanged = [](Node* node) { return node; };
  for (const auto& [name, action] : problem_->actions()) {
    parts.actions.push_back(bounded(action));
    pair(action, parts.actions.back());
    metrics.carry_cost(action, parts.actions.back(), unchanged);
  }
  parts.metrics = metrics.metrics(unchanged);
  add_statements(parts);
  const std::size_t own = parts.expressions.size();
  for (const auto& [name, fluent] : problem_->fluents()) add_defaults(fluent, parts);
  ZORVEL_LOG(DEBUG) << "Bounder: " << inactive_.size() << " objects left out, "
                    << parts.expressions.size() - own << " defaults";
  new_problem_ = parts.make(env());
}

void Bounder::split_instances() {
  for (const auto& [name, instance] : problem_->instances())
    if (!bounding_problem_->has_instance(name)) inactive_.insert(factory().make_instance_reference(instance));
}

bool Bounder::names_inactive(const Node* expression) const {
  return any_part(expression, [this](const Node* node) { return is_inactive(node); });
}

/// One for each user type, those that only parameters have included.
void Bounder::add_constants(ProblemParts& parts) {
  std::map<std::string, UserTypePtr> types;
  for (const auto& [name, type] : problem_->user_types()) types[name] = type;
  for (const auto& [name, action] : problem_->actions())
    for (const auto& parameter : action->parameters())
      if (parameter->type()->is_user_defined()) {
        const auto type = std::static_pointer_cast<UserTypeImpl>(parameter->type());
        types.emplace(type->name(), type);
      }
  FreshNames names;
  names.reserve_all_but_actions(*problem_);
  for (const auto& [name, action] : problem_->actions()) names.reserve(name);
  for (const auto& [name, type] : types) {
    const auto table = std::make_shared<FunctionValueImpl>();
    for (const auto& [object, instance] : problem_->instances(type)) {
      Node* const reference = factory().make_instance_reference(instance);
      table->add_assignment({reference}, factory().make_boolean_constant(!is_inactive(reference)));
    }
    is_active_[name] = env().model_factory().make_constant(
        names.unique("_is_active_" + name), env().model_factory().make_boolean_type(), {},
        {std::make_shared<ParameterImpl>("p", type)}, {{"", table}});
    parts.constants.push_back(is_active_[name]);
  }
}

/// The action with a condition on each parameter that is an object.
std::shared_ptr<ActionImpl> Bounder::bounded(const std::shared_ptr<ActionImpl>& action) const {
  std::vector<Node*> statements(action->expressions().begin(), action->expressions().end());
  for (const auto& parameter : action->parameters()) {
    if (!parameter->type()->is_user_defined()) continue;
    const auto& constant = is_active_.at(static_cast<const UserTypeImpl&>(*parameter->type()).name());
    statements.push_back(at_start(factory(), factory().make_constant_reference(
                                                 constant, {factory().make_parameter_reference(parameter)})));
  }
  return env().model_factory().make_action(action->name(), action->path(), action->is_process(),
                                           action->parameters(), statements, action->simulated_effects());
}

void Bounder::add_statements(ProblemParts& parts) const {
  parts.expressions.clear();
  const DomainOf domain_of = [this](const TypePtr& type) { return values_for(*problem_, type); };
  for (Node* statement : problem_->expressions())
    for (Node* single : expand_foralls(env(), statement, domain_of)) add_statement(single, parts);
}

void Bounder::add_statement(Node* statement, ProblemParts& parts) const {
  if (assigns_to_inactive(statement)) return;
  parts.expressions.push_back(statement);
  const auto is_assignment = [](const Node* node) {
    return F::is_assign(node) || F::is_increase(node) || F::is_decrease(node);
  };
  if (!any_part(statement, is_assignment) && names_inactive(statement))
    env().warning_manager().warn("The bounding problem leaves out an object that is named in: " +
                                 to_anml(statement));
}

bool Bounder::assigns_to_inactive(Node* statement) const {
  Node* const body = body_of(statement);
  if (!F::is_assign(body) && !F::is_increase(body) && !F::is_decrease(body)) return false;
  Node* const target = ExpressionSimplifier(env())(body->children[0]);
  return std::ranges::any_of(target->operands(), [this](const Node* node) { return is_inactive(node); });
}

void Bounder::add_defaults(const std::shared_ptr<FluentImpl>& fluent, ProblemParts& parts) const {
  TuplesLeftOut tuples(argument_domains(*fluent), [this](const Node* node) { return is_inactive(node); });
  if (!tuples.has_any()) return;
  Node* const value = default_of(*fluent);
  // The closed world says the same already, of more references than anybody would write down.
  const InitialDefault implied{fluent, value};
  if (std::ranges::find(parts.rules.initial_defaults, implied) != parts.rules.initial_defaults.end()) return;
  if (tuples.count() > max_defaults)
    throw UnsupportedProblemError("The bounder leaves out too many references to the fluent ")
        << fluent->name();
  tuples.for_each([&](std::vector<Node*> arguments) {
    normalize_arguments(factory(), fluent->parameters(), arguments);
    parts.expressions.push_back(at_start(
        factory(), factory().make_assign(factory().make_fluent_reference(fluent, arguments), value)));
  });
}

/// Empty for a fluent that cannot have an argument that is left out.
std::vector<std::vector<Node*>> Bounder::argument_domains(const FluentImpl& fluent) const {
  std::vector<std::vector<Node*>> domains;
  const auto is_touched = [this](const auto& parameter) {
    return parameter->type()->is_user_defined() &&
           std::ranges::any_of(problem_->instances(parameter->type()), [this](const auto& entry) {
             return is_inactive(factory().make_instance_reference(entry.second));
           });
  };
  if (std::ranges::none_of(fluent.parameters(), is_touched)) return {};
  for (const auto& parameter : fluent.parameters()) {
    if (!parameter->type()->is_finite_domain())
      throw UnsupportedProblemError("The bounder cannot list the arguments of the fluent ")
          << fluent.name() << ": " << parameter->type();
    domains.push_back(values_for(*problem_, parameter->type()));
  }
  return domains;
}

Node* Bounder::default_of(const FluentImpl& fluent) const {
  const TypePtr type = fluent.type();
  switch (type->kind()) {
    case TypeCode::BOOLEAN: return factory().make_boolean_constant(false);
    case TypeCode::INTEGER:
      return factory().make_integer_constant(nearest_to_zero(static_cast<const IntegerTypeBase&>(*type)));
    case TypeCode::RATIONAL:
      return factory().make_rational_constant(nearest_to_zero(static_cast<const RationalTypeBase&>(*type)));
    case TypeCode::USER:
      for (const auto& [name, instance] : problem_->instances()) {
        Node* const reference = factory().make_instance_reference(instance);
        if (instance->type() == type && !is_inactive(reference)) return reference;
      }
      throw UnsupportedProblemError("The bounding problem has no object for the fluent ")
          << fluent.name() << " of type " << type;
    default:
      throw UnsupportedProblemError("The bounder has no default for the fluent ")
          << fluent.name() << " of type " << type;
  }
}

}  // namespace zorvel::model
