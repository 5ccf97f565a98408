#include "parsers/pddl_builder.h"

#include <algorithm>
#include <cassert>
#include <iterator>

#include "core/errors.h"
#include "model/model_factory.h"

namespace zorvel {

using namespace model;

namespace {

using F = ExpressionFactory;

// Ceilings that no problem of a person comes near; what they refuse would cost square time.
constexpr std::size_t max_digits = 10000;
constexpr std::size_t max_nested_intervals = 100;  // around one effect

/// Removes the last `count` items of a stack and gives them in their order.
template <class T>
std::vector<T> take_last(std::vector<T>& stack, std::size_t count) {
  assert(count <= stack.size());
  const auto first = stack.end() - static_cast<std::ptrdiff_t>(count);
  std::vector<T> items(std::make_move_iterator(first), std::make_move_iterator(stack.end()));
  stack.erase(first, stack.end());
  return items;
}

bool is_reference(const Node* node) { return F::is_fluent_reference(node) || F::is_unresolved_symbol(node); }

}  // namespace

PddlBuilder::PddlBuilder(Environment& env, ProblemPtr problem, PddlSources sources)
    : env_(env),
      factory_(env.expression_factory()),
      problem_(std::move(problem)),
      sources_(std::move(sources)) {}

// Places.

void PddlBuilder::new_line() {
  next_line();
  if (line_ == sources_.first_line_of_problem) open_forms_of_domain_ = open_parentheses_;
}

void PddlBuilder::close_parenthesis() {
  if (open_parentheses_ > 0) --open_parentheses_;
  if (open_parentheses_ < open_forms_of_domain_) open_forms_of_domain_ = 0;
}

PddlPlace PddlBuilder::place(int line) const {
  const int first = sources_.first_line_of_problem;
  if (first == 0) return {false, line};
  if (line < first) return {false, line};
  if (open_forms_of_domain_ > 0) return {false, first - 1};
  return {true, std::min(line, sources_.last_line) - first + 1};
}

void PddlBuilder::warn(int line, const std::string& text) {
  const PddlPlace where = place(line);
  const std::string& file = where.is_in_problem ? sources_.problem : sources_.domain;
  const std::string prefix = file.empty() ? "line " : file + ":";
  env_.warning_manager().warn(prefix + std::to_string(where.line) + ": " + text);
}

// Tokens.

const PddlName* PddlBuilder::name(std::string_view text) {
  if (const auto found = names_.find(text); found != names_.end()) return found->second.get();
  auto name = std::make_unique<PddlName>();
  name->text = text;
  name->symbol = factory_.make_unresolved_symbol(name->text, {});
  const PddlName* const result = name.get();
  names_.emplace(std::string_view(result->text), std::move(name));
  return result;
}

const PddlName* PddlBuilder::parameter_name(std::string_view text) {
  return name("_param_" + std::string(text.substr(1)));
}

// Types and objects.

PddlBuilder::Count PddlBuilder::named_item(const PddlName* name, int line) {
  typed_items_.push_back({name, line, false});
  return 1;
}

PddlBuilder::Count PddlBuilder::type_item(const PddlName* name, int line) {
  typed_items_.push_back({name, line, true});
  return 1;
}

std::shared_ptr<UserTypeImpl> PddlBuilder::declared_type(const PddlName* name, int line) {
  const auto known = problem_->user_types().find(name->text);
  if (known != problem_->user_types().end()) return known->second;
  auto type = env_.model_factory().make_fresh_user_type(name->text);
  lines_.add_declaration(type.get(), {line, line});
  at_line(line, [&] { problem_->add_user_type(type); });
  return type;
}

void PddlBuilder::declare_types(Count count) {
  // A name has the type behind the next dash, so the list is read from its end. The order of the bases is
  // that of reading.
  const std::vector<TypedItem> items = take_last(typed_items_, count);
  TypePtr base;
  for (auto item = items.rbegin(); item != items.rend(); ++item) {
    const auto type = declared_type(item->name, item->line);
    // why unresolved: types that inherit from each other would own each other until somebody finds out.
    if (item->is_type)
      base = env_.model_factory().make_unresolved_type(item->name->text);
    else if (base)
      type->add_base_type(base);
  }
}

void PddlBuilder::declare_objects(Count count) {
  const std::vector<TypedItem> items = take_last(typed_items_, count);
  std::vector<std::shared_ptr<UserTypeImpl>> types(items.size());
  auto type = env_.model_factory().make_unresolved_type("object");
  for (std::size_t i = items.size(); i-- > 0;) {
    if (items[i].is_type) type = env_.model_factory().make_unresolved_type(items[i].name->text);
    types[i] = type;
  }
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (items[i].is_type) continue;
    const auto object = env_.model_factory().make_instance(items[i].name->text, types[i]);
    lines_.add_declaration(object.get(), {items[i].line, items[i].line});
    at_line(items[i].line, [&] { problem_->add_instance(object); });
  }
}

// Fluents.

PddlBuilder::Count PddlBuilder::listed_name(const PddlName* name, int line) {
  listed_names_.push_back({name, line});
  return 1;
}

PddlBuilder::Count PddlBuilder::add_parameters(Count count, const TypePtr& type) {
  // The names of one group come last one first.
  const std::vector<ListedName> names = take_last(listed_names_, count);
  for (auto name = names.rbegin(); name != names.rend(); ++name) {
    parameters_.push_back({std::make_shared<ParameterImpl>(name->name->text, type), count});
    lines_.add_declaration(parameters_.back().parameter.get(), {name->line, name->line});
  }
  return count;
}

PddlBuilder::Count PddlBuilder::parameters(Count names, const PddlName* type) {
  return add_parameters(names, env_.model_factory().make_unresolved_type(type->text));
}

PddlBuilder::Count PddlBuilder::parameters_of_either(Count names, Count count, int line) {
  const std::vector<ListedName> alternatives = take_last(listed_names_, count);
  std::string text = "either";
  for (auto type = alternatives.rbegin(); type != alternatives.rend(); ++type) text += "_" + type->name->text;
  const bool is_new = !problem_->user_types().contains(text);
  const auto either = declared_type(name(text), line);
  if (is_new)
    for (const ListedName& alternative : alternatives) alternatives_.push_back({alternative, either});
  return add_parameters(names, env_.model_factory().make_unresolved_type(text));
}

std::vector<PddlBuilder::Parameter> PddlBuilder::take_parameters(Count count) {
  return take_last(parameters_, count);
}

void PddlBuilder::declare_fluent(const PddlName* name, const TypePtr& type, Count parameters, int line) {
  // why no factory, here and below: raw objects stay out of its tables, so that each has its own place.
  auto fluent = std::make_shared<FluentImpl>(std::weak_ptr<ModelFactory>(), name->text,
                                             std::vector<std::string>(), type);
  lines_.add_declaration(fluent.get(), {line, line_});
  at_line(line, [&] {
    for (const Parameter& parameter : take_parameters(parameters)) fluent->add_parameter(parameter.parameter);
    problem_->add_fluent(fluent);
  });
}

void PddlBuilder::declare_predicate(const PddlName* name, Count parameters, int line) {
  declare_fluent(name, env_.model_factory().make_boolean_type(), parameters, line);
}

void PddlBuilder::declare_function(const PddlName* name, Count parameters, int line) {
  declare_fluent(name, env_.model_factory().make_rational_type(), parameters, line);
}

// Actions.

LineRange PddlBuilder::lines_of(const Node* conjunct, LineRange around) const {
  const auto found = conjunct_lines_.find(conjunct);
  return found == conjunct_lines_.end() ? around : found->second;
}

void PddlBuilder::add_parts(std::vector<Item>& body, const Item& section) const {
  if (!F::is_and(section.expression)) {
    body.push_back(section);
    return;
  }
  for (Node* part : section.expression->operands()) body.push_back({part, lines_of(part, section.lines)});
}

void PddlBuilder::add_action(const PddlName* name, Count count, std::vector<Item> body, int line) {
  add_parts(body, condition_);
  for (const Effect& effect : effects_of(effect_.expression))
    body.push_back({effect.assignment, lines_of(effect.origin, effect_.lines)});
  conjunct_lines_.clear();

  const auto action = std::make_shared<ActionImpl>(env_, std::weak_ptr<ModelFactory>(),
                                                   "action_" + name->text, std::vector<std::string>(), false);
  lines_.add_declaration(action.get(), {line, line_});
  PlanNames::ActionName plan_name{name->text, std::vector<std::size_t>(count)};
  const std::vector<Parameter> parameters = take_parameters(count);
  for (std::size_t i = 0; i < count; ++i) action->add_parameter(parameters[i].parameter);
  for (std::size_t first = 0; first < count; first += parameters[first].group_size)
    for (std::size_t i = 0, size = parameters[first].group_size; i < size; ++i)
      plan_name.order[first + i] = first + size - 1 - i;
  for (const Item& statement : body) {
    lines_.add_statement(statement.expression, statement.lines, false);
    action->add_expression(statement.expression);
  }
  problem_->add_action(action);
  plan_names_.add(action->name(), std::move(plan_name));
}

void PddlBuilder::declare_action(const PddlName* name, Count parameters, int line) {
  std::vector<Item> body;
  add_parts(body, duration_);
  add_action(name, parameters, std::move(body), line);
}

void PddlBuilder::declare_uncontrollable_action(const PddlName* name, Count parameters, int line) {
  Node* const duration = bounded_duration(name, line);
  add_action(name, parameters, {{duration, duration_.lines}}, line);
}

PddlBuilder::DurationBounds PddlBuilder::read_bounds() {
  DurationBounds bounds;
  for (Node* bound : duration_.expression->operands()) {
    const bool is_le = F::is_le(bound);
    if (!is_le && !F::is_ge(bound)) {
      warn(lines_of(bound, duration_.lines).first,
           "this part of an uncontrollable duration is neither '<=' nor '>=' and is left out of account");
      continue;
    }
    const bool is_left = F::is_duration_anchor(bound->children[0]);
    (is_le == is_left ? bounds.upper : bounds.lower) = bound->children[is_left ? 1 : 0];
  }
  return bounds;
}

Node* PddlBuilder::bounded_duration(const PddlName* action, int line) {
  if (!F::is_and(duration_.expression)) return duration_.expression;
  const DurationBounds bounds = read_bounds();
  if (bounds.lower != nullptr && bounds.upper != nullptr)
    return factory_.make_in_assign(factory_.make_duration_anchor(),
                                   factory_.make_closed_interval(bounds.lower, bounds.upper));
  const char* const missing = bounds.lower != nullptr   ? "upper bound"
                              : bounds.upper != nullptr ? "lower bound"
                                                        : "bounds";
  line_ = line;  // the action's, for the message
  handle_error("The duration of the uncontrollable action '" + action->text + "' has no " + missing);
}

// Effects.

std::vector<PddlBuilder::Effect> PddlBuilder::effects_of(Node* root) const {
  struct Open {
    Node* node;
    const Node* origin;
    std::vector<Node*> intervals;  // around the node, from the outermost
  };
  std::vector<Effect> effects;
  std::vector<Open> stack;
  stack.push_back({root, root, {}});
  while (!stack.empty()) {
    Open open = std::move(stack.back());
    stack.pop_back();
    Node* const node = open.node;
    Node* const first = node->arity > 0 ? node->children[0] : nullptr;
    Node* assignment = nullptr;
    if (F::is_and(node)) {
      for (Node* child : node->operands()) stack.push_back({child, child, open.intervals});
      continue;
    }
    if (F::is_temporal_expression(node)) {
      if (open.intervals.size() == max_nested_intervals) handle_error("Effects are nested too deeply");
      open.intervals.push_back(first);
      stack.push_back({node->children[1], open.origin, std::move(open.intervals)});
      continue;
    }
    if (F::is_not(node) && is_reference(first))
      assignment = factory_.make_assign(first, factory_.make_boolean_constant(false));
    else if (F::is_equals(node) && is_reference(first))
      assignment = factory_.make_assign(first, node->children[1]);
    else if (is_reference(node))
      assignment = factory_.make_assign(node, factory_.make_boolean_constant(true));
    else
      handle_error("Found a malformed effect");
    for (auto interval = open.intervals.rbegin(); interval != open.intervals.rend(); ++interval)
      assignment = factory_.make_temporal_expression(*interval, assignment);
    effects.push_back({assignment, open.origin});
  }
  return effects;
}

std::vector<Node*> PddlBuilder::condition_to_effect(Node* effect) const {
  std::vector<Node*> assignments;
  for (const Effect& part : effects_of(effect)) assignments.push_back(part.assignment);
  return assignments;
}

// Problem.

void PddlBuilder::add_statement(Node* expression, LineRange lines) {
  lines_.add_statement(expression, lines, true);
  problem_->add_expression(expression);
}

void PddlBuilder::add_initial_value(Node* expression, int line) {
  const bool is_timed = F::is_temporal_expression(expression);
  // A fact at time 0 is a value at the start, lest the closed world gives the predicate a second one.
  const bool is_later = is_timed && !F::is_zero(expression->children[0]->children[0]);
  Node* const interval =
      is_later ? expression->children[0] : factory_.make_point_interval(factory_.make_start_anchor());
  for (const Effect& effect : effects_of(is_timed ? expression->children[1] : expression))
    add_statement(factory_.make_temporal_expression(interval, effect.assignment),
                  lines_of(effect.origin, {line, line_}));
  conjunct_lines_.clear();
}

void PddlBuilder::add_goal(Node* expression, int line) {
  std::vector<Item> goals;
  add_parts(goals, {expression, {line, line_}});
  conjunct_lines_.clear();
  for (const Item& goal : goals) add_statement(at_end(goal.expression), goal.lines);
}

void PddlBuilder::finish() {
  // Only now are all types known.
  for (const Alternative& alternative : alternatives_) {
    const std::string& name = alternative.type.name->text;
    if (name == "object") continue;  // it belongs to no text
    at_line(alternative.type.line, [&] {
      const auto known = problem_->user_types().find(name);
      if (known == problem_->user_types().end()) throw UnresolvedSymbolError(name) << ": type unknown";
      known->second->add_base_type(env_.model_factory().make_unresolved_type(alternative.either->name()));
    });
  }
}

// Expressions.

PddlBuilder::Count PddlBuilder::list_item(Node* expression, int line) {
  items_.push_back({expression, {line, line_}});
  return 1;
}

std::vector<Node*> PddlBuilder::take_operands(Count count) {
  const std::vector<Item> items = take_last(items_, count);
  std::vector<Node*> operands;
  operands.reserve(count);
  for (auto item = items.rbegin(); item != items.rend(); ++item) operands.push_back(item->expression);
  return operands;
}

Node* PddlBuilder::conjunction(Count operands) {
  for (std::size_t i = items_.size() - operands; i < items_.size(); ++i)
    conjunct_lines_[items_[i].expression] = items_[i].lines;
  return factory_.make_and(take_operands(operands));
}

Node* PddlBuilder::disjunction(Count operands) { return factory_.make_or(take_operands(operands)); }
Node* PddlBuilder::sum(Count operands) { return factory_.make_plus(take_operands(operands)); }
Node* PddlBuilder::product(Count operands) { return factory_.make_times(take_operands(operands)); }

Node* PddlBuilder::symbol(const PddlName* name, int line) {
  lines_.add_mention(name->symbol, line);
  return name->symbol;
}

Node* PddlBuilder::application(const PddlName* name, Count count, int line) {
  lines_.add_mention(name->symbol, line);
  std::vector<Node*> arguments = take_operands(count);
  std::reverse(arguments.begin(), arguments.end());
  return factory_.make_unresolved_symbol(name->text, arguments);
}

Node* PddlBuilder::number(const std::string* digits) {
  if (digits->size() > max_digits)
    handle_error("A number of " + std::to_string(digits->size()) + " characters is too long");
  return factory_.make_rational_constant(rational_from_string(*digits));
}

Node* PddlBuilder::at(Node* time, Node* expression) {
  return factory_.make_temporal_expression(factory_.make_point_interval(time), expression);
}

Node* PddlBuilder::over_all(Node* expression) {
  return factory_.make_temporal_expression(
      factory_.make_open_interval(factory_.make_start_anchor(), factory_.make_end_anchor()), expression);
}

}  // namespace zorvel
