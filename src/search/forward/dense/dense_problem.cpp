#include "search/forward/dense/dense_problem.h"

#include <algorithm>
#include <cassert>

#include "core/unsupported_problem.h"
#include "model/expression_factory.h"
#include "model/walkers/expression_simplifier.h"
#include "search/forward/event_semantics.h"
#include "transformers/duration_bounds.h"

namespace zorvel::tp::ftp {

namespace {

using F = model::ExpressionFactory;

/// The statements of a conjunction, one by one.
void split(Node* statement, std::vector<Node*>& out) {
  if (!F::is_and(statement)) {
    if (!F::is_kind(statement, NodeKind::TRUE)) out.push_back(statement);
    return;
  }
  for (Node* operand : statement->operands()) split(operand, out);
}

std::pair<double, std::optional<double>> inner_bounds(const DurationBounds& bounds, const rational& epsilon) {
  std::pair<double, std::optional<double>> result;
  result.first = static_cast<double>(bounds.lower.strict ? bounds.lower.value + epsilon : bounds.lower.value);
  if (bounds.has_upper)
    result.second =
        static_cast<double>(bounds.upper.strict ? bounds.upper.value - epsilon : bounds.upper.value);
  return result;
}

}  // namespace

DenseProblem::DenseProblem(const FtpModel& model, std::shared_ptr<EvaluationTables> tables)
    : model_(model),
      tables_(std::move(tables)),
      epsilon_(static_cast<double>(model.epsilon())),
      precision_(static_cast<double>(model.epsilon() / rational(100))),
      end_distance_(static_cast<double>(rational(1) + model.epsilon())) {
  events_.resize(model.events().size());
  // One simplifier for all, since actions share most of their conjuncts.
  const model::ExpressionSimplifier simplifier(model.env());
  for (const Event& event : model.events()) compile_event(event, simplifier);
  add_chain(model.global_start_events(), nullptr);
  add_chain(model.global_end_events(), nullptr);
  for (const ActionModel& source : model.actions()) {
    DenseAction& action = actions_.emplace_back();
    action.opening = tables_->compiler.compile_condition(
        source.start->expression == nullptr ? model.env().expression_factory().make_boolean_constant(true)
                                            : simplifier(source.start->body()));
    compile_durations(source, simplifier, action);
    add_chain(source.events, &action);
  }
  assert(chains_.size() == first_action_chain + actions_.size());
  assert(std::ranges::all_of(events_, [](const DenseEvent& one) { return one.event != nullptr; }));
}

void DenseProblem::compile_event(const Event& source, const model::ExpressionSimplifier& simplifier) {
  assert(source.index < events_.size() && events_[source.index].event == nullptr);
  DenseEvent& event = events_[source.index];
  event.event = &source;
  event.is_effect_like = source.is_effect_like();
  event.touch_mask = model_.touch_mask(source);
  event.is_opener = source.is_opener();
  event.excludes = !model_.instant_keys(source).empty();
  event.is_left_open = source.is_left_open;
  if (source.is_closer()) event.opener = source.start_time_point->index;
  event.from_start = source.anchor.from_start;
  event.shift = static_cast<double>(source.anchor.from_start ? source.anchor.offset : -source.anchor.offset);
  if (source.kind == EventKind::CONDITION)
    event.condition = tables_->compiler.compile_condition(simplifier(source.body()));
  if (event.is_effect_like)
    event.effect = source.simulated_effect
                       ? tables_->compiler.compile_effect(source.body(), source.simulated_effect, {})
                       : tables_->compiler.compile_effect(source.body());
}

void DenseProblem::add_chain(const std::vector<Event*>& events, DenseAction* action) {
  const auto index = static_cast<std::uint32_t>(chains_.size());
  DenseChain& chain = chains_.emplace_back();
  for (const Event* event : events) {
    if (is_tested_at_opening(*event)) {
      // By the opening itself; the initial state has tested the problem's own, and put them in force.
      if (action != nullptr) action->direct_openers.push_back(event->index);
      continue;
    }
    assert(events_[event->index].event == event);
    events_[event->index].chain = index;
    chain.events.push_back(event->index);
  }
  const std::size_t length = chain.events.size();
  longest_chain_ = std::max(longest_chain_, static_cast<std::uint32_t>(length));
  chain.tightest_from_start.assign(length + 1, DenseChain::none);
  chain.tightest_from_end.assign(length + 1, DenseChain::none);
  for (std::size_t at = length; at-- > 0;) {
    std::uint32_t& from_start = chain.tightest_from_start[at] = chain.tightest_from_start[at + 1];
    std::uint32_t& from_end = chain.tightest_from_end[at] = chain.tightest_from_end[at + 1];
    const DenseEvent& event = events_[chain.events[at]];
    std::uint32_t& tightest = event.from_start ? from_start : from_end;
    // The first to be violated is the one that lies farthest before the others.
    if (tightest == DenseChain::none || event.shift <= events_[chain.events[tightest]].shift)
      tightest = static_cast<std::uint32_t>(at);
  }
}

void DenseProblem::compile_durations(const ActionModel& source, const model::ExpressionSimplifier& simplifier,
                                     DenseAction& action) {
  F& factory = model_.env().expression_factory();
  DurationBounds bounds = source.duration_bounds.value_or(DurationBounds());
  std::vector<Node*> statements;
  for (Node* statement : source.duration_constraints) split(simplifier(statement), statements);
  for (Node* statement : statements) {
    if (statement->arity == 2 && F::is_numeric_constant(statement->children[1]))
      model::update_duration_bound(factory, statement, bounds);
    else if (statement->arity == 2 && F::is_duration_anchor(statement->children[0]))
      action.open_limits.push_back({statement->kind(), tables_->compiler.compile(statement->children[1])});
    else
      throw UnsupportedProblemError("No limit on a duration can be read from ")
          << model::print_expression{statement};
  }
  action.bounds = bounds;
  std::tie(action.lower, action.upper) = inner_bounds(bounds, model_.epsilon());
  assert(action.lower >= 0);
}

std::optional<std::pair<double, std::optional<double>>> DenseProblem::duration_bounds(
    ActionId id, const std::uint32_t* values) const {
  F& factory = model_.env().expression_factory();
  const DenseAction& action = actions_[id];
  assert(!action.open_limits.empty());  // else the bounds of the action itself say all
  DurationBounds bounds = action.bounds;
  for (const auto& [kind, limit] : action.open_limits) {
    const ValueId value = limit.evaluate(values);
    if (value == no_value) return std::nullopt;
    Node* const number = tables_->values.node_of(value);
    Node* const duration = factory.make_duration_anchor();
    Node* statement = nullptr;
    switch (kind) {
      case NodeKind::LE: statement = factory.make_le(duration, number); break;
      case NodeKind::LT: statement = factory.make_lt(duration, number); break;
      case NodeKind::GE: statement = factory.make_ge(duration, number); break;
      case NodeKind::GT: statement = factory.make_gt(duration, number); break;
      default: statement = factory.make_equals(duration, number); break;
    }
    model::update_duration_bound(factory, statement, bounds);
  }
  return inner_bounds(bounds, model_.epsilon());
}

}  // namespace zorvel::tp::ftp
