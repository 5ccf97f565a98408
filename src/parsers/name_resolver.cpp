#include "parsers/name_resolver.h"

#include <map>
#include <stdexcept>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>

#include "core/errors.h"
#include "model/model_factory.h"
#include "model/type_checker.h"
#include "parsers/constant_assignments.h"
#include "parsers/name_substituter.h"

namespace zorvel {

using namespace model;

namespace {

using ActionPtr = std::shared_ptr<ActionImpl>;
using ConstantPtr = std::shared_ptr<ConstantImpl>;
using FluentPtr = std::shared_ptr<FluentImpl>;
using InstancePtr = std::shared_ptr<InstanceImpl>;
using UserTypePtr = std::shared_ptr<UserTypeImpl>;
using Path = std::vector<std::string>;

/// Types may inherit from types that inherit, but questions about them go up link by link.
constexpr std::size_t max_inheritance_depth = 1000;

/// The work on one problem: what the steps leave for those behind them.
class Resolution {
 public:
  /// `sources` may be null.
  Resolution(Environment& env, const ProblemPtr& raw, const SourceLines& lines, StatementSources* sources)
      : env_(env), raw_(raw), lines_(lines), sources_(sources), constant_values_(env) {}

  ProblemPtr run() {
    resolve_declarations();
    make_constants();
    bind_all_names();
    resolve_statements();
    for (const auto& [name, type] : raw_->user_types()) resolve_member_actions(*type, {name});
    for (const auto& [name, action] : raw_->actions()) new_actions_.push_back(resolve_action(action, {}));
    current_declaration_ = nullptr;
    return env_.model_factory().make_problem_instance(new_actions_, values_of(fluents_), problem_constants_,
                                                      values_of(instances_), values_of(raw_->user_types()),
                                                      statements_, label_orderings(), metrics(), rules_);
  }

  /// The line of what failed in `run`; 0 if unknown.
  int failing_line() const {
    if (failing_line_ != 0) return failing_line_;
    if (Node* statement = constant_values_.current_statement())
      return lines_.top_level_statement(statement).first;
    if (const ConstantImpl* constant = constant_values_.current_constant()) {
      const auto raw = raw_of_constant_.find(constant);
      return raw == raw_of_constant_.end() ? 0 : lines_.declaration(raw->second).first;
    }
    return lines_.declaration(current_declaration_).first;
  }

 private:
  template <class Key, class Value>
  static std::vector<Value> values_of(const std::map<Key, Value>& map) {
    std::vector<Value> values;
    values.reserve(map.size());
    for (const auto& [key, value] : map) values.push_back(value);
    return values;
  }

  // Declarations.

  void resolve_declarations() {
    enter_types(*raw_);
    // A declared type "object" is the root that everybody means.
    if (types_.find("object") == nullptr) types_.bind("object", env_.model_factory().make_object_type());
    resolve_base_types(*raw_);
    check_inheritance();
    for (const auto& [name, constant] : raw_->constants())
      declared_constants_.push_back(typed_constant(constant, {}));
    number_of_problem_constants_ = declared_constants_.size();
    for (const auto& [name, fluent] : raw_->fluents()) fluents_[name] = typed_fluent(fluent, {});
    find_cost_metric();
    for (const auto& [name, action] : raw_->actions()) resolve_action_head(action);
    for (const auto& [name, instance] : raw_->instances()) instances_[name] = typed_instance(instance);
    for (const auto& [name, type] : raw_->user_types()) resolve_members(*type, {name});
  }

  void enter_types(const TypeScope& scope) {
    for (const auto& [name, type] : scope.user_types()) {
      types_.bind(name, type);
      types_.bind("set(" + name + ")", env_.model_factory().make_set_type(type));
    }
  }

  void resolve_base_types(const TypeScope& scope) {
    for (const auto& [name, type] : scope.user_types()) {
      current_declaration_ = type.get();
      all_types_.push_back(type);
      const std::vector<TypePtr> bases = type->base_types();
      for (const TypePtr& base : bases) {
        if (!base->is_unresolved()) continue;
        const std::string& base_name = static_cast<const UnresolvedType&>(*base).name();
        const TypePtr* found = types_.find(base_name);
        if (found == nullptr)
          throw UnresolvedSymbolError(base_name) << ": unknown type used in inheritance statement";
        type->resolve_base_type(base, *found);
      }
    }
  }

  /// Refuses types that inherit from themselves, and chains that are too long to be followed.
  void check_inheritance() {
    struct Step {
      const UserTypeImpl* type;
      std::size_t next_base;
    };
    std::unordered_map<const TypeBase*, std::size_t> depth;  // 0 while its bases are being looked at
    std::vector<Step> path;
    for (; inheritance_checked_ < all_types_.size(); ++inheritance_checked_) {
      const UserTypeImpl* const root = all_types_[inheritance_checked_].get();
      if (!depth.try_emplace(root, 0).second) continue;
      path.push_back({root, 0});
      while (!path.empty()) {
        auto& [type, next_base] = path.back();
        const auto& bases = type->base_types();
        if (next_base < bases.size()) {
          const auto* base = dynamic_cast<const UserTypeImpl*>(bases[next_base++].get());
          if (base == nullptr) continue;
          current_declaration_ = type;
          const auto [place, is_new] = depth.try_emplace(base, 0);
          if (!is_new && place->second == 0) {
            const std::string name = base->name();
            for (const auto& declared : all_types_) declared->clear_base_types();
            throw InvalidParameterError("Cyclic inheritance of type '") << name << "'";
          }
          if (is_new) path.push_back({base, 0});
          continue;
        }
        std::size_t deepest = 0;
        for (const TypePtr& base : bases) deepest = std::max(deepest, depth[base.get()]);
        depth[type] = deepest + 1;
        if (deepest + 1 > max_inheritance_depth)
          throw InvalidParameterError("The chain of inheritance of type '")
              << type->name() << "' is too long";
        path.pop_back();
      }
    }
  }

  TypePtr type_of(const TypePtr& raw_type, const void* declaration) {
    current_declaration_ = declaration;
    return resolve_type(env_, raw_type, types_);
  }

  ParameterVector typed_parameters(const ParameterVector& parameters) {
    ParameterVector typed;
    typed.reserve(parameters.size());
    for (const auto& parameter : parameters)
      typed.push_back(
          std::make_shared<ParameterImpl>(parameter->name(), type_of(parameter->type(), parameter.get())));
    return typed;
  }

  ConstantPtr typed_constant(const ConstantPtr& raw, const Path& path) {
    const ParameterVector parameters = typed_parameters(raw->parameters());
    const ConstantPtr typed = env_.model_factory().make_constant(raw->name(), type_of(raw->type(), raw.get()),
                                                                 path, parameters, {});
    raw_of_constant_[typed.get()] = raw.get();
    return typed;
  }

  FluentPtr typed_fluent(const FluentPtr& raw, const Path& path) {
    const ParameterVector parameters = typed_parameters(raw->parameters());
    return env_.model_factory().make_fluent(raw->name(), type_of(raw->type(), raw.get()), path, parameters);
  }

  InstancePtr typed_instance(const InstancePtr& raw) {
    const TypePtr type = type_of(raw->type(), raw.get());
    return env_.model_factory().make_instance(raw->name(), std::dynamic_pointer_cast<UserTypeImpl>(type));
  }

  void resolve_action_head(const ActionPtr& raw) {
    parameters_[raw.get()] = typed_parameters(raw->parameters());
    current_declaration_ = raw.get();
    cost_of(raw);
  }

  static Path inside(Path path, const std::string& name) {
    path.push_back(name);
    return path;
  }

  /// The types whose members an object of the type has, itself last: what is bound later hides what is
  /// before.
  template <class Visit>
  static void for_each_origin(const UserTypeImpl& type, Visit visit) {
    const auto lineage = type.lineage();
    for (auto origin = lineage.rbegin(); origin != lineage.rend(); ++origin) visit(**origin);
  }

  /// Declarations inside of a type; the reader bounds their nesting.
  void resolve_members(UserTypeImpl& type, const Path& path) {
    const TypeTable::Scope scope(types_);
    const std::size_t first_type = all_types_.size();
    for_each_origin(type, [this](const UserTypeImpl& origin) { enter_types(origin); });
    resolve_base_types(type);
    if (all_types_.size() > first_type) check_inheritance();
    for (const ConstantPtr& constant : values_of(type.constants())) {
      const ConstantPtr typed = typed_constant(constant, path);
      type.resolve_constant(typed);
      declared_constants_.push_back(typed);
      constant_owners_.push_back(&type);
    }
    for (const FluentPtr& fluent : values_of(type.fluents())) type.resolve_fluent(typed_fluent(fluent, path));
    for (const ActionPtr& action : values_of(type.actions())) resolve_action_head(action);
    for (const auto& [name, nested] : type.user_types()) resolve_members(*nested, inside(path, name));
  }

  // Constants.

  const Payload* symbol(const std::string& name) {
    return env_.expression_factory().make_unresolved_symbol(name, {})->payload;
  }
  void bind_fluent(const FluentPtr& fluent) {
    names_.bind(symbol(fluent->name()), env_.expression_factory().make_fluent_reference(fluent, {}));
  }
  void bind_constant(const ConstantPtr& constant) {
    names_.bind(symbol(constant->name()), env_.expression_factory().make_constant_reference(constant, {}));
  }

  /// Constants and instances. What stands at top level hides the members of types, which come first.
  void bind_fixed_names(const std::vector<ConstantPtr>& constants) {
    for (std::size_t i = constants.size(); i-- > 0;) bind_constant(constants[i]);
    for (const auto& [name, instance] : instances_)
      names_.bind(symbol(name), env_.expression_factory().make_instance_reference(instance));
  }

  void make_constants() {
    {
      const NameTable::Scope scope(names_);
      bind_fixed_names(declared_constants_);
      std::vector<Node*> assignments;
      {
        const NameTable::Scope with_fluents(names_);
        for (const auto& [name, fluent] : fluents_) bind_fluent(fluent);
        assignments = constant_assignments();
      }
      const NameSubstituter substituter(env_, names_, types_);
      for (Node* raw : assignments) add_constant_value(substituter, raw);
    }
    const std::vector<ConstantPtr> made = constant_values_.make_constants(declared_constants_);
    problem_constants_.assign(made.begin(), made.begin() + static_cast<long>(number_of_problem_constants_));
    for (std::size_t i = number_of_problem_constants_; i < made.size(); ++i)
      constant_owners_[i - number_of_problem_constants_]->resolve_constant(made[i]);
    all_constants_ = made;
  }

  /// The top-level statements that assign a constant, as read; all others go to `raw_statements_`.
  std::vector<Node*> constant_assignments() {
    std::unordered_set<const Payload*> member_names;
    for (std::size_t i = number_of_problem_constants_; i < declared_constants_.size(); ++i)
      member_names.insert(symbol(declared_constants_[i]->name()));
    const NameSubstituter substituter(env_, names_, types_);
    std::vector<Node*> result;
    for (Node* statement : raw_->expressions())
      (assigns_constant(statement, substituter, member_names) ? result : raw_statements_)
          .push_back(statement);
    return result;
  }

  bool assigns_constant(Node* statement, const NameSubstituter& substituter,
                        const std::unordered_set<const Payload*>& member_names) {
    Node* const assign = assignment_at_start(env_.expression_factory(), statement);
    if (assign == nullptr) return false;
    Node* const target = assign->children[0];
    if (!ExpressionFactory::is_scoping(target)) {
      Node* const* meaning = names_.find(target->payload);
      return meaning != nullptr && ExpressionFactory::is_constant_reference(*meaning);
    }
    if (!member_names.contains(target->children[1]->payload)) return false;
    return at_statement(substituter, statement, nullptr, [&] {
      return ExpressionFactory::is_constant_reference(substituter(target)->children[1]);
    });
  }

  void add_constant_value(const NameSubstituter& substituter, Node* raw) {
    at_statement(substituter, raw, nullptr, [&] {
      auto assignment = get_constant_assign(env_.expression_factory(), substituter(raw), raw);
      if (!assignment)
        throw InvalidParameterError("Found an invalid initialization")
            << "of constant: " << print_expression{raw};
      constant_values_.add(std::move(*assignment));
    });
  }

  // Expressions.

  void bind_all_names() {
    bind_fixed_names(all_constants_);
    for (const auto& [name, fluent] : fluents_) bind_fluent(fluent);
  }

  /// Runs `work` on a raw statement of `owner`, a raw action, or of the top level if that is null. If it
  /// fails, finds the line while the names still mean what they meant.
  template <class Work>
  std::invoke_result_t<Work> at_statement(const NameSubstituter& substituter, Node* statement,
                                          const void* owner, Work work) {
    try {
      return work();
    } catch (...) {
      const LineRange lines = owner == nullptr
                                  ? lines_.top_level_statement(statement)
                                  : lines_.nested_statement(statement, lines_.declaration(owner));
      Node* const fault = substituter.find_fault(statement);
      failing_line_ = fault == statement ? 0 : lines_.first_mention(fault, lines);
      if (failing_line_ == 0) failing_line_ = lines.first;
      throw;
    }
  }

  void check_statement(Node* expression) {
    const TypePtr& type = env_.type_checker()(expression);
    if (!type->is_boolean() && !type->is_void())
      throw TypeCheckingError("The expression '")
          << print_expression{expression} << "' should be boolean or void, but it is " << type;
  }

  void note_source(const Node* resolved, const Node* raw, const void* owner) {
    if (sources_ != nullptr) sources_->emplace(resolved, StatementSource{raw, owner});
  }

  void resolve_statements() {
    const NameSubstituter substituter(env_, names_, types_);
    for (Node* raw : raw_statements_) {
      if (is_label_ordering(raw)) {
        raw_label_orderings_.push_back(raw);
        continue;
      }
      at_statement(substituter, raw, nullptr, [&] {
        Node* const resolved = substituter(raw);
        check_statement(resolved);
        note_source(resolved, raw, nullptr);
        statements_.push_back(resolved);
      });
    }
    resolve_metric_expressions(substituter);
    resolve_rules(substituter);
  }

  void resolve_member_actions(UserTypeImpl& type, const Path& path) {
    const NameTable::Scope scope(names_);
    for_each_origin(type, [this](const UserTypeImpl& origin) {
      for (const auto& [name, fluent] : origin.fluents()) bind_fluent(fluent);
      for (const auto& [name, constant] : origin.constants()) bind_constant(constant);
    });
    for (const auto& [name, nested] : type.user_types()) resolve_member_actions(*nested, inside(path, name));
    for (const ActionPtr& action : values_of(type.actions()))
      type.resolve_action(resolve_action(action, path));
  }

  ActionPtr resolve_action(const ActionPtr& raw, const Path& path) {
    current_declaration_ = raw.get();
    const ParameterVector& parameters = parameters_[raw.get()];
    const NameTable::Scope scope(names_);
    for (const auto& parameter : parameters)
      names_.bind(symbol(parameter->name()), env_.expression_factory().make_parameter_reference(parameter));
    const NameSubstituter substituter(env_, names_, types_);
    std::vector<Node*> body;
    body.reserve(raw->expressions().size());
    for (Node* statement : raw->expressions()) {
      at_statement(substituter, statement, raw.get(), [&] {
        Node* const resolved = substituter(statement);
        if (get_constant_assign(env_.expression_factory(), resolved, statement))
          throw InternalError("It is allowed to assign a value to a ")
              << "constant only in the top level scope";
        check_statement(resolved);
        note_source(resolved, statement, raw.get());
        body.push_back(resolved);
      });
    }
    const ActionPtr action = env_.model_factory().make_action(raw->name(), path, raw->is_process(),
                                                              parameters, body, raw->simulated_effects());
    resolve_cost(raw, action, substituter);
    return action;
  }

  // Metrics and labels.

  void find_cost_metric() {
    for (const auto& metric : raw_->metrics()) {
      if (metric->kind() != MetricKind::MINIMIZE_ACTION_COST) continue;
      if (cost_metric_ != nullptr) throw InternalError("Multiple MINIMIZE_ACTION_COST metrics");
      cost_metric_ = static_cast<const MinimizeActionCost*>(metric.get());
    }
  }

  /// As read; null if no costs are minimised.
  Node* cost_of(const ActionPtr& raw) const {
    if (cost_metric_ == nullptr) return nullptr;
    Node* const cost = cost_metric_->cost(raw);
    if (cost == nullptr) throw InternalError("The following action does not have a cost: ") << raw->name();
    return cost;
  }

  void resolve_cost(const ActionPtr& raw, const ActionPtr& action, const NameSubstituter& substituter) {
    Node* const raw_cost = cost_of(raw);
    if (raw_cost == nullptr) return;
    at_statement(substituter, raw_cost, raw.get(), [&] {
      Node* const cost = substituter(raw_cost);
      const TypePtr& type = env_.type_checker()(cost);
      if (!type->is_integer() && !type->is_rational())
        throw TypeCheckingError("The cost of an action should be a number, but '")
            << print_expression{cost} << "' is " << type;
      new_costs_.add_cost(action, cost);
    });
  }

  void resolve_metric_expressions(const NameSubstituter& substituter) {
    for (const auto& metric : raw_->metrics()) {
      Node* raw = nullptr;
      if (const auto* minimize = dynamic_cast<const MinimizeExpressionOnFinalValue*>(metric.get()))
        raw = minimize->expression();
      if (const auto* maximize = dynamic_cast<const MaximizeExpressionOnFinalValue*>(metric.get()))
        raw = maximize->expression();
      if (raw == nullptr) continue;
      at_statement(substituter, raw, nullptr, [&] {
        metric_expressions_[raw] = substituter(raw);
        env_.type_checker()(metric_expressions_[raw]);
      });
    }
  }

  void resolve_rules(const NameSubstituter& substituter) {
    rules_ = raw_->rules();
    for (AlwaysWithin& rule : rules_.always_within)
      for (Node** const condition : {&rule.trigger, &rule.response})
        at_statement(substituter, *condition, nullptr, [&] {
          *condition = substituter(*condition);
          if (!env_.type_checker()(*condition)->is_boolean())
            throw TypeCheckingError("'always-within' needs conditions, but '")
                << print_expression{*condition} << "' is none";
        });
  }

  std::vector<std::shared_ptr<PlanQualityMetric>> metrics() const {
    std::vector<std::shared_ptr<PlanQualityMetric>> result;
    for (const auto& metric : raw_->metrics()) {
      switch (metric->kind()) {
        case MetricKind::MINIMIZE_MAKESPAN: result.push_back(metric); break;
        case MetricKind::MINIMIZE_ACTION_COST:
          result.push_back(std::make_shared<MinimizeActionCost>(new_costs_));
          break;
        case MetricKind::MINIMIZE_EXPRESSION_ON_FINAL_VALUE: {
          Node* const raw = static_cast<const MinimizeExpressionOnFinalValue&>(*metric).expression();
          result.push_back(std::make_shared<MinimizeExpressionOnFinalValue>(metric_expressions_.at(raw)));
          break;
        }
        case MetricKind::MAXIMIZE_EXPRESSION_ON_FINAL_VALUE: {
          Node* const raw = static_cast<const MaximizeExpressionOnFinalValue&>(*metric).expression();
          result.push_back(std::make_shared<MaximizeExpressionOnFinalValue>(metric_expressions_.at(raw)));
          break;
        }
      }
    }
    return result;
  }

  static bool is_label_ordering(const Node* statement) {
    return ExpressionFactory::is_lt(statement) &&
           ExpressionFactory::is_label_reference(statement->children[0]) &&
           ExpressionFactory::is_label_reference(statement->children[1]);
  }

  LabelsOrdering label_orderings() {
    ExpressionFactory& factory = env_.expression_factory();
    std::unordered_map<std::string, Node*> labelled;
    for (Node* statement : statements_) {
      if (!ExpressionFactory::is_temporal_expression(statement)) continue;
      Node* const interval = statement->children[0];
      if (!ExpressionFactory::is_contains(interval)) continue;
      if (const std::string& label = factory.get_label_from_contains(interval); !label.empty())
        labelled[label] = statement;
    }
    LabelsOrdering orderings;
    for (Node* ordering : raw_label_orderings_) {
      const auto before = labelled.find(factory.get_name_from_label_reference(ordering->children[0]));
      const auto after = labelled.find(factory.get_name_from_label_reference(ordering->children[1]));
      if (before == labelled.end() || after == labelled.end()) {
        failing_line_ = lines_.top_level_statement(ordering).first;
        throw std::out_of_range("map::at");
      }
      orderings.emplace(before->second, after->second);
    }
    return orderings;
  }

  Environment& env_;
  const ProblemPtr& raw_;
  const SourceLines& lines_;
  StatementSources* sources_;
  int failing_line_ = 0;
  const void* current_declaration_ = nullptr;

  TypeTable types_;
  NameTable names_;
  std::vector<UserTypePtr> all_types_;  // also the nested ones, as far as they were entered
  std::size_t inheritance_checked_ = 0;
  std::map<std::string, FluentPtr> fluents_;
  std::map<std::string, InstancePtr> instances_;
  std::unordered_map<const ActionImpl*, ParameterVector> parameters_;  // by raw action

  // Constants with types and without values: those of the problem, then those of types with their owners.
  std::vector<ConstantPtr> declared_constants_;
  std::size_t number_of_problem_constants_ = 0;
  std::vector<UserTypeImpl*> constant_owners_;
  std::unordered_map<const ConstantImpl*, const ConstantImpl*> raw_of_constant_;
  ConstantAssignments constant_values_;
  std::vector<ConstantPtr> all_constants_;  // with values, in the order of declared_constants_
  std::vector<ConstantPtr> problem_constants_;

  std::vector<Node*> raw_statements_;
  std::vector<Node*> raw_label_orderings_;
  std::vector<Node*> statements_;
  PlanRules rules_;
  std::vector<ActionPtr> new_actions_;
  const MinimizeActionCost* cost_metric_ = nullptr;
  MinimizeActionCost new_costs_;
  std::unordered_map<Node*, Node*> metric_expressions_;
};

}  // namespace

ProblemPtr NameResolver::operator()(const ProblemPtr& raw) const {
  static const SourceLines no_lines;
  Resolution resolution(env_, raw, lines_ == nullptr ? no_lines : *lines_, sources_);
  try {
    return resolution.run();
  } catch (...) {
    if (error_line_ != nullptr) *error_line_ = resolution.failing_line();
    throw;
  }
}

}  // namespace zorvel
