#include <gtest/gtest.h>

#include <optional>

#include "core/environment.h"
#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "test_helpers.h"

namespace zorvel::model {
namespace {

class ModelObjects : public testing::Test {
 protected:
  std::shared_ptr<ParameterImpl> parameter(const std::string& name, const TypePtr& type) {
    return std::make_shared<ParameterImpl>(name, type);
  }
  Node* number(int value) { return expressions.make_integer_constant(integer(value)); }
  std::shared_ptr<ActionImpl> action(const std::vector<Node*>& statements) {
    return make.make_action("act", {}, false, {}, statements, {});
  }

  Environment env;
  ModelFactory& make = env.model_factory();
  ExpressionFactory& expressions = env.expression_factory();
  const TypePtr boolean = make.make_boolean_type();
  const TypePtr numeric = make.make_integer_type();
};

TEST_F(ModelObjects, AreOneObjectWhereTheirContentIsEqual) {
  const auto x = parameter("x", boolean), other_x = parameter("x", boolean);
  const auto fluent = make.make_fluent("f", boolean, {"Car"}, {x});
  EXPECT_EQ(make.make_fluent("f", boolean, {"Car"}, {x}), fluent);
  EXPECT_NE(make.make_fluent("f", boolean, {"Car"}, {other_x}), fluent);
  EXPECT_NE(make.make_fluent("f", boolean, {"Bus"}, {x}), fluent);
  EXPECT_NE(make.make_fluent("f", numeric, {"Car"}, {x}), fluent);
  EXPECT_NE(make.make_fluent("g", boolean, {"Car"}, {x}), fluent);
  EXPECT_EQ(other_x->owner().lock(), nullptr) << "the fluent made last with it has died";
  EXPECT_EQ(make.make_fluent("f", boolean, {"Car"}, {other_x}),
            make.make_fluent("f", boolean, {"Car"}, {other_x}));

  const auto car = make.make_user_type("Car");
  const auto instance = make.make_instance("c1", car);
  EXPECT_EQ(make.make_instance("c1", car), instance);
  EXPECT_NE(make.make_instance("c1", make.make_user_type("Bus")), instance);
}

TEST_F(ModelObjects, OwnTheirParametersFromTheMomentTheyAreMade) {
  const auto x = parameter("x", boolean), y = parameter("y", boolean), z = parameter("z", boolean);
  const auto fluent = make.make_fluent("f", boolean, {}, {x});
  const auto constant = make.make_constant("c", boolean, {}, {y}, {});
  const auto act = make.make_action("a", {}, false, {z}, {}, {});
  EXPECT_EQ(x->owner().lock(), fluent);
  EXPECT_EQ(y->owner().lock(), constant);
  EXPECT_EQ(z->owner().lock(), act);
}

TEST_F(ModelObjects, OfActionsDifferInAnythingThatTheyDo) {
  Node* const statement = expressions.make_equals(number(1), number(2));
  const auto x = parameter("x", boolean);
  const auto effect = std::make_shared<SimulatedEffectImpl>();
  const auto base = make.make_action("a", {}, false, {x}, {statement}, {effect});
  EXPECT_EQ(make.make_action("a", {}, false, {x}, {statement, statement}, {effect}), base);
  EXPECT_NE(make.make_action("a", {}, true, {x}, {statement}, {effect}), base);
  EXPECT_NE(make.make_action("a", {}, false, {}, {statement}, {effect}), base);
  EXPECT_NE(make.make_action("a", {}, false, {x}, {}, {effect}), base);
  EXPECT_NE(make.make_action("a", {}, false, {x}, {statement}, {}), base);
  EXPECT_NE(make.make_action("a", {}, false, {x}, {statement}, {std::make_shared<SimulatedEffectImpl>()}),
            base);
  EXPECT_NE(make.make_action("a", {"T"}, false, {x}, {statement}, {effect}), base);
}

TEST_F(ModelObjects, OfConstantsCompareTheirTablesByContent) {
  const auto table = [&](int value) { return std::make_shared<FunctionValueImpl>(number(value)); };
  const auto one = make.make_constant("c", numeric, {}, {}, {{"", table(1)}});
  EXPECT_EQ(make.make_constant("c", numeric, {}, {}, {{"", table(1)}}), one);
  EXPECT_NE(make.make_constant("c", numeric, {}, {}, {{"", table(2)}}), one);
  EXPECT_NE(make.make_constant("c", numeric, {}, {}, {{"car", table(1)}}), one);
  EXPECT_NE(make.make_constant("c", numeric, {}, {}, {}), one);
}

TEST_F(ModelObjects, LeaveTheFactoryWithoutTakingAnotherOnesPlace) {
  auto one = make.make_constant("c", numeric, {}, {}, {});
  const auto two =
      make.make_constant("c", numeric, {}, {}, {{"", std::make_shared<FunctionValueImpl>(number(2))}});
  ASSERT_NE(one, two);
  one->set_value(std::make_shared<FunctionValueImpl>(number(2)));  // now equal, and published before `two`
  one.reset();
  EXPECT_EQ(make.make_constant("c", numeric, {}, {}, {{"", std::make_shared<FunctionValueImpl>(number(2))}}),
            two);
  for (int round = 0; round < 3; ++round)  // a dead entry would be found, or looked into, in the next round
    EXPECT_EQ(make.make_fluent("f", boolean, {}, {}).use_count(), 1);
}

TEST_F(ModelObjects, RefuseAParameterNameTwice) {
  const ParameterVector twice{parameter("x", boolean), parameter("x", numeric)};
  const std::string text = "Parameter 'x' already defined for this ";
  expect_error<RedefinitionError>([&] { make.make_fluent("f", boolean, {}, twice); }, text + "fluent");
  expect_error<RedefinitionError>([&] { make.make_constant("c", boolean, {}, twice, {}); },
                                  text + "constant");
  expect_error<RedefinitionError>([&] { make.make_action("a", {}, false, twice, {}, {}); }, text + "action");
}

TEST_F(ModelObjects, SurviveTheirEnvironmentAndReportADeadType) {
  std::optional<Environment> short_lived(std::in_place);
  auto type = short_lived->model_factory().make_user_type("T");
  const auto x = std::make_shared<ParameterImpl>("x", type);
  auto fluent = short_lived->model_factory().make_fluent("f", type, {}, {x});
  auto instance = short_lived->model_factory().make_instance("i", type);
  auto problem =
      short_lived->model_factory().make_problem_instance({}, {fluent}, {}, {instance}, {}, {}, {}, {});
  short_lived.reset();
  type.reset();
  const std::string text = "Trying to lock an expired weak_ptr!";
  expect_error<InternalError>([&] { fluent->type(); }, text);
  expect_error<InternalError>([&] { instance->type(); }, text);
  expect_error<InternalError>([&] { x->type(); }, text);
  problem.reset();
  fluent.reset();
  instance.reset();
}

TEST_F(ModelObjects, OfFunctionValuesMatchTheLongestKeyThatBeginsTheArguments) {
  Node *const a = number(1), *const b = number(2), *const c = number(3);
  Node* const unknown = expressions.make_parameter_reference(parameter("x", numeric));
  FunctionValueImpl table;
  EXPECT_EQ(table.assignment({a, b}), nullptr);
  table.add_assignment({a, b}, number(10));
  table.add_assignment({a}, number(20));
  EXPECT_EQ(table.default_value(), nullptr);
  EXPECT_EQ(table.assignment({b, b}), nullptr);
  table.default_value(number(30));
  const struct {
    std::vector<Node*> arguments;
    Node* value;
  } rows[] = {{{a, b}, number(10)}, {{a, c}, number(20)},    {{b, c}, number(30)},
              {{}, number(30)},     {{unknown, b}, nullptr}, {{a, unknown}, nullptr}};
  for (const auto& row : rows) EXPECT_EQ(table.assignment(row.arguments), row.value);
  table.add_assignment({unknown}, number(40));  // a key is found as it stands, whatever it holds
  EXPECT_EQ(table.assignment({unknown}), number(40));
  EXPECT_TRUE(FunctionValueImpl(a).has_assignments());
}

TEST_F(ModelObjects, AreTemporallyUncertainThroughAnInterval) {
  const auto in = [&](int from, int to) {
    return expressions.make_in_assign(expressions.make_duration_anchor(),
                                      expressions.make_closed_interval(number(from), number(to)));
  };
  Node* const start = expressions.make_point_interval(expressions.make_start_anchor());
  const struct {
    std::vector<Node*> statements;
    bool any, differing;
  } rows[] = {
      {{}, false, false},
      {{expressions.make_assign(expressions.make_duration_anchor(), number(3))}, false, false},
      {{in(3, 3)}, true, false},
      {{in(2, 5)}, true, true},
      {{expressions.make_temporal_expression(start, in(2, 6))}, true, true},
      {{in(3, 3), in(2, 5)}, true, false},  // only the first one counts
  };
  for (const auto& row : rows) {
    const auto act = action(row.statements);
    EXPECT_EQ(act->is_temporally_uncertain(true), row.any) << printed(act);
    EXPECT_EQ(act->is_temporally_uncertain(false), row.differing) << printed(act);
    const auto scope = make.make_fresh_user_type("T"), outer = make.make_fresh_user_type("U");
    scope->add_action(act);
    outer->add_user_type(scope);
    EXPECT_EQ(outer->has_temporal_uncertainty(), row.any);
  }
}

TEST_F(ModelObjects, HaveIntermediateEffectsWhereATimeIsNoPlainEnd) {
  Node *const start = expressions.make_start_anchor(), *const end = expressions.make_end_anchor();
  Node* const later = expressions.make_plus(start, number(2));
  Node* const x = expressions.make_fluent_reference(make.make_fluent("x", boolean, {}, {}), {});
  Node* const assign = expressions.make_assign(x, expressions.make_boolean_constant(true));
  const struct {
    Node* interval;
    Node* body;
    bool has, is_listed;
  } rows[] = {
      {expressions.make_point_interval(start), x, false, false},
      {expressions.make_closed_interval(start, end), x, false, false},
      {expressions.make_point_interval(later), assign, true, true},
      {expressions.make_closed_interval(start, later), x, true, true},
      {expressions.make_closed_interval(start, later), assign, true, false},
      {expressions.make_open_interval(later, end), assign, true, true},
  };
  for (const auto& row : rows) {
    Node* const statement = expressions.make_temporal_expression(row.interval, row.body);
    const auto act = action({x, statement});
    EXPECT_EQ(act->has_intermediate_effects(), row.has) << to_anml(statement);
    EXPECT_EQ(act->intermediate_expressions(), row.is_listed ? ExpressionSet{statement} : ExpressionSet{})
        << to_anml(statement);
  }
}

TEST_F(ModelObjects, OfMetricsCompareByKindAndContent) {
  MinimizeActionCost costs, same, other;
  const auto act = action({});
  costs.add_cost(act, number(1));
  costs.add_cost(act, number(2));
  EXPECT_EQ(costs.cost(act), number(1)) << "the first cost of an action stays";
  same.add_cost(act, number(1));
  other.add_cost(act, number(2));
  EXPECT_TRUE(same_metric(costs, same));
  EXPECT_FALSE(same_metric(costs, other));
  EXPECT_FALSE(same_metric(costs, MinimizeMakespan()));
  EXPECT_FALSE(
      same_metric(MinimizeExpressionOnFinalValue(number(1)), MaximizeExpressionOnFinalValue(number(1))));
  EXPECT_FALSE(
      same_metric(MinimizeExpressionOnFinalValue(number(1)), MinimizeExpressionOnFinalValue(number(2))));
  EXPECT_TRUE(
      same_metric(MinimizeExpressionOnFinalValue(number(1)), MinimizeExpressionOnFinalValue(number(1))));
}

}  // namespace
}  // namespace zorvel::model
