#include "printers/anml_printer.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/function_value.h"
#include "model/initial_defaults.h"
#include "model/instance.h"
#include "model/metric.h"
#include "model/unsupported_statement.h"
#include "model/user_type.h"
#include "printers/anml_expression.h"
#include "printers/anml_names.h"

namespace zorvel {

using namespace model;

namespace {

using F = ExpressionFactory;

/// Statements that are put in order before they are written: of each its text, in one buffer, and its rank.
class SortedStatements {
 public:
  explicit SortedStatements(const AnmlNames& names) : names_(names) {}

  void add(const Node* statement) {
    const std::size_t begin = buffer_.size();
    append_anml(buffer_, statement, names_);
    entries_.push_back({rank_of(statement), begin, buffer_.size() - begin});
  }

  /// Two statements of one text are read as one.
  void append_to(std::string& text, std::string_view indent) {
    std::ranges::sort(entries_, [this](const Entry& a, const Entry& b) {
      return a.rank != b.rank ? a.rank < b.rank : text_of(a) < text_of(b);
    });
    const Entry* last = nullptr;
    for (const Entry& entry : entries_) {
      if (last != nullptr && text_of(*last) == text_of(entry)) continue;
      text.append(indent).append(text_of(entry)) += ";\n";
      last = &entry;
    }
  }

 private:
  struct Entry {
    int rank;
    std::size_t begin, size;
  };

  std::string_view text_of(const Entry& entry) const {
    return std::string_view(buffer_).substr(entry.begin, entry.size);
  }

  /// What has no time of its own first (durations), then by the moment; conditions before effects.
  static int rank_of(const Node* statement) {
    if (!F::is_temporal_expression(statement)) return 0;
    const Node* const body = statement->children[1];
    const bool is_effect = F::is_assign(body) || F::is_increase(body) || F::is_decrease(body);
    return 2 * moment_of(statement->children[0]) + (is_effect ? 2 : 1);
  }
  static int moment_of(const Node* interval) {
    if (!F::is_interval(interval) || interval->arity != 1) return 1;
    if (F::is_start_anchor(interval->children[0])) return 0;
    return F::is_end_anchor(interval->children[0]) ? 2 : 1;
  }

  const AnmlNames& names_;
  std::string buffer_;
  std::vector<Entry> entries_;
};

class Printer {
 public:
  explicit Printer(const ProblemInstanceImpl& problem)
      : problem_(problem), factory_(problem.env().expression_factory()), names_(problem) {}

  std::string print() {
    find_costs();
    if (problem_.rules().has_mutual_exclusion) text_ += ":: (\"mutual-exclusion\");\n";
    add_scope(problem_, "");
    for (const auto& instance : as_written(problem_.instances()))
      text_.append("instance ")
          .append(names_.of(instance->type()->name()))
          .append(" ")
          .append(names_.of(instance->name())) += ";\n";
    add_values(problem_);
    add_statements();
    add_label_orderings();
    add_rules();
    add_metrics();
    return std::move(text_);
  }

 private:
  // Declarations.

  void add_scope(const TypeScope& scope, std::string indent) {
    for (const auto& type : as_written(scope.user_types())) add_type(*type, indent);
    for (const auto& constant : as_written(scope.constants()))
      add_declaration("constant ", *constant, indent);
    for (const auto& fluent : as_written(scope.fluents())) add_declaration("fluent ", *fluent, indent);
    for (const auto& action : as_written(scope.actions())) add_action(action, indent);
  }

  /// In the order of the names as they are written.
  template <class Object>
  std::vector<std::shared_ptr<Object>> as_written(
      const std::map<std::string, std::shared_ptr<Object>>& declared) const {
    std::vector<std::shared_ptr<Object>> result;
    for (const auto& [name, object] : declared) result.push_back(object);
    std::ranges::sort(result, {}, [this](const auto& object) { return names_.of(object->name()); });
    return result;
  }

  void add_type(const UserTypeImpl& type, const std::string& indent) {
    text_.append(indent).append("type ").append(names_.of(type.name()));
    // The language has the last parent first.
    for (auto base = type.base_types().rbegin(); base != type.base_types().rend(); ++base)
      text_.append(" < ").append(names_.of((*base)->reference_name()));
    if (!type.user_types().empty() || !type.constants().empty() || !type.fluents().empty() ||
        !type.actions().empty()) {
      text_ += " with {\n";
      add_scope(type, indent + "  ");
      text_.append(indent) += '}';
    }
    text_ += ";\n";
  }

  template <class Declared>
  void add_declaration(std::string_view word, const Declared& declared, const std::string& indent) {
    const std::string owner = std::string(word) + "'" + declared.name() + "'";
    text_.append(indent).append(word);
    append_anml_type(text_, *declared.type(), names_, owner);
    text_.append(" ").append(names_.of(declared.name()));
    if (declared.has_parameters()) add_parameters(declared.parameters(), owner);
    text_ += ";\n";
  }

  void add_parameters(const ParameterVector& parameters, std::string_view owner) {
    text_ += '(';
    std::string_view separator = "";
    for (const auto& parameter : parameters) {
      text_ += separator;
      append_anml_type(text_, *parameter->type(), names_, owner);
      text_.append(" ").append(names_.of(*parameter));
      separator = ", ";
    }
    text_ += ')';
  }

  void add_action(const std::shared_ptr<ActionImpl>& action, const std::string& indent) {
    if (!action->simulated_effects().empty())
      throw UnsupportedProblemError("ANML cannot say the simulated effects of action '")
          << action->name() << "'";
    text_.append(indent)
        .append(action->is_process() ? "process " : "action ")
        .append(names_.of(action->name()));
    add_parameters(action->parameters(), "action '" + action->name() + "'");
    if (costs_ != nullptr && !action->is_process()) {
      text_ += " :: (\"cost\", ";
      append_anml(text_, cost_of(action), names_);
      text_ += ')';
    }
    text_ += " {\n";
    SortedStatements statements(names_);
    for (const Node* statement : action->expressions()) statements.add(statement);
    statements.append_to(text_, indent + "  ");
    text_.append(indent) += "};\n";
  }

  // Values of constants, those of the members of types behind all declarations.

  void add_values(const TypeScope& scope) {
    for (const auto& constant : as_written(scope.constants()))
      for (const auto& [path, table] : constant->all_values())
        if (table != nullptr) add_table(*constant, path, *table);
    for (const auto& type : as_written(scope.user_types())) add_values(*type);
  }

  void add_table(const ConstantImpl& constant, const std::string& path, const FunctionValueImpl& table) {
    std::vector<std::string> lines;
    for (const auto& [arguments, value] : table.assignments()) {
      std::string& line = lines.emplace_back();
      if (!path.empty()) line.append(names_.of(path)) += '.';
      line += names_.of(constant.name());
      if (constant.has_parameters()) add_key(line, arguments, constant.arity());
      line += " := ";
      append_anml(line, value, names_);
    }
    std::ranges::sort(lines);
    for (const std::string& line : lines) text_.append(line) += ";\n";
  }

  /// One star stands for all the arguments that are not given.
  void add_key(std::string& line, const std::vector<Node*>& arguments, std::size_t arity) const {
    assert(arguments.size() <= arity);
    std::string_view separator = "(";
    for (const Node* argument : arguments) {
      line += separator;
      append_anml(line, argument, names_);
      separator = ", ";
    }
    if (arguments.size() < arity) line.append(separator) += '*';
    line += ')';
  }

  // The problem's own statements.

  void add_statements() {
    SortedStatements statements(names_);
    for (const Node* statement : problem_.expressions()) statements.add(statement);
    const InitialDefaults defaults(problem_);
    for (const InitialDefault& rule : problem_.rules().initial_defaults)
      defaults.for_each_statement(rule.fluent, [&](const Node* statement) { statements.add(statement); });
    statements.append_to(text_, "");
  }

  std::string label_of(const Node* statement) const {
    const Node* const interval = F::is_temporal_expression(statement) ? statement->children[0] : statement;
    const std::string label =
        F::is_contains(interval) ? factory_.get_label_from_contains(interval) : std::string();
    if (label.empty()) throw UnsupportedStatementError("An order of a statement without a label", statement);
    return names_.of(label);
  }

  void add_label_orderings() {
    std::set<std::string> lines;
    for (const auto& [before, after] : problem_.labels_ordering()) {
      // The compiler of `contains` leaves orders of statements that are gone.
      if (!problem_.expressions().contains(before) || !problem_.expressions().contains(after)) continue;
      lines.insert("start(" + label_of(before) + ") < start(" + label_of(after) + ");\n");
    }
    for (const std::string& line : lines) text_ += line;
  }

  void add_rules() {
    for (const AlwaysWithin& rule : problem_.rules().always_within) {
      text_ += ":: (\"always-within\", ";
      append_anml_fraction(text_, rule.limit);
      text_ += ", ";
      append_anml(text_, rule.trigger, names_);
      text_ += ", ";
      append_anml(text_, rule.response, names_);
      text_ += ");\n";
    }
  }

  // Metrics. That of the costs is read as the last one.

  void find_costs() {
    for (const auto& metric : problem_.metrics()) {
      if (metric->kind() != MetricKind::MINIMIZE_ACTION_COST) continue;
      if (costs_ != nullptr) throw UnsupportedProblemError("Several metrics of action costs");
      costs_ = static_cast<const MinimizeActionCost*>(metric.get());
    }
    if (costs_ == nullptr) return;
    for (const auto& [name, action] : problem_.actions())
      if (action->is_process()) set_cost_of_processes(*action, cost_of(action));
    for (const auto& [name, type] : problem_.user_types()) refuse_costly_members(*type);
  }

  Node* cost_of(const std::shared_ptr<ActionImpl>& action) const {
    Node* const cost = costs_->cost(action);
    if (cost == nullptr)
      throw UnsupportedProblemError("There is no cost of action '") << action->name() << "'";
    return cost;
  }

  /// A process cannot say its cost: all have the one that the metric gives to what stands at top level.
  void set_cost_of_processes(const ActionImpl& process, Node* cost) {
    if (default_cost_ != nullptr && default_cost_ != cost) refuse_cost(process);
    default_cost_ = cost;
  }
  static void refuse_costly_members(const TypeScope& scope) {
    for (const auto& [name, action] : scope.actions())
      if (action->is_process()) refuse_cost(*action);
    for (const auto& [name, type] : scope.user_types()) refuse_costly_members(*type);
  }
  [[noreturn]] static void refuse_cost(const ActionImpl& process) {
    throw UnsupportedProblemError("ANML cannot say the cost of process '") << process.name() << "'";
  }

  void add_metric(std::string_view name, const Node* value) {
    text_.append(":: (\"metric\", \"").append(name) += '"';
    if (value != nullptr) {
      text_ += ", ";
      append_anml(text_, value, names_);
    }
    text_ += ");\n";
  }

  void add_metrics() {
    for (const auto& metric : problem_.metrics()) switch (metric->kind()) {
        case MetricKind::MINIMIZE_MAKESPAN: add_metric("minimize-makespan", nullptr); break;
        case MetricKind::MINIMIZE_EXPRESSION_ON_FINAL_VALUE:
          add_metric("minimize", static_cast<const MinimizeExpressionOnFinalValue&>(*metric).expression());
          break;
        case MetricKind::MAXIMIZE_EXPRESSION_ON_FINAL_VALUE:
          add_metric("maximize", static_cast<const MaximizeExpressionOnFinalValue&>(*metric).expression());
          break;
        case MetricKind::MINIMIZE_ACTION_COST: break;
      }
    if (costs_ == nullptr) return;
    add_metric("minimize-action-cost",
               default_cost_ == nullptr ? factory_.make_integer_constant(integer(0)) : default_cost_);
  }

  const ProblemInstanceImpl& problem_;
  F& factory_;
  const AnmlNames names_;
  std::string text_;
  const MinimizeActionCost* costs_ = nullptr;  // null if none are minimised
  Node* default_cost_ = nullptr;
};

}  // namespace

std::string to_anml_text(const ProblemPtr& problem) { return Printer(*problem).print(); }

}  // namespace zorvel
