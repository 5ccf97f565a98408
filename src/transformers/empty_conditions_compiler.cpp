#include "transformers/empty_conditions_compiler.h"

#include <algorithm>
#include <cassert>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/model_factory.h"
#include "model/walkers/check_contains_walker.h"
#include "transformers/duration_bounds.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

bool is_effect(const Node* body) {
  return F::is_assign(body) || F::is_increase(body) || F::is_decrease(body);
}

[[noreturn]] void refuse_form() {
  throw UnsupportedProblemError(
      "Durative conditions must have the form: [start + c1, start + c2], [start + c1, end - c2] or [end - "
      "c1, "
      "end - c2] with c1>=0 and c2>=0");
}

}  // namespace

void EmptyConditionsCompiler::do_computation() {
  require_flat("This phase can be only applied to flattened models!");
  ZORVEL_LOG(DEBUG) << "Empty conditions compiler started!";
  MetricRewriter metrics(*problem_, "Multiple MINIMIZE_ACTION_COST metric");
  std::vector<Split> splits;
  for (const auto& [name, action] : problem_->actions()) splits.push_back(split(*action));
  const bool is_change =
      std::any_of(splits.begin(), splits.end(), [](const Split& split) { return split.is_change; });

  ProblemParts parts(*problem_);
  names_.reserve_all_but_actions(*problem_);
  assert(splits.size() == problem_->actions().size());
  auto split = splits.begin();
  for (const auto& [name, action] : problem_->actions()) {
    if (is_change)
      for (const Draft& draft : split->drafts) parts.actions.push_back(make_version(action, draft, metrics));
    else
      carry_over(action, metrics);
    ++split;
  }
  if (is_change) {
    parts.metrics = metrics.metrics([](Node* node) { return node; });
    new_problem_ = parts.make(env());
  } else {
    new_problem_ = problem_;
  }
  ZORVEL_LOG(DEBUG) << "Empty conditions compiling completed!";
}

EmptyConditionsCompiler::Sorted EmptyConditionsCompiler::sort(const ActionImpl& action) const {
  Sorted sorted;
  for (Node* expression : action.expressions()) {
    Node* const statement = without_timing_of_duration(factory(), expression);
    if (F::is_temporal_expression(statement)) {
      Node* const interval = statement->children[0];
      if (!F::is_interval(interval) || interval->arity != 2 || is_effect(statement->children[1]))
        sorted.others.push_back(statement);
      else
        sort_durative_condition(statement, sorted);
    } else if (has_duration_(statement)) {
      sort_duration_statement(statement, sorted);
    } else {
      sorted.others.push_back(statement);
    }
  }
  return sorted;
}

void EmptyConditionsCompiler::sort_durative_condition(Node* condition, Sorted& sorted) const {
  Node* const interval = condition->children[0];
  assert(interval->arity == 2);
  // A bare anchor counts as an offset of 0 at its own side of the interval only.
  if (F::is_end_anchor(interval->children[0]) || F::is_start_anchor(interval->children[1])) refuse_form();
  const auto from = read_timing(factory(), interval->children[0]);
  const auto to = read_timing(factory(), interval->children[1]);
  if (!from || !to || (!from->from_start && to->from_start)) refuse_form();
  if (from->from_start && !to->from_start) {
    sorted.thresholds[from->k + to->k].push_back(condition);
    return;
  }
  if (is_empty_interval(factory(), interval))
    sorted.dropped_some = true;
  else
    sorted.others.push_back(condition);
}

void EmptyConditionsCompiler::sort_duration_statement(Node* statement, Sorted& sorted) const {
  if (has_or_(statement)) throw UnsupportedProblemError("Duration disjunctions not supported!");
  sorted.duration_statements.push_back(statement);
  const bool is_fixed = F::is_assign(statement) && F::is_duration_anchor(statement->children[0]);
  Node* const limit = static_fluents_(
      is_fixed ? factory().make_equals(statement->children[0], statement->children[1]) : statement);
  DurationBounds ignored;
  if (read_duration_bound(factory(), limit, ignored))
    sorted.duration_list.push_back(limit);
  else
    sorted.open_limits.push_back(limit);
}

/// Whether the duration depends on the state and no condition can be empty for a duration of 0 or more, save
/// the open ones at 0 itself.
bool EmptyConditionsCompiler::stays_whole(const Sorted& sorted) const {
  if (sorted.thresholds.empty()) return true;
  if (sorted.thresholds.rbegin()->first != rational(0) || sorted.thresholds.size() > 1) return false;
  return !sorted.open_limits.empty();
}

/// The version with these conditions in force, if the constraints leave it a duration.
std::optional<EmptyConditionsCompiler::Draft> EmptyConditionsCompiler::draft(
    const Sorted& sorted, const std::vector<Node*>& in_force, const std::vector<Node*>& constraints) const {
  std::vector<Node*> conjuncts;
  if (!sorted.duration_list.empty()) conjuncts.push_back(factory().make_and(sorted.duration_list));
  conjuncts.insert(conjuncts.end(), constraints.begin(), constraints.end());
  Node* const constraint = factory().make_and(conjuncts);
  DurationBounds bounds;
  update_duration_bound(factory(), constraint, bounds);
  if (bounds.is_empty()) return std::nullopt;
  Draft draft{sorted.others, constraint, std::nullopt, 0};
  draft.expressions.insert(draft.expressions.end(), in_force.begin(), in_force.end());
  for (Node* limit : sorted.open_limits) draft.expressions.push_back(require_limit(factory(), limit));
  draft.expressions.push_back(update_duration_expression(factory(), bounds));
  return draft;
}

EmptyConditionsCompiler::Split EmptyConditionsCompiler::split(const ActionImpl& action) const {
  const Sorted sorted = sort(action);
  Split result;
  result.is_change = sorted.dropped_some;
  if (stays_whole(sorted)) {
    Draft whole{sorted.others, factory().make_boolean_constant(true), std::nullopt, 0};
    const auto add = [&](const std::vector<Node*>& more) {
      whole.expressions.insert(whole.expressions.end(), more.begin(), more.end());
    };
    for (const auto& [threshold, conditions] : sorted.thresholds) add(conditions);
    add(sorted.duration_statements);
    result.drafts.push_back(std::move(whole));
    return result;
  }

  Node* const duration = factory().make_duration_anchor();
  std::vector<Node*> in_force;
  std::vector<Node*> above;  // the previous threshold's lower limit; empty or one clause
  const auto add_version = [&](Node* limit, const std::vector<Node*>& more) {
    std::vector<Node*> conditions = in_force;
    conditions.insert(conditions.end(), more.begin(), more.end());
    std::vector<Node*> constraints = above;
    if (limit != nullptr) constraints.push_back(limit);
    const auto version = draft(sorted, conditions, constraints);
    if (!version) return;
    result.drafts.push_back(*version);
    if (limit != nullptr) result.is_change = true;
  };
  for (const auto& [threshold, conditions] : sorted.thresholds) {
    std::vector<Node*> closed, open;
    for (Node* condition : conditions) {
      Node* const interval = condition->children[0];
      const bool is_closed = factory().is_left_closed(interval) && factory().is_right_closed(interval);
      (is_closed ? closed : open).push_back(condition);
    }
    Node* const limit = factory().make_rational_constant(threshold);
    if (closed.empty()) {
      add_version(factory().make_le(duration, limit), {});
    } else {
      add_version(factory().make_lt(duration, limit), {});
      if (!open.empty()) add_version(factory().make_equals(duration, limit), closed);
    }
    assert(closed.size() + open.size() == conditions.size());
    in_force.insert(in_force.end(), conditions.begin(), conditions.end());
    above = {open.empty() ? factory().make_ge(duration, limit) : factory().make_gt(duration, limit)};
  }
  add_version(nullptr, {});
  return result;
}

}  // namespace zorvel::model
