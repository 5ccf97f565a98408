#include "report/check.h"

#include <gtest/gtest.h>

#include <sstream>

#include "parsers/anml_parser.h"
#include "pddl/reader.h"

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
