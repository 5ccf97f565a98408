#include <gtest/gtest.h>

#include "reading.h"

namespace zorvel {
namespace {

// Columns are counted in the text that a row replaces, so each frame ends with a line break before it.
const std::string objects = "(:objects a b - t o - u)";
const std::string declarations =
    "(define (domain d) (:types t u) (:predicates (p ?x - t) (r)) (:functions (f ?x - t) (g))\n";

std::string error_in_domain(const std::string& section) {
  return PddlTexts(declarations + section + ")", "(define (problem e) " + objects + "(:goal (r)))").error;
}
std::string error_in_action(const std::string& fields) {
  return error_in_domain("(:durative-action act :parameters (?x - t)\n" + fields + ")");
}
std::string error_in_problem(const std::string& section) {
  return PddlTexts(declarations + "(:action act :effect (and (r) (assign (g) 1))))",
                   "(define (problem e) " + objects + "\n" + section + ")")
      .error;
}

struct Row {
  std::string text, error;
};

void expect_errors(const std::vector<Row>& rows, std::string (*error_of_text)(const std::string&),
                   const std::string& place) {
  for (const Row& row : rows)
    EXPECT_EQ(error_of_text(row.text), row.error.empty() ? "" : "ParserError: " + place + row.error)
        << row.text;
}

TEST(PddlErrors, OfDeclarations) {
  expect_errors(
      {{"(:types x - y y - x)", "9: a type is below itself: 'x - y - x'"},
       {"(:types object - (either object))", ""},
       {"(:types object - x)", "18: a type is below itself: 'object - x - object'"},
       {"(:acton)", "2: ':acton' is no section of a domain; did you mean ':action'?"},
       {"act", "1: a section such as '(:types ...)' was expected"},
       {"(:derived (p ?x) (r))", "1: ':derived' is not planned for"},
       {"(:process p :parameters ())", "1: ':process' is not planned for"},
       {"(:event e :parameters ())", "1: ':event' is not planned for"},
       {"(:types (x))", "9: a form in place of a type"},
       {"(:types x - ?y)", "13: a type was expected"},
       {"(:constants c - v)", "17: the type 'v' is not declared"},
       {"(:constants c -)", "15: a type is missing behind '-'"},
       {"(:constants - t)", "13: before '-', an object was expected"},
       {"(:predicates q)", "14: a predicate was expected, such as (visited ?x - place)"},
       {"(:predicates (q x))", "17: 'x' in place of a parameter"},
       {"(:predicates (p ?x - u))",
        "15: the predicate 'p' is declared twice, first at domain:1:47 with other types"},
       {"(:functions (h) - t)",
        "19: object fluents are not planned for: a function can only be of type number"},
       {"(:functions (h) -)", "17: a type is missing behind '-'"},
       {"(:functions h)", "13: a function was expected, such as (distance ?x - place)"},
       {"(:predicates (f ?x - object)) (:action f :precondition (h))",
        "57: the predicate 'h' is not declared"},
       {"(:action)", "1: the action has no name"},
       {"(:action m) (:action M)", "22: the action 'M' is declared twice, first at domain:2:10"},
       {"(:action m :effect)", "12: nothing stands behind ':effect'"},
       {"(:action m x y)", "12: a keyword such as ':effect' was expected"},
       {"(:action m :duration 5)", "12: an ':action' has no duration; a ':durative-action' has one"},
       {"(:action m :efect (r))", "12: ':efect' is no part of an action; did you mean ':effect'?"},
       {"(:action m :parameters ?x)", "24: parameters in parentheses were expected"},
       {"(:action m :parameters (?x ?X - t))", "28: the parameter '?X' is declared twice"},
       {"(:action m :effect (r) :effect (r))", "24: the action 'm' has ':effect' twice"},
       {"(:action m :effect (at end (r)))",
        "20: an ':action' has no 'at start' and no 'at end'; a ':durative-action' has"},
       {"(:action m :precondition (at end (r)))",
        "34: an ':action' has no 'at start', 'over all' and 'at end'; a ':durative-action' has"}},
      error_in_domain, "domain:2:");
}

TEST(PddlErrors, OfConditionsEffectsAndDurations) {
  expect_errors(
      {{":condition (q)", "13: the predicate 'q' is not declared"},
       {":condition (p)",
        "13: the predicate 'p' has 0 arguments, not 1 argument as in (p ?x - t) at domain:1:47"},
       {":condition (f ?x)", "13: the predicate 'f' is not declared; it is a function"},
       {":condition (p o)", "15: 'o' is of type u, and argument 1 of (p ?x - t) at domain:1:47 is of type t"},
       {":condition (p ?y)", "15: the parameter '?y' is not declared"},
       {":condition (p c)", "15: the object 'c' is not declared"},
       {":condition (p (f ?x))",
        "15: object fluents are not planned for: an argument is an object or a parameter"},
       {":condition (p (r))",
        "15: object fluents are not planned for: an argument is an object or a parameter"},
       {":condition (p 5)", "15: an argument of 'p' is an object or a parameter"},
       {":condition p", "12: 'p' in place of a form in parentheses"},
       {":condition ((p ?x))", "13: a form begins with a name"},
       {":condition (?x)", "13: a form begins with a name, and not with '?x'"},
       {":condition (not (r) (r))", "12: 'not' takes 1 operand, not 2"},
       {":condition (> (g) a)", "19: a number was expected, and 'a' is an object"},
       {":condition (= (g) a)", "12: '=' between a number and an object"},
       {":condition (> (g) (h))", "20: the function 'h' is not declared"},
       {":condition (> (g) :a)", "19: ':a' in place of an object or a number"},
       {":condition (> (g) #t)", "19: continuous change ('#t') is not planned for"},
       {":condition (> (g) (?x))", "19: a number was expected, such as a function with its arguments"},
       {":condition (> (/ 1 2 3) 1)", "15: '/' takes 2 operands, not 3"},
       {":condition (> (g) 1e99999)", "19: the number '1e99999' is too large or has too many digits"},
       {":condition (forall ?y (r))", "20: parameters in parentheses were expected behind 'forall'"},
       {":condition (or (at start (r)) (r))",
        "16: a time such as 'at start' can stand inside of 'and' and 'forall', and nothing else"},
       {":condition (at start (over all (r)))", "22: a time inside of another one"},
       {":condition (or (preference (r)) (r))",
        "16: a preference can stand inside of 'and' and 'forall', and nothing else"},
       {":condition (> ?duration 1)",
        "15: '?duration' stands for no number here: the duration of the action is not given by '(= ?duration "
        "E)'"},
       {":condition (> (total-time) 1)", "15: only a metric can speak of this"},
       {":duration 5", "11: a duration is given by '(= ?duration E)', '<=', '>=' or an 'and' of these"},
       {":duration (= 5 6)", "11: one side of a duration has to be '?duration'"},
       {":duration (over all (= ?duration 5))", "11: a duration is read at the start"},
       {":effect (over all (r))", "9: an effect takes place at one moment: 'at start' or 'at end'"},
       {":effect (at start (at end (r)))", "19: a time inside of another one"},
       {":effect (increase (g) (* #t 2))",
        "9: continuous change ('#t') is not planned for; give the action the whole change at its end, such "
        "as (at end (increase F (* ?duration E)))"},
       {":effect (increase 5 2)", "19: the first operand of 'increase' has to be a function"},
       {":effect (not (and (r) (r)))", "9: the effect 'not' takes one predicate"},
       {":effect false", "9: 'false' is no effect"},
       {":effect (and (assign (g) 1) (assign (g) 2))",
        "29: the action changes one function twice at one time; only increases and decreases go together"},
       {":effect (increase (g) ?duration)",
        "23: '?duration' stands for no number here: the duration of the action is not given by '(= ?duration "
        "E)'"},
       {":effect (at start (when (at end (r)) (r)))",
        "33: an effect at the start cannot depend on what is true later"},
       {":effect (at start (when (over all (r)) (r)))",
        "35: an effect at the start cannot depend on what is true later"},
       {":effect (forall (?y - t) (not p))", "31: 'p' in place of a form in parentheses"},
       {":effect (when (preference (r)) (r))", "15: a preference cannot stand in the condition of a 'when'"}},
      error_in_action, "domain:3:");
}

TEST(PddlErrors, OfProblems) {
  expect_errors({{"(:init (q))", "9: the predicate 'q' is not declared"},
                 {"(:init (= (f a)))", "8: '=' takes a function and a number"},
                 {"(:init (= (f a) b))", "17: a number was expected, and 'b' is an object"},
                 {"(:init (= 5 (f a)))", "8: the initial state gives a function a number, as in (= (f a) 5)"},
                 {"(:init (or (r) (r)))",
                  "8: a fact was expected, such as (p a), (not (p a)), (= (f a) 5) or (at 3 (p a))"},
                 {"(:init (at -5 (r)))", "12: the time of a fact lies before the start"},
                 {"(:init (at 1e99999 (r)))", "12: the number '1e99999' is too large or has too many digits"},
                 {"(:goal (at start (r)))", "18: a goal holds at the end"},
                 {"(:metric (g))", "1: '(:metric minimize E)' or '(:metric maximize E)' was expected"},
                 {"(:metric minimize (h))", "20: the function 'h' is not declared"},
                 {"(:metric minimize (g)) (:metric minimize (g))", "24: the problem has two metrics"},
                 {"(:constraints (p a))", "15: a constraint such as '(always F)' was expected"},
                 {"(:constraints (within (g) (p a)))", "23: a number was expected"},
                 {"(:constraints (always-within (p a) (r)))", "15: 'always-within' takes 3 operands, not 2"},
                 {"(:constraints (sometime-after (p a)))", "15: 'sometime-after' takes 2 operands, not 1"},
                 {"(:goal (p a) (:metric minimize (g))",
                  "1: the form '(:goal' that begins here is not closed before problem:2:14"},
                 {"(:goal (p a)))", "15: ')' closes no form"},
                 {"(:goal (and $ (p a)))", "13: unknown character '$'"},
                 {"(:goal (and \x01 (p a)))", "13: unknown character '\\x01'"},
                 {"(:goal (and \xc3\xa4 (p a)))", "13: '\xC3\xA4' in place of a form in parentheses"},
                 {"(:predicates (x))", "2: ':predicates' is no section of a problem"},
                 {"(:goal (and ? (p a)))", "13: unknown character '?'"}},
                error_in_problem, "problem:2:");
}

TEST(PddlErrors, OfFramesAndOfWhatIsTooLarge) {
  const std::string domain = "(define (domain d))", problem = "(define (problem e))";
  EXPECT_EQ(
      PddlTexts("(domain d)", problem).error,
      "ParserError: domain:1:1: '(define (domain NAME) ...)' or '(define (problem NAME) ...)' was expected");
  EXPECT_EQ(PddlTexts("(define (domani d))", problem).error,
            "ParserError: domain:1:9: '(domain NAME)' or '(problem NAME)' was expected");
  EXPECT_EQ(PddlTexts(domain, "(define (problem e) (:goal" + std::string(1001, '(')).error,
            "ParserError: problem:1:1025: more than 1000 forms inside of one another");
  // Three parameters that stand for 50, or for 200 objects each.
  const auto error_with = [](int objects, const std::string& action, const std::string& goal = "(and)") {
    std::string names;
    for (int i = 0; i < objects; ++i) names += " o" + std::to_string(i);
    return PddlTexts(
               "(define (domain d) (:types t) (:predicates (p ?x - t) (q ?x ?y ?z - t) (r))\n" + action + ")",
               "(define (problem e) (:objects" + names + " - t)\n(:goal " + goal + "))")
        .error;
  };
  const std::string change = "(:action a :parameters (?x - t) :effect (p ?x))";
  EXPECT_EQ(
      error_with(50, change, "(forall (?x ?y ?z - t) (or (p ?x) (p ?y)))"),
      "ParserError: problem:2:35: the formula has more than 100000 operands when its quantifiers are written "
      "out");
  EXPECT_EQ(error_with(50, "(:action a :effect (forall (?x ?y ?z - t) (p ?x)))"),
            "ParserError: domain:2:43: the effect of 'a' has more than 100000 parts when its quantifiers are "
            "written "
            "out");
  const std::string durative =
      "(:durative-action a :parameters (?x ?y ?z - t) :duration (= ?duration 2) :effect (at end ";
  EXPECT_EQ(error_with(50, durative + "(when (over all (p ?x)) (p ?y))))"),
            "ParserError: domain:2:106: the condition is watched from the start of the action to its end, "
            "and there "
            "are more than 10000 choices of the parameters of 'a'");
}

TEST(PddlErrors, WarningsSayWhatIsLeftOutOrTaken) {
  const struct {
    const char* domain;
    const char* problem;
    std::vector<std::string> warnings;
  } rows[] = {{"(:types v)\n(:types t - v) (:types t - v)",
               "(:objects a - t) (:objects a - t)",
               {"domain:3:24: the type 't' is declared twice, first at domain:3:9",
                "problem:2:28: the object 'a' is declared twice, first at problem:2:11"}},
              {"(:types t)\n(:predicates (p ?x - t))",
               "",
               {"domain:4:15: the predicate 'p' is declared twice, first at domain:3:15"}},
              {"(:types t)",
               "(:init (r) (not (r)) (= (g) 1) (= (g) 2))",
               {"problem:2:17: the initial state says something else of 'r' before; it is taken to be true",
                "problem:2:35: the initial state says something else of 'g' before; this is taken"}},
              {"(:types t)",
               "(:constraints (preference (always (r)))) (:goal (and (preference x (r)) (preference (r))))",
               {"problem:2:54: preferences are left out of account; there are 3"}},
              {"(:types t)",
               "(:metric maximize (total-time))",
               {"problem:2:1: a metric that wants a longer plan is left out of account"}},
              {"(:types t)",
               "(:metric minimize (+ (* 2 (total-time)) (g)))",
               {"problem:2:1: of the metric, only 'total-time' is kept; what is added to it is left out"}},
              {"(:types t)",
               "(:metric minimize (+ (g) (* (total-time) (total-time))))",
               {"problem:2:26: a part of the metric that is no sum is left out of account"}}};
  for (const auto& row : rows) {
    PddlTexts read(
        std::string("(define (domain d)\n") + row.domain +
            "\n(:predicates (p ?x - t) (r)) (:functions (g)) (:action m :effect (and (r) (assign (g) 1))))",
        std::string("(define (problem e)\n") + row.problem + ")");
    EXPECT_EQ(read.error, "");
    EXPECT_EQ(read.warnings(), row.warnings) << row.domain << row.problem;
  }
}

TEST(PddlErrors, ShowsUpToTenOfThemAndWhereAnOpenFormBegan) {
  const std::string domain = declarations + ")";
  EXPECT_EQ(PddlTexts(domain, "(define (problem e)\n(:goal (r))").error,
            "ParserError: problem:1:1: the form '(define' that begins here is not closed");
  // What follows the form that was left open is read all the same.
  EXPECT_EQ(PddlTexts("(define (domain d)\n(:predicates (r)\n(:action m :effect (q)))",
                      "(define (problem e)\n(:goal (s)))")
                .error,
            "ParserError: domain:2:1: the form '(:predicates' that begins here is not closed before "
            "domain:3:1\ndomain:3:21: the predicate 'q' is not declared\n"
            "problem:2:9: the predicate 's' is not declared");
  std::string goal, expected = "ParserError: ";
  for (int i = 0; i < 11; ++i) {
    goal += "\n(x)";
    if (i < 10)
      expected += (i == 0 ? "" : "\n") + ("problem:" + std::to_string(i + 2)) +
                  ":2: the predicate 'x' is not declared";
  }
  EXPECT_EQ(PddlTexts(domain, "(define (problem e) (:goal (and " + goal + ")))").error, expected);
}

}  // namespace
}  // namespace zorvel
