#include "transformers/user_type_fluents_compiler.h"

#include "model/model_factory.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {

namespace {

constexpr const char* declarations =
    "type T; type U; instance T a, b, c; instance U u; fluent T pos; fluent T other; fluent T at(T ut);"
    "fluent boolean p; fluent integer [0, 9] x; fluent boolean q(T k); constant T home := b;";

TEST(UserTypeFluentsCompiler, RewritesStatementsObjectByObject) {
  const Lines pos_is_b{"[3] (pos(a) := false)", "[3] (pos(b) := true)", "[3] (pos(c) := false)"};
  const std::string is_b = "((pos(a) == false) and (pos(b) == true) and (pos(c) == false))";
  struct Row {
    const char* text;
    Lines expected;
  };
  const Row rows[] = {
      {"[3] pos := b;", pos_is_b},
      {"[3] pos := home;", pos_is_b},
      {"pos := b;", {"(pos(a) := false)", "(pos(b) := true)", "(pos(c) := false)"}},
      {"[start] at(home) := a;",
       {"[start] (at(b, a) := true)", "[start] (at(b, b) := false)", "[start] (at(b, c) := false)"}},
      {"goal [end] pos == b;", {"[end] " + is_b}},
      {"goal [end] home == pos;", {"[end] " + is_b}},
      {"goal [end] p and (q(a) or pos == b);", {"[end] (p and (q(a) or " + is_b + "))"}},
      // One object is enough where the others would multiply the clauses.
      {"goal [end] not (pos == b);", {"[end] (not (pos(b) == true))"}},
      {"goal [end] pos == b implies pos == b;", {"[end] ((pos(b) == true) implies " + is_b + ")"}},
      {"goal [end] p == (pos == b);", {"[end] (p == (pos(b) == true))"}},
      {"goal [end] pos == at(c);",
       {"[end] ((pos(a) and at(c, a)) or (pos(b) and at(c, b)) or (pos(c) and at(c, c)))"}},
      {"[3] p := pos == b;", {"[3] (p := " + is_b + ")"}},
      {"[start, end] x == 3;", {"[all] (x == 3)"}},
      {"[3] q(home) := true;", {"[3] (q(b) := true)"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Environment env;
    const auto compiler =
        transform<UserTypeFluentsCompiler>(parse(env, std::string(declarations) + row.text));
    EXPECT_EQ(statements(*compiler->new_problem()), row.expected);
    EXPECT_FALSE(UserTypeFluentsCompiler::is_needed(*compiler->new_problem()));
    EXPECT_EQ(compiler->new_problem()->fluents().at("at")->parameters().back()->name(), "ut_");
  }
}

TEST(UserTypeFluentsCompiler, RefusesWhatItCannotExpress) {
  const std::string constant_parameters =
      "InternalError: The UserTypeFluentsSubstituter works only with fluents with constant parameters! "
      "'forall-compiler', 'free-var-params-compiler' and 'action-grounder' come first: ";
  const std::string elsewhere =
      "UnsupportedProblemError: A fluent whose values are objects can only be assigned to, or compared with "
      "an object or another such fluent: ";
  const std::pair<const char*, std::string> rows[] = {
      {"[3] pos := other;",
       "InternalError: The UserTypeFluentsSubstituter supports only constant value as right-value "
       "assignment! (pos := other)"},
      {"goal [end] forall (T o) { at(o) == a; };", constant_parameters + "at(o)"},
      {"goal [end] q(pos);", constant_parameters + "q(pos)"},
      {"goal [end] pos in {a, b};", elsewhere + "pos"},
      {"action go(T o) { [end] p := true; };",
       "UnsupportedProblemError: UserTypeFluentsCompiler transformer only works with ground actions! go"},
      {"type V with { fluent T v; };",
       "UnsupportedProblemError: The usertype fluents compiler can be only applied to flattened models!"},
      {"type S < T; instance S s; [3] pos := s;",
       "UnsupportedProblemError: Fluents over types below types cannot be taken out; "
       "'type-hierarchy-compiler' comes first: (pos := s)"},
  };
  for (const auto& [text, message] : rows) {
    Environment env;
    EXPECT_EQ(error_of([&, &text = text] {
                UserTypeFluentsCompiler(parse(env, std::string(declarations) + text)).do_computation();
              }),
              message)
        << text;
  }
}

TEST(UserTypeFluentsCompiler, PlansMapBackWithWhatTheyPromise) {
  Environment env;
  const ProblemPtr problem = parse(
      env, std::string(declarations) + "action go() { duration := 2; [start] pos == a; [end] pos := b; };");
  const auto compiler = transform<UserTypeFluentsCompiler>(problem);
  const ProblemPtr compiled = compiler->new_problem();
  EXPECT_EQ(
      statements(compiled, "go"),
      (Lines{"(duration := 2)", "[start] ((pos(a) == true) and (pos(b) == false) and (pos(c) == false))",
             "[end] (pos(a) := false)", "[end] (pos(b) := true)", "[end] (pos(c) := false)"}));
  ExpressionFactory& f = env.expression_factory();
  Node* const b = f.make_instance_reference(problem->instances().at("b"));
  const auto go = compiled->actions().at("go");
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(
      rational(1), go, std::vector<Node*>{}, rational(2),
      f.make_fluent_reference(compiled->fluents().at("pos"), {b}), nullptr));
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(compiler->map_back(std::shared_ptr<Plan>(plan)));
  ASSERT_NE(back, nullptr);
  const auto& step = back->steps().begin()->second.front();
  EXPECT_EQ(step->action, problem->actions().at("go"));
  EXPECT_EQ(to_anml(step->post_condition), "(pos == b)");
  EXPECT_EQ(error_of([&] { compiler->map_back(std::shared_ptr<Plan>(back)); }),
            "InternalError: Found an action that is unknown to the usertype fluents compiler!");
  EXPECT_EQ(error_of([&] { compiler->map_forward(back); }), "InternalError: Not supported!");
}

}  // namespace
}  // namespace zorvel::model
