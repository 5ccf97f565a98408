#include <algorithm>
#include <deque>
#include <map>
#include <set>

#include "model/expression_factory.h"
#include "search/heuristics/hlandmarks.h"
#include "search/heuristics/hmax.h"
#include "search/heuristics/relaxation/first_achievers.h"
#include "search/support.h"
#include "state/evaluator_from_map.h"
#include "state/operations.h"
#include "transformers/temporally_aware_relaxer.h"

namespace zorvel::tp::ftp {
namespace {

using F = model::ExpressionFactory;
using Ordering = LandmarkGraph::Ordering;
using NodeIdSet = std::set<Node*, NodeIdLess>;

/// A planner that shows its landmark heuristic, and the values that the heuristic sees.
class LandmarkPlanner : public FtpPlanner {
 public:
  LandmarkPlanner(Environment& environment, const std::string& text)
      : FtpPlanner(environment, parse(environment, text)), relaxer_(problem()) {
    env().configuration().set_value("ftp-heuristic", std::vector<std::string>{"hlandmarks"});
    relaxer_.do_computation();
  }
  HLandmarks& heuristic() {
    if (heuristics_.empty()) initialize_heuristic();
    return static_cast<HLandmarks&>(*heuristics_.at(0));
  }
  double estimate(PlainState<double>& state) { return heuristic().estimate(view_.of(state)); }
  const LandmarkGraph& graph() { return heuristic().graph(); }
  const model::TemporallyAwareRelaxer& relaxer() const { return relaxer_; }

  /// The values of all references, progress fluents included, as the definition of the heuristic has them.
  std::unordered_map<Node*, Node*> values(const PlainState<double>& state) {
    F& factory = env().expression_factory();
    std::unordered_map<Node*, Node*> result;
    for (const auto& [reference, slot] : model().index()) result[reference] = state.value(slot);
    for (const auto& [action, ring] : relaxer_.get_new_fluent())
      for (const auto& [k, reference] : ring) result[reference] = factory.make_boolean_constant(k == 1);
    for (const auto& [action, pending] : state.todo_sizes()) {
      const auto& ring = relaxer_.get_new_fluent().at(action);
      result[ring.at(ring.size() + 1 - pending)] = factory.make_boolean_constant(true);
      result[ring.at(1)] = factory.make_boolean_constant(false);
    }
    return result;
  }
  bool holds(Node* expression, const std::unordered_map<Node*, Node*>& values) {
    const ExpressionEvaluatorFromMap evaluator(env(), values);
    return F::is_kind(evaluator(expression), NodeKind::TRUE);
  }
  /// By number of the landmark.
  std::vector<bool> truths(const PlainState<double>& state) {
    const auto seen = values(state);
    std::vector<bool> result;
    for (Node* landmark : graph().landmarks()) result.push_back(holds(landmark, seen));
    return result;
  }
  std::vector<std::unique_ptr<PlainState<double>>> children(const PlainState<double>& state) {
    std::vector<std::unique_ptr<PlainState<double>>> result;
    for (const TodoList& list : state.todo) result.push_back(successors_.apply(state, list.front(), false));
    for (ActionId action = 0; action < model().actions().size(); ++action)
      result.push_back(successors_.open(state, action, false));
    std::erase(result, nullptr);
    return result;
  }
  std::unique_ptr<PlainState<double>> initial() { return successors_.initial_state(); }

 private:
  model::TemporallyAwareRelaxer relaxer_;
  Successors<double> successors_{model(), {}, 1};
  PlainView view_{model(), *tables()};
};

/// Small problems of what makes landmarks hard to find: objects, conditions with alternatives, values that
/// are copied or computed, effects that undo others.
std::string random_achiever_problem(unsigned seed) {
  std::mt19937 random(seed);
  const auto pick = [&](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
  const auto fluent = [&] { return "p" + std::to_string(pick(5)); };
  const auto place = [&] { return std::string(1, static_cast<char>('a' + pick(3))); };
  const auto atom = [&]() -> std::string {
    switch (pick(8)) {
      case 0: return "(at == " + place() + ")";
      case 1: return "(not (at == " + place() + "))";
      case 2: return "(n == " + std::to_string(pick(3)) + ")";
      case 3: return "(n > " + std::to_string(pick(3)) + ")";
      case 4: return "(not " + fluent() + ")";
      case 5: return "(q(at))";
      default: return "(" + fluent() + ")";
    }
  };
  const auto condition = [&] {
    std::string text = atom();
    for (int i = pick(5) / 2; i > 0; --i)
      text = "(" + text + (pick(2) == 0 ? " or " : " and ") + atom() + ")";
    return text;
  };
  const auto effect = [&]() -> std::string {
    switch (pick(9)) {
      case 0: return "at := " + place();
      case 1: return "n := n + 1";
      case 2: return "n := " + std::to_string(pick(3));
      case 3: return fluent() + " := " + fluent();
      case 4: return "q(" + place() + ") := true";
      case 5: return fluent() + " := false";
      default: return fluent() + " := true";
    }
  };
  std::ostringstream text;
  text << "type Place; instance Place a, b, c;\nfluent Place at; [start] at := a;\n"
       << "fluent integer" << (pick(2) == 0 ? " [0, 3]" : "") << " n; [start] n := 0;\n"
       << "fluent boolean q(Place p);\n";
  for (const char* const name : {"a", "b", "c"}) text << "[start] q(" << name << ") := false;\n";
  for (int i = 0; i < 5; ++i) text << "fluent boolean p" << i << "; [start] p" << i << " := false;\n";
  for (int i = 0, actions = 5 + pick(4); i < actions; ++i) {
    text << "action act" << i << "() {\n  duration := 1;\n";
    if (pick(5) != 0) text << "  [start] " << condition() << ";\n";
    if (pick(5) == 0) text << "  [end] " << condition() << ";\n";
    const std::string first = effect();
    text << "  [end] " << first << ";\n";
    const std::string second = effect();
    if (first.substr(0, 2) != second.substr(0, 2)) text << "  [end] " << second << ";\n";
    text << "};\n";
  }
  text << "[end] " << condition() << ";\n[end] " << fluent() << " or " << fluent() << ";\n";
  return text.str();
}

/// Visits states, those with the most landmarks behind them first, and compares what the landmarks promise of
/// paths to the goal with what happened on them; how many goal states were met.
int expect_sound(LandmarkPlanner& planner, std::size_t most_states) {
  struct Visit {
    std::unique_ptr<PlainState<double>> state;
    std::vector<bool> now, ever;
    std::set<Ordering> violated;
  };
  const LandmarkGraph& graph = planner.graph();
  const auto text = [&](std::uint32_t landmark) { return model::to_anml(graph.landmarks()[landmark]); };
  std::multimap<std::ptrdiff_t, Visit> queue;
  const auto push = [&](Visit visit) {
    const auto missing = std::count(visit.ever.begin(), visit.ever.end(), false);
    queue.emplace(2 * missing + static_cast<std::ptrdiff_t>(visit.state->g()), std::move(visit));
  };
  auto initial = planner.initial();
  if (!initial) return 0;
  const auto truths = planner.truths(*initial);
  push({std::move(initial), truths, truths, {}});
  int goals = 0;
  for (std::size_t visited = 0; visited < most_states && !queue.empty(); ++visited) {
    const Visit visit = std::move(queue.extract(queue.begin()).mapped());
    if (visit.state->todo.empty() && visit.state->active_conditions.empty()) {
      ++goals;
      for (std::uint32_t i = 0; i < visit.ever.size(); ++i)
        EXPECT_TRUE(visit.ever[i]) << text(i) << " was never true";
      for (const auto& [before, after] : visit.violated)
        ADD_FAILURE() << text(after) << " came without " << text(before);
      continue;
    }
    for (auto& child : planner.children(*visit.state)) {
      Visit next{std::move(child), {}, visit.ever, visit.violated};
      next.now = planner.truths(*next.state);
      for (const auto& [before, after] : graph.orderings())
        if (next.now[after] && !visit.ever[after] && !visit.now[before]) next.violated.emplace(before, after);
      for (std::size_t i = 0; i < next.ever.size(); ++i) next.ever[i] = next.ever[i] || next.now[i];
      push(std::move(next));
    }
    if (testing::Test::HasFailure()) break;
  }
  return goals;
}

TEST(Landmarks, EveryPlanFoundByBruteForceMakesThemTrueInTheirOrder) {
  int goals = 0;
  std::size_t landmarks = 0, orderings = 0, disjunctions = 0;
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Environment env;
    const std::string text = seed % 3 == 0 ? random_problem(seed) : random_achiever_problem(seed);
    LandmarkPlanner planner(env, text);
    if (!planner.initial()) continue;
    goals += expect_sound(planner, 250) > 0 ? 1 : 0;
    landmarks += planner.graph().size();
    orderings += planner.graph().orderings().size();
    for (Node* landmark : planner.graph().landmarks()) disjunctions += F::is_or(landmark) ? 1 : 0;
    if (HasFailure()) {
      ADD_FAILURE() << text;
      break;
    }
  }
  EXPECT_GT(goals, 60);
  EXPECT_GT(landmarks, 1000U);
  EXPECT_GT(orderings, 200U);
  EXPECT_GT(disjunctions, 50U);
}

/// First achievers of a literal, as they are defined over sets of values of all references. Right where all
/// effects on the literal's fluent are constant.
std::vector<std::size_t> first_achievers_by_definition(Environment& env,
                                                       const std::unordered_map<Node*, Node*>& initial,
                                                       const std::vector<ClassicalAction>& actions,
                                                       Node* literal) {
  HMax::Assignments values;
  for (const auto& [reference, value] : initial) values[reference].insert(value);
  std::set<std::size_t> reachable;
  const auto adds = [&](const ClassicalAction& action) {
    const auto& added = action.predicates_added(true);
    return std::find(added.begin(), added.end(), literal) != added.end();
  };
  for (bool grows = true; grows;) {
    grows = false;
    const AllValuesEvaluator evaluator(env, values);
    const auto can_be_true = [&](Node* node) {
      return evaluator(node).size() > 1 || F::is_kind(*evaluator(node).begin(), NodeKind::TRUE);
    };
    if (can_be_true(literal)) break;
    std::vector<std::pair<Node*, model::NodeSet>> added;
    for (std::size_t i = 0; i < actions.size(); ++i) {
      if (!can_be_true(actions[i].condition())) continue;
      reachable.insert(i);
      if (adds(actions[i])) continue;
      for (const auto& [reference, effect] : actions[i].effects()) {
        model::NodeSet result = evaluator(effect->value);
        prune_impossible_values(env.expression_factory(), result, *effect->fluent->type());
        added.emplace_back(reference, result);
      }
    }
    for (const auto& [reference, more] : added)
      for (Node* value : more) grows = values[reference].insert(value).second || grows;
  }
  std::vector<std::size_t> result;
  for (const std::size_t i : reachable)
    if (adds(actions[i])) result.push_back(i);
  return result;
}

TEST(Landmarks, FirstAchieversAreThoseOfTheDefinition) {
  std::size_t compared = 0, restricted = 0;
  for (unsigned seed = 0; seed < 80; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Environment env;
    LandmarkPlanner planner(env, random_problem(seed));
    const auto state = planner.initial();
    if (!state) continue;
    const auto initial = planner.values(*state);
    std::vector<ClassicalAction> actions;
    for (const auto& [name, action] : planner.relaxer().new_problem()->actions())
      actions.emplace_back(planner.relaxer().new_problem(), action);
    FirstAchievers first_achievers(env, initial, actions);
    NodeIdSet literals;
    for (const ClassicalAction& action : actions)
      for (const auto& clause : action.dnf_condition()) literals.insert(clause.begin(), clause.end());
    for (Node* literal : literals) {
      const auto found = planner.holds(literal, initial) ? std::nullopt : first_achievers({literal});
      if (!found) continue;
      const auto expected = first_achievers_by_definition(env, initial, actions, literal);
      EXPECT_EQ(*found, expected) << model::to_anml(literal);
      ++compared;
      restricted += static_cast<std::size_t>(
          std::any_of(actions.begin(), actions.end(), [&](const ClassicalAction& action) {
            const auto& added = action.predicates_added(true);
            return std::find(added.begin(), added.end(), literal) != added.end() &&
                   std::find(found->begin(), found->end(), &action - actions.data()) == found->end();
          }));
    }
    if (HasFailure()) break;
  }
  EXPECT_GT(compared, 200U);
  EXPECT_GT(restricted, 10U);  // achievers that cannot be first
}

/// The heuristic in terms of sets of landmarks.
class CountByDefinition {
 public:
  explicit CountByDefinition(LandmarkPlanner& planner) : planner_(planner) {}
  double operator()(const PlainState<double>& state) {
    const LandmarkGraph& graph = planner_.graph();
    const std::vector<bool> now = planner_.truths(state);
    std::set<std::uint32_t> reached = state.path ? reached_ : std::set<std::uint32_t>();
    for (std::uint32_t l = 0; l < graph.size(); ++l) {
      const auto& orderings = graph.orderings();
      if (now[l] && std::all_of(orderings.begin(), orderings.end(), [&](const Ordering& ordering) {
            return ordering.second != l || (state.path && reached_.contains(ordering.first));
          }))
        reached.insert(l);
    }
    reached_ = reached;
    std::set<std::uint32_t> needed;
    for (std::uint32_t l = 0; l < graph.size(); ++l)
      if (!reached.contains(l)) needed.insert(l);
    for (const std::uint32_t l : reached) {
      if (!now[l] && graph.is_goal(l)) needed.insert(l);
      for (const auto& [before, after] : graph.orderings())
        if (!now[l] && before == l && !reached.contains(after)) needed.insert(l);
    }
    lost_ += needed.size() + reached.size() > graph.size() ? 1 : 0;
    return static_cast<double>(needed.size());
  }
  int lost() const { return lost_; }  ///< States in which something reached had to be achieved again.

 private:
  LandmarkPlanner& planner_;
  std::set<std::uint32_t> reached_;
  int lost_ = 0;
};

TEST(Landmarks, TheCountAlongAPathIsThatOfTheDefinition) {
  int lost = 0, states = 0;
  for (unsigned seed = 0; seed < 150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Environment env;
    LandmarkPlanner planner(env, seed % 2 == 0 ? random_problem(seed) : random_achiever_problem(seed));
    auto state = planner.initial();
    if (!state) continue;
    CountByDefinition expected(planner);
    std::mt19937 random(seed);
    for (int step = 0; step < 15; ++step) {
      EXPECT_EQ(planner.estimate(*state), expected(*state)) << "step " << step;
      ++states;
      auto children = planner.children(*state);
      if (children.empty()) break;
      state = std::move(children[random() % children.size()]);
    }
    lost += expected.lost();
    if (HasFailure()) break;
  }
  EXPECT_GT(states, 800);
  EXPECT_GT(lost, 100);
}

/// The landmarks without progress fluents, as text.
std::set<std::string> landmarks_of(const std::string& text) {
  Environment env;
  LandmarkPlanner planner(env, text);
  NodeIdSet progress;
  for (const auto& [action, ring] : planner.relaxer().get_new_fluent())
    for (const auto& [k, reference] : ring) progress.insert(reference);
  model::ExpressionFreeVars free_vars(env);
  std::set<std::string> result;
  for (Node* landmark : planner.graph().landmarks()) {
    const auto& references = free_vars(landmark);
    if (std::none_of(references.begin(), references.end(), [&](Node* r) { return progress.contains(r); }))
      result.insert(model::to_anml(landmark));
  }
  return result;
}

TEST(Landmarks, OfSmallProblems) {
  const std::string fluents =
      "fluent boolean p; fluent boolean q; fluent boolean r; fluent boolean g; fluent integer n;"
      "[start] p := false; [start] q := false; [start] r := false; [start] g := false; [start] n := 0;"
      "action get_p() { duration := 1; [end] p := true; };"
      "action get_q() { duration := 1; [end] q := true; };"
      "action get_r() { duration := 1; [start] p; [end] r := true; };"
      "action count() { duration := 1; [end] n := n + 1; };";
  struct Case {
    const char* name;
    std::string text;
    std::set<std::string> landmarks;
  };
  const Case cases[] = {
      {"what the only achiever needs",
       "action a() { duration := 1; [start] r; [end] g := true; }; [end] g;",
       {"g", "r", "p"}},
      {"alternatives",
       "action a() { duration := 1; [start] r; [end] g := true; };"
       "action b() { duration := 1; [start] q; [end] g := true; }; [end] g;",
       {"g", "(q or r)"}},
      {"what all achievers share",
       "action a() { duration := 1; [start] r; [start] q; [end] g := true; };"
       "action b() { duration := 1; [start] q; [end] g := true; }; [end] g;",
       {"g", "q"}},
      {"an achiever that needs nothing",
       "action a() { duration := 1; [start] r; [end] g := true; }; [10] g := true; [end] g;",
       {"g"}},
      {"a goal of two clauses of different length", "[end] p or (q and r);", {"(p or q)"}},
      {"a goal that no action achieves", "[end] g;", {"g"}},
      {"a goal that holds", "[end] not g;", {"(not g)"}},
      {"an achiever that needs the goal first",
       "fluent boolean s; [start] s := false;"
       "action a() { duration := 1; [start] p; [end] g := q; };"
       "action b() { duration := 1; [start] g; [end] s := true; };"
       "action c() { duration := 1; [start] s; [end] g := true; }; [end] g;",
       {"g", "p"}},
      {"a counter without end",
       "action a() { duration := 1; [start] n > 5; [end] g := true; }; [end] g;",
       {"g", "(n > 5)"}},
      {"a copied value: an action that may achieve the goal also does other things before",
       "action a() { duration := 1; [start] not r; [end] g := q; [end] r := true; };"
       "action b() { duration := 1; [start] r; [end] g := true; }; [end] g;",
       {"g"}},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    EXPECT_EQ(landmarks_of(fluents + test.text), test.landmarks);
  }
}

TEST(Landmarks, LostGoalsCountAgainAndOutOfOrderDoesNotCount) {
  Environment env;
  const auto problem =
      parse(env,
            "fluent boolean p; fluent boolean q; fluent boolean g; [start] p := false; [start] q := false;"
            "[start] g := true; action get() { duration := 1; [end] p := true; };"
            "action use() { duration := 1; [start] p; [end] q := true; }; [end] g; [end] q;");
  F& factory = env.expression_factory();
  const auto reference = [&](const char* name) {
    return factory.make_fluent_reference(problem->fluents().at(name), std::vector<Node*>());
  };
  const StateIndex index{{reference("p"), 0}, {reference("q"), 1}, {reference("g"), 2}};
  RelaxedProblem::Parts parts;
  parts.tables = std::make_shared<EvaluationTables>(env, index);
  parts.initial = {false_value, false_value, true_value};
  parts.goals = {reference("g"), reference("q")};
  for (const auto& [name, action] : problem->actions()) parts.actions.emplace_back(problem, action);
  parts.source_count = parts.actions.size();
  parts.sources = {0, 1};
  HLandmarks heuristic(std::make_shared<RelaxedProblem>(env, std::move(parts)));
  EXPECT_EQ(heuristic.graph().size(), 3U);
  EXPECT_EQ(heuristic.graph().orderings().size(), 1U);
  const auto estimate = [&](bool p, bool q, bool g, HLandmarks::SetId& set) {
    const ValueId slots[] = {ValueTable::of_boolean(p), ValueTable::of_boolean(q), ValueTable::of_boolean(g)};
    StateView view;
    view.values = slots;
    view.parent_note = set;
    view.note = &set;
    return heuristic.estimate(view);
  };
  HLandmarks::SetId set = 0;
  EXPECT_EQ(estimate(false, false, true, set), 2.0);
  const auto initial = set;
  EXPECT_EQ(estimate(false, false, false, set), 3.0);  // the goal is lost,
  EXPECT_EQ(set, initial);                             // not what was reached
  EXPECT_EQ(estimate(false, true, true, set), 2.0);    // q out of order
  EXPECT_EQ(set, initial);
  EXPECT_EQ(estimate(true, true, true, set), 1.0);    // p, and q not yet: p is no part of the parent's set
  EXPECT_EQ(estimate(false, false, true, set), 2.0);  // p is needed again before q
  EXPECT_EQ(estimate(true, true, true, set), 0.0);
  EXPECT_EQ(estimate(false, true, true, set), 0.0);  // p has served
  EXPECT_EQ(estimate(false, false, true, set), 1.0);
  EXPECT_EQ(heuristic.reached_sets().size(), 3U);
}

TEST(ReachedSets, KeepEachSetOnce) {
  ReachedSets sets(2);
  std::mt19937_64 random(1);
  std::map<std::pair<std::uint64_t, std::uint64_t>, ReachedSets::Id> known;
  for (int i = 0; i < 2000; ++i) {
    const std::uint64_t set[] = {random() % 16, random() % 64};
    const ReachedSets::Id id = sets.insert(set);
    EXPECT_NE(id, 0U);
    EXPECT_EQ(known.try_emplace({set[0], set[1]}, id).first->second, id);
    EXPECT_TRUE(std::equal(set, set + 2, sets[id]));
  }
  EXPECT_EQ(sets.size(), known.size());
}

TEST(Landmarks, TheSearchLosesNoPlan) {
  int solved = 0, unsolvable = 0;
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const auto outcome = [&](const char* heuristic) {
      Environment env;
      env.configuration().set_value("ftp-heuristic", std::vector<std::string>{heuristic});
      FtpPlanner planner(env, parse(env, random_problem(seed)));
      planner.set_limits(at_most(3000));
      planner.solve();
      return planner.outcome();
    };
    const SearchOutcome blind = outcome("blind"), guided = outcome("hlandmarks");
    // Where one of them is cut short, the other may still find a plan, or the end of the states.
    if (blind == SearchOutcome::expansion_limit || guided == SearchOutcome::expansion_limit) continue;
    EXPECT_EQ(blind, guided);
    (blind == SearchOutcome::plan_found ? solved : unsolvable) += 1;
  }
  EXPECT_GT(solved, 30);
  EXPECT_GT(unsolvable, 5);
}

}  // namespace
}  // namespace zorvel::tp::ftp
