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
/// What heuristics are made of, from the initial state of a planner's problem.
struct Relaxed {
  explicit Relaxed(FtpPlanner& planner)
      : relaxer(planner.problem()),
        tables(std::make_shared<EvaluationTables>(planner.env(), planner.model().index())),
        view(planner.model(), *tables) {
    relaxer.do_computation();
    std::vector<ValueId> values(tables->layout.slots());
    if (const auto initial = Successors<double>(planner.model(), {}, 1).initial_state())
      tables->layout.pack(*initial, values.data());
    problem = relax_time(planner.problem(), tables, values, planner.model().chain_lengths());
  }
  model::TemporallyAwareRelaxer relaxer;
  std::shared_ptr<EvaluationTables> tables;
  PlainView view;
  std::shared_ptr<const RelaxedProblem> problem;
};

/// The additive costs by plain value iteration over a table of nodes.
double additive_by_iteration(Environment& env, const StateIndex& index, const Relaxed& relaxed,
                             const PlainState<double>& state) {
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
  for (const ClassicalAction& action : relaxed.problem->actions())
    for (const auto& clause : action.dnf_condition())
      for (Node* literal : clause) note_complex(literal);
  for (const auto& clause : relaxed.problem->goal_clauses())
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
    for (const ClassicalAction& action : relaxed.problem->actions()) {
      const double cost = 1 + (action.conditions().empty() ? 0 : cheapest(action.dnf_condition()));
      if (cost == infinite) continue;
      for (Node* added : action.predicates_added(false)) {
        if (cost_of(added) <= cost) continue;
        costs[added] = cost;
        changed = true;
      }
    }
  }
  const double result = cheapest(relaxed.problem->goal_clauses());
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
    std::vector<std::unique_ptr<PlainState<double>>> children;
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
    Relaxed relaxed(planner);
    const auto& index = planner.model().index();
    HAdd hadd(relaxed.problem);
    HFF hff(relaxed.problem);
    walk(planner, seed, [&](PlainState<double>& state) {
      const double expected = additive_by_iteration(env, index, relaxed, state);
      EXPECT_EQ(hadd.estimate(relaxed.view.of(state)), expected);
      // What the goal needs is among what a full pass reaches.
      if (expected > 0) {
        const std::vector<bool> reachable = hadd.reachable(relaxed.view.of(state));
        EXPECT_TRUE(std::find(reachable.begin(), reachable.end(), true) != reachable.end());
      }
      const double relaxed_plan = hff.estimate(relaxed.view.of(state));
      EXPECT_EQ(relaxed_plan == dead_end, expected == dead_end);
      (expected == dead_end ? dead : finite) += 1;
    });
    if (HasFailure()) break;
  }
  EXPECT_GT(finite, 100);
  EXPECT_GT(dead, 5);
}

// With so many predicates costs are carried over from state to state, whatever order the states come in.
TEST(Heuristics, AdditiveCostsOfManyActionsAreTheFixpointToo) {
  std::string more;
  for (int i = 0; i < 700; ++i) {
    const std::string name = "more" + std::to_string(i);
    more += "fluent boolean " + name + " := false; action make_" + name + "() { duration := 1; [start] not " +
            name + "; [end] " + name + " := true; };\n";
  }
  int states = 0;
  for (unsigned seed = 0; seed < 3 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Environment env;
    FtpPlanner planner(env, parse(env, random_problem(seed) + more));
    Relaxed relaxed(planner);
    EXPECT_GT(relaxed.problem->actions().size(), 1400U);
    HAdd hadd(relaxed.problem);
    HFF hff(relaxed.problem);  // which begins anew each time
    walk(planner, seed, [&](PlainState<double>& state) {
      const double expected = additive_by_iteration(env, planner.model().index(), relaxed, state);
      EXPECT_EQ(hadd.estimate(relaxed.view.of(state)), expected);
      EXPECT_EQ(hff.estimate(relaxed.view.of(state)) == dead_end, expected == dead_end);
      if (++states % 5 == 0) hadd.reachable(relaxed.view.of(state));
    });
  }
  EXPECT_GT(states, 10);
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
    Relaxed relaxed(planner);
    return HAdd(relaxed.problem)
        .estimate(relaxed.view.of(*Successors<double>(planner.model(), {}, 1).initial_state()));
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
    Relaxed relaxed(planner);
    const auto state = Successors<double>(planner.model(), {}, 1).initial_state();
    ASSERT_NE(state, nullptr);
    const StateView view = relaxed.view.of(*state);
    const double hmax = HMax(relaxed.problem).estimate(view), hadd = HAdd(relaxed.problem).estimate(view);
    EXPECT_NE(hmax, dead_end);
    EXPECT_NE(hadd, dead_end);
    // Each layer costs at least one action, so the deepest layer cannot cost more than the sum does.
    EXPECT_LE(hmax, std::max(1.0, hadd));
  }
}

TEST(Heuristics, LayersWithOpenActionsAreThoseOfThePlainForm) {
  int answered = 0;
  for (unsigned seed = 400; seed < 480 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Environment env;
    FtpPlanner planner(env, parse(env, random_problem(seed)));
    Relaxed relaxed(planner);
    HMax hmax(relaxed.problem);
    walk(planner, seed, [&](PlainState<double>& state) {
      const StateView view = relaxed.view.of(state);
      EXPECT_EQ(hmax.estimate(view), hmax.estimate_plainly(view));
      answered += hmax.was_plain() ? 0 : 1;
    });
  }
  EXPECT_GT(answered, 300);
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
  EXPECT_EQ(classical("[end] p := true; [end] p := false;"),
            "UnsupportedProblemError: Found two contradicting effects of the same action at the same time: "
            "in action a");
  EXPECT_EQ(classical("[start] p := true; [start + 2] p := false;"),
            "UnsupportedProblemError: Actions with complex self-interfering effects are not supported: in "
            "action a effect "
            "[(start + 2)] (p := false)");
}

}  // namespace
}  // namespace zorvel::tp::ftp
