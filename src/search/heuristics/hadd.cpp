#include "search/heuristics/hadd.h"

#include <cassert>
#include <unordered_set>

#include "model/expression_factory.h"

namespace zorvel {

HAdd::HAdd(std::shared_ptr<const RelaxedProblem> problem)
    : Heuristic(problem->env()),
      relaxation_(problem->tables(), problem->goal_clauses(), problem->actions()),
      problem_(std::move(problem)) {
  model::ExpressionFactory& factory = env().expression_factory();
  for (std::size_t action = 0; action < problem_->rings().actions(); ++action) {
    Ring& ring = rings_.emplace_back();
    for (Node* reference : problem_->rings().ring(action)) {
      ring.positive.push_back(relaxation_.predicate(reference));
      ring.negative.push_back(relaxation_.predicate(factory.make_not(reference)));
      relaxation_.add_default(ring.positive.size() == 1 ? ring.positive.back() : ring.negative.back());
    }
  }
  relaxation_.finish();
}

void HAdd::begin(const StateView& state, bool may_carry) {
  relaxation_.begin(state.values, may_carry);
  for (const OpenChain& open : state.open) {
    const auto at = problem_->rings().position(open);
    if (!at) continue;
    const Ring& ring = rings_[at->action];
    assert(at->position < ring.positive.size());
    if (at->position > 0) {
      relaxation_.suspend(ring.positive[0]);
      relaxation_.suspend(ring.negative[at->position]);
      relaxation_.establish(ring.positive[at->position]);
    }
    relaxation_.establish(ring.negative[0]);
  }
}

double HAdd::estimate(const StateView& state) {
  if (relaxation_.goal_clauses() == 0) return 0.0;
  begin(state, may_carry());
  return finish_pass();
}

std::vector<bool> HAdd::reachable(const StateView& state) {
  std::vector<bool> reached(problem_->actions().size(), true);
  if (relaxation_.goal_clauses() == 0) return reached;
  begin(state, false);
  relaxation_.settle(false);
  for (std::uint32_t action = 0; action < reached.size(); ++action)
    reached[action] = relaxation_.is_reached(action);
  return reached;
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
    assert(!supporter.exists() || supporter.action < problem().actions().size());
    stack.pop_back();
    // An action's literals are pushed once, when it enters the plan; so this ends whatever the supporters
    // are.
    if (!supporter.exists() || !relaxed.insert(supporter.action).second) continue;
    cost += problem().actions()[supporter.action].cost();
    const auto literals = relaxation_.clause_literals(supporter.action, supporter.clause);
    stack.insert(stack.end(), literals.begin(), literals.end());
  }
  return cost;
}

}  // namespace zorvel
