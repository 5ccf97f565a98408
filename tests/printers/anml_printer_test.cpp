#include "printers/anml_printer.h"

#include "core/unsupported_problem.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "model/unsupported_statement.h"
#include "pddl/reader.h"
#include "printers/round_trip.h"
#include "search/rich_problems.h"
#include "support/random_problems.h"
#include "test_helpers.h"
#include "transformers/chain.h"

namespace zorvel {
namespace {

/// Reads the print and expects it to print as it stands.
void expect_stable(const std::string& text) {
  const AnmlReading again(text);
  EXPECT_EQ(to_anml_text(again.problem), text);
}

TEST(AnmlPrinter, WritesWhatIsReadAsTheSame) {
  const struct {
    const char* problem;
    const char* line;
  } rows[] = {
      {"action a() { duration := 2.5; };", "  duration := 2.5;\n"},
      {"action a() { duration := 1.0 / 3; };", "  duration := (1.0 / 3);\n"},
      {"action a() { duration :in [2, 5]; };", "  duration :in [2, 5];\n"},
      {"process p() { };", "process p() {\n};\n"},
      {"fluent float [-0.5, 10.0] f := 3;", "fluent float [-0.5, 10.0] f;\n[start] f := 3;\n"},
      {"fluent set(integer [0, 3]) f := {1, 2};", "[start] f := {1, 2};\n"},
      {"type T; constant integer c(T a, T b, T d); instance T x; c(x, *) := 3; c(*) := 1;",
       "c(*) := 1;\nc(x, *) := 3;\n"},
      {"fluent boolean p; [start, end) p; (start, end) p; [all] p;", "(all) p;\n[all] p;\n[start, end) p;\n"},
      {"fluent boolean p; fluent boolean q; [end] p and q and p; [end] (p and q) or not p;",
       "[end] (p and q) or (not p);\n[end] p and q and p;\n"},
      {"fluent boolean p; fluent boolean q; [end] (p and q) and p; [end] p implies not (p == q);",
       "[end] (p and q) and p;\n[end] p implies (not (p == q));\n"},
      {"fluent integer x; [end] x - (1 - 2) == -x * -3;", "[end] (x - (1 - 2)) == ((x * -1) * -3);\n"},
      {"fluent boolean p; [2, 6] contains a: p; [end] contains [3] b: p; start(b) < start(a);",
       "start(b) < start(a);\n"},
      {"fluent boolean p; [start + 2, end - 1.5) contains [3] b: p;",
       "[start + 2, end - 1.5) contains [3] b: p;\n"},
      {":: (\"metric\", \"minimize-action-cost\", 3); process q() { }; action a() :: (\"cost\", 1.5) { };",
       "action a() :: (\"cost\", 1.5) {\n};\nprocess q() {\n};\n:: (\"metric\", \"minimize-action-cost\", "
       "3);\n"},
      {"fluent integer x; :: (\"metric\", \"maximize\", x + 1); :: (\"metric\", \"minimize-makespan\");",
       ":: (\"metric\", \"maximize\", x + 1);\n:: (\"metric\", \"minimize-makespan\");\n"},
      {"fluent boolean p; :: (\"always-within\", 0.5, p, not p); :: (\"mutual-exclusion\");",
       ":: (\"always-within\", 0.5, p, not p);\n"},
      {"type A; type B; type C < A < B with { type D with { fluent boolean f; }; constant integer k; "
       "action go(D d) { [start] k > 1; }; }; instance C c; c.k := 2;",
       "type C < A < B with {\n  type D with {\n    fluent boolean f;\n  };\n  constant integer k;\n"
       "  action go(D d) {\n    [start] k > 1;\n  };\n};\ninstance C c;\nc.k := 2;\n"},
      {"type T; instance T t; fluent boolean f(T x); [start] forall (T x) { f(x) := true; };",
       "[start] forall (T x) {f(x) := true;};\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.problem);
    AnmlReading reading(row.problem);
    const std::string text = to_anml_text(reading.problem);
    EXPECT_NE(text.find(row.line), std::string::npos) << text;
    expect_stable(text);
  }
}

/// A problem with one action, made without a reader.
struct Made {
  Environment env;
  model::ExpressionFactory& factory = env.expression_factory();
  model::ModelFactory& models = env.model_factory();
  Node* at_start(Node* body) {
    return factory.make_temporal_expression(factory.make_point_interval(factory.make_start_anchor()), body);
  }
  Node* fluent(const std::string& name, const model::TypePtr& type) {
    fluents.push_back(models.make_fluent(name, type, {}, {}));
    return factory.make_fluent_reference(fluents.back(), {});
  }
  Node* fluent(const std::string& name) { return fluent(name, models.make_boolean_type()); }
  model::ProblemPtr problem(const std::vector<Node*>& body, const model::ParameterVector& parameters = {}) {
    return models.make_problem_instance({models.make_action("a", {}, false, parameters, body, {})}, fluents,
                                        {}, {}, {}, statements, {}, {});
  }
  std::vector<std::shared_ptr<model::FluentImpl>> fluents;
  std::vector<Node*> statements;
};

TEST(AnmlPrinter, WritesWhatNoTextSays) {
  Made made;
  auto& factory = made.factory;
  Node* const p = made.fluent("p");
  const model::ProblemPtr problem =
      made.problem({made.at_start(factory.make_and(std::vector<Node*>{})),
                    made.at_start(factory.make_or(std::vector<Node*>{p})),
                    made.at_start(factory.make_and({p, p, factory.make_not(p)})),
                    factory.make_le(factory.make_duration_anchor(),
                                    factory.make_rational_constant(rational(integer(-1), integer(3))))});
  const std::string text = to_anml_text(problem);
  for (const char* line : {"  [start] true;\n", "  [start] p;\n", "  [start] p and p and (not p);\n",
                           "  duration <= (-1.0 / 3.0);\n"})
    EXPECT_NE(text.find(line), std::string::npos) << text;
  expect_stable(text);
}

TEST(AnmlPrinter, GivesNamesThatAreNone) {
  Made made;
  Node* const goal = made.fluent("at-kitchen");
  made.fluent("at_kitchen");
  Node* const hidden = made.fluent("x");
  Node* const word = made.fluent("union");
  const auto parameter = std::make_shared<model::ParameterImpl>("x", made.models.make_boolean_type());
  made.statements = {made.at_start(goal)};
  const model::ProblemPtr problem =
      made.problem({made.at_start(hidden), made.at_start(made.factory.make_parameter_reference(parameter)),
                    made.at_start(word)},
                   {parameter});
  const std::string text = to_anml_text(problem);
  EXPECT_NE(text.find("action a(boolean x_) {\n  [start] union_;\n  [start] x;\n  [start] x_;\n};\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("[start] at_kitchen_;\n"), std::string::npos) << text;
  EXPECT_EQ(
      made.env.warning_manager().warnings(),
      (std::vector<std::string>{
          "'at-kitchen' is no name in ANML and is written 'at_kitchen_'",
          "'union' is no name in ANML and is written 'union_'",
          "The parameter 'x' is written 'x_', since its statements speak of something else of that name"}));
  expect_stable(text);
}

TEST(AnmlPrinter, RefusesByNameWhatCannotBeSaid) {
  Made made;
  made.fluent("level", made.models.make_integer_type(integer(0), true));
  EXPECT_EQ(error_of([&] { to_anml_text(made.problem({})); }),
            "UnsupportedProblemError: ANML cannot say the type integer [0, infinity] of the fluent 'level'");
  Made third;
  third.fluent("rest", third.models.make_rational_type(rational(0), rational(integer(1), integer(3))));
  EXPECT_EQ(error_of([&] { to_anml_text(third.problem({})); }),
            "UnsupportedProblemError: ANML cannot say the type float [0, 1/3] of the fluent 'rest'");
  Made nested;
  Node* const p = nested.fluent("p");
  EXPECT_EQ(error_of([&] { to_anml_text(nested.problem({nested.factory.make_and(nested.at_start(p), p)})); }),
            "UnsupportedStatementError: This cannot be written in ANML: ([start] p and p)");
}

/// Prints the problem, expects the print to be stable and to have the plans of the problem.
void expect_round_trip(Environment& env, const model::ProblemPtr& problem, std::uint64_t expansions) {
  const std::string text = to_anml_text(problem);
  AnmlReading again(text);
  ASSERT_EQ(to_anml_text(again.problem), text);
  if (expansions == 0) return;
  const Solution old_one = solve(env, problem, expansions);
  const Solution new_one = solve(again.env, again.problem, expansions);
  EXPECT_EQ(old_one.is_known, new_one.is_known);
  EXPECT_EQ(old_one.has_plan, new_one.has_plan) << text;
  EXPECT_EQ(old_one.plan, new_one.plan) << text;
}

TEST(AnmlPrinter, ExamplesPrintAsTheyAreRead) {
  for (const fs::path& path : files_below(examples, ".anml")) {
    SCOPED_TRACE(path);
    AnmlReading reading(content_of(path));
    expect_round_trip(reading.env, reading.problem, 2000);
  }
}

TEST(AnmlPrinter, BenchmarksPrintAsTheyAreRead) {
  if (!fs::exists(benchmarks)) GTEST_SKIP() << "the benchmark problems are not here";
  for (const fs::path& path : files_below(benchmarks / "anml", ".anml")) {
    SCOPED_TRACE(path);
    AnmlReading reading(content_of(path));
    expect_round_trip(reading.env, reading.problem, 0);
  }
}

TEST(AnmlPrinter, RandomProblemsPrintAsTheyAreRead) {
  for (unsigned seed = 0; seed < 150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    timed::Features features;
    features.has_parameters = seed % 2 == 0;
    features.has_contains = seed % 3 == 0;
    features.has_uncertain_durations = seed % 5 == 0;
    AnmlReading reading(timed::random_problem(seed, features).text());
    expect_round_trip(reading.env, reading.problem, 500);
  }
}

/// What the command `transform` writes is the input of the next command.
TEST(AnmlPrinter, TransformedProblemsPrintAsTheyAreRead) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    AnmlReading reading(RichProblem(seed).text());
    expect_round_trip(reading.env, reading.problem, seed < 20 ? 300 : 0);
    model::TransformerChain chain(reading.problem);
    for (const char* name : {"flattener", "type-hierarchy-compiler", "increase-decrease-compiler",
                             "forall-compiler", "constant-promoter", "uncertain-ends-compiler",
                             "temporal-uncertainty-compiler", "free-var-params-compiler", "action-grounder",
                             "initial-values-compiler", "set-compiler", "contains-compiler"}) {
      SCOPED_TRACE(name);
      chain.apply(name);
      expect_round_trip(reading.env, chain.problem(), 0);
    }
  }
}

TEST(AnmlPrinter, OrdersOfStatementsThatAreGoneAreLeftOut) {
  AnmlReading reading(content_of(examples / "contains.anml"));
  model::TransformerChain chain(reading.problem);
  chain.apply("contains-compiler");
  expect_round_trip(reading.env, chain.problem(), 2000);
}

TEST(AnmlPrinter, ProblemsOfPddlPrintAsTheyAreRead) {
  Environment env;
  PddlReader reader(env);
  const model::ProblemPtr problem = reader.read_files((examples / "match_cellar_domain.pddl").string(),
                                                      (examples / "match_cellar_problem.pddl").string());
  const std::string text = to_anml_text(problem);
  AnmlReading again(text);
  EXPECT_EQ(to_anml_text(again.problem), text);
  EXPECT_NE(solve(again.env, again.problem, 2000).plan, "");
}

}  // namespace
}  // namespace zorvel
