#include "report/first_moments.h"

#include <algorithm>
#include <utility>

#include "model/action.h"
#include "model/expression_factory.h"
#include "transformers/duration_bounds.h"
#include "transformers/timing.h"

namespace zorvel::report {

namespace {

using F = model::ExpressionFactory;
using Moment = std::optional<rational>;

bool is_before(const Moment& a, const Moment& b) { return a && (!b || *a < *b); }
Moment earlier(const Moment& a, const Moment& b) { return is_before(b, a) ? b : a; }
Moment later(const Moment& a, const Moment& b) { return is_before(b, a) ? a : b; }

}  // namespace

FirstMoments::FirstMoments(const model::ProblemInstanceImpl& problem)
    : factory_(problem.env().expression_factory()) {
  // The problem's own effects take place at their times, those measured from its end at any.
  Action statements;
  for (Node* statement : problem.expressions()) read_statement(statement, statements);
  statements.demands.clear();
  apply(statements);
  std::vector<Action> actions;
  for (const auto& [name, action] : problem.actions()) actions.push_back(read(*action));
  bool has_changed = true;
  while (has_changed) {
    has_changed = false;
    for (const Action& action : actions) has_changed = apply(action) || has_changed;
  }
}

FirstMoments::Action FirstMoments::read(const model::ActionImpl& action) const {
  Action result;
  for (Node* statement : action.expressions()) {
    Node* const plain = model::without_timing_of_duration(factory_, statement);
    if (!model::reads_duration(factory_, plain)) {
      read_statement(statement, result);
      continue;
    }
    DurationBounds bounds;
    if (model::read_duration_bound(factory_, plain, bounds))
      result.least_duration = std::max(result.least_duration, bounds.lower.value);
  }
  // What a callback writes is not known, and it may be as soon as the action begins.
  for (const auto& effect : action.simulated_effects())
    for (Node* fluent : effect->fluents) result.changes.push_back({fluent, nullptr, true, rational(0)});
  return result;
}

void FirstMoments::read_statement(Node* statement, Action& action) const {
  const bool is_timed = F::is_temporal_expression(statement);
  Node* const body = is_timed ? statement->children[1] : statement;
  // What holds over an interval holds at its beginning, or right behind it.
  std::optional<model::Timing> timing = model::Timing{true, rational(0)};
  bool is_behind = false;
  if (is_timed) {
    Node* const interval = statement->children[0];
    if (!F::is_interval(interval)) return;
    timing = model::read_timing(factory_, interval->children[0]);
    is_behind = factory_.is_left_open_interval(interval) || factory_.is_open_interval(interval);
  }
  if (F::is_assign(body) || F::is_increase(body) || F::is_decrease(body)) {
    Node* const value = F::is_assign(body) && F::is_value(body->children[1]) ? body->children[1] : nullptr;
    // An effect whose time cannot be read may take place as soon as its action begins.
    const model::Timing when = timing.value_or(model::Timing{true, rational(0)});
    action.changes.push_back({body->children[0], value, when.from_start, when.k});
  } else if (timing) {
    action.demands.push_back({body, timing->from_start, timing->k, is_behind});
  }
}

/// Whether a demand has to be met before the change of the same action, so that this cannot be what meets it.
bool FirstMoments::precedes(const Demand& demand, const Change& change) {
  const rational zero(0);
  if (demand.from_start && demand.offset == zero && !demand.is_behind) return true;
  if (demand.from_start != change.from_start) return demand.from_start && change.offset == zero;
  if (demand.offset == change.offset) return !demand.is_behind;
  return (demand.offset < change.offset) == demand.from_start;
}

Moment FirstMoments::of_change(const Action& action, const Change& change) const {
  rational start(0);
  for (const Demand& demand : action.demands) {
    if (!demand.from_start || !precedes(demand, change)) continue;
    const Moment moment = of(demand.condition);
    if (!moment) return moment;
    start = std::max(start, *moment - demand.offset);
  }
  if (change.from_start) return start + change.offset;
  rational end = start + action.least_duration;
  for (const Demand& demand : action.demands) {
    if (demand.from_start || !precedes(demand, change)) continue;
    const Moment moment = of(demand.condition);
    if (!moment) return moment;
    end = std::max(end, *moment + demand.offset);
  }
  return std::max(start, end - change.offset);
}

/// Whether something can hold earlier than was known.
bool FirstMoments::apply(const Action& action) {
  bool has_changed = false;
  for (const Change& change : action.changes)
    if (const Moment moment = of_change(action, change)) has_changed = lower(change, *moment) || has_changed;
  return has_changed;
}

bool FirstMoments::lower(const Change& change, const rational& moment) {
  Known& known = known_[change.fluent];
  if (change.value == nullptr) {
    if (!is_before(moment, known.any)) return false;
    known.any = moment;
    return true;
  }
  const auto [entry, is_new] = known.values.try_emplace(change.value, moment);
  if (is_new) return true;
  if (entry->second <= moment) return false;
  entry->second = moment;
  return true;
}

Moment FirstMoments::of_value(Node* fluent, Node* value) const {
  const auto known = known_.find(fluent);
  if (known == known_.end()) return rational(0);  // nothing is known of it
  const auto found = known->second.values.find(value);
  return found == known->second.values.end() ? known->second.any
                                             : earlier(Moment(found->second), known->second.any);
}

Moment FirstMoments::of_other_value(Node* fluent, Node* value) const {
  const auto known = known_.find(fluent);
  if (known == known_.end()) return rational(0);
  Moment first = known->second.any;
  for (const auto& [other, moment] : known->second.values)
    if (other != value) first = earlier(first, Moment(moment));
  return first;
}

Moment FirstMoments::of_equality(const Node* equality, bool is_negated) const {
  Node* fluent = equality->children[0];
  Node* value = equality->children[1];
  if (F::is_fluent_reference(value)) std::swap(fluent, value);
  // Equal numbers may be different nodes.
  if (!F::is_fluent_reference(fluent) || !F::is_instance_reference(value)) return rational(0);
  return is_negated ? of_other_value(fluent, value) : of_value(fluent, value);
}

Moment FirstMoments::of_literal(Node* condition, bool is_negated) const {
  if (F::is_fluent_reference(condition))
    return of_value(condition, factory_.make_boolean_constant(!is_negated));
  return F::is_equals(condition) ? of_equality(condition, is_negated) : rational(0);
}

Moment FirstMoments::of(Node* condition) const {
  if (F::is_not(condition)) return of_literal(condition->children[0], true);
  if (F::is_and(condition)) {
    Moment last = rational(0);
    for (Node* operand : condition->operands()) last = later(last, of(operand));
    return last;
  }
  if (F::is_or(condition)) {
    Moment first;
    for (Node* operand : condition->operands()) first = earlier(first, of(operand));
    return first;
  }
  return of_literal(condition, false);
}

}  // namespace zorvel::report
