#include "report/check.h"

#include <gtest/gtest.h>

#include <sstream>

#include "model/action.h"
#include "model/model_factory.h"
#include "parsers/anml_parser.h"
#include "pddl/reader.h"
#include "report/first_moments.h"
#include "report/value_history.h"
#include "search/support.h"
#include "transformers/problem_parts.h"

namespace zorvel::report {

namespace {

std::string checked_anml(const std::string& text) {
  Environment env;
  std::istringstream stream(text);
  return to_text(check_problem(AnmlParser(env).parse(stream, "f.anml")));
}

std::string checked_pddl(const std::string& domain, const std::string& problem) {
  Environment env;
  return to_text(check_problem(PddlReader(env).read_texts(domain, problem, "d.pddl", "p.pddl")));
}

TEST(Check, SaysWhatCannotBeInTime) {
  const std::string chain =
      "fluent boolean p := false; fluent boolean q := false; fluent boolean r := false;\n"
      "action a() { duration := 4; [start] r := true; (start, end] r; [end] p := true; };\n"
      "action b() { duration >= 3; [start] p; [end] q := true; };\n";
  const struct {
    const char *statement, *result;
  } cases[] = {
      {"[start, start + 6] contains q;",
       "f.anml:4: q holds at time 7 at the earliest, too late for the condition [start, (start + 6)] "
       "contains q\n"},
      {"[start, start + 7] contains q;", ""},
      {"[start + 5, start + 9] q;",
       "f.anml:4: q holds at time 7 at the earliest, too late for the condition [(start + 5), (start + 9)] "
       "q\n"},
      {"[start + 7] (q and p);", ""},
      {"[start + 6] (q or r);", ""},
      // The problem itself may bring it about.
      {"[start + 2] p := true;\n[start, start + 5] contains q;", ""},
      {"[start + 2] p := true;\n[start, start + 4] contains q;",
       "f.anml:5: q holds at time 5 at the earliest, too late for the condition [start, (start + 4)] "
       "contains q\n"},
      // Counted from the end, there is none.
      {"[end - 1] q;", ""},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.statement);
    EXPECT_EQ(checked_anml(chain + test.statement + "\n[end] q;\n"), test.result);
  }
}

TEST(Check, WhatACallbackWritesMayBeThereAtOnce) {
  Environment env;
  const auto problem = parse(env, "fluent boolean p := false; action a() { duration := 9; };\n[end] p;");
  const auto& plain = *problem->actions().at("a");
  const auto p = env.expression_factory().make_fluent_reference(problem->fluents().at("p"), {});
  const auto effect = std::make_shared<model::SimulatedEffectImpl>();
  effect->timing = env.expression_factory().make_end_anchor();
  effect->fluents = {p};
  model::ProblemParts parts(*problem);
  EXPECT_EQ(FirstMoments(*problem).of(p), std::nullopt);
  parts.actions = {env.model_factory().make_action(
      "a", {}, false, {}, {plain.expressions().begin(), plain.expressions().end()}, {effect})};
  EXPECT_EQ(FirstMoments(*parts.make(env)).of(p), rational(0));
}

TEST(Check, SaysWhichConditionsOfTheProblemSayNothingOrCannotBeMet) {
  const std::string actions =
      "fluent boolean p := true; fluent boolean q := false; fluent boolean r := false;\n"
      "action a() { duration := 1; [end] q := true; };\n[end] q;\n";
  EXPECT_EQ(checked_anml(actions + "[end] p;\n"), "f.anml:4: the condition [end] p always holds\n");
  const std::string never = checked_anml(actions + "[start + 1, start + 4] contains r;\n");
  EXPECT_NE(
      never.find("f.anml:4: r never holds, and the condition [(start + 1), (start + 4)] contains r needs it"),
      std::string::npos)
      << never;
  EXPECT_EQ(never.find("__"), std::string::npos) << never;
}

TEST(Check, SaysWhereFluentsWithoutAValueAre) {
  EXPECT_EQ(checked_anml("type T with { fluent boolean on; };\ninstance T a, b;\nfluent integer n;\n"
                         "fluent boolean p := false;\n"
                         "action go(T x) { duration := 1; [start] x.on; [end] { n := n + 1; p := true; x.on "
                         ":= false; }; };\n"
                         "[start] a.on := true;\n[end] p;\n"),
            "f.anml:1: the fluent 'on' has no value at the start for b.on\n"
            "f.anml:3: the fluent 'n' has no value at the start for n\n");
}

TEST(Check, NoPlanHasAnythingBeforeItsFirstMoment) {
  int changes = 0, tight = 0;
  for (unsigned seed = 0; seed < 800; ++seed) {
    const std::string text = random_problem(seed);
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
    Environment env;
    const auto problem = parse(env, text);
    tp::ftp::FtpPlanner planner(env, problem);
    planner.set_limits(at_most(2000));
    const auto plan = planner.solve();
    if (plan == nullptr) continue;
    const FirstMoments moments(*planner.problem());
    for (const FluentHistory& history :
         replay_plan(problem, std::make_shared<TimeTriggeredPlan>(plan)).histories) {
      const auto fluent = problem->fluents().at(history.name);
      if (!fluent->type()->is_boolean()) continue;
      Node* const atom = env.expression_factory().make_fluent_reference(fluent, {});
      for (const FluentHistory::Point& point : history.points) {
        const auto first = moments.of(point.value == "true" ? atom : env.expression_factory().make_not(atom));
        ASSERT_TRUE(first.has_value()) << history.name;
        ASSERT_LE(*first, point.time) << history.name << " := " << point.value;
        ++changes;
        if (*first == point.time && point.time > rational(0)) ++tight;
      }
    }
  }
  EXPECT_GT(changes, 150);
  EXPECT_GT(tight, 30);
}

TEST(Check, SaysWhatStandsOut) {
  const struct {
    const char* text;
    const char* result;
  } cases[] = {
      // Nothing.
      {"fluent boolean p := false;\naction a() { duration := 1; [end] p := true; };\ngoal [end] p;\n", ""},
      // A goal with what is missing for it, link by link, and the actions on the way.
      {"fluent boolean p := false;\nfluent boolean q := false;\nfluent boolean r := false;\n"
       "action a() {\n  duration := 1;\n  [start] q;\n  [end] p := true; };\n"
       "action b() {\n  duration := 1;\n  [start] r;\n  [end] q := true; };\n"
       "action c() { duration := 1; [end] r := false; };\ngoal [end] p;\n",
       "f.anml:13: the goal p can never be reached: a() would bring about p, but lacks q; b() would bring "
       "about "
       "q, but lacks r; nothing brings about r\n"
       "f.anml:4: the action 'a' can never be applied: q can never be true\n"
       "f.anml:8: the action 'b' can never be applied: r can never be true\n"},
      // What never changes rules an action out, or a type without objects does.
      {"type T;\ntype U;\ninstance T t, s;\nconstant boolean good(T x);\ngood(t) := false;\ngood(s) := "
       "false;\n"
       "fluent boolean p(T x); [start] forall (T x) { p(x) := false; };\n"
       "action a(T x) { duration := 1;\n  [start] not p(x);\n  [start] good(x);\n  [end] p(x) := true; "
       "};\n"
       "action b(U u) { duration := 1; [end] p(t) := true; };\n",
       "f.anml:10: the action 'a' can never be applied: no choice of its parameters meets [start] good(x)\n"
       "f.anml:12: the action 'b' can never be applied: there is nothing that its parameter 'u' can stand "
       "for\n"
       "f.anml:3: the object 's' is not used: no action can be applied to it, and no goal speaks of it\n"},
      // A condition that says nothing, since nothing makes it false.
      {"fluent boolean p := true;\nfluent boolean q := false;\naction a() { duration := 1;\n  [start] p;\n"
       "  [end] q := true; };\naction b() { duration := 1; [end] p := true; };\ngoal [end] q;\n",
       "f.anml:4: the condition [start] p of the action 'a' always holds\n"},
      // An action may make its own later conditions true.
      {"fluent boolean p := false;\nfluent boolean q := false;\naction a() { duration := 1;\n"
       "  [start] p := true;\n  [end] p;\n  [end] q := true; };\ngoal [end] q;\n",
       ""},
  };
  for (const auto& test : cases) EXPECT_EQ(checked_anml(test.text), test.result) << test.text;
}

TEST(Check, SpeaksInTheWordsOfAPddlText) {
  const std::string domain =
      "(define (domain d) (:types truck - object place)\n(:predicates (at ?t - truck ?p - place)\n"
      "  (road ?a ?b - place) (free ?p - place))\n"
      "(:durative-action Drive :parameters (?t - truck ?a ?b - place)\n :duration (= ?duration 1)\n"
      " :condition (and (at start (at ?t ?a)) (at start (road ?a ?b))\n   (at end (free ?b)))\n"
      " :effect (and (at start (not (at ?t ?a))) (at end (at ?t ?b))))\n"
      "(:action unblock :parameters (?p - place) :precondition (free ?p) :effect (free ?p)))";
  const std::string result = checked_pddl(
      domain,
      "(define (problem p) (:domain d) (:objects t - truck a b c - place)\n(:init (at t a) (road a b))\n"
      "(:goal (and\n  (at t b))))");
  EXPECT_EQ(
      result.find("p.pddl:4:3: the goal at(t, b) can never be reached: Drive(t, a, b) would bring about "
                  "at(t, b), but lacks free(b)"),
      0U)
      << result;
  EXPECT_NE(
      result.find("d.pddl:4:19: the action 'Drive' can never be applied: Drive(t, a, b) lacks free(b)\n"),
      std::string::npos)
      << result;
  EXPECT_EQ(result.find("__"), std::string::npos) << result;
  EXPECT_NE(result.find("p.pddl:1:57: the object 'c' is not used"), std::string::npos) << result;
}

}  // namespace

}  // namespace zorvel::report
