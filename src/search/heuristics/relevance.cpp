#include "search/heuristics/relevance.h"

#include <cassert>
#include <deque>
#include <unordered_map>
#include <unordered_set>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/expression_free_vars.h"

namespace zorvel {

using F = model::ExpressionFactory;

std::vector<std::shared_ptr<model::FluentImpl>> ActionRelevance::subgoals() const {
  Environment& env = problem_->env();
  model::ExpressionFreeVars free_vars(env);
  std::vector<std::shared_ptr<model::FluentImpl>> fluents;
  for (const model::NodeSet& clause : problem_->goal_clauses())
    for (Node* literal : model::sorted_by_id(clause))
      for (Node* reference : model::sorted_by_id(free_vars(literal)))
        if (F::is_fluent_reference(reference)) {
          const auto fluent = env.expression_factory().get_fluent_from_reference(reference);
          if (!problem_->rings().is_progress(fluent.get())) fluents.push_back(fluent);
        }
  return fluents;
}

std::vector<bool> ActionRelevance::useful() const {
  Environment& env = problem_->env();
  const std::vector<ClassicalAction>& actions = problem_->actions();
  model::ExpressionFreeVars free_vars(env);
  std::deque<const model::FluentImpl*> work;
  std::unordered_set<const model::FluentImpl*> seen;
  const auto need = [&](const model::FluentImpl* fluent) {
    if (seen.insert(fluent).second) work.push_back(fluent);
  };
  const auto need_all_of = [&](Node* expression) {
    for (Node* reference : free_vars(expression))
      if (F::is_fluent_reference(reference))
        need(env.expression_factory().get_fluent_from_reference(reference).get());
  };
  std::unordered_map<const model::FluentImpl*, std::vector<std::uint32_t>> writers;
  for (std::uint32_t number = 0; number < actions.size(); ++number)
    for (const model::FluentImpl* fluent : actions[number].written_fluents())
      writers[fluent].push_back(number);

  for (const auto& fluent : subgoals()) need(fluent.get());
  for (const auto& fluent : problem_->guiding()) need(fluent.get());
  std::vector<bool> useful(actions.size(), false);
  while (!work.empty()) {
    const model::FluentImpl* const fluent = work.front();
    work.pop_front();
    for (const std::uint32_t number : writers[fluent]) {
      if (useful[number]) continue;
      useful[number] = true;
      const ClassicalAction& action = actions[number];
      // What a simulated effect reads cannot be known.
      if (!action.simulated_effects().empty()) return std::vector<bool>(actions.size(), true);
      for (Node* condition : action.conditions()) need_all_of(condition);
      for (const auto& [reference, effect] : action.effects()) {
        need_all_of(effect->value);
        for (Node* argument : effect->parameters) need_all_of(argument);
      }
    }
  }
  return useful;
}

std::vector<std::uint32_t> ActionRelevance::relevant(const std::vector<bool>& reachable) const {
  const std::vector<bool> is_useful = useful();
  assert(reachable.size() == is_useful.size());
  std::vector<bool> matters(problem_->source_count(), false), is_reachable(problem_->source_count(), true);
  for (std::size_t piece = 0; piece < is_useful.size(); ++piece) {
    const std::uint32_t source = problem_->sources()[piece];
    if (source == RelaxedProblem::no_source) continue;
    assert(source < matters.size());
    if (is_useful[piece]) matters[source] = true;
    if (!reachable[piece]) is_reachable[source] = false;
  }
  std::vector<std::uint32_t> numbers;
  for (std::uint32_t source = 0; source < matters.size(); ++source)
    if (matters[source] && is_reachable[source]) numbers.push_back(source);
  return numbers;
}

}  // namespace zorvel
