#include <algorithm>
#include <limits>
#include <map>

#include "model/expression_factory.h"
#include "model/walkers/normal_forms.h"
#include "search/heuristics/hadd.h"
#include "search/heuristics/hmax.h"
#include "search/support.h"
#include "state/operations.h"
#include "transformers/temporally_aware_relaxer.h"

namespace zorvel::tp::ftp {
namespace {

using F = model::ExpressionFactory;
constexpr double infinite = std::numeric_limits<double>::infinity();

/// The relaxed view of a problem, made as the planner makes it.
struct Relaxed {
  explicit Relaxed(FtpPlanner& planner) : relaxer(planner.problem()) {
    relaxer.do_computation();
    Environment& env = planner.env();
    F& factory = env.expression_factory();
    for (Node* expression : relaxer.new_problem()->expressions())
      if (F::is_temporal_expression(expression) && !F::is_assign(expression->children[1]) &&
          F::is_end_anchor(expression->children[0]->children[0]))
        goals.push_back(normalized_condition(env, expression->children[1]));
    for (const auto& [action, ring] : relaxer.get_new_fluent())
      for (const auto& [k, reference] : ring)
        goals.push_back(k == 1 ? reference : factory.make_not(reference));
    for (const auto& [name, action] : relaxer.new_problem()->actions())
      actions.emplace_back(relaxer.new_problem(), action);
    for (const auto& [name, action] : planner.problem()->actions()) originals.push_back(action);
    dnf = model::ToDNF(env)(factory.make_and(goals));
  }
  model::TemporallyAwareRelaxer relaxer;
  std::vector<Node*> goals;
  std::vector<model::NodeSet> dnf;
  std::vector<ClassicalAction> actions;
  std::vector<std::shared_ptr<model::ActionImpl>> originals;
};

/// The additive costs by plain value iteration over a table of nodes.
double additive_by_iteration(Environment& env, const StateIndex& index, const Relaxed& relaxed,
                             const tp::SearchState& state) {
  F& factory = env.expression_factory();
  std::map<Node*, double> costs;
  const auto cost_of = [&](Node* literal) {
    const auto found = costs.find(literal);
    return found == costs.end() ? infinite : found->second;
  };
  for (const auto& [reference, slot] : index) {
    Node* const value = state.value(slot);
    if (F::is_kind(value, NodeKind::TRUE)) costs[reference] = 0;
    if (F::is_kind(value, NodeKind::FALSE)) costs[factory.make_not(reference)] = 0;
  }
  const auto todo = state.todo_sizes();
  for (const auto& [action, ring] : relaxed.relaxer.get_new_fluent()) {
    const auto open = todo.find(action);
    const unsigned long position = open == todo.end() ? 1 : ring.size() + 1 - open->second;
    for (const auto& [k, reference] : ring) {
      if (k == position) costs[reference] = 0;
      // An open action is not idle, and idle only if it is not open.
      if (k == 1 ? open != todo.end() : k != position) costs[factory.make_not(reference)] = 0;
    }
  }
  const auto note_complex = [&](Node* literal) {
    Node* const atom = F::is_not(literal) ? literal->children[0] : literal;
    if (!F::is_fluent_reference(atom)) costs[literal] = check(env, state, literal, index) ? 0 : 1;
  };
  for (const ClassicalAction& action : relaxed.actions)
    for (const auto& clause : action.dnf_condition())
      for (Node* literal : clause) note_complex(literal);
  for (const auto& clause : relaxed.dnf)
    for (Node* literal : clause) note_complex(literal);
  const auto cheapest = [&](const std::vector<model::NodeSet>& dnf) {
    double best = infinite;
    for (const auto& clause : dnf) {
      double sum = 0;
      for (Node* literal : clause) sum += cost_of(literal);
      best = std::min(best, sum);
    }
    return best;
  };
  for (bool changed = true; changed;) {
    changed = false;
    for (const ClassicalAction& action : relaxed.actions) {
      const double cost = 1 + (action.conditions().empty() ? 0 : cheapest(action.dnf_condition()));
      if (cost == infinite) continue;
      for (Node* added : action.predicates_added(false)) {
        if (cost_of(added) <= cost) continue;
        costs[added] = cost;
        changed = true;
      }
    }
  }
  const double result = cheapest(relaxed.dnf);
  return result == infinite ? dead_end : result;
}

/// Calls `visit` on states met on random walks from the initial state.
template <class Visit>
void walk(FtpPlanner& planner, unsigned seed, Visit visit) {
  Successors<double> successors(planner.model(), {}, 1);
  auto state = successors.initial_state();
  std::mt19937 random(seed);
  for (int step = 0; state && step < 12; ++step) {
    visit(*state);
    std::vector<std::unique_ptr<SearchState<double>>> children;
    for (const TodoList& list : state->todo)
      children.push_back(successors.apply(*state, list.front(), false));
    for (ActionId action = 0; action < planner.model().actions().size(); ++action)
      children.push_back(successors.open(*state, action, false));
    std::erase(children, nullptr);
    if (children.empty()) break;
    state = std::move(children[random() % children.size()]);
  }
}

TEST(Heuristics, AdditiveCostsAreTheFixpointOfTheirEquations) {
  int finite = 0, dead = 0;
  for (unsigned seed = 0; seed < 120; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Environment env;
    FtpPlanner planner(env, parse(env, random_problem(seed)));
    const Relaxed relaxed(planner);
    const auto& index = planner.model().index();
    const auto tables = std::make_shared<EvaluationTables>(env, index);
    HAdd hadd(env, tables, relaxed.dnf, relaxed.actions, relaxed.relaxer.get_new_fluent(), relaxed.originals);
    HFF hff(env, tables, relaxed.dnf, relaxed.actions, relaxed.relaxer.get_new_fluent(), relaxed.originals);
    walk(planner, seed, [&](const SearchState<double>& state) {
      const double expected = additive_by_iteration(env, index, relaxed, state);
      EXPECT_EQ(hadd(state), expected);
      EXPECT_EQ(hadd(state, true), expected);  // a full pass gives what the early end gives
      const double relaxed_plan = hff(state);
      EXPECT_EQ(relaxed_plan == dead_end, expected == dead_end);
      (expected == dead_end ? dead : finite) += 1;
    });
    if (HasFailure()) break;
  }
  EXPECT_GT(finite, 100);
  EXPECT_GT(dead, 5);
}

TEST(Heuristics, AdditiveCostsThatDoubleWithEachLayerCostNoMemory) {
  const auto layers = [](int count) {
    std::string text = "fluent boolean a0; fluent boolean b0; [start] a0 := true; [start] b0 := true;\n";
    for (int i = 0; i < count; ++i) {
      const std::string from = std::to_string(i), to = std::to_string(i + 1);
      text += "fluent boolean a" + to + "; fluent boolean b" + to + "; [start] a" + to +
              " := false; [start] b" + to + " := false;\n";
      for (const std::string fluent : {"a", "b"})
        text += "action make_" + fluent + to + "() { duration := 1; [start] (a" + from + " and b" + from +
                "); [start] " + fluent + to + " := true; };\n";
    }
    return text + "goal [end] a" + std::to_string(count) + ";\n";
  };
  const auto estimate = [&](int count) {
    Environment env;
    FtpPlanner planner(env, parse(env, layers(count)));
    const Relaxed relaxed(planner);
    HAdd hadd(env, std::make_shared<EvaluationTables>(env, planner.model().index()), relaxed.dnf,
              relaxed.actions, relaxed.relaxer.get_new_fluent(), relaxed.originals);
    return hadd(*Successors<double>(planner.model(), {}, 1).initial_state());
  };
  // An action is two pieces, its opening and its effect: a layer costs 2 + twice the layer before.
  EXPECT_EQ(estimate(10), 2046);
  EXPECT_EQ(estimate(20), 2097150);
  EXPECT_EQ(estimate(80), AdditiveRelaxation::max_cost);
}

TEST(Heuristics, AStateFromWhichAPlanWasFoundIsNoDeadEnd) {
  for (unsigned seed = 300; seed < 360; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Environment env;
    const auto problem = parse(env, random_problem(seed));
    env.configuration().set_value("ftp-heuristic", std::vector<std::string>{"blind"});
    FtpPlanner planner(env, problem);
    planner.set_limits(at_most(1000));
    if (!planner.solve()) continue;
    const Relaxed relaxed(planner);
    const auto& index = planner.model().index();
    HMax hmax(env, index, relaxed.goals, relaxed.actions, relaxed.relaxer.get_new_fluent());
    HAdd hadd(env, std::make_shared<EvaluationTables>(env, index), relaxed.dnf, relaxed.actions,
              relaxed.relaxer.get_new_fluent(), relaxed.originals);
    const auto state = Successors<double>(planner.model(), {}, 1).initial_state();
    ASSERT_NE(state, nullptr);
    EXPECT_NE(hmax(*state), dead_end);
    EXPECT_NE(hadd(*state), dead_end);
    // Each layer costs at least one action, so the deepest layer cannot cost more than the sum does.
    EXPECT_LE(hmax(*state), std::max(1.0, hadd(*state)));
  }
}

TEST(Heuristics, ConditionsOverTwoFluentsAreNoDeadEnds) {
  Environment env;
  FtpPlanner planner(env, parse(env,
                                "fluent integer [0, 9] have; fluent integer [0, 9] need; fluent boolean done;"
                                "[start] have := 0; [start] need := 3; [start] done := false;"
                                "action get() { duration := 1; [end] have := have + 1; };"
                                "action use() { duration := 1; [start] have >= need; [end] done := true; };"
                                "[end] done;"));
  const auto plan = planner.solve();
  ASSERT_NE(plan, nullptr);
  EXPECT_EQ(plan->size(), 4U);
}

TEST(ClassicalAction, KeepsTheEffectAtTheEndAndRefusesOthers) {
  const auto classical = [](const std::string& effects) {
    Environment env;
    const auto problem =
        parse(env, "fluent boolean p; [start] p := false; action a() { duration := 9; " + effects + " };");
    return error_of([&] {
      const ClassicalAction action(problem, problem->actions().at("a"));
      ASSERT_EQ(action.effects().size(), 1U);
      EXPECT_TRUE(F::is_end_anchor(action.effects().begin()->second->anchor));
    });
  };
  EXPECT_EQ(classical("[start] p := true; [end] p := false;"), "");
  EXPECT_EQ(classical("[end] p := true; [start] p := false;"), "");
  EXPECT_EQ(
      classical("[end] p := true; [end] p := false;"),
      "InternalError: Found two contradicting effects of the same action at the same time: in action a");
  EXPECT_EQ(
      classical("[start] p := true; [start + 2] p := false;"),
      "InternalError: Actions with complex self-interfering effects are not supported: in action a effect "
      "[(start + 2)] (p := false)");
}

}  // namespace
}  // namespace zorvel::tp::ftp
