#include "pddl/reader.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <sstream>

#include "core/errors.h"
#include "model/constant.h"
#include "model/instance.h"
#include "model/metric.h"
#include "model/user_type.h"
#include "parsers/pddl_plan_parser.h"
#include "plans/pddl_plan_printer.h"
#include "reading.h"
#include "test_helpers.h"
#include "validation/tt_validator.h"

namespace zorvel {
namespace {

using Texts = std::vector<std::string>;

std::string problem_of(const std::string& sections) {
  return "(define (problem p) (:domain d) " + sections + ")";
}
std::string domain_of(const std::string& sections) { return "(define (domain d) " + sections + ")"; }

/// Whether a plan in the PDDL format is valid; an error of its text counts as not valid.
bool is_valid(PddlTexts& texts, const std::string& plan) {
  std::istringstream stream(plan);
  PddlPlanParser parser(texts.env, texts.problem, texts.reader.plan_names());
  return TTValidator(texts.env, texts.problem).check_validity(parser.parse(stream));
}

// Three kinds of things move; only trucks need fuel, and `object` is asked for by nothing.
const std::string transport = domain_of(R"(
  (:requirements :typing :durative-actions :fluents :adl)
  (:types truck boat - vehicle crate vehicle - thing place - object)
  (:constants Depot - place)
  (:predicates (at ?x - thing ?p - place) (Road ?a ?b - place) (in ?c - crate ?v - vehicle))
  (:functions (distance ?a ?b - place) (fuel ?t - truck) - number (total-cost))
  (:durative-action drive :parameters (?t - truck ?a ?b - place)
    :duration (= ?duration (/ (distance ?a ?b) 2))
    :condition (and (at start (at ?t ?a)) (over all (road ?a ?b)) (at start (>= (fuel ?t) 1)))
    :effect (and (at start (not (at ?t ?a))) (at end (at ?t ?b)) (at end (decrease (fuel ?t) 1))
                 (at end (increase (total-cost) (distance ?a ?b)))))
  (:action load :parameters (?c - crate ?v - vehicle ?p - place)
    :precondition (and (at ?c ?p) (at ?v ?p)) :effect (and (in ?c ?v) (not (at ?c ?p)))))");
const std::string two_places = problem_of(R"(
  (:objects t1 - truck b1 - boat c1 - crate Harbour - place)
  (:init (at t1 depot) (at b1 Harbour) (at c1 harbour) (road depot harbour) (= (distance depot harbour) 4.5) (= (distance harbour depot) 4.5)
         (road harbour depot)
         (= (fuel t1) 1) (= (total-cost) 0))
  (:goal (in c1 t1)))");

TEST(PddlReader, AHierarchyBecomesOneTypeWithConditionsOnMembership) {
  PddlTexts read(transport, two_places);
  ASSERT_EQ(read.error, "");
  // One family below `thing`; places stay by themselves.
  const auto& objects = read.problem->instances();
  EXPECT_EQ(objects.at("t1")->type(), objects.at("c1")->type());
  EXPECT_EQ(objects.at("t1")->type()->name(), "thing");
  EXPECT_EQ(objects.at("Depot")->type()->name(), "place");
  EXPECT_TRUE(read.problem->actions().contains("drive"));
  // A boat cannot be driven, and a boat is no crate: each plan is wrong only in that.
  EXPECT_TRUE(is_valid(read, "0: (drive t1 depot harbour) [2.25]\n3: (LOAD c1 T1 Harbour)"));
  EXPECT_FALSE(is_valid(read, "0: (drive b1 harbour depot) [2.25]\n3: (load c1 t1 harbour)"));
  EXPECT_FALSE(is_valid(read, "0: (drive t1 depot harbour) [2]\n3: (load c1 t1 harbour)"));
}

TEST(PddlReader, WhatNeverChangesIsAConstantAndNamedAsDeclared) {
  PddlTexts read(transport, two_places);
  ASSERT_EQ(read.error, "");
  EXPECT_EQ(read.problem->constants().count("Road"), 1U);
  EXPECT_EQ(read.problem->constants().count("distance"), 1U);
  EXPECT_EQ(read.problem->fluents().count("Road"), 0U);
  EXPECT_EQ(read.problem->constants().at("Road")->value()->assignments().size(), 3U);  // two rows and `false`
  // What changes is false where nothing is said, and only what is said is a statement.
  EXPECT_TRUE(read.has_statement("[start] (at(c1, Depot) := false)"));
  EXPECT_TRUE(read.has_statement("[start] (in(c1, b1) := false)"));
  for (const std::string& statement : PddlTexts::texts(read.problem->expressions()))
    EXPECT_FALSE(statement.ends_with(":= false)")) << statement;
}

TEST(PddlReader, AConditionAndAnEffectOfAnotherActionAreApart) {
  PddlTexts read(
      domain_of("(:predicates (clear) (through)) (:durative-action pass :parameters () :duration (= "
                "?duration 2) :condition (at start (clear)) :effect (at end (through)))"
                "(:durative-action close :parameters () :duration (= ?duration 1) :effect (at end "
                "(not (clear))))"),
      problem_of("(:init (clear)) (:goal (through))"));
  ASSERT_EQ(read.error, "");
  EXPECT_TRUE(read.problem->rules().has_mutual_exclusion);
  EXPECT_TRUE(is_valid(read, "0: (close) [1]\n0.999: (pass) [2]"));
  EXPECT_FALSE(is_valid(read, "0: (close) [1]\n1: (pass) [2]"));
}

TEST(PddlReader, WhatParametersDecideIsReadByNobody) {
  PddlTexts read(
      domain_of("(:types t) (:predicates (s ?x - t) (done) (seen ?x - t)) (:action look :parameters (?x - "
                "t) :precondition (imply (s ?x) (not (done))) :effect (and (seen ?x) (when (and (s ?x) "
                "(done)) (not (seen a)))))"),
      problem_of("(:objects a b - t) (:init (s a) (at 4 (done))) (:goal (and))"));
  ASSERT_EQ(read.error, "");
  EXPECT_TRUE(is_valid(read, "4: (look b)"));
  EXPECT_FALSE(is_valid(read, "4: (look a)"));
  EXPECT_TRUE(is_valid(read, "3.9: (look a)"));
}

TEST(PddlReader, AlwaysWithinLooksAtStates) {
  PddlTexts read(
      domain_of("(:predicates (p) (q)) (:durative-action a :parameters () :duration (= ?duration 1) "
                ":effect (and (at start (p)) (at end (not (p))))) (:durative-action b :parameters () "
                ":duration (= ?duration 1) :effect (and (at start (q)) (at end (not (q)))))"),
      problem_of("(:goal (and)) (:constraints (always-within 3 (p) (q)))"));
  ASSERT_EQ(read.error, "");
  const struct {
    const char* plan;
    bool is_valid;
  } rows[] = {{"", true},
              {"0: (a) [1]", false},
              {"0: (a) [1]\n3: (b) [1]", true},
              {"0: (a) [1]\n3.1: (b) [1]", false},
              {"0: (b) [1]\n0.5: (a) [1]", false},  // p outlasts q
              {"0: (b) [1]\n1: (a) [1]", false},    // the state behind the instant counts
              {"1: (a) [1]\n1: (b) [1]", true},
              {"0: (a) [1]\n2: (a) [1]\n3: (b) [1]", true},
              {"0: (a) [1]\n2: (a) [1]\n4: (b) [1]", false}};
  for (const auto& row : rows) EXPECT_EQ(is_valid(read, row.plan), row.is_valid) << row.plan;
}

TEST(PddlReader, PlansOfInstantaneousActionsHaveNoBracket) {
  PddlTexts read(transport, two_places);
  ASSERT_EQ(read.error, "");
  std::istringstream text("0: (drive t1 depot harbour) [2.25]\n3: (load c1 t1 harbour)\n");
  PddlPlanParser parser(read.env, read.problem, read.reader.plan_names());
  std::ostringstream out;
  EXPECT_TRUE(print_pddl_plan(out, *parser.parse(text), read.reader.plan_names()));
  EXPECT_EQ(out.str(),
            "; Makespan 3.000\n0.000: (drive t1 Depot Harbour) [2.250]\n3.000: (load c1 t1 Harbour)\n");
}

/// One action over two objects of type `t`, `a` and `b`, with predicates p, q (one argument), r (none) and
/// functions f (one argument) and g (none); `s` is true of `a` alone and never changes.
struct Small {
  Small(const std::string& action, const std::string& init = "", const std::string& goal = "(and)")
      : texts(
            domain_of(
                "(:types t) (:predicates (p ?x - t) (q ?x - t) (s ?x - t) (r)) (:functions (f ?x - t) (g) "
                "(w ?x - t)) (:action change :parameters (?x ?y - t) :effect (and (not (p ?x)) (not (q "
                "?x)) (r) (assign (f ?x) 0) (assign (g) 0))) (:durative-action act " +
                action + ")"),
            problem_of(
                "(:objects a b - t) (:init (s a) (= (w a) 2) (= (w b) 3) (= (f a) 1) (= (f b) 1) (= (g) 0) " +
                init + ") (:goal " + goal + ")")) {}
  Texts act() const { return texts.problem == nullptr ? Texts{texts.error} : texts.statements("act"); }
  PddlTexts texts;
};

struct Row {
  const char* action;
  Texts statements;
};

TEST(PddlReader, ConditionsAndDurations) {
  const std::vector<Row> rows{
      // No sections at all, and empty ones.
      {":parameters ()", {"(duration >= 0.0)"}},
      {":parameters () :duration () :condition () :effect ()", {"(duration >= 0.0)"}},
      {":duration (and (>= ?duration 2) (at start (<= ?duration (w a))))",
       {"(duration <= 2.0)", "(duration >= 2.0)"}},
      {":parameters (?x - t) :duration (= (+ (w ?x) (f ?x)) ?duration)", {"(duration == (w(x) + f(x)))"}},
      // Times inside of `and` and `forall`; blanks and letters as they come.
      {":duration (= ?duration 1) :condition (AND (at  start (r)) (forall (?z - t) (and (at\nend (p ?z)) "
       "(over all "
       "(or (q ?z) (not (r)))))))",
       {"(all) (q(a) or (not r))", "(all) (q(b) or (not r))", "[end] p(a)", "[end] p(b)", "[start] r",
        "(duration == 1.0)"}},
      // What is known beforehand is decided: s holds of a alone.
      {":duration (= ?duration 1) :condition (at start (exists (?z - t) (and (s ?z) (p ?z))))",
       {"[start] p(a)", "(duration == 1.0)"}},
      {":duration (= ?duration 1) :condition (at start (forall (?z - t) (imply (s ?z) (q ?z))))",
       {"[start] q(a)", "(duration == 1.0)"}},
      {":duration (= ?duration 1) :condition (at start (exists (?z - t) (= ?z b)))", {"(duration == 1.0)"}},
      {":duration (= ?duration 1) :condition (at start (forall (?z - t) (s ?z)))",
       {"[start] false", "(duration == 1.0)"}},
      {":duration (= ?duration 1) :condition (at start (and (< (g) (- 3 5)) (> (w a) -1.5e1) (= (g) (- (* 2 "
       "3)))))",
       {"[start] (g < -2.0)", "[start] (g == -6.0)", "(duration == 1.0)"}},
  };
  for (const Row& row : rows) {
    Texts expected = row.statements;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(Small(row.action).act(), expected) << row.action;
  }
}

TEST(PddlReader, EffectsAtOneMomentAreOneAssignmentEach) {
  const std::vector<Row> rows{
      {":duration (= ?duration 1) :effect (and (at end (r)) (at start (not (r))))",
       {"[end] (r := true)", "[start] (r := false)"}},
      // An add wins over a delete.
      {":duration (= ?duration 1) :effect (at end (and (not (r)) (r)))", {"[end] (r := true)"}},
      {":parameters (?x ?y - t) :duration (= ?duration 1) :effect (at end (and (not (p ?x)) (p ?y)))",
       {"[end] (p(x) := (x == y))", "[end] (p(y) := true)"}},
      {":duration (= ?duration 1) :effect (forall (?z - t) (at end (when (s ?z) (p ?z))))",
       {"[end] (p(a) := true)"}},
      {":duration (= ?duration 1) :effect (at end (forall (?z - t) (and (when (q ?z) (r)) (when (p ?z) (not "
       "(r))))))",
       {"[end] (r := (q(a) or q(b) or (r and (not (p(a) or p(b))))))"}},
      {":duration (= ?duration 3) :effect (at end (and (increase (g) ?duration) (decrease (g) 1) (scale-up "
       "(f a) 2) (scale-down (f b) 2)))",
       {"[end] (f(a) := (f(a) * 2.0))", "[end] (f(b) := (f(b) / 2.0))", "[end] (g := ((g + 3.0) - 1.0))"}},
      // A parameter beside the objects that a quantifier has written out.
      {":parameters (?x - t) :duration (= ?duration 1) :effect (at end (and (p ?x) (forall (?z - t) (not (p "
       "?z)))))",
       {"[end] (p(a) := (a == x))", "[end] (p(b) := (b == x))"}},
      {":duration (= ?duration 1) :effect (at end (when (r) (and (increase (g) 2) (assign (f a) 5))))",
       {"[end] (f(a) := ((__truth(r) * 5.0) + (__truth((not r)) * f(a))))",
        "[end] (g := (g + (__truth(r) * 2.0)))"}},
      // What is kept from the start on.
      {":duration (= ?duration (g)) :effect (and (at end (when (at start (r)) (p a))) (at end (increase (g) "
       "?duration)))",
       {"[end] (__open := false)", "[end] (g := (g + __kept_))", "[end] (p(a) := (__kept or p(a)))",
        "[start] (__kept := r)", "[start] (__kept_ := g)", "[start] (__open := true)",
        "[start] (not __open)"}},
      {":effect (= (g) 5)", {"[start] (g := 5.0)"}},
  };
  for (const Row& row : rows) {
    Texts expected = row.statements;
    Texts found = Small(row.action).act();
    found.erase(std::remove_if(found.begin(), found.end(),
                               [](const std::string& text) { return text.starts_with("(duration"); }),
                found.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(found, expected) << row.action;
  }
}

TEST(PddlReader, ConditionsOfAnEffectAreThoseOfTheStart) {
  // Whoever moves gets a point and the load two for each place that was taken when the move began.
  const std::string domain = domain_of(R"((:types t) (:predicates (at ?x - t)) (:functions (f ?x - t) (load))
    (:durative-action move :parameters (?y - t) :duration (= ?duration (+ 2 (load))) :condition (at start (not (at ?y)))
      :effect (and (at end (at ?y)) (at start (increase (load) 1))
                   (at end (forall (?z - t) (when (at start (at ?z)) (and (not (at ?z)) (increase (f ?y) ?duration))))))))");
  PddlTexts read(
      domain,
      problem_of("(:objects a b c - t) (:init (at a) (= (f a) 0) (= (f b) 0) (= (f c) 0) (= (load) 0)) "
                 "(:goal (and (at b) (not (at c)) (= (f b) 3) (= (f c) 2) (= (load) 2)))"));
  ASSERT_EQ(read.error, "");
  EXPECT_TRUE(is_valid(read, "0: (move c) [2]\n3: (move b) [3]"));
  EXPECT_FALSE(is_valid(read, "0: (move b) [2]\n3: (move c) [3]"));
  // Begun before the first one ends, the second one finds other places taken and another duration.
  EXPECT_FALSE(is_valid(read, "0: (move c) [2]\n1: (move b) [3]"));
  // What an action keeps, a second one of the same name would write over.
  PddlTexts small(domain, problem_of("(:objects a - t) (:init (= (f a) 0) (= (load) 0)) (:goal (at a))"));
  EXPECT_TRUE(is_valid(small, "0: (move a) [2]"));
  EXPECT_FALSE(is_valid(small, "0: (move a) [2]\n1: (move a) [3]"));
}

TEST(PddlReader, ParametersMayStandForOneObject) {
  // Each goal is what the last line of a row brings about, if it can be taken at all.
  const struct {
    const char* effect;
    const char* goal;
    bool is_valid;
  } rows[] = {{"(and (p ?y) (not (p ?x)))", "(p a)", true},
              {"(and (not (p ?y)) (not (p ?x)))", "(not (p a))", true},
              {"(and (not (p ?x)) (when (p ?y) (p ?y)))", "(p a)", true},
              {"(and (increase (f ?x) 1) (decrease (f ?y) 3) (when (p a) (increase (f ?y) 1)))",
               "(= (f a) -1)", true},
              {"(and (assign (f ?x) 2) (when (p ?x) (increase (f ?y) 1)))", "(= (f a) 3)", true},
              // What does not go together is never done to one object.
              {"(and (assign (f ?x) 2) (assign (f ?y) 2))", "(= (f a) 2)", false},
              {"(and (increase (f ?x) 2) (scale-up (f ?y) 2))", "(p a)", false},
              {"(and (forall (?z - t) (assign (f ?z) 1)) (assign (f ?x) 1))", "(p a)", false}};
  for (const auto& row : rows) {
    PddlTexts read(
        domain_of(std::string("(:types t) (:predicates (p ?x - t)) (:functions (f ?x - t)) (:action "
                              "act :parameters (?x ?y - t) :effect ") +
                  row.effect + ") (:action q :parameters (?x - t) :effect (p ?x))"),
        problem_of(std::string("(:objects a b - t) (:init (p a) (= (f a) 0) (= (f b) 0)) (:goal ") +
                   row.goal + ")"));
    ASSERT_EQ(read.error, "");
    EXPECT_EQ(is_valid(read, "0: (act a a)"), row.is_valid) << row.effect;
  }
}

TEST(PddlReader, AnEffectMayDependOnAllTheTimeBefore) {
  // Whoever has been in the light all the time is warm at the end.
  PddlTexts read(
      domain_of(
          "(:types t) (:predicates (lit ?x - t) (warm ?x - t)) "
          "(:durative-action stay :parameters (?x - t) :duration (= ?duration 3) :effect (and (at start "
          "(lit ?x)) (at end (when (over all (lit ?x)) (warm ?x))) (at end (not (lit ?x))))) "
          "(:action dim :parameters (?x - t) :effect (not (lit ?x))) "
          "(:action light :parameters (?x - t) :effect (lit ?x))"),
      problem_of("(:objects a b - t) (:init (at 6 (not (lit a)))) (:goal (warm a))"));
  ASSERT_EQ(read.error, "");
  const struct {
    const char* plan;
    bool is_valid;
  } rows[] = {{"0: (stay a) [3]", true},
              {"0: (stay b) [3]", false},
              {"0: (stay a) [3]\n1: (dim a)\n1.5: (light a)", false},
              {"0: (stay a) [3]\n1: (dim b)", true},
              {"0: (stay a) [3]\n1: (stay b) [3]\n2: (dim b)", true},
              // Before the start, behind the end, and at the end, where something else has to be apart.
              {"0: (dim a)\n1: (stay a) [3]\n5: (dim a)", true},
              {"0: (stay a) [3]\n2.99: (dim a)", false},
              {"5: (stay a) [3]", false},
              {"2.5: (stay a) [3]", true},
              // An earlier time does not count.
              {"0: (stay a) [3]\n3.5: (stay a) [3]", true},
              {"4: (stay a) [3]\n8: (stay a) [3]", true}};
  for (const auto& row : rows) EXPECT_EQ(is_valid(read, row.plan), row.is_valid) << row.plan;
}

TEST(PddlReader, FactsGoalsAndConstraints) {
  const std::vector<Row> rows{
      {"(:init (p a) (not (p b)) (p a) (= (g) -3) (at 5 (not (p a))) (at 0 (r)) (at 5.5 (= (g) 2)) (at 7 "
       "(and (p a) (not (p b)))))",
       {"[11/2] (g := 2.0)", "[5.0] (p(a) := false)", "[7.0] (p(a) := true)", "[7.0] (p(b) := false)",
        "[start] (g := -3.0)", "[start] (p(a) := true)", "[start] (r := true)"}},
      {"(:goal (and (p a) (forall (?z - t) (or (q ?z) (p ?z)))))",
       {"[end] (q(a) or p(a))", "[end] (q(b) or p(b))", "[end] p(a)"}},
      {"(:constraints (and (at end (r)) (forall (?z - t) (always (p ?z))) (sometime (q a)) (within 5 (p a)) "
       "(hold-during 1 2 (r)) (hold-after 3 (r))))",
       {"((start + 1.0), (start + 2.0)] r", "((start + 3.0), end] r", "[all] contains q(a)", "[all] p(a)",
        "[all] p(b)", "[end] r", "[start, (start + 5.0)] contains p(a)"}},
      {"(:goal (and (preference one (r)) (p a))) (:constraints (preference two (always (r))))",
       {"[end] p(a)"}},
  };
  for (const Row& row : rows) {
    PddlTexts read(domain_of("(:types t) (:predicates (p ?x - t) (q ?x - t) (r)) (:functions (g)) (:action "
                             "change :parameters (?x - t) :effect "
                             "(and (p ?x) (q ?x) (r) (assign (g) 1)))"),
                   problem_of(std::string("(:objects a b - t)") + row.action));
    ASSERT_EQ(read.error, "") << row.action;
    // Of the closed world only what is true.
    Texts found = read.statements();
    found.erase(std::remove_if(found.begin(), found.end(),
                               [](const std::string& text) {
                                 return text.starts_with("[start] (") && text.ends_with(" := false)");
                               }),
                found.end());
    EXPECT_EQ(found, row.statements) << row.action;
  }
}

TEST(PddlReader, NamesOfAllKindsAndObjectsOfSeveralTypes) {
  // Requirements that nothing serves, keywords as names, overloads, `either` wherever a type may stand, and
  // an object that is declared twice.
  PddlTexts read(
      "(define (domain d) (:requirements :typing :continuous-effects :derived-predicates :object-fluents "
      ":novel) "
      "(:types truck boat - vehicle person) "
      "(:predicates (at ?x - (either truck person)) (over ?x - vehicle) (start) (minimize ?x ?y - person) "
      "(minimize ?x - person)) (:functions (end) - number (at ?x - truck) - number) "
      "(:action go :parameters (?x - (either boat person)) :precondition (start) "
      ":effect (and (when (over duck) (minimize amy ben)) (minimize ben) (increase (end) 1))) "
      "(:durative-action hop :parameters (?x - truck) :duration (= ?duration (at ?x)) :effect (at end (at "
      "?x))))",
      problem_of("(:objects t - truck duck - (either truck boat) ben - boat amy ben - person s - boat car - "
                 "vehicle) "
                 "(:init (start) (over duck) (= (end) 0) (= (at t) 2) (= (at duck) 3)) "
                 "(:goal (and (minimize amy ben) (minimize ben) (= (end) 1)))"));
  ASSERT_EQ(read.error, "");
  const struct {
    const char* step;
    bool is_valid;
  } rows[] = {{"0: (go duck)", true},
              {"0: (go ben)", true},
              {"0: (go s)", true},
              {"0: (GO Amy)", true},
              {"0: (go t)", false},
              {"0: (go car)", false},
              {"0: (go s)\n1: (hop duck) [3]", true},
              {"0: (go s)\n1: (hop t) [2]", true},
              {"0: (go s)\n1: (hop t) [3]", false},
              {"0: (go s)\n1: (hop s) [2]", false}};
  for (const auto& row : rows) EXPECT_EQ(is_valid(read, row.step), row.is_valid) << row.step;
}

TEST(PddlReader, ConstraintsLookAtTheOrderOfWhatHappens) {
  const struct {
    const char* constraint;
    // Whether it admits: nothing; p; q; p q; q p; p not-p p; p q not-p.
    std::vector<bool> admits;
  } rows[] = {{"(at-most-once (p))", {true, true, true, true, true, false, true}},
              {"(sometime-after (p) (q))", {true, false, true, true, true, false, true}},
              {"(sometime-before (p) (q))", {true, false, true, false, true, false, false}},
              {"(and (sometime (q)) (at-most-once (p)))", {false, false, true, true, true, false, true}},
              {"(always (or (not (p)) (q)))", {true, false, true, false, true, false, false}}};
  const char* const plans[] = {"",
                               "0: (add-p)",
                               "0: (add-q)",
                               "0: (add-p)\n1: (add-q)",
                               "0: (add-q)\n1: (add-p)",
                               "0: (add-p)\n1: (delete-p)\n2: (add-p)",
                               "0: (add-p)\n1: (add-q)\n2: (delete-p)"};
  for (const auto& row : rows) {
    PddlTexts read(domain_of("(:predicates (p) (q)) (:action add-p :effect (p)) (:action add-q :effect (q)) "
                             "(:action delete-p :effect (not (p)))"),
                   problem_of(std::string("(:goal (and)) (:constraints ") + row.constraint + ")"));
    ASSERT_EQ(read.error, "");
    for (std::size_t i = 0; i < row.admits.size(); ++i)
      EXPECT_EQ(is_valid(read, plans[i]), row.admits[i]) << row.constraint << ' ' << plans[i];
  }
}

TEST(PddlReader, MetricsAreKeptAsFarAsTheModelHasThem) {
  using Kind = model::MetricKind;
  const struct {
    const char *metric, *effect;
    std::vector<Kind> kinds;
  } rows[] = {
      {"minimize (total-time)", "(r)", {Kind::MINIMIZE_MAKESPAN}},
      {"minimize (g)", "(increase (g) 2)", {Kind::MINIMIZE_ACTION_COST}},
      {"minimize (g)", "(assign (g) 2)", {Kind::MINIMIZE_EXPRESSION_ON_FINAL_VALUE}},
      {"minimize (g)", "(decrease (g) 2)", {Kind::MINIMIZE_EXPRESSION_ON_FINAL_VALUE}},
      {"maximize (- (g) 3)", "(increase (g) 2)", {Kind::MAXIMIZE_EXPRESSION_ON_FINAL_VALUE}},
      {"minimize (+ (total-time) (* 2 (is-violated one)))", "(r)", {Kind::MINIMIZE_MAKESPAN}},
  };
  for (const auto& row : rows) {
    PddlTexts read(
        domain_of(std::string("(:predicates (r)) (:functions (g)) (:action act :effect ") + row.effect + ")"),
        problem_of(std::string("(:init (= (g) 0)) (:goal (and (r) (preference one (r)))) (:metric ") +
                   row.metric + ")"));
    ASSERT_EQ(read.error, "") << row.metric;
    std::vector<Kind> kinds;
    for (const auto& metric : read.problem->metrics()) kinds.push_back(metric->kind());
    EXPECT_EQ(kinds, row.kinds) << row.metric << ' ' << row.effect;
  }
}

}  // namespace
}  // namespace zorvel
