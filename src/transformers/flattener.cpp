#include "transformers/flattener.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/model_factory.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/instantiate_walker.h"
#include "plans/time_triggered_plan.h"
#include "transformers/constant_order.h"
#include "transformers/membership.h"
#include "transformers/plan_mapping.h"
#include "transformers/retyping_substituter.h"

namespace zorvel::model {

namespace {

constexpr std::string_view unknown_to_flattener = "Found an action that is unknown to the flattener!";

/// Turns flat names into scoped ones: `_T_f(o, x)` to `o.f(x)`.
class ScopingWalker : public ExpressionIdentity {
 public:
  ScopingWalker(Environment& environment, const NodeMap& old_heads, const NodeMap& old_instances)
      : ExpressionIdentity(environment), old_heads_(old_heads), old_instances_(old_instances) {}

 protected:
  Node* walk_instance_reference(Node* node) const override {
    const auto found = old_instances_.find(node);
    return found == old_instances_.end() ? node : found->second;
  }
  Node* walk_fluent_reference(Node* node) const override {
    const auto found =
        old_heads_.find(factory().make_fluent_reference(factory().get_fluent_from_reference(node), {}));
    if (found == old_heads_.end()) return ExpressionIdentity::walk_fluent_reference(node);
    const auto fluent = factory().get_fluent_from_reference(found->second);
    std::vector<Node*> arguments = memoized_children(node);
    if (fluent->arity() == arguments.size()) return factory().make_fluent_reference(fluent, arguments);
    Node* const object = arguments.front();
    arguments.erase(arguments.begin());
    return factory().make_scoping(object, factory().make_fluent_reference(fluent, arguments));
  }

 private:
  const NodeMap& old_heads_;
  const NodeMap& old_instances_;
};

}  // namespace

void Flattener::do_computation() {
  ZORVEL_LOG(DEBUG) << "Flattener started!";
  for (const auto& [name, fluent] : problem_->fluents()) names_.reserve(name);
  for (const auto& [name, constant] : problem_->constants()) names_.reserve(name);
  for (const auto& [name, action] : problem_->actions()) names_.reserve(name);
  for (const auto& [name, instance] : problem_->instances()) names_.reserve(name);

  ZORVEL_LOG(DEBUG) << "--> Re-introduce the user-types as a non-structured enumerations";
  Path path;
  build_types(path, *problem_);
  for (const auto& [old, flat] : types_)
    for (const TypePtr& base : static_cast<const UserTypeImpl*>(old)->base_types())
      flat->add_base_type(flat_type(base));

  ZORVEL_LOG(DEBUG) << "--> Re-introduce the top-level instances, fluents and constants";
  add_instances();
  for (const auto& [name, fluent] : problem_->fluents()) add_fluent(*fluent, fluent->path(), nullptr);
  for (const auto& [name, constant] : problem_->constants())
    constants_.push_back({constant, {constant->path(), nullptr}});
  MetricRewriter metrics(*problem_);
  for (const auto& [name, type] : problem_->user_types()) add_members(path, *type);
  std::vector<std::shared_ptr<ConstantImpl>> constants;
  for (const auto& [constant, place] : constants_) {
    constant_places_[constant.get()] = constants.size();
    constants.push_back(constant);
  }
  for (const auto& constant : in_order_of_use(factory(), constants)) add_constant(constant);
  for (const auto& [name, type] : problem_->user_types()) add_actions(path, *type, metrics);
  for (const auto& [name, action] : problem_->actions())
    add_action(action, name, action->path(), nullptr, metrics);

  ZORVEL_LOG(DEBUG) << "--> Rewrite the expressions to get rid of scoping";
  const NodeRewrite rewrite = rewriting(nullptr, {});
  parts_.expressions.assign(problem_->expressions().begin(), problem_->expressions().end());
  parts_.labels_ordering = problem_->labels_ordering();
  assert(problem_->rules().initial_defaults.empty());  // their fluents would be the old ones
  parts_.rules = problem_->rules();
  parts_.rewrite_statements(rewrite);
  parts_.metrics = metrics.metrics(rewrite);
  new_problem_ = parts_.make(env());
  parts_ = ProblemParts();
  ZORVEL_LOG(DEBUG) << "Flattening completed!";
}

std::string Flattener::flat_name(const Path& path, const std::string& name) {
  std::string result = "_";
  for (const std::string& part : path) result += part + "_";
  return names_.unique(result + name);
}

void Flattener::build_types(Path& path, const TypeScope& scope) {
  for (const auto& [name, type] : scope.user_types()) {
    // why fresh: the flat name may be that of a structured type, of this problem or another one.
    const auto flat = env().model_factory().make_fresh_user_type(flat_name(path, name));
    types_[type.get()] = flat;
    parts_.user_types.push_back(flat);
    path.push_back(name);
    build_types(path, *type);
    path.pop_back();
  }
}

void Flattener::add_instances() {
  for (const auto& [name, instance] : problem_->instances()) {
    const auto found = types_.find(instance->type().get());
    if (found == types_.end())
      throw InternalError("The type of the instance '") << name << "' is not declared in the problem";
    const auto flat = env().model_factory().make_instance(name, found->second);
    parts_.instances.push_back(flat);
    Node* const old_reference = factory().make_instance_reference(instance);
    Node* const new_reference = factory().make_instance_reference(flat);
    new_instances_[old_reference] = new_reference;
    old_instances_[new_reference] = old_reference;
  }
}

TypePtr Flattener::flat_type(const TypePtr& type) const {
  if (type->is_set())
    return env().model_factory().make_set_type(flat_type(static_cast<const SetTypeBase&>(*type).type()));
  const auto found = types_.find(type.get());
  return found == types_.end() ? type : found->second;
}

/// The parameters with flat types, behind the object of the owner if there is one. Pairs of references go to
/// `references`, if given.
ParameterVector Flattener::flat_parameters(const ParameterVector& parameters, const UserTypeImpl* owner,
                                           NodeMap* references) const {
  ParameterVector result;
  if (owner != nullptr) {
    FreshNames names;
    for (const auto& parameter : parameters) names.reserve(parameter->name());
    result.push_back(std::make_shared<ParameterImpl>(names.unique("object"), types_.at(owner)));
  }
  for (const auto& parameter : parameters) {
    result.push_back(std::make_shared<ParameterImpl>(parameter->name(), flat_type(parameter->type())));
    if (references != nullptr)
      (*references)[factory().make_parameter_reference(parameter)] =
          factory().make_parameter_reference(result.back());
  }
  return result;
}

void Flattener::add_members(Path& path, const UserTypeImpl& type) {
  path.push_back(type.name());
  for (const auto& [name, fluent] : type.fluents()) add_fluent(*fluent, path, &type);
  for (const auto& [name, constant] : type.constants()) constants_.push_back({constant, {path, &type}});
  for (const auto& [name, nested] : type.user_types()) add_members(path, *nested);
  path.pop_back();
}

void Flattener::add_fluent(const FluentImpl& fluent, const Path& path, const UserTypeImpl* owner) {
  const auto old =
      owner == nullptr ? problem_->fluents().at(fluent.name()) : owner->fluents().at(fluent.name());
  const auto flat = env().model_factory().make_fluent(
      owner == nullptr ? fluent.name() : flat_name(path, fluent.name()), flat_type(fluent.type()),
      owner == nullptr ? path : Path(), flat_parameters(fluent.parameters(), owner, nullptr));
  parts_.fluents.push_back(flat);
  Node* const old_head = factory().make_fluent_reference(old, {});
  Node* const new_head = factory().make_fluent_reference(flat, {});
  (owner == nullptr ? top_level_heads_ : member_heads_)[old_head] = new_head;
  old_heads_[new_head] = old_head;
}

void Flattener::add_constant(const std::shared_ptr<ConstantImpl>& constant) {
  const auto& [path, owner] = constants_[constant_places_.at(constant.get())].second;
  const auto flat = env().model_factory().make_constant(
      owner == nullptr ? constant->name() : flat_name(path, constant->name()), flat_type(constant->type()),
      owner == nullptr ? path : Path(), flat_parameters(constant->parameters(), owner, nullptr),
      flat_values(*constant, owner));
  parts_.constants.push_back(flat);
  (owner == nullptr ? top_level_heads_ : member_heads_)[factory().make_constant_reference(constant, {})] =
      factory().make_constant_reference(flat, {});
}

/// One table for what were tables by instance: the instance becomes the first argument.
ConstantImpl::Values Flattener::flat_values(const ConstantImpl& constant, const UserTypeImpl* owner) const {
  auto result = std::make_shared<FunctionValueImpl>();
  const auto add_table = [&](const FunctionValueImpl& table, Node* object) {
    NodeRewrite rewrite;  // made on need: it copies the tables of names, and most values are plain
    const auto flat = [&](Node* node) {
      if (ExpressionFactory::is_value(node)) {
        const auto found = new_instances_.find(node);
        return found == new_instances_.end() ? node : found->second;
      }
      if (!rewrite) rewrite = rewriting(object, {});
      return rewrite(node);
    };
    for (const auto& [arguments, value] : table.sorted_assignments()) {
      std::vector<Node*> key;
      if (object != nullptr) key.push_back(object);
      for (Node* argument : arguments) key.push_back(flat(argument));
      if (!result->has_assignments(key)) result->add_assignment(key, flat(value));
    }
  };
  for (const auto& [key, table] : constant.all_values()) {
    if (table == nullptr || (owner != nullptr && key.empty())) continue;
    if (owner != nullptr && !problem_->has_instance(key))
      throw InternalError("The constant '")
          << constant.name() << "' has a value for '" << key << "', which is no instance of the problem";
    add_table(*table,
              owner == nullptr
                  ? nullptr
                  : new_instances_.at(factory().make_instance_reference(problem_->instances().at(key))));
  }
  // why last: a value without an object holds for those objects that have none of their own.
  if (const auto table = constant.value(); owner != nullptr && table != nullptr)
    for (const auto& [name, instance] : problem_->instances())
      if (is_a(*instance->type(), *owner))
        add_table(*table, new_instances_.at(factory().make_instance_reference(instance)));
  if (!result->has_assignments()) return {};
  return {{std::string(), result}};
}

void Flattener::add_actions(Path& path, const UserTypeImpl& type, MetricRewriter& metrics) {
  path.push_back(type.name());
  for (const auto& [name, action] : type.actions())
    add_action(action, flat_name(path, name), {}, &type, metrics);
  for (const auto& [name, nested] : type.user_types()) add_actions(path, *nested, metrics);
  path.pop_back();
}

void Flattener::add_action(const std::shared_ptr<ActionImpl>& action, const std::string& name,
                           const Path& path, const UserTypeImpl* owner, MetricRewriter& metrics) {
  if (!action->simulated_effects().empty())
    throw UnsupportedProblemError("Flattening cannot be applied to problem with simulated effects");
  NodeMap references;
  const ParameterVector parameters = flat_parameters(action->parameters(), owner, &references);
  Node* const object = owner == nullptr ? nullptr : factory().make_parameter_reference(parameters.front());
  const NodeRewrite rewrite = rewriting(object, std::move(references));
  std::vector<Node*> expressions;
  for (Node* expression : action->expressions()) expressions.push_back(rewrite(expression));
  if (owner != nullptr) add_availability(*action, *owner, name, object, expressions);
  const auto flat =
      env().model_factory().make_action(name, path, action->is_process(), parameters, expressions, {});
  parts_.actions.push_back(flat);
  old_to_new_[action] = flat;
  new_to_old_[flat] = action;
  metrics.carry_cost(action, flat, rewrite);
}

/// An object of a type that has a nearer action of this name does not have this one.
void Flattener::add_availability(const ActionImpl& action, const UserTypeImpl& owner, const std::string& name,
                                 Node* object, std::vector<Node*>& expressions) {
  bool is_hidden = false;
  std::vector<Node*> objects;
  for (const auto& [instance_name, instance] : problem_->instances()) {
    if (!is_a(*instance->type(), owner)) continue;
    if (instance->type()->find_action(action.name()).get() == &action)
      objects.push_back(new_instances_.at(factory().make_instance_reference(instance)));
    else
      is_hidden = true;
  }
  if (!is_hidden) return;
  parts_.constants.push_back(
      make_membership(env(), names_.unique("__has" + name), types_.at(&owner), objects));
  expressions.push_back(membership_at_start(factory(), parts_.constants.back(), object));
}

/// From expressions of the input, in the scope of the object (null outside of one), to flat ones.
NodeRewrite Flattener::rewriting(Node* object, NodeMap parameters) const {
  parameters.insert(new_instances_.begin(), new_instances_.end());
  const auto instantiate = std::make_shared<InstantiateWalker>(env(), member_heads_, object);
  const auto substitute =
      std::make_shared<RetypingSubstituter>(env(), std::move(parameters), top_level_heads_,
                                            [this](const TypePtr& type) { return flat_type(type); });
  return [instantiate, substitute](Node* node) { return (*substitute)((*instantiate)(node)); };
}

Node* Flattener::scoped_again(Node* expression) const {
  return expression == nullptr ? nullptr : ScopingWalker(env(), old_heads_, old_instances_)(expression);
}

ActionStep Flattener::map_back(const ActionStep& step) const {
  const auto found = new_to_old_.find(step.action);
  if (found == new_to_old_.end()) return step;
  ActionStep result{nullptr, found->second, {}};
  const ExpressionSubstituter translate(env(), old_instances_, {}, false);
  for (Node* parameter : step.parameters) result.parameters.push_back(translate(parameter));
  if (step.action->parameters().size() == result.action->parameters().size()) return result;
  if (result.parameters.empty() || !ExpressionFactory::is_instance_reference(result.parameters.front()))
    throw InternalError("Invalid object parameter for action ") << step.action->name();
  result.instance = factory().get_instance_from_reference(result.parameters.front());
  result.parameters.erase(result.parameters.begin());
  return result;
}

std::shared_ptr<Plan> Flattener::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "flattener", [this](const PlannedStep& planned) {
    find_action(new_to_old_, planned.step.action, unknown_to_flattener);
    return MappedStep{map_back(planned.step), scoped_again(planned.post_condition)};
  });
}

std::vector<ActionStep> Flattener::map_forward(const ActionStep& step) const {
  ActionStep result{nullptr, find_action(old_to_new_, step.action, unknown_to_flattener), {}};
  const ExpressionSubstituter translate(env(), new_instances_, {}, false);
  if (step.instance != nullptr)
    result.parameters.push_back(translate(factory().make_instance_reference(step.instance)));
  for (Node* parameter : step.parameters) result.parameters.push_back(translate(parameter));
  return {result};
}

std::shared_ptr<TimeTriggeredPlan> Flattener::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>& plan) const {
  const NodeRewrite rewrite = rewriting(nullptr, {});
  return map_time_triggered(plan, [&](const PlannedStep& planned) {
    Node* const condition = planned.post_condition == nullptr ? nullptr : rewrite(planned.post_condition);
    std::vector<MappedStep> images;
    for (const ActionStep& step : map_forward(planned.step)) images.push_back({step, condition});
    return images;
  });
}

}  // namespace zorvel::model
