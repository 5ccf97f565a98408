#include "search/forward/guided/estimates/guided_estimates.h"

#include <algorithm>
#include <set>

#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "model/walkers/normal_forms.h"
#include "search/heuristics/hadd.h"
#include "search/support.h"
#include "support/picker.h"
#include "support/random_problems.h"

namespace zorvel::tp::ftp {
namespace {

using LandmarkId = LandmarkGraph::LandmarkId;

/// A problem with its estimates, and states of the plain search as the guided search would see them.
class Guided : public FtpPlanner {
 public:
  Guided(Environment& environment, const std::string& text) : Guided(environment, parse(environment, text)) {}
  Guided(Environment& environment, const model::ProblemPtr& problem)
      : FtpPlanner(environment, problem), dense_(model(), tables()) {
    initial_ = successors_.initial_state();
    if (initial_) estimates_.emplace(dense_, values_of(*initial_).data());
  }
  bool has_initial_state() const { return initial_ != nullptr; }
  const PlainState<double>& initial() const { return *initial_; }
  GuidedEstimates& estimates() { return *estimates_; }
  const DenseProblem& dense() const { return dense_; }

  std::vector<ValueId> values_of(const PlainState<double>& state) {
    std::vector<ValueId> values;
    for (std::size_t slot = 0; slot < dense_.slots(); ++slot)
      values.push_back(dense_.values().id_of(state.value(slot)));
    return values;
  }
  GuidedEstimates::Estimate evaluate(const PlainState<double>& state, std::uint32_t& note) {
    std::vector<OpenChain> open;
    for (const TodoList& list : state.todo) {
      const std::uint32_t front = list.front().first->index, chain = dense_.event(front).chain;
      const auto& events = dense_.chain(chain).events;
      open.push_back({chain, static_cast<std::uint32_t>(std::ranges::find(events, front) - events.begin())});
    }
    const std::vector<ValueId> values = values_of(state);
    StateView view;
    view.values = values.data();
    view.open = open;
    view.parent_note = note;
    view.note = &note;
    return estimates_->evaluate(view);
  }
  GuidedEstimates::Estimate evaluate(const PlainState<double>& state) {
    std::uint32_t note = 0;
    return evaluate(state, note);
  }
  /// The state behind a move: the opening of an action, or else its next event.
  std::unique_ptr<PlainState<double>> next(const PlainState<double>& state, const std::string& action) {
    for (const TodoList& list : state.todo)
      if (list.front().first->action && list.front().first->action->name() == action)
        return successors_.apply(state, list.front(), false);
    return successors_.open(state, model().action_id(action), false);
  }
  std::unique_ptr<PlainState<double>> next(const PlainState<double>& state, const Event& event) {
    if (event.kind == EventKind::START_ACTION) return next(state, event.action->name());
    for (const TodoList& list : state.todo)
      if (list.front().first == &event) return successors_.apply(state, list.front(), false);
    return nullptr;
  }
  /// The events of a plan found by the forward search, if it finds one.
  std::optional<std::vector<const Event*>> find_events(std::uint64_t expansions) {
    initialize_heuristic();
    SearchGuard guard(at_most(expansions));
    std::vector<const Event*> events;
    if (search_densely(false, guard, events) != SearchOutcome::plan_found) return std::nullopt;
    return events;
  }

  std::set<std::string> preferred() {
    std::set<std::string> names;
    for (const ActionId action : estimates_->preferred()) names.insert(name_of(action));
    return names;
  }
  std::set<std::string> all(bool (GuidedEstimates::*question)(ActionId) const) {
    std::set<std::string> names;
    for (ActionId action = 0; action < dense_.action_count(); ++action)
      if (((*estimates_).*question)(action)) names.insert(name_of(action));
    return names;
  }

 private:
  std::string name_of(ActionId action) const { return model().actions()[action].action->name(); }

  DenseProblem dense_;
  Successors<double> successors_{model(), {}, 1};
  std::unique_ptr<PlainState<double>> initial_;
  std::optional<GuidedEstimates> estimates_;
};

/// What the states along the events of a plan have to do with the estimates.
void check_along(Guided& guided, const std::vector<const Event*>& events) {
  GuidedEstimates& estimates = guided.estimates();
  EXPECT_FALSE(estimates.is_unsolvable());
  const LandmarkGraph& graph = estimates.landmarks();
  std::vector<std::size_t> first_true(graph.size(), events.size() + 1);
  const auto look = [&](const PlainState<double>& state, std::size_t step) {
    const auto values = guided.values_of(state);
    for (LandmarkId landmark = 0; landmark < graph.size(); ++landmark)
      if (graph.is_true(landmark, values.data())) first_true[landmark] = std::min(first_true[landmark], step);
  };
  std::uint32_t note = 0;
  const PlainState<double>* state = &guided.initial();
  std::unique_ptr<PlainState<double>> held;
  for (std::size_t step = 0;; ++step) {
    const auto estimate = guided.evaluate(*state, note);
    ASSERT_FALSE(estimate.is_dead_end) << "step " << step;
    look(*state, step);
    for (const ActionId action : estimates.preferred())
      EXPECT_TRUE(guided.dense().action(action).opening.holds(guided.values_of(*state).data()));
    if (step == events.size()) {
      EXPECT_EQ(estimate.values, (std::array<double, 3>{0, 0, 0}));
      break;
    }
    auto child = guided.next(*state, *events[step]);
    ASSERT_NE(child, nullptr);
    held = std::move(child);
    state = held.get();
  }
  for (LandmarkId landmark = 0; landmark < graph.size(); ++landmark)
    EXPECT_LE(first_true[landmark], events.size()) << "landmark " << landmark << " was never true";
  for (const auto& [before, after] : graph.orderings())
    EXPECT_LT(first_true[before], first_true[after]) << before << " comes before " << after;
}

/// The plan must be valid without the actions that are called irrelevant.
void check_without_irrelevant(Guided& guided, const std::vector<const Event*>& events) {
  const auto plan = guided.get_plan_from_event_list(events, false);
  TimeTriggeredPlan shorter(guided.env());
  for (const auto& [start, steps] : plan->steps())
    for (const auto& step : steps) {
      if (guided.estimates().is_relevant(guided.model().action_id(step->action->name())))
        shorter.add_step(step);
    }
  TTValidator validator(guided.env(), guided.problem());
  EXPECT_TRUE(validator.check_validity(std::make_shared<TimeTriggeredPlan>(shorter))) << validator.reason();
}

TEST(GuidedEstimates, HoldAlongPlansThatWereFound) {
  int plans = 0;
  std::size_t landmarks = 0;
  for (unsigned seed = 0; seed < 200 && !HasFailure(); ++seed) {
    const std::string text =
        seed % 2 == 0 ? random_problem(seed) : timed::random_problem(seed, timed::overlapping(seed)).text();
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
    Environment env;
    // Blind plans hold actions that do not matter.
    env.configuration().set_value("ftp-heuristic", std::vector<std::string>{seed % 4 < 2 ? "hadd" : "blind"});
    Guided guided(env, text);
    if (!guided.has_initial_state()) continue;
    const auto events = guided.find_events(300);
    if (!events) continue;
    ++plans;
    check_along(guided, *events);
    check_without_irrelevant(guided, *events);
    landmarks += guided.estimates().landmarks().size();
  }
  EXPECT_GT(plans, 50);
  EXPECT_GT(landmarks, 100U);
}

/// Problems of actions that test at their start and write at their end, so that the pieces are the actions of
/// the classical relaxation. What stands in a disjunction stands nowhere else: there the additive costs of
/// the disjunctive normal form are those of the rules.
std::string random_classical_problem(unsigned seed) {
  Picker random(seed);
  const auto place = [&] { return std::string(1, static_cast<char>('a' + random.pick(4))); };
  const auto literal = [&] {
    if (random.chance(3)) return "at == " + place();
    return (random.chance(4) ? "not p" : "p") + std::to_string(random.pick(6));
  };
  const auto condition = [&] {
    std::set<std::string> conjuncts;
    for (int i = random.pick(4); i > 0; --i) conjuncts.insert(literal());
    if (random.chance(4)) conjuncts.insert("(q0 or q1)");
    if (random.chance(4)) conjuncts.insert("(q2 or q3 or (q4 and q5))");
    return conjuncts;
  };
  std::ostringstream text;
  text << "type Place; instance Place a, b, c, d;\nfluent Place at; [start] at := a;\n";
  for (int i = 0; i < 6; ++i)
    text << "fluent boolean p" << i << "; [start] p" << i << " := " << (random.chance(5) ? "true" : "false")
         << ";\nfluent boolean q" << i << "; [start] q" << i << " := false;\n";
  for (int i = 0, actions = random.between(6, 14); i < actions; ++i) {
    text << "action act" << i << "() { duration := 1;";
    for (const std::string& conjunct : condition()) text << " [start] " << conjunct << ";";
    text << " [end] " << (random.chance(2) ? "p" : "q") << random.pick(6)
         << " := " << (random.chance(5) ? "false" : "true") << ";";
    if (random.chance(3)) text << " [end] at := " << place() << ";";
    text << " };\n";
  }
  for (const std::string& goal : condition()) text << "[end] " << goal << ";\n";
  return text.str();
}

TEST(GuidedEstimates, AreTheClassicalOnesWhereActionsAreSinglePieces) {
  int finite = 0, dead = 0;
  for (unsigned seed = 0; seed < 150 && !HasFailure(); ++seed) {
    const std::string text = random_classical_problem(seed);
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
    Environment env;
    Guided guided(env, text);
    const DenseProblem& dense = guided.dense();
    const auto& problem = guided.problem();
    RelaxedProblem::Parts parts;
    for (Node* expression : problem->expressions())
      if (!model::ExpressionFactory::is_assign(expression->children[1]))
        parts.goals.push_back(normalized_condition(env, expression->children[1]));
    if (parts.goals.empty()) continue;
    for (const auto& [name, action] : problem->actions()) {
      parts.sources.push_back(static_cast<std::uint32_t>(parts.actions.size()));
      parts.actions.emplace_back(problem, action);
    }
    parts.source_count = parts.actions.size();
    const auto tables = std::make_shared<EvaluationTables>(env, guided.model().index());
    parts.tables = tables;
    std::vector<ValueId> values = guided.values_of(guided.initial());
    for (const ValueId value : values)
      parts.initial.push_back(tables->values.id_of(dense.values().node_of(value)));
    HAdd hadd(std::make_shared<RelaxedProblem>(env, std::move(parts)));
    Picker random(seed);
    const std::vector<OpenChain> open{{DenseProblem::end_chain, 0}};
    for (int step = 0; step < 12; ++step) {
      std::vector<ValueId> other;  // the same values, as the other table numbers them
      for (const ValueId value : values) other.push_back(tables->values.id_of(dense.values().node_of(value)));
      StateView view;
      view.values = values.data();
      view.open = open;
      const auto estimate = guided.estimates().evaluate(view);
      StateView classical;
      classical.values = other.data();
      const double expected = hadd.estimate(classical);
      ASSERT_EQ(estimate.is_dead_end, expected == dead_end);
      if (!estimate.is_dead_end) {
        ASSERT_EQ(estimate.values[2], expected);
        EXPECT_LE(estimate.values[0], expected);
        EXPECT_EQ(estimate.values[0] == 0, expected == 0);
      }
      (estimate.is_dead_end ? dead : finite) += 1;
      const auto action = static_cast<ActionId>(random.pick(static_cast<int>(dense.action_count())));
      if (!dense.action(action).opening.holds(values.data())) continue;
      std::vector<SlotWrite> writes;
      for (const std::uint32_t event : dense.chain(DenseProblem::first_action_chain + action).events)
        ASSERT_TRUE(dense.event(event).effect.compute(values.data(), writes));
      write_slots(writes, values.data());
    }
  }
  EXPECT_GT(finite, 200);
  EXPECT_GT(dead, 100);
}

using Names = std::set<std::string>;

TEST(GuidedEstimates, OfHandmadeProblems) {
  const std::string fluents =
      "fluent boolean p; fluent boolean q; fluent boolean r; fluent integer n; [start] p := false;"
      "[start] q := false; [start] r := false; [start] n := 0;";
  struct Case {
    const char* name;
    std::string text;
    std::vector<std::string> moves;  // to the state that is looked at
    double actions, additive;
    Names preferred, envelopes;
  };
  const std::string light =
      "action light { duration := 5; [start] p := true; [end] p := false; };"
      "action mend { duration := 3; [start] p; [end] q := true; }; [end] q;";
  const std::string two_lamps =
      "action short { duration := 3; [start] p := true; [end] p := false; };"
      "action long { duration := 10; [start] p := true; [end] p := false; };"
      "action use { duration := 5; (start, end) p; [end] q := true; }; [end] q;";
  const std::string count =
      "action up { duration := 1; [end] n := n + 2; }; action down { duration := 1; [end] n := n - 1; };";
  const Case cases[] = {
      {"an envelope has two pieces and is one action", light, {}, 2, 2, {"light"}, {"light"}},
      {"what an open envelope holds up is there", light, {"light", "light"}, 1, 1, {"mend"}, {"light"}},
      {"of two that hold it up, one does so for too short a time",
       two_lamps,
       {},
       2,
       2,
       {"long"},
       {"long", "short"}},
      {"also once that one is open", two_lamps, {"short", "short"}, 2, 2, {"long"}, {"long", "short"}},
      {"the other one does", two_lamps, {"long", "long"}, 1, 1, {"use"}, {"long", "short"}},
      {"its rest is a piece too",
       "action light { duration := 5; [start] p := true; [end] p := false; [end] r := true; };"
       "action mend { duration := 3; [start] p; [end] q := true; }; [end] q; [end] r;",
       {"light", "light"},
       2,
       2,
       {"mend"},
       {"light"}},
      {"the same, not yet open",
       "action light { duration := 5; [start] p := true; [end] p := false; [end] r := true; };"
       "action mend { duration := 3; [start] p; [end] q := true; }; [end] q; [end] r;",
       {},
       2,
       4,
       {"light"},
       {"light"}},
      {"nobody asks for what is held up",
       "action light { duration := 5; [start] p := true; (start, end) p; [end] p := false;"
       " [end] q := true; }; [end] q;",
       {},
       1,
       1,
       {"light"},
       {}},
      {"somebody asks for what is held down",
       "action a { duration := 5; [start] p := false; [end] p := true; };"
       "action b { duration := 1; [start] not p; [end] q := true; }; [end] q;",
       {},
       1,
       1,
       {"b"},
       {"a"}},
      {"an open action that is no envelope owes its writes",
       "action a { duration := 5; [start] not p; [end] p := true; };"
       "action b { duration := 5; [start] p; [end] q := true; }; [end] q;",
       {"a"},
       2,
       2,
       {},
       {}},
      {"what it still asks for is a goal",
       "action a { duration := 5; [start] not p; [end] r; [end] p := true; };"
       "action b { duration := 5; [end] r := true; }; [end] p;",
       {"a"},
       2,
       2,
       {"b"},
       {}},
      {"a counter asks for as many steps as it takes", count + "[end] n >= 5;", {}, 3, 3, {"up"}, {}},
      {"downwards too", count + "[end] n < -1;", {}, 2, 2, {"down"}, {}},
      {"and to one number from either side", count + "[end] n == 4;", {}, 2, 2, {"up"}, {}},
      {"on the way", count + "[end] n == 1;", {"up", "up"}, 1, 1, {"down"}, {}},
      {"a comparison of two fluents",
       count + "fluent integer m; [start] m := 3; action less { duration := 1; [end] m := m - 3; };"
               "[end] n >= m;",
       {},
       1,
       1,
       {"less"},
       {}},
      {"a number that is held up",
       "action hold { duration := 5; [start] n := n + 1; [end] n := n - 1; };"
       "action use { duration := 1; [start] n >= 1; [end] q := true; }; [end] q;",
       {},
       2,
       2,
       {"hold"},
       {"hold"}},
      {"a timed effect comes by itself, at a cost", "[5] q := true; [end] q;", {}, 1, 1, {}, {}},
      {"a timed condition is a goal until it is behind",
       "action a { duration := 1; [end] p := true; }; [9] p;",
       {},
       1,
       1,
       {"a"},
       {}},
      {"values of objects",
       "type Place; instance Place a, b, c; fluent Place at; [start] at := a;"
       "action ab { duration := 1; [start] at == a; [end] at := b; };"
       "action bc { duration := 1; [start] at == b; [end] at := c; }; [end] not (at == a); [end] at == c;",
       {},
       2,
       3,
       {"ab"},
       {}},
      {"a value that is copied may be any that is asked for",
       "type Place; instance Place a, b, c; fluent Place at; [start] at := a; fluent Place to;"
       "[start] to := b; action go { duration := 1; [end] at := to; };"
       "action aim { duration := 1; [end] to := c; }; [end] at == c;",
       {},
       1,
       1,
       {"go"},
       {}},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    std::string text = test.text;
    for (std::size_t at = 0; (at = text.find("action ", at)) != std::string::npos;) {
      at = text.find(" {", at);
      text.insert(at, "()");
    }
    Environment env;
    Guided guided(env, fluents + text);
    const PlainState<double>* state = &guided.initial();
    std::unique_ptr<PlainState<double>> held;
    for (const std::string& move : test.moves) {
      auto child = guided.next(*state, move);
      ASSERT_NE(child, nullptr);
      held = std::move(child);
      state = held.get();
    }
    const auto estimate = guided.evaluate(*state);
    EXPECT_FALSE(estimate.is_dead_end);
    EXPECT_EQ(estimate.values[0], test.actions);
    EXPECT_EQ(estimate.values[2], test.additive);
    EXPECT_EQ(guided.preferred(), test.preferred);
    EXPECT_EQ(guided.all(&GuidedEstimates::is_envelope), test.envelopes);
  }
}

TEST(GuidedEstimates, WhatOnlyOverlappingActionsDoIsNoDeadEnd) {
  const std::string fluents = "fluent boolean p; fluent boolean q; [start] p := false; [start] q := false;";
  for (const char* const text :
       {"action a() { duration := 10; [start] p := true; [end] q; };"
        "action b() { duration := 1; [start] p; [end] q := true; }; [end] q;",
        "action a() { duration := 10; [start] p := true; (start, end] p; [end] q := true; }; [end] q;"}) {
    SCOPED_TRACE(text);
    Environment env;
    Guided guided(env, fluents + text);
    const auto estimate = guided.evaluate(guided.initial());
    EXPECT_FALSE(guided.estimates().is_unsolvable());
    EXPECT_FALSE(estimate.is_dead_end);
    EXPECT_GE(estimate.values[0], 1);
    EXPECT_TRUE(guided.preferred().contains("a"));
    auto state = guided.next(guided.initial(), "a");
    while (state != nullptr) {
      EXPECT_FALSE(guided.evaluate(*state).is_dead_end);
      const bool is_open = std::ranges::any_of(
          state->todo, [](const TodoList& list) { return list.front().first->action != nullptr; });
      if (!is_open) break;
      state = guided.next(*state, "a");
    }
  }
}

TEST(GuidedEstimates, DeadEndsAndActionsOutOfReachAreSeen) {
  Environment env;
  Guided guided(env,
                "fluent boolean p; fluent boolean q; fluent boolean r; [start] p := true;"
                "[start] q := false; [start] r := false;"
                "action burn() { duration := 1; [start] p := false; };"
                "action use() { duration := 1; [start] p; [end] q := true; };"
                "action never() { duration := 1; [start] r; [end] q := true; };"
                "action stuck() { duration := 1; [end] r; [start] q := true; }; [end] q;");
  EXPECT_EQ(guided.all(&GuidedEstimates::is_relevant), (Names{"use"}));
  EXPECT_FALSE(guided.estimates().is_unsolvable());
  const auto burnt = guided.next(*guided.next(guided.initial(), "burn"), "burn");
  EXPECT_TRUE(guided.evaluate(*burnt).is_dead_end);
  EXPECT_FALSE(guided.evaluate(guided.initial()).is_dead_end);  // nothing stays of the state before

  Environment other;
  Guided hopeless(other,
                  "fluent boolean p; fluent boolean q; [start] p := false; [start] q := false;"
                  "action a() { duration := 1; [start] q; [end] p := true; }; [end] p;");
  EXPECT_TRUE(hopeless.estimates().is_unsolvable());
}

TEST(GuidedEstimates, SimulatedEffectsMayReadAndWriteAnything) {
  Environment env;
  model::ExpressionFactory& factory = env.expression_factory();
  const auto base = parse(env,
                          "fluent boolean on; fluent boolean seen; fluent integer n; [start] on := false;"
                          "[start] seen := false; [start] n := 0; [end] seen; [end] n >= 5;"
                          "action light() { duration := 1; [end] on := true; };");
  const auto effect = std::make_shared<model::SimulatedEffectImpl>();
  effect->timing = factory.make_end_anchor();
  effect->fluents = {factory.make_fluent_reference(base->fluents().at("seen"), {}),
                     factory.make_fluent_reference(base->fluents().at("n"), {})};
  effect->function = [](const zorvel::SearchState&, const StateIndex&, const std::vector<Node*>&) {
    return std::vector<Node*>();
  };
  Node* const duration =
      factory.make_assign(factory.make_duration_anchor(), factory.make_rational_constant(rational(1)));
  const auto look = env.model_factory().make_action("look", {}, false, {}, {duration}, {effect});
  Guided guided(env, env.model_factory().make_problem_instance(
                         {base->actions().at("light"), look},
                         {base->fluents().at("on"), base->fluents().at("seen"), base->fluents().at("n")}, {},
                         {}, {}, {base->expressions().begin(), base->expressions().end()}, {}, {}));
  EXPECT_EQ(guided.evaluate(guided.initial()).values, (std::array<double, 3>{1, 2, 2}));
  EXPECT_EQ(guided.preferred(), Names{"look"});
  EXPECT_TRUE(guided.estimates().is_relevant(guided.model().action_id("light")));
}

TEST(GuidedEstimates, DisjunctionsAreNotMultipliedOut) {
  std::ostringstream text;
  for (int i = 0; i < 40; ++i)
    text << "fluent boolean x" << i << "; [start] x" << i << " := false;\nfluent boolean y" << i
         << "; [start] y" << i << " := false;\naction make" << i << "() { duration := 1; [end] y" << i
         << " := true; };\n[end] x" << i << " or y" << i << ";\n";
  Environment env;
  Guided guided(env, text.str());
  EXPECT_EQ(guided.evaluate(guided.initial()).values, (std::array<double, 3>{40, 40, 40}));
}

TEST(GuidedEstimates, SetUpEndsWhenItIsToldTo) {
  Environment env;
  Guided guided(env, random_classical_problem(1));
  const std::vector<ValueId> initial = guided.values_of(guided.initial());
  // Whichever look at the limits says so, up to the last.
  for (int looks = 0;; ++looks) {
    ASSERT_LT(looks, 1000);
    int left = looks;
    GuidedEstimates estimates(guided.dense(), initial.data(), [&] { return left-- <= 0; });
    if (left < 0) {
      EXPECT_FALSE(estimates.is_complete());
    }
    if (estimates.is_complete()) break;
  }
}

/// The landmarks of the estimates as text: `f`, `not f`, or a disjunction of them.
Names landmarks_of(const std::string& text) {
  Environment env;
  Guided guided(env, text);
  const LandmarkGraph& graph = guided.estimates().landmarks();
  Names result;
  for (LandmarkId landmark = 0; landmark < graph.size(); ++landmark) {
    std::string disjunction;
    for (const LandmarkGraph::Test& test : graph.tests(landmark)) {
      if (!disjunction.empty()) disjunction += " or ";
      if (test.expected == false_value) disjunction += "not ";
      disjunction += model::to_anml(guided.model().references()[test.slot]);
    }
    result.insert(disjunction.empty() ? "predicate" : disjunction);
  }
  return result;
}

TEST(GuidedEstimates, LandmarksOfSmallProblems) {
  const std::string fluents =
      "type T; instance T a, b; fluent boolean p(T t); fluent boolean q; fluent boolean r;"
      "fluent boolean g; fluent integer n; [start] n := 0; [start] p(a) := false; [start] p(b) := false;"
      "[start] q := false; [start] r := false; [start] g := false;"
      "action get_p(T t) { duration := 1; [end] p(t) := true; };"
      "action get_q() { duration := 1; [end] q := true; };"
      "action get_r() { duration := 1; [start] q; [end] r := true; };"
      "action count() { duration := 1; [start] q; [end] n := n + 1; };";
  struct Case {
    const char* name;
    std::string text;
    Names landmarks;
  };
  const Case cases[] = {
      {"what the only achiever needs",
       "action x() { duration := 1; [start] r; [end] g := true; }; [end] g;",
       {"g", "r", "q"}},
      {"alternatives of one fluent",
       "action x() { duration := 1; [start] p(a); [end] g := true; };"
       "action y() { duration := 1; [start] p(b); [end] g := true; }; [end] g;",
       {"g", "p(a) or p(b)"}},
      {"what all achievers share",
       "action x() { duration := 1; [start] r; [start] p(a); [end] g := true; };"
       "action y() { duration := 1; [start] p(a); [end] g := true; }; [end] g;",
       {"g", "p(a)"}},
      {"what the plan is given",
       "action x() { duration := 1; [start] r; [end] g := true; }; [10] g := true; [end] g;",
       {"g"}},
      {"an achiever that needs the goal first is none",
       "fluent boolean s; [start] s := false;"
       "action x() { duration := 1; [start] q; [end] g := true; };"
       "action y() { duration := 1; [start] g; [end] s := true; };"
       "action z() { duration := 1; [start] s; [end] g := true; }; [end] g;",
       {"g", "q"}},
      {"a counter has achievers", "[end] n >= 2;", {"predicate", "q"}},
      {"a timed condition is one",
       "[8] r; [end] g; action x() { duration := 1; [end] g := true; };",
       {"r", "q", "g"}},
      {"what a chain asks for before it gets there",
       "action x() { duration := 4; [start + 1] r; [start + 2] p(a) := true; [end] g := true; }; [end] g;",
       {"g", "r", "q"}},
      {"what a chain does for itself while it runs",
       "action x() { duration := 4; [start] p(a) := true; (start, end) p(a); [end] p(a) := false;"
       " [end] g := true; }; [end] g;",
       {"g", "p(a)"}},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    EXPECT_EQ(landmarks_of(fluents + test.text), test.landmarks);
  }
}

TEST(GuidedEstimates, LandmarksPassedWithinAMoveCountAsReached) {
  Environment env;
  Guided guided(env,
                "fluent boolean busy; fluent boolean g; fluent boolean h; [start] busy := false;"
                "[start] g := false; [start] h := false;"
                "action x() { duration := 4; [start] busy := true; (start, end) busy; [end] busy := false;"
                " [end] g := true; };"
                "action y() { duration := 1; [start] g; [end] h := true; };"
                "action lose() { duration := 1; [end] g := false; }; [end] h;");
  std::uint32_t note = 0;
  EXPECT_EQ(guided.evaluate(guided.initial(), note).values[1], 3);
  const std::uint32_t at_start = note;
  auto state = guided.next(guided.initial(), "x");
  while (auto child = guided.next(*state, "x")) {
    state = std::move(child);
    if (state->todo.size() == 1) break;  // the goal alone: the action is done
  }
  EXPECT_EQ(guided.evaluate(*state, note).values[1], 1);
  const auto lost = guided.next(*guided.next(*state, "lose"), "lose");
  EXPECT_EQ(guided.evaluate(*lost, note).values[1], 2);  // g is needed again, busy is not
  note = at_start;
  EXPECT_EQ(guided.evaluate(*lost, note).values[1], 3);
}

}  // namespace
}  // namespace zorvel::tp::ftp
