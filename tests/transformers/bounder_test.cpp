#include "transformers/bounder.h"

#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {

namespace {

constexpr const char* declarations =
    "type T; type V; instance T a, b, c; instance V u, v; fluent boolean near(T x, T y); fluent T pos(T x);"
    "fluent integer [2, 9] level(T x); fluent float [-5.0, -1.5] depth(T x); fluent boolean p(V w);"
    "fluent boolean free(integer n);"
    "action move(T x, T y, V w, integer [0, 3] k) { duration := 1; [start] near(x, y); [end] pos(x) := y; };"
    "action stay() { duration := 1; [start] pos(a) == b; };";

constexpr const char* smaller = "type W; instance W a, b, u, v, not_there;";

std::shared_ptr<Bounder> bound(Environment& env, const std::string& text, const char* bounding = smaller) {
  const auto bounder =
      std::make_shared<Bounder>(parse(env, std::string(declarations) + text), parse(env, bounding));
  bounder->do_computation();
  for (Node* expression : bounder->new_problem()->expressions()) env.type_checker()(expression);
  return bounder;
}

TEST(Bounder, TakesObjectsOutOfActionsAndGivesTheirFluentsDefaults) {
  Environment env;
  const ProblemPtr problem = bound(env, R"(
      [start] forall (T x, T y) { near(x, y) := true; };
      [start] pos(a) := c; [start] pos(c) := b; [5] pos(c) := a; [start] level(c) := 4; goal [end] pos(a) == b;)")
                                 ->new_problem();
  EXPECT_EQ(statements(problem, "move"),
            (Lines{"(duration := 1)", "[start] near(x, y)", "[end] (pos(x) := y)", "[start] _is_active_T(x)",
                   "[start] _is_active_T(y)", "[start] _is_active_V(w)"}));
  EXPECT_EQ(statements(problem, "stay"), (Lines{"(duration := 1)", "[start] (pos(a) == b)"}));
  EXPECT_EQ(
      statements(*problem),
      (Lines{"[start] (near(a, a) := true)", "[start] (near(a, b) := true)", "[start] (near(b, a) := true)",
             "[start] (near(b, b) := true)", "[start] (near(a, c) := false)", "[start] (near(b, c) := false)",
             "[start] (near(c, a) := false)", "[start] (near(c, b) := false)",
             "[start] (near(c, c) := false)", "[start] (pos(a) := c)", "[start] (pos(c) := a)",
             "[start] (level(c) := 2)", "[start] (depth(c) := -3/2)", "[end] (pos(a) == b)"}));
  const auto value = [&](const char* constant, const char* object) {
    return problem->constants().at(constant)->value()->assignment(
        {env.expression_factory().make_instance_reference(problem->instances().at(object))});
  };
  EXPECT_EQ(to_anml(value("_is_active_T", "b")), "true");
  EXPECT_EQ(to_anml(value("_is_active_T", "c")), "false");
  EXPECT_EQ(to_anml(value("_is_active_V", "u")), "true");
  EXPECT_TRUE(env.warning_manager().warnings().empty());
}

TEST(Bounder, TheSameObjectsChangeNoValue) {
  Environment env;
  const ProblemPtr problem =
      bound(env, "[start] pos(c) := b;", "type W; instance W a, b, c, u, v;")->new_problem();
  EXPECT_EQ(statements(*problem), Lines{"[start] (pos(c) := b)"});
  // Its own names are taken when it runs again.
  Bounder again(problem, parse(env, smaller));
  again.do_computation();
  EXPECT_TRUE(again.new_problem()->constants().contains("_is_active_T_"));
}

TEST(Bounder, KeepsGoalsAboutWhatIsLeftOutAndSaysSo) {
  Environment env;
  EXPECT_TRUE(
      statements(*bound(env, "goal [end] pos(c) == a;")->new_problem()).contains("[end] (pos(c) == a)"));
  EXPECT_EQ(env.warning_manager().warnings(),
            (std::vector<std::string>{
                "The bounding problem leaves out an object that is named in: [end] (pos(c) == a)"}));
}

TEST(Bounder, RefusesWhatHasNoDefault) {
  const std::string unsupported = "UnsupportedProblemError: ";
  const std::pair<const char*, std::string> rows[] = {
      {"fluent set(T) s(T x);", unsupported + "The bounder has no default for the fluent s of type set(T)"},
      {"type E; instance E e; fluent E f(T x);",
       unsupported + "The bounding problem has no object for the fluent f of type E"},
      {"fluent boolean f(T x, integer n);",
       unsupported + "The bounder cannot list the arguments of the fluent f: integer"},
      {"fluent boolean f(T x, integer [0, 3000] n, integer [0, 3000] m);",
       unsupported + "The bounder leaves out too many references to the fluent f"},
      {"type M with { fluent boolean f; };",
       "InternalError: The bounding phase can be only applied to flattened models!"},
  };
  for (const auto& [text, message] : rows) {
    Environment env;
    EXPECT_EQ(error_of([&, &text = text] { bound(env, text); }), message) << text;
  }
}

TEST(Bounder, PlansMapBackAsAWhole) {
  Environment env;
  const auto bounder = bound(env, "");
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(
      rational(2), bounder->new_problem()->actions().at("stay"), std::vector<Node*>{}, rational(1)));
  const auto back = bounder->map_back(std::shared_ptr<Plan>(plan));
  EXPECT_EQ(std::dynamic_pointer_cast<TimeTriggeredPlan>(back)->steps().begin()->second.front()->action,
            bounder->problem()->actions().at("stay"));
  const auto foreign = parse(env, "action other() {};")->actions().at("other");
  plan->add_step(
      std::make_shared<TimeTriggeredStep>(rational(3), foreign, std::vector<Node*>{}, rational(1)));
  EXPECT_EQ(error_of([&] { bounder->map_back(std::shared_ptr<Plan>(plan)); }),
            "InternalError: Found an action that is unknown to the bounder!");
  EXPECT_EQ(error_of([&] { bounder->map_back(ActionStep{}); }), "InternalError: Not supported!");
}

}  // namespace
}  // namespace zorvel::model
