#include "parsers/anml_builder.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <limits>

#include "core/errors.h"
#include "model/model_factory.h"
#include "model/walkers/expression_simplifier.h"

namespace zorvel {

using namespace model;

namespace {

// Ceilings that no problem of a person comes near; what they refuse would cost square or exponential time, or
// a call stack as deep as the text.
constexpr std::size_t max_digits = 10000;
constexpr std::size_t max_open_types = 100;
constexpr std::size_t max_open_foralls = 100;
constexpr std::size_t max_nested_sets = 100;
constexpr std::size_t max_exclusive_or_size = 1000000;  // operands of the expression when written out
constexpr std::size_t max_hints_of_a_kind = 20;

/// Removes the last `count` items of a stack and gives them in their order.
template <class T>
std::vector<T> take_last(std::vector<T>& stack, std::size_t count) {
  assert(count <= stack.size());
  const auto first = stack.end() - static_cast<std::ptrdiff_t>(count);
  std::vector<T> items(std::make_move_iterator(first), std::make_move_iterator(stack.end()));
  stack.erase(first, stack.end());
  return items;
}

void add_to_scope(TypeScope& scope, const AnmlDeclaration& declaration) {
  struct Add {
    TypeScope& scope;
    void operator()(const std::shared_ptr<ActionImpl>& action) { scope.add_action(action); }
    void operator()(const std::shared_ptr<UserTypeImpl>& type) { scope.add_user_type(type); }
    void operator()(const std::shared_ptr<FluentImpl>& fluent) { scope.add_fluent(fluent); }
    void operator()(const std::shared_ptr<ConstantImpl>& constant) { scope.add_constant(constant); }
  };
  std::visit(Add{scope}, declaration);
}

}  // namespace

AnmlBuilder::AnmlBuilder(Environment& env, ProblemPtr problem)
    : env_(env),
      factory_(env.expression_factory()),
      problem_(std::move(problem)),
      wildcard_(factory_.make_unresolved_symbol("*", {})) {
  ModelFactory& types = env.model_factory();
  boolean_type_ = types.make_boolean_type();
  integer_type_ = types.make_integer_type();
  float_type_ = types.make_rational_type();
}

// Tokens.

const AnmlName* AnmlBuilder::name(std::string_view text) {
  if (const auto found = names_.find(text); found != names_.end()) return found->second.get();
  auto name = std::make_unique<AnmlName>();
  name->text = text;
  name->symbol = factory_.make_unresolved_symbol(name->text, {});
  const AnmlName* const result = name.get();
  names_.emplace(std::string_view(result->text), std::move(name));
  return result;
}

const std::string* AnmlBuilder::text(std::string_view text) { return &texts_.emplace_back(text); }

const std::string* AnmlBuilder::string_literal(std::string_view text) {
  line_ += static_cast<int>(std::count(text.begin(), text.end(), '\n'));
  return this->text(text.substr(1, text.size() - 2));
}

// Types.

const TypePtr* AnmlBuilder::keep(TypePtr type) { return &types_.emplace_back(std::move(type)); }
const TypePtr* AnmlBuilder::boolean_type() { return &boolean_type_; }
const TypePtr* AnmlBuilder::integer_type() { return &integer_type_; }
const TypePtr* AnmlBuilder::float_type() { return &float_type_; }

const TypePtr* AnmlBuilder::integer_type(Node* lower, Node* upper) {
  const integer& from = factory_.get_integer_constant(lower);
  const integer& to = factory_.get_integer_constant(upper);
  if (to < from) handle_error("The range [" + from.str() + ", " + to.str() + "] is empty");
  return keep(env_.model_factory().make_integer_type(from, to));
}

const TypePtr* AnmlBuilder::float_type(Node* lower, Node* upper) {
  const rational& to = factory_.get_rational_constant(upper);
  const rational& from = factory_.get_rational_constant(lower);
  if (to < from) handle_error("The range [" + from.str() + ", " + to.str() + "] is empty");
  return keep(env_.model_factory().make_rational_type(from, to));
}

const TypePtr* AnmlBuilder::set_type(const TypePtr* element) {
  std::size_t depth = 1;
  for (const TypeBase* type = element->get(); type->is_set(); ++depth)
    type = static_cast<const SetTypeBase*>(type)->type().get();
  if (depth > max_nested_sets) handle_error("Sets are nested too deeply");
  return keep(env_.model_factory().make_set_type(*element));
}

const TypePtr* AnmlBuilder::named_type(const AnmlName* name) {
  AnmlName& known = *names_.at(name->text);
  if (!known.type) known.type = env_.model_factory().make_unresolved_type(name->text);
  return &known.type;
}

// Declarations.

// why none: raw objects stay out of the factory's tables. Interned, two types with an action of the same text
// would share it, and its place and its cost with it.
std::weak_ptr<ModelFactory> AnmlBuilder::raw_factory() { return {}; }

ParameterVector AnmlBuilder::take_parameters(Count count) { return take_last(parameters_, count); }

AnmlBuilder::Count AnmlBuilder::parameter(const TypePtr* type, const AnmlName* name, int line) {
  parameters_.push_back(std::make_shared<ParameterImpl>(name->text, *type));
  lines_.add_declaration(parameters_.back().get(), {line, line});
  return 1;
}

AnmlBuilder::Count AnmlBuilder::name_item(const AnmlName* name, int line) {
  listed_names_.push_back({name, line});
  return 1;
}

void AnmlBuilder::declare_fluent(const TypePtr* type, const AnmlName* name, Count parameters, int line) {
  auto fluent = std::make_shared<FluentImpl>(raw_factory(), name->text, std::vector<std::string>(), *type);
  for (const auto& parameter : take_parameters(parameters)) fluent->add_parameter(parameter);
  lines_.add_declaration(fluent.get(), {line, line_});
  declared_ = std::move(fluent);
}

void AnmlBuilder::declare_constant(const TypePtr* type, const AnmlName* name, Count parameters, int line) {
  auto constant =
      std::make_shared<ConstantImpl>(raw_factory(), name->text, std::vector<std::string>(), *type);
  for (const auto& parameter : take_parameters(parameters)) constant->add_parameter(parameter);
  lines_.add_declaration(constant.get(), {line, line_});
  declared_ = std::move(constant);
}

void AnmlBuilder::open_type() {
  if (++open_types_ > max_open_types) handle_error("Types are nested too deeply");
}

std::shared_ptr<UserTypeImpl> zorvel_anml_parser_user_type(
    Environment& env, const std::string& name, const std::vector<std::shared_ptr<UnresolvedType>>& bases,
    const std::vector<AnmlDeclaration>& members) {
  const auto type = env.model_factory().make_fresh_user_type(name);
  for (const AnmlDeclaration& member : members) add_to_scope(*type, member);
  for (const auto& base : bases) type->add_base_type(base);
  return type;
}

void AnmlBuilder::declare_type(const AnmlName* name, Count bases, Count members, int line) {
  --open_types_;
  // The bases come last one first: the language says so.
  const std::vector<ListedName> base_names = take_last(listed_names_, bases);
  std::vector<std::shared_ptr<UnresolvedType>> base_types;
  for (auto base = base_names.rbegin(); base != base_names.rend(); ++base)
    base_types.push_back(env_.model_factory().make_unresolved_type(base->name->text));
  auto type = zorvel_anml_parser_user_type(env_, name->text, base_types, take_last(members_, members));
  lines_.add_declaration(type.get(), {line, line_});
  declared_ = std::move(type);
}

void AnmlBuilder::declare_action(bool is_process, const AnmlName* name, Count parameters, Count body,
                                 int line) {
  auto action =
      std::make_shared<ActionImpl>(env_, raw_factory(), name->text, std::vector<std::string>(), is_process);
  for (const auto& parameter : take_parameters(parameters)) action->add_parameter(parameter);
  for (Node* statement : take_body(body)) action->add_expression(statement);
  lines_.add_declaration(action.get(), {line, line_});
  declared_ = std::move(action);
}

void AnmlBuilder::declare_action_with_cost(const AnmlName* name, Count parameters, Count annotations,
                                           Count body, int line) {
  const std::vector<Annotation> list = take_annotations(annotations);
  declare_action(false, name, parameters, body, line);
  if (list.size() != 2 || list[0].text == nullptr || *list[0].text != "cost") return;
  Node* const cost = expression_of(list[1], "Expected expression as const of an action in annotation!");
  lines_.add_statement(cost, list[1].lines, false);
  costs_.emplace(std::get<std::shared_ptr<ActionImpl>>(declared_), cost);
}

void AnmlBuilder::add_declaration() { add_to_scope(*problem_, declared_); }

AnmlBuilder::Count AnmlBuilder::member() {
  members_.push_back(declared_);
  return 1;
}

void AnmlBuilder::add_fluent_with_value(Node* value, int line) {
  const auto fluent = std::get<std::shared_ptr<FluentImpl>>(declared_);
  problem_->add_fluent(fluent);
  Node* const assign = factory_.make_assign(name(fluent->name())->symbol, value);
  Node* const start = factory_.make_point_interval(factory_.make_start_anchor());
  lines_.add_mention(name(fluent->name())->symbol, line);
  add_statement({factory_.make_temporal_expression(start, assign), {line, line_}});
  if (fluent->has_parameters())
    hint(Hint::VALUE_WITHOUT_ARGUMENTS, line,
         "a value in a declaration has no arguments, so fluent '" + fluent->name() +
             "' with parameters cannot have one: assign it in a forall at [start]");
}

void AnmlBuilder::add_constant_with_value(Node* value, int line) {
  const auto constant = std::get<std::shared_ptr<ConstantImpl>>(declared_);
  problem_->add_constant(constant);
  lines_.add_mention(name(constant->name())->symbol, line);
  add_statement({factory_.make_assign(name(constant->name())->symbol, value), {line, line_}});
}

void AnmlBuilder::add_instances(const TypePtr* type, Count names) {
  const auto user_type = std::dynamic_pointer_cast<UserTypeImpl>(*type);
  const std::vector<ListedName> list = take_last(listed_names_, names);
  if (!user_type) handle_error("Only a user type has instances");
  for (const ListedName& item : list) {
    const auto instance = env_.model_factory().make_instance(item.name->text, user_type);
    lines_.add_declaration(instance.get(), {item.line, item.line});
    problem_->add_instance(instance);
  }
}

// Statements.

AnmlBuilder::Count AnmlBuilder::statement(Node* expression, int line) {
  statements_.push_back({expression, {line, line_}});
  return 1;
}

AnmlBuilder::Count AnmlBuilder::block(Node* interval, Count statements) {
  for (std::size_t i = statements_.size() - statements; i < statements_.size(); ++i)
    statements_[i].expression = factory_.make_temporal_expression(interval, statements_[i].expression);
  return statements;
}

void AnmlBuilder::add_statement(const Statement& statement) {
  lines_.add_statement(statement.expression, statement.lines, true);
  problem_->add_expression(statement.expression);
}

void AnmlBuilder::add_statements(Count statements) {
  for (const Statement& statement : take_last(statements_, statements)) add_statement(statement);
}

bool AnmlBuilder::lacks_interval(const Node* statement) const {
  if (ExpressionFactory::is_temporal_expression(statement)) return false;
  if (!ExpressionFactory::is_forall(statement)) return true;
  return std::any_of(statement->operands().begin(), statement->operands().end(),
                     [&](const Node* inner) { return lacks_interval(inner); });
}

void AnmlBuilder::add_goals(Count statements) {
  for (const Statement& statement : take_last(statements_, statements)) {
    add_statement(statement);
    if (lacks_interval(statement.expression))
      hint(Hint::GOAL_WITHOUT_INTERVAL, statement.lines.first,
           "a goal without an interval is a condition at [start]; write [end] for the end of the plan");
  }
}

std::vector<Node*> AnmlBuilder::take_body(Count count) {
  std::vector<Node*> body;
  body.reserve(count);
  for (const Statement& statement : take_last(statements_, count)) {
    lines_.add_statement(statement.expression, statement.lines, false);
    body.push_back(statement.expression);
  }
  return body;
}

void AnmlBuilder::open_forall() {
  if (++open_foralls_ > max_open_foralls) handle_error("Foralls are nested too deeply");
}

Node* AnmlBuilder::forall(Count parameters, Count body) {
  --open_foralls_;
  const ParameterVector variables = take_parameters(parameters);
  std::vector<std::string> names;
  for (const auto& variable : variables) names.push_back(variable->name());
  std::sort(names.begin(), names.end());
  if (const auto twice = std::adjacent_find(names.begin(), names.end()); twice != names.end())
    throw RedefinitionError("Parameter '") << *twice << "' already defined for this forall";
  return factory_.make_forall(variables, take_body(body));
}

// Annotations.

AnmlBuilder::Count AnmlBuilder::string_annotation(const std::string* text) {
  annotations_.push_back({nullptr, text, {}});
  return 1;
}

AnmlBuilder::Count AnmlBuilder::expression_annotation(Node* expression, int line) {
  annotations_.push_back({expression, nullptr, {line, line_}});
  return 1;
}

std::vector<AnmlBuilder::Annotation> AnmlBuilder::take_annotations(Count count) {
  return take_last(annotations_, count);
}

Node* AnmlBuilder::expression_of(const Annotation& annotation, const char* error) const {
  if (annotation.expression == nullptr) handle_error(error);
  return annotation.expression;
}

void AnmlBuilder::add_annotation(Count annotations) {
  const std::vector<Annotation> list = take_annotations(annotations);
  const bool is_metric = (list.size() == 2 || list.size() == 3) && list[0].text != nullptr &&
                         list[1].text != nullptr && *list[0].text == "metric";
  const auto begins_with = [&](const char* text) { return list[0].text != nullptr && *list[0].text == text; };
  if (is_metric)
    add_metric(*list[1].text, list);
  else if (list.size() == 1 && begins_with("mutual-exclusion"))
    rules_.has_mutual_exclusion = true;
  else if (list.size() == 4 && begins_with("always-within"))
    add_always_within(list);
  else
    env_.warning_manager().warn("Unsupported annotation found.");
  problem_->set_rules(rules_);
}

void AnmlBuilder::add_always_within(const std::vector<Annotation>& list) {
  const char* const expected = "'always-within' needs a number and two conditions";
  Node* const limit = model::ExpressionSimplifier(env_)(expression_of(list[1], expected));
  if (!model::ExpressionFactory::is_numeric_constant(limit)) handle_error(expected);
  rules_.always_within.push_back({factory().get_numeric_constant(limit), expression_of(list[2], expected),
                                  expression_of(list[3], expected)});
}

void AnmlBuilder::add_metric(const std::string& name, const std::vector<Annotation>& list) {
  const auto objective = [&](const char* error) {
    Node* const expression = expression_of(list[2], error);
    lines_.add_statement(expression, list[2].lines, true);
    return expression;
  };
  // why nothing else happens: any other pair of name and length is allowed and means nothing.
  if (name == "minimize-makespan" && list.size() == 2) {
    problem_->add_metric(std::make_shared<MinimizeMakespan>());
  } else if (name == "minimize-action-cost" && list.size() == 3) {
    minimizes_cost_ = true;
    default_cost_ = objective("Expected expression as default value for 'minimize-action-cost' metric");
  } else if (name == "minimize" && list.size() == 3) {
    problem_->add_metric(std::make_shared<MinimizeExpressionOnFinalValue>(
        objective("Expected expression as minimization objective")));
  } else if (name == "maximize" && list.size() == 3) {
    problem_->add_metric(std::make_shared<MaximizeExpressionOnFinalValue>(
        objective("Expected expression as maximization objective")));
  }
}

// Expressions.

AnmlBuilder::Count AnmlBuilder::list_item(Node* expression) {
  expressions_.push_back(expression);
  return 1;
}

std::vector<Node*> AnmlBuilder::take_expressions(Count count) { return take_last(expressions_, count); }

Node* AnmlBuilder::symbol(const AnmlName* name, int line) {
  lines_.add_mention(name->symbol, line);
  return name->symbol;
}

Node* AnmlBuilder::application(const AnmlName* name, Count arguments, int line) {
  lines_.add_mention(name->symbol, line);
  return factory_.make_unresolved_symbol(name->text, take_expressions(arguments));
}

Node* AnmlBuilder::label_reference(const AnmlName* name) { return factory_.make_label_reference(name->text); }
Node* AnmlBuilder::set(Count members) { return factory_.make_set_constant(take_expressions(members)); }

void AnmlBuilder::check_length(const std::string& digits) const {
  if (digits.size() > max_digits)
    handle_error("A number of " + std::to_string(digits.size()) + " characters is too long");
}

Node* AnmlBuilder::natural(const std::string* digits, bool is_negative) {
  check_length(*digits);
  const integer value(*digits);
  return factory_.make_integer_constant(is_negative ? -value : value);
}

Node* AnmlBuilder::decimal(const std::string* digits, bool is_negative) {
  check_length(*digits);
  const rational value = rational_from_string(*digits);
  return factory_.make_rational_constant(is_negative ? -value : value);
}

Node* AnmlBuilder::whole(bool is_closed) {
  return factory_.make_interval(factory_.make_start_anchor(), factory_.make_end_anchor(), is_closed,
                                is_closed);
}

Node* AnmlBuilder::labelled(Node* interval, const AnmlName* label) {
  if (!ExpressionFactory::is_contains(interval))
    handle_error("The label '" + label->text + "' stands behind an interval without 'contains'");
  return factory_.make_contains(interval->children[0], interval->arity == 2 ? interval->children[1] : nullptr,
                                label->text);
}

Node* AnmlBuilder::duration_within(Node* lower, Node* upper) {
  return factory_.make_in_assign(factory_.make_duration_anchor(),
                                 factory_.make_closed_interval(lower, upper));
}

Node* AnmlBuilder::not_equal(Node* a, Node* b) { return factory_.make_not(factory_.make_equals(a, b)); }

std::size_t AnmlBuilder::printed_size(Node* root) {
  std::vector<std::pair<Node*, bool>> stack{{root, false}};
  while (!stack.empty()) {
    const auto [node, is_ready] = stack.back();
    if (is_ready) {
      std::size_t size = 1;
      for (Node* child : node->operands())
        size = std::min(size + printed_sizes_.at(child), 2 * max_exclusive_or_size);
      printed_sizes_[node] = size;
      stack.pop_back();
    } else if (printed_sizes_.contains(node)) {
      stack.pop_back();
    } else {
      stack.back().second = true;
      for (Node* child : node->operands()) stack.emplace_back(child, false);
    }
  }
  return printed_sizes_.at(root);
}

Node* AnmlBuilder::exclusive_or(Node* a, Node* b) {
  // Both operands occur twice in the result, so a chain doubles with each link: few nodes, but a text that no
  // message could hold.
  if (printed_size(a) + printed_size(b) > max_exclusive_or_size / 2)
    handle_error("The exclusive or is nested too deeply");
  return factory_.make_and(factory_.make_or(a, b), factory_.make_not(factory_.make_and(a, b)));
}

Node* AnmlBuilder::plus(Node* a, Node* b) { return last_sum_ = factory_.make_plus(a, b); }

Node* AnmlBuilder::minus(Node* a, Node* b, int line) {
  if (b == last_sum_)
    hint(
        Hint::CHAIN, line,
        "operators group to the right: 'a - b - c' means 'a - (b - c)', and 'a - b + c' means 'a - (b + c)'");
  return last_sum_ = factory_.make_minus(a, b);
}

Node* AnmlBuilder::times(Node* a, Node* b) { return last_product_ = factory_.make_times(a, b); }

Node* AnmlBuilder::divide(Node* a, Node* b, int line) {
  if (b == last_product_)
    hint(
        Hint::CHAIN, line,
        "operators group to the right: 'a / b / c' means 'a / (b / c)', and 'a / b * c' means 'a / (b * c)'");
  if (ExpressionFactory::is_integer_constant(a) && ExpressionFactory::is_integer_constant(b) &&
      !ExpressionFactory::is_zero(b)) {
    const integer& dividend = factory_.get_integer_constant(a);
    const integer& divisor = factory_.get_integer_constant(b);
    if (dividend / divisor * divisor != dividend)
      hint(Hint::INTEGER_DIVISION, line,
           "the quotient of two integers is cut to an integer; write a decimal number, such as 0.5, for a "
           "fraction");
  }
  return last_product_ = factory_.make_div(a, b);
}

Node* AnmlBuilder::parenthesised(Node* expression) {
  last_sum_ = last_product_ = nullptr;
  return expression;
}

Node* AnmlBuilder::member_of(Node* object, Node* member) { return factory_.make_scoping(object, member); }

void AnmlBuilder::hint(Hint kind, int line, const std::string& text) {
  HintCount& count = hints_[static_cast<std::size_t>(kind)];
  if (count.given > max_hints_of_a_kind || count.last_line == line) return;
  count.last_line = line;
  if (++count.given > max_hints_of_a_kind)
    env_.warning_manager().warn("More warnings of the same kind are left out: " + text);
  else
    env_.warning_manager().warn("line " + std::to_string(line) + ": " + text);
}

}  // namespace zorvel
