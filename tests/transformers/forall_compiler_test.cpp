#include "transformers/forall_compiler.h"

#include "model/constant.h"
#include "model/model_factory.h"
#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {

namespace {

constexpr const char* declarations =
    "type T; type U < T; type Empty; instance T t1, t2, t3; instance U u; fluent boolean f(T x); fluent "
    "boolean "
    "g(T x, integer [1, 2] k); fluent boolean b(boolean v); fluent boolean p; fluent float z(float [2.0, "
    "2.0] r);";

ProblemPtr compile(Environment& env, const std::string& body) {
  return transform<ForallCompiler>(parse(env, declarations + body))->new_problem();
}

TEST(ForallCompiler, ExpandsOverTheValuesOfEveryKindOfType) {
  const std::vector<std::pair<std::string, Lines>> rows = {
      {"[start] forall (T x) { f(x) := true; };",
       {"[start] (f(t1) := true)", "[start] (f(t2) := true)", "[start] (f(t3) := true)"}},
      {"[start] forall (boolean v) { b(v) := v; };",
       {"[start] (b(false) := false)", "[start] (b(true) := true)"}},
      {"[start] forall (integer [1, 2] k) { g(t1, k) := true; p := true; };",
       {"[start] (g(t1, 1) := true)", "[start] (g(t1, 2) := true)", "[start] (p := true)"}},
      {"[start] forall (float [2.0, 2.0] r) { z(r) := r; };", {"[start] (z(2.0) := 2.0)"}},
      {"[start] forall (Empty x) { p := true; };", {}},
      {"forall (U x) { [start] p := true; [4] p := false; };", {"[start] (p := true)", "[4] (p := false)"}},
      {"[start] forall (U x) { forall (integer [1, 2] k) { g(t2, k) := true; }; };",
       {"[start] (g(t2, 1) := true)", "[start] (g(t2, 2) := true)"}},
      {"forall (boolean v) { [end] forall (integer [1, 2] k) { b(v); g(t3, k); }; };",
       {"[end] b(false)", "[end] b(true)", "[end] g(t3, 1)", "[end] g(t3, 2)"}},
  };
  for (const auto& [text, expected] : rows) {
    Environment env;
    const ProblemPtr problem = compile(env, text);
    EXPECT_EQ(statements(*problem), expected) << text;
    EXPECT_FALSE(problem->has_forall());
  }
}

TEST(ForallCompiler, TheFirstVariableTurnsFastest) {
  Environment env;
  const ProblemPtr problem =
      parse(env, std::string(declarations) + "[start] forall (T x, integer [1, 2] k) { g(x, k) := true; };");
  const std::vector<Node*> expansion = ForallCompiler(problem).expand_forall(*problem->expressions().begin());
  std::vector<std::string> texts;
  for (Node* node : expansion) texts.push_back(to_anml(node->children[1]->children[0]));
  EXPECT_EQ(texts, (std::vector<std::string>{"g(t1, 1)", "g(t2, 1)", "g(t3, 1)", "g(t1, 2)", "g(t2, 2)",
                                             "g(t3, 2)"}));
  Node* const other = env.expression_factory().make_boolean_constant(true);
  EXPECT_EQ(ForallCompiler(problem).expand_forall(other), std::vector<Node*>{other});
}

TEST(ForallCompiler, ActionsKeepNamesParametersAndCosts) {
  Environment env;
  const ProblemPtr problem =
      parse(env, std::string(declarations) +
                     "action a(T x) { duration := 1; [end] forall (boolean v) { b(v) := f(x); }; };");
  const auto action = problem->actions().at("a");
  problem->add_action_cost(action, env.expression_factory().make_integer_constant(7));
  const auto compiler = transform<ForallCompiler>(problem);
  const auto expanded = compiler->new_problem()->actions().at("a");
  EXPECT_EQ(statements(*expanded),
            (Lines{"(duration := 1)", "[end] (b(false) := f(x))", "[end] (b(true) := f(x))"}));
  EXPECT_EQ(expanded->parameters(), action->parameters());
  const auto& costs = static_cast<const MinimizeActionCost&>(*compiler->new_problem()->metrics().front());
  EXPECT_EQ(to_anml(costs.cost(expanded)), "7");

  Node* const t1 = env.expression_factory().make_instance_reference(problem->instances().at("t1"));
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(rational(1, 2), expanded, std::vector{t1}, rational(1)));
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(compiler->map_back(std::shared_ptr<Plan>(plan)));
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->steps().at(rational(1, 2)).front()->action, action);
  EXPECT_EQ(compiler->map_forward(back)->steps().at(rational(1, 2)).front()->action, expanded);
  EXPECT_EQ(error_of([&] { compiler->map_forward(plan); }),
            "InternalError: Found an action that is unknown to the compiler!");
  EXPECT_EQ(error_of([&] { compiler->map_back(std::shared_ptr<Plan>()); }),
            "InternalError: Unknown plan kind to be converted by the transformer");
  EXPECT_EQ(error_of([&] { compiler->map_back(ActionStep{}); }), "InternalError: Not implemented yet!");
  EXPECT_EQ(error_of([&] { compiler->map_forward(ActionStep{}); }), "InternalError: Not implemented yet!");
}

TEST(ForallCompiler, WhatCannotBeExpandedIsNamed) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"[start] forall (T x) { [end] f(x) := true; };",
       "InternalError: The forall expression has a double interval definition: [start] and [end]"},
      {"[start] forall (integer k) { p := true; };", "InternalError: Found an undefined finite-domain type"},
      {"[start] forall (integer [0, 2000000000] k) { p := true; };",
       "UnsupportedProblemError: The type integer [0, 2000000000] has too many values to list them"},
      {"[start] forall (float [0.0, 1.0] k) { p := true; };",
       "InternalError: Found an undefined finite-domain type"},
      {"type V with { fluent boolean v; };",
       "InternalError: The forall compiler can be only applied to flattened models!"},
  };
  for (const auto& [text, expected] : rows) {
    Environment env;
    const ProblemPtr problem = parse(env, declarations + text);
    EXPECT_EQ(error_of([&] { ForallCompiler(problem).do_computation(); }), expected) << text;
  }
}

}  // namespace
}  // namespace zorvel::model
