#include "parsers/ttp_parser.h"

#include <gtest/gtest.h>

#include <random>

#include "model/instance.h"
#include "model/model_factory.h"
#include "model/user_type.h"
#include "parsers/reading.h"

namespace zorvel {
namespace {

using namespace model;

class TTPParserTest : public testing::Test {
 protected:
  TTPParserTest()
      : reading(
            "type Alpha with { action go() { duration := 1; }; };"
            "type Beta with { action go(Alpha a) { duration := 1; }; action own() { duration := 1; }; };"
            "instance Alpha x; instance Beta obj;"
            "action a() { duration := 1; };"
            "action four(Alpha t, integer n, float f, boolean b) { duration := 1; };"),
        parser(reading.env, reading.problem) {}

  std::shared_ptr<TimeTriggeredPlan> parse(const std::string& text) {
    std::istringstream stream(text);
    return parser.parse(stream);
  }
  /// The plan as exact text, or the error.
  std::string outcome(const std::string& text) {
    try {
      std::ostringstream out;
      parse(text)->print_exact(out);
      return out.str();
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  Reading reading;
  TTPParser parser;
};

struct Row {
  std::string text, result;
};

TEST_F(TTPParserTest, ReadsStepsExactly) {
  const Row rows[] = {
      {"", ""},
      {"\n  \n; note\n   ; note\r\n\t\r\n", ""},
      {"0: a() [1]", "0: a() [1]\n"},
      {"1/2: a() [3/2]\n", "1/2: a() [3/2]\n"},
      {"  0.1\t:a ()[ 2.50 ]  \r\n", "1/10: a() [5/2]\n"},
      {"007: a() [010]", "7: a() [10]\n"},
      {"0.333333333333333333333: a() [0]", "333333333333333333333/1000000000000000000000: a() [0]\n"},
      {"2: a() [1]\n1: obj.own() [1]\n2: obj.own() [1]", "1: obj.own() [1]\n2: a() [1]\n2: obj.own() [1]\n"},
      {"0: four(x, 1, 2/3, true) [1]", "0: four(x, 1, 2/3, true) [1]\n"},
      {"0: four(x,\t-12,  -0.25, false) [1]", "0: four(x, -12, -1/4, false) [1]\n"},
      {"0: four(x, 1, 2.0, true) [1]", "0: four(x, 1, 2.0, true) [1]\n"},
      {"0: own() [1]", "0: own() [1]\n"},
      {"0: obj.a() [1]", "0: obj.a() [1]\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(outcome(row.text), row.result);
    EXPECT_EQ(parser.error_line(), 0);
  }
}

TEST_F(TTPParserTest, RefusesEveryOtherLine) {
  const Row rows[] = {
      {"0.5 : a ( ) [ 2 ]", "at line 1"},
      {"0: a()", "at line 1"},
      {"\n\n0: a() [1", "at line 3"},
      {"0: a() [1] x", "at line 1"},
      {"0: a() [-1]", "at line 1"},
      {"-1: a() [1]", "at line 1"},
      {"1.: a() [1]", "at line 1"},
      {"1/: a() [1]", "at line 1"},
      {".a() [1]", "at line 1"},
      {"0: .a() [1]", "at line 1"},
      {"0: a.b.c() [1]", "at line 1"},
      {"0: four(x, 1 , 2/3, true) [1]", "at line 1"},
      {"0: four(x,, 1) [1]", "at line 1"},
      {"0: four(x,) [1]", "at line 1"},
      {"0: four(\x01) [1]", "at line 1"},
      {"0: nobody.a() [1]", "Object not found at line 1"},
      {"; first\n0: fly() [1]", "Action not found at line 2"},
      {"0: four(x, 1, 2/3) [1]", "Wrong number of parameters at line 1"},
      {"0: a(x) [1]", "Wrong number of parameters at line 1"},
      {"0: a(y) [1]", "Parameter not correct: 1"},
      {"0: a(a.b) [1]", "Parameter not correct: 1"},
      {"0: a(x.b) [1]", "Action parameters not correct at line 1"},
      {"0: a(true2) [1]", "Action parameters not correct at line 1"},
      {"0: a(1x) [1]", "Action parameters not correct at line 1"},
      {"0: a(1/2/3) [1]", "Action parameters not correct at line 1"},
      {"0: a(-x) [1]", "Action parameters not correct at line 1"},
      {"0: a() [1/0]", "A number with denominator 0 at line 1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(outcome(row.text), "ParserError: " + row.result);
    EXPECT_GT(parser.error_line(), 0);
  }
  EXPECT_EQ(outcome("0: four(x, 2147483647, 0.5, true) [1]"), "0: four(x, 2147483647, 1/2, true) [1]\n");
  EXPECT_THROW(parse("0: four(x, 2147483648, 0.5, true) [1]"), std::out_of_range);
  EXPECT_EQ(outcome("0: four(x, 2147483648, 0.5, true) [1]"), "stoi");
}

TEST_F(TTPParserTest, PrefersTheActionOfTheObjectsOwnType) {
  const auto step_action = [&](const std::string& text) {
    return parse(text)->steps().begin()->second.at(0)->action;
  };
  const auto& types = reading.problem->user_types();
  EXPECT_EQ(step_action("0: obj.go(x) [1]"), types.at("Beta")->actions().at("go"));
  EXPECT_EQ(step_action("0: x.go() [1]"), types.at("Alpha")->actions().at("go"));
  EXPECT_EQ(step_action("0: go() [1]"), types.at("Alpha")->actions().at("go"));  // the first type by name
}

TEST_F(TTPParserTest, ReadsNamesWithADash) {
  ModelFactory& factory = reading.env.model_factory();
  const auto type = factory.make_fresh_user_type("loc");
  const auto parameter = std::make_shared<ParameterImpl>("l", type);
  const auto move = factory.make_action("move-to", {}, false, {parameter}, {}, {});
  const auto place = factory.make_instance("loc-1", type);
  const auto problem = factory.make_problem_instance({move}, {}, {}, {place}, {type}, {}, {}, {});
  std::istringstream stream("0: move-to(loc-1) [1]\n");
  std::ostringstream out;
  TTPParser(reading.env, problem).parse(stream)->print_exact(out);
  EXPECT_EQ(out.str(), "0: move-to(loc-1) [1]\n");
}

TEST_F(TTPParserTest, ReadsBackWhatIsPrintedExactly) {
  std::mt19937 random(7);
  const auto below = [&](unsigned bound) { return std::to_string(random() % bound); };
  std::string text;
  for (int i = 0; i < 500; ++i) {
    const std::string time = below(50) + "/" + std::to_string(1 + random() % 40);
    const bool has_arguments = random() % 2 == 0;
    text +=
        time + ": " +
        (has_arguments ? "four(x, " + below(9) + ", -" + below(99) + "." + below(99) + ", true)" : "a()") +
        " [" + below(9) + "." + below(1000) + "]\n";
  }
  const std::string printed = outcome(text);
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 500);
  EXPECT_EQ(outcome(printed), printed);
}

TEST_F(TTPParserTest, SurvivesLongLines) {
  EXPECT_EQ(outcome("; " + std::string(1000000, 'x')), "");
  EXPECT_EQ(outcome(std::string(1000000, ' ')), "");
  EXPECT_EQ(outcome("0: " + std::string(1000000, 'a') + "() [1]"), "ParserError: Action not found at line 1");
  EXPECT_EQ(outcome("0: a(" + std::string(1000000, '(')), "ParserError: at line 1");
  EXPECT_EQ(outcome(std::string(1000000, '9') + ": a() [1]"), "ParserError: A number is too long at line 1");
  std::string many = "0: a(x";
  for (int i = 0; i < 100000; ++i) many += ", x";
  EXPECT_EQ(outcome(many + ") [1]"), "ParserError: Wrong number of parameters at line 1");
}

}  // namespace
}  // namespace zorvel
