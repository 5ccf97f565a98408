#include "transformers/uncertain_action.h"

#include <algorithm>
#include <cassert>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/fluent.h"
#include "transformers/plan_mapping.h"
#include "transformers/timed_statements.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

/// How long before the end of the action, if that is a number: `end - k`.
std::optional<rational> time_before_end(F& factory, Node* anchor) {
  const auto time = read_timing(factory, anchor);
  return time && !time->from_start ? std::optional(time->k) : std::nullopt;
}

}  // namespace

UncertainAction::UncertainAction(std::shared_ptr<ActionImpl> action, const StaticFluents& static_fluents)
    : action_(std::move(action)),
      env_(action_->env()),
      factory_(env_.expression_factory()),
      simplify_(env_),
      has_end_(env_, NodeKind::END),
      has_assign_(env_, NodeKind::ASSIGN) {
  read_bounds(static_fluents);
  if (is_impossible()) return;
  for (Node* statement : action_->expressions()) sort(statement);
}

void UncertainAction::refuse(const char* problem, Node* statement) const {
  throw UnsupportedProblemError("Action '")
      << action_->name() << "' has an uncertain duration, " << problem << ": " << print_expression{statement};
}

void UncertainAction::read_bounds(const StaticFluents& static_fluents) {
  const CheckContainsWalker has_fluent(env_, NodeKind::FLUENT_REFERENCE);
  const CheckContainsWalker has_duration(env_, NodeKind::DURATION);
  for (Node* statement : action_->expressions()) {
    Node* const body = body_of(statement);
    if (!F::is_in_assign(body) || longest_ != nullptr) {
      if (has_duration(statement)) refuse("and speaks of it a second time", statement);
      continue;
    }
    const Node* const interval = body->children[1];
    shortest_ = static_fluents(interval->children[0]);
    longest_ = static_fluents(interval->children[1]);
    for (Node* bound : {shortest_, longest_})
      if (has_fluent(bound)) refuse("with a bound that reads a fluent and not only constants", bound);
  }
}

void UncertainAction::sort(Node* statement) {
  if (F::is_in_assign(body_of(statement))) return;
  if (!F::is_temporal_expression(statement) || !ends_uncertainly(statement->children[0])) {
    others_.push_back(statement);
    return;
  }
  if (!F::is_interval(statement->children[0]))
    refuse("and cannot promise that something holds at some moment before its end", statement);
  if (has_assign_(body_of(statement)))
    end_effects_.push_back(end_effect(statement));
  else if (!is_always_empty(statement->children[0]))
    end_conditions_.push_back(statement);
}

EndEffect UncertainAction::end_effect(Node* statement) const {
  Node* const interval = statement->children[0];
  Node* const effect = body_of(statement);
  if (!F::is_assign(effect) || !F::is_fluent_reference(effect->children[0]))
    throw InternalError("Found an an assignemnt with no fluent on the LHS");
  if (!factory_.is_point_interval(interval))
    throw InternalError("Found an effect over a non-punctual interval");
  const CheckContainsWalker has_fluent(env_, NodeKind::FLUENT_REFERENCE);
  if (std::ranges::any_of(effect->children[0]->operands(), [&](Node* node) { return has_fluent(node); }))
    refuse("and what it writes at its end depends on a fluent", statement);
  return {statement, interval->children[0], effect->children[0], effect->children[1],
          time_before_end(factory_, interval->children[0])};
}

UncertainAction::OwnReferences UncertainAction::written_afterwards(
    Node* expression, const std::optional<rational>& before_end) const {
  OwnReferences result;
  if (!before_end) return result;
  for (Node* reference : sorted_by_id(ExpressionFreeVars(env_)(expression))) {
    bool is_written = false, is_seen = false;
    rational at_least = *before_end;
    for (const EndEffect& effect : end_effects_) {
      if (effect.target != reference) continue;
      is_written = true;
      if (effect.before_end && *effect.before_end <= *before_end)
        at_least = std::min(at_least, *effect.before_end);
      else
        is_seen = true;
    }
    if (!is_written || is_seen) continue;
    result.at_least = result.references.empty() ? at_least : std::min(result.at_least, at_least);
    result.references.insert(reference);
  }
  return result;
}

/// The references in a condition from `anchor` on that the action wrote before and not later, by how long
/// before its end. Only those whose uncertain stretch reaches into the one of the anchor.
std::map<rational, NodeSet, std::greater<>> UncertainAction::written_before(Node* expression,
                                                                            Node* anchor) const {
  std::map<rational, NodeSet, std::greater<>> result;
  const auto before_end = time_before_end(factory_, anchor);
  if (!before_end || !has_numbers_as_bounds()) return result;
  const rational slack = factory_.get_numeric_constant(longest_) - factory_.get_numeric_constant(shortest_);
  for (Node* reference : sorted_by_id(ExpressionFreeVars(env_)(expression))) {
    std::optional<rational> last;
    bool is_only_before = true;
    if (!F::is_fluent_reference(reference)) continue;
    const auto fluent = factory_.get_fluent_from_reference(reference);
    for (const EndEffect& effect : end_effects_) {
      if (factory_.get_fluent_from_reference(effect.target) != fluent) continue;
      // Another target may be the same one for some parameters.
      is_only_before &= effect.target == reference && effect.before_end && *effect.before_end > *before_end;
      if (effect.before_end && (!last || *effect.before_end < *last)) last = effect.before_end;
    }
    if (last && is_only_before && *last - *before_end < slack) result[*last].insert(reference);
  }
  return result;
}

/// Whether the interval holds no moment, whatever duration the world chooses.
bool UncertainAction::is_always_empty(Node* interval) const {
  if (is_empty_interval(factory_, interval)) return true;
  if (interval->arity != 2 || !has_numbers_as_bounds()) return false;
  const auto from = read_timing(factory_, interval->children[0]);
  const auto to = read_timing(factory_, interval->children[1]);
  if (!from || !to || from->from_start == to->from_start) return false;
  const rational& longest = factory_.get_numeric_constant(longest_);
  const rational& shortest = factory_.get_numeric_constant(shortest_);
  const rational length = from->from_start ? longest - to->k - from->k : to->k - (shortest - from->k);
  const bool is_closed = factory_.is_left_closed(interval) && factory_.is_right_closed(interval);
  return length < rational(0) || (length == rational(0) && !is_closed);
}

std::vector<std::shared_ptr<FluentImpl>> UncertainAction::fluents_read_before_written() const {
  std::vector<std::shared_ptr<FluentImpl>> result;
  const auto add = [&](Node* expression, Node* anchor) {
    const auto own = written_afterwards(expression, time_before_end(factory_, anchor));
    for (Node* reference : sorted_by_id(own.references))
      result.push_back(factory_.get_fluent_from_reference(reference));
  };
  for (Node* condition : end_conditions_) add(body_of(condition), condition->children[0]->operands().back());
  for (const EndEffect& effect : end_effects_) add(effect.value, effect.anchor);
  return result;
}

/// `start` and the offset behind it.
Node* UncertainAction::after_shortest(Node* offset) const {
  Node* const simplified = simplify_(offset);
  if (F::is_numeric_constant(simplified) && factory_.get_numeric_constant(simplified) == rational(0))
    return factory_.make_start_anchor();
  return factory_.make_plus(factory_.make_start_anchor(), simplified);
}

/// Where a moment measured from the end lies if the action takes its shortest duration.
Node* UncertainAction::at_shortest(Node* anchor) const {
  Node* const plain = simplify_(anchor);
  if (F::is_end_anchor(plain) || time_before_end(factory_, plain) == rational(0))
    return after_shortest(shortest_);
  Node* result = nullptr;
  if (F::is_minus(plain) && F::is_end_anchor(plain->children[0]))
    result = after_shortest(factory_.make_minus(shortest_, plain->children[1]));
  else
    result = simplify_(ExpressionSubstituter(
        env_, {{factory_.make_end_anchor(), factory_.make_plus(factory_.make_start_anchor(), shortest_)}}, {},
        true)(plain));
  if (const auto time = read_timing(factory_, result); time && time->from_start && time->k < rational(0))
    refuse("and may end so soon that this lies before its start", anchor);
  return result;
}

/// All moments at which a condition that is measured from the end may have to hold.
UncertainAction::Span UncertainAction::span_of_condition(Node* interval) const {
  Node* const first = interval->children[0];
  Node* const last = interval->operands().back();
  Node* const lower = has_end_(first) ? at_shortest(first) : first;
  return {lower, last, factory_.is_left_closed(interval), factory_.is_right_closed(interval)};
}

/// The part of the interval before the uncertain stretch that begins `stretch` before the shortest end; no
/// value if there is none.
std::optional<UncertainAction::Span> UncertainAction::without_stretch(Span span,
                                                                      const rational& stretch) const {
  const auto before_end = time_before_end(factory_, span.upper);
  if (!before_end) return span;
  if (*before_end != stretch) {
    if (!has_numbers_as_bounds()) return span;
    const rational end = factory_.get_numeric_constant(longest_) - *before_end;
    if (end <= factory_.get_numeric_constant(shortest_) - stretch) return span;
  }
  span.upper =
      at_shortest(factory_.make_minus(factory_.make_end_anchor(), factory_.make_rational_constant(stretch)));
  span.right_closed = true;
  const auto from = read_timing(factory_, span.lower), to = read_timing(factory_, span.upper);
  const bool is_point = span.lower == span.upper || (from && from == to);
  const bool is_reversed = from && to && from->from_start && to->from_start && from->k > to->k;
  if (is_reversed || (is_point && !span.left_closed)) return std::nullopt;
  if (is_point) span.lower = span.upper;
  return span;
}

Node* UncertainAction::timed(const Span& span, Node* body) const {
  assert(span.lower != nullptr && span.upper != nullptr);
  Node* const interval =
      span.lower == span.upper
          ? factory_.make_point_interval(span.lower)
          : factory_.make_interval(span.lower, span.upper, span.left_closed, span.right_closed);
  return factory_.make_temporal_expression(interval, body);
}

/// A reference that the action wrote at an uncertain moment before, and does not write again, has the new
/// value there, which is that of the shadow until its stretch is over. Behind it others may have written it,
/// so each such end of a stretch divides the span.
void UncertainAction::compile_end_condition(Node* interval, Node* body, const ShadowFluents& shadows,
                                            std::vector<Node*>& result) const {
  Span span = span_of_condition(interval);
  const auto before_end = time_before_end(factory_, span.upper);
  NodeMap new_values, others = shadows.shadows_in(body);
  const auto written = written_before(body, interval->children[0]);
  for (const auto& [offset, references] : written)
    for (Node* reference : references) {
      new_values.emplace(reference, others.at(reference));
      others.erase(reference);
    }
  const auto add = [&](const Span& part) {
    Node* const reading = ExpressionSubstituter(env_, new_values, {}, false)(body);
    compile_condition(part, reading, before_end, others, result);
  };
  // By descending offset: each cut lies behind the one before it.
  for (const auto& [offset, references] : written) {
    assert(!references.empty());
    Span part = span;
    part.upper = factory_.make_minus(factory_.make_end_anchor(), factory_.make_rational_constant(offset));
    part.right_closed = true;
    add(part);
    // From the start, as the end of a piece that stops before another stretch is.
    span.lower =
        after_shortest(factory_.make_rational_constant(factory_.get_numeric_constant(longest_) - offset));
    span.left_closed = false;
    for (Node* reference : references) {
      others.emplace(reference, new_values.at(reference));
      new_values.erase(reference);
    }
  }
  add(span);
}

void UncertainAction::compile_condition(const Span& span, Node* body,
                                        const std::optional<rational>& before_end, const NodeMap& shadows,
                                        std::vector<Node*>& result) const {
  const OwnReferences own = written_afterwards(body, before_end);
  NodeMap others = shadows;
  for (Node* reference : own.references) others.erase(reference);
  const std::vector<Node*> everywhere = expand_condition(env_, body, others);
  const NodeSet listed(everywhere.begin(), everywhere.end());
  for (Node* reading : everywhere) result.push_back(timed(span, reading));
  if (others.size() == shadows.size()) return;
  const auto before = without_stretch(span, own.at_least);
  if (!before) return;
  for (Node* reading : expand_condition(env_, body, shadows))
    if (!listed.contains(reading)) result.push_back(timed(*before, reading));
}

void UncertainAction::compile_end_effect(const EndEffect& effect, const ShadowFluents& shadows,
                                         const IsContested& is_contested, std::vector<Node*>& result) const {
  assert(!is_impossible());
  Node* const earliest = at_shortest(effect.anchor);
  Node* const shadow = shadows.in_shadow(effect.target);
  const Span now{earliest, earliest, true, true};
  result.push_back(effect.statement);
  result.push_back(timed(now, factory_.make_assign(shadow, shadows.in_shadow(effect.value))));
  compile_condition({earliest, effect.anchor, false, true}, factory_.make_equals(shadow, effect.value),
                    effect.before_end, shadows.shadows_in(effect.value), result);
  if (shadows.is_exclusive(effect.target)) result.push_back(timed(now, shadows.is_certain(effect.target)));
  // The shadow has its value already. Writing it again keeps the longest end of this step and the shortest of
  // another one apart, which otherwise write different fluents.
  if ((is_contested(effect.target) || may_overlap_itself(effect)) && !is_followed_at_once(effect))
    result.push_back(timed({effect.anchor, effect.anchor, true, true}, factory_.make_assign(shadow, shadow)));
}

/// Whether two steps of this action may write the same fluent in stretches that overlap or touch. Steps with
/// the same parameters come one after the other.
bool UncertainAction::may_overlap_itself(const EndEffect& effect) const {
  const auto arguments = effect.target->operands();
  const bool names_all_parameters = std::ranges::all_of(action_->parameters(), [&](const auto& parameter) {
    return std::ranges::find(arguments, factory_.make_parameter_reference(parameter)) != arguments.end();
  });
  return !names_all_parameters || !F::is_numeric_constant(shortest_) ||
         factory_.get_numeric_constant(shortest_) == rational(0);
}

bool UncertainAction::writes_twice_at_one_moment() const {
  return std::ranges::any_of(end_effects_, [this](const EndEffect& effect) {
    return std::ranges::any_of(others_, [&](Node* statement) { return may_meet(effect, statement); });
  });
}

/// Whether the uncertain stretch of another effect of this action on the same fluent begins where that of
/// this effect ends.
bool UncertainAction::is_followed_at_once(const EndEffect& effect) const {
  if (!effect.before_end || !has_numbers_as_bounds()) return false;
  const rational slack = factory_.get_numeric_constant(longest_) - factory_.get_numeric_constant(shortest_);
  return std::ranges::any_of(end_effects_, [&](const EndEffect& other) {
    return other.target == effect.target && other.before_end == *effect.before_end - slack;
  });
}

/// Whether the statement writes the same fluent, at the moment that the effect has for one of the durations.
bool UncertainAction::may_meet(const EndEffect& effect, Node* statement) const {
  Node* const body = body_of(statement);
  if (!F::is_assign(body) || body->children[0] != effect.target || !effect.before_end) return false;
  if (!has_numbers_as_bounds()) return false;
  const auto time = F::is_temporal_expression(statement)
                        ? read_timing(factory_, statement->children[0]->children[0])
                        : Timing{true, 0};
  if (!time || !time->from_start) return false;
  const rational duration = time->k + *effect.before_end;
  return duration >= factory_.get_numeric_constant(shortest_) &&
         duration <= factory_.get_numeric_constant(longest_);
}

std::vector<Node*> UncertainAction::compile(const ShadowFluents& shadows,
                                            const IsContested& is_contested) const {
  if (writes_twice_at_one_moment()) return never();  // for one of the durations: no plan can use it
  std::vector<Node*> result{factory_.make_assign(factory_.make_duration_anchor(), longest_)};
  for (const EndEffect& effect : end_effects_) compile_end_effect(effect, shadows, is_contested, result);
  for (Node* condition : end_conditions_) {
    for (Node* operand : operands_of_conjunction(body_of(condition)))
      compile_end_condition(condition->children[0], operand, shadows, result);
  }
  for (Node* statement : others_)
    for (Node* part : shadows.expand(statement, false)) result.push_back(part);
  return result;
}

}  // namespace zorvel::model
