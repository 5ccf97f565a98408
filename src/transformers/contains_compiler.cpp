#include "transformers/contains_compiler.h"

#include <cassert>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/walkers/check_contains_walker.h"
#include "plans/time_triggered_plan.h"
#include "transformers/fresh_names.h"
#include "transformers/plan_mapping.h"
#include "transformers/problem_parts.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

bool is_contains_statement(const Node* statement) {
  return F::is_temporal_expression(statement) && F::is_contains(statement->children[0]);
}

[[noreturn]] void refuse(const char* reason, Node* statement) {
  throw UnsupportedProblemError(reason) << ": " << print_expression{statement};
}

/// One `contains` statement and what was made for it.
struct Contains {
  Node* statement;
  Node* from;
  Node* to;
  Node* body;
  std::string label;  // empty if it has none
  Node* active;
  Node* goal;
};

/// The work on one problem.
class Compilation {
 public:
  explicit Compilation(const ProblemInstanceImpl& problem)
      : problem_(problem),
        env_(problem.env()),
        factory_(env_.expression_factory()),
        has_label_(env_, NodeKind::LABEL_REFERENCE),
        parts_(problem),
        metrics_(problem) {}

  ProblemPtr run(std::unordered_set<std::shared_ptr<ActionImpl>>& new_actions);

 private:
  void refuse_labels_in_actions() const;
  Contains read(Node* statement) const;
  void require_two_moments_in_order(const Contains& contains) const;
  void find_contains_statements();
  Node* make_fluent(const std::string& name);
  void add_statements(const Contains& contains);
  std::shared_ptr<ActionImpl> make_action(const Contains& contains, std::size_t number);
  Node* without_labels(Node* statement) const;
  Node* goal_of_label(Node* label_reference, Node* statement) const;
  Node* goal_of(Node* contains_statement) const;
  void add(Node* interval, Node* body) {
    parts_.expressions.push_back(factory_.make_temporal_expression(interval, body));
  }
  Node* at(Node* moment) const { return factory_.make_point_interval(moment); }

  const ProblemInstanceImpl& problem_;
  Environment& env_;
  F& factory_;
  CheckContainsWalker has_label_;
  ProblemParts parts_;
  MetricRewriter metrics_;
  FreshNames names_;
  std::vector<Contains> contains_;
  std::unordered_map<const Node*, Node*> goals_;  // by statement, for look-ups
  std::map<std::string, Node*> goals_of_labels_;
};

ProblemPtr Compilation::run(std::unordered_set<std::shared_ptr<ActionImpl>>& new_actions) {
  refuse_labels_in_actions();
  names_.reserve_all_but_actions(problem_);
  for (const auto& [name, action] : problem_.actions()) names_.reserve(name);
  find_contains_statements();

  parts_.expressions.clear();
  for (const auto& [name, action] : problem_.actions()) {
    parts_.actions.push_back(action);
    metrics_.carry_cost(action, action, [](Node* node) { return node; });
  }
  for (const Contains& contains : contains_) add_statements(contains);
  for (std::size_t number = 0; number < contains_.size(); ++number) {
    const auto action = make_action(contains_[number], number);
    parts_.actions.push_back(action);
    new_actions.insert(action);
    metrics_.set_cost(action, factory_.make_integer_constant(0));
  }
  for (Node* statement : problem_.expressions())
    if (!is_contains_statement(statement)) parts_.expressions.push_back(without_labels(statement));
  parts_.labels_ordering.clear();
  for (const auto& [before, after] : problem_.labels_ordering())
    parts_.labels_ordering.emplace(goal_of(before), goal_of(after));
  parts_.metrics = metrics_.metrics([](Node* node) { return node; });
  return parts_.make(env_);
}

void Compilation::refuse_labels_in_actions() const {
  for (const auto& [name, action] : problem_.actions())
    for (Node* statement : action->expressions())
      if (has_label_(statement)) refuse("A label cannot be used in an action", statement);
}

Contains Compilation::read(Node* statement) const {
  Node* const contains = statement->children[0];
  if (contains->arity > 1) refuse("Unsupported contains with duration", statement);
  if (has_label_(statement)) refuse("A contains cannot begin or end with another one", statement);
  const Node* const interval = contains->children[0];
  if (interval->arity != 2) refuse("A contains needs an interval, not a single moment", statement);
  return {statement,
          interval->children[0],
          interval->children[1],
          statement->children[1],
          factory_.get_label_from_contains(contains),
          nullptr,
          nullptr};
}

/// why it matters: switched off before it is switched on, the active fluent would stay true for ever.
void Compilation::require_two_moments_in_order(const Contains& contains) const {
  const auto from = read_timing(factory_, contains.from), to = read_timing(factory_, contains.to);
  if (!from || !to || from->from_start != to->from_start) return;
  if (from->from_start ? from->k >= to->k : from->k <= to->k)
    refuse("A contains ends before it has begun", contains.statement);
}

Node* Compilation::make_fluent(const std::string& name) {
  const auto fluent =
      env_.model_factory().make_fluent(names_.unique(name), env_.model_factory().make_boolean_type(), {}, {});
  parts_.fluents.push_back(fluent);
  return factory_.make_fluent_reference(fluent, {});
}

void Compilation::find_contains_statements() {
  for (Node* statement : problem_.expressions()) {
    if (!is_contains_statement(statement)) continue;
    Contains contains = read(statement);
    require_two_moments_in_order(contains);
    const std::string number = std::to_string(contains_.size());
    contains.active = make_fluent("__contains_active_" + number);
    contains.goal = make_fluent("__contains_goal_" + number);
    goals_.emplace(statement, contains.goal);
    if (!contains.label.empty()) goals_of_labels_.emplace(contains.label, contains.goal);
    contains_.push_back(std::move(contains));
  }
}

void Compilation::add_statements(const Contains& contains) {
  Node* const yes = factory_.make_boolean_constant(true);
  Node* const no = factory_.make_boolean_constant(false);
  Node* const start = factory_.make_start_anchor();
  const auto from = read_timing(factory_, contains.from), to = read_timing(factory_, contains.to);
  const bool begins_at_start = from == Timing{true, 0};
  add(at(contains.from), factory_.make_assign(contains.active, yes));
  add(at(contains.to), factory_.make_assign(contains.active, no));
  if (!begins_at_start) add(at(start), factory_.make_assign(contains.active, no));
  add(at(start), factory_.make_assign(contains.goal, no));
  add(at(factory_.make_end_anchor()), contains.goal);
  // How long the plan is says which of the two comes first, save where one is the very start or end of it.
  const bool is_mixed = from && to && from->from_start != to->from_start;
  if (is_mixed && !begins_at_start && to != Timing{false, 0}) add(at(contains.to), contains.active);
}

std::shared_ptr<ActionImpl> Compilation::make_action(const Contains& contains, std::size_t number) {
  assert(contains.active != nullptr && contains.goal != nullptr && number < contains_.size());
  std::vector<Node*> conditions{contains.active, factory_.make_not(contains.goal), contains.body};
  for (const auto& [before, after] : problem_.labels_ordering())
    if (after == contains.statement) conditions.push_back(goal_of(before));
  Node* const start = at(factory_.make_start_anchor());
  return env_.model_factory().make_action(
      names_.unique("__contains_action_" + std::to_string(number)), {}, false, {},
      {factory_.make_temporal_expression(start, factory_.make_and(conditions)),
       factory_.make_temporal_expression(
           start, factory_.make_assign(contains.goal, factory_.make_boolean_constant(true))),
       factory_.make_assign(factory_.make_duration_anchor(), factory_.make_integer_constant(1))},
      {});
}

Node* Compilation::goal_of(Node* contains_statement) const {
  assert(goals_.size() == contains_.size());  // all of them have been found
  const auto found = goals_.find(contains_statement);
  if (found == goals_.end()) refuse("Only contains statements can be ordered", contains_statement);
  return found->second;
}

Node* Compilation::goal_of_label(Node* label_reference, Node* statement) const {
  const std::string& label = factory_.get_name_from_label_reference(label_reference);
  const auto found = goals_of_labels_.find(label);
  if (found == goals_of_labels_.end())
    throw UnsupportedProblemError("There is no contains with the label '")
        << label << "', which is used in: " << print_expression{statement};
  return found->second;
}

Node* Compilation::without_labels(Node* statement) const {
  if (!has_label_(statement)) return statement;
  const bool is_over_time = F::is_temporal_expression(statement) && F::is_interval(statement->children[0]) &&
                            statement->children[0]->arity == 2;
  if (!is_over_time || has_label_(statement->children[1]))
    refuse("A label can only be one end of an interval", statement);
  Node* from = statement->children[0]->children[0];
  Node* to = statement->children[0]->children[1];
  std::vector<Node*> disjuncts;
  if (F::is_label_reference(from)) {
    disjuncts.push_back(factory_.make_not(goal_of_label(from, statement)));
    from = factory_.make_start_anchor();
  }
  if (F::is_label_reference(to)) {
    disjuncts.push_back(goal_of_label(to, statement));
    to = factory_.make_end_anchor();
  }
  if (has_label_(from) || has_label_(to)) refuse("A label can only be one end of an interval", statement);
  disjuncts.push_back(statement->children[1]);
  return factory_.make_temporal_expression(factory_.make_closed_interval(from, to),
                                           factory_.make_or(disjuncts));
}

}  // namespace

void ContainsCompiler::do_computation() {
  ZORVEL_LOG(DEBUG) << "Contains compiler started!";
  new_problem_ = Compilation(*problem_).run(new_actions_);
  ZORVEL_LOG(DEBUG) << "Contains compiling completed!";
}

ActionStep ContainsCompiler::map_back(const ActionStep&) const {
  throw InternalError("Not implemented yet!");
}

std::shared_ptr<Plan> ContainsCompiler::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "the transformer", [this](const PlannedStep& planned) -> std::optional<MappedStep> {
    if (new_actions_.contains(planned.step.action)) return std::nullopt;
    return MappedStep{planned.step, planned.post_condition};
  });
}

std::vector<ActionStep> ContainsCompiler::map_forward(const ActionStep&) const {
  throw InternalError("Not implemented yet!");
}

std::shared_ptr<TimeTriggeredPlan> ContainsCompiler::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>&) const {
  throw InternalError("Not supported!");
}

}  // namespace zorvel::model
