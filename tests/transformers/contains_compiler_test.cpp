#include "transformers/contains_compiler.h"

#include "model/metric.h"
#include "model/model_factory.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {
namespace {

TEST(ContainsCompiler, EachStatementBecomesTwoFluentsAndAnAction) {
  const struct {
    const char* name;
    const char* interval;
    Lines statements;
  } cases[] = {
      {"from the start",
       "[start, end]",
       {"[start] (A := true)", "[end] (A := false)", "[start] (G := false)", "[end] G"}},
      {"from time 0", "[0, 10]", {"[0] (A := true)", "[10] (A := false)", "[start] (G := false)", "[end] G"}},
      {"start and nothing is the start",
       "(start + 0, 10)",
       {"[(start + 0)] (A := true)", "[10] (A := false)", "[start] (G := false)", "[end] G"}},
      {"from later on",
       "[5, 10]",
       {"[5] (A := true)", "[10] (A := false)", "[start] (A := false)", "[start] (G := false)", "[end] G"}},
      {"to the end",
       "[5, end]",
       {"[5] (A := true)", "[end] (A := false)", "[start] (A := false)", "[start] (G := false)", "[end] G"}},
      {"shortly before the end",
       "[end - 5, end]",
       {"[(end - 5)] (A := true)", "[end] (A := false)", "[start] (A := false)", "[start] (G := false)",
        "[end] G"}},
      {"the length of the plan decides whether the interval is one",
       "[5, end - 1]",
       {"[5] (A := true)", "[(end - 1)] (A := false)", "[start] (A := false)", "[start] (G := false)",
        "[end] G", "[(end - 1)] A"}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    Environment env;
    const auto compiler = transform<ContainsCompiler>(
        parse(env, "fluent boolean x; action a() { duration := 2; [end] x := true; };" +
                       std::string(test.interval) + " contains x;"));
    const ProblemPtr result = compiler->new_problem();
    EXPECT_FALSE(result->has_contains());
    Lines expected;
    for (std::string line : test.statements) {
      for (const auto& [letter, name] : {std::pair{'A', "__contains_active_0"}, {'G', "__contains_goal_0"}})
        if (const auto place = line.find(letter); place != std::string::npos) line.replace(place, 1, name);
      expected.insert(line);
    }
    EXPECT_EQ(statements(*result), expected);
    EXPECT_EQ(action_names(result), (std::vector<std::string>{"__contains_action_0", "a"}));
    EXPECT_EQ(statements(result, "__contains_action_0"),
              (Lines{"[start] (__contains_active_0 and (not __contains_goal_0) and x)",
                     "[start] (__contains_goal_0 := true)", "(duration := 1)"}));
    EXPECT_EQ(result->actions().at("a"), compiler->problem()->actions().at("a"));
  }
}

TEST(ContainsCompiler, LabelsStandForTheirGoals) {
  Environment env;
  const auto compiler = transform<ContainsCompiler>(parse(env, R"(
    fluent boolean x; fluent boolean p; fluent boolean __contains_goal_1;
    [1, 5] contains first: x;
    [2, 6] contains second: not x;
    start(first) < start(second);
    (start(first), 9) p;
    [3, start(second)] x;
    (start(first), start(second)) p or x;
    [end] p;)"));
  const ProblemPtr result = compiler->new_problem();
  // The user has a fluent of the second one's name.
  EXPECT_EQ(statements(result, "__contains_action_0")
                .count("[start] (__contains_active_0 and (not __contains_goal_0) and x)"),
            1U);
  EXPECT_EQ(statements(result, "__contains_action_1")
                .count("[start] (__contains_active_1 and (not __contains_goal_1_) and (not x) and "
                       "__contains_goal_0)"),
            1U);
  const Lines lines = statements(*result);
  EXPECT_EQ(lines.count("[start, 9] ((not __contains_goal_0) or p)"), 1U);
  EXPECT_EQ(lines.count("[3, end] (__contains_goal_1_ or x)"), 1U);
  EXPECT_EQ(lines.count("[all] ((not __contains_goal_0) or __contains_goal_1_ or (p or x))"), 1U);
  EXPECT_EQ(lines.count("[end] p"), 1U);
  ASSERT_EQ(result->labels_ordering().size(), 1U);
  EXPECT_EQ(to_anml(result->labels_ordering().begin()->first), "__contains_goal_0");
  EXPECT_EQ(to_anml(result->labels_ordering().begin()->second), "__contains_goal_1_");
}

TEST(ContainsCompiler, NewActionsCostNothing) {
  Environment env;
  const ProblemPtr plain =
      parse(env, "fluent boolean x; action a() { [start] x := true; }; [1, 5] contains x;");
  const auto a = plain->actions().at("a");
  auto costs = std::make_shared<MinimizeActionCost>();
  costs->add_cost(a, env.expression_factory().make_integer_constant(7));
  const auto compiler = transform<ContainsCompiler>(env.model_factory().make_problem_instance(
      {a}, {plain->fluents().at("x")}, {}, {}, {}, {plain->expressions().begin(), plain->expressions().end()},
      {}, {costs, std::make_shared<MinimizeMakespan>()}));
  const ProblemPtr result = compiler->new_problem();
  ASSERT_EQ(result->metrics().size(), 2U);
  const auto& carried = static_cast<const MinimizeActionCost&>(*result->metrics().front());
  EXPECT_EQ(to_anml(carried.cost(result->actions().at("a"))), "7");
  EXPECT_EQ(to_anml(carried.cost(result->actions().at("__contains_action_0"))), "0");
}

TEST(ContainsCompiler, PlansLoseTheStepsOfNewActionsAlone) {
  Environment env;
  const auto compiler = transform<ContainsCompiler>(parse(env, R"(
    fluent boolean x; action a() { [start] x := true; }; action b() { [start] x := false; };
    [1, 5] contains x; [2, 6] contains not x;)"));
  const auto& actions = compiler->new_problem()->actions();
  const auto a = actions.at("a"), b = actions.at("b");
  const auto seen = actions.at("__contains_action_0"), also_seen = actions.at("__contains_action_1");

  const auto timed = std::make_shared<TimeTriggeredPlan>(env);
  const auto add = [&](const rational& start, const auto& action, std::optional<rational> duration) {
    timed->add_step(
        std::make_shared<TimeTriggeredStep>(start, action, std::vector<Node*>(), std::move(duration)));
  };
  add(1, a, rational(3));
  add(rational(3, 2), seen, rational(1));
  add(2, b, std::nullopt);
  std::ostringstream found;
  std::dynamic_pointer_cast<TimeTriggeredPlan>(compiler->map_back(std::shared_ptr<Plan>(timed)))
      ->print_exact(found);
  EXPECT_EQ(found.str(), "1: a() [3]\n2: b() [0]\n");

  // a before b only through two dropped steps; b before the second a directly.
  const auto partial = std::make_shared<POTPlan>(env);
  const auto first = partial->add_step(1, a, {}, rational(3));
  const auto seeing = partial->add_step(0, seen, {}, rational(1));
  const auto seeing_again = partial->add_step(0, also_seen, {}, rational(1));
  const auto second = partial->add_step(0, b, {}, std::nullopt);
  const auto third = partial->add_step(2, a, {}, rational(3));
  partial->add_precedence(first, seeing);
  partial->add_precedence(seeing, seeing_again);
  partial->add_precedence(seeing_again, second);
  partial->add_precedence(second, third);
  const auto mapped = std::dynamic_pointer_cast<POTPlan>(compiler->map_back(std::shared_ptr<Plan>(partial)));
  ASSERT_EQ(mapped->size(), 3U);
  const auto& steps = mapped->steps();
  EXPECT_EQ(steps[2]->delay, rational(2));
  EXPECT_EQ(mapped->predecessors(steps[0]).size(), 0U);
  EXPECT_EQ(mapped->predecessors(steps[1]), std::vector{steps[0]});
  EXPECT_EQ(mapped->predecessors(steps[2]), std::vector{steps[1]});

  const auto only_new = std::make_shared<POTPlan>(env);
  only_new->add_step(0, seen, {}, rational(1));
  const auto nothing = compiler->map_back(std::shared_ptr<Plan>(only_new));
  EXPECT_EQ(nothing->size(), 0U);
  EXPECT_NE(std::dynamic_pointer_cast<POTPlan>(nothing), nullptr);

  EXPECT_EQ(error_of([&] {
              compiler->map_back(ActionStep{nullptr, a, {}});
            }),
            "InternalError: Not implemented yet!");
  EXPECT_EQ(error_of([&] {
              compiler->map_forward(ActionStep{nullptr, a, {}});
            }),
            "InternalError: Not implemented yet!");
  EXPECT_EQ(error_of([&] { compiler->map_forward(timed); }), "InternalError: Not supported!");
  EXPECT_EQ(error_of([&] { compiler->map_back(std::shared_ptr<Plan>()); }),
            "InternalError: Unknown plan kind to be converted by the transformer");
}

TEST(ContainsCompiler, RefusesWhatItCannotCompile) {
  const struct {
    const char* text;
    const char* error;
  } cases[] = {
      {"[5] contains x;", "A contains needs an interval, not a single moment: [5] contains x"},
      {"[5, 5] contains x;", "A contains ends before it has begun: [5, 5] contains x"},
      {"[start + 7, 5] contains x;", "A contains ends before it has begun: [(start + 7), 5] contains x"},
      {"[end - 2, end - 3] contains x;",
       "A contains ends before it has begun: [(end - 2), (end - 3)] contains x"},
      {"[1, 9] contains [5] x;", "Unsupported contains with duration: [1, 9] contains [5] x"},
      {"[1, 9] contains l: x; [start(l), end] contains x;",
       "A contains cannot begin or end with another one: [start(l), end] contains x"},
      {"[1, 9] contains l: x; [start(m), end] x;",
       "There is no contains with the label 'm', which is used in: [start(m), end] x"},
      {"[1, 9] contains l: x; [start(l)] x;", "A label can only be one end of an interval: [start(l)] x"},
      {"[1, 9] contains l: x; [start(l) + 1, end] x;",
       "A label can only be one end of an interval: [(start(l) + 1), end] x"},
      {"[1, 9] contains l: x; action a() { [start(l), end] x; };",
       "A label cannot be used in an action: [start(l), end] x"},
  };
  for (const auto& test : cases) {
    Environment env;
    const ProblemPtr problem = parse(env, "fluent boolean x; " + std::string(test.text));
    EXPECT_EQ(error_of([&] { ContainsCompiler(problem).do_computation(); }),
              "UnsupportedProblemError: " + std::string(test.error));
  }
}

}  // namespace
}  // namespace zorvel::model
