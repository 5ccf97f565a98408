#include "printers/pddl_printer.h"

#include "model/action.h"
#include "model/expression_factory.h"
#include "pddl/reader.h"
#include "printers/round_trip.h"
#include "support/random_problems.h"
#include "test_helpers.h"

namespace zorvel {
namespace {

struct Texts {
  std::string domain, problem;
  bool operator==(const Texts&) const = default;
};

Texts print(const model::ProblemPtr& problem, PddlForm form = PddlForm::own) {
  const PddlPrinter printer(problem, "pddldomain", "pddlproblem", form);
  return {printer.domain_text(), printer.problem_text()};
}

struct PddlReading {
  explicit PddlReading(const Texts& texts) : reader(env) {
    problem = reader.read_texts(texts.domain, texts.problem, "domain", "problem");
  }
  Environment env;
  PddlReader reader;
  model::ProblemPtr problem;
};

Texts print_anml(const std::string& text, PddlForm form = PddlForm::own) {
  AnmlReading reading(text);
  return print(reading.problem, form);
}

TEST(PddlPrinter, WritesTheWholeOfASmallProblem) {
  const Texts texts = print_anml(
      "type T; instance T a; fluent boolean p(T t); fluent float x; constant float c(T t); c(*) := 2.5;\n"
      "[start] { p(a) := true; x := 0; }; [5] p(a) := false;\n"
      "action go(T t) { duration := c(t); [start] not p(t); [start, end) x >= 1; [end] p(t) := true; [end] x "
      ":= x + 1; };\n"
      ":: (\"metric\", \"minimize-makespan\"); goal [end] p(a) or x == 1;");
  EXPECT_EQ(texts.domain,
            "(define (domain pddldomain)\n"
            "    (:requirements :equality :strips :typing :durative-actions :negative-preconditions)\n"
            "    (:types T)\n"
            "    (:predicates\n"
            "        (p ?t - T))\n"
            "    (:functions\n"
            "        (c ?t - T)\n"
            "        (x))\n"
            "\n"
            "    (:durative-action go\n"
            "        :parameters (?t - T)\n"
            "        :duration (= ?duration (c ?t))\n"
            "        :condition (and\n"
            "            (at start (not (p ?t)))\n"
            "            (and (at start (>= (x) 1))\n"
            "                (over all (>= (x) 1)))\n"
            "        )\n"
            "        :effect (and\n"
            "            (at end (p ?t))\n"
            "            (at end (= (x) (+(x)\n1)))\n"
            "        )\n"
            "    )\n"
            ")\n");
  EXPECT_EQ(texts.problem,
            "(define (problem pddlproblem)\n"
            "    (:domain pddldomain)\n"
            "    (:objects\n"
            "        a - T)\n"
            "\n"
            "    (:init\n"
            "        (p a)\n"
            "        (= (x) 0)\n"
            "        (= (c a) 2.5)\n"
            "        (at 5 (not (p a)))\n"
            "    )\n"
            "\n"
            "    (:goal\n"
            "        (and\n"
            "            (or(p a)\n(= (x) 1)))\n"
            "    )\n"
            "\n"
            "    (:metric minimize (total-time))\n"
            ")\n");
  EXPECT_EQ(print_anml("").problem, "(define (problem pddlproblem)\n    (:domain pddldomain)\n)\n");
  EXPECT_EQ(print_anml("").domain,
            "(define (domain pddldomain)\n"
            "    (:requirements :equality :strips :typing :durative-actions :negative-preconditions)\n"
            "    (:predicates)\n    (:functions)\n)\n");
}

TEST(PddlPrinter, WritesEveryKindOfStatement) {
  const char* const head =
      "type T; instance T a, b; fluent boolean p; fluent boolean q; fluent boolean f(T t); "
      "fluent float y; fluent integer [0, 5] n; constant boolean k := true; ";
  const struct {
    const char* statements;
    const char* own;
    const char* standard;
  } rows[] = {
      {"action go() { p; p := q; };", "(at start (= (p) (q)))\n",
       "(at start (not (p)))\n            (when (at start (q)) (at start (p)))\n"},
      {"action go() { [end] p := p or q; };", "(at end (= (p) (or(p)\n(q))))\n",
       ":effect (and\n            (when (at end (q)) (at end (p)))\n        )"},
      {"action go() { [end] y :-= 2; };", "(at end (= (y) (- (y) 2)))\n", "(at end (decrease (y) 2))\n"},
      {"action go() { [end] y := 2; };", "(at end (= (y) 2))\n", "(at end (assign (y) 2))\n"},
      {"action go() { duration >= 2 and 7 > duration; };",
       ":duration (and (>= ?duration 2) (< ?duration 7))\n", ":duration-inequalities"},
      {"action go() { };", ":duration (>= ?duration 0)\n        :condition (and)\n        :effect (and)\n",
       ":duration-inequalities"},
      {"action go() { duration := -1.0 / 3; [start] y > -0.5; };", "(= ?duration (/ -1 3))", "(> (y) -0.5)"},
      {"action go() { [start] true == p; [start] k == q; [start] k; };",
       ":condition (and\n            (at start (p))\n            (at start (q))\n        )",
       "(at start (p))"},
      {"action go() { (start, end] p; (start, end) p implies q; [all] q; };",
       "(and (over all (p))\n                (at end (p)))\n            (over all (imply (p) (q)))\n"
       "            (and (at start (q))\n                (over all (q))\n                (at end (q)))\n",
       ":disjunctive-preconditions"},
      {"action go() { [end] n := n + 1; };", "(at end (and(>= (+(n)\n1) 0)\n(<= (+(n)\n1) 5)))\n",
       "(increase (n) 1)"},
      {"action go() { [end] n := 3; [start] (not k); };", "(at start (or))\n", "(at end (assign (n) 3))\n"},
      {"action go(T t, T u) { [end] f(t) := false; [end] f(u) := true; };", "(at start (not (= ?t ?u)))\n",
       "(at end (not (f ?t)))\n"},
      {"action go(T t, T u) { [start] t != u; [end] f(t) := false; [end] f(u) := true; };",
       ":condition (and\n            (at start (not (= ?t ?u)))\n        )", "(at end (f ?u))\n"},
      {"action at() :: (\"cost\", 3) { }; :: (\"metric\", \"minimize-action-cost\", 0);",
       "(:durative-action at\n        :parameters ()\n        :duration (>= ?duration 0)\n        :condition "
       "(and)\n"
       "        :effect (and\n            (at start (increase (total-cost) 3))\n",
       "(total-cost)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.statements);
    std::string own = print_anml(std::string(head) + row.statements).domain;
    if (const std::size_t at = own.find("-action at_"); at != std::string::npos) own.erase(at + 10, 1);
    EXPECT_NE(own.find(row.own), std::string::npos) << own;
    const std::string standard = print_anml(std::string(head) + row.statements, PddlForm::standard).domain;
    EXPECT_NE(standard.find(row.standard), std::string::npos) << standard;
  }
  // A forall that says nothing is not written out.
  EXPECT_EQ(print_anml("type T; instance T a; fluent boolean f(T t);"
                       "[start] forall (T t, integer [0, 3000000000] j) { f(t) := false; };"
                       "goal [end] false;")
                    .problem.find("(or)") == std::string::npos,
            false);
}

TEST(PddlPrinter, RefusesByNameWhatPddlCannotHold) {
  const struct {
    const char* problem;
    const char* error;
  } rows[] = {
      {"action go() { duration :in [1, 2]; };",
       "InternalError: The problem contains an expression operator kindthat is forbidden!"},
      {"fluent boolean p; [2, 6] p;", "InternalError: Not-end goals are forbidden!"},
      {"fluent boolean p; [end - 2] p := true;", "InternalError: Not-start assigns are forbidden!"},
      {"fluent boolean p; p;", "InternalError: Found a forbidden expression' p"},
      {"fluent float x; action a() { duration := 2; [end] x := duration; };",
       "InternalError: Found a forbidden expression' [end] (x := duration)"},
      {"process p() { };", "InternalError: Processes are not supported!"},
      {"fluent integer x; action a() { [start] x / 2 == 3; };",
       "UnsupportedProblemError: PDDL cannot cut the quotient of two integers, as action 'a' does"},
      {"fluent boolean f(float x); action a(float x) { [end] f(x) := true; };",
       "UnsupportedProblemError: PDDL has objects alone as parameters: action 'a_0' has the parameter 'x' of "
       "type float"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(error_of([&] { print_anml(row.problem); }), row.error) << row.problem;
}

/// Two prints behind it, a problem of PDDL prints as the same text; plans of the first print are plans of it.
void expect_round_trip(Environment& env, const model::ProblemPtr& problem, std::uint64_t expansions) {
  for (const PddlForm form : {PddlForm::own, PddlForm::standard}) {
    SCOPED_TRACE(form == PddlForm::own ? "own" : "standard");
    const Texts first = print(problem, form);
    PddlReading again(first);
    const PddlReading third(print(again.problem, form));
    const Texts last = print(third.problem, form);
    ASSERT_EQ(last.domain, first.domain);
    ASSERT_EQ(last.problem, first.problem);
    if (expansions == 0) continue;
    const Solution solution = solve(again.env, again.problem, expansions);
    std::string reason;
    if (solution.has_plan) {
      EXPECT_TRUE(is_valid(env, problem, solution.plan, reason)) << reason << solution.plan;
    }
  }
}

TEST(PddlPrinter, ExamplesOfPddlPrintAsTheyAreRead) {
  PddlReading reading({content_of(examples / "match_cellar_domain.pddl"),
                       content_of(examples / "match_cellar_problem.pddl")});
  expect_round_trip(reading.env, reading.problem, 1000);
}

TEST(PddlPrinter, BenchmarksPrintAsTheyAreRead) {
  if (!fs::exists(benchmarks)) GTEST_SKIP() << "the benchmark problems are not here";
  for (const fs::path& path : files_below(benchmarks / "pddl", ".pddl")) {
    const std::string name = path.filename().string();
    if (name.find("domain") != std::string::npos) continue;
    SCOPED_TRACE(path);
    fs::path domain = path.parent_path() / "domain.pddl";
    if (!fs::exists(domain)) domain = path.parent_path() / (path.stem().string() + "-domain.pddl");
    PddlReading reading({content_of(domain), content_of(path)});
    expect_round_trip(reading.env, reading.problem, name == "p01.pddl" ? 200 : 0);
  }
}

/// The bounds of numbers are the trap: PDDL has none.
TEST(PddlPrinter, PlansOfThePrintArePlansOfTheProblem) {
  int plans = 0, refuted = 0;
  for (unsigned seed = 0; seed < 150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    timed::Features features;
    features.has_parameters = seed % 2 == 0;
    features.has_offsets = features.has_timed_conditions = false;
    features.has_plan = seed % 3 != 0;
    const timed::Problem made = timed::random_problem(seed, features);
    AnmlReading reading(made.text());
    for (const PddlForm form : {PddlForm::own, PddlForm::standard}) {
      PddlReading again(print(reading.problem, form));
      const Solution solution = solve(again.env, again.problem, 3000);
      std::string reason;
      if (solution.has_plan) {
        ++plans;
        EXPECT_TRUE(is_valid(reading.env, reading.problem, solution.plan, reason))
            << reason << made.text() << solution.plan;
      } else if (solution.is_known) {
        ++refuted;
        // The plan that the problem was written around shares no instant.
        EXPECT_FALSE(features.has_plan) << made.text();
      }
    }
  }
  EXPECT_GT(plans, 100);
  EXPECT_GT(refuted, 10);
}

TEST(PddlPrinter, ExamplesOfAnmlThatPrintHaveThePlansOfThePrint) {
  for (const char* name :
       {"match_cellar", "numeric_fluents", "forall", "sets", "duration_interval", "unsolvable"}) {
    SCOPED_TRACE(name);
    AnmlReading reading(content_of(examples / (std::string(name) + ".anml")));
    PddlReading again(print(reading.problem));
    const Solution solution = solve(again.env, again.problem, 3000);
    std::string reason;
    EXPECT_TRUE(solution.is_known);
    EXPECT_EQ(solution.has_plan, std::string(name) != "unsolvable");
    if (std::string(name) == "sets" || !solution.has_plan) continue;  // the actions of sets are ground
    EXPECT_TRUE(is_valid(reading.env, reading.problem, solution.plan, reason)) << reason << solution.plan;
  }
}

}  // namespace
}  // namespace zorvel
