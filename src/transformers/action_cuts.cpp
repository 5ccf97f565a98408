#include "transformers/action_cuts.h"

#include <algorithm>
#include <cassert>
#include <optional>
#include <utility>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/walkers/expression_parts.h"
#include "model/walkers/expression_substituter.h"
#include "transformers/duration_bounds.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

[[noreturn]] void refuse_cut(std::string_view message, const ActionImpl& action, const Node* statement) {
  throw UnsupportedProblemError(message) << ' ' << action.name() << ", " << print_expression{statement};
}

bool is_part(const Node* expression, NodeKind kind) {
  return any_part(expression, [kind](const Node* node) { return node->kind() == kind; });
}

/// Whether it is `duration <= x` or the like.
bool is_limit(F& factory, const Node* node) {
  switch (node->kind()) {
    case NodeKind::ASSIGN:
    case NodeKind::EQUALS:
    case NodeKind::LE:
    case NodeKind::LT:
    case NodeKind::GE:
    case NodeKind::GT:
      return F::is_duration_anchor(node->children[0]) && !reads_duration(factory, node->children[1]);
    default: return false;
  }
}

bool is_initial(F& factory, const Node* statement) {
  return F::is_temporal_expression(statement) && factory.is_point_interval(statement->children[0]) &&
         F::is_start_anchor(statement->children[0]->children[0]);
}

}  // namespace

/// What is known of an action while it is read.
struct ActionCutsReader::Reading {
  const ActionImpl& action;
  ActionCuts result = {};
  std::vector<Node*> others = {};  // the statements that are no limits
  Node* fixed = nullptr;           // the duration, where there is but one
  DurationBounds bounds = {};
  bool has_unknown_bounds = false;  // a limit is no number
};

ActionCutsReader::ActionCutsReader(const ProblemPtr& problem)
    : env_(problem->env()),
      factory_(problem->env().expression_factory()),
      static_value_(problem),
      simplify_(problem->env()) {
  note_changes(*problem);
}

void ActionCutsReader::note_changes(const ProblemInstanceImpl& problem) {
  for (const auto& [name, action] : problem.actions()) {
    for (Node* statement : action->expressions()) note_targets(statement);
    for (const auto& effect : action->simulated_effects())
      for (Node* fluent : effect->fluents) changing_.insert(factory_.get_fluent_from_reference(fluent).get());
  }
  for (Node* statement : problem.expressions())
    if (!is_initial(factory_, statement)) note_targets(statement);
}

void ActionCutsReader::note_targets(Node* expression) {
  for_each_part(std::vector{expression}, [this](const Node* node) {
    if ((F::is_assign(node) || F::is_increase(node) || F::is_decrease(node)) &&
        F::is_fluent_reference(node->children[0]))
      changing_.insert(factory_.get_fluent_from_reference(node->children[0]).get());
  });
}

ActionCuts ActionCutsReader::operator()(const ActionImpl& action) const {
  Reading reading{action};
  for (Node* statement : action.expressions())
    for (const auto& [kind, word] : {std::pair(NodeKind::FORALL, "forall"), {NodeKind::CONTAINS, "contains"}})
      if (is_part(statement, kind))
        throw UnsupportedProblemError("The intermediate effects compiler cannot cut a '")
            << word << "' in an action: " << action.name() << ", " << print_expression{statement};
  read_limits(reading);
  for (Node* statement : reading.others) read_statement(reading, statement);
  auto& cuts = reading.result.cuts;
  std::sort(cuts.begin(), cuts.end());
  cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
  require_inside(reading);
  return std::move(reading.result);
}

void ActionCutsReader::read_limits(Reading& reading) const {
  for (Node* statement : reading.action.expressions()) {
    if (is_part(statement, NodeKind::IN_ASSIGN))
      refuse_cut("The intermediate effects compiler needs durations that are not uncertain:", reading.action,
                 statement);
    Node* const plain = without_timing_of_duration(factory_, statement);
    if (F::is_temporal_expression(plain) || !reads_duration(factory_, plain)) {
      reading.others.push_back(plain);
      continue;
    }
    for (Node* part : conjuncts_of(plain)) {
      Node* const turned = with_duration_first(factory_, part);
      if (is_limit(factory_, turned))
        read_limit(reading, turned);
      else
        reading.others.push_back(part);
    }
  }
}

void ActionCutsReader::read_limit(Reading& reading, Node* limit) const {
  Node* const value = static_value_(limit->children[1]);
  // The last piece would read it later than the action did.
  const bool reads_change = any_part(value, [this](const Node* node) {
    return F::is_fluent_reference(node) && changing_.contains(factory_.get_fluent_from_reference(node).get());
  });
  if (reads_change)
    refuse_cut("The intermediate effects compiler needs durations that read no fluent that changes:",
               reading.action, limit);
  const bool is_fixed = F::is_assign(limit) || F::is_equals(limit);
  if (is_fixed && reading.fixed != nullptr && reading.fixed != value)
    refuse_cut("Found two different duration assignments for the same action!", reading.action, limit);
  if (is_fixed && reading.fixed == value) return;
  if (is_fixed) reading.fixed = value;
  Node* const duration = factory_.make_duration_anchor();
  Node* result = factory_.make_assign(duration, value);
  switch (limit->kind()) {
    case NodeKind::LE: result = factory_.make_le(duration, value); break;
    case NodeKind::LT: result = factory_.make_lt(duration, value); break;
    case NodeKind::GE: result = factory_.make_ge(duration, value); break;
    case NodeKind::GT: result = factory_.make_gt(duration, value); break;
    default: assert(is_fixed); break;
  }
  reading.result.limits.push_back(result);
  if (!read_duration_bound(factory_, result, reading.bounds)) reading.has_unknown_bounds = true;
}

void ActionCutsReader::read_statement(Reading& reading, Node* statement) const {
  if (!F::is_temporal_expression(statement))
    return add_body(reading, statement, statement, {nullptr, false, {}, {}});  // at the start
  Node* const interval = statement->children[0];
  MomentStatement at{nullptr, false, moment(reading, statement, interval->children[0]), {}};
  at.to = interval->arity == 1 ? at.from : moment(reading, statement, interval->children[1]);
  at.is_left_closed = factory_.is_left_closed(interval);
  at.is_right_closed = factory_.is_right_closed(interval);
  // Nothing lies between a moment and itself.
  if (at.is_point() && !(at.is_left_closed && at.is_right_closed)) return;
  if ((at.from.is_end && !at.to.is_end) || (!at.from.is_end && !at.to.is_end && at.to.time < at.from.time))
    refuse_cut("An interval ends before it begins:", reading.action, statement);
  add_body(reading, statement, statement->children[1], at);
}

void ActionCutsReader::add_body(Reading& reading, Node* statement, Node* body, MomentStatement at) const {
  if (reads_duration(factory_, body)) {
    // A piece has a duration of its own.
    if (reading.fixed == nullptr)
      refuse_cut("The intermediate effects compiler needs one duration where it is read:", reading.action,
                 statement);
    const ExpressionSubstituter substitute(env_, {{factory_.make_duration_anchor(), reading.fixed}}, {},
                                           true);
    body = substitute(body);
  }
  std::vector<Node*> parts{body};
  if (F::is_and(body) && is_part(body, NodeKind::ASSIGN)) parts = conjuncts_of(body);
  for (Node* part : parts) {
    at.body = part;
    at.is_effect = F::is_assign(part);
    if (at.is_effect && !at.is_point())
      refuse_cut("Found an effect over a non-punctual interval:", reading.action, statement);
    reading.result.statements.push_back(at);
  }
  for (const ActionMoment& moment : {at.from, at.to})
    if (moment.is_inside()) reading.result.cuts.push_back(moment.time);
}

ActionMoment ActionCutsReader::moment(const Reading& reading, Node* statement, Node* anchor) const {
  std::optional<rational> whole;
  if (reading.fixed != nullptr && F::is_numeric_constant(reading.fixed))
    whole = factory_.get_numeric_constant(reading.fixed);
  std::optional<rational> time;
  if (const auto timing = read_timing(factory_, anchor)) {
    if (!timing->from_start && timing->k == rational(0)) return {true};
    if (timing->from_start) time = timing->k;
    if (!timing->from_start && whole) time = *whole - timing->k;
  } else if (reading.fixed != nullptr) {
    const ExpressionSubstituter substitute(env_,
                                           {{factory_.make_start_anchor(), factory_.make_integer_constant(0)},
                                            {factory_.make_end_anchor(), reading.fixed},
                                            {factory_.make_duration_anchor(), reading.fixed}},
                                           {}, true);
    Node* const value = simplify_(substitute(anchor));
    if (F::is_numeric_constant(value)) time = factory_.get_numeric_constant(value);
  }
  if (!time)
    refuse_cut(is_part(statement, NodeKind::ASSIGN)
                   ? "The value of the point interval of an intermediate effect must be a constant!"
                   : "The value of the bounds interval of an intermediate condition must be a constant!",
               reading.action, statement);
  if (*time < rational(0) || (whole && *time > *whole))
    refuse_cut("A moment lies outside of its action:", reading.action, statement);
  if (whole && *time == *whole && *time > rational(0)) return {true};
  return {false, *time};
}

/// The pieces up to the last cut have to fit in, whatever duration is chosen.
void ActionCutsReader::require_inside(const Reading& reading) const {
  const auto& cuts = reading.result.cuts;
  if (cuts.empty() || reading.has_unknown_bounds || cuts.back() <= reading.bounds.lower.value) return;
  throw UnsupportedProblemError("A moment may lie outside of its action: ")
      << reading.action.name() << " may end before " << cuts.back() << " after its start";
}

}  // namespace zorvel::model
