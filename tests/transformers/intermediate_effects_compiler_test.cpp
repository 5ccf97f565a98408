#include "transformers/intermediate_effects_compiler.h"

#include "model/walkers/expression_parts.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {

namespace {

constexpr const char* declarations =
    "fluent boolean p; fluent boolean x; fluent boolean y; fluent integer [0, 9] n; fluent integer [0, 9] d;"
    "fluent float r; fluent boolean q(boolean k); constant integer size(boolean k); size(true) := 10; "
    "size(false) := 6;"
    "[start] d := 8; goal [end] x;";

std::shared_ptr<IntermediateEffectsCompiler> compile(const ProblemPtr& problem) {
  const auto compiler = std::make_shared<IntermediateEffectsCompiler>(problem, rational(1, 100));
  compiler->do_computation();
  Environment& env = problem->env();
  for (Node* expression : compiler->new_problem()->expressions()) env.type_checker()(expression);
  for (const auto& [name, action] : compiler->new_problem()->actions())
    for (Node* expression : action->expressions()) env.type_checker()(expression);
  EXPECT_FALSE(IntermediateEffectsCompiler::is_needed(*compiler->new_problem()));
  return compiler;
}

/// The statements of an action without those on the joints.
Lines own_statements(const ProblemPtr& problem, const std::string& name) {
  Lines result;
  for (const std::string& line : statements(problem, name))
    if (line.find(" f_") == std::string::npos && line.find("(f_") == std::string::npos) result.insert(line);
  return result;
}

TEST(IntermediateEffectsCompiler, CutsAnActionAndClipsItTogether) {
  Environment env;
  const ProblemPtr result =
      compile(
          parse(env, std::string(declarations) +
                         "action a() { duration := 10; [start + 3] x := true; [start] p; [end] y := true; };"
                         "action b() { duration := 1; [start] p; }; action a_c() { duration := 2; };"))
          ->new_problem();
  EXPECT_EQ(action_names(result), (std::vector<std::string>{"a_c", "a_c0", "a_e", "a_s", "b"}));
  EXPECT_EQ(statements(result, "a_s"),
            (Lines{"(duration := 3)", "[start] p", "[end] (f_s := true)", "[end] f_c"}));
  EXPECT_EQ(statements(result, "a_c0"),
            (Lines{"(duration := 1/50)", "[start] (f_c := true)", "[end] (f_s := false)",
                   "[end] (f_c := false)", "[end] (f_e := false)", "(all) f_c", "[end] (f_s and f_e)"}));
  EXPECT_EQ(statements(result, "a_e"), (Lines{"(duration := 7)", "[start] (f_e := true)", "[start] f_c",
                                              "[start] (x := true)", "[end] (y := true)"}));
  EXPECT_EQ(statements(*result), (Lines{"[start] (f_s := false)", "[start] (f_c := false)",
                                        "[start] (f_e := false)", "[start] (d := 8)", "[end] x"}));
}

TEST(IntermediateEffectsCompiler, SharesOutWhatAnActionSays) {
  struct Row {
    const char* body;
    std::vector<Lines> pieces;
  };
  const Row rows[] = {
      {"duration := 10; [start + 3, start + 7] p;",
       {{"(duration := 3)"}, {"(duration := 4)", "[all] p"}, {"(duration := 3)"}}},
      {"duration := 10; (start + 3, end - 3) p;",
       {{"(duration := 3)"}, {"(duration := 4)", "(all) p"}, {"(duration := 3)"}}},
      // Inside of a joint an open interval goes on.
      {"duration := 10; (start, end] p; [start + 4] x := true;",
       {{"(duration := 4)", "(all] p"}, {"(duration := 6)", "[all] p", "[start] (x := true)"}}},
      {"duration := 10; [start, start + 4) p; [start + 4] p;",
       {{"(duration := 4)", "[all) p", "[end] p"}, {"(duration := 6)", "[start] p"}}},
      // Bounds on the duration are those of the last piece, and effects are written once.
      {"duration >= 5; 9 > duration; [start + 3] n :+= 1; [end] y := true;",
       {{"(duration := 3)"},
        {"(duration >= 2)", "(duration < 6)", "[start] (n := (n + 1))", "[end] (y := true)"}}},
      {"duration == size(true); [end - 4] x := true;",
       {{"(duration := 6)"}, {"(duration := 4)", "[start] (x := true)"}}},
      {"duration := 8; [start + duration / 4] x := true;",
       {{"(duration := 2)"}, {"(duration := 6)", "[start] (x := true)"}}},
      {"duration := d; [end - 6] x := true; [start] r := duration;",
       {{"(duration := 2)", "[start] (r := 8)"}, {"(duration := 6)", "[start] (x := true)"}}},
      // Moments at the ends under other names, and stretches without a moment.
      {"duration := 5; [start + 0] p; [end - 0] x := true; [start + 5] y := true; [2] p; (start + 2, start + "
       "2] y;",
       {{"(duration := 2)", "[start] p", "[end] p"},
        {"(duration := 3)", "[start] p", "[end] (x := true)", "[end] (y := true)"}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.body);
    Environment env;
    const ProblemPtr result =
        compile(parse(env, std::string(declarations) + "action a() { " + row.body + " };"))->new_problem();
    for (std::size_t i = 0; i < row.pieces.size(); ++i) {
      // The names of later pieces and clips are counted together.
      const std::string name = i == 0 ? "a_s" : i == 1 ? "a_e" : "a_e" + std::to_string(2 * i - 3);
      EXPECT_EQ(own_statements(result, name), row.pieces[i]) << name;
    }
  }
}

TEST(IntermediateEffectsCompiler, ActionsWithParametersHaveFluentsWithThem) {
  Environment env;
  const ProblemPtr result =
      compile(parse(env, std::string(declarations) +
                             "action a(boolean k) { duration := size(k); [start + 3] q(k) := true; };"))
          ->new_problem();
  EXPECT_EQ(own_statements(result, "a_e"), (Lines{"(duration := (size(k) - 3))", "[start] (q(k) := true)"}));
  EXPECT_TRUE(statements(result, "a_s").contains("[end] (f_s(k) := true)"));
  EXPECT_TRUE(result->has_forall());
  EXPECT_EQ(result->expressions().size(), 3U);
}

TEST(IntermediateEffectsCompiler, RefusesWhatItCannotCut) {
  const std::string needs = "UnsupportedProblemError: The intermediate effects compiler needs ";
  const std::string outside = "UnsupportedProblemError: A moment lies outside of its action: ";
  const std::string cannot = "UnsupportedProblemError: The intermediate effects compiler cannot cut a ";
  const std::pair<const char*, std::string> rows[] = {
      {"duration :in [5, 6]; [start + 3] x := true;",
       needs + "durations that are not uncertain: a, (duration :in [5, 6])"},
      {"duration := n; [start + 3] x := true; [end] n := 2;",
       needs + "durations that read no fluent that changes: a, (duration := n)"},
      {"duration >= 4; [start + 3] x := true; [end] r := duration;",
       needs + "one duration where it is read: a, [end] (r := duration)"},
      {"duration >= 4; [end - 3] x := true;",
       "UnsupportedProblemError: The value of the point interval of an intermediate effect must be a "
       "constant! "
       "a, [(end - 3)] (x := true)"},
      {"duration >= 4; [end - 3, end] x;",
       "UnsupportedProblemError: The value of the bounds interval of an intermediate condition must be a "
       "constant! a, [(end - 3), end] x"},
      {"duration := 4; [start + 3] x := true; duration == 5;",
       "UnsupportedProblemError: Found two different duration assignments for the same action! a, (duration "
       "== "
       "5)"},
      {"duration := 4; [start + 5] x := true;", outside + "a, [(start + 5)] (x := true)"},
      {"duration := 4; [end - 5] x;", outside + "a, [(end - 5)] x"},
      {"duration >= 2; [start + 3] x := true;",
       "UnsupportedProblemError: A moment may lie outside of its action: a may end before 3 after its start"},
      {"duration := 4; [start + 3, start + 1] x;",
       "UnsupportedProblemError: An interval ends before it begins: a, [(start + 3), (start + 1)] x"},
      {"duration := 4; [start, start + 3] contains x;", cannot + "'contains' in an action: a, "},
      {"duration := 4; [start + 3] forall (boolean k) { q(k) := true; };",
       cannot + "'forall' in an action: a, "},
  };
  for (const auto& [body, message] : rows) {
    Environment env;
    const std::string text = std::string(declarations) + "action a() { " + body + " };";
    const std::string error = error_of([&] { compile(parse(env, text)); });
    EXPECT_EQ(error.substr(0, message.size()), message) << body;
  }
}

class ChainTest : public testing::Test {
 protected:
  explicit ChainTest()
      : problem_(
            parse(env_, std::string(declarations) +
                            "action a(boolean k) { duration >= 5; duration <= 9; [start + 3] x := true; };"
                            "action b() { duration := 6; [start + 2] x := true; [start + 4] p; };")),
        compiler_(compile(problem_)) {}

  std::shared_ptr<TimeTriggeredStep> step(const rational& start, const char* name,
                                          const std::vector<Node*>& parameters,
                                          const rational& duration) const {
    return std::make_shared<TimeTriggeredStep>(start, compiler_->new_problem()->actions().at(name),
                                               parameters, duration, nullptr, nullptr);
  }

  Environment env_;
  ProblemPtr problem_;
  std::shared_ptr<IntermediateEffectsCompiler> compiler_;
};

TEST_F(ChainTest, OneOccurrenceComesBackAsOneStep) {
  const std::vector<Node*> yes{env_.expression_factory().make_boolean_constant(true)};
  const std::vector<Node*> no{env_.expression_factory().make_boolean_constant(false)};
  const auto plan = std::make_shared<TimeTriggeredPlan>(env_);
  const rational clip(1, 50);
  for (const auto& added :
       {step(0, "a_s", yes, 3), step(rational(299, 100), "a_c", yes, clip), step(3, "a_e", yes, 6),
        step(1, "a_s", no, 3), step(rational(399, 100), "a_c", no, clip), step(4, "a_e", no, 2),
        // Two occurrences with the same parameters overlap; each takes the piece at its own joint.
        step(5, "a_s", yes, 3), step(8, "a_e", yes, 4), step(0, "b_s", {}, 2), step(2, "b_e", {}, 2),
        step(4, "b_e1", {}, 2)})
    plan->add_step(added);
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(compiler_->map_back(std::shared_ptr<Plan>(plan)));
  ASSERT_NE(back, nullptr);
  std::ostringstream text;
  back->print_exact(text);
  EXPECT_EQ(text.str(), "0: a(true) [9]\n0: b() [6]\n1: a(false) [5]\n5: a(true) [7]\n");
}

TEST_F(ChainTest, PrecedencesPassThroughWhatIsLeftOut) {
  const auto plan = std::make_shared<POTPlan>(env_);
  const auto add = [&](const char* name) {
    return plan->add_step(rational(1), compiler_->new_problem()->actions().at(name), {}, rational(2));
  };
  const auto first = add("b_s"), clip = add("b_c"), later = add("b_e"), next = add("b_s");
  plan->add_precedence(first, clip);
  plan->add_precedence(clip, later);
  plan->add_precedence(later, next);
  const auto back = std::dynamic_pointer_cast<POTPlan>(compiler_->map_back(std::shared_ptr<Plan>(plan)));
  ASSERT_NE(back, nullptr);
  ASSERT_EQ(back->size(), 2U);
  for (const auto& step : back->steps()) EXPECT_EQ(step->optional_duration(), rational(6));
  EXPECT_EQ(back->predecessors(*std::next(back->steps().begin())).size(), 1U);

  const auto unknown = std::make_shared<POTPlan>(env_);
  unknown->add_step(rational(1), problem_->actions().at("b"), {}, rational(6));
  EXPECT_EQ(error_of([&] { compiler_->map_back(std::shared_ptr<Plan>(unknown)); }),
            "InternalError: Found an action that is unknown to the intermediate effects compiler!");
  const auto open = std::make_shared<POTPlan>(env_);
  open->add_step(rational(1), compiler_->new_problem()->actions().at("a_s"),
                 {env_.expression_factory().make_boolean_constant(true)}, rational(3));
  EXPECT_EQ(error_of([&] { compiler_->map_back(std::shared_ptr<Plan>(open)); }),
            "InternalError: Found a duration assignment forbidden: (duration >= 5)");
}

TEST(IntermediateEffectsCompiler, MutualExclusionLeavesAConditionToTheLaterPiece) {
  Environment env;
  const ProblemPtr result =
      compile(parse(env, std::string(declarations) +
                             "action a() { duration := 5; [start + 3] not x; [start + 3] x := true; };"
                             ":: (\"mutual-exclusion\");"))
          ->new_problem();
  EXPECT_EQ(own_statements(result, "a_s"), Lines{"(duration := 3)"});
  EXPECT_EQ(own_statements(result, "a_e"),
            (Lines{"(duration := 2)", "[start] (not x)", "[start] (x := true)"}));
}

}  // namespace
}  // namespace zorvel::model
