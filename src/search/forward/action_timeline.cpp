#include "search/forward/action_timeline.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <string>
#include <utility>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/expression_factory.h"
#include "transformers/duration_bounds.h"
#include "transformers/readable_times.h"
#include "transformers/timing.h"

namespace zorvel::tp::ftp {

using model::ActionImpl;
using model::ExpressionFactory;

namespace {

/// Whether an expression that holds the duration only limits it: `duration <= x` and the like, or their
/// `and`.
bool limits_duration(Node* body, const model::CheckContainsWalker& contains_duration) {
  if (ExpressionFactory::is_and(body)) {
    const auto operands = body->operands();
    return std::all_of(operands.begin(), operands.end(),
                       [&](Node* operand) { return limits_duration(operand, contains_duration); });
  }
  return body->arity == 2 && ExpressionFactory::is_duration_anchor(body->children[0]) &&
         !contains_duration(body->children[1]);
}

/// Several simulated effects at one time are one happening.
std::shared_ptr<model::SimulatedEffectImpl> merged(
    const std::shared_ptr<model::SimulatedEffectImpl>& first,
    const std::shared_ptr<model::SimulatedEffectImpl>& second) {
  auto result = std::make_shared<model::SimulatedEffectImpl>(*first);
  result->fluents.insert(result->fluents.end(), second->fluents.begin(), second->fluents.end());
  result->function = [first, second](const zorvel::SearchState& state, const StateIndex& index,
                                     const std::vector<Node*>& parameters) {
    std::vector<Node*> values = first->function(state, index, parameters);
    const std::vector<Node*> more = second->function(state, index, parameters);
    values.insert(values.end(), more.begin(), more.end());
    return values;
  };
  return result;
}

}  // namespace

/// The statements of one action, sorted by what they are.
struct ActionTimeline::Statements {
  ByInterval effects;
  ByInterval conditions;
  std::map<Node*, std::shared_ptr<model::SimulatedEffectImpl>, NodeIdLess> simulated;
  std::vector<Node*> on_duration;
};

ActionTimeline::ActionTimeline(Environment& env, const model::ProblemPtr& problem, EventMaker& maker)
    : env_(env),
      maker_(maker),
      has_mutual_exclusion_(problem->rules().has_mutual_exclusion),
      static_fluents_(problem),
      contains_duration_(env, NodeKind::DURATION) {}

ActionTimeline::Statements ActionTimeline::sort(const ActionImpl& action) {
  ExpressionFactory& factory = env_.expression_factory();
  Statements sorted;
  Node* const at_start = factory.make_point_interval(factory.make_start_anchor());
  for (Node* given : action.expressions()) {
    Node* const expression = model::without_timing_of_duration(factory, given);
    const bool timed = ExpressionFactory::is_temporal_expression(expression);
    Node* const interval = timed ? expression->children[0] : at_start;
    Node* const body = timed ? expression->children[1] : expression;
    if (contains_duration_(body)) {
      Node* const limit = model::with_duration_first(factory, body);
      if (timed || !limits_duration(limit, contains_duration_))
        throw UnsupportedProblemError(
            "The duration of an action cannot be read by its effects or conditions: ")
            << model::print_expression{expression} << " in action " << action.name();
      sorted.on_duration.push_back(static_fluents_(limit));
    } else if (ExpressionFactory::is_assign(body)) {
      if (!factory.is_point_interval(interval))
        throw InternalError("Found an effect over a non-punctual interval");
      sorted.effects[interval].push_back(body);
    } else {
      sorted.conditions[interval].push_back(body);
    }
  }
  for (const auto& effect : action.simulated_effects()) {
    auto& slot = sorted.simulated[model::point_interval_of(factory, effect->timing)];
    slot = slot ? merged(slot, effect) : effect;
  }
  return sorted;
}

rational ActionTimeline::read_duration(const Statements& statements, ActionModel& entry) const {
  ExpressionFactory& factory = env_.expression_factory();
  rational max_from_start(0), max_from_end(0);
  const auto note_interval = [&](const Node* interval) {
    for (Node* anchor : interval->operands()) {
      const auto [is_from_start, offset] = model::timing(factory, anchor);
      rational& largest = is_from_start ? max_from_start : max_from_end;
      if (offset > largest) largest = offset;
    }
  };
  for (const auto& [interval, bodies] : statements.effects) note_interval(interval);
  for (const auto& [interval, bodies] : statements.conditions) note_interval(interval);
  for (const auto& [interval, effect] : statements.simulated) note_interval(interval);

  DurationBounds bounds;
  // Only where events are measured from both ends does their order rest on the duration.
  if (max_from_start > rational(0) && max_from_end > rational(0)) {
    for (Node* statement : statements.on_duration) {
      DurationBounds limited = bounds;
      if (model::read_duration_bound(factory, statement, limited))
        bounds = limited;
      else
        entry.duration_constraints.push_back(statement);  // the state decides
    }
    entry.duration_bounds = bounds;
  } else {
    entry.duration_constraints = statements.on_duration;
  }
  assert(max_from_start >= rational(0) && max_from_end >= rational(0));
  return model::ordering_duration(bounds, max_from_start, max_from_end);
}

Node* ActionTimeline::asked_at_opening(const Node* condition) const {
  ExpressionFactory& factory = env_.expression_factory();
  const Node* const interval = condition->children[0];
  const auto [is_from_start, offset] = model::timing(factory, lower_anchor(interval));
  const bool is_asked = factory.is_left_closed(interval) && is_from_start && offset == rational(0);
  return is_asked ? condition->children[1] : nullptr;
}

void ActionTimeline::make_ends(const std::vector<Node*>& conditions, ActionModel& entry) {
  ExpressionFactory& factory = env_.expression_factory();
  std::vector<Node*> at_opening, at_opening_alone;
  for (Node* condition : conditions) {
    Node* const body = asked_at_opening(condition);
    if (body == nullptr) continue;
    at_opening.push_back(body);
    if (factory.is_point_interval(condition->children[0])) at_opening_alone.push_back(body);
  }
  if (has_mutual_exclusion_ && !at_opening_alone.empty()) entry.opening = factory.make_and(at_opening_alone);
  Node* const at_start = factory.make_point_interval(factory.make_start_anchor());
  entry.start = maker_.make(
      EventKind::START_ACTION,
      at_opening.empty() ? nullptr : factory.make_temporal_expression(at_start, factory.make_and(at_opening)),
      entry.action, 0);
  entry.end = maker_.make(EventKind::END_ACTION, nullptr, entry.action, 0);
}

ActionModel ActionTimeline::lay_out(const std::shared_ptr<ActionImpl>& action) {
  ExpressionFactory& factory = env_.expression_factory();
  Statements statements = sort(*action);
  ActionModel entry;
  entry.action = action;
  const rational duration = read_duration(statements, entry);
  const std::vector<Node*> conditions = maker_.in_text_order(statements.conditions);
  make_ends(conditions, entry);

  Timeline timeline;
  const auto moment = [&](const Anchor& anchor, const rational& shift) -> Moment& {
    // A shift makes the offset larger from the start and smaller from the end: later in either case.
    return timeline[anchor.from_start ? anchor.offset + shift : duration - (anchor.offset - shift)];
  };
  unsigned long pos = 1;
  for (Node* expression : maker_.in_text_order(statements.effects)) {
    Node* const interval = expression->children[0];
    Event* const event =
        maker_.add_effect(EventKind::EFFECT, expression, lower_anchor(interval), action, pos, moment);
    const auto simulated = statements.simulated.find(interval);
    if (simulated == statements.simulated.end()) continue;
    event->simulated_effect = simulated->second;
    statements.simulated.erase(simulated);
  }
  for (Node* condition : conditions) {
    const bool is_tested_at_opening =
        factory.is_point_interval(condition->children[0]) && asked_at_opening(condition) != nullptr;
    if (!is_tested_at_opening) maker_.add_condition(condition, action, pos, moment);
  }
  std::multimap<std::string, std::pair<Node*, std::shared_ptr<model::SimulatedEffectImpl>>> simulated;
  for (const auto& [interval, effect] : statements.simulated)
    simulated.emplace(model::to_anml(interval), std::pair(interval, effect));
  for (const auto& [text, of_interval] : simulated) {
    Event* const event = maker_.add_effect(EventKind::SIMULATED_EFFECT, nullptr,
                                           lower_anchor(of_interval.first), action, pos, moment);
    event->simulated_effect = of_interval.second;
  }
  append_events(timeline, entry.events);
  assert(entry.events.size() + 1 == pos);  // every event that was made stands in the chain once
  return entry;
}

}  // namespace zorvel::tp::ftp
