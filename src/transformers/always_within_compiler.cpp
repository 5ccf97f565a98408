#include "transformers/always_within_compiler.h"

#include <algorithm>
#include <map>
#include <string>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/model_factory.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "plans/plan.h"
#include "plans/time_triggered_plan.h"
#include "transformers/fresh_names.h"
#include "transformers/plan_mapping.h"
#include "transformers/problem_parts.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

/// A rule and the fluents that keep count of it.
struct Watch {
  AlwaysWithin rule;
  Node* owed;           // the trigger held, and the response has not held since
  Node* watched;        // an action is open that ends in time
  Node* owed_at_start;  // what is owed from the start on; null if nothing is
};

class RuleCompilation {
 public:
  explicit RuleCompilation(const ProblemInstanceImpl& problem)
      : problem_(problem),
        env_(problem.env()),
        factory_(env_.expression_factory()),
        simplify_(env_),
        epsilon_(plan_epsilon(env_)),
        parts_(problem),
        metrics_(problem) {}

  ProblemPtr run(ActionTable& old_of_new);

 private:
  using Assignments = std::vector<Node*>;
  /// What happens at one moment, however that is written.
  struct Moment {
    Node* interval;
    Assignments assignments;
  };
  using Moments = std::map<std::pair<bool, rational>, Moment>;  // by Timing

  void read_initial_values();
  void add_watch(const AlwaysWithin& rule);
  Node* make_fluent(const std::string& name, bool at_start);
  void require_ground(Node* condition) const;
  bool holds_at_start(Node* condition) const;
  Node* after(Node* condition, const Assignments& assignments) const;
  Node* is_covered(const Watch& watch) const {
    return watch.owed_at_start == nullptr ? watch.watched
                                          : factory_.make_or(watch.watched, watch.owed_at_start);
  }
  void note_assignment(Node* statement, Moments& moments) const;
  void add_updates(const Moments& moments, bool is_action, std::vector<Node*>& statements) const;
  std::shared_ptr<ActionImpl> extended(const ActionImpl& action) const;
  std::shared_ptr<ActionImpl> watching_action(const Watch& watch, std::size_t number);
  Node* at(Node* moment, Node* body) const {
    return factory_.make_temporal_expression(factory_.make_point_interval(moment), body);
  }
  Node* truth(bool value) const { return factory_.make_boolean_constant(value); }

  const ProblemInstanceImpl& problem_;
  Environment& env_;
  F& factory_;
  ExpressionSimplifier simplify_;
  const rational epsilon_;
  ProblemParts parts_;
  MetricRewriter metrics_;
  FreshNames names_;
  NodeMap initial_values_;
  std::vector<Watch> watches_;
};

ProblemPtr RuleCompilation::run(ActionTable& old_of_new) {
  names_.reserve_all_but_actions(problem_);
  for (const auto& [name, action] : problem_.actions()) names_.reserve(name);
  read_initial_values();
  for (const AlwaysWithin& rule : problem_.rules().always_within) add_watch(rule);

  Moments moments;
  for (Node* statement : problem_.expressions()) note_assignment(statement, moments);
  moments.erase({true, rational(0)});
  add_updates(moments, false, parts_.expressions);

  for (const auto& [name, action] : problem_.actions()) {
    const auto changed = extended(*action);
    parts_.actions.push_back(changed);
    old_of_new.emplace(changed, action);
    metrics_.carry_cost(action, changed, [](Node* node) { return node; });
  }
  for (std::size_t number = 0; number < watches_.size(); ++number) {
    parts_.actions.push_back(watching_action(watches_[number], number));
    metrics_.set_cost(parts_.actions.back(), factory_.make_integer_constant(0));
  }
  parts_.metrics = metrics_.metrics([](Node* node) { return node; });
  parts_.rules.always_within.clear();
  return parts_.make(env_);
}

void RuleCompilation::read_initial_values() {
  for (Node* statement : problem_.expressions()) {
    if (!F::is_temporal_expression(statement) || !F::is_assign(statement->children[1])) continue;
    Node* const interval = statement->children[0];
    if (!factory_.is_point_interval(interval) ||
        read_timing(factory_, interval->children[0]) != Timing{true, 0})
      continue;
    initial_values_.emplace(statement->children[1]->children[0], statement->children[1]->children[1]);
  }
}

bool RuleCompilation::holds_at_start(Node* condition) const {
  Node* const value = simplify_(ExpressionSubstituter(env_, initial_values_, {}, false)(condition));
  if (F::is_kind(value, NodeKind::TRUE)) return true;
  if (F::is_kind(value, NodeKind::FALSE)) return false;
  throw UnsupportedProblemError("The values at the start do not say whether this holds: ")
      << print_expression{condition};
}

Node* RuleCompilation::make_fluent(const std::string& name, bool at_start) {
  const auto fluent =
      env_.model_factory().make_fluent(names_.unique(name), env_.model_factory().make_boolean_type(), {}, {});
  parts_.fluents.push_back(fluent);
  Node* const reference = factory_.make_fluent_reference(fluent, {});
  parts_.expressions.push_back(
      at(factory_.make_start_anchor(), factory_.make_assign(reference, truth(at_start))));
  return reference;
}

void RuleCompilation::require_ground(Node* condition) const {
  const ExpressionFreeVars free_vars(env_);
  for (const Node* node : free_vars(condition))
    if (!F::is_fluent_reference(node) || !std::ranges::all_of(node->operands(), &F::is_value))
      throw UnsupportedProblemError("'always-within' needs fluents at values: ")
          << print_expression{condition};
}

void RuleCompilation::add_watch(const AlwaysWithin& rule) {
  require_ground(rule.trigger);
  require_ground(rule.response);
  Watch watch{{rule.limit, simplify_(rule.trigger), simplify_(rule.response)}, nullptr, nullptr, nullptr};
  if (F::is_kind(watch.rule.trigger, NodeKind::FALSE) || F::is_kind(watch.rule.response, NodeKind::TRUE))
    return;
  const bool is_owed = holds_at_start(watch.rule.trigger) && !holds_at_start(watch.rule.response);
  const std::string number = std::to_string(watches_.size());
  watch.owed = make_fluent("__owed_" + number, is_owed);
  watch.watched = make_fluent("__watched_" + number, false);
  Node* const start = factory_.make_start_anchor();
  if (is_owed) {
    watch.owed_at_start = make_fluent("__owed_at_start_" + number, true);
    // The action that finds the moment comes an epsilon behind the response, and an epsilon before the end.
    Node* const last =
        factory_.make_plus(start, factory_.make_rational_constant(rule.limit + epsilon_ + epsilon_));
    parts_.expressions.push_back(factory_.make_temporal_expression(
        factory_.make_contains(factory_.make_closed_interval(start, last), nullptr, ""),
        watch.rule.response));
  }
  parts_.expressions.push_back(
      factory_.make_temporal_expression(factory_.make_closed_interval(start, factory_.make_end_anchor()),
                                        factory_.make_or(factory_.make_not(watch.owed), is_covered(watch))));
  watches_.push_back(watch);
}

/// What the condition is behind the assignments, as a condition on the state before them.
Node* RuleCompilation::after(Node* condition, const Assignments& assignments) const {
  NodeMap values;
  for (const Node* assignment : assignments) values.emplace(assignment->children[0], assignment->children[1]);
  return simplify_(ExpressionSubstituter(env_, std::move(values), {}, false)(condition));
}

void RuleCompilation::note_assignment(Node* statement, Moments& moments) const {
  const bool is_timed = F::is_temporal_expression(statement);
  Node* const body = is_timed ? statement->children[1] : statement;
  if (!F::is_assign(body) || !F::is_fluent_reference(body->children[0])) return;
  Node* const interval =
      is_timed ? statement->children[0] : factory_.make_point_interval(factory_.make_start_anchor());
  const Timing time = timing(factory_, interval->children[0]);
  moments.try_emplace({time.from_start, time.k}, Moment{interval, {}})
      .first->second.assignments.push_back(body);
}

void RuleCompilation::add_updates(const Moments& moments, bool is_action,
                                  std::vector<Node*>& statements) const {
  for (const auto& [time, moment] : moments)
    for (const Watch& watch : watches_) {
      Node* const trigger = after(watch.rule.trigger, moment.assignments);
      Node* const response = after(watch.rule.response, moment.assignments);
      if (trigger == watch.rule.trigger && response == watch.rule.response) continue;
      const auto add = [&, interval = moment.interval](Node* body) {
        statements.push_back(factory_.make_temporal_expression(interval, body));
      };
      Node* const is_open = factory_.make_not(response);
      Node* const owed = simplify_(factory_.make_and(factory_.make_or(watch.owed, trigger), is_open));
      add(factory_.make_assign(watch.owed, owed));
      // The problem's own demand says as much; as a condition it guides the search to the watching action.
      if (is_action && !F::is_kind(owed, NodeKind::FALSE) && watch.owed != owed)
        add(simplify_(factory_.make_or(is_covered(watch), factory_.make_not(owed))));
      if (watch.owed_at_start != nullptr && response != watch.rule.response)
        add(factory_.make_assign(watch.owed_at_start,
                                 simplify_(factory_.make_and(watch.owed_at_start, is_open))));
    }
}

std::shared_ptr<ActionImpl> RuleCompilation::extended(const ActionImpl& action) const {
  if (!action.simulated_effects().empty())
    throw UnsupportedProblemError("'always-within' cannot be kept with simulated effects, as in action ")
        << action.name();
  std::vector<Node*> statements(action.expressions().begin(), action.expressions().end());
  Moments moments;
  for (Node* statement : statements) note_assignment(statement, moments);
  add_updates(moments, true, statements);
  return env_.model_factory().make_action(action.name(), action.path(), action.is_process(),
                                          action.parameters(), statements, {});
}

std::shared_ptr<ActionImpl> RuleCompilation::watching_action(const Watch& watch, std::size_t number) {
  Node* const start = factory_.make_start_anchor();
  Node* const end = factory_.make_end_anchor();
  Node* const longest = factory_.make_rational_constant(watch.rule.limit + epsilon_ + epsilon_);
  return env_.model_factory().make_action(
      names_.unique("__watch_" + std::to_string(number)), {}, false, {},
      {factory_.make_le(factory_.make_duration_anchor(), longest),
       at(start, factory_.make_not(watch.watched)),
       at(start, factory_.make_assign(watch.watched, truth(true))), at(end, factory_.make_not(watch.owed)),
       at(end, factory_.make_assign(watch.watched, truth(false)))},
      {});
}

}  // namespace

void AlwaysWithinCompiler::do_computation() {
  require_flat("The compiler of always-within can be only applied to flattened models!");
  ZORVEL_LOG(DEBUG) << "Always-within compiler started!";
  new_problem_ = RuleCompilation(*problem_).run(old_of_new_);
  ZORVEL_LOG(DEBUG) << "Always-within compiling completed!";
}

ActionStep AlwaysWithinCompiler::map_back(const ActionStep&) const {
  throw InternalError("Not implemented yet!");
}

std::shared_ptr<Plan> AlwaysWithinCompiler::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "the transformer", [this](const PlannedStep& planned) -> std::optional<MappedStep> {
    const auto old = old_of_new_.find(planned.step.action);
    if (old == old_of_new_.end()) return std::nullopt;
    ActionStep step = planned.step;
    step.action = old->second;
    return MappedStep{step, planned.post_condition};
  });
}

std::vector<ActionStep> AlwaysWithinCompiler::map_forward(const ActionStep&) const {
  throw InternalError("Not implemented yet!");
}

std::shared_ptr<TimeTriggeredPlan> AlwaysWithinCompiler::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>&) const {
  throw InternalError("Not supported!");
}

}  // namespace zorvel::model
