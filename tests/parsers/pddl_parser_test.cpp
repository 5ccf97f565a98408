#include "parsers/pddl_parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "core/errors.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/user_type.h"
#include "test_helpers.h"

namespace zorvel {
namespace {

using namespace model;
using Texts = std::vector<std::string>;

/// A text read in an environment of its own: the problem, or the error.
struct PddlReading {
  explicit PddlReading(const std::string& text) : parser(env) {
    read([&] {
      std::istringstream stream(text);
      return parser.parse(stream);
    });
  }
  PddlReading(const std::string& domain, const std::string& problem_text) : parser(env) {
    read([&] { return parser.parse_texts(domain, problem_text); });
  }
  template <class Read>
  void read(Read work) {
    try {
      problem = work();
    } catch (const std::exception& failure) {
      error = failure.what();
    }
  }

  /// The statements of the problem or of one action, sorted.
  Texts statements() const { return texts(problem->expressions()); }
  Texts statements(const std::string& action) const {
    return texts(problem->actions().at("action_" + action)->expressions());
  }
  static Texts texts(const ExpressionSet& expressions) {
    Texts result;
    for (Node* expression : expressions) result.push_back(to_anml(expression));
    std::sort(result.begin(), result.end());
    return result;
  }
  Texts parameters(const std::string& action) const {
    Texts names;
    for (const auto& parameter : problem->actions().at("action_" + action)->parameters())
      names.push_back(parameter->name());
    return names;
  }

  Environment env;
  PddlParser parser;
  std::shared_ptr<ProblemInstanceImpl> problem;
  std::string error;
};

struct Row {
  std::string text, result;
};

std::string repeat(const std::string& piece, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

std::string domain(const std::string& body) { return "(define (domain d) " + body + ")\n"; }
std::string problem(const std::string& body) { return "(define (problem p) (:domain d) " + body + ")\n"; }

/// The start of a domain, so that the rest of it begins on line 2.
const std::string vocabulary =
    "(define (domain d) (:types t u) (:predicates (p) (q ?x - t) (r ?x - t ?y - t)) (:functions (f) (g ?x - "
    "t)"
    " (h))\n";

std::string action(const std::string& duration, const std::string& condition, const std::string& effect) {
  return "(:durative-action a :parameters (?x - t ?y - t) :duration " + duration + " :condition " +
         condition + " :effect " + effect + ")";
}

TEST(PddlParser, ReadsConditionsWithReversedOperandsAndArgumentsInOrder) {
  const Row rows[] = {
      {"(and (p) (q ?x))", "(q(_param_x) and p)"},
      {"(or (p) (q ?x) (q ?y))", "(q(_param_y) or q(_param_x) or p)"},
      {"(not (r ?x ?y))", "(not r(_param_x, _param_y))"},
      {"(> (+ (f) (g ?x) 2) 1)", "(((2.0 + g(_param_x)) + f) > 1.0)"},
      {"(< (* (f) 2) 1.50)", "((2.0 * f) < 3/2)"},
      {"(<= (- (f) 2) 007)", "((f - 2.0) <= 7.0)"},
      {"(>= (/ (f) 4) 0.25)", "((f / 4.0) >= 1/4)"},
      {"(= ?x ?y)", "(_param_x == _param_y)"},
      {"(= (f) (h))", "(f == h)"},
      {"p", "p"},
      {"true", "true"},
      {"(p) ; a comment ) ( \n", "p"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    // An operand of the section's own `and` would be a statement for itself.
    const PddlReading reading(vocabulary +
                              action("(= ?duration 1)", "(at start (and " + row.text + "))", "(and)") + ")");
    ASSERT_EQ(reading.error, "");
    Node* condition = nullptr;
    for (Node* statement : reading.problem->actions().at("action_a")->expressions())
      if (ExpressionFactory::is_temporal_expression(statement)) condition = statement->children[1];
    ASSERT_NE(condition, nullptr);
    ASSERT_EQ(condition->arity, 1U);
    EXPECT_EQ(to_anml(condition->children[0]), row.result);
  }
}

TEST(PddlParser, SplitsTheSectionsOfAnActionIntoStatements) {
  struct Case {
    std::string duration, condition, effect;
    Texts statements;  // sorted
  };
  const Case cases[] = {
      {"(= ?duration 5)", "(and)", "(and)", {"(duration == 5.0)"}},
      {"(and)", "(p)", "(p)", {"(p := true)", "p"}},
      {"(and (>= ?duration 1) (<= ?duration (f)))",
       "(at start (p))",
       "(at end (p))",
       {"(duration <= f)", "(duration >= 1.0)", "[end] (p := true)", "[start] p"}},
      {"(= ?duration 1)",
       "(and (over all (q ?x)) (at end (not (p))))",
       "(and (at start (not (q ?x))) (at end (and (q ?y) (= (f) (+ (f) 1)))))",
       {"(all) q(_param_x)", "(duration == 1.0)", "[end] (f := (1.0 + f))", "[end] (not p)",
        "[end] (q(_param_y) := true)", "[start] (q(_param_x) := false)"}},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.duration + test.condition + test.effect);
    const PddlReading reading(vocabulary + action(test.duration, test.condition, test.effect) + ")");
    ASSERT_EQ(reading.error, "");
    EXPECT_EQ(reading.statements("a"), test.statements);
  }
}

TEST(PddlParser, GivesTheAssignmentsOfAnEffectInTheOrderOfTheText) {
  Environment env;
  PddlBuilder builder(env, nullptr);
  const auto fact = [&](const char* name) { return builder.symbol(builder.name(name), 1); };
  const auto both = [&](Node* a, Node* b) {
    return builder.conjunction(builder.list_item(a, 1) + builder.list_item(b, 1));
  };
  Node* const effect = both(builder.at_start(both(fact("a"), builder.at_end(fact("b")))),
                            both(builder.factory().make_not(fact("c")), fact("d")));
  Texts texts;
  for (Node* assignment : builder.condition_to_effect(effect)) texts.push_back(to_anml(assignment));
  ASSERT_EQ(texts.size(), 4U);
  const char* const names[] = {"a", "b", "c", "d"};
  for (std::size_t i = 0; i < 4; ++i)
    EXPECT_NE(texts[i].find(std::string("<") + names[i] + ">"), std::string::npos) << texts[i];
  EXPECT_TRUE(texts[1].starts_with("[start] [end] ")) << texts[1];
}

TEST(PddlParser, ReadsDurationsThatNobodyControls) {
  const Row rows[] = {
      {"(and (>= ?duration 1) (<= ?duration 4))", "(duration :in [1.0, 4.0])"},
      {"(and (<= 1 ?duration) (>= 4 ?duration))", "(duration :in [1.0, 4.0])"},
      {"(and (<= ?duration (f)) (<= (h) ?duration))", "(duration :in [h, f])"},
      {"(= ?duration 3)", "(duration == 3.0)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const PddlReading reading(vocabulary + "(:uncontrollable-durative-action a :parameters () :duration " +
                              row.text + " :condition (and) :effect (and)))");
    ASSERT_EQ(reading.error, "");
    EXPECT_EQ(reading.statements("a"), Texts{row.result});
  }
  const Row refused[] = {
      {"(and (<= ?duration 4))", "has no lower bound"},
      {"(and (>= ?duration 4) (< ?duration 5))", "has no upper bound"},
      {"(and)", "has no bounds"},
  };
  for (const Row& row : refused) {
    SCOPED_TRACE(row.text);
    PddlReading reading(vocabulary + "\n(:uncontrollable-durative-action go\n :parameters ()\n :duration " +
                        row.text + "\n :condition (and) :effect (and)))");
    EXPECT_EQ(reading.error,
              "ParserError: The duration of the uncontrollable action 'go' " + row.result + " at line 3");
    EXPECT_EQ(reading.parser.error_line(), 3);
  }
}

TEST(PddlParser, ReversesTheNamesOfOneGroupOfParametersAndRemembersTheOrder) {
  const PddlReading reading(
      "(define (domain d) (:types t u) (:predicates (r ?a ?b - t ?c - u))"
      "(:durative-action move-to :parameters (?a ?b ?c - t ?d - u ?e ?f - t) :duration (= ?duration 1)"
      " :condition (and) :effect (and)))");
  ASSERT_EQ(reading.error, "");
  EXPECT_EQ(reading.parameters("move-to"),
            (Texts{"_param_c", "_param_b", "_param_a", "_param_d", "_param_f", "_param_e"}));
  EXPECT_EQ(reading.problem->fluents().at("r")->parameters()[0]->name(), "_param_b");
  const PlanNames::ActionName* const name = reading.parser.plan_names().find("action_move-to");
  ASSERT_NE(name, nullptr);
  EXPECT_EQ(name->name, "move-to");
  EXPECT_EQ(name->order, (std::vector<std::size_t>{2, 1, 0, 3, 5, 4}));
}

TEST(PddlParser, GivesTypesTheTypeBehindTheirDash) {
  const PddlReading reading(domain("(:types truck car - vehicle crate vehicle - thing loose)"),
                            problem("(:objects t1 t2 - truck c - crate any)"));
  ASSERT_EQ(reading.error, "");
  const auto& types = reading.problem->user_types();
  std::map<std::string, std::string> bases;
  for (const auto& [name, type] : types)
    for (const auto& base : type->base_types()) bases[name] += base->reference_name();
  EXPECT_EQ(bases, (std::map<std::string, std::string>{
                       {"truck", "vehicle"}, {"car", "vehicle"}, {"crate", "thing"}, {"vehicle", "thing"}}));
  EXPECT_TRUE(types.contains("loose"));
  const auto& objects = reading.problem->instances();
  EXPECT_EQ(objects.at("t1")->type(), types.at("truck"));
  EXPECT_EQ(objects.at("c")->type(), types.at("crate"));
  EXPECT_EQ(objects.at("any")->type()->name(), "object");
}

TEST(PddlParser, MakesATypeOfAnEither) {
  const std::string text =
      "(define (domain d) (:predicates (p ?x - (either a b)) (q ?x - (either a b)))\n(:types a b - c))\n";
  PddlReading reading(text + problem("(:objects x - either_b_a y - a) (:init (p x))"));
  ASSERT_EQ(reading.error, "");
  const auto& types = reading.problem->user_types();
  EXPECT_EQ(reading.problem->fluents().at("p")->parameters()[0]->type(), types.at("either_b_a"));
  EXPECT_TRUE(types.at("a")->is_derived_from(types.at("either_b_a"), false));
  EXPECT_TRUE(types.at("b")->is_derived_from(types.at("either_b_a"), false));
  EXPECT_EQ(reading.env.warning_manager().warnings().size(), 0U);
  // A second text knows nothing of the first one.
  const auto second = reading.parser.parse_texts(domain("(:types a)"), "");
  EXPECT_TRUE(second->user_types().at("a")->base_types().empty());

  // Objects of the alternatives fit, and the world is closed over them; objects of the type above do not.
  PddlReading subtype(text + problem("(:objects x - either_b_a y - a)\n(:init (p y))"));
  ASSERT_EQ(subtype.error, "");
  EXPECT_EQ(subtype.statements(), (Texts{"[start] (p(x) := false)", "[start] (p(y) := true)",
                                         "[start] (q(x) := false)", "[start] (q(y) := false)"}));
  PddlReading above(text + problem("(:objects z - c)\n(:init (p z))"));
  EXPECT_TRUE(above.error.starts_with("TypeCheckingError: Found a fluent reference having non-compatible"))
      << above.error;
  EXPECT_EQ(above.parser.error_line(), 4);
  PddlReading unknown("(define (domain d)\n(:predicates (p ?x - (either a))))");
  EXPECT_EQ(unknown.error, "UnresolvedSymbolError: a: type unknown");
  EXPECT_EQ(unknown.parser.error_line(), 2);
}

TEST(PddlParser, ClosesTheWorldOfPredicatesAtTheStart) {
  const PddlReading reading(vocabulary + ")", problem("(:objects o1 o2 - t) (:goal (and (p) (> (f) 1)))"
                                                      "(:init (q o1) (not (r o1 o2)) (= (f) 2.5) (at 5 (p)) "
                                                      "(at 0.5 (not (q o2))) (and (r o1 o1) (= (h) 0)))"
                                                      "(:metric minimize (total-time))"));
  ASSERT_EQ(reading.error, "");
  Texts expected{"[start] (q(o1) := true)",
                 "[start] (r(o1, o2) := false)",
                 "[start] (f := 5/2)",
                 "[5.0] (p := true)",
                 "[1/2] (q(o2) := false)",
                 "[start] (r(o1, o1) := true)",
                 "[start] (h := 0.0)",
                 "[end] p",
                 "[end] (f > 1.0)",
                 "[start] (p := false)",
                 "[start] (q(o2) := false)",
                 "[start] (r(o2, o1) := false)",
                 "[start] (r(o2, o2) := false)"};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(reading.statements(), expected);
  EXPECT_TRUE(reading.problem->metrics().empty());

  const PddlReading nothing(vocabulary + ")", problem("(:init) (:goal (and))"));
  EXPECT_EQ(nothing.statements(), Texts{"[start] (p := false)"});
  for (const char* now : {"(p)", "(at 0 (p))", "(at 0.0 (p))", "(at start (p))"}) {
    const PddlReading given(vocabulary + ")", problem(std::string("(:init ") + now + ") (:goal (and))"));
    EXPECT_EQ(given.statements(), Texts{"[start] (p := true)"}) << now;
  }
  for (const char* text : {"", "\n", "; nothing", "(define (domain d))", "(define (problem p))"}) {
    const PddlReading empty{std::string(text)};
    ASSERT_EQ(empty.error, "") << text;
    EXPECT_TRUE(empty.problem->expressions().empty());
  }
}

TEST(PddlParser, RefusesToCloseAWorldThatFillsTheMemory) {
  std::string objects = "(:objects";
  for (int i = 0; i < 1000; ++i) objects += " o" + std::to_string(i);
  const PddlReading reading(domain("(:predicates (a) (p ?a ?b ?c ?d ?e - t)) (:types t)"),
                            problem(objects + " - t)"));
  EXPECT_EQ(
      reading.error,
      "InternalError: The predicates have more than 5000000 ground atoms; the first that is too many belongs "
      "to 'p'");
  EXPECT_EQ(reading.parser.error_place(), "domain and problem");
}

TEST(PddlParser, RefusesWhatIsNoSentenceWithTheLine) {
  const Row rows[] = {
      {"(define (domain d)", "syntax error at line 1"},
      {"\n(define (domain d)))", "syntax error at line 2"},
      {"(define (domain d) (:predicates (at ?x - t)))", "syntax error at line 1"},
      {"(define (domain d)\n(:predicates (p ?x)))", "syntax error at line 2"},
      {"(define (domain d) (:types a - (either b c)))", "syntax error at line 1"},
      {"(define (domain d)\n(:action a :parameters ()))", "Unknown character ':' at line2"},
      {"(define (domain d) (:constants c))", "Unknown character ':' at line1"},
      {"(define (domain d) (:requirements :adl))", "Unknown character ':' at line1"},
      {vocabulary + action("(= ?duration 1)", "(at  start (p))", "(and)") + ")", "syntax error at line 2"},
      {vocabulary + "(:durative-action a :parameters () :duration (= ?duration 1) :effect (and)))",
       "syntax error at line 2"},
      {vocabulary + action("(= ?duration 1)", "(and)", "(at end (> (f) 1))") + "\n)",
       "Found a malformed effect at line 2"},
      {vocabulary + action("(= ?duration 1)", "(and)", "(increase (f) true)") + ")",
       ""},  // a name like any other, and unknown
      {vocabulary + action("(= ?duration 1)", "(> (f) 1.)", "(and)") + ")", "Unknown character '.' at line2"},
      {vocabulary + action("(= ?duration 1)", "(> (f) -1)", "(and)") + ")", "syntax error at line 2"},
      {"(define (problem p)\n(:metric maximize (total-time)))", "syntax error at line 2"},
      {"(define (problem p) (:metric minimize (f)))", "syntax error at line 1"},
      {"(define (problem p) (:init (at (p) (p))))", "syntax error at line 1"},
      {"(define (problem p) (:goal (implies (p) (p) ?))", "Unknown character '?' at line1"},
      {"(DEFINE (domain d))", "syntax error at line 1"},
      {"\xff\xfe", "Unknown character '\xff' at line1"},
      {std::string("(\0", 2), "Unknown character '\\x00' at line1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    PddlReading reading(row.text);
    if (row.result.empty()) {
      EXPECT_TRUE(reading.error.starts_with("InternalError: Not implemented 'unresolved_symbol'"))
          << reading.error;
      continue;
    }
    EXPECT_EQ(reading.error, "ParserError: " + row.result);
    EXPECT_EQ(std::to_string(reading.parser.error_line()),
              row.result.substr(row.result.find("line") + 4 + (row.result.starts_with("Unk") ? 0 : 1)));
  }
}

TEST(PddlParser, KnowsTheLineOfErrorsThatHaveNoneInTheirText) {
  struct Case {
    std::string text, error;
    int line;
  };
  const std::string unknown = "InternalError: Not implemented 'unresolved_symbol': unresolved<";
  const Case cases[] = {
      {"(define (domain d)\n(:types t)\n(:predicates (p)\n(t)))",
       "RedefinitionError: Name 't' already defined in this scope", 4},
      {"(define (problem p) (:objects\n a\n a))", "RedefinitionError: Instance 'a' already defined", 3},
      {"(define (domain d) (:predicates\n (p ?x ?x - t)))", "RedefinitionError: Parameter '_param_x' already",
       2},
      {"(define (domain d) (:predicates\n (p)\n (q ?x - t)))", "UnresolvedSymbolError: t: type unknown", 3},
      {"(define (domain d) (:types\n a - b\n b - a))", "InvalidParameterError: Cyclic inheritance of type",
       0},
      {vocabulary + action("(= ?duration 1)", "(and (at start (p))\n (at start (q ?z)))", "(and)") + ")",
       unknown + "_param_z>", 3},
      {vocabulary + action("(= ?duration 1)", "(and)", "(and (at start (p))\n (at start\n (not (z))))") + ")",
       unknown + "z>", 4},
      // ?x is mentioned above, in a condition without fault.
      {vocabulary + action("(= ?duration 1)", "(and (at start (q ?x))\n (over all (r ?x)))", "(and)") + ")",
       "TypeCheckingError: Found a fluent reference having wrong number of parameters", 3},
      {vocabulary + action("(= ?duration 1)", "(and)", "(and (at end (q ?x))\n (at end (= (g ?x) true)))") +
           ")",
       "TypeCheckingError: Found an assign having non-compatible operands", 3},
      {vocabulary + action("(= ?duration\n (z))", "(and)", "(and)") + ")", unknown + "z>", 3},
      {vocabulary + ")(define (problem p) (:init\n (p)\n (q no)))", unknown + "no>", 4},
      {vocabulary + ")(define (problem p) (:goal (and\n (p)\n (z))))", unknown + "z>", 4},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.text);
    PddlReading reading(test.text);
    EXPECT_EQ(reading.error.substr(0, test.error.size()), test.error);
    if (test.line != 0) {
      EXPECT_EQ(reading.parser.error_line(), test.line);
    }
  }
}

TEST(PddlParser, TellsWhichOfTwoTextsHoldsAnError) {
  struct Case {
    std::string domain, problem, place, error;
  };
  const std::string good = "(define (domain d)\n (:predicates (p)))";
  const Case cases[] = {
      {"(define (domain d)\n (:predicates (at)))\n", problem(""), "domain:2", "syntax error at line 2"},
      {good + "\n", "(define (problem p)\n(:goal\n ?))", "problem:3", "Unknown character '?' at line3"},
      {good, "(define (problem p) (:goal))", "problem:1", "syntax error at line 1"},  // no newline at the end
      {good + " ; a remark", "(define (problem p) (:goal))", "problem:1", "syntax error at line 1"},
      {good + "\n\n", "\n(define (problem p)\n", "problem:2", "syntax error at line 2"},
      {good, "(define (problem p)", "problem:1", "syntax error at line 1"},
      {good + ")", problem(""), "domain:2", "syntax error at line 2"},
      // The domain is not closed, which shows only in the problem.
      {"(define (domain d)\n (:predicates (p))\n", problem(""), "domain:2", "syntax error at line 2"},
      {"(define (domain d)\n (:predicates (p)", "\n" + problem(""), "domain:2", "syntax error at line 2"},
      {problem("(:init (p))"), "\n" + good + ")", "problem:3",
       "syntax error at line 3"},  // the other way round
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.domain + "|" + test.problem);
    const PddlReading reading(test.domain, test.problem);
    EXPECT_EQ(reading.error, "ParserError: " + test.error);
    EXPECT_EQ(reading.parser.error_place(), test.place);
  }
  const PddlReading unknown(good, "(define (problem p)\n(:init (q)))");
  EXPECT_TRUE(unknown.error.starts_with("InternalError: ")) << unknown.error;
  EXPECT_EQ(unknown.parser.error_place(), "problem:2");
  const PddlReading remark(good + ";", problem("(:init (p))"));
  EXPECT_EQ(remark.error, "");
  EXPECT_EQ(remark.statements(), Texts{"[start] (p := true)"});
}

TEST(PddlParser, RefusesFilesThatAreNone) {
  Environment env;
  PddlParser parser(env);
  EXPECT_EQ(error_of([&] { parser.parse_files("/nowhere/d.pddl", "/nowhere/p.pddl"); }),
            "InvalidParameterError: Input file '/nowhere/d.pddl' does not exist!");
  EXPECT_EQ(parser.error_place(), "/nowhere/d.pddl");
  std::ifstream closed;
  closed.setstate(std::ios::failbit);
  EXPECT_THROW(parser.parse(closed), InvalidParameterError);
  EXPECT_EQ(parser.error_place(), "");
}

// Texts that are long in one way. A fault here shows as a crash, a test that never ends, or another error.
TEST(PddlParser, SurvivesTextsBeyondEveryMeasure) {
  const std::size_t many = 100000;
  const auto goal = [&](const std::string& before, const std::string& after) {
    return PddlReading(vocabulary + ")",
                       problem("(:goal " + repeat(before, many) + "(p)" + repeat(after, many) + ")"))
        .error;
  };
  const auto effect = [&](const std::string& text) {
    return PddlReading(vocabulary + action("(= ?duration 1)", "(and)", text) + ")").error;
  };
  EXPECT_EQ(PddlReading(std::string(1000000, '(')).error, "ParserError: syntax error at line 1");
  EXPECT_EQ(PddlReading("(define (problem p) (:goal " + repeat("(and ", 3000000)).error,
            "ParserError: memory exhausted at line 1");
  EXPECT_EQ(goal("(and ", ")"), "");
  EXPECT_EQ(goal("(not ", ")"), "");
  EXPECT_EQ(goal("(at start ", ")"), "");
  EXPECT_TRUE(goal("(p ", ")").starts_with("TypeCheckingError: "));
  EXPECT_EQ(effect(repeat("(and ", many) + "(p)" + repeat(")", many)), "");
  EXPECT_EQ(effect(repeat("(at end ", many) + "(p)" + repeat(")", many)),
            "ParserError: Effects are nested too deeply at line 2");
  EXPECT_EQ(effect("(and " + repeat("(at end (p))", many) + ")"), "");
  EXPECT_EQ(PddlReading("(define (domain d) (:types " + repeat("t ", many) + "))").error, "");
  EXPECT_EQ(PddlReading("(define (domain d) (:types " + std::string(1000000, 'a') + "))").error, "");
  EXPECT_EQ(PddlReading(vocabulary + ")", problem("(:init (= (f) " + std::string(1000000, '9') + "))")).error,
            "ParserError: A number of 1000000 characters is too long at line 1");
  EXPECT_EQ(PddlReading(repeat(domain(""), 10000)).error, "");
}

TEST(PddlParser, ReadsEveryBenchmark) {
  const std::filesystem::path folder = ZORVEL_SOURCE_DIR "/../shared/benchmarks/pddl";
  if (!std::filesystem::exists(folder)) GTEST_SKIP() << "the benchmark problems are not here";
  int problems = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::filesystem::path& path = entry.path();
    if (path.extension() != ".pddl" || path.stem().string().size() != 3) continue;
    SCOPED_TRACE(path.string());
    std::filesystem::path domain_path = path.parent_path() / (path.stem().string() + "-domain.pddl");
    if (!std::filesystem::exists(domain_path)) domain_path = path.parent_path() / "domain.pddl";
    Environment env;
    PddlParser parser(env);
    const auto instance = parser.parse_files(domain_path.string(), path.string());
    EXPECT_FALSE(instance->actions().empty());
    EXPECT_FALSE(instance->instances().empty());
    EXPECT_TRUE(env.warning_manager().warnings().empty());
    ++problems;
  }
  EXPECT_GE(problems, 72);
}

}  // namespace
}  // namespace zorvel
