#include "pddl/model_builder.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <unordered_map>

#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "pddl/assignments.h"
#include "pddl/effects.h"
#include "pddl/expansion.h"
#include "pddl/initial_state.h"
#include "pddl/metrics.h"
#include "pddl/monitors.h"
#include "pddl/times.h"
#include "pddl/type_families.h"
#include "transformers/fresh_names.h"
#include "transformers/membership.h"

namespace zorvel::pddl {

namespace {

using namespace model;
using Kind = ExpressionKind;
using F = ExpressionFactory;

// Each of them may be written by every action.
constexpr std::size_t max_watched_choices = 10000;

class ModelBuilder : public EnvObject {
 public:
  ModelBuilder(Environment& env, Task& task, Messages& messages)
      : EnvObject(env),
        factory_(env.expression_factory()),
        task_(task),
        messages_(messages),
        initial_state_(task, messages),
        expansion_(task, initial_state_, messages),
        families_(task),
        choices_(factory_, [this] { return make_truth_table(); }),
        monitors_(factory_, choices_, [this] { return make_hidden_fluent("__seen", true, {}); }),
        fluents_(task.fluents.size()),
        constants_(task.fluents.size()),
        parameters_(task.variable_count()) {}

  BuiltProblem build();

 private:
  void declare_objects();
  void declare_fluents();
  void declare_initial_state();
  void declare_timed_facts();
  void declare_goals();
  void declare_constraint(const Expression& constraint, Binding& binding);
  void declare_simple_constraint(const Expression& constraint, const Binding& binding);
  void declare_parameters();
  void declare_watched_conditions(const Action& action);
  void watch(const Action& action, const Expression& condition);
  void declare_action(const Action& action);

  std::string take_name(const std::string& name) { return names_.unique(name); }
  /// The same for something that no text has.
  std::string take_hidden_name(const std::string& name) {
    std::string taken = take_name(name);
    source_->written_names[taken].clear();
    return taken;
  }
  /// The same for something that has this name in the text.
  std::string take_written_name(const std::string& name) {
    std::string taken = take_name(name);
    if (taken != name) source_->written_names[taken] = name;
    return taken;
  }
  const TypePtr& type_of(const Sort& sort) const { return types_[families_.family_of(sort)]; }
  ParameterVector parameters_of(const std::vector<const Variable*>& variables);
  std::shared_ptr<ConstantImpl> constant_of(const Fluent& fluent);
  Node* membership(const Variable& parameter);
  Node* reference(const Fluent& fluent, const std::vector<Node*>& arguments);
  Node* instance(const Object& object) const { return instances_[object.number]; }
  std::vector<Node*> instances_of(const std::vector<const Object*>& objects) const;

  std::shared_ptr<FluentImpl> make_hidden_fluent(const char* name, bool is_boolean,
                                                 ParameterVector parameters);
  std::shared_ptr<ConstantImpl> make_truth_table();

  Node* node(const Expression& expression);
  std::vector<Node*> nodes(const std::vector<const Expression*>& expressions);
  Node* at(Node* time, Node* body) {
    return factory_.make_temporal_expression(factory_.make_point_interval(time), body);
  }
  Node* interval(Time time);
  void add_conditions(const Expression& condition, Time time, std::vector<Node*>& statements);

  void add_duration(const Action& action, std::vector<Node*>& statements);
  void add_duration_bound(const Action& action, const Expression& bound, std::vector<Node*>& statements);
  void add_action_conditions(const Action& action, std::vector<Node*>& statements);
  void add_effects(const Action& action, std::vector<Node*>& statements);
  Node* condition_of(const Change& change);
  Node* keep(Node* value, bool is_boolean);
  void begin_watching(const std::vector<Node*>& assignments);
  void add_kept_values(std::vector<Node*>& statements);
  std::vector<Node*> own_parameters();
  void set_default(const std::shared_ptr<FluentImpl>& fluent);
  void add_place(const void* object, const Place& place, const void* owner = nullptr) {
    source_->add_place(object, {place.file, place.line, place.column}, owner);
  }
  /// Keeps the places of the conditions that were made since the last time, now that their action is there.
  void add_statement_places(const void* owner) {
    for (const auto& [statement, place] : statement_places_) add_place(statement, place, owner);
    statement_places_.clear();
  }

  ExpressionFactory& factory_;
  Task& task_;
  Messages& messages_;
  const InitialState initial_state_;
  Expansion expansion_;
  const TypeFamilies families_;
  Choices choices_;
  Monitors monitors_;
  FreshNames names_;  // of everything: the model has one space of names
  std::shared_ptr<ProblemSource> source_ = std::make_shared<ProblemSource>();

  std::vector<TypePtr> types_;                             // by family
  std::vector<std::shared_ptr<UserTypeImpl>> user_types_;  // the same
  std::vector<std::shared_ptr<InstanceImpl>> instance_objects_;
  std::vector<Node*> instances_;                      // by number of the object
  std::vector<std::shared_ptr<FluentImpl>> fluents_;  // by number; null for what never changes
  std::vector<std::shared_ptr<FluentImpl>> hidden_fluents_;
  std::vector<std::shared_ptr<ConstantImpl>> constants_;  // by number; null until it is needed
  std::unordered_map<const Sort*, std::shared_ptr<ConstantImpl>> memberships_;
  std::vector<std::shared_ptr<ConstantImpl>> hidden_constants_;
  std::vector<std::shared_ptr<ParameterImpl>> parameters_;  // by number of the variable
  std::vector<std::string> action_names_;                   // as the model has them
  std::vector<ParameterVector> action_parameters_;
  std::vector<std::shared_ptr<ActionImpl>> actions_;
  std::vector<Node*> statements_;                                // of the problem
  std::vector<std::pair<const Node*, Place>> statement_places_;  // of an action that is being made
  model::PlanRules rules_{.has_mutual_exclusion = true, .always_within = {}, .initial_defaults = {}};
  const Action* action_ = nullptr;             // the one at hand
  std::vector<const Expression*> conditions_;  // of the action at hand, without times
  std::vector<std::pair<Node*, Node*>> kept_;  // what it keeps from its start on, and where
  /// A condition of effects at the end that has to hold all the time in between. It is watched from the start
  /// on: the memory is true as long as it holds.
  struct Watched {
    Node* condition;
    Node* memory;              // the hidden fluent with the action's parameters
    Node* at_start = nullptr;  // whether it holds behind the start
  };
  std::map<const Action*, std::vector<Watched>> watched_;  // looked up only
  Time time_ = Time::start;                                // of the expression at hand
  Node* duration_ = nullptr;  // what `?duration` stands for; null where it stands for nothing
  ActionCosts costs_;
  LeftOut preferences_;
};

void ModelBuilder::declare_objects() {
  // why first: plans show the names of objects and actions, so others give way to them.
  for (const Object& object : task_.objects) names_.reserve(object.name.text);
  for (const Action& action : task_.actions) {
    const std::string name = take_written_name(action.name.text);
    PlanNames::ActionName shown{action.name.text, {}, !action.is_durative};
    for (std::size_t i = 0; i < action.parameters.size(); ++i) shown.order.push_back(i);
    source_->names.add(name, std::move(shown));
    action_names_.push_back(name);
  }
  for (TypeFamilies::Family family = 0; family < families_.size(); ++family) {
    user_types_.push_back(env().model_factory().make_fresh_user_type(take_name(families_.name(family))));
    types_.push_back(user_types_.back());
  }
  for (const Object& object : task_.objects) {
    instance_objects_.push_back(
        env().model_factory().make_instance(object.name.text, user_types_[families_.family_of(object)]));
    instances_.push_back(factory_.make_instance_reference(instance_objects_.back()));
    source_->names.add_object(object.name.text);
    add_place(instance_objects_.back().get(), object.name.place);
  }
}

ParameterVector ModelBuilder::parameters_of(const std::vector<const Variable*>& variables) {
  ParameterVector result;
  FreshNames names;
  for (const Variable* variable : variables)
    result.push_back(
        std::make_shared<ParameterImpl>(names.unique(variable->name.text), type_of(*variable->sort)));
  return result;
}

void ModelBuilder::declare_fluents() {
  for (const Fluent& fluent : task_.fluents) {
    if (!initial_state_.changes(fluent)) continue;
    fluents_[fluent.number] =
        env().model_factory().make_fluent(take_written_name(fluent.name.text),
                                          fluent.is_function ? env().model_factory().make_rational_type()
                                                             : env().model_factory().make_boolean_type(),
                                          {}, parameters_of(fluent.parameters));
    add_place(fluents_[fluent.number].get(), fluent.name.place);
  }
}

std::shared_ptr<ConstantImpl> ModelBuilder::constant_of(const Fluent& fluent) {
  std::shared_ptr<ConstantImpl>& constant = constants_[fluent.number];
  if (constant != nullptr) return constant;
  auto table = fluent.is_function
                   ? std::make_shared<FunctionValueImpl>()
                   : std::make_shared<FunctionValueImpl>(factory_.make_boolean_constant(false));
  for (const InitialState::Row& row : initial_state_.rows(fluent)) {
    if (!row.holds) continue;
    table->add_assignment(instances_of(row.arguments), fluent.is_function
                                                           ? factory_.make_rational_constant(row.value)
                                                           : factory_.make_boolean_constant(true));
  }
  constant =
      env().model_factory().make_constant(take_written_name(fluent.name.text),
                                          fluent.is_function ? env().model_factory().make_rational_type()
                                                             : env().model_factory().make_boolean_type(),
                                          {}, parameters_of(fluent.parameters), {{"", table}});
  add_place(constant.get(), fluent.name.place);
  return constant;
}

/// The condition that a parameter stands for an object of its type; null if its family has no others.
Node* ModelBuilder::membership(const Variable& parameter) {
  const Sort& sort = *parameter.sort;
  if (families_.is_whole(sort)) return nullptr;
  std::shared_ptr<ConstantImpl>& constant = memberships_[&sort];
  if (constant == nullptr) {
    std::string name = "__is";
    for (const Type* type : sort.types) name += "_" + type->name.text;
    constant = make_membership(env(), take_hidden_name(name), type_of(sort), instances_of(sort.objects));
    hidden_constants_.push_back(constant);
    source_->memberships[constant.get()] = to_text(sort);
  }
  return factory_.make_constant_reference(constant,
                                          {factory_.make_parameter_reference(parameters_[parameter.number])});
}

std::vector<Node*> ModelBuilder::instances_of(const std::vector<const Object*>& objects) const {
  std::vector<Node*> result;
  result.reserve(objects.size());
  for (const Object* object : objects) result.push_back(instance(*object));
  return result;
}

Node* ModelBuilder::reference(const Fluent& fluent, const std::vector<Node*>& arguments) {
  if (const auto& changing = fluents_[fluent.number])
    return factory_.make_fluent_reference(changing, arguments);
  return factory_.make_constant_reference(constant_of(fluent), arguments);
}

std::vector<Node*> ModelBuilder::nodes(const std::vector<const Expression*>& expressions) {
  std::vector<Node*> result;
  result.reserve(expressions.size());
  for (const Expression* expression : expressions) result.push_back(node(*expression));
  return result;
}

/// The expression of the model for one without quantifiers.
Node* ModelBuilder::node(const Expression& expression) {
  switch (expression.kind) {
    case Kind::truth:
    case Kind::falsity: return factory_.make_boolean_constant(expression.kind == Kind::truth);
    case Kind::object: return instance(*expression.object);
    case Kind::variable: return factory_.make_parameter_reference(parameters_[expression.variable->number]);
    case Kind::number: return factory_.make_rational_constant(expression.value);
    case Kind::duration:
      if (duration_ != nullptr)
        return time_ != Time::start && reads_fluents(duration_) ? keep(duration_, false) : duration_;
      messages_.error(expression.place,
                      "'?duration' stands for no number here: the duration of the action is "
                      "not given by '(= ?duration E)'");
      return factory_.make_rational_constant(rational(0));
    case Kind::total_time:
    case Kind::is_violated:
      messages_.error(expression.place, "only a metric can speak of this");
      return factory_.make_rational_constant(rational(0));
    default: break;
  }
  const std::vector<Node*> operands = nodes(expression.operands);
  switch (expression.kind) {
    case Kind::atom:
    case Kind::function: return reference(*expression.fluent, operands);
    case Kind::conjunction: return factory_.make_and(operands);
    case Kind::disjunction: return factory_.make_or(operands);
    case Kind::negation: return factory_.make_not(operands[0]);
    case Kind::equality: return factory_.make_equals(operands[0], operands[1]);
    case Kind::less: return factory_.make_lt(operands[0], operands[1]);
    case Kind::less_or_equal: return factory_.make_le(operands[0], operands[1]);
    case Kind::greater: return factory_.make_gt(operands[0], operands[1]);
    case Kind::greater_or_equal: return factory_.make_ge(operands[0], operands[1]);
    case Kind::plus: return factory_.make_plus(operands);
    case Kind::times: return factory_.make_times(operands);
    case Kind::divide: return factory_.make_div(operands[0], operands[1]);
    case Kind::minus:
      return operands.size() == 1 ? factory_.make_unary_minus(operands[0])
                                  : factory_.make_minus(operands[0], operands[1]);
    default: break;
  }
  assert(false && "quantifiers, times and effects are taken apart before");
  return factory_.make_boolean_constant(false);
}

Node* ModelBuilder::interval(Time time) {
  switch (time) {
    case Time::start: return factory_.make_point_interval(factory_.make_start_anchor());
    case Time::end: return factory_.make_point_interval(factory_.make_end_anchor());
    default: return factory_.make_open_interval(factory_.make_start_anchor(), factory_.make_end_anchor());
  }
}

/// A statement for each part of a condition without quantifiers.
void ModelBuilder::add_conditions(const Expression& condition, Time time, std::vector<Node*>& statements) {
  time_ = time;
  if (condition.kind == Kind::truth) return;
  if (condition.kind == Kind::conjunction) {
    for (const Expression* operand : condition.operands) add_conditions(*operand, time, statements);
    return;
  }
  statements.push_back(factory_.make_temporal_expression(interval(time), node(condition)));
  statement_places_.emplace_back(statements.back(), condition.place);
}

void ModelBuilder::declare_initial_state() {
  for (const Fluent& fluent : task_.fluents) {
    const auto& changing = fluents_[fluent.number];
    if (changing == nullptr) continue;
    // What is not said to be true is false, and is not written out.
    if (!fluent.is_function) set_default(changing);
    for (const InitialState::Row& row : initial_state_.rows(fluent)) {
      if (!row.holds) continue;
      Node* const value = fluent.is_function ? factory_.make_rational_constant(row.value)
                                             : factory_.make_boolean_constant(true);
      Node* const target = factory_.make_fluent_reference(changing, instances_of(row.arguments));
      statements_.push_back(at(factory_.make_start_anchor(), factory_.make_assign(target, value)));
    }
  }
}

/// False or 0 at the start where nothing else is said.
void ModelBuilder::set_default(const std::shared_ptr<FluentImpl>& fluent) {
  rules_.initial_defaults.push_back({fluent, fluent->type()->is_boolean()
                                                 ? factory_.make_boolean_constant(false)
                                                 : factory_.make_rational_constant(rational(0))});
}

std::shared_ptr<FluentImpl> ModelBuilder::make_hidden_fluent(const char* name, bool is_boolean,
                                                             ParameterVector parameters) {
  ModelFactory& factory = env().model_factory();
  hidden_fluents_.push_back(factory.make_fluent(
      take_hidden_name(name), is_boolean ? factory.make_boolean_type() : factory.make_rational_type(), {},
      std::move(parameters)));
  return hidden_fluents_.back();
}

std::shared_ptr<ConstantImpl> ModelBuilder::make_truth_table() {
  ModelFactory& factory = env().model_factory();
  const auto table = std::make_shared<FunctionValueImpl>();
  for (const bool value : {false, true})
    table->add_assignment({factory_.make_boolean_constant(value)},
                          factory_.make_rational_constant(rational(value ? 1 : 0)));
  const auto parameter = std::make_shared<ParameterImpl>("x", factory.make_boolean_type());
  hidden_constants_.push_back(factory.make_constant(take_hidden_name("__truth"), factory.make_rational_type(),
                                                    {}, {parameter}, {{"", table}}));
  return hidden_constants_.back();
}

void ModelBuilder::declare_timed_facts() {
  struct Moment {
    Place place;
    std::vector<Node*> targets;  // in the order of the text
    std::map<Node*, Node*> values;
  };
  std::map<rational, Moment> moments;
  Node* const yes = factory_.make_boolean_constant(true);
  for (const Fact& fact : task_.facts) {
    if (is_initial(fact)) continue;
    Moment& moment = moments[*fact.time];
    Node* const target =
        factory_.make_fluent_reference(fluents_[fact.fluent->number], instances_of(fact.arguments));
    Node* const value = fact.fluent->is_function ? factory_.make_rational_constant(fact.value)
                                                 : factory_.make_boolean_constant(fact.holds);
    Node*& known = moment.values[target];
    if (known == nullptr) moment.targets.push_back(target);
    if (known != yes) known = value;  // an add wins over a delete
    moment.place = fact.place;
  }
  for (const auto& [time, moment] : moments) {
    std::vector<Node*> assignments;
    for (Node* target : moment.targets)
      assignments.push_back(factory_.make_assign(target, moment.values.at(target)));
    for (Node* update : monitors_.updates(assignments)) assignments.push_back(update);
    for (Node* assignment : assignments)
      statements_.push_back(at(factory_.make_rational_constant(time), assignment));
  }
}

void ModelBuilder::declare_goals() {
  const Binding nothing(task_);
  for (const Expression* goal : task_.goals) {
    const Expression* const required = without_preferences(task_, *goal, preferences_, messages_);
    for (const TimedExpression& part : distribute_times(task_, *required, messages_)) {
      if (part.expression != required && part.time != Time::end)
        messages_.error(part.expression->place, "a goal holds at the end");
      add_conditions(*expansion_.condition(*part.expression, nothing), Time::end, statements_);
    }
  }
  add_statement_places(nullptr);
}

/// The constraint without its quantifiers; those inside of its conditions stay.
void ModelBuilder::declare_constraint(const Expression& constraint, Binding& binding) {
  switch (constraint.kind) {
    case Kind::truth: return;
    case Kind::conjunction:
      for (const Expression* operand : constraint.operands) declare_constraint(*operand, binding);
      return;
    case Kind::forall:
      Expansion::for_each_choice(
          constraint.variables, binding, [] { return false; },
          [&] { declare_constraint(*constraint.operands[0], binding); });
      return;
    default: declare_simple_constraint(constraint, binding);
  }
}

void ModelBuilder::declare_simple_constraint(const Expression& constraint, const Binding& binding) {
  Node* const start = factory_.make_start_anchor();
  Node* const end = factory_.make_end_anchor();
  const auto number = [&](std::size_t i) {
    return factory_.make_plus(start, factory_.make_rational_constant(constraint.operands[i]->value));
  };
  const auto condition = [&](std::size_t i) {
    return node(*expansion_.condition(*constraint.operands[i], binding));
  };
  Expansion start_values(task_, initial_state_, messages_, true);
  const auto at_start = [&](std::size_t i) {
    return start_values.condition(*constraint.operands[i], binding)->kind == Kind::truth;
  };
  const auto state = [&](Node* when, Node* what) {
    statements_.push_back(factory_.make_temporal_expression(when, what));
  };
  const auto sometime_within = [&](Node* last, Node* what) {
    state(factory_.make_contains(factory_.make_closed_interval(start, last), nullptr, ""), what);
  };
  switch (constraint.kind) {
    case Kind::end: return state(factory_.make_point_interval(end), condition(0));
    case Kind::always: return state(factory_.make_closed_interval(start, end), condition(0));
    case Kind::sometime: return sometime_within(end, condition(0));
    case Kind::within: return sometime_within(number(0), condition(1));
    case Kind::hold_during:
      return state(factory_.make_left_open_interval(number(0), number(1)), condition(2));
    case Kind::hold_after: return state(factory_.make_left_open_interval(number(0), end), condition(1));
    case Kind::at_most_once: return monitors_.at_most_once(condition(0), statements_);
    case Kind::sometime_after:
      return monitors_.sometime_after(condition(0), condition(1), at_start(0), at_start(1), statements_);
    case Kind::sometime_before: return monitors_.sometime_before(condition(0), condition(1), statements_);
    default: rules_.always_within.push_back({constraint.operands[0]->value, condition(1), condition(2)});
  }
}

void ModelBuilder::add_duration_bound(const Action& action, const Expression& bound,
                                      std::vector<Node*>& statements) {
  switch (bound.kind) {
    case Kind::truth: return;
    case Kind::conjunction:
    case Kind::at_start:
    case Kind::at_end:
      for (const Expression* operand : bound.operands) add_duration_bound(action, *operand, statements);
      return;
    case Kind::over_all: messages_.error(bound.place, "a duration is read at the start"); return;
    default: break;
  }
  const Binding nothing(task_);
  const bool is_turned = bound.operands[1]->kind == Kind::duration;
  Node* const value = node(*expansion_.number(*bound.operands[is_turned ? 0 : 1], nothing));
  Node* const left = is_turned ? value : factory_.make_duration_anchor();
  Node* const right = is_turned ? factory_.make_duration_anchor() : value;
  switch (bound.kind) {
    case Kind::equality:
      duration_ = value;
      statements.push_back(factory_.make_equals(factory_.make_duration_anchor(), value));
      return;
    case Kind::less: statements.push_back(factory_.make_lt(left, right)); return;
    case Kind::less_or_equal: statements.push_back(factory_.make_le(left, right)); return;
    case Kind::greater: statements.push_back(factory_.make_gt(left, right)); return;
    default: statements.push_back(factory_.make_ge(left, right)); return;
  }
}

void ModelBuilder::add_duration(const Action& action, std::vector<Node*>& statements) {
  duration_ = nullptr;
  time_ = Time::start;
  Node* const zero = factory_.make_rational_constant(rational(0));
  if (!action.is_durative)
    statements.push_back(factory_.make_equals(factory_.make_duration_anchor(), zero));
  else if (action.duration != nullptr && action.duration->kind != Kind::truth)
    add_duration_bound(action, *action.duration, statements);
  else
    statements.push_back(factory_.make_ge(factory_.make_duration_anchor(), zero));
}

void ModelBuilder::add_action_conditions(const Action& action, std::vector<Node*>& statements) {
  for (const Variable* parameter : action.parameters)
    if (Node* const member = membership(*parameter))
      statements.push_back(at(factory_.make_start_anchor(), member));
  if (action.condition == nullptr) return;
  const Binding nothing(task_);
  const Expression* const required = without_preferences(task_, *action.condition, preferences_, messages_);
  for (const TimedExpression& part : distribute_times(task_, *required, messages_)) {
    if (!action.is_durative && part.expression != required)
      messages_.error(part.expression->place,
                      "an ':action' has no 'at start', 'over all' and 'at end'; a ':durative-action' has");
    conditions_.push_back(expansion_.condition(*part.expression, nothing));
    add_conditions(*conditions_.back(), part.time, statements);
  }
}

void ModelBuilder::declare_parameters() {
  for (const Action& action : task_.actions) {
    action_parameters_.push_back(parameters_of(action.parameters));
    for (std::size_t i = 0; i < action.parameters.size(); ++i)
      parameters_[action.parameters[i]->number] = action_parameters_.back()[i];
  }
}

bool has_objects(const Action& action) {
  return std::none_of(action.parameters.begin(), action.parameters.end(),
                      [](const Variable* parameter) { return parameter->sort->objects.empty(); });
}

/// Whether there is an `over all` in the condition of a `when`.
bool has_watched_conditions(const Expression& effect, bool is_condition = false) {
  if (effect.kind == Kind::over_all) return is_condition;
  for (std::size_t i = 0; i < effect.operands.size(); ++i)
    if (has_watched_conditions(*effect.operands[i], is_condition || (effect.kind == Kind::when && i == 0)))
      return true;
  return false;
}

/// Every event may end what an action watches, so this has to be known before any action is made.
void ModelBuilder::declare_watched_conditions(const Action& action) {
  if (action.effect == nullptr || !has_objects(action) || !has_watched_conditions(*action.effect)) return;
  action_ = &action;
  for (const Change& change : changes_of(action, task_, expansion_, messages_))
    for (const TimedExpression& condition : change.conditions)
      if (condition.time == Time::all && change.time == Time::end) watch(action, *condition.expression);
}

void ModelBuilder::watch(const Action& action, const Expression& condition) {
  time_ = Time::all;
  duration_ = nullptr;
  Node* const lifted = node(condition);
  std::vector<Watched>& known = watched_[&action];
  if (std::any_of(known.begin(), known.end(), [&](const Watched& w) { return w.condition == lifted; }))
    return;
  const auto fluent = make_hidden_fluent("__held", true, parameters_of(action.parameters));
  set_default(fluent);
  known.push_back({lifted, factory_.make_fluent_reference(fluent, own_parameters())});
  Binding binding(task_);
  std::size_t choices = 0;
  const auto are_too_many = [&] { return choices > max_watched_choices; };
  Expansion::for_each_choice(action.parameters, binding, are_too_many, [&] { ++choices; });
  if (are_too_many()) {
    messages_.error(condition.place,
                    "the condition is watched from the start of the action to its end, and there "
                    "are more than " +
                        std::to_string(max_watched_choices) + " choices of the parameters of " +
                        quoted(action.name.text));
    return;
  }
  std::vector<const Object*> arguments;
  Expansion::for_each_choice(
      action.parameters, binding, [] { return false; },
      [&] {
        arguments.clear();
        for (const Variable* parameter : action.parameters) arguments.push_back(binding[*parameter]);
        Node* const memory = factory_.make_fluent_reference(fluent, instances_of(arguments));
        monitors_.throughout(memory, node(*expansion_.condition(condition, binding)));
      });
}

void ModelBuilder::begin_watching(const std::vector<Node*>& assignments) {
  for (Watched& watched : watched_[action_])
    watched.at_start = condition_after(factory_, choices_, watched.condition, assignments);
}

/// The condition of a `when` at the time of its effect; null if there is none.
Node* ModelBuilder::condition_of(const Change& change) {
  std::vector<Node*> conditions;
  for (const TimedExpression& condition : change.conditions) {
    time_ = condition.time;
    Node* const holds = node(*condition.expression);
    if (condition.time == change.time) {
      conditions.push_back(holds);
    } else if (condition.time == Time::start) {
      conditions.push_back(keep(holds, true));
    } else if (change.time == Time::start) {
      messages_.error(condition.expression->place,
                      "an effect at the start cannot depend on what is true later");
    } else {
      for (const Watched& watched : watched_[action_])
        if (watched.condition == holds) conditions.push_back(watched.memory);
    }
  }
  time_ = change.time;
  if (conditions.empty()) return nullptr;
  return conditions.size() == 1 ? conditions[0] : factory_.make_and(conditions);
}

/// A hidden fluent of the action that has the value of this expression at the start from then on.
Node* ModelBuilder::keep(Node* value, bool is_boolean) {
  for (const auto& [known, reference] : kept_)
    if (known == value) return reference;
  Node* const reference = factory_.make_fluent_reference(
      make_hidden_fluent("__kept", is_boolean, parameters_of(action_->parameters)), own_parameters());
  kept_.emplace_back(value, reference);
  return reference;
}

std::vector<Node*> ModelBuilder::own_parameters() {
  std::vector<Node*> result;
  for (const Variable* parameter : action_->parameters)
    result.push_back(factory_.make_parameter_reference(parameters_[parameter->number]));
  return result;
}

/// What an action keeps would be lost if it overlapped itself, so then it may not: a hidden fluent is true
/// while it is open.
void ModelBuilder::add_kept_values(std::vector<Node*>& statements) {
  const std::vector<Watched>& watched_conditions = watched_[action_];
  if (kept_.empty() && watched_conditions.empty()) return;
  Node* const start = factory_.make_start_anchor();
  for (const Watched& watched : watched_conditions)
    statements.push_back(at(start, factory_.make_assign(watched.memory, watched.at_start)));
  for (const auto& [value, reference] : kept_)
    statements.push_back(at(start, factory_.make_assign(reference, value)));
  Node* const is_open = factory_.make_fluent_reference(
      make_hidden_fluent("__open", true, parameters_of(action_->parameters)), own_parameters());
  Node* const no = factory_.make_boolean_constant(false);
  statements.push_back(at(start, factory_.make_not(is_open)));
  statements.push_back(at(start, factory_.make_assign(is_open, factory_.make_boolean_constant(true))));
  statements.push_back(at(factory_.make_end_anchor(), factory_.make_assign(is_open, no)));
  // Nothing reads what is kept before it is set, but a search wants to know all values.
  set_default(factory_.get_fluent_from_reference(is_open));
  for (const auto& [value, reference] : kept_) set_default(factory_.get_fluent_from_reference(reference));
}

void ModelBuilder::add_effects(const Action& action, std::vector<Node*>& statements) {
  const std::vector<Change> changes = changes_of(action, task_, expansion_, messages_);
  for (const Time time : {Time::start, Time::end}) {
    std::vector<ModelChange> at_time;
    time_ = time;
    for (const Change& change : changes) {
      if (change.time != time) continue;
      at_time.push_back({&change, node(*change.target),
                         change.value == nullptr ? nullptr : node(*change.value), condition_of(change)});
    }
    JoinedChanges joined = join_changes(
        factory_, choices_, [this](const Object& object) { return instance(object); }, at_time, messages_);
    for (Node* condition : joined.conditions)
      statements.push_back(at(factory_.make_start_anchor(), condition));
    std::vector<Node*> begun;
    if (time == Time::start) {
      begin_watching(joined.assignments);
      for (const Watched& watched : watched_[action_]) begun.push_back(watched.memory);
    }
    for (Node* update : monitors_.updates(joined.assignments, begun)) joined.assignments.push_back(update);
    for (Node* assignment : joined.assignments)
      statements.push_back(factory_.make_temporal_expression(interval(time), assignment));
    for (const ModelChange& change : at_time)
      if (change.value != nullptr && change.target->arity == 0) costs_.note(actions_.size(), change);
  }
}

void ModelBuilder::declare_action(const Action& action) {
  action_ = &action;
  conditions_.clear();
  kept_.clear();
  const ParameterVector& parameters = action_parameters_[actions_.size()];
  std::vector<Node*> statements;
  add_duration(action, statements);
  if (has_objects(action)) {
    add_action_conditions(action, statements);
    add_effects(action, statements);
    add_kept_values(statements);
  } else {
    // Without an object for a parameter, what is said of it may have no type that fits.
    statements.push_back(at(factory_.make_start_anchor(), factory_.make_boolean_constant(false)));
  }
  actions_.push_back(env().model_factory().make_action(action_names_[actions_.size()], {}, false, parameters,
                                                       statements, {}));
  add_place(actions_.back().get(), action.name.place);
  add_statement_places(actions_.back().get());
}

BuiltProblem ModelBuilder::build() {
  declare_objects();
  declare_fluents();
  declare_initial_state();
  declare_goals();
  Binding binding(task_);
  for (const Expression* constraint : task_.constraints)
    declare_constraint(*without_preferences(task_, *constraint, preferences_, messages_), binding);
  declare_parameters();
  for (const Action& action : task_.actions) declare_watched_conditions(action);
  declare_timed_facts();
  for (const Action& action : task_.actions) declare_action(action);
  std::vector<std::shared_ptr<PlanQualityMetric>> metrics;
  if (task_.metric) {
    const Binding nothing(task_);
    const Metric metric{task_.metric->place, task_.metric->is_maximized,
                        expansion_.number(*task_.metric->expression, nothing)};
    const auto to_node = [&](const Expression& expression) { return node(expression); };
    metrics = build_metrics(factory_, metric, to_node, costs_, actions_, messages_);
  }
  messages_.raise_errors();
  if (preferences_.count > 0)
    messages_.warn(
        preferences_.first,
        "preferences are left out of account; there " +
            (preferences_.count == 1 ? std::string("is one") : "are " + std::to_string(preferences_.count)));
  std::vector<std::shared_ptr<FluentImpl>> fluents(hidden_fluents_);
  std::vector<std::shared_ptr<ConstantImpl>> constants;
  std::copy_if(fluents_.begin(), fluents_.end(), std::back_inserter(fluents),
               [](const auto& f) { return !!f; });
  std::copy_if(constants_.begin(), constants_.end(), std::back_inserter(constants),
               [](const auto& c) { return !!c; });
  constants.insert(constants.end(), hidden_constants_.begin(), hidden_constants_.end());
  return {env().model_factory().make_problem_instance(actions_, fluents, constants, instance_objects_,
                                                      user_types_, statements_, {}, metrics, rules_),
          source_};
}

}  // namespace

BuiltProblem build_problem(Environment& env, Task& task, Messages& messages) {
  return ModelBuilder(env, task, messages).build();
}

}  // namespace zorvel::pddl
