#include "parsers/anml_parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "model/fluent.h"
#include "model/instance.h"
#include "model/metric.h"
#include "model/user_type.h"
#include "parsers/reading.h"

namespace zorvel {
namespace {

using namespace model;
using Texts = std::vector<std::string>;

struct Row {
  std::string text, result;
};

TEST(AnmlParser, ReadsExpressionsAsTheLanguageGroupsThem) {
  const std::string head =
      "type T; instance T a, b; fluent boolean p; fluent boolean q; fluent boolean r; fluent integer x; "
      "fluent integer y; fluent integer z; fluent boolean f(T t, T u); fluent set(T) s; ";
  const Row rows[] = {
      {"x - y - z == 1;", "((x - (y - z)) == 1)"},
      {"x / y / z == 1;", "((x / (y / z)) == 1)"},
      {"x + y * z == 1;", "((x + (y * z)) == 1)"},
      {"(x + y) * z == 1;", "(((x + y) * z) == 1)"},
      {"-x == -7;", "((x * -1) == -7)"},
      {"x-1 == 0;", "((x - 1) == 0)"},
      {"not x == y;", "(not (x == y))"},
      {"x != y;", "(not (x == y))"},
      {"p and q or r implies p;", "(((p and q) or r) implies p)"},
      {"p implies q implies r;", "(p implies (q implies r))"},
      {"p and q and r;", "(p and (q and r))"},
      {"p xor q;", "((p or q) and (not (p and q)))"},
      {"x < y or x >= y;", "((x < y) or (x >= y))"},
      {"f(a, b);", "f(a, b)"},
      {"a in s;", "(a in s)"},
      {"s == {a, b};", "(s == {a, b})"},
      {"s := {};", "(s := {})"},
      {"s := (s union {a}) \\ {b};", "(s := ((s union {a}) \\ {b}))"},
      {"{a} subset s;", "({a} subset s)"},
      {"x == sqrt(4, 2);", "(x == (sqrt(4, 2)))"},
      {"x :+= 1;", "(x :+= 1)"},
      {"x :-= y;", "(x :-= y)"},
      {"x == 007;", "(x == 7)"},
      {"x == 2.50;", "(x == 5/2)"},
      {"x == -0.5;", "(x == -1/2)"},
      {"x == 2.0;", "(x == 2.0)"},
      {"[all] p;", "[all] p"},
      {"(all) p;", "(all) p"},
      {"[start, end) p;", "[all) p"},
      {"(start, end] p;", "(all] p"},
      {"(start + 1, end - 2) p;", "((start + 1), (end - 2)) p"},
      {"[5] p := true;", "[5] (p := true)"},
      {"[start] contains p;", "[start] contains p"},
      {"[all] contains [5] now: p;", "[all] contains [5] now: p"},
      {"[start] forall (T t) { f(t, a); p; };", "[start] forall (T t ) {f(t, a);p;}"},
      {"(x == 1);", "(x == 1)"},
      {"(p);", "p"},
      {"p; // the rest is nothing ( [ {", "p"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const Reading reading(head + row.text);
    ASSERT_EQ(reading.error, "");
    EXPECT_EQ(reading.statements(), Texts{row.result});
  }
}

TEST(AnmlParser, RefusesWhatIsNoSentenceWithTheLine) {
  const Row rows[] = {
      {"fluent boolean a", "syntax error at line 1"},
      {"fluent boolean a;\n\na == == a;", "syntax error at line 3"},
      {"fluent boolean a;\n[start] contains;", "syntax error at line 2"},
      {"duration :in [1, 2];", "syntax error at line 1"},
      {"fluent integer x; -(x + 1) == 2;", "syntax error at line 1"},
      {"fluent integer x; x == y == 1;", "syntax error at line 1"},
      {"action a(boolean b,) { };", "syntax error at line 1"},
      {"c(*, 1) := 5;", "syntax error at line 1"},
      {"goal { ; };", "syntax error at line 1"},
      {"fluent integer x := 1.;", "syntax error at line 1"},
      {"fluent integer x := .5;", "syntax error at line 1"},
      {"/* no */", "syntax error at line 1"},
      {"type T with { fluent boolean f := true; };", "syntax error at line 1"},
      {":: (\"two\nlines\"\n) x;", "syntax error at line 3"},
      {"fluent boolean a;\na = true;", "Unknown character '=' at line2"},
      {"a ! b;", "Unknown character '!' at line1"},
      {"#x", "Unknown character '#' at line1"},
      {"\n\"open", "Unknown character '\"' at line2"},
      {"\xe9", "Unknown character '\xe9' at line1"},
      {std::string("a\0b", 3), "Unknown character '\\x00' at line1"},
      {"fluent boolean x; [start] name: x;",
       "The label 'name' stands behind an interval without 'contains' at line 1"},
      {"\ninstance boolean b;", "Only a user type has instances at line 2"},
      {"fluent integer [5, 4] x;", "The range [5, 4] is empty at line 1"},
      {"::(\"metric\", \"minimize\", \"x\");", "Expected expression as minimization objective at line 1"},
      {"::(\"metric\", \"maximize\", \"x\");", "Expected expression as maximization objective at line 1"},
      {"::(\"metric\", \"minimize-action-cost\", \"x\");",
       "Expected expression as default value for 'minimize-action-cost' metric at line 1"},
      {"action a() :: (\"cost\", \"x\") { };",
       "Expected expression as const of an action in annotation! at line 1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Reading reading(row.text);
    EXPECT_EQ(reading.error, "ParserError: " + row.result);
    EXPECT_EQ(reading.parser.error_line(), std::count(row.text.begin(), row.text.end(), '\n') + 1);
  }
}

TEST(AnmlParser, KnowsTheLineOfErrorsThatHaveNoneInTheirText) {
  struct Case {
    std::string text, error;
    int line;
  };
  const Case cases[] = {
      {"fluent boolean x;\n\nfluent integer x;", "RedefinitionError: Name 'x' already defined in this scope",
       3},
      {"type T;\ninstance T\n a,\n a;", "RedefinitionError: Instance 'a' already defined", 2},
      {"action a(\n boolean x,\n boolean x) {};",
       "RedefinitionError: Parameter 'x' already defined for this action", 1},
      {"\nfluent float [0, 10] x;", "InvalidParameterError: A rational constant was expected, got 10", 2},
      {"fluent boolean x;\nfluent\n Foo y;", "UnresolvedSymbolError: Foo: type unknown", 2},
      {"action a(boolean x,\n Foo y) { };", "UnresolvedSymbolError: Foo: type unknown", 2},
      {"type T < U;", "UnresolvedSymbolError: U: unknown type used in inheritance statement", 1},
      {"type V; type T < V; instance V v;\nfluent boolean p(T x);\n[start] p(v) := true;",
       "TypeCheckingError: Found a fluent reference having non-compatible children: p(v) type of parameter 1 "
       "is V "
       "while it should be T",
       3},
      {"type V; type T < V; instance V v; fluent T f;\n[start] f := v;",
       "TypeCheckingError: Found an assign having non-compatible operands: (f := v)", 2},
      {"type A < B;\ntype B < A;", "InvalidParameterError: Cyclic inheritance of type 'A'", 2},
      {"fluent boolean x;\n[end] x and\n y and\n x;",
       "InternalError: Not implemented 'unresolved_symbol': unresolved<y>", 3},
      // The name is fine in the first action and unknown in the second.
      {"action a(boolean v) {\n [start] v;\n};\naction b() {\n duration := 1;\n [start] v;\n};",
       "InternalError: Not implemented 'unresolved_symbol': unresolved<v>", 6},
      {"fluent integer n;\naction a() {\n [end] {\n  n := 1;\n  n := true;\n };\n};",
       "TypeCheckingError: Found an assign having non-compatible operands: (n := true)", 5},
      {"fluent integer n;\n[start] n := 1;\nn + 1;",
       "TypeCheckingError: The expression '(n + 1)' should be boolean or void, but it is integer", 3},
      {"type T; fluent boolean p(T t);\n[end] forall (T t) {\n p(t);\n p(u);\n};",
       "InternalError: Not implemented 'unresolved_symbol': unresolved<u>", 4},
      {"fluent boolean x;\n[all] contains a: x;\nstart(a) < start(b);", "map::at", 3},
      {"\nconstant integer c;", "InternalError: Found an uninitialized constant: c", 2},
      {"constant integer c := 1;\n[start] c := 2;",
       "InternalError: It is forbidden to assign a value to a constant more than one time", 2},
      {"type T with {\n action go() {\n  [start] nothing;\n };\n};",
       "InternalError: Not implemented 'unresolved_symbol': unresolved<nothing>", 3},
      {"::(\"metric\", \"minimize-action-cost\", 1);\naction a()\n :: (\"cost\", price) { };",
       "InternalError: Not implemented 'unresolved_symbol': unresolved<price>", 3},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.text);
    Reading reading(test.text);
    EXPECT_EQ(reading.error.substr(0, test.error.size()), test.error);
    EXPECT_EQ(reading.parser.error_line(), test.line);
  }
}

TEST(AnmlParser, ReadsDeclarations) {
  const Reading reading(
      "type Base; type T < Base with { fluent T next; constant integer [0, 9] size; action go(T to) { "
      "duration := 1; }; };"
      "instance T t1, t2; t1.size := 1; t2.size := 2;"
      "fluent float [0.0, 1.5] level(T t, integer [0, 3] i); fluent set(T) group; process grow() { };");
  ASSERT_EQ(reading.error, "");
  const ProblemInstanceImpl& problem = *reading.problem;
  const auto& type = problem.user_types().at("T");
  ASSERT_EQ(type->base_types().size(), 1U);
  EXPECT_EQ(type->base_types()[0], problem.user_types().at("Base"));
  EXPECT_EQ(type->fluents().at("next")->type(), type);
  EXPECT_EQ(type->fluents().at("next")->path(), Texts{"T"});
  EXPECT_EQ(type->actions().at("go")->parameters().at(0)->type(), type);
  EXPECT_EQ(problem.instances().at("t2")->type(), type);
  const auto& level = problem.fluents().at("level");
  ASSERT_EQ(level->parameters().size(), 2U);
  EXPECT_EQ(level->parameters()[0]->name(), "t");
  EXPECT_EQ(level->parameters()[1]->type()->reference_name(), "integer [0, 3]");
  EXPECT_EQ(level->type()->reference_name(), "float [0, 3/2]");
  EXPECT_EQ(problem.fluents().at("group")->type()->reference_name(), "set(T)");
  EXPECT_TRUE(problem.actions().at("grow")->is_process());
  EXPECT_FALSE(problem.user_types().at("T")->actions().at("go")->is_process());
}

TEST(AnmlParser, ReadsNoTextAsAnEmptyProblem) {
  for (const char* text : {"", "\n\n", "// nothing"}) {
    const Reading reading(text);
    ASSERT_EQ(reading.error, "");
    EXPECT_TRUE(reading.problem->expressions().empty());
    EXPECT_TRUE(reading.problem->metrics().empty());
  }
}

TEST(AnmlParser, ReadsOneTextAfterTheOtherWithTypesOfTheirOwn) {
  Environment env;
  AnmlParser parser(env);
  const auto read = [&](const std::string& text) {
    std::istringstream stream(text);
    return parser.parse(stream);
  };
  const auto first = read("type T with { fluent boolean f; }; instance T t; [start] t.f := true;");
  EXPECT_THROW(read("type T with {"), ParserError);
  EXPECT_EQ(parser.error_line(), 1);
  const auto second = read("type T with { fluent boolean f; }; instance T t; [start] t.f := true;");
  EXPECT_EQ(parser.error_line(), 0);
  EXPECT_NE(first->user_types().at("T"), second->user_types().at("T"));
  EXPECT_EQ(first->user_types().at("T")->fluents().size(), 1U);
  std::ostringstream one, two;
  one << first;
  two << second;
  EXPECT_EQ(one.str(), two.str());
}

TEST(AnmlParser, ReadsMetrics) {
  const Reading makespan("::(\"metric\", \"minimize-makespan\");");
  ASSERT_EQ(makespan.problem->metrics().size(), 1U);
  EXPECT_EQ(makespan.problem->metrics()[0]->kind(), MetricKind::MINIMIZE_MAKESPAN);

  const Reading final_value("fluent integer x; ::(\"metric\", \"maximize\", x + 1);");
  ASSERT_EQ(final_value.problem->metrics().size(), 1U);
  const auto& maximize =
      static_cast<const MaximizeExpressionOnFinalValue&>(*final_value.problem->metrics()[0]);
  EXPECT_EQ(maximize.kind(), MetricKind::MAXIMIZE_EXPRESSION_ON_FINAL_VALUE);
  EXPECT_EQ(to_anml(maximize.expression()), "(x + 1)");

  const Reading costs(
      "constant integer c := 3; action dear(boolean b) :: (\"cost\", c + 1) { }; action plain() { };"
      "::(\"metric\", \"minimize-action-cost\", 7);");
  ASSERT_EQ(costs.error, "");
  ASSERT_EQ(costs.problem->metrics().size(), 1U);
  const auto& cost = static_cast<const MinimizeActionCost&>(*costs.problem->metrics()[0]);
  EXPECT_EQ(to_anml(cost.cost(costs.problem->actions().at("dear"))), "(c + 1)");
  EXPECT_EQ(to_anml(cost.cost(costs.problem->actions().at("plain"))), "7");
  EXPECT_EQ(cost.costs().size(), 2U);

  for (const char* nothing : {"::(\"metric\", \"minimize-action-cost\");", "::(\"metric\", \"speed\");",
                              "action a() :: (\"cost\", 1) { };"}) {
    Reading reading(nothing);
    EXPECT_TRUE(reading.problem->metrics().empty());
    EXPECT_TRUE(reading.warnings().empty());
  }
  Reading unknown("::(\"foo\");");
  EXPECT_EQ(unknown.warnings(), Texts{"Unsupported annotation found."});
}

TEST(AnmlParser, RulesAreAnnotationsAndSurvivePrinting) {
  const std::string text =
      "fluent boolean p; fluent boolean q; :: (\"mutual-exclusion\"); :: (\"always-within\", 5, p and q, not "
      "p);";
  Reading read(text);
  ASSERT_EQ(read.error, "");
  EXPECT_TRUE(read.warnings().empty());
  EXPECT_TRUE(read.problem->rules().has_mutual_exclusion);
  ASSERT_EQ(read.problem->rules().always_within.size(), 1U);
  EXPECT_EQ(read.problem->rules().always_within[0].limit, rational(5));
  EXPECT_EQ(model::to_anml(read.problem->rules().always_within[0].response), "(not p)");
  Reading again(read.print());
  ASSERT_EQ(again.error, "") << read.print();
  EXPECT_EQ(again.print(), read.print());
  // A limit that is no decimal number.
  Reading third("fluent boolean p; :: (\"always-within\", 1.0 / 3, p, p);");
  ASSERT_EQ(third.error, "");
  EXPECT_EQ(third.problem->rules().always_within[0].limit, rational(1) / rational(3));
  EXPECT_EQ(Reading(third.print()).print(), third.print());
  EXPECT_FALSE(Reading("fluent boolean p;").problem->rules().has_mutual_exclusion);
  EXPECT_NE(Reading("fluent boolean p; :: (\"always-within\", p, p, p);").error, "");
  EXPECT_NE(Reading("fluent integer f; :: (\"always-within\", 5, f, f == 1);").error, "");
}

TEST(AnmlParser, WarnsOfWhatIsAllowedAndRarelyMeant) {
  struct Case {
    std::string text, warning;  // the beginning of the only warning; empty if there is none
  };
  const std::string head = "fluent integer x; fluent boolean p; type T;\n";
  const Case cases[] = {
      {"x == 10 - 3 - 2;", "line 2: operators group to the right"},
      {"x == 10 - 3 + 2;", "line 2: operators group to the right"},
      {"x == 10 - (3 - 2);", ""},
      {"x == (10 - 3) - 2;", ""},
      {"x == 10 + 3 - 2;", ""},
      {"x == 10 - 3 * 2;", ""},
      {"x == 8 / 4 / 2;", "line 2: operators group to the right"},
      {"x == 8 / (4 / 2);", ""},
      {"x == 7 / 2;", "line 2: the quotient of two integers"},
      {"x == 6 / 2;", ""},
      {"x == 7.0 / 2;", ""},
      {"goal p;", "line 2: a goal without an interval"},
      {"goal { [end] p;\n p; };", "line 3: a goal without an interval"},
      {"goal [end] p;", ""},
      {"goal forall (T t) { [end] p; };", ""},
      {"goal forall (T t) { p; };", "line 2: a goal without an interval"},
      {"p;", ""},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.text);
    Reading reading(head + test.text);
    ASSERT_EQ(reading.error, "");
    Texts warnings = reading.warnings();
    std::erase_if(warnings, [](const std::string& text) { return text.starts_with("Equality operands"); });
    ASSERT_EQ(warnings.size(), test.warning.empty() ? 0U : 1U);
    for (const std::string& warning : warnings)
      EXPECT_EQ(warning.substr(0, test.warning.size()), test.warning);
  }
  Reading with_parameters("fluent boolean f(boolean b) := false;");
  EXPECT_TRUE(with_parameters.error.starts_with("TypeCheckingError: ")) << with_parameters.error;
  ASSERT_EQ(with_parameters.warnings().size(), 1U);
  EXPECT_TRUE(with_parameters.warnings()[0].starts_with("line 1: a value in a declaration has no arguments"));
}

TEST(AnmlParser, RefusesFilesThatAreNone) {
  Environment env;
  AnmlParser parser(env);
  const auto error_of = [&](const std::string& path) -> std::string {
    try {
      parser.parse_file(path);
    } catch (const InvalidParameterError& error) {
      return error.what();
    }
    return "";
  };
  EXPECT_EQ(error_of("/nowhere/x.anml"),
            "InvalidParameterError: Input file '/nowhere/x.anml' does not exist!");
  EXPECT_EQ(error_of("/"), "InvalidParameterError: Input file '/' is a directory!");
  std::ifstream closed;
  closed.setstate(std::ios::failbit);
  EXPECT_THROW(parser.parse(closed), InvalidParameterError);
}

TEST(AnmlParser, ReadsBackWhatThePrinterWritesOfTheExamples) {
  const auto sorted_lines = [](const std::string& text) {
    Texts lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
  };
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(ZORVEL_SOURCE_DIR "/examples")) {
    if (entry.path().extension() != ".anml") continue;
    if (entry.path().filename() == "uncertain_duration.anml") continue;  // `(duration :in ...)` is not read
    SCOPED_TRACE(entry.path().filename().string());
    std::ifstream file(entry.path());
    const Reading original(std::string(std::istreambuf_iterator<char>(file), {}));
    ASSERT_EQ(original.error, "");
    const Reading copy(original.print());
    ASSERT_EQ(copy.error, "");
    EXPECT_EQ(sorted_lines(copy.print()), sorted_lines(original.print()));
    ++files;
  }
  EXPECT_GE(files, 8);
}

// Texts that are long in one way. A fault here shows as a crash, a test that never ends, or another error.
TEST(AnmlParser, SurvivesTextsBeyondEveryMeasure) {
  const auto repeat = [](const std::string& piece, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += piece;
    return text;
  };
  const std::string head = "fluent boolean p; fluent integer x; type T;";
  EXPECT_EQ(Reading(std::string(10000000, '(')).error, "ParserError: memory exhausted at line 1");
  EXPECT_EQ(Reading(std::string(1000000, '(')).error, "ParserError: syntax error at line 1");
  EXPECT_EQ(Reading(head + repeat("(", 50000) + "p" + repeat(")", 50000) + ";").error, "");
  EXPECT_EQ(Reading(head + repeat("not ", 50000) + "p;").error, "");
  EXPECT_EQ(Reading(head + "x == " + repeat("x - ", 30000) + "x;").error, "");
  EXPECT_EQ(Reading(head + repeat("{", 50000)).error, "ParserError: syntax error at line 1");
  EXPECT_EQ(Reading(head + "goal " + repeat("p and ", 50000) + "p;").statements().size(), 1U);
  EXPECT_EQ(Reading("fluent boolean " + std::string(1000000, 'a') + ";").error, "");
  EXPECT_EQ(Reading(head + "x == " + std::string(5000, '9') + ";").error, "");
  EXPECT_EQ(Reading(head + "x == " + std::string(1000000, '9') + ";").error,
            "ParserError: A number of 1000000 characters is too long at line 1");
  EXPECT_EQ(Reading("fluent " + repeat("set(", 200) + "boolean" + repeat(")", 200) + " s;").error,
            "ParserError: Sets are nested too deeply at line 1");
  EXPECT_EQ(Reading(repeat("type T with {", 200)).error,
            "ParserError: Types are nested too deeply at line 1");
  EXPECT_EQ(Reading(head + repeat("forall (T t) {", 200)).error,
            "ParserError: Foralls are nested too deeply at line 1");
  EXPECT_EQ(Reading(head + repeat("forall (T t) {", 90) + "p;" + repeat("};", 90)).error, "");
  EXPECT_EQ(Reading(head + repeat("p xor ", 60) + "p;").error,
            "ParserError: The exclusive or is nested too deeply at line 1");
  EXPECT_EQ(Reading(head + repeat("x == 9 - 3 - 2;\n", 1000)).warnings().size(), 21U);
}

}  // namespace
}  // namespace zorvel
