#include "report/answer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "parsers/anml_parser.h"
#include "parsers/pddl_plan_parser.h"
#include "parsers/ttp_parser.h"
#include "pddl/reader.h"
#include "validation/tt_validator.h"

namespace zorvel::report {

namespace {

using nlohmann::json;

TEST(JsonAnswers, KeepExactTimesAndTheNamesThatPeopleWrote) {
  Environment env;
  PddlReader reader(env);
  // The model renames the second `load`, for an object has the name already.
  const model::ProblemPtr problem = reader.read_texts(
      "(define (domain d) (:types t) (:predicates (p ?x - t)) (:functions (total-cost))\n"
      "(:action Load :parameters (?x - t) :effect (and (p ?x) (increase (total-cost) 3)))\n"
      "(:durative-action wait :parameters () :duration (= ?duration (/ 1 3)) :effect (and)))",
      "(define (problem q) (:domain d) (:objects Load - t) (:init (= (total-cost) 0)) (:goal (p load))\n"
      "(:metric minimize (total-cost)))");
  std::istringstream text("0: (load LOAD)\n1/3: (wait) [1/3]\n");
  const auto plan = PddlPlanParser(env, problem, reader.plan_names()).parse(text);
  const json answer = json::parse(to_json(*plan, problem));
  EXPECT_EQ(answer["makespan"]["exact"], "2/3");
  EXPECT_NEAR(answer["makespan"]["number"].get<double>(), 2.0 / 3, 1e-12);
  EXPECT_EQ(answer["metric"]["name"], "action-costs");
  EXPECT_EQ(answer["metric"]["exact"], "3");
  ASSERT_EQ(answer["steps"].size(), 2U);
  EXPECT_EQ(answer["steps"][0]["action"], "Load");
  EXPECT_EQ(answer["steps"][0]["arguments"], json({"Load"}));
  EXPECT_EQ(answer["steps"][1]["end"]["exact"], "2/3");
  EXPECT_FALSE(answer["steps"][0].contains("object"));
}

TEST(JsonAnswers, TellWhichStepFailsAndWhen) {
  Environment env;
  std::istringstream text(
      "type T with { fluent boolean p; action a() { duration := 2; [end] not p; }; };\n"
      "instance T t;\n[start] t.p := true; [end] t.p;\n");
  const model::ProblemPtr problem = AnmlParser(env).parse(text);
  TTValidator validator(env, problem);
  const auto verdict_of = [&](const std::string& steps) {
    std::istringstream plan_text(steps);
    const auto plan = TTPParser(env, problem).parse(plan_text);
    const bool is_valid = validator.check_validity(plan);
    return json::parse(to_json(
        Verdict{
            is_valid, validator.reason(), validator.failing_step(), validator.failing_time(), {"careful"}},
        problem));
  };
  const json failing = verdict_of("1: t.a() [2]\n");
  EXPECT_EQ(failing["valid"], false);
  EXPECT_EQ(failing["step"]["object"], "t");
  EXPECT_EQ(failing["step"]["start"]["exact"], "1");
  EXPECT_EQ(failing["time"]["exact"], "3");
  EXPECT_EQ(failing["warnings"], json({"careful"}));
  const json wrong_duration = verdict_of("0: t.a() [1]\n");
  EXPECT_EQ(wrong_duration["valid"], false);
  // What the last plan failed on is forgotten.
  const json valid = verdict_of("");
  EXPECT_EQ(valid["valid"], true);
  EXPECT_FALSE(valid.contains("reason") || valid.contains("step"));
}

}  // namespace

}  // namespace zorvel::report
