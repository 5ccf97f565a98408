#include "model/problem_instance.h"

#include <gtest/gtest.h>

#include "core/environment.h"
#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "test_helpers.h"

namespace zorvel::model {
namespace {

class ProblemInstance : public testing::Test {
 protected:
  Node* number(int value) { return expressions.make_integer_constant(integer(value)); }
  std::shared_ptr<ParameterImpl> parameter(const std::string& name, const TypePtr& type) {
    return std::make_shared<ParameterImpl>(name, type);
  }
  Node* at(Node* time, Node* body) {
    return expressions.make_temporal_expression(expressions.make_point_interval(time), body);
  }
  Node* contains(const std::string& label, Node* body) {
    Node* const all =
        expressions.make_closed_interval(expressions.make_start_anchor(), expressions.make_end_anchor());
    return expressions.make_temporal_expression(expressions.make_contains(all, nullptr, label), body);
  }
  ProblemPtr problem_of(const std::vector<std::shared_ptr<FluentImpl>>& fluents,
                        const std::vector<std::shared_ptr<InstanceImpl>>& instances = {},
                        const std::vector<std::shared_ptr<UserTypeImpl>>& types = {},
                        const std::vector<Node*>& statements = {}) {
    return make.make_problem_instance({}, fluents, {}, instances, types, statements, {}, {});
  }
  std::vector<std::string> texts(const std::vector<Node*>& nodes) {
    std::vector<std::string> result;
    for (Node* node : nodes) result.push_back(to_anml(node));
    return result;
  }

  Environment env;
  ModelFactory& make = env.model_factory();
  ExpressionFactory& expressions = env.expression_factory();
  const TypePtr boolean = make.make_boolean_type();
  const TypePtr numeric = make.make_integer_type();
  const TypePtr digit = make.make_integer_type(integer(0), integer(1));
};

TEST_F(ProblemInstance, PrintsItsSectionsInOrder) {
  const auto car = make.make_user_type("Car"), taxi = make.make_user_type("Taxi");
  taxi->add_base_type(car);
  const auto fee = make.make_constant("fee", numeric, {"Taxi"}, {}, {});
  fee->set_value("t1", std::make_shared<FunctionValueImpl>(number(4)));
  taxi->add_constant(fee);
  const auto t1 = make.make_instance("t1", taxi), c1 = make.make_instance("c1", car);
  Node* const c1_node = expressions.make_instance_reference(c1);

  const auto distance = make.make_constant(
      "distance", numeric, {}, {parameter("a", car), parameter("b", car), parameter("c", boolean)}, {});
  const auto distances = std::make_shared<FunctionValueImpl>(number(9));
  distances->add_assignment({c1_node}, number(7));
  distances->add_assignment({c1_node, c1_node, expressions.make_boolean_constant(true)}, number(8));
  distance->set_value(distances);
  const auto pi = make.make_constant("pi", numeric, {}, {}, {});
  pi->set_value(std::make_shared<FunctionValueImpl>(number(3)));
  const auto unset = make.make_constant("unset", numeric, {}, {}, {});

  const auto near = make.make_fluent("near", boolean, {}, {parameter("a", car), parameter("b", car)});
  const auto busy = make.make_fluent("busy", boolean, {}, {});
  Node* const busy_node = expressions.make_fluent_reference(busy, {});
  Node* const effect = at(expressions.make_start_anchor(),
                          expressions.make_assign(busy_node, expressions.make_boolean_constant(true)));
  const auto go = make.make_action("go", {}, false, {parameter("from", car)}, {effect}, {});
  const auto stop = make.make_action("stop", {}, false, {}, {}, {});

  const auto problem = make.make_problem_instance({stop, go}, {near, busy}, {distance, pi, unset}, {t1, c1},
                                                  {taxi, car}, {effect}, {}, {});
  EXPECT_EQ(printed(problem),
            "constant integer distance(Car a, Car b, boolean c);\n"
            "constant integer pi;\n"
            "constant integer unset;\n"
            "\n"
            "fluent boolean busy;\n"
            "fluent boolean near(Car a, Car b);\n"
            "\n"
            "type Car with {\n};\n\n"
            "type Taxi < Car with {\n"
            "constant integer fee;\n"
            "};\n"
            "t1.fee := 4;\n\n"
            "\n"
            "action go(Car from) {\n[start] (busy := true);\n};\n"
            "action stop() {\n};\n"
            "\n"
            "instance Car c1;\n"
            "instance Taxi t1;\n"
            "\n"
            "distance(*) := 9;\n"
            "distance(c1, *, *) := 7;\n"
            "distance(c1, c1, true) := 8;\n"
            "pi := 3;\n"
            "\n"
            "[start] (busy := true);\n");
  EXPECT_EQ(printed(problem_of({})), "\n");
  EXPECT_EQ(printed(make.make_problem_instance({}, {}, {unset}, {}, {}, {}, {}, {})),
            "constant integer unset;\n\n\n");
}

TEST_F(ProblemInstance, IsOneObjectForOneContent) {
  const auto f = make.make_fluent("f", boolean, {}, {});
  Node* const f_node = expressions.make_fluent_reference(f, {});
  const auto act = make.make_action("a", {}, false, {}, {}, {});
  const auto build = [&](const std::vector<Node*>& statements, const LabelsOrdering& ordering,
                         const std::vector<std::shared_ptr<PlanQualityMetric>>& metrics) {
    return make.make_problem_instance({act}, {f}, {}, {}, {}, statements, ordering, metrics);
  };
  const auto cost = [&](int value) {
    const auto metric = std::make_shared<MinimizeActionCost>();
    metric->add_cost(act, number(value));
    return metric;
  };
  const auto plain = build({f_node}, {}, {});
  const auto makespan = build({f_node}, {}, {std::make_shared<MinimizeMakespan>()});
  const auto priced = build({f_node}, {}, {cost(1)});
  EXPECT_EQ(build({f_node, f_node}, {}, {}), plain);
  EXPECT_EQ(build({f_node}, {}, {std::make_shared<MinimizeMakespan>()}), makespan);
  EXPECT_EQ(build({f_node}, {}, {cost(1)}), priced);
  EXPECT_NE(plain, makespan);
  EXPECT_NE(makespan, priced);
  EXPECT_NE(build({f_node}, {}, {cost(2)}), priced);
  EXPECT_NE(build({f_node}, {{f_node, f_node}}, {}), plain);
  EXPECT_NE(build({}, {}, {}), plain);
}

TEST_F(ProblemInstance, FindsInstancesOfDerivedTypesByTheirParents) {
  const auto car = make.make_user_type("Car"), taxi = make.make_user_type("Taxi");
  taxi->add_base_type(car);
  const auto c1 = make.make_instance("c1", car), t1 = make.make_instance("t1", taxi);
  const auto parked = make.make_fluent("parked", boolean, {}, {parameter("c", car)});
  const auto problem = problem_of({parked}, {t1, c1}, {car, taxi});
  EXPECT_EQ(problem->instances(car), (InstanceMap{{"c1", c1}, {"t1", t1}}));
  EXPECT_EQ(problem->instances(taxi), (InstanceMap{{"t1", t1}}));
  EXPECT_EQ(texts(problem->all_ground_fluents(false)), std::vector<std::string>{"parked(c1)"});
  EXPECT_TRUE(problem->has_set_type(car) && problem->has_set_type(taxi));
  expect_error<InternalError>([&] { domain_item(env, problem, car, 1); },
                              "Required element is out-of-bounds!");
}

TEST_F(ProblemInstance, EnumeratesItsGroundFluentsTheLastParameterFastest) {
  const auto none = make.make_user_type("None");
  const auto f = make.make_fluent("f", boolean, {}, {parameter("x", boolean), parameter("y", digit)});
  const auto half = make.make_rational_type(rational("1/2"), rational("1/2"));
  const auto g = make.make_fluent("g", numeric, {}, {parameter("x", half)});
  const auto h = make.make_fluent("h", boolean, {}, {parameter("x", boolean), parameter("y", none)});
  const auto a = make.make_fluent("a", numeric, {}, {});
  const auto problem = problem_of({f, g, h, a});
  EXPECT_EQ(
      texts(problem->all_ground_fluents(false)),
      (std::vector<std::string>{"a", "f(true, 0)", "f(true, 1)", "f(false, 0)", "f(false, 1)", "g(1/2)"}));
  EXPECT_EQ(problem->all_ground_fluents(true).size(), 4u);
}

TEST_F(ProblemInstance, RefusesToEnumerateWhatHasNoGroundFluents) {
  const std::string text = "The problem instance contains a non-groundable fluent.";
  const auto level = make.make_fluent("level", numeric, {}, {parameter("n", numeric)});
  const auto problem = problem_of({level});
  expect_error<InvalidParameterError>([&] { problem->all_ground_fluents(false); }, text);
  EXPECT_TRUE(problem->all_ground_fluents(true).empty());
  const TypePtr huge = make.make_integer_type(integer(0), integer("1000000000000000000000"));
  expect_error<InvalidParameterError>([&] { domain_size({}, huge); }, text);
  EXPECT_EQ(domain_size({}, make.make_integer_type(integer(3), integer(1))), 0u);
  const TypePtr set = make.make_set_type(boolean);
  const auto members = problem_of({make.make_fluent("members", boolean, {}, {parameter("s", set)})});
  expect_error<InternalError>([&] { members->all_ground_fluents(true); },
                              "Found an undefined finite-domain type");

  const auto car = make.make_user_type("Car");
  car->add_fluent(make.make_fluent("on", boolean, {"Car"}, {}));
  EXPECT_FALSE(problem_of({}, {}, {car})->is_flat());
  expect_error<InvalidParameterError>([&] { problem_of({}, {}, {car})->all_ground_fluents(false); },
                                      "The problem instance is not flat!");
}

TEST_F(ProblemInstance, TakesLabelsFromLabelledContainsStatementsAlone) {
  Node* const x = expressions.make_fluent_reference(make.make_fluent("x", boolean, {}, {}), {});
  Node *const seen = contains("seen", x), *const unnamed = contains("", x);
  const auto problem = problem_of({}, {}, {}, {seen, unnamed, seen});
  EXPECT_EQ(problem->labels(), (std::map<std::string, Node*>{{"seen", seen}}));
  EXPECT_TRUE(problem->has_contains());
  EXPECT_FALSE(problem->has_name("seen"));
  expect_error<RedefinitionError>(
      [&] {
        problem_of({}, {}, {}, {seen, contains("seen", expressions.make_not(x))});
      },
      "Label 'seen' already defined");
}

TEST_F(ProblemInstance, CountsInstancesAmongItsNames) {
  const auto car = make.make_user_type("Car");
  const auto c1 = make.make_instance("c1", car);
  EXPECT_TRUE(problem_of({}, {c1}, {car})->has_name("c1"));
  expect_error<RedefinitionError>([&] { problem_of({make.make_fluent("c1", boolean, {}, {})}, {c1}); },
                                  "Instance 'c1' already defined");
}

TEST_F(ProblemInstance, LooksIntoNestedTypesForItsFeatures) {
  Node* const x = expressions.make_fluent_reference(make.make_fluent("x", numeric, {}, {}), {});
  Node* const flows =
      at(expressions.make_start_anchor(), expressions.make_assign(x, expressions.make_time_anchor()));
  Node* const each =
      expressions.make_forall({parameter("p", boolean)}, {expressions.make_equals(x, number(1))});
  const auto inner = make.make_user_type("Inner"), outer = make.make_user_type("Outer");
  outer->add_user_type(inner);
  const auto problem = problem_of({}, {}, {outer});
  EXPECT_FALSE(problem->has_processes() || problem->has_sets() || problem->has_forall() ||
               problem->has_continuous_change());
  EXPECT_TRUE(problem->is_ground(false));
  inner->add_fluent(
      make.make_fluent("f", make.make_set_type(boolean), {"Outer", "Inner"}, {parameter("p", boolean)}));
  EXPECT_TRUE(problem->has_sets());
  EXPECT_TRUE(problem->is_ground(true));
  EXPECT_FALSE(problem->is_ground(false));
  inner->add_action(
      make.make_action("a", {"Outer", "Inner"}, true, {parameter("p", boolean)}, {flows, each}, {}));
  EXPECT_TRUE(problem->has_processes() && problem->has_forall() && problem->has_continuous_change());
  EXPECT_FALSE(problem->is_ground(true));
}

TEST_F(ProblemInstance, GathersActionCostsInOneMetric) {
  ProblemInstanceImpl problem(env, {});
  const auto a = make.make_action("a", {}, false, {}, {}, {}),
             b = make.make_action("b", {}, false, {}, {}, {});
  problem.add_metric(std::make_shared<MinimizeMakespan>());
  problem.add_action_cost(a, number(1));
  problem.add_action_cost(b, number(2));
  ASSERT_EQ(problem.metrics().size(), 2u);
  const auto& costs = static_cast<const MinimizeActionCost&>(*problem.metrics()[1]);
  EXPECT_EQ(costs.cost(a), number(1));
  EXPECT_EQ(costs.cost(b), number(2));
}

}  // namespace
}  // namespace zorvel::model
