#include <gtest/gtest.h>

#include <sstream>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"

namespace zorvel {
namespace {

class Plans : public testing::Test {
 protected:
  std::shared_ptr<model::ActionImpl> action(const std::string& name, int parameters = 0) {
    model::ParameterVector formal;
    for (int i = 0; i < parameters; ++i)
      formal.push_back(std::make_shared<model::ParameterImpl>("p" + std::to_string(i),
                                                              env.model_factory().make_boolean_type()));
    return env.model_factory().make_action(name, {}, false, formal, {}, {});
  }
  std::shared_ptr<model::InstanceImpl> instance(const std::string& name) {
    return env.model_factory().make_instance(name, truck);
  }
  Node* reference(const std::string& name) {
    instances.push_back(instance(name));
    return env.expression_factory().make_instance_reference(instances.back());
  }
  static void add(TimeTriggeredPlan& plan, const rational& start,
                  const std::shared_ptr<model::ActionImpl>& action,
                  const std::optional<rational>& duration = std::nullopt) {
    plan.add_step(std::make_shared<TimeTriggeredStep>(start, action, std::vector<Node*>(), duration));
  }
  static std::string text(const Plan& plan) {
    std::ostringstream out;
    plan.print(out);
    return out.str();
  }
  static std::string exact_text(const TimeTriggeredPlan& plan) {
    std::ostringstream out;
    plan.print_exact(out);
    return out.str();
  }

  Environment env;
  std::shared_ptr<model::UserTypeImpl> truck = env.model_factory().make_user_type("Truck");
  std::vector<std::shared_ptr<model::InstanceImpl>> instances;
};

TEST_F(Plans, PrintsStepsByTimeAndThenByInsertion) {
  TimeTriggeredPlan plan(env);
  EXPECT_EQ(text(plan), "");
  EXPECT_EQ(plan.size(), 0u);
  const auto load = action("load", 2), unload = action("unload");
  Node* const truck1 = reference("truck1");
  Node* const box2 = reference("box2");
  add(plan, rational(251, 100), unload);
  plan.add_step(
      std::make_shared<TimeTriggeredStep>(0, load, std::vector<Node*>{truck1, box2}, rational(5, 2)));
  plan.add_step(std::make_shared<TimeTriggeredStep>(0, unload, std::vector<Node*>(), std::nullopt, nullptr,
                                                    instance("truck7")));
  EXPECT_EQ(plan.size(), 3u);
  EXPECT_EQ(text(plan), "0: load(truck1, box2) [2.5]\n0: truck7.unload()\n2.51: unload()\n");
}

TEST_F(Plans, RoundsForPeopleAndKeepsEveryDigitForTools) {
  struct Row {
    rational time;
    const char *rounded, *exact;
  };
  const Row rows[] = {{rational(2, 3), "0.67", "2/3"},
                      {rational(1, 8), "0.13", "1/8"},
                      {rational(25, 2), "12.5", "25/2"},
                      {rational(123456789, 100), "1234567.89", "123456789/100"},
                      {rational(3), "3", "3"}};
  const auto a = action("a");
  for (const Row& row : rows) {
    TimeTriggeredPlan plan(env);
    add(plan, row.time, a, row.time);
    const std::string exact = std::string(row.exact) + ": a() [" + row.exact + "]\n";
    env.configuration().set_value("rational-precision", false);
    EXPECT_EQ(text(plan), std::string(row.rounded) + ": a() [" + row.rounded + "]\n");
    EXPECT_EQ(exact_text(plan), exact);
    env.configuration().set_value("rational-precision", true);
    EXPECT_EQ(text(plan), exact);
  }
}

TEST_F(Plans, PrintsEveryStepForTheReaderWithABracket) {
  TimeTriggeredPlan plan(env);
  add(plan, rational(1, 3), action("a"));
  EXPECT_EQ(exact_text(plan), "1/3: a() [0]\n");
}

TEST_F(Plans, PrintsAPartialOrderWithIdsFromOne) {
  POTPlan plan(env);
  EXPECT_EQ(text(plan), "Steps to execute:\nSubject to:\n");
  const auto a = plan.add_step(0, action("a"), {}, std::nullopt);
  const auto b = plan.add_step(rational(1, 3), action("b"), {}, rational(2), nullptr, instance("t"));
  const auto c = plan.add_step(0, action("c"), {}, rational(1));
  plan.add_precedence(b, c);
  plan.add_precedence(a, c);
  plan.add_precedence(b, c);
  EXPECT_EQ(text(plan),
            "Steps to execute:\n 1) a()\n 2) t.b() with delay 1/3 with duration 2\n"
            " 3) c() with duration 1\nSubject to:\n 3 > 1, 2\n");
  EXPECT_EQ(plan.schedulable_steps({}), (std::vector<POTPlan::StepPtr>{a, b}));
  EXPECT_EQ(plan.schedulable_steps({a}), (std::vector<POTPlan::StepPtr>{b}));
  EXPECT_EQ(plan.schedulable_steps({a, b}), (std::vector<POTPlan::StepPtr>{c}));
}

TEST_F(Plans, PrintsStepsThatACallerHasNumberedByTheirIds) {
  POTPlan plan(env);
  const auto step = [&](unsigned long id, const char* name) {
    return std::make_shared<POTStep>(id, rational(0), action(name), std::vector<Node*>(), std::nullopt);
  };
  const auto last = step(9, "c"), first = step(2, "a"), middle = step(5, "b");
  for (const auto& added : {last, first, middle}) plan.insert_step(added);
  plan.add_precedence(middle, last);
  plan.add_precedence(first, last);
  plan.add_precedence(first, middle);
  EXPECT_EQ(text(plan), "Steps to execute:\n 2) a()\n 5) b()\n 9) c()\nSubject to:\n 5 > 2\n 9 > 2, 5\n");
}

TEST_F(Plans, RefusesStepsOfAnotherPlan) {
  POTPlan plan(env), other(env);
  const auto mine = plan.add_step(0, action("a"), {}, std::nullopt);
  const auto foreign = other.add_step(0, action("a"), {}, std::nullopt);
  for (const auto& [first, second] : {std::pair(mine, foreign), {foreign, mine}}) {
    try {
      plan.add_precedence(first, second);
      FAIL() << "accepted";
    } catch (const InternalError& error) {
      EXPECT_STREQ(error.what(),
                   "InternalError: Trying to set the precedence of a node that does not belong to this "
                   "POTPlan");
    }
  }
  EXPECT_THROW(plan.predecessors(foreign), InternalError);
  EXPECT_TRUE(plan.predecessors(mine).empty());
}

TEST_F(Plans, SchedulesAPartialOrderAsEarlyAsItsPrecedencesAllow) {
  const auto partial_order = std::make_shared<POTPlan>(env);
  Node* const post_condition = env.expression_factory().make_boolean_constant(true);
  const auto a = partial_order->add_step(0, action("a"), {}, rational(2));
  const auto b = partial_order->add_step(0, action("b"), {}, std::nullopt, post_condition, instance("t"));
  const auto c = partial_order->add_step(rational(1, 3), action("c"), {}, rational(3));
  const auto d = partial_order->add_step(0, action("d"), {}, rational(1));
  partial_order->add_precedence(a, b);
  partial_order->add_precedence(c, d);
  partial_order->add_precedence(b, d);
  env.configuration().set_value("plan-epsilon", "0.01");
  env.configuration().set_value("rational-precision", true);
  const TimeTriggeredPlan plan(partial_order);
  EXPECT_EQ(text(plan), "0: a() [2]\n1/3: c() [3]\n201/100: t.b()\n1003/300: d() [1]\n");
  EXPECT_EQ(plan.steps().at(rational(201, 100)).front()->post_condition, post_condition);

  // The other way the start times become delays and nothing else holds the steps, so they come back.
  const auto delays = std::make_shared<POTPlan>(std::make_shared<TimeTriggeredPlan>(plan));
  EXPECT_EQ(text(TimeTriggeredPlan(delays)), text(plan));

  // Copies are equal and their own.
  EXPECT_EQ(text(POTPlan(partial_order)), text(*partial_order));
  EXPECT_THROW(POTPlan(partial_order).predecessors(a), InternalError);

  partial_order->add_precedence(d, a);
  EXPECT_THROW(TimeTriggeredPlan{partial_order}, TemporalNetworkIsUnsat);
}

TEST_F(Plans, RefusesAnEpsilonThatSeparatesNothing) {
  for (const char* text : {"", "x", "0", "0.0", "-1", "1/0"}) {
    env.configuration().set_value("plan-epsilon", text);
    try {
      plan_epsilon(env);
      FAIL() << "accepted '" << text << "'";
    } catch (const InvalidParameterError& error) {
      EXPECT_EQ(std::string(error.what()),
                std::string("InvalidParameterError: The option 'plan-epsilon' must be a positive number, "
                            "not '") +
                    text + "'");
    }
  }
  env.configuration().set_value("plan-epsilon", "1/3");
  EXPECT_EQ(plan_epsilon(env), rational(1, 3));
}

TEST_F(Plans, ConvertOnlyTheFormsThatExist) {
  const std::shared_ptr<Plan> none;
  EXPECT_THROW(TimeTriggeredPlan{none}, InternalError);
  EXPECT_THROW(POTPlan{none}, InternalError);
}

}  // namespace
}  // namespace zorvel
