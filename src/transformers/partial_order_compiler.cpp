#include "transformers/partial_order_compiler.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/model_factory.h"
#include "transformers/duration_bounds.h"
#include "transformers/readable_times.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

}  // namespace

void PartialOrderCompiler::do_computation() {
  require_flat("This phase can be only applied to flattened models!");
  ZORVEL_LOG(DEBUG) << "Partial order compiler started!";
  MetricRewriter metrics(*problem_);
  names_.reserve_all_but_actions(*problem_);
  std::vector<std::pair<std::shared_ptr<ActionImpl>, std::optional<std::vector<Draft>>>> splits;
  bool is_change = false;
  for (const auto& [name, action] : problem_->actions()) {
    splits.emplace_back(action, split(*action));
    // why before any version is named: what is carried over keeps its name.
    if (splits.back().second)
      is_change = true;
    else
      names_.reserve(name);
  }
  ProblemParts parts(*problem_);
  for (const auto& [action, drafts] : splits) {
    if (!drafts) {
      carry_over(action, metrics);
      parts.actions.push_back(action);
      continue;
    }
    for (const Draft& draft : *drafts) parts.actions.push_back(make_version(action, draft, metrics));
  }
  if (is_change) {
    parts.metrics = metrics.metrics([](Node* node) { return node; });
    new_problem_ = parts.make(env());
  } else {
    new_problem_ = problem_;
  }
  ZORVEL_LOG(DEBUG) << "Partial order compiling completed!";
}

void PartialOrderCompiler::add_point(Node* anchor, Points& points) const {
  const Timing time = timing(factory(), anchor);
  if (time.from_start)
    points.from_start.insert(time.k);
  else
    points.from_end.push_back(time.k);
  if (time.k != rational(0)) (time.from_start ? points.has_start_offset : points.has_end_offset) = true;
}

PartialOrderCompiler::Points PartialOrderCompiler::points_of(const ActionImpl& action) const {
  Points points;
  for (Node* expression : action.expressions()) {
    Node* const statement = without_timing_of_duration(factory(), expression);
    require_readable_times(env(), statement, &action);
    const bool is_timed = F::is_temporal_expression(statement) && F::is_interval(statement->children[0]);
    if (is_timed)
      for (Node* anchor : statement->children[0]->operands()) add_point(anchor, points);
    if (has_duration_(statement)) {
      Node* const limit = static_fluents_(is_timed ? statement->children[1] : statement);
      DurationBounds limits = points.limits;
      if (read_duration_bound(factory(), limit, limits))
        points.limits = limits;
      else
        points.open_limits.push_back(limit);
    } else {
      points.kept.push_back(statement);
      if (!is_timed) points.from_start.insert(0);
    }
  }
  for (const auto& effect : action.simulated_effects()) {
    Node* const anchor = point_interval_of(factory(), effect->timing)->children[0];
    add_point(anchor, points);
  }
  return points;
}

rational PartialOrderCompiler::Points::first_moment(const rational& duration) const {
  assert(duration >= rational(0));
  rational first = from_start.empty() ? rational(0) : *from_start.begin();
  for (const rational& offset : from_end) first = std::min(first, duration - offset);
  return first;
}

/// Whether at this duration points from the two sides coincide, or stand in another order than
/// `ordering_duration` puts them in. With offsets on both sides that is told by the bounds of the duration.
bool PartialOrderCompiler::Points::are_out_of_order_at(const rational& duration) const {
  if (first_moment(duration) < rational(0)) return true;
  return std::any_of(from_end.begin(), from_end.end(), [&](const rational& offset) {
    const auto met = from_start.lower_bound(duration - offset);
    if (met == from_start.end()) return false;
    return *met == duration - offset || !(has_start_offset && has_end_offset);
  });
}

std::optional<std::vector<DurationSplitter::Draft>> PartialOrderCompiler::split(
    const ActionImpl& action) const {
  const Points points = points_of(action);
  const DurationBounds& limits = points.limits;
  const rational first = limits.lower.value;
  const rational last = limits.upper.value;
  std::vector<Draft> drafts;
  const auto add = [&](std::optional<Draft> version) {
    if (version) drafts.push_back(*std::move(version));
  };
  const bool has_both = points.has_start_offset && points.has_end_offset;
  // Where the state has a word in the duration too, this is a version that was split off for the duration 0.
  if (has_both && limits.has_upper && last == rational(0) && points.open_limits.empty())
    throw UnsupportedProblemError("Zero-duration action not allowed!");
  if (limits.has_upper && first == last && !limits.is_empty() && points.are_out_of_order_at(first)) {
    add(exact_draft(action, points, first));
    return drafts;
  }
  const bool has_last = limits.has_upper || !points.open_limits.empty();
  if (!has_both || !has_last || limits.is_empty()) return std::nullopt;

  std::set<rational> meetings;
  for (const rational& from_start : points.from_start)
    for (const rational& from_end : points.from_end)
      if (const rational duration = from_start + from_end;
          duration >= first && (!limits.has_upper || duration <= last))
        meetings.insert(duration);
  Node* const anchor = factory().make_duration_anchor();
  std::vector<Node*> above;  // the last meeting as a lower limit; empty or one clause
  for (const rational& meeting : meetings) {
    Node* const limit = factory().make_rational_constant(meeting);
    std::vector<Node*> range = above;
    range.push_back(factory().make_lt(anchor, limit));
    if (meeting > first) add(draft(points, factory().make_and(range)));
    if (!has_conflict(action, points, meeting)) add(draft(points, factory().make_equals(anchor, limit)));
    above = {factory().make_gt(anchor, limit)};
  }
  assert(above.size() <= 1);
  add(draft(points, factory().make_and(above)));
  return drafts;
}

/// The version under the constraint, if that and the limits leave it a duration.
std::optional<DurationSplitter::Draft> PartialOrderCompiler::draft(const Points& points,
                                                                   Node* constraint) const {
  DurationBounds bounds = points.limits;
  update_duration_bound(factory(), constraint, bounds);
  if (bounds.is_empty()) return std::nullopt;
  Draft draft{points.kept, constraint, std::nullopt, 0};
  for (Node* limit : points.open_limits) draft.expressions.push_back(require_limit(factory(), limit));
  draft.expressions.push_back(update_duration_expression(factory(), bounds));
  return draft;
}

/// The version of an action of a fixed duration, if that brings no two effects on one target together.
std::optional<DurationSplitter::Draft> PartialOrderCompiler::exact_draft(const ActionImpl& action,
                                                                         const Points& points,
                                                                         const rational& duration) const {
  if (has_conflict(action, points, duration)) return std::nullopt;
  Node* const anchor = factory().make_duration_anchor();
  auto version = draft(points, factory().make_equals(anchor, factory().make_rational_constant(duration)));
  if (!version) return std::nullopt;
  const rational lead = std::max(rational(0), -points.first_moment(duration));
  assert(points.limits.has_upper && points.limits.upper.value == duration);
  if (lead > rational(0) && !points.open_limits.empty()) return std::nullopt;
  version->lead = lead;
  version->expressions = points.open_limits;
  for (Node* statement : points.kept)
    version->expressions.push_back(measured_from_start(statement, duration, lead));
  version->expressions.push_back(
      factory().make_equals(anchor, factory().make_rational_constant(duration + lead)));
  version->simulated_effects.emplace();
  for (const auto& effect : action.simulated_effects()) {
    auto moved = std::make_shared<SimulatedEffectImpl>(*effect);
    moved->timing = factory().make_point_interval(
        moved_anchor(point_interval_of(factory(), effect->timing)->children[0], duration, lead));
    version->simulated_effects->push_back(std::move(moved));
  }
  return version;
}

Node* PartialOrderCompiler::moved_anchor(Node* anchor, const rational& duration,
                                         const rational& shift) const {
  const Timing time = timing(factory(), anchor);
  const rational moment = (time.from_start ? time.k : duration - time.k) + shift;
  assert(moment >= rational(0));  // the shift is as long as the first moment lies before the start
  return moment == rational(0)
             ? factory().make_start_anchor()
             : factory().make_plus(factory().make_start_anchor(), factory().make_rational_constant(moment));
}

/// The statement with its moments as `start + k`, for an action that takes `duration` and begins `shift`
/// before what they are measured from.
Node* PartialOrderCompiler::measured_from_start(Node* statement, const rational& duration,
                                                const rational& shift) const {
  const bool is_timed = F::is_temporal_expression(statement);
  if (is_timed && !F::is_interval(statement->children[0])) return statement;
  Node* const body = is_timed ? statement->children[1] : statement;
  if (!is_timed)
    return factory().make_temporal_expression(
        factory().make_point_interval(moved_anchor(factory().make_start_anchor(), duration, shift)), body);
  Node* const interval = statement->children[0];
  Node* const from = moved_anchor(interval->children[0], duration, shift);
  Node* const to = moved_anchor(interval->operands().back(), duration, shift);
  Node* const moved = from == to ? factory().make_point_interval(from)
                                 : factory().make_interval(from, to, factory().is_left_closed(interval),
                                                           factory().is_right_closed(interval));
  return factory().make_temporal_expression(moved, body);
}

/// Whether two effects of the action write one target at one moment if it takes this long.
bool PartialOrderCompiler::has_conflict(const ActionImpl& action, const Points& points,
                                        const rational& duration) const {
  std::set<std::pair<rational, std::uint64_t>> written;  // moment and the target's id
  const auto is_new = [&](Node* anchor, const Node* target) {
    const Timing time = timing(factory(), anchor);
    return written.emplace(time.from_start ? time.k : duration - time.k, target->id).second;
  };
  for (Node* statement : points.kept) {
    const bool is_timed = F::is_temporal_expression(statement);
    if (is_timed && (!F::is_interval(statement->children[0]) || statement->children[0]->arity != 1)) continue;
    Node* const body = is_timed ? statement->children[1] : statement;
    if (!F::is_assign(body)) continue;
    Node* const anchor = is_timed ? statement->children[0]->children[0] : factory().make_start_anchor();
    if (!is_new(anchor, body->children[0])) return true;
  }
  for (const auto& effect : action.simulated_effects()) {
    Node* const anchor = point_interval_of(factory(), effect->timing)->children[0];
    for (Node* fluent : effect->fluents)
      if (!is_new(anchor, fluent)) return true;
  }
  return false;
}

}  // namespace zorvel::model
