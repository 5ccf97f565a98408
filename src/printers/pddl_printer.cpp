#include "printers/pddl_printer.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <utility>

#include "core/decimals.h"
#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/initial_defaults.h"
#include "model/instance.h"
#include "model/user_type.h"
#include "model/walkers/expression_parts.h"
#include "transformers/timing.h"

namespace zorvel {

using namespace model;

namespace {

using F = ExpressionFactory;

constexpr std::string_view step = "    ";
constexpr std::string_view line_of_section = "\n        ";
constexpr std::string_view line_of_part = "\n            ";

bool is_connective(const Node* node) {
  return F::is_or(node) || F::is_imply(node) || F::is_iff(node) ||
         (F::is_not(node) && F::is_and(node->children[0]));
}

bool is_formula_effect(const Node* effect) {
  const Node* const assignment = effect->children[1];
  return F::is_fluent_reference(assignment->children[0]) && !F::is_boolean_constant(assignment->children[1]);
}

/// The one value that `sum`, target + value, has beside its target; null for anything else.
const Node* added_to(const Node* target, const Node* sum) {
  if (!F::is_plus(sum) || sum->arity != 2) return nullptr;
  if (sum->children[0] == target) return sum->children[1];
  return sum->children[1] == target ? sum->children[0] : nullptr;
}

const Node* taken_from(const Node* target, const Node* difference) {
  return F::is_kind(difference, NodeKind::MINUS) && difference->children[0] == target
             ? difference->children[1]
             : nullptr;
}

std::vector<Node*> operands_of(Node* node, NodeKind chain) {
  if (node->kind() != chain) return {node};
  return {node->operands().begin(), node->operands().end()};
}

/// A formula as the value of a predicate, as what makes it true and what makes it false. `p or F` says when
/// p becomes true, `p and not F` when it becomes false; an add wins over a delete.
struct ConditionalChange {
  std::vector<Node*> adds, deletes;
  bool is_deleted = false;  // where no add holds
};

ConditionalChange change_of(Node* target, Node* value) {
  ConditionalChange change;
  const auto is_kept_part = [&](const Node* part) {
    return F::is_and(part) && part->arity == 2 && part->children[0] == target && F::is_not(part->children[1]);
  };
  std::vector<Node*> parts = operands_of(value, NodeKind::OR);
  const auto keeps = std::ranges::find_if(parts, [&](Node* p) { return p == target || is_kept_part(p); });
  if (keeps == parts.end()) return {{value}, {}, true};
  if (is_kept_part(*keeps)) change.deletes = operands_of((*keeps)->children[1]->children[0], NodeKind::OR);
  parts.erase(keeps);
  change.adds = std::move(parts);
  return change;
}

/// Whether the condition says that two references of one fluent are the same.
bool says_that_they_meet(Node* condition, const Node* a, const Node* b) {
  const std::vector<Node*> parts = operands_of(condition, NodeKind::AND);
  std::size_t differences = 0;
  for (std::uint64_t i = 0; i < a->arity; ++i) {
    Node* const left = a->children[i];
    Node* const right = b->children[i];
    if (left == right) continue;
    ++differences;
    if (std::ranges::none_of(parts, [&](const Node* part) {
          return F::is_equals(part) && ((part->children[0] == left && part->children[1] == right) ||
                                        (part->children[0] == right && part->children[1] == left));
        }))
      return false;
  }
  return differences > 0 && differences == parts.size();
}

/// Readers find out themselves what happens where two effects of one moment meet: conditions that say so are
/// left out.
void leave_out_meetings(ConditionalChange& change, Node* effect, const std::vector<Node*>& effects) {
  const Node* const target = effect->children[1]->children[0];
  for (const Node* other : effects) {
    const Node* const other_target = other->children[1]->children[0];
    if (other->children[0] != effect->children[0] || other_target->payload != target->payload) continue;
    if (!F::is_boolean_constant(other->children[1]->children[1])) continue;
    const bool is_add = other->children[1]->children[1]->kind() == NodeKind::TRUE;
    std::erase_if(is_add ? change.adds : change.deletes,
                  [&](Node* condition) { return says_that_they_meet(condition, target, other_target); });
  }
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const indent& blanks) {
  return out << std::string(std::size_t{blanks.levels} * blanks.width, ' ');
}

PddlPrinter::PddlPrinter(const ProblemPtr& problem, std::string domain_name, std::string problem_name,
                         PddlForm form)
    : factory_(problem->env().expression_factory()),
      problem_(problem),
      domain_name_(std::move(domain_name)),
      problem_name_(std::move(problem_name)),
      form_(form),
      names_(problem_.problem(), problem_.fluents(), form),
      contains_(problem->env(), NodeKind::CONTAINS),
      unresolved_(problem->env(), NodeKind::UNRESOLVED_SYMBOL),
      in_assign_(problem->env(), NodeKind::IN_ASSIGN),
      dot_(problem->env(), NodeKind::DOT) {}

void PddlPrinter::print_domain(std::ostream& out) const { out << domain_text(); }
void PddlPrinter::print_problem(std::ostream& out) const { out << problem_text(); }

void PddlPrinter::check(const ExpressionSet& expressions) const {
  for (Node* expression : expressions)
    for (const CheckContainsWalker* kind : {&contains_, &unresolved_, &in_assign_, &dot_})
      if ((*kind)(expression))
        throw InternalError("The problem contains an expression operator kindthat is forbidden!");
}

// The domain.

std::string PddlPrinter::domain_text() const {
  const ProblemInstanceImpl& problem = problem_.problem();
  for (const auto& [name, action] : problem.actions()) check(action->expressions());
  std::string text;
  text.append("(define (domain ").append(domain_name_).append(")\n").append(step);
  text += "(:requirements :equality :strips :typing :durative-actions :negative-preconditions";
  if (form_ == PddlForm::standard) {
    const PddlFeatures used = features();
    if (used.has_functions) text += " :fluents";
    if (used.has_duration_ranges) text += " :duration-inequalities";
    if (used.has_timed_facts) text += " :timed-initial-literals";
    if (used.has_connectives) text += " :disjunctive-preconditions";
    if (used.has_conditional_effects) text += " :conditional-effects";
    if (used.has_constraints) text += " :constraints";
  }
  text += ")\n";
  if (!problem.user_types().empty()) {
    text.append(step) += "(:types";
    for (const auto& [name, type] : problem.user_types())
      if (name != "object") text.append(" ").append(names_.of(name));
    text += ")\n";
  }
  add_fluents(text, false);
  add_fluents(text, true);
  Order order = order_of_problem();
  for (const auto& [name, action] : problem.actions()) add_action(text, *action, order);
  text += ")\n";
  return text;
}

/// Only the standard form asks.
PddlFeatures PddlPrinter::features() const {
  PddlFeatures used;
  const ProblemInstanceImpl& problem = problem_.problem();
  for (const auto& [name, fluent] : problem_.fluents())
    used.has_functions = used.has_functions || !fluent->type()->is_boolean();
  std::vector<const Node*> formulas;
  for (const auto& [name, declared] : problem.actions()) {
    const PddlAction action(problem_, *declared);
    used.has_duration_ranges = used.has_duration_ranges || action.durations().size() != 1 ||
                               !(F::is_equals(action.durations()[0]) || F::is_assign(action.durations()[0]));
    for (const Node* condition : action.conditions()) formulas.push_back(condition->children[1]);
    for (const Node* effect : action.effects()) {
      const Node* const target = effect->children[1]->children[0];
      if (!factory_.get_fluent_from_reference(target)->type()->is_boolean() || !is_formula_effect(effect))
        continue;
      used.has_conditional_effects = true;
      formulas.push_back(effect->children[1]->children[1]);
    }
  }
  for (Node* statement : problem.expressions()) {
    Node* const written = problem_.written(statement);
    if (!F::is_temporal_expression(written)) continue;
    const bool is_assignment = F::is_assign(written->children[1]);
    if (!is_assignment) formulas.push_back(written->children[1]);
    const auto time = F::is_interval(written->children[0]) && written->children[0]->arity == 1
                          ? read_timing(factory_, written->children[0]->children[0])
                          : std::nullopt;
    used.has_timed_facts =
        used.has_timed_facts || (is_assignment && time && time->from_start && time->k != rational(0));
  }
  used.has_constraints = !problem.rules().always_within.empty();
  used.has_connectives = any_part(std::move(formulas), [](const Node* node) {
    return is_connective(node) || F::is_kind(node, NodeKind::FALSE);
  });
  return used;
}

std::string PddlPrinter::type_name(const TypePtr& type) const { return names_.of(type->reference_name()); }

void PddlPrinter::add_parameters(std::string& text, const ParameterVector& parameters,
                                 std::string_view before_each) const {
  std::string_view separator = before_each;
  for (const auto& parameter : parameters) {
    text.append(separator)
        .append("?")
        .append(names_.of(*parameter))
        .append(" - ")
        .append(type_name(parameter->type()));
    separator = " ";
  }
}

/// Other planners need not know a section without anything in it.
void PddlPrinter::add_fluents(std::string& text, bool are_functions) const {
  std::string lines;
  for (const auto& [name, fluent] : problem_.fluents()) {
    const TypePtr type = fluent->type();
    if (!type->is_boolean() && !type->is_rational() && !type->is_integer())
      throw InternalError("The type of a fluent has to be boolean or rational only!");
    if (type->is_boolean() == are_functions) continue;
    lines.append(line_of_section).append("(").append(names_.of(name));
    add_parameters(lines, fluent->parameters(), " ");
    lines += ')';
  }
  if (lines.empty() && form_ == PddlForm::standard) return;
  text.append(step).append(are_functions ? "(:functions" : "(:predicates").append(lines) += ")\n";
}

/// Readers begin with the initial state and the goal.
PddlPrinter::Order PddlPrinter::order_of_problem() const {
  std::map<std::string, std::vector<Node*>> facts;
  std::vector<Node*> goals;
  for (Node* statement : problem_.problem().expressions()) {
    Node* const written = problem_.written(statement);
    if (!F::is_temporal_expression(written)) continue;
    const Node* const body = written->children[1];
    if (F::is_assign(body))
      facts[factory_.get_fluent_from_reference(body->children[0])->name()].push_back(written);
    else
      goals.push_back(written);
  }
  Order order;
  for (auto& [name, statements] : facts) in_order(order, std::move(statements));
  in_order(order, std::move(goals));
  return order;
}

/// Without this, what several actions say would change its place when the text is read and written again.
std::vector<Node*> PddlPrinter::in_order(Order& order, std::vector<Node*> statements) {
  std::ranges::stable_sort(statements, {}, [&](const Node* statement) {
    const auto found = order.find(statement);
    return found == order.end() ? order.size() : found->second;
  });
  for (const Node* statement : statements) order.try_emplace(statement, order.size());
  return statements;
}

void PddlPrinter::add_action(std::string& text, const ActionImpl& declared, Order& order) const {
  const PddlAction action(problem_, declared);
  text.append("\n").append(step).append("(:durative-action ").append(names_.of_action(declared.name()));
  text.append(line_of_section) += ":parameters (";
  add_parameters(text, declared.parameters(), "");
  text += ')';
  add_durations(text, action.durations());
  const auto add_section = [&](std::string_view name, const std::vector<Node*>& parts, const auto& add) {
    text.append(line_of_section).append(name) += " (and";
    if (!parts.empty()) text += '\n';
    for (Node* part : parts) {
      text += "            ";
      add(part);
    }
    text += parts.empty() ? ")" : "        )";
  };
  add_section(":condition", in_order(order, action.conditions()),
              [&](Node* condition) { append(text, condition); });
  add_section(":effect", in_order(order, action.effects()),
              [&](Node* effect) { add_effect(text, effect, action.effects()); });
  text.append("\n").append(step) += ")\n";
}

void PddlPrinter::add_durations(std::string& text, const std::vector<Node*>& durations) const {
  text.append(line_of_section) += ":duration ";
  if (durations.empty()) text += "(>= ?duration 0)";
  if (durations.size() > 1) text += "(and ";
  for (std::size_t i = 0; i < durations.size(); ++i) {
    if (i > 0) text += ' ';
    append(text, durations[i]);
  }
  if (durations.size() > 1) text += ')';
}

void PddlPrinter::add_effect(std::string& text, Node* effect, const std::vector<Node*>& effects) const {
  const Node* const interval = effect->children[0];
  Node* const target = effect->children[1]->children[0];
  Node* const value = effect->children[1]->children[1];
  const auto fluent = factory_.get_fluent_from_reference(target);
  const bool is_standard = form_ == PddlForm::standard;
  const auto add_change = [&](std::string_view word, const Node* amount) {
    text += '(';
    append(text, interval);
    text.append(" (").append(word) += ' ';
    append(text, target);
    text += ' ';
    append(text, amount);
    text += "))\n";
  };
  if (fluent->type()->is_boolean()) {
    if (is_standard && is_formula_effect(effect)) return add_conditional_effect(text, effect, effects);
    return append(text, effect);
  }
  // Readers know action costs by what increases a function alone.
  if (is_standard || problem_.metric().is_cost(*fluent)) {
    if (const Node* const amount = added_to(target, value)) return add_change("increase", amount);
    if (const Node* const amount = taken_from(target, value)) return add_change("decrease", amount);
  }
  append(text, effect);
}

void PddlPrinter::add_conditional_effect(std::string& text, Node* effect,
                                         const std::vector<Node*>& effects) const {
  const Node* const interval = effect->children[0];
  Node* const target = effect->children[1]->children[0];
  ConditionalChange change = change_of(target, effect->children[1]->children[1]);
  leave_out_meetings(change, effect, effects);
  std::string_view before = "";
  const auto add = [&](const Node* condition, bool becomes_true) {
    text += before;
    before = "            ";
    if (condition != nullptr) {
      text += "(when (";
      append(text, interval);
      text += ' ';
      append(text, condition);
      text += ") ";
    }
    text += '(';
    append(text, interval);
    text += becomes_true ? " " : " (not ";
    append(text, target);
    text += becomes_true ? ")" : "))";
    text += condition != nullptr ? ")\n" : "\n";
  };
  if (change.is_deleted) add(nullptr, false);
  for (const Node* condition : change.deletes) add(condition, false);
  for (const Node* condition : change.adds) add(condition, true);
}

// The problem.

std::string PddlPrinter::problem_text() const {
  check(problem_.problem().expressions());
  std::string text;
  text.append("(define (problem ").append(problem_name_).append(")\n").append(step) +=
      "(:domain pddldomain)\n";
  add_objects(text);
  add_initial_state(text);
  add_goals(text);
  add_constraints(text);
  add_metric(text);
  text += ")\n";
  return text;
}

void PddlPrinter::add_objects(std::string& text) const {
  if (problem_.problem().instances().empty()) return;
  text.append(step) += "(:objects";
  for (const auto& [name, instance] : problem_.problem().instances())
    text.append(line_of_section)
        .append(names_.of(name))
        .append(" - ")
        .append(names_.of(instance->type()->name()));
  text += ")\n";
}

void PddlPrinter::add_fact(std::vector<std::string>& lines, Node* statement) const {
  const Node* const interval = statement->children[0];
  Node* const assignment = statement->children[1];
  const Node* const value = assignment->children[1];
  const auto time = F::is_interval(interval) && interval->arity == 1
                        ? read_timing(factory_, interval->children[0])
                        : std::nullopt;
  if (!time || !time->from_start || time->k < rational(0))
    throw InternalError("Not-start assigns are forbidden!");
  if (!F::is_value(value))
    throw UnsupportedProblemError("PDDL gives values alone to the facts of a problem: ")
        << print_expression{statement};
  const bool is_initial = time->k == rational(0);
  if (is_initial && value->kind() == NodeKind::FALSE) return;
  if (form_ == PddlForm::standard && F::is_rational_constant(value) &&
      !decimals_of(factory_.get_numeric_constant(value)))
    throw UnsupportedProblemError("Standard PDDL has no number that is written without an end of decimals: ")
        << print_expression{statement};
  std::string& line = lines.emplace_back();
  if (!is_initial) {
    line += "(at ";
    append_pddl_number(line, time->k);
    line += ' ';
  }
  // Facts have `=` in every form.
  append_pddl(line, assignment, names_, PddlForm::own);
  if (!is_initial) line += ')';
}

/// Facts at the start by the name of what they speak of, as a reader goes through them, each kind in the
/// order of the statements; then the tables of what never changes, and last what happens later.
void PddlPrinter::add_initial_state(std::string& text) const {
  const ProblemInstanceImpl& problem = problem_.problem();
  std::map<std::string, std::vector<std::string>> at_start;
  std::vector<std::string> tables, later;
  const auto add = [&](Node* statement) {
    const bool is_at_start = F::is_start_anchor(statement->children[0]->children[0]);
    const auto fluent = factory_.get_fluent_from_reference(statement->children[1]->children[0]);
    add_fact(is_at_start ? at_start[fluent->name()] : later, statement);
  };
  for (Node* statement : problem.expressions()) {
    Node* const written = problem_.written(statement);
    if (F::is_temporal_expression(written) && F::is_assign(written->children[1])) add(written);
  }
  const InitialDefaults defaults(problem);
  for (const InitialDefault& rule : problem.rules().initial_defaults)
    if (rule.value->kind() != NodeKind::FALSE) defaults.for_each_statement(rule.fluent, add);
  for (Node* statement : problem_.constant_values()) add_fact(tables, statement);
  std::ranges::sort(tables);
  std::vector<std::string> lines;
  for (auto& [name, facts] : at_start) lines.insert(lines.end(), facts.begin(), facts.end());
  lines.insert(lines.end(), tables.begin(), tables.end());
  lines.insert(lines.end(), later.begin(), later.end());
  if (lines.empty() && form_ == PddlForm::own) return;
  text.append("\n").append(step) += "(:init";
  for (const std::string& line : lines) text.append(line_of_section).append(line);
  text.append("\n").append(step) += ")\n";
}

void PddlPrinter::add_goals(std::string& text) const {
  std::vector<const Node*> goals;
  for (Node* statement : problem_.problem().expressions()) {
    Node* const written = problem_.written(statement);
    if (!F::is_temporal_expression(written))
      throw InternalError("Found a forbidden expression' ") << print_expression{statement};
    Node* const body = written->children[1];
    if (F::is_assign(body) || body->kind() == NodeKind::TRUE) continue;
    const Node* const interval = written->children[0];
    const auto time = F::is_interval(interval) && interval->arity == 1
                          ? read_timing(factory_, interval->children[0])
                          : std::nullopt;
    if (time != Timing{false, rational(0)}) throw InternalError("Not-end goals are forbidden!");
    goals.push_back(body);
  }
  if (goals.empty() && form_ == PddlForm::own) return;
  text.append("\n").append(step).append("(:goal").append(line_of_section) += "(and";
  for (const Node* goal : goals) {
    text += line_of_part;
    if (F::is_boolean_constant(goal))
      text += "(or)";
    else
      append(text, goal);
  }
  text.append(")\n").append(step) += ")\n";
}

void PddlPrinter::add_constraints(std::string& text) const {
  const auto& rules = problem_.problem().rules().always_within;
  if (rules.empty()) return;
  text.append("\n").append(step) += "(:constraints (and";
  for (const AlwaysWithin& rule : rules) {
    text.append(line_of_section) += "(always-within ";
    append_pddl_number(text, rule.limit);
    for (Node* condition : {rule.trigger, rule.response}) {
      text += ' ';
      Node* const written = problem_.written(condition);
      if (F::is_boolean_constant(written))
        text += written->kind() == NodeKind::TRUE ? "(and)" : "(or)";
      else
        append(text, written);
    }
    text += ')';
  }
  text += "))\n";
}

void PddlPrinter::add_metric(std::string& text) const {
  const CarriedMetric& metric = problem_.metric();
  if (metric.kind() == CarriedMetric::Kind::none) return;
  text.append("\n").append(step).append("(:metric ");
  text += metric.kind() == CarriedMetric::Kind::maximize ? "maximize " : "minimize ";
  if (metric.kind() == CarriedMetric::Kind::makespan)
    text += "(total-time)";
  else
    append(text, problem_.written(metric.value()));
  text += ")\n";
}

}  // namespace zorvel
