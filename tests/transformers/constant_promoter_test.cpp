#include "transformers/constant_promoter.h"

#include "model/constant.h"
#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {

namespace {

const char* const vocabulary = R"(
    type T; instance T a, b;
    fluent boolean road(T x, T y); fluent integer far(T x, T y); fluent boolean there(T x); fluent integer n;
)";

std::vector<std::string> constants_of(const std::string& statements) {
  Environment env;
  const auto promoter = transform<ConstantPromoter>(parse(env, vocabulary + statements));
  std::vector<std::string> names;
  for (const auto& [name, constant] : promoter->new_problem()->constants()) {
    names.push_back(name);
    EXPECT_FALSE(promoter->new_problem()->has_fluent(name));
  }
  return names;
}

TEST(ConstantPromoter, TablesThatNothingChangesBecomeConstants) {
  Environment env;
  const ProblemPtr problem = parse(env, std::string(vocabulary) + R"(
    action go(T x, T y) {
      duration := far(x, y); [start, end] road(x, y); [start] there(x); [start] there(x) := false;
      [end] there(y) := true; [end] n := n + far(y, x); };
    [start] { road(a, b) := true; road(b, a) := false; road(a, a) := false; road(b, b) := false;
              far(a, b) := 3; there(a) := true; there(b) := false; n := 0; };
    [end] there(b); [end] far(a, b) == 3;)");
  const auto promoter = transform<ConstantPromoter>(problem);
  const ProblemPtr result = promoter->new_problem();
  ASSERT_TRUE(result->has_constant("road"));
  ASSERT_TRUE(result->has_constant("far"));
  EXPECT_EQ(result->constants().size(), 2U);
  // Where all is known, only what is true is kept; where it is not, the rest stays unknown.
  const auto road = result->constants().at("road")->value();
  EXPECT_EQ(road->assignments().size(), 2U);
  EXPECT_EQ(to_anml(road->default_value()), "false");
  EXPECT_EQ(result->constants().at("far")->value()->assignments().size(), 1U);
  EXPECT_EQ(statements(*result), (Lines{"[start] (there(a) := true)", "[start] (there(b) := false)",
                                        "[start] (n := 0)", "[end] there(b)", "[end] (far(a, b) == 3)"}));
  EXPECT_EQ(statements(result, "go"), statements(problem, "go"));

  Node* const a = env.expression_factory().make_instance_reference(problem->instances().at("a"));
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(rational(3), problem->actions().at("go"),
                                                     std::vector{a, a}, rational(1, 2)));
  const auto forward = promoter->map_forward(plan);
  EXPECT_EQ(forward->steps().at(3).front()->action, result->actions().at("go"));
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(promoter->map_back(std::shared_ptr<Plan>(forward)));
  EXPECT_EQ(back->steps().at(3).front()->action, problem->actions().at("go"));
  EXPECT_EQ(error_of([&] { promoter->map_back(std::shared_ptr<Plan>(plan)); }),
            "InternalError: Found an action that is unknown to the transformer!");
}

TEST(ConstantPromoter, WhatMayChangeStaysAFluent) {
  const std::string value = "[start] there(a) := true; ";
  EXPECT_EQ(constants_of(value), std::vector<std::string>{"there"});
  EXPECT_EQ(constants_of(value + value), std::vector<std::string>{"there"});
  EXPECT_EQ(constants_of("[start] n := 1;"), std::vector<std::string>());  // no table
  for (const char* statement :
       {"action act() { [start] there(b) := true; };",
        "action act(T x) { [end] forall (T y) { there(y) := false; }; };", "[5] there(b) := true;",
        "[start] there(a) := false;", "[start] there(b) := road(a, b);",
        "[start] forall (T y) { there(y) := false; };", "[start, end] there(b) := true;"})
    EXPECT_EQ(constants_of(value + statement), std::vector<std::string>()) << statement;
  EXPECT_EQ(constants_of("[start] n := 1; action act() { [end] n :+= 1; };"), std::vector<std::string>());
  EXPECT_EQ(constants_of("fluent boolean on(boolean x); [start] on(true) := true;"),
            std::vector<std::string>());
  Environment env;
  EXPECT_EQ(
      error_of([&] { ConstantPromoter(parse(env, "type A with { fluent integer n; };")).do_computation(); }),
      "InternalError: The constant promoter can be only applied to flattened models!");
}

}  // namespace

}  // namespace zorvel::model
