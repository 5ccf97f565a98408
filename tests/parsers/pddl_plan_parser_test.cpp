#include "parsers/pddl_plan_parser.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "core/configuration.h"
#include "parsers/pddl_parser.h"
#include "parsers/reading.h"
#include "plans/pddl_plan_printer.h"

namespace zorvel {
namespace {

struct Row {
  std::string text, result;
};

/// Plans of one problem, from text to text.
class PddlPlan : public testing::Test {
 protected:
  static std::string exact(const TimeTriggeredPlan& plan) {
    std::ostringstream out;
    plan.print_exact(out);
    return out.str();
  }
  std::shared_ptr<TimeTriggeredPlan> parse(const std::string& text, PddlPlanParser& parser) {
    std::istringstream stream(text);
    return parser.parse(stream);
  }
  /// The plan as exact text, or the error.
  std::string outcome(const std::string& text, PddlPlanParser& parser) {
    try {
      return exact(*parse(text, parser));
    } catch (const std::exception& error) {
      return error.what();
    }
  }
};

class PddlPlanOfAnml : public PddlPlan {
 protected:
  PddlPlanOfAnml()
      : reading(
            "type Alpha with { action go() { duration := 1; }; };"
            "type Beta with { action go(Alpha a) { duration := 1; }; };"
            "instance Alpha x; instance Beta obj;"
            "action a() { duration := 1; }; action instant() { };"
            "action four(Alpha t, integer n, float f, boolean b) { duration := 1; };"),
        parser(reading.env, reading.problem) {}

  Reading reading;
  PddlPlanParser parser;
};

TEST_F(PddlPlanOfAnml, ReadsStepsExactly) {
  const Row rows[] = {
      {"", ""},
      {"\n ; note\r\n\t\n", ""},
      {"0.000: (a) [1.000]", "0: a() [1]\n"},
      {"  0.1\t:( a )[ 5/2 ] ; (a) [3]\r\n", "1/10: a() [5/2]\n"},
      {"007: (a) [010]", "7: a() [10]\n"},
      {"2: (obj.go x) [1]\n1: (x.go) [1]", "1: x.go() [1]\n2: obj.go(x) [1]\n"},
      {"0: (instant)", "0: instant() [0]\n"},
      {"0: (instant) ; now", "0: instant() [0]\n"},
      {"0: (instant) [0]", "0: instant() [0]\n"},
      {"0: (four x -3 -0.5 true) [1]", "0: four(x, -3, -1/2, true) [1]\n"},
      {"0: (four  x\t12345678901234567890 1/3 false ) [1]",
       "0: four(x, 12345678901234567890, 1/3, false) [1]\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(outcome(row.text, parser), row.result);
    EXPECT_EQ(parser.error_line(), 0);
  }
}

TEST_F(PddlPlanOfAnml, RefusesLinesThatAreNoSteps) {
  const Row rows[] = {
      {"a", "at line 1"},
      {"(a) [1]", "at line 1"},
      {"-1: (a) [1]", "at line 1"},
      {"0: a() [1]", "at line 1"},
      {"0: () [1]", "at line 1"},
      {"0: (a [1]", "at line 1"},
      {"0: (a) [1", "at line 1"},
      {"0: (a) []", "at line 1"},
      {"0: (a) [-1]", "at line 1"},
      {"0: (a) [1] (a)", "at line 1"},
      {"0: (.go) [1]", "at line 1"},
      {"0: (obj.) [1]", "at line 1"},
      {"0: (obj.go(x)) [1]", "at line 1"},
      {"0: (four x,1 2 true) [1]", "at line 1"},
      {"\n\n0: (nobody.go) [1]", "Object not found at line 3"},
      {"0: (a) [1]\n0: (A) [1]", "Action not found at line 2"},
      {"0: (obj.go X) [1]", "Parameter not correct: 1"},
      {"0: (obj.go true2) [1]", "Parameter not correct: 1"},
      {"0: (obj.go) [1]", "Wrong number of parameters at line 1"},
      {"0: (a x) [1]", "Wrong number of parameters at line 1"},
      {"; remark\n0: (a)", "The duration is missing at line 2"},
      {"1/0: (a) [1]", "A number with denominator 0 at line 1"},
      {"0: (a) [" + std::string(20000, '1') + "]", "A number is too long at line 1"},
      {"0: (" + std::string(1000000, 'a') + ") [1]", "Action not found at line 1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 50));
    EXPECT_EQ(outcome(row.text, parser), "ParserError: " + row.result);
    EXPECT_EQ(parser.error_line(), row.result.back() - '0');
  }
}

TEST_F(PddlPlanOfAnml, PrintsAsManyDecimalsAsTheTimesNeed) {
  const Row rows[] = {
      {"0: (a) [1]", "; Makespan 1.000\n0.000: (a) [1.000]\n"},
      {"12.5: (instant)", "; Makespan 12.500\n12.500: (instant)\n"},
      {"0.0001: (a) [10]\n1000: (a) [1/8]",
       "; Makespan 1000.1250\n0.0001: (a) [10.0000]\n1000.0000: (a) [0.1250]\n"},
      {"1/128: (a) [1]", "; Makespan 1.0078125\n0.0078125: (a) [1.0000000]\n"},
      {"0: (four x -3 1/3 true) [0]", "; Makespan 0.000\n0.000: (four x -3 1/3 true) [0.000]\n"},
      {"3: (obj.go x) [1]", "; Makespan 4.000\n3.000: (obj.go x) [1.000]\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    std::ostringstream out;
    EXPECT_TRUE(print_pddl_plan(out, *parse(row.text, parser)));
    EXPECT_EQ(out.str(), row.result);
  }
}

TEST_F(PddlPlanOfAnml, RoundsTimesWithoutAnEndAndSaysSo) {
  const struct {
    std::string epsilon, text, result;
  } cases[] = {
      {"0.01", "1/3: (a) [2/3]", "; Makespan 1.00000\n0.33333: (a) [0.66667]\n"},
      {"1", "1/3: (a) [1]", "; Makespan 1.333\n0.333: (a) [1.000]\n"},
      {"0.0001", "1/3: (a) [1]", "; Makespan 1.3333333\n0.3333333: (a) [1.0000000]\n"},
      // 1/3 + 1/3 ends where 2/3 begins.
      {"1", "1/3: (a) [1/3]\n2/3: (a) [1]", "; Makespan 1.667\n0.333: (a) [0.334]\n0.667: (a) [1.000]\n"},
      {"1", "1/3: (a) [1/16]", "; Makespan 0.3958\n0.3333: (a) [0.0625]\n"},
  };
  for (const auto& test : cases) {
    reading.env.configuration().set_value("plan-epsilon", test.epsilon);
    std::ostringstream out;
    EXPECT_FALSE(print_pddl_plan(out, *parse(test.text, parser)));
    EXPECT_EQ(out.str(), test.result);
  }
}

TEST_F(PddlPlanOfAnml, ReadsBackWhatItPrints) {
  std::mt19937 random(3);  // NOLINT: a fixed seed
  for (int round = 0; round < 300; ++round) {
    std::string text;
    for (unsigned step = random() % 5; step-- > 0;) {
      const auto number = [&] {
        return std::to_string(random() % 3000) + "/" + std::to_string(1U << random() % 12);
      };
      const char* const calls[] = {"(a)", "(x.go)", "(obj.go x)", "(four x 4 -1/3 false)"};
      text += number() + ": " + calls[random() % 4] + " [" + number() + "]\n";
    }
    const auto plan = parse(text, parser);
    std::ostringstream out;
    ASSERT_TRUE(print_pddl_plan(out, *plan));
    EXPECT_EQ(outcome(out.str(), parser), exact(*plan)) << text;
  }
}

TEST_F(PddlPlan, HasTheNamesAndTheOrderOfAPddlText) {
  Environment env;
  PddlParser reader(env);
  const auto problem = reader.parse_texts(
      "(define (domain d) (:types t u)\n"
      "(:durative-action load-up :parameters (?a ?b - t ?c - u) :duration (= ?duration 1) :condition (and)"
      " :effect (and)) (:durative-action LOAD-UP :parameters () :duration (= ?duration 1) :condition (and) "
      ":effect "
      "(and)))",
      "(define (problem p) (:objects a-1 b c - t u1 - u))");
  PddlPlanParser parser(env, problem, reader.plan_names());
  const auto plan = parse("0: (load-up a-1 b u1) [1]", parser);
  EXPECT_EQ(exact(*plan), "0: action_load-up(b, a-1, u1) [1]\n");
  std::ostringstream out;
  EXPECT_TRUE(print_pddl_plan(out, *plan, reader.plan_names()));
  EXPECT_EQ(out.str(), "; Makespan 1.000\n0.000: (load-up a-1 b u1) [1.000]\n");
  EXPECT_EQ(outcome("0: (load-down a-1 b u1) [1]", parser), "ParserError: Action not found at line 1");
  // Here, names that differ in case alone are two.
  EXPECT_EQ(exact(*parse("0: (LOAD-UP) [1]", parser)), "0: action_LOAD-UP() [1]\n");
}

}  // namespace
}  // namespace zorvel
