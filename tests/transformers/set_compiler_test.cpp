#include "transformers/set_compiler.h"

#include "model/constant.h"
#include "model/model_factory.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"
#include "random_sets.h"
#include "state/evaluator_from_map.h"
#include "support.h"

namespace zorvel::model {

namespace {

constexpr const char* declarations =
    "type T; type Empty; instance T a, b, c; fluent set(T) s; fluent set(T) t; fluent set(T) f(T x, boolean "
    "v);"
    "fluent set(integer [0, 2]) n; fluent set(integer [1, 3]) m; fluent set(boolean) bs; fluent set(Empty) "
    "es;"
    "fluent boolean p; fluent integer [0, 9] i; constant set(T) k := {a, c};";

ProblemPtr compile(Environment& env, const std::string& body) {
  return transform<SetCompiler>(parse(env, declarations + body))->new_problem();
}

TEST(SetCompiler, RewritesStatementsMemberByMember) {
  struct Row {
    const char* text;
    Lines expected;
  };
  const Row rows[] = {
      {"[start] s := {a, b};",
       {"[start] (s(a) := true)", "[start] (s(b) := true)", "[start] (s(c) := false)"}},
      {"s := {};", {"(s(a) := false)", "(s(b) := false)", "(s(c) := false)"}},
      {"[3] s := t;", {"[3] (s(a) := t(a))", "[3] (s(b) := t(b))", "[3] (s(c) := t(c))"}},
      {"[start] es := {};", {"[start] true"}},
      {"[3] s := s;", {"[3] true"}},
      // The first member is written in any case, so that two updates of one set clash.
      {"[3] s := s union {b};", {"[3] (s(a) := s(a))", "[3] (s(b) := true)"}},
      {"[3] s := (s union {a, b}) \\ {b};", {"[3] (s(a) := true)", "[3] (s(b) := false)"}},
      {"[3] s := s intersection {c, a};", {"[3] (s(a) := s(a))", "[3] (s(b) := false)"}},
      {"[3] s := s \\ t;",
       {"[3] (s(a) := (s(a) and (not t(a))))", "[3] (s(b) := (s(b) and (not t(b))))",
        "[3] (s(c) := (s(c) and (not t(c))))"}},
      {"[3] s := s union k;", {"[3] (s(a) := true)", "[3] (s(c) := true)"}},
      {"[3] f(a, true) := f(b, p);",
       {"[3] (f(a, a, true) := f(a, b, p))", "[3] (f(b, a, true) := f(b, b, p))",
        "[3] (f(c, a, true) := f(c, b, p))"}},
      // What the set cannot hold must not be there.
      {"[3] n := m;", {"[3] (n(0) := false)", "[3] (n(1) := m(1))", "[3] (n(2) := m(2))", "[3] (not m(3))"}},
      {"[start] bs := {false};", {"[start] (bs(true) := false)", "[start] (bs(false) := true)"}},
      {"goal [end] a in {};", {"[end] false"}},
      {"goal [end] a in s;", {"[end] s(a)"}},
      {"goal [end] 1 + 1 in n;", {"[end] n(2)"}},
      {"goal [end] 7 in n;", {"[end] false"}},
      {"goal [end] {a} subset {a, b};", {"[end] true"}},
      {"goal [end] {a, b} subset {a};", {"[end] false"}},
      {"goal [end] {} subset s;", {"[end] true"}},
      {"goal [end] s subset t;",
       {"[end] ((s(a) implies t(a)) and (s(b) implies t(b)) and (s(c) implies t(c)))"}},
      {"goal [end] k subset s;", {"[end] (s(a) and s(c))"}},
      {"goal [end] s == {};", {"[end] ((not s(a)) and (not s(b)) and (not s(c)))"}},
      {"goal [end] s == {b};", {"[end] ((not s(a)) and s(b) and (not s(c)))"}},
      {"goal [end] {b} == s;", {"[end] ((not s(a)) and s(b) and (not s(c)))"}},
      {"goal [end] {7} == n;", {"[end] false"}},
      {"goal [end] {} == {};", {"[end] true"}},
      {"goal [end] p == (a in s);", {"[end] (p == s(a))"}},
      {"[start, 4) p implies b in (s intersection t);", {"[start, 4) (p implies (s(b) and t(b)))"}},
      {"[2, end] contains (a in s);", {"[2, end] contains s(a)"}},
      {"[3] p := c in s;", {"[3] (p := s(c))"}},
      {"[3] i := i + 1;", {"[3] (i := (i + 1))"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Environment env;
    const ProblemPtr problem = compile(env, row.text);
    EXPECT_EQ(statements(*problem), row.expected);
    EXPECT_FALSE(problem->has_sets());
  }
}

TEST(SetCompiler, RefusesWhatItCannotExpress) {
  const std::string not_able =
      "UnsupportedProblemError: Set compiler is not able to handle this expression: ";
  const std::string outside = "InternalError: A set is given a member outside of its type: ";
  const std::pair<const char*, std::string> rows[] = {
      {"goal [end] p in bs;", not_able + "(p in bs)"},
      {"fluent T g; goal [end] g in s;", not_able + "(g in s)"},
      {"fluent T g; [3] s := {a, g};", not_able + "{a, g}"},
      {"action act(T x) { [start] x in s; };", not_able + "(x in s)"},
      {"[3] s :+= t;", not_able + "(s :+= t)"},
      {"[3] s :-= {a};", not_able + "(s :-= {a})"},
      {"[start] n := {1, 7};", outside + "[start] (n := {1, 7})"},
      {"[3] n := m union {5};", outside + "[3] (n := (m union {5}))"},
      {"constant set(integer [0, 2]) kk := {0, 3};", outside + "kk := {0, 3}"},
      {"fluent set(integer) z;", "UnsupportedProblemError: Infinite sets are not supported: set(integer) z"},
      {"constant set(float) z := {};",
       "UnsupportedProblemError: Infinite sets are not supported: set(float) z"},
      {"fluent set(integer [0, 5000000]) z; goal [end] 3 in z;",
       "UnsupportedProblemError: A set has too many possible members: integer [0, 5000000]"},
      {"fluent set(set(T)) z; goal [end] z == {};", "InternalError: Found an undefined finite-domain type"},
      {"fluent boolean z(set(T) x);",
       "UnsupportedProblemError: Parameters that are sets are not supported: z"},
      {"action z(set(T) x) { [end] p := true; };",
       "UnsupportedProblemError: Parameters that are sets are not supported: z"},
      {"type W with { fluent boolean w; };",
       "InternalError: The set compiler can be only applied to flattened models!"},
      {"forall (T x) { [3] p := true; };", "InternalError: "},
  };
  for (const auto& [text, message] : rows) {
    Environment env;
    EXPECT_EQ(error_of([&, &text = text] {
                SetCompiler(parse(env, std::string(declarations) + text)).do_computation();
              }),
              message)
        << text;
  }
}

TEST(SetCompiler, ConstantsListTheirMembersUnderTheBeginningsThatTheyHad) {
  Environment env;
  const ProblemPtr problem = parse(env, R"(
    type T; instance T a, b, c; type R; instance R q, r;
    constant set(T) wants(R x, boolean v);
    wants(*) := {a};
    wants(r, *) := {b, c};
    wants(r, true) := {};
    constant set(T) all_of_them := {a} union ({b} union {c});
    constant boolean wanted := b in all_of_them;
    constant integer other := 3;
    fluent boolean p; goal [end] wanted;)");
  const ProblemPtr result = transform<SetCompiler>(problem)->new_problem();
  const ExpressionSimplifier simplify(env);
  ExpressionFactory& factory = env.expression_factory();
  const auto members = [&](const char* constant, const std::vector<Node*>& arguments) {
    std::string text;
    for (const char* name : {"a", "b", "c"}) {
      std::vector<Node*> all{factory.make_instance_reference(result->instances().at(name))};
      all.insert(all.end(), arguments.begin(), arguments.end());
      Node* const value = simplify(factory.make_constant_reference(result->constants().at(constant), all));
      EXPECT_TRUE(ExpressionFactory::is_boolean_constant(value));
      if (factory.get_boolean_constant(value)) text += name;
    }
    return text;
  };
  Node* const q = factory.make_instance_reference(result->instances().at("q"));
  Node* const r = factory.make_instance_reference(result->instances().at("r"));
  Node* const yes = factory.make_boolean_constant(true);
  Node* const no = factory.make_boolean_constant(false);
  EXPECT_EQ(members("wants", {q, yes}), "a");
  EXPECT_EQ(members("wants", {r, no}), "bc");
  EXPECT_EQ(members("wants", {r, yes}), "");
  EXPECT_EQ(members("all_of_them", {}), "abc");
  EXPECT_EQ(simplify(factory.make_constant_reference(result->constants().at("wanted"), {})), yes);
  EXPECT_EQ(statements(*result), Lines{"[end] true"});
  EXPECT_EQ(result->constants().at("other"), problem->constants().at("other"));
  EXPECT_EQ(result->constants().at("wants")->parameters().front()->name(), "_st");
}

TEST(SetCompiler, PlansAndTheirConditionsGoForthAndBack) {
  Environment env;
  const ProblemPtr problem =
      parse(env, std::string(declarations) +
                     "action one() { duration := 2; [end] f(a, true) := f(a, true) union {b}; };"
                     "action two(float x) { [start] x > 2; [end] s := {}; };");
  const auto compiler = transform<SetCompiler>(problem);
  const ProblemPtr result = compiler->new_problem();
  EXPECT_EQ(statements(result, "two"), (Lines{"[start] (x > 2)", "[end] (s(a) := false)",
                                              "[end] (s(b) := false)", "[end] (s(c) := false)"}));
  ExpressionFactory& factory = env.expression_factory();
  const auto of = [&](const char* name) { return problem->actions().at(name); };
  Node* const b = factory.make_instance_reference(problem->instances().at("b"));
  Node* const a = factory.make_instance_reference(problem->instances().at("a"));
  Node* const yes = factory.make_boolean_constant(true);
  Node* const is_there =
      factory.make_in(b, factory.make_fluent_reference(problem->fluents().at("f"), {a, yes}));
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(rational(1), of("one"), std::vector<Node*>{},
                                                     rational(2), is_there));
  plan->add_step(std::make_shared<TimeTriggeredStep>(
      rational(1), of("two"), std::vector{factory.make_rational_constant(rational(5, 2))}, std::nullopt));
  const auto forward = compiler->map_forward(plan);
  const auto& steps = forward->steps().at(1);
  EXPECT_EQ(steps[0]->action, result->actions().at("one"));
  EXPECT_EQ(to_anml(steps[0]->post_condition), "f(b, a, true)");
  EXPECT_EQ(steps[1]->parameters, plan->steps().at(1)[1]->parameters);
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(compiler->map_back(std::shared_ptr<Plan>(forward)));
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->steps().at(1)[0]->post_condition, is_there);
  EXPECT_EQ(back->steps().at(1)[1]->action, of("two"));

  EXPECT_EQ(error_of([&] { compiler->map_back(std::shared_ptr<Plan>(plan)); }),
            "InternalError: Found an action that is unknown to the set compiler!");
  EXPECT_EQ(error_of([&] { compiler->map_forward(forward); }),
            "InternalError: Found an action that is unknown to the set compiler!");
  EXPECT_EQ(error_of([&] { compiler->map_back(std::shared_ptr<Plan>()); }),
            "InternalError: Unknown plan kind to be converted by the set compiler");
}

/// The value that the compiled problem gives to memberships in a state.
ExpressionEvaluatorFromMap::Values memberships(Environment& env, const ProblemPtr& compiled,
                                               const random_sets::State& state) {
  ExpressionFactory& factory = env.expression_factory();
  const auto number = [&](int value) { return factory.make_integer_constant(integer(value)); };
  ExpressionEvaluatorFromMap::Values values;
  for (const auto& variable : random_sets::variables) {
    const std::string name = variable.name;
    for (int element = variable.lower; element <= variable.upper; ++element) {
      std::vector<Node*> arguments{number(element)};
      if (name.size() > 1) arguments.push_back(number(name[2] - '0'));
      values[factory.make_fluent_reference(compiled->fluents().at(name.substr(0, 1)), arguments)] =
          factory.make_boolean_constant(state.at(name).contains(element));
    }
  }
  return values;
}

TEST(SetCompiler, ConditionsMeanWhatTheySayOfSets) {
  int held = 0;
  for (unsigned seed = 0; seed < 400 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    random_sets::Random random(seed);
    const random_sets::Formula formula = random.formula(random.pick(4));
    Environment env;
    const ProblemPtr problem =
        transform<SetCompiler>(parse(env, random_sets::declarations + ("goal [end] " + formula.text + ";")))
            ->new_problem();
    for (int i = 0; i < 5; ++i) {
      const random_sets::State state = random.state();
      const auto values = memberships(env, problem, state);
      const ExpressionEvaluatorFromMap evaluate(env, values);
      Node* const value = evaluate((*problem->expressions().begin())->children[1]);
      ASSERT_TRUE(ExpressionFactory::is_boolean_constant(value)) << formula.text;
      const bool holds = formula.holds(state);
      held += holds ? 1 : 0;
      EXPECT_EQ(env.expression_factory().get_boolean_constant(value), holds) << formula.text;
    }
  }
  EXPECT_GT(held, 300);
}

TEST(SetCompiler, AssignmentsGiveTheSetItsNewMembersOrAreImpossible) {
  int impossible = 0;
  for (unsigned seed = 0; seed < 400 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    random_sets::Random random(seed);
    const random_sets::Variable target = random.variable();
    const random_sets::Term term = random.term(random.pick(4));
    Environment env;
    const auto result = transform<SetCompiler>(parse(env, std::string(random_sets::declarations) +
                                                              "action act() { [start + 1] " + target.name +
                                                              " := " + term.text + "; };"))
                            ->new_problem();
    for (int i = 0; i < 5; ++i) {
      random_sets::State state = random.state();
      const random_sets::Set expected = term.value(state);
      const auto before = memberships(env, result, state);
      const ExpressionEvaluatorFromMap evaluate(env, before);
      auto after = before;
      bool is_possible = true;
      for (Node* statement : result->actions().at("act")->expressions()) {
        EXPECT_EQ(to_anml(statement->children[0]), "[(start + 1)]");
        Node* const body = statement->children[1];
        if (ExpressionFactory::is_assign(body))
          after.at(body->children[0]) = evaluate(body->children[1]);
        else
          is_possible &= env.expression_factory().get_boolean_constant(evaluate(body));
      }
      EXPECT_EQ(is_possible, random_sets::can_hold(target, expected)) << term.text;
      impossible += is_possible ? 0 : 1;
      if (!is_possible) continue;
      state[target.name] = expected;
      EXPECT_EQ(after, memberships(env, result, state)) << target.name << " := " << term.text;
    }
  }
  EXPECT_GT(impossible, 50);
}

TEST(SetCompiler, KeepsCostsAndFinalValuesAndRefusesSimulatedEffects) {
  Environment env;
  const ProblemPtr problem = parse(env, std::string(declarations) + "action act() { [end] s := {a}; };");
  ExpressionFactory& factory = env.expression_factory();
  const auto parts = [&] {
    ProblemParts result(*problem);
    result.actions = {problem->actions().at("act")};
    return result;
  };
  Node* const level = factory.make_fluent_reference(problem->fluents().at("i"), {});
  ProblemParts costly = parts();
  const auto costs = std::make_shared<MinimizeActionCost>();
  costs->add_cost(problem->actions().at("act"), level);
  costly.metrics = {costs, std::make_shared<MaximizeExpressionOnFinalValue>(level)};
  const ProblemPtr result = transform<SetCompiler>(costly.make(env))->new_problem();
  ASSERT_EQ(result->metrics().size(), 2U);
  EXPECT_EQ(static_cast<const MinimizeActionCost&>(*result->metrics()[0]).cost(result->actions().at("act")),
            level);

  ProblemParts simulated = parts();
  const auto effect = std::make_shared<SimulatedEffectImpl>();
  simulated.actions = {env.model_factory().make_action("act", {}, false, {}, {}, {effect})};
  EXPECT_EQ(error_of([&] { SetCompiler(simulated.make(env)).do_computation(); }),
            "UnsupportedProblemError: Set compiler cannot be applied to problem with simulated effects");
}

}  // namespace
}  // namespace zorvel::model
