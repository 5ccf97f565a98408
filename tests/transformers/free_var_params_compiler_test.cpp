#include "transformers/free_var_params_compiler.h"

#include "model/constant.h"
#include "model/model_factory.h"
#include "model/walkers/expression_free_vars.h"
#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {

namespace {

constexpr const char* declarations =
    "type T; instance T t, u; fluent integer [0, 3] f(T x); fluent T g(T x); fluent T h; fluent boolean b(T "
    "x); "
    "fluent float w(T x); fluent boolean p; constant T home := t; constant integer n := 2;";

struct Row {
  const char* body;
  std::vector<std::string> new_parameters;  // types
  Lines expected;
};

TEST(FreeVarParamsCompiler, NestedApplicationsBecomeParameters) {
  const std::vector<Row> rows = {
      {"[start] f(g(x)) == 1;", {"T"}, {"[start] (g(x) == _p0)", "[start] (f(_p0) == 1)"}},
      {"[start] f(g(g(x))) == 1;",
       {"T", "T"},
       {"[start] (f(_p0) == 1)", "[start] (g(_p1) == _p0)", "[start] (g(x) == _p1)"}},
      // The value may change between the two moments, so each has a parameter of its own.
      {"[start] b(h); [end] b(h);",
       {"T", "T"},
       {"[start] b(_p0)", "[start] (h == _p0)", "[end] b(_p1)", "[end] (h == _p1)"}},
      {"[start] b(h); [start] f(h) == 2;",
       {"T"},
       {"[start] b(_p0)", "[start] (f(_p0) == 2)", "[start] (h == _p0)"}},
      {"[end] f(h) := f(h) + 1;", {"T"}, {"[end] (f(_p0) := (f(_p0) + 1))", "[end] (h == _p0)"}},
      {"[end] p := not b(g(x));",
       {"boolean", "T"},
       {"[end] (p := (not _p0))", "[end] (b(_p1) == _p0)", "[end] (g(x) == _p1)"}},
      // The target of an assignment is never a value, even where the same application is read.
      {"[end] b(h) := not b(h);",
       {"boolean", "T"},
       {"[end] (b(_p1) := (not _p0))", "[end] (b(_p1) == _p0)", "[end] (h == _p1)"}},
      {"[end] f(h) :+= 1;", {"T"}, {"[end] (f(_p0) :+= 1)", "[end] (h == _p0)"}},
      {"[start, end] b(h);", {"T"}, {"[all] b(_p0)", "[all] (h == _p0)"}},
      {"b(h);", {"T"}, {"b(_p0)", "[start] (h == _p0)"}},
      // Without a finite domain, or without nesting, all stays.
      {"[start] w(g(x)) > 1.0;", {}, {"[start] (w(g(x)) > 1.0)"}},
      {"[start] f(g(x)) > w(x);", {}, {"[start] (f(g(x)) > w(x))"}},
      {"[start] b(x) and f(x) == 1; [end] f(x) := f(x) - 1;",
       {},
       {"[start] (b(x) and (f(x) == 1))", "[end] (f(x) := (f(x) - 1))"}},
      // Constants are read as values, and a timed statement on the duration is a bare one.
      {"[start + n] b(home); [start] duration >= n + 1;", {}, {"[(start + 2)] b(t)", "(duration >= 3)"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.body);
    Environment env;
    const ProblemPtr problem = parse(env, std::string(declarations) + "action a(T x) { " + row.body + " };");
    const ProblemPtr result = transform<FreeVarParamsCompiler>(problem)->new_problem();
    EXPECT_EQ(statements(result, "a"), row.expected);
    const ParameterVector& parameters = result->actions().at("a")->parameters();
    EXPECT_EQ(parameters.front(), problem->actions().at("a")->parameters().front());
    std::vector<std::string> types;
    for (std::size_t place = 1; place < parameters.size(); ++place) {
      EXPECT_EQ(parameters[place]->name(), "_p" + std::to_string(place - 1));
      types.push_back(parameters[place]->type()->reference_name());
    }
    EXPECT_EQ(types, row.new_parameters);
  }
}

TEST(FreeVarParamsCompiler, StatementsOfTheProblemAreSimplified) {
  Environment env;
  const ProblemPtr problem =
      parse(env, std::string(declarations) +
                     "[start] f(home) := 1 + n; [n + 3] p := true; [end] b(home) and true;");
  EXPECT_EQ(statements(*transform<FreeVarParamsCompiler>(problem)->new_problem()),
            (Lines{"[start] (f(t) := 3)", "[5] (p := true)", "[end] b(t)"}));
}

TEST(FreeVarParamsCompiler, NewParametersAreDroppedFromPlans) {
  Environment env;
  const ProblemPtr problem =
      parse(env, std::string(declarations) + "action a(T x, T _p0) { [start] b(g(x)); };");
  const auto compiler = transform<FreeVarParamsCompiler>(problem);
  const auto action = compiler->new_problem()->actions().at("a");
  EXPECT_EQ(statements(*action), (Lines{"[start] b(_p1)", "[start] (g(x) == _p1)"}));
  Node* const t = env.expression_factory().make_instance_reference(problem->instances().at("t"));
  Node* const u = env.expression_factory().make_instance_reference(problem->instances().at("u"));
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(
      std::make_shared<TimeTriggeredStep>(rational(2), action, std::vector{t, u, u}, std::nullopt));
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(compiler->map_back(std::shared_ptr<Plan>(plan)));
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->steps().at(2).front()->action, problem->actions().at("a"));
  EXPECT_EQ(back->steps().at(2).front()->parameters, (std::vector{t, u}));
  EXPECT_EQ(compiler->map_back(ActionStep{nullptr, action, {t, u, u}}).parameters, (std::vector{t, u, u}));
  EXPECT_EQ(error_of([&] { compiler->map_back(std::shared_ptr<Plan>(back)); }),
            "InternalError: Found an action that is unknown to the transformer!");
  EXPECT_EQ(error_of([&] { compiler->map_forward(back); }), "InternalError: Not supported!");
  EXPECT_EQ(error_of([&] { compiler->map_forward(ActionStep{}); }), "InternalError: Not supported!");
}

TEST(FreeVarParamsCompiler, MetricsAndStructuredTypesAreRefused) {
  Environment env;
  const ProblemPtr problem = parse(env, "fluent boolean p;");
  problem->add_metric(std::make_shared<MinimizeMakespan>());
  EXPECT_EQ(error_of([&] { FreeVarParamsCompiler(problem).do_computation(); }),
            "UnsupportedProblemError: The free var params compiler does not support metrics");
  const ProblemPtr nested = parse(env, "type A with { fluent integer c; };");
  EXPECT_EQ(error_of([&] { FreeVarParamsCompiler(nested).do_computation(); }),
            "InternalError: This phase can be only applied to flattened models!");
}

/// A random expression of type T over fluents and the parameter, with so much nesting at most.
std::string random_object(unsigned& seed, int depth) {
  seed = seed * 1103515245u + 12345u;
  const unsigned choice = (seed >> 16) % (depth > 0 ? 4 : 2);
  if (choice == 0) return "x";
  if (choice == 1) return "h";
  return "g(" + random_object(seed, depth - 1) + ")";
}

TEST(FreeVarParamsCompiler, NoNestingIsLeftAndTwoRunsGiveOneText) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    unsigned state = seed;
    std::string body;
    for (const char* interval : {"[start] ", "[end] ", "[start, end] "}) {
      body += interval + ("b(" + random_object(state, 3)) + "); ";
      body += interval + ("f(" + random_object(state, 3)) + ") == f(" + random_object(state, 2) + ") + 1; ";
    }
    body += "[end] f(" + random_object(state, 3) + ") := f(" + random_object(state, 3) + ");";
    body += "[end] b(" + random_object(state, 2) + ") := b(" + random_object(state, 2) + ");";
    const std::string text = std::string(declarations) + "action a(T x) { " + body + " };";
    Environment env, other;
    const ProblemPtr result = transform<FreeVarParamsCompiler>(parse(env, text))->new_problem();
    EXPECT_EQ(text_of(transform<FreeVarParamsCompiler>(parse(other, text))->new_problem()), text_of(result));
    const ExpressionFunApply applications(env);
    for (Node* expression : result->actions().at("a")->expressions())
      for (Node* application : applications(expression))
        EXPECT_EQ(applications(application).size(), 1u) << to_anml(expression);
  }
}

}  // namespace
}  // namespace zorvel::model
