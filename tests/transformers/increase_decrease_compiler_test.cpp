#include "transformers/increase_decrease_compiler.h"

#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {

namespace {

TEST(IncreaseDecreaseCompiler, IncreasesAndDecreasesAreSpeltOut) {
  Environment env;
  const ProblemPtr problem = parse(env, R"(
    type T; instance T t; fluent integer f(T x); fluent integer n; fluent boolean p;
    action a(T x) { [start] f(x) :+= n + 1; [end] n :-= 2; [end] forall (T y) { f(y) :+= 1; }; };
    action b() { [end] p := true; };
    [5] n :+= 3;)");
  ASSERT_TRUE(IncreaseDecreaseCompiler::is_needed(*problem));
  const auto compiler = transform<IncreaseDecreaseCompiler>(problem);
  const ProblemPtr result = compiler->new_problem();
  EXPECT_FALSE(IncreaseDecreaseCompiler::is_needed(*result));
  EXPECT_EQ(statements(result, "a"), (Lines{"[start] (f(x) := (f(x) + (n + 1)))", "[end] (n := (n - 2))",
                                            "[end] forall (T y ) {(f(y) := (f(y) + 1));}"}));
  EXPECT_EQ(statements(*result), Lines{"[5] (n := (n + 3))"});
  EXPECT_EQ(result->actions().at("b"), problem->actions().at("b"));

  Node* const t = env.expression_factory().make_instance_reference(problem->instances().at("t"));
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(rational(3), problem->actions().at("a"), std::vector{t},
                                                     rational(1, 2)));
  const auto forward = compiler->map_forward(plan);
  EXPECT_EQ(forward->steps().at(3).front()->action, result->actions().at("a"));
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(compiler->map_back(std::shared_ptr<Plan>(forward)));
  std::ostringstream expected, found;
  plan->print_exact(expected);
  back->print_exact(found);
  EXPECT_EQ(found.str(), expected.str());
  EXPECT_EQ(error_of([&] { compiler->map_back(std::shared_ptr<Plan>(plan)); }),
            "InternalError: Found an action that is unknown to the transformer!");
}

TEST(IncreaseDecreaseCompiler, OccurrencesInMembersOfTypesCountAsNeed) {
  Environment env;
  const ProblemPtr problem = parse(env,
                                   "type A with { type B with { fluent integer n; action up() { [end] n :+= "
                                   "1; }; }; }; fluent boolean p;");
  EXPECT_TRUE(IncreaseDecreaseCompiler::is_needed(*problem));
  EXPECT_EQ(error_of([&] { IncreaseDecreaseCompiler(problem).do_computation(); }),
            "InternalError: The increase and decrease compiler can be only applied to flattened models!");
  EXPECT_FALSE(IncreaseDecreaseCompiler::is_needed(
      *parse(env, "fluent integer n; action a() { [end] n := n + 1; };")));
}

}  // namespace
}  // namespace zorvel::model
