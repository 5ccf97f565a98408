#include "transformers/type_hierarchy_compiler.h"

#include <algorithm>
#include <cassert>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/model_factory.h"
#include "model/tuples.h"
#include "model/walkers/expression_parts.h"
#include "transformers/constant_order.h"
#include "transformers/forall_expansion.h"
#include "transformers/membership.h"
#include "transformers/retyping_substituter.h"

namespace zorvel::model {

namespace {

constexpr std::string_view unknown_to_compiler =
    "Found an action that is unknown to the type hierarchy compiler!";

bool is_reference(const Node* node) {
  return ExpressionFactory::is_fluent_reference(node) || ExpressionFactory::is_constant_reference(node);
}

/// 0, or the bound of the type that is nearest to it.
template <class Number, TypeCode code>
Number number_near_zero(const NumericTypeBase<Number, code>& type) {
  if (type.has_lower_bound() && type.lower_bound() > Number(0)) return type.lower_bound();
  if (type.has_upper_bound() && type.upper_bound() < Number(0)) return type.upper_bound();
  return Number(0);
}

}  // namespace

TypeHierarchyCompiler::TypeHierarchyCompiler(const ProblemPtr& problem)
    : OneToOneTransformer(problem, {unknown_to_compiler, unknown_to_compiler, "the type hierarchy compiler"}),
      types_(*problem) {}

bool TypeHierarchyCompiler::is_needed(const ProblemInstanceImpl& problem) {
  return std::ranges::any_of(problem.user_types(),
                             [](const auto& entry) { return !entry.second->base_types().empty(); }) &&
         !JoinedTypes(problem).is_empty();
}

void TypeHierarchyCompiler::do_computation() {
  require_flat("The type hierarchy compiler can be only applied to flattened models!");
  ZORVEL_LOG(DEBUG) << "Type hierarchy compiler started!";
  if (types_.is_empty()) {
    for (const auto& [name, action] : problem_->actions()) pair(action, action);
    new_problem_ = problem_;
    return;
  }
  assert(problem_->rules().initial_defaults.empty());  // their fluents would be the old ones
  names_.reserve_all_but_actions(*problem_);
  for (const auto& [name, action] : problem_->actions()) names_.reserve(name);
  parts_ = ProblemParts(*problem_);
  parts_.user_types = types_.user_types();
  parts_.fluents.clear();
  parts_.constants.clear();
  has_foralls_ = problem_->has_forall();
  add_instances();
  find_open_places();
  std::vector<Node*> statements;
  for (Node* expression : problem_->expressions()) {
    const std::vector<Node*> expansion = without_partial_foralls(expression);
    statements.insert(statements.end(), expansion.begin(), expansion.end());
  }
  parts_.expressions.clear();
  // All heads are known before anything that names them is rewritten: fluents first, for they take no values,
  // then constants, each behind those in its own values.
  for (const auto& [name, fluent] : problem_->fluents()) add_fluent(fluent);
  const std::vector<Node*> foreign_values = std::move(parts_.expressions);
  for (const auto& constant : in_order_of_use(factory(), ProblemParts(*problem_).constants))
    add_constant(constant);
  MetricRewriter metrics(*problem_);
  for (const auto& [name, action] : problem_->actions()) add_action(action, metrics);
  parts_.expressions = std::move(statements);
  const NodeRewrite rewrite = rewriting({});
  parts_.rewrite_statements(rewrite);
  parts_.expressions.insert(parts_.expressions.end(), foreign_values.begin(), foreign_values.end());
  parts_.metrics = metrics.metrics(rewrite);
  new_problem_ = parts_.make(env());
  parts_ = ProblemParts();
  ZORVEL_LOG(DEBUG) << "Type hierarchy compiling completed!";
}

void TypeHierarchyCompiler::add_instances() {
  for (auto& instance : parts_.instances) {
    const TypePtr type = types_.joined_type(instance->type());
    if (type == TypePtr(instance->type())) continue;
    Node* const old_reference = factory().make_instance_reference(instance);
    instance =
        env().model_factory().make_instance(instance->name(), std::static_pointer_cast<UserTypeImpl>(type));
    Node* const new_reference = factory().make_instance_reference(instance);
    new_instances_[old_reference] = new_reference;
    old_instances_[new_reference] = old_reference;
  }
}

void TypeHierarchyCompiler::find_open_places() {
  std::vector<Node*> expressions(problem_->expressions().begin(), problem_->expressions().end());
  for (const auto& [name, action] : problem_->actions())
    expressions.insert(expressions.end(), action->expressions().begin(), action->expressions().end());
  for_each_part(std::move(expressions), [this](const Node* node) {
    if (is_reference(node)) note_open_places(node);
  });
}

void TypeHierarchyCompiler::note_open_places(const Node* reference) {
  const bool is_fluent = ExpressionFactory::is_fluent_reference(reference);
  const void* const head =
      is_fluent ? static_cast<const void*>(factory().get_fluent_from_reference(reference).get())
                : factory().get_constant_from_reference(reference).get();
  for (std::size_t place = 0; place < reference->arity; ++place)
    if (is_reference(reference->children[place])) open_places_[head].insert(place);
}

ParameterVector TypeHierarchyCompiler::joined_parameters(const ParameterVector& parameters) const {
  ParameterVector result;
  for (const auto& parameter : parameters)
    result.push_back(
        std::make_shared<ParameterImpl>(parameter->name(), types_.joined_type(parameter->type())));
  return result;
}

std::vector<Node*> TypeHierarchyCompiler::new_values(const TypePtr& type) const {
  std::vector<Node*> values = values_for(*problem_, type);
  for (Node*& value : values) value = new_value(value);
  return values;
}

template <class Use>
void TypeHierarchyCompiler::for_each_foreign_tuple(const void* head, const ParameterVector& parameters,
                                                   Use use) const {
  const auto open = open_places_.find(head);
  if (open == open_places_.end()) return;
  std::vector<std::vector<Node*>> values;                             // at each place
  std::vector<std::unordered_set<Node*>> foreign(parameters.size());  // those that the old type has not
  for (std::size_t place = 0; place < parameters.size(); ++place) {
    const TypePtr type = parameters[place]->type();
    if (!type->is_finite_domain() || type->is_set()) return;  // no compiler tries all of its values
    values.push_back(new_values(type));
    if (!open->second.contains(place) || !is_partial(type)) continue;
    const std::unordered_set<Node*> own(values.back().begin(), values.back().end());
    const TypePtr joined = types_.joined_type(type);
    for (const auto& instance : parts_.instances)
      if (Node* const reference = factory().make_instance_reference(instance);
          TypePtr(instance->type()) == joined && !own.contains(reference)) {
        values.back().push_back(reference);
        foreign[place].insert(reference);
      }
  }
  for_each_tuple(values, TurnsFastest::LAST, [&](const std::vector<Node*>& tuple) {
    for (std::size_t place = 0; place < tuple.size(); ++place)
      if (foreign[place].contains(tuple[place])) return use(tuple);
  });
}

/// A value that a fluent of the old type may have; null if there is none.
Node* TypeHierarchyCompiler::some_value(const TypePtr& type) const {
  switch (type->kind()) {
    case TypeCode::BOOLEAN: return factory().make_boolean_constant(false);
    case TypeCode::INTEGER:
      return factory().make_integer_constant(number_near_zero(static_cast<const IntegerTypeBase&>(*type)));
    case TypeCode::RATIONAL:
      return factory().make_rational_constant(number_near_zero(static_cast<const RationalTypeBase&>(*type)));
    case TypeCode::SET: return factory().make_set_constant({});
    case TypeCode::USER: {
      const std::vector<Node*> values = new_values(type);
      return values.empty() ? nullptr : values.front();
    }
    default: return nullptr;
  }
}

void TypeHierarchyCompiler::add_fluent(const std::shared_ptr<FluentImpl>& fluent) {
  const auto joined =
      env().model_factory().make_fluent(fluent->name(), types_.joined_type(fluent->type()), fluent->path(),
                                        joined_parameters(fluent->parameters()));
  parts_.fluents.push_back(joined);
  Node* const old_head = factory().make_fluent_reference(fluent, {});
  Node* const new_head = factory().make_fluent_reference(joined, {});
  new_heads_[old_head] = new_head;
  old_heads_[new_head] = old_head;
  Node* const value = some_value(fluent->type());
  if (value == nullptr) return;
  for_each_foreign_tuple(fluent.get(), fluent->parameters(), [&](const std::vector<Node*>& arguments) {
    parts_.expressions.push_back(factory().make_temporal_expression(
        factory().make_point_interval(factory().make_start_anchor()),
        factory().make_assign(factory().make_fluent_reference(joined, arguments), value)));
  });
}

void TypeHierarchyCompiler::add_constant(const std::shared_ptr<ConstantImpl>& constant) {
  NodeRewrite rewrite;  // made on need: it copies the tables of names, and most values are plain
  const auto renewed = [&](Node* node) {
    if (ExpressionFactory::is_value(node)) return new_value(node);
    if (!rewrite) rewrite = rewriting({});
    return rewrite(node);
  };
  ConstantImpl::Values values;
  for (const auto& [key, table] : constant->all_values()) {
    if (table == nullptr) continue;
    values[key] = std::make_shared<FunctionValueImpl>();
    for (const auto& [arguments, value] : table->sorted_assignments()) {
      std::vector<Node*> new_arguments;
      for (Node* argument : arguments) new_arguments.push_back(renewed(argument));
      values[key]->add_assignment(new_arguments, renewed(value));
    }
  }
  const auto table = values.find("");
  Node* const value = some_value(constant->type());
  if (table != values.end() && value != nullptr)
    for_each_foreign_tuple(constant.get(), constant->parameters(), [&](const std::vector<Node*>& arguments) {
      if (!table->second->has_assignments(arguments)) table->second->add_assignment(arguments, value);
    });
  const auto joined = env().model_factory().make_constant(
      constant->name(), types_.joined_type(constant->type()), constant->path(),
      joined_parameters(constant->parameters()), values);
  parts_.constants.push_back(joined);
  Node* const old_head = factory().make_constant_reference(constant, {});
  Node* const new_head = factory().make_constant_reference(joined, {});
  new_heads_[old_head] = new_head;
  old_heads_[new_head] = old_head;
}

void TypeHierarchyCompiler::add_action(const std::shared_ptr<ActionImpl>& action, MetricRewriter& metrics) {
  if (!action->simulated_effects().empty())
    throw UnsupportedProblemError("Types below types cannot be joined in a problem with simulated effects");
  const ParameterVector parameters = joined_parameters(action->parameters());
  NodeMap references;
  std::vector<Node*> expressions;
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    Node* const reference = factory().make_parameter_reference(parameters[i]);
    references[factory().make_parameter_reference(action->parameters()[i])] = reference;
    if (is_partial(action->parameters()[i]->type()))
      expressions.push_back(is_member(action->parameters()[i]->type(), reference));
  }
  const NodeRewrite rewrite = rewriting(std::move(references));
  for (Node* expression : action->expressions())
    for (Node* statement : without_partial_foralls(expression)) expressions.push_back(rewrite(statement));
  const auto joined = env().model_factory().make_action(action->name(), action->path(), action->is_process(),
                                                        parameters, expressions, {});
  parts_.actions.push_back(joined);
  pair(action, joined);
  metrics.carry_cost(action, joined, rewrite);
}

Node* TypeHierarchyCompiler::is_member(const TypePtr& type, Node* value) {
  std::shared_ptr<ConstantImpl>& membership = memberships_[type.get()];
  if (membership == nullptr) {
    membership = make_membership(env(), names_.unique("__is_" + type->reference_name()),
                                 types_.joined_type(type), new_values(type));
    parts_.constants.push_back(membership);
  }
  return membership_at_start(factory(), membership, value);
}

bool TypeHierarchyCompiler::has_partial_variable(Node* expression) const {
  return any_part(expression, [this](const Node* node) {
    return ExpressionFactory::is_forall(node) &&
           std::ranges::any_of(factory().get_parameters_from_forall(node),
                               [this](const auto& variable) { return is_partial(variable->type()); });
  });
}

std::vector<Node*> TypeHierarchyCompiler::without_partial_foralls(Node* expression) const {
  if (!has_foralls_ || !has_partial_variable(expression)) return {expression};
  return expand_foralls(env(), expression,
                        [this](const TypePtr& type) { return values_for(*problem_, type); });
}

/// From expressions of the input to those of the new problem.
NodeRewrite TypeHierarchyCompiler::rewriting(NodeMap parameters) const {
  parameters.insert(new_instances_.begin(), new_instances_.end());
  const auto substitute =
      std::make_shared<RetypingSubstituter>(env(), std::move(parameters), new_heads_,
                                            [this](const TypePtr& type) { return types_.joined_type(type); });
  return [substitute](Node* node) { return (*substitute)(node); };
}

Node* TypeHierarchyCompiler::new_value(Node* value) const {
  const auto found = new_instances_.find(value);
  return found == new_instances_.end() ? value : found->second;
}

Node* TypeHierarchyCompiler::value_back(Node* value) const {
  const auto found = old_instances_.find(value);
  return found == old_instances_.end() ? value : found->second;
}

Node* TypeHierarchyCompiler::value_forward(Node* value) const { return new_value(value); }

Node* TypeHierarchyCompiler::condition_back(Node* condition) const {
  return ExpressionSubstituter(env(), old_instances_, old_heads_, false)(condition);
}

Node* TypeHierarchyCompiler::condition_forward(Node* condition) const { return rewriting({})(condition); }

}  // namespace zorvel::model
