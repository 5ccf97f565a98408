#include "transformers/duration_bounds.h"

#include <algorithm>
#include <cassert>
#include <vector>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_simplifier.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

bool is_comparison(const Node* node) {
  return F::is_equals(node) || F::is_lt(node) || F::is_le(node) || F::is_gt(node) || F::is_ge(node);
}

[[noreturn]] void throw_unreadable(Node* statement) {
  throw UnsupportedProblemError("No limit on a duration can be read from ") << to_anml(statement);
}

void limit_from_above(DurationBounds& bounds, const rational& limit, bool strict) {
  // why `<=` for a strict limit only: equal limits differ if the new one excludes its value.
  const bool tightens =
      !bounds.has_upper || limit < bounds.upper.value || (strict && limit == bounds.upper.value);
  if (!tightens) return;
  bounds.upper = {limit, strict};
  bounds.has_upper = true;
}

void limit_from_below(DurationBounds& bounds, const rational& limit, bool strict) {
  if (limit > bounds.lower.value || (strict && limit == bounds.lower.value)) bounds.lower = {limit, strict};
}

/// One statement that is no conjunction. False if it is none on the duration.
bool apply_statement(const ExpressionFactory& factory, const Node* statement, DurationBounds& bounds) {
  if (statement->arity != 2 || !F::is_duration_anchor(statement->children[0]) ||
      !F::is_numeric_constant(statement->children[1]))
    return false;
  const rational limit = factory.get_numeric_constant(statement->children[1]);
  switch (statement->kind()) {
    case NodeKind::LE: limit_from_above(bounds, limit, false); return true;
    case NodeKind::LT: limit_from_above(bounds, limit, true); return true;
    case NodeKind::GE: limit_from_below(bounds, limit, false); return true;
    case NodeKind::GT: limit_from_below(bounds, limit, true); return true;
    case NodeKind::EQUALS:
    case NodeKind::ASSIGN:
      limit_from_below(bounds, limit, false);
      limit_from_above(bounds, limit, false);
      return true;
    default: return false;
  }
}

/// Applies the conjuncts up to the first that is no statement on the duration with a number; null if all are.
Node* first_unreadable(ExpressionFactory& factory, Node* expression, DurationBounds& bounds) {
  if (apply_statement(factory, expression, bounds)) return nullptr;  // as most are: nothing to simplify
  std::vector<Node*> open{with_duration_first(factory, ExpressionSimplifier(factory.env())(expression))};
  while (!open.empty()) {
    Node* const statement = open.back();
    open.pop_back();
    if (F::is_and(statement))
      open.insert(open.end(), statement->operands().rbegin(), statement->operands().rend());
    else if (!F::is_kind(statement, NodeKind::TRUE) && !apply_statement(factory, statement, bounds))
      return F::is_boolean_constant(statement) ? expression : statement;
  }
  return nullptr;
}

bool is_simple_duration_statement(const Node* node) {
  if (node->arity != 2) return false;
  if (F::is_assign(node) || F::is_in_assign(node)) return F::is_duration_anchor(node->children[0]);
  return is_comparison(node) &&
         (F::is_duration_anchor(node->children[0]) || F::is_duration_anchor(node->children[1]));
}

bool is_duration_statement(Node* root) {
  std::vector<Node*> open{root};
  while (!open.empty()) {
    Node* const node = open.back();
    open.pop_back();
    if (F::is_and(node) && node->arity > 0)
      open.insert(open.end(), node->operands().begin(), node->operands().end());
    else if (!is_simple_duration_statement(node))
      return false;
  }
  return true;
}

}  // namespace

Node* with_duration_first(ExpressionFactory& factory, Node* expression) {
  if (F::is_and(expression)) {
    std::vector<Node*> operands;
    for (Node* operand : expression->operands()) operands.push_back(with_duration_first(factory, operand));
    return factory.make_and(operands);
  }
  if (!is_comparison(expression) || !F::is_duration_anchor(expression->children[1]) ||
      F::is_duration_anchor(expression->children[0]))
    return expression;
  Node* const duration = expression->children[1];
  Node* const other = expression->children[0];
  switch (expression->kind()) {
    case NodeKind::LE: return factory.make_ge(duration, other);
    case NodeKind::LT: return factory.make_gt(duration, other);
    case NodeKind::GE: return factory.make_le(duration, other);
    case NodeKind::GT: return factory.make_lt(duration, other);
    default: return factory.make_equals(duration, other);
  }
}

Node* require_limit(ExpressionFactory& factory, Node* statement) {
  std::vector<Node*> open{with_duration_first(factory, statement)};
  while (!open.empty()) {
    Node* const part = open.back();
    open.pop_back();
    if (F::is_and(part))
      open.insert(open.end(), part->operands().begin(), part->operands().end());
    else if ((!is_comparison(part) && !F::is_assign(part)) || !F::is_duration_anchor(part->children[0]) ||
             reads_duration(factory, part->children[1]))
      throw_unreadable(statement);
  }
  return statement;
}

bool read_duration_bound(ExpressionFactory& factory, Node* expression, DurationBounds& bounds) {
  return first_unreadable(factory, expression, bounds) == nullptr;
}

void update_duration_bound(ExpressionFactory& factory, Node* expression, DurationBounds& bounds) {
  if (Node* const unreadable = first_unreadable(factory, expression, bounds)) throw_unreadable(unreadable);
}

Node* update_duration_expression(ExpressionFactory& factory, const DurationBounds& bounds) {
  assert(!bounds.is_empty());
  Node* const duration = factory.make_duration_anchor();
  Node* const lower = factory.make_rational_constant(bounds.lower.value);
  if (bounds.has_upper && bounds.lower.value == bounds.upper.value && !bounds.lower.strict &&
      !bounds.upper.strict)
    return factory.make_equals(duration, lower);
  std::vector<Node*> clauses{bounds.lower.strict ? factory.make_gt(duration, lower)
                                                 : factory.make_ge(duration, lower)};
  if (bounds.has_upper) {
    Node* const upper = factory.make_rational_constant(bounds.upper.value);
    clauses.push_back(bounds.upper.strict ? factory.make_lt(duration, upper)
                                          : factory.make_le(duration, upper));
  }
  return factory.make_and(clauses);
}

bool admits(const DurationBounds& bounds, const rational& duration) {
  const bool above = bounds.lower.strict ? duration > bounds.lower.value : duration >= bounds.lower.value;
  const bool below = !bounds.has_upper ||
                     (bounds.upper.strict ? duration < bounds.upper.value : duration <= bounds.upper.value);
  return above && below;
}

bool reads_duration(ExpressionFactory& factory, Node* expression) {
  return CheckContainsWalker(factory.env(), NodeKind::DURATION)(expression);
}

Node* without_timing_of_duration(ExpressionFactory& factory, Node* expression) {
  if (!F::is_temporal_expression(expression) || !is_duration_statement(expression->children[1]))
    return expression;
  Node* const interval = expression->children[0];
  Node* const body = expression->children[1];
  const bool at_start =
      factory.is_point_interval(interval) && read_timing(factory, interval->children[0]) == Timing{true, 0};
  if (at_start || !CheckContainsWalker(factory.env(), NodeKind::FLUENT_REFERENCE)(body)) return body;
  return expression;
}

rational ordering_duration(const DurationBounds& bounds, const rational& max_from_start,
                           const rational& max_from_end) {
  assert(max_from_start >= rational(0) && max_from_end >= rational(0));
  if (max_from_start > rational(0) && max_from_end > rational(0)) {
    if (bounds.has_upper) return (bounds.lower.value + bounds.upper.value) / rational(2);
    return std::max(bounds.lower.value, max_from_start + max_from_end) + rational(1);
  }
  return std::max(max_from_start, max_from_end) + rational(1);
}

}  // namespace zorvel::model
