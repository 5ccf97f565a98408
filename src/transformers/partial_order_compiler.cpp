#include "transformers/partial_order_compiler.h"

#include <algorithm>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "model/model_factory.h"
#include "transformers/duration_bounds.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

/// How long after `duration` the next point from the end reaches a point from the start, at most `limit`. A
/// point that is there already counts only if `or_now`.
rational time_to_next_meeting(const std::set<rational>& from_start, const std::vector<rational>& from_end,
                              const rational& duration, const rational& limit, bool or_now) {
  rational least = limit;
  for (const rational& offset : from_end) {
    const rational time = duration - offset;
    const auto next = or_now ? from_start.lower_bound(time) : from_start.upper_bound(time);
    if (next != from_start.end()) least = std::min(least, *next - time);
  }
  return least;
}

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
    const bool is_timed = F::is_temporal_expression(statement) && F::is_interval(statement->children[0]);
    if (is_timed)
      for (Node* anchor : statement->children[0]->operands()) add_point(anchor, points);
    if (has_duration_(statement)) {
      points.duration_list.push_back(static_fluents_(is_timed ? statement->children[1] : statement));
    } else {
      points.kept.push_back(statement);
      if (!is_timed) points.from_start.insert(0);
    }
  }
  for (const auto& effect : action.simulated_effects()) {
    Node* const anchor = point_interval_of(factory(), effect->timing)->children[0];
    if (timing(factory(), anchor).k > rational(0)) add_point(anchor, points);
  }
  return points;
}

std::optional<std::vector<DurationSplitter::Draft>> PartialOrderCompiler::split(
    const ActionImpl& action) const {
  const Points points = points_of(action);
  if (!points.has_start_offset || !points.has_end_offset) return std::nullopt;
  DurationBounds limits;
  for (Node* statement : points.duration_list) update_duration_bound(factory(), statement, limits);
  const rational first = limits.lower.value;
  const rational last = limits.upper.value;
  if (limits.has_upper && last == rational(0)) throw InternalError("Zero-duration action not allowed!");
  if (!limits.has_upper || first > last) return std::nullopt;

  Node* const anchor = factory().make_duration_anchor();
  std::vector<Draft> drafts;
  const auto add = [&](Node* constraint) {
    if (auto version = draft(points, limits, constraint)) drafts.push_back(*std::move(version));
  };
  const auto add_exact = [&](const rational& duration) {
    if (!has_conflict(action, points, duration))
      add(factory().make_equals(anchor, factory().make_rational_constant(duration)));
  };
  for (rational duration = first; duration <= last;) {
    const rational step = time_to_next_meeting(points.from_start, points.from_end, duration, last, false);
    const bool meets_at_first =
        duration == first &&
        time_to_next_meeting(points.from_start, points.from_end, duration, last, true) == rational(0);
    if (meets_at_first) add_exact(duration);
    const rational next = duration + step;
    Node* const below = factory().make_lt(anchor, factory().make_rational_constant(next));
    if (duration == first && !meets_at_first)
      add(below);
    else
      add(factory().make_and(factory().make_gt(anchor, factory().make_rational_constant(duration)), below));
    add_exact(next);
    duration = next;
  }
  return drafts;
}

/// The version under the constraint, if that and the limits leave it a duration.
std::optional<DurationSplitter::Draft> PartialOrderCompiler::draft(const Points& points,
                                                                   const DurationBounds& limits,
                                                                   Node* constraint) const {
  DurationBounds bounds = limits;
  update_duration_bound(factory(), constraint, bounds);
  if (bounds.is_empty()) return std::nullopt;
  Draft draft{points.kept, constraint};
  draft.expressions.push_back(update_duration_expression(factory(), bounds));
  return draft;
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
