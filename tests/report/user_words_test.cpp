#include "report/user_words.h"

#include <gtest/gtest.h>

#include <sstream>

#include "parsers/pddl_plan_parser.h"
#include "pddl/reader.h"
#include "report/chart.h"
#include "report/check.h"
#include "search/forward/ftp_planner.h"
#include "test_helpers.h"
#include "validation/tt_validator.h"

namespace zorvel::report {

namespace {

// Names that the model cannot keep: one of an object for an action and a predicate, predicates overloaded by
// the number of arguments, a function that has the name of a predicate. And what the reader adds itself:
// types that were joined, a duration that is kept for the end, a constraint that is watched.
constexpr const char* domain = R"(
(define (domain d)
 (:types truck boat - vehicle)
 (:predicates (at ?x - vehicle) (at ?x ?y - vehicle) (t1) (done ?x - vehicle) (road ?x - vehicle))
 (:functions (at ?x - truck) (sum))
 (:durative-action b1 :parameters (?x - truck) :duration (= ?duration (at ?x))
  :condition (and (at start (at ?x)) (at start (at ?x ?x)) (at end (road ?x)))
  :effect (and (at end (done ?x)) (at end (at ?x b1)) (at end (not (at ?x))) (at end (t1))
               (at end (increase (sum) (* ?duration (at ?x)))) (at end (increase (at ?x) 1))))
 (:durative-action undo :parameters (?x - vehicle) :duration (= ?duration 1)
  :effect (at end (not (done ?x)))))
)";
constexpr const char* problem_text = R"(
(define (problem p) (:domain d) (:objects t1 t2 t3 t4 - truck b1 - boat)
 (:init (at t1) (at t2) (at t3) (at t1 t1) (at t3 t3) (road t1) (road t2) (= (sum) 0) (= (at t1) 1) (= (at t2) 2) (= (at t3) 1))
 (:goal (and (done t1) (at t1 b1) (t1))) (:constraints (at-most-once (done t1))))
)";

class PddlWords : public testing::Test {
 protected:
  PddlWords() : reader(env), problem(reader.read_texts(domain, problem_text, "d.pddl", "p.pddl")) {}

  std::string verdict(const std::string& text) {
    std::istringstream lines(text);
    const auto plan = PddlPlanParser(env, problem, reader.plan_names()).parse(lines);
    TTValidator validator(env, problem);
    if (validator.check_validity(plan)) return "";
    return UserWords(*problem).message(validator.reason());
  }

  Environment env;
  PddlReader reader;
  model::ProblemPtr problem;
};

TEST_F(PddlWords, TheReasonsOfTheValidatorHaveTheNamesOfTheText) {
  const struct {
    const char *plan, *reason;
  } cases[] = {
      {"0: (b1 t1) [1]\n", ""},
      {"0: (b1 t1) [2]\n", "Condition (duration == at(t1)) is violated! (time 0, step 0: b1(t1) [2])"},
      {"0: (b1 t2) [2]\n", "Condition at(t2, t2) is violated! (time 0, step 0: b1(t2) [2])"},
      {"0: (b1 b1) [2]\n", "Step 0: b1(b1) [2] has a parameter 'x' that is no truck"},
      {"0: (b1 t1) [1]\n0.5: (b1 t1) [1]\n",
       "The action overlaps with itself (time 1/2, step 1/2: b1(t1) [1])"},
      {"0: (b1 t3) [1]\n", "Condition road(t3) is violated! (time 1, step 0: b1(t3) [1])"},
      {"0: (b1 t4) [1]\n", "Step 0: b1(t4) [1] needs road(t4), which never holds"},  // how long, nobody says
      {"0: (undo t1) [1]\n",
       "Condition done(t1) is violated! (time 2, statement [end] done(t1) of the problem)"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.plan);
    EXPECT_EQ(verdict(test.plan), test.reason);
  }
}

TEST_F(PddlWords, SoHaveThePageAndTheCheck) {
  tp::ftp::FtpPlanner planner(env, problem);
  const auto plan = std::make_shared<TimeTriggeredPlan>(planner.solve());
  const std::string page = plan_to_html(problem, plan, ChartOptions());
  for (const char* text : {"b1(t1)", "at(t1, t1)", "at(t1, b1) := true"})
    EXPECT_NE(page.find(text), std::string::npos) << text;
  for (const char* inner : {"at_(", "at__(", "b1_(", "__open", "__kept", "__is"})
    EXPECT_EQ(page.find(inner), std::string::npos) << inner;

  Environment other;
  const auto stuck = PddlReader(other).read_texts(
      domain, "(define (problem p) (:objects t1 - truck b1 - boat) (:init (at t1)) (:goal (at t1 b1)))",
      "d.pddl", "p.pddl");
  const std::string found = to_text(check_problem(stuck));
  EXPECT_NE(found.find("the goal at(t1, b1) can never be reached"), std::string::npos) << found;
  EXPECT_NE(found.find("the action 'b1' can never be applied"), std::string::npos) << found;
}

TEST_F(PddlWords, SoHaveWarningsAndErrors) {
  Environment other;
  const auto open = PddlReader(other).read_texts(domain,
                                                 "(define (problem p) (:objects t1 - truck b1 - boat) (:init "
                                                 "(at t1) (road t1) (= (sum) 0)) (:goal (done t1)))",
                                                 "d.pddl", "p.pddl");
  in_user_words(open, [&] {
    const tp::ftp::FtpPlanner first(other, open), second(other, open);
    return 0;
  });
  const std::vector<std::string> said{"These fluents are used and have no initial value: at(t1)"};
  EXPECT_EQ(other.warning_manager().warnings(), said);
  const auto fail = [&] { in_user_words(open, []() -> int { throw InternalError("no at_(t1, t1)"); }); };
  EXPECT_THROW(fail(), InternalError);
  EXPECT_EQ(error_of(fail), "InternalError: no at(t1, t1)");
  other.warning_manager().warn("at_(t1)");
  EXPECT_EQ(other.warning_manager().warnings().back(), "at_(t1)");
}

}  // namespace

}  // namespace zorvel::report
