#include "search/heuristics/relaxation/relaxed_problem.h"

#include <cassert>
#include <unordered_map>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/normal_forms.h"
#include "transformers/duration_bounds.h"
#include "transformers/temporally_aware_relaxer.h"

namespace zorvel {

using F = model::ExpressionFactory;

RelaxedProblem::RelaxedProblem(Environment& env, Parts parts) : EnvObject(env), parts_(std::move(parts)) {
  assert(parts_.sources.size() == parts_.actions.size());
  extend();
}

/// Gives the progress fluents slots of their own, behind those of the state.
void RelaxedProblem::extend() {
  extended_index_ = parts_.tables->layout.index();
  extended_initial_ = parts_.initial;
  assert(extended_initial_.size() == parts_.tables->layout.slots());
  for (std::size_t action = 0; action < parts_.rings.actions(); ++action) {
    first_ring_slot_.push_back(extended_initial_.size());
    for (Node* reference : parts_.rings.ring(action)) {
      assert(!extended_index_.contains(reference));
      extended_index_.emplace(reference, extended_initial_.size());
      const bool is_idle = extended_initial_.size() == first_ring_slot_.back();
      extended_initial_.push_back(ValueTable::of_boolean(is_idle));
    }
  }
  extended_ = std::make_unique<EvaluationTables>(*parts_.tables, extended_index_);
}

const std::vector<model::NodeSet>& RelaxedProblem::goal_clauses() const {
  if (!goal_clauses_) {
    goal_clauses_.emplace();
    if (!goals().empty()) goal_clauses_ = model::ToDNF(env())(env().expression_factory().make_and(goals()));
  }
  return *goal_clauses_;
}

std::shared_ptr<RelaxedProblem> relax_time(const model::ProblemPtr& problem,
                                           std::shared_ptr<EvaluationTables> tables,
                                           std::vector<ValueId> initial,
                                           std::vector<std::uint32_t> chain_lengths) {
  Environment& env = problem->env();
  F& factory = env.expression_factory();
  model::TemporallyAwareRelaxer relaxer(problem);
  relaxer.do_computation();
  const model::ProblemPtr& relaxed = relaxer.new_problem();

  RelaxedProblem::Parts parts;
  parts.tables = std::move(tables);
  parts.initial = std::move(initial);
  model::CheckContainsWalker contains_assign(env, NodeKind::ASSIGN);
  model::ExpressionFreeVars free_vars(env);
  const auto guide = [&](Node* expression) {
    for (Node* reference : model::sorted_by_id(free_vars(expression)))
      if (F::is_fluent_reference(reference))
        parts.guiding.push_back(factory.get_fluent_from_reference(reference));
  };
  for (Node* expression : relaxed->expressions()) {
    if (contains_assign(expression)) continue;
    const bool is_goal = F::is_temporal_expression(expression) &&
                         factory.is_point_interval(expression->children[0]) &&
                         F::is_end_anchor(expression->children[0]->children[0]);
    if (is_goal)
      parts.goals.push_back(normalized_condition(env, expression->children[1]));
    else
      guide(expression);
  }
  std::vector<std::shared_ptr<model::ActionImpl>> actions;
  for (const auto& [name, action] : problem->actions()) {
    actions.push_back(action);
    for (Node* expression : action->expressions())
      if (model::reads_duration(factory, expression)) guide(expression);
  }
  // A plan leaves no action open.
  for (const auto& [action, ring] : relaxer.get_new_fluent())
    for (const auto& [k, reference] : ring)
      parts.goals.push_back(normalized_condition(env, k == 1 ? reference : factory.make_not(reference)));

  std::unordered_map<const model::ActionImpl*, std::uint32_t> source_of_piece;
  for (std::uint32_t number = 0; number < actions.size(); ++number)
    if (const auto pieces = relaxer.get_new_action().find(actions[number]);
        pieces != relaxer.get_new_action().end())
      for (const auto& piece : pieces->second) source_of_piece.emplace(piece.get(), number);
  for (const auto& [name, action] : relaxed->actions()) {
    parts.actions.emplace_back(relaxed, action);
    const auto source = source_of_piece.find(action.get());
    parts.sources.push_back(source == source_of_piece.end() ? RelaxedProblem::no_source : source->second);
  }
  parts.source_count = actions.size();
  parts.rings = ProgressRings(factory, relaxer.get_new_fluent(), actions, std::move(chain_lengths));
  return std::make_shared<RelaxedProblem>(env, std::move(parts));
}

}  // namespace zorvel
