#include "transformers/temporal_uncertainty_compiler.h"

#include <functional>

#include "model/metric.h"
#include "model/model_factory.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {
namespace {

#define FLUENTS "fluent boolean f; fluent boolean g; fluent boolean h; fluent boolean k; fluent integer n;"
/// Makes g a fluent with a shadow.
#define UNCERTAIN_G "action u() { duration :in [1, 2]; [end] g := true; };"

struct Row {
  const char* name;
  const char* text;
  Lines action;      ///< The statements of the action "a".
  Lines statements;  ///< Those of the problem.
};

void expect_rows(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Environment env;
    const auto compiler = transform<TemporalUncertaintyCompiler>(parse(env, FLUENTS + std::string(row.text)));
    EXPECT_FALSE(compiler->new_problem()->has_temporal_uncertainty());
    EXPECT_EQ(statements(compiler->new_problem(), "a"), row.action);
    EXPECT_EQ(statements(*compiler->new_problem()), row.statements);
  }
}

TEST(TemporalUncertaintyCompiler, AnEffectAtTheEndMayComeAtAnyMomentOfTheUncertainStretch) {
  expect_rows({
      {"the plain case",
       "action a() { duration :in [2, 5]; [end] f := true; };",
       {"(duration := 5)", "[end] (f := true)", "[(start + 2)] (f_sigma := true)",
        "((start + 2), end] (f_sigma == true)"},
       {}},
      {"no choice is left to the world",
       "action a() { duration :in [3, 3]; [end] f := true; };",
       {"(duration := 3)", "[end] (f := true)"},
       {}},
      {"an effect at the start is certain",
       "action a() { duration :in [2, 5]; [start] f := true; };",
       {"(duration := 5)", "[start] (f := true)"},
       {}},
      {"the action may take no time; then it may touch itself",
       "action a() { duration :in [0, 5]; [end] f := true; };",
       {"(duration := 5)", "[end] (f := true)", "[start] (f_sigma := true)", "(all] (f_sigma == true)",
        "[end] (f_sigma := f_sigma)"},
       {}},
      {"the stretch lies as long before the end as the effect",
       "action a() { duration :in [2, 5]; [end - 1] f := true; };",
       {"(duration := 5)", "[(end - 1)] (f := true)", "[(start + 1)] (f_sigma := true)",
        "((start + 1), (end - 1)] (f_sigma == true)"},
       {}},
      {"a value that others may change must not change in the stretch, in neither reading",
       UNCERTAIN_G "action a() { duration :in [2, 5]; [end] n := n; [end] f := g; };",
       {"(duration := 5)", "[end] (f := g)", "[(start + 2)] (f_sigma := g_sigma)",
        "((start + 2), end] (f_sigma == g)", "((start + 2), end] (f_sigma == g_sigma)", "[end] (n := n)",
        "[(start + 2)] (n_sigma := n_sigma)", "((start + 2), end] (n_sigma == n)",
        "[(start + 2)] (n == n_sigma)"},
       {}},
      {"two actions that write one fluent must not write it at one moment",
       "action a() { duration :in [2, 5]; [end] f := true; };"
       "action b() { duration :in [2, 5]; [end] f := false; };",
       {"(duration := 5)", "[end] (f := true)", "[(start + 2)] (f_sigma := true)",
        "((start + 2), end] (f_sigma == true)", "[end] (f_sigma := f_sigma)"},
       {}},
      {"two effects whose stretches touch",
       "action a() { duration :in [2, 3]; [end - 1] f := true; [end] f := false; };",
       {"(duration := 3)", "[(end - 1)] (f := true)", "[(start + 1)] (f_sigma := true)",
        "((start + 1), (end - 1)] (f_sigma == true)", "[end] (f := false)",
        "[(start + 2)] (f_sigma := false)", "((start + 2), end] (f_sigma == false)",
        "[end] (f_sigma := f_sigma)"},
       {}},
      {"an action that writes a fluent twice for one of its durations cannot be used",
       "action a() { duration :in [2, 5]; [start + 3] f := true; [end] f := true; };",
       {"(duration := 5)", "false"},
       {}},
  });
}

TEST(TemporalUncertaintyCompiler, ConditionsAtAnUncertainEndHoldOverTheStretch) {
  expect_rows({
      {"at the end, on a fluent that is certain",
       "action a() { duration :in [2, 5]; [end] f; };",
       {"(duration := 5)", "[(start + 2), end] f"},
       {}},
      {"from before the end, or from the start",
       "action a() { duration :in [2, 5]; (end - 1, end] f; [end - 2] g; [start + 1, end) h; (start, end - "
       "1] k; };",
       {"(duration := 5)", "((start + 1), end] f", "[start, (end - 2)] g", "[(start + 1), end) h",
        "(start, (end - 1)] k"},
       {}},
      {"what the action itself writes afterwards is read as it was",
       "action a() { duration :in [2, 5]; [start, end] f; [end] f; [end] f := false; };",
       {"(duration := 5)", "[end] (f := false)", "[(start + 2)] (f_sigma := false)",
        "((start + 2), end] (f_sigma == false)", "[(start + 2)] (f == f_sigma)", "[all] f",
        "[start, (start + 2)] f_sigma", "[(start + 2), end] f", "[(start + 2)] f_sigma"},
       {}},
      {"an open interval has no part before the stretch",
       "action a() { duration :in [2, 5]; (end, end) f; (end - 1, end) f; [end - 1] f := false; };",
       {"(duration := 5)", "[(end - 1)] (f := false)", "[(start + 1)] (f_sigma := false)",
        "((start + 1), (end - 1)] (f_sigma == false)", "((start + 1), end) f", "((start + 1), end) f_sigma"},
       {}},
      {"a condition that is over before the stretch begins needs no care",
       "action a() { duration :in [4, 5]; [start, end - 3] f; [end] f := false; };",
       {"(duration := 5)", "[end] (f := false)", "[(start + 4)] (f_sigma := false)",
        "((start + 4), end] (f_sigma == false)", "[(start + 4)] (f == f_sigma)", "[start, (end - 3)] f",
        "[start, (end - 3)] f_sigma"},
       {}},
  });
}

TEST(TemporalUncertaintyCompiler, OtherStatementsSpeakOfTheFluentAndItsShadow) {
  const auto end_of_g = [](const char* more) { return UNCERTAIN_G + std::string(more); };
  const std::string initial = end_of_g("action a() {}; [start] g := true; [end] g; [end] f and (not g);");
  const std::string disjunction = end_of_g("action a() { [start] (g or (f and (not g))); [end] g := f; };");
  const std::string passed_on = end_of_g(
      "action v() { duration :in [1, 2]; [end] h := true; };"
      "action a() { [end] h := g; [start] k := not g; [start + 1] h := (g and h); };");
  const std::string moments = end_of_g("action a() {}; [1, 2] contains l: (g and f); [1, 2] contains f;");
  const std::string duration = end_of_g("action a() { duration := 3; [5] g := k; }; [5] g := false; g;");
  expect_rows({
      {"an initial value goes to both, a goal holds for both",
       initial.c_str(),
       {},
       {"[start] (g := true)", "[start] (g_sigma := true)", "[end] g", "[end] g_sigma", "[end] f",
        "[end] (not g)", "[end] (not g_sigma)"}},
      {"conditions and effects of certain actions",
       disjunction.c_str(),
       {"[start] (g or (f and (not g)))", "[start] (g_sigma or (f and (not g_sigma)))", "[end] (g := f)",
        "[end] (g_sigma := f)"},
       {}},
      {"a value that is passed on is uncertain too, where there is a shadow",
       passed_on.c_str(),
       {"[end] (h := g)", "[end] (h_sigma := g_sigma)", "[start] (k := (not g))", "[start] (g == g_sigma)",
        "[(start + 1)] (h := (g and h))", "[(start + 1)] (h_sigma := (g_sigma and h_sigma))",
        "[(start + 1)] ((g == g_sigma) or (h == h_sigma))"},
       {}},
      {"a contains holds for both at one moment",
       moments.c_str(),
       {},
       {"[1, 2] contains l: ((g and f) and (g_sigma and f))", "[1, 2] contains f"}},
      {"timed effects and bare conditions",
       duration.c_str(),
       {"(duration := 3)", "[5] (g := k)", "[5] (g_sigma := k)"},
       {"[5] (g := false)", "[5] (g_sigma := false)", "g", "g_sigma"}},
  });
}

TEST(TemporalUncertaintyCompiler, ParametersAndNamesAreKept) {
  Environment env;
  const ProblemPtr problem = parse(env, R"(
    type T; instance T t, f_sigma0; constant integer low(T x); low(*) := 2; constant integer high := 2 + 5;
    fluent boolean f(T x); fluent boolean f_sigma; fluent T at;
    action a(T x, T y) { duration :in [low(x), high]; [start] f(y); [end] f(x) := true; [end] at := y; };
    [3, end] contains first: f(t); [3, end] contains second: f(t); start(first) < start(second);)");
  const auto compiler = transform<TemporalUncertaintyCompiler>(problem);
  const ProblemPtr result = compiler->new_problem();
  // An instance has the name that would be next.
  EXPECT_EQ(
      statements(result, "a"),
      (Lines{"(duration := 7)", "[start] f(y)", "[start] f_sigma1(y)", "[end] (f(x) := true)",
             "[(start + low(x))] (f_sigma1(x) := true)", "((start + low(x)), end] (f_sigma1(x) == true)",
             "[end] (f_sigma1(x) := f_sigma1(x))", "[end] (at := y)", "[(start + low(x))] (at_sigma := y)",
             "((start + low(x)), end] (at_sigma == y)", "[end] (at_sigma := at_sigma)"}));
  ASSERT_EQ(result->labels_ordering().size(), 1U);
  EXPECT_EQ(to_anml(result->labels_ordering().begin()->first),
            "[3, end] contains first: (f(t) and f_sigma1(t))");
  EXPECT_EQ(to_anml(result->labels_ordering().begin()->second),
            "[3, end] contains second: (f(t) and f_sigma1(t))");
}

TEST(TemporalUncertaintyCompiler, PlansKeepTheirTimesOnTheWayForthAndBack) {
  Environment env;
  ExpressionFactory& factory = env.expression_factory();
  const ProblemPtr problem =
      parse(env, "fluent boolean f; fluent boolean g; action a() { duration :in [2, 5]; [end] f := true; };");
  const auto compiler = transform<TemporalUncertaintyCompiler>(problem);
  const ProblemPtr result = compiler->new_problem();
  const auto reference = [&](const char* name) {
    return factory.make_fluent_reference(result->fluents().at(name), {});
  };

  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(rational(3), problem->actions().at("a"),
                                                     std::vector<Node*>(), rational(5)));
  const auto forward = compiler->map_forward(plan);
  EXPECT_EQ(forward->steps().at(3).front()->action, result->actions().at("a"));
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(compiler->map_back(std::shared_ptr<Plan>(forward)));
  std::ostringstream expected, found;
  plan->print_exact(expected);
  back->print_exact(found);
  EXPECT_EQ(found.str(), expected.str());

  const auto partial = std::make_shared<POTPlan>(env);
  Node* const mixed = factory.make_and(
      {reference("f"), factory.make_not(reference("f_sigma")), factory.make_not(reference("g"))});
  const auto first = partial->add_step(0, result->actions().at("a"), {}, rational(5), mixed);
  const auto second = partial->add_step(0, result->actions().at("a"), {}, rational(5), reference("g"));
  partial->add_precedence(first, second);
  const auto mapped = std::dynamic_pointer_cast<POTPlan>(compiler->map_back(std::shared_ptr<Plan>(partial)));
  EXPECT_EQ(mapped->steps()[0]->action, problem->actions().at("a"));
  EXPECT_EQ(to_anml(mapped->steps()[0]->post_condition), "(f and (not g))");
  EXPECT_EQ(mapped->steps()[1]->post_condition, reference("g"));
  EXPECT_EQ(mapped->predecessors(mapped->steps()[1]).size(), 1U);

  EXPECT_EQ(error_of([&] { compiler->map_back(std::shared_ptr<Plan>(plan)); }),
            "InternalError: Found an action that is unknown to the temporal uncertainty compiler!");
  EXPECT_EQ(error_of([&] { compiler->map_forward(forward); }),
            "InternalError: Found an action that is unknown to the compiler!");
  EXPECT_EQ(error_of([&] { compiler->map_back(std::shared_ptr<Plan>()); }),
            "InternalError: Unknown plan kind to be converted by the temporal uncertainty compiler!");
}

TEST(TemporalUncertaintyCompiler, CostsAreCarriedOver) {
  Environment env;
  const ProblemPtr plain =
      parse(env, "fluent boolean f; action a() { duration :in [2, 5]; [end] f := true; }; action b() {};");
  const auto with_costs = [&](const std::vector<std::string>& actions) {
    auto costs = std::make_shared<MinimizeActionCost>();
    for (const std::string& name : actions)
      costs->add_cost(plain->actions().at(name), env.expression_factory().make_integer_constant(7));
    return env.model_factory().make_problem_instance(
        {plain->actions().at("a"), plain->actions().at("b")}, {plain->fluents().at("f")}, {}, {}, {},
        {plain->expressions().begin(), plain->expressions().end()}, {}, {costs});
  };
  const auto compiler = transform<TemporalUncertaintyCompiler>(with_costs({"a", "b"}));
  const auto costs = std::static_pointer_cast<MinimizeActionCost>(compiler->new_problem()->metrics().front());
  EXPECT_EQ(to_anml(costs->cost(compiler->new_problem()->actions().at("a"))), "7");
  EXPECT_EQ(error_of([&] { TemporalUncertaintyCompiler(with_costs({"a"})).do_computation(); }),
            "InternalError: The following action does not have a cost: b");
}

TEST(TemporalUncertaintyCompiler, RefusesWhatHasNoMeaningOrNoSafeForm) {
  const struct {
    const char* text;
    const char* error;
  } cases[] = {
      {"type T with { fluent boolean q; };",
       "InternalError: The compile away uncertainty phase can be only applied to flattened models!"},
      {"action a() { duration :in [2, 5]; [end] n :+= 1; };",
       "UnsupportedProblemError: The temporal uncertainty compiler cannot be applied to problems with "
       "increases and "
       "decreases!"},
      {"action a() { duration :in [2, n]; [end] f := true; }; action b() { [end] n := 3; }; [start] n := 4;",
       "UnsupportedProblemError: Action 'a' has an uncertain duration, with a bound that reads a fluent and "
       "not only "
       "constants: n"},
      {"action a() { duration :in [2, 5]; duration >= 3; };",
       "UnsupportedProblemError: Action 'a' has an uncertain duration, and speaks of it a second time: "
       "(duration >= "
       "3)"},
      {"fluent float x; action a() { duration :in [2, 5]; [end] x := duration; };",
       "UnsupportedProblemError: Action 'a' has an uncertain duration, and speaks of it a second time: [end] "
       "(x := "
       "duration)"},
      {"action a() { duration :in [2, 5]; [end - 3] f := true; };",
       "UnsupportedProblemError: Action 'a' has an uncertain duration, and may end so soon that this lies "
       "before its "
       "start: (end - 3)"},
      {"action a() { duration :in [2, 5]; [start, end] contains f; };",
       "UnsupportedProblemError: Action 'a' has an uncertain duration, and cannot promise that something "
       "holds at some "
       "moment before its end: [all] contains f"},
      {"fluent boolean p(integer [0, 9] i); action a() { duration :in [2, 5]; [end] p(n) := true; };",
       "UnsupportedProblemError: Action 'a' has an uncertain duration, and what it writes at its end depends "
       "on a "
       "fluent: [end] (p(n) := true)"},
      {"action a() { duration :in [2, 5]; [start, end] f := true; };",
       "InternalError: Found an effect over a non-punctual interval"},
      {"type T; fluent boolean p(T t); action a() { duration :in [2, 5]; [end] forall (T t) { p(t) := true; "
       "}; };",
       "InternalError: Found an an assignemnt with no fluent on the LHS"},
      {"type T; fluent boolean p(T t); action a() { duration :in [2, 5]; [end] f := true; };"
       "action b() { [end] forall (T t) { p(t) := f; }; };",
       "UnsupportedProblemError: Cannot tell the values of a forall that assigns apart: forall (T t ) {(p(t) "
       ":= f);}"},
  };
  for (const auto& test : cases) {
    Environment env;
    const ProblemPtr problem = parse(env, FLUENTS + std::string(test.text));
    EXPECT_EQ(error_of([&] { TemporalUncertaintyCompiler(problem).do_computation(); }), test.error);
  }

  // A fluent that never changes is as good as a constant.
  Environment env;
  const auto compiler = transform<TemporalUncertaintyCompiler>(
      parse(env, FLUENTS "action a() { duration :in [n, n + 1]; [end] f := true; }; [start] n := 4;"));
  EXPECT_EQ(statements(compiler->new_problem(), "a").count("(duration := 5)"), 1U);

  const ProblemPtr simulated = env.model_factory().make_problem_instance(
      {env.model_factory().make_action("a", {}, false, {}, {},
                                       {std::make_shared<SimulatedEffectImpl>(SimulatedEffectImpl{
                                           env.expression_factory().make_end_anchor(), {}, {}})})},
      {}, {}, {}, {}, {}, {}, {});
  EXPECT_EQ(error_of([&] { TemporalUncertaintyCompiler(simulated).do_computation(); }),
            "UnsupportedProblemError: Temporal uncertainty compiler cannot be applied to problem with "
            "simulated effects");
}

/// The disjunction of p0 to p(count - 1), its references, and shadows for them.
struct Disjunction {
  Disjunction(Environment& env, int count) {
    ExpressionFactory& factory = env.expression_factory();
    const auto reference = [&](const std::string& name) {
      fluents.push_back(
          env.model_factory().make_fluent(name, env.model_factory().make_boolean_type(), {}, {}));
      return factory.make_fluent_reference(fluents.back(), {});
    };
    std::vector<Node*> operands;
    for (int i = 0; i < count; ++i) {
      operands.push_back(reference("p" + std::to_string(i)));
      shadows.emplace(operands.back(), reference("s" + std::to_string(i)));
    }
    node = factory.make_or(operands);
  }
  std::vector<std::shared_ptr<FluentImpl>> fluents;
  NodeMap shadows;
  Node* node;
};

TEST(ExpandCondition, GivesEveryReadingOnce) {
  Environment env;
  const Disjunction two(env, 2);
  Lines readings;
  for (Node* reading : expand_condition(env, two.node, two.shadows)) readings.insert(to_anml(reading));
  EXPECT_EQ(readings, (Lines{"(p0 or p1)", "(s0 or p1)", "(p0 or s1)", "(s0 or s1)"}));
  EXPECT_EQ(expand_condition(env, two.node, {}), std::vector{two.node});

  const ProblemPtr problem = parse(env, R"(
    type T; fluent boolean p(T t); fluent boolean s(T t); fluent T at; fluent T shade;
    [start] p(at); [start] at == shade; [start] s(shade);)");
  ExpressionFactory& factory = env.expression_factory();
  const auto reference = [&](const char* name, const std::vector<Node*>& arguments) {
    return factory.make_fluent_reference(problem->fluents().at(name), arguments);
  };
  Node* const at = reference("at", {});
  Node* const nested = reference("p", {at});
  readings.clear();
  for (Node* reading :
       expand_condition(env, nested, {{nested, reference("s", {at})}, {at, reference("shade", {})}}))
    readings.insert(to_anml(reading));
  EXPECT_EQ(readings, (Lines{"p(at)", "s(at)", "p(shade)", "s(shade)"}));
}

TEST(ExpandCondition, RefusesToGrowBeyondAMillion) {
  Environment env;
  const Disjunction small(env, 10);
  EXPECT_EQ(expand_condition(env, small.node, small.shadows).size(), 1024U);
  const Disjunction large(env, 60);
  const std::string error = error_of([&] { expand_condition(env, large.node, large.shadows); });
  EXPECT_EQ(error.find("UnsupportedProblemError: The condition (p0 or p1 or p2"), 0U) << error;
  EXPECT_NE(error.find("p59) can be read in more than 1000000 ways, for it has 60 references"),
            std::string::npos)
      << error;
  // A conjunction of as many takes two readings each.
  std::string text = "action a() { duration :in [1, 2]; [end] f := true;";
  std::string goal = "true";
  std::string fluents = "fluent boolean f;";
  for (int i = 0; i < 60; ++i) {
    const std::string name = "q" + std::to_string(i);
    fluents += "fluent boolean " + name + ";";
    text += "[end] " + name + " := true;";
    goal += " and " + name;
  }
  const auto compiler =
      transform<TemporalUncertaintyCompiler>(parse(env, fluents + text + "}; [end] " + goal + ";"));
  EXPECT_EQ(compiler->new_problem()->expressions().size(), 121U);
}

}  // namespace
}  // namespace zorvel::model
