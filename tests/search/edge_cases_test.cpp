// Problems at the edge of what the language allows: each is solved by the forward search under every estimate
// and with both deorderings, and by the classical search where it knows the problem, and each plan is
// validated.

#include <algorithm>

#include "model/model_factory.h"
#include "search/classical/tsimple/tsimple_planner.h"
#include "search/support.h"

namespace zorvel {
namespace {

/// Who may find a plan.
enum class Solvers { nobody, forward, everybody };

struct Edge {
  const char* name;
  const char* text;
  Solvers solvers;
  const char* warning = "";  ///< Part of the one warning that is expected.
};

void expect_valid(Environment& env, const model::ProblemPtr& problem, const std::shared_ptr<Plan>& plan) {
  TTValidator validator(env, problem);
  EXPECT_TRUE(validator.check_validity(std::make_shared<TimeTriggeredPlan>(plan)))
      << validator.reason() << '\n'
      << exact_text(plan);
}

void expect_forward(const Edge& edge, const std::string& heuristic, const char* option) {
  SCOPED_TRACE(heuristic + " " + option);
  Environment env;
  env.configuration().set_value("ftp-heuristic", std::vector<std::string>{heuristic});
  if (*option != 0) env.configuration().set_value(option, true);
  const auto problem = parse(env, edge.text);
  tp::ftp::FtpPlanner planner(env, problem);
  planner.set_limits(at_most(5000));
  const auto plan = planner.solve();
  ASSERT_EQ(plan != nullptr, edge.solvers != Solvers::nobody);
  if (plan) expect_valid(env, problem, plan);
  const auto& warnings = env.warning_manager().warnings();
  if (*edge.warning == 0) return;
  EXPECT_TRUE(std::any_of(warnings.begin(), warnings.end(), [&](const std::string& warning) {
    return warning.find(edge.warning) != std::string::npos;
  }));
}

void expect_classical(const Edge& edge, const std::string& heuristic) {
  SCOPED_TRACE("tsimple " + heuristic);
  Environment env;
  env.configuration().set_value("tsimple-heuristic", heuristic);
  const auto problem = parse(env, edge.text);
  tsimple::TSimplePlanner planner(env, problem);
  planner.set_limits(at_most(5000));
  const auto plan = planner.solve();
  ASSERT_NE(plan, nullptr);
  expect_valid(env, problem, plan);
}

void expect_edges(std::initializer_list<Edge> edges) {
  for (const Edge& edge : edges) {
    SCOPED_TRACE(edge.name);
    for (const char* heuristic : {"blind", "hadd", "hff", "hmax", "hlandmarks"})
      expect_forward(edge, heuristic, "");
    for (const char* option : {"ftp-deordering", "ftp-deordering-plan", "simultaneity"})
      expect_forward(edge, "hadd", option);
    if (edge.solvers == Solvers::everybody)
      for (const char* heuristic : {"blind", "hadd", "hff", "hmax", "hlandmarks"})
        expect_classical(edge, heuristic);
  }
}

TEST(EdgeCases, AFluentOutsideItsDomainHasNoValue) {
  const std::string counter =
      "fluent integer [0, 2] n; fluent boolean free(integer [0, 2] i); fluent boolean done;"
      "[start] { n := 0; free(0) := true; free(1) := true; free(2) := true; done := false; };"
      "action step() { duration := 1; [start] n <= 1; [end] n := n + 1; };";
  expect_edges({
      {"a condition on the next field, up to the last one",
       "fluent integer [0, 2] n; fluent boolean free(integer [0, 2] i);"
       "[start] { n := 0; free(0) := true; free(1) := true; free(2) := true; };"
       "action step() { duration := 1; [start] free(n + 1); [end] n := n + 1; }; [end] n == 2;",
       Solvers::everybody},
      {"an effect on the field behind the last one",
       "fluent integer [0, 2] n; fluent boolean seen(integer [0, 2] i);"
       "[start] { n := 2; seen(0) := false; seen(1) := false; seen(2) := false; };"
       "action mark() { duration := 1; [end] seen(n + 1) := true; };"
       "action down() { duration := 1; [start] n >= 1; [end] n := n - 1; }; [end] seen(1);",
       Solvers::everybody},
  });
  const auto with = [&](const char* condition) {
    return counter + "action finish() { duration := 1; [start] n == 2 and (" + condition +
           "); [end] done := true; }; [end] done;";
  };
  // n + 1 is 3 where it counts. Kleene's tables: one side may decide alone.
  const std::vector<std::pair<const char*, bool>> rows = {
      {"free(n + 1)", false},
      {"not free(n + 1)", false},
      {"free(n + 1) or free(n)", true},
      {"not (free(n + 1) and not free(n))", true},
      {"free(n + 1) implies free(n)", true},
      {"not free(n) implies free(n + 1)", true},
      {"free(n) implies free(n + 1)", false},
  };
  for (const auto& [condition, holds] : rows) {
    const std::string text = with(condition);
    expect_edges({{condition, text.c_str(), holds ? Solvers::everybody : Solvers::nobody}});
  }
}

TEST(EdgeCases, TwoWritesAtOneMomentMakeAnActionUseless) {
  const std::string fluents = "fluent boolean p := false; fluent boolean q := false;";
  const std::string clash =
      fluents + "action a() { duration := 1; [end] p := false; [end] p := true; [end] q := true; };";
  expect_edges({
      {"it is the only way", (clash + "[end] q;").c_str(), Solvers::nobody, "'a' writes one fluent twice"},
      {"there is another way", (clash + "action b() { duration := 2; [end] q := true; }; [end] q;").c_str(),
       Solvers::everybody, "'a' writes one fluent twice"},
  });
  const auto refusal = [&](const std::string& statements) {
    Environment env;
    const auto problem = parse(env, fluents + statements + "[end] p;");
    return error_of([&] { tp::ftp::FtpPlanner(env, problem); });
  };
  EXPECT_EQ(
      refusal("[3] p := false; [start + 3] p := true;"),
      "InvalidParameterError: Two effects write p at one moment of the problem: [(start + 3)] (p := true)");
  EXPECT_EQ(refusal("[3] p := true; [4] p := true; [3] q := true;"), "");
}

TEST(EdgeCases, StatementsOfTheProblemWithoutAMomentOrBeforeItsStart) {
  expect_edges({
      {"two empty intervals demand nothing",
       "fluent boolean p := true; goal (3, 3) not p; goal [4, 2] not p; goal [end] p;", Solvers::forward},
      {"one moment is an interval", "fluent boolean p := true; goal [3, 3] not p;", Solvers::nobody},
  });
  Environment env;
  const auto problem = parse(env, "fluent integer [0, 3] x := 0; [-1] x := 1; [end] x == 0;");
  const std::string refusal = "InvalidParameterError: A statement lies before the start of the plan: ";
  EXPECT_EQ(error_of([&] { tp::ftp::FtpPlanner(env, problem); }).rfind(refusal, 0), 0U);
  EXPECT_EQ(error_of([&] { TTValidator(env, problem); }).rfind(refusal, 0), 0U);
}

TEST(EdgeCases, WhatIsWrittenToAFloatDividesAsOne) {
  expect_edges({
      {"the initial value",
       "fluent float w := 1; action half() { duration := 1; [end] w := w / 2; }; [end] w == 0.5;",
       Solvers::everybody},
      {"a later one",
       "fluent float w := 0.5; fluent integer [0, 5] n := 3;"
       "action take() { duration := 1; [end] w := n; };"
       "action half() { duration := 1; [start] w == 3; [end] w := w / 2; }; [end] w == 1.5;",
       Solvers::everybody},
      {"one that never changes",
       "type Car; instance Car c; fluent float fill(Car x); fluent float w := 0.0; [start] fill(c) := 1;"
       "action half() { duration := fill(c) / 2; [end] w := fill(c) / 2; }; [end] w == 0.5;",
       Solvers::everybody},
  });
}

TEST(EdgeCases, MomentsThatMeetAtTheFixedDurationAreOne) {
  const std::string fluents =
      "fluent boolean p := false; fluent boolean q := true; fluent boolean r := false;";
  const std::vector<std::pair<const char*, std::string>> rows = {
      {"a condition at the end", "action a() { duration := 2; [start + 2] p := true; [end] q; };"},
      {"an effect that reads what another one writes",
       "action a() { duration := 2; [start + 2] q := false; [end] p := q; };"},
      {"the end before a moment from the start",
       "action a() { duration := 2; [end] q; [start + 3] p := true; [start + 3] q; };"},
      {"the start measured from the end",
       "action a() { duration := 2; [start] q := false; [end - 2] q; [end] p := true; };"},
      {"an effect before the start", "action a() { duration := 1/2; [end - 1] p := true; };"},
      {"an effect before the start that something else needs",
       "action a() { duration := 1/2; [start] r; [end - 1] p := true; [end - 1] q; };"
       "action b() { duration := 3; [end] r := true; };"},
  };
  for (const auto& [name, actions] : rows) {
    const std::string text = fluents + actions + "[end] p;";
    expect_edges({{name, text.c_str(), Solvers::forward}});
  }
}

TEST(EdgeCases, DurationsThatTheStateDecides) {
  const std::string fluents =
      "fluent integer [0, 9] n := 2; fluent boolean p := false;"
      "action up() { duration := 1; [start] n <= 8; [end] n := n + 1; };";
  const std::vector<std::pair<const char*, std::string>> rows = {
      {"moments on both sides",
       "action a() { duration := n + 3; [start + 1] n == 3; [end - 1] p := true; };"},
      {"moments that meet", "action a() { duration := n - 1; [start + 1] n == 3; [end - 1] p := true; };"},
      {"an interval that is empty for some durations",
       "action a() { duration := n - 1; [start] n == 3; (start + 1, end - 1) not p; [end] p := true; };"},
      {"the duration on the right", "action a() { 2 <= duration; n + 1 >= duration; [end] p := true; };"},
  };
  for (const auto& [name, action] : rows) {
    const std::string text = fluents + action + "[end] p;";
    expect_edges({{name, text.c_str(), Solvers::forward}});
  }
  expect_edges({{"bounds that no duration keeps",
                 "fluent boolean p := false; action a() { duration :in [5, 2]; [end] p := true; };"
                 "action b() { duration := 1; [end] p := true; }; [end] p;",
                 Solvers::everybody, "No duration keeps the bounds of action 'a'"}});
}

TEST(EdgeCases, ASimulatedEffectWritesWhereItsArgumentsPoint) {
  const auto solve = [](const std::string& heuristic, bool deordering,
                        Node* (*value)(model::ExpressionFactory&)) {
    Environment env;
    env.configuration().set_value("ftp-heuristic", std::vector<std::string>{heuristic});
    env.configuration().set_value("ftp-deordering-plan", deordering);
    const auto problem =
        parse(env,
              "type Place; instance Place l0, l1; fluent Place at; fluent integer [0, 9] f(Place p);"
              "[start] { at := l0; f(l0) := 0; f(l1) := 0; };"
              "action go() { duration := 2; [end] at := l1; }; [end] f(l1) == 5;");
    model::ExpressionFactory& factory = env.expression_factory();
    Node* const at = factory.make_fluent_reference(problem->fluents().at("at"), {});
    const auto effect = std::make_shared<model::SimulatedEffectImpl>();
    effect->timing = factory.make_end_anchor();
    effect->fluents = {factory.make_fluent_reference(problem->fluents().at("f"), {at})};
    effect->function = [&factory, value](const SearchState&, const StateIndex&, const std::vector<Node*>&) {
      return std::vector<Node*>{value(factory)};
    };
    problem->add_action(env.model_factory().make_action(
        "fill", {}, false, {},
        {factory.make_assign(factory.make_duration_anchor(), factory.make_integer_constant(1))}, {effect}));
    tp::ftp::FtpPlanner planner(env, problem);
    planner.set_limits(at_most(1000));
    const auto plan = planner.solve();
    ASSERT_NE(plan, nullptr);
    EXPECT_EQ(plan->size(), 2U);
    expect_valid(env, problem, plan);
  };
  const auto five = [](model::ExpressionFactory& factory) { return factory.make_integer_constant(5); };
  for (const char* heuristic : {"blind", "hadd", "hmax"})
    for (const bool deordering : {false, true}) {
      SCOPED_TRACE(heuristic);
      solve(heuristic, deordering, five);
    }
  const auto wrong = [](model::ExpressionFactory& factory) { return factory.make_boolean_constant(true); };
  EXPECT_EQ(error_of([&] { solve("blind", false, wrong); }),
            "InternalError: A simulated effect gave true for f(at), which is of another type");
}

}  // namespace
}  // namespace zorvel
