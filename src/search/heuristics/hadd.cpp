#include "search/heuristics/hadd.h"

#include <deque>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/expression_free_vars.h"
#include "search/forward/dense/dense_problem.h"

namespace zorvel {

using F = model::ExpressionFactory;

HAdd::HAdd(Environment& env, std::shared_ptr<EvaluationTables> tables, std::vector<model::NodeSet> goals,
           std::vector<ClassicalAction> classical_actions, const ProgressFluents& progress,
           const std::vector<std::shared_ptr<model::ActionImpl>>& actions)
    : Heuristic(env),
      relaxation_(*tables, goals, classical_actions),
      tables_(std::move(tables)),
      goals_(std::move(goals)),
      classical_actions_(std::move(classical_actions)) {
  F& factory = env.expression_factory();
  for (const auto& action : actions) {
    action_numbers_.emplace(action, rings_.size());
    Ring& ring = rings_.emplace_back();
    const auto found = progress.find(action);
    if (found == progress.end()) continue;
    for (unsigned long k = 1; k <= found->second.size(); ++k) {
      Node* const reference = found->second.at(k);
      progress_fluents_.insert(factory.get_fluent_from_reference(reference).get());
      ring.positive.push_back(relaxation_.predicate(reference));
      ring.negative.push_back(relaxation_.predicate(factory.make_not(reference)));
      relaxation_.add_default(k == 1 ? ring.positive.back() : ring.negative.back());
    }
  }
  relaxation_.finish();
}

void HAdd::set_progress(std::size_t action, std::size_t pending) {
  const Ring& ring = rings_[action];
  const std::size_t size = ring.positive.size();
  if (pending == 0 || pending > size) throw InternalError();
  const std::size_t position = size - pending;  // k - 1
  if (position > 0) {
    relaxation_.suspend(ring.positive[0]);
    relaxation_.suspend(ring.negative[position]);
    relaxation_.establish(ring.positive[position]);
  }
  relaxation_.establish(ring.negative[0]);
}

void HAdd::begin(const SearchState& state) {
  values_.clear();
  for (Node* node : state.assignments()) values_.push_back(tables_->values.id_of(node));
  relaxation_.begin(values_.data());
  if (rings_.empty()) return;
  for (const auto& [action, pending] : temporal(state).todo_sizes()) {
    const auto number = action_numbers_.find(action);
    if (number == action_numbers_.end()) throw InternalError();
    set_progress(number->second, pending);
  }
}

double HAdd::operator()(const SearchState& state, bool record) {
  if (relaxation_.goal_clauses() == 0) return 0.0;
  begin(state);
  if (!record) return finish_pass();
  const AdditiveRelaxation::Cost cost = relaxation_.settle(false);
  for (std::uint32_t action = 0; action < classical_actions_.size(); ++action)
    if (relaxation_.is_reached(action)) reached_.insert(classical_actions_[action].action());
  return to_value(cost);
}

double HAdd::evaluate(const tp::ftp::DenseView& view) {
  if (relaxation_.goal_clauses() == 0) return 0.0;
  relaxation_.begin(view.values);
  using Problem = tp::ftp::DenseProblem;
  for (const tp::ftp::Todo& todo : view.todo)
    if (todo.chain >= Problem::first_action_chain)
      set_progress(todo.chain - Problem::first_action_chain,
                   view.problem.chain(todo.chain).events.size() - todo.cursor);
  return finish_pass();
}

double HAdd::evaluate(const ValueId* values) {
  if (relaxation_.goal_clauses() == 0) return 0.0;
  relaxation_.begin(values);
  return finish_pass();
}

std::vector<std::shared_ptr<model::FluentImpl>> HAdd::subgoals() const {
  model::ExpressionFreeVars free_vars(env());
  std::vector<std::shared_ptr<model::FluentImpl>> fluents;
  for (const model::NodeSet& clause : goals_)
    for (Node* literal : model::sorted_by_id(clause))
      for (Node* reference : model::sorted_by_id(free_vars(literal)))
        if (F::is_fluent_reference(reference)) {
          const auto fluent = env().expression_factory().get_fluent_from_reference(reference);
          if (!progress_fluents_.contains(fluent.get())) fluents.push_back(fluent);
        }
  return fluents;
}

HAdd::ActionSet HAdd::useful_actions(
    const std::vector<std::shared_ptr<model::FluentImpl>>& more_goals) const {
  F& factory = env().expression_factory();
  model::ExpressionFreeVars free_vars(env());
  std::deque<const model::FluentImpl*> work;
  std::unordered_set<const model::FluentImpl*> seen;
  const auto need = [&](const model::FluentImpl* fluent) {
    if (seen.insert(fluent).second) work.push_back(fluent);
  };
  const auto need_all_of = [&](Node* expression) {
    for (Node* reference : free_vars(expression))
      if (F::is_fluent_reference(reference)) need(factory.get_fluent_from_reference(reference).get());
  };
  std::unordered_map<const model::FluentImpl*, std::vector<const ClassicalAction*>> writers;
  for (const ClassicalAction& action : classical_actions_)
    for (const model::FluentImpl* fluent : action.written_fluents()) writers[fluent].push_back(&action);

  for (const auto& fluent : subgoals()) need(fluent.get());
  for (const auto& fluent : more_goals) need(fluent.get());
  ActionSet useful;
  while (!work.empty()) {
    const model::FluentImpl* const fluent = work.front();
    work.pop_front();
    for (const ClassicalAction* action : writers[fluent]) {
      if (!useful.insert(action->action()).second) continue;
      if (!action->simulated_effects().empty()) {
        // What a simulated effect reads cannot be known.
        for (const ClassicalAction& any : classical_actions_) useful.insert(any.action());
        return useful;
      }
      for (Node* condition : action->conditions()) need_all_of(condition);
      for (const auto& [reference, effect] : action->effects()) {
        need_all_of(effect->value);
        for (Node* argument : effect->parameters) need_all_of(argument);
      }
    }
  }
  return useful;
}

double HFF::finish_pass() {
  const double additive = to_value(relaxation_.settle(false));
  if (additive == 0.0 || additive == dead_end) return additive;
  const auto goal = relaxation_.goal_literals(relaxation_.best_goal_clause());
  std::vector<AdditiveRelaxation::PredicateId> stack(goal.begin(), goal.end());
  std::unordered_set<std::uint32_t> relaxed;
  double cost = 0.0;
  while (!stack.empty()) {
    const auto supporter = relaxation_.supporter(stack.back());
    stack.pop_back();
    // An action's literals are pushed once, when it enters the plan; so this ends whatever the supporters
    // are.
    if (!supporter.exists() || !relaxed.insert(supporter.action).second) continue;
    cost += classical_actions()[supporter.action].cost();
    const auto literals = relaxation_.clause_literals(supporter.action, supporter.clause);
    stack.insert(stack.end(), literals.begin(), literals.end());
  }
  return cost;
}

}  // namespace zorvel
