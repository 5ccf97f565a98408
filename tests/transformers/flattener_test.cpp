#include "transformers/flattener.h"

#include "model/constant.h"
#include "model/model_factory.h"
#include "model/walkers/expression_simplifier.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {

namespace {

constexpr const char* garage = R"(
  type Car with {
    type Wheel with { fluent integer [0, 9] wear; };
    fluent boolean on;
    fluent Wheel spare(integer [0, 3] place);
    constant integer size(integer [0, 1] k);
    action drive(integer [0, 3] place) {
      duration := 2;
      [start] on;
      [end] spare(place).wear := spare(place).wear + 1;
    };
  };
  instance Car c1, c2;
  fluent set(Car) fleet;
  fluent Car best;
  constant Car first := c1;
  c1.size(0) := 4;
  c1.size(1) := 5;
  c2.size(0) := 6;
  action wash(Car c) { duration := 1; [start] not c.on; [start] c.size(0) > 3; [end] best := c; };
  [start] c1.on := true;
  [start] forall (Car c) { c.on := true; };
  [end] best.on;)";

class FlattenerTest : public testing::Test {
 protected:
  Node* reference(const ProblemPtr& problem, const std::string& instance) {
    return env.expression_factory().make_instance_reference(problem->instances().at(instance));
  }

  Environment env;
};

TEST_F(FlattenerTest, MembersOfTypesGoToTheTopLevel) {
  const ProblemPtr problem = parse(env, garage);
  const ProblemPtr flat = transform<Flattener>(problem)->new_problem();
  EXPECT_TRUE(flat->is_flat());
  EXPECT_TRUE(flat->has_user_type("_Car"));
  EXPECT_TRUE(flat->has_user_type("_Car_Wheel"));
  EXPECT_TRUE(flat->user_types().at("_Car")->user_types().empty());
  EXPECT_EQ(statements(flat, "_Car_drive"), (Lines{"(duration := 2)", "[start] _Car_on(object)",
                                                   "[end] (_Car_Wheel_wear(_Car_spare(object, place)) := "
                                                   "(_Car_Wheel_wear(_Car_spare(object, place)) + 1))"}));
  EXPECT_EQ(statements(flat, "wash"), (Lines{"(duration := 1)", "[start] (not _Car_on(c))",
                                             "[start] (_Car_size(c, 0) > 3)", "[end] (best := c)"}));
  EXPECT_EQ(statements(*flat), (Lines{"[start] (_Car_on(c1) := true)", "[end] _Car_on(best)",
                                      "[start] forall (_Car c ) {(_Car_on(c) := true);}"}));
}

TEST_F(FlattenerTest, EveryTypeInTheResultIsFlat) {
  const ProblemPtr problem = parse(env, garage);
  const ProblemPtr flat = transform<Flattener>(problem)->new_problem();
  const TypePtr car = flat->user_types().at("_Car");
  EXPECT_EQ(flat->fluents().at("best")->type(), car);
  EXPECT_EQ(flat->fluents().at("fleet")->type(), env.model_factory().make_set_type(car));
  EXPECT_EQ(flat->fluents().at("_Car_spare")->type(), flat->user_types().at("_Car_Wheel"));
  EXPECT_EQ(flat->actions().at("wash")->parameters().front()->type(), car);
  EXPECT_EQ(flat->constants().at("first")->type(), car);
  for (Node* expression : flat->expressions()) {
    if (!ExpressionFactory::is_forall(expression->children[1])) continue;
    EXPECT_EQ(env.expression_factory().get_parameters_from_forall(expression->children[1]).front()->type(),
              car);
  }
}

TEST_F(FlattenerTest, ConstantsGetTheObjectAsFirstArgument) {
  const ProblemPtr problem = parse(env, garage);
  const ProblemPtr flat = transform<Flattener>(problem)->new_problem();
  ExpressionFactory& f = env.expression_factory();
  const auto size = flat->constants().at("_Car_size")->value();
  const auto value = [&](const char* car, long k) {
    Node* const found = size->assignment({reference(flat, car), f.make_integer_constant(k)});
    return found == nullptr ? "none" : to_anml(found);
  };
  EXPECT_EQ(value("c1", 0), "4");
  EXPECT_EQ(value("c1", 1), "5");
  EXPECT_EQ(value("c2", 0), "6");
  EXPECT_EQ(value("c2", 1), "none");
  EXPECT_EQ(flat->constants().at("first")->value()->default_value(), reference(flat, "c1"));
}

TEST_F(FlattenerTest, StepsAndTheirInstancesAreTranslatedBothWays) {
  const ProblemPtr problem = parse(env, garage);
  const auto flattener = transform<Flattener>(problem);
  const ProblemPtr flat = flattener->new_problem();
  Node* const three = env.expression_factory().make_integer_constant(3);
  const auto drive = problem->user_types().at("Car")->actions().at("drive");

  const ActionStep back = flattener->map_back(
      ActionStep{nullptr, flat->actions().at("_Car_drive"), {reference(flat, "c2"), three}});
  EXPECT_EQ(back.action, drive);
  EXPECT_EQ(back.instance, problem->instances().at("c2"));
  EXPECT_EQ(back.parameters, std::vector<Node*>{three});
  const ActionStep forward = flattener->map_forward(back).front();
  EXPECT_EQ(forward.action, flat->actions().at("_Car_drive"));
  EXPECT_EQ(forward.instance, nullptr);
  EXPECT_EQ(forward.parameters, (std::vector<Node*>{reference(flat, "c2"), three}));

  const ActionStep wash =
      flattener->map_back(ActionStep{nullptr, flat->actions().at("wash"), {reference(flat, "c1")}});
  EXPECT_EQ(wash.instance, nullptr);
  EXPECT_EQ(wash.parameters, std::vector<Node*>{reference(problem, "c1")});

  EXPECT_EQ(error_of([&] {
              flattener->map_back(ActionStep{nullptr, forward.action, {three, three}});
            }),
            "InternalError: Invalid object parameter for action _Car_drive");
  EXPECT_EQ(error_of([&] {
              flattener->map_back(ActionStep{nullptr, forward.action, {}});
            }),
            "InternalError: Invalid object parameter for action _Car_drive");
  EXPECT_EQ(error_of([&] { flattener->map_forward(forward); }),
            "InternalError: Found an action that is unknown to the flattener!");
}

TEST_F(FlattenerTest, PlansKeepTimesPrecedencesAndPostConditions) {
  const ProblemPtr problem = parse(env, garage);
  const auto flattener = transform<Flattener>(problem);
  const ProblemPtr flat = flattener->new_problem();
  ExpressionFactory& f = env.expression_factory();
  Node* const post = f.make_fluent_reference(flat->fluents().at("_Car_on"), {reference(flat, "c1")});

  const auto partial = std::make_shared<POTPlan>(env);
  const auto first =
      partial->add_step(0, flat->actions().at("wash"), {reference(flat, "c1")}, rational(1), post);
  const auto second = partial->add_step(rational(1, 3), flat->actions().at("_Car_drive"),
                                        {reference(flat, "c1"), f.make_integer_constant(0)}, std::nullopt);
  partial->add_precedence(first, second);
  const auto back = std::dynamic_pointer_cast<POTPlan>(flattener->map_back(std::shared_ptr<Plan>(partial)));
  ASSERT_NE(back, nullptr);
  ASSERT_EQ(back->size(), 2u);
  EXPECT_EQ(to_anml(back->steps()[0]->post_condition), "c1.on");
  EXPECT_EQ(back->steps()[1]->delay, rational(1, 3));
  EXPECT_FALSE(back->steps()[1]->has_duration);
  EXPECT_EQ(back->steps()[1]->instance, problem->instances().at("c1"));
  EXPECT_EQ(back->predecessors(back->steps()[1]), std::vector{back->steps()[0]});

  const auto timed = std::make_shared<TimeTriggeredPlan>(std::shared_ptr<Plan>(back));
  const auto forward = flattener->map_forward(timed);
  std::ostringstream expected, found;
  TimeTriggeredPlan(std::shared_ptr<Plan>(partial)).print_exact(expected);
  forward->print_exact(found);
  EXPECT_EQ(found.str(), expected.str());
  EXPECT_EQ(forward->steps().begin()->second.front()->post_condition, post);

  EXPECT_EQ(error_of([&] { flattener->map_back(std::shared_ptr<Plan>()); }),
            "InternalError: Unknown plan kind to be converted by flattener");
  EXPECT_EQ(error_of([&] { flattener->map_back(std::shared_ptr<Plan>(timed)); }),
            "InternalError: Found an action that is unknown to the flattener!");
}

TEST_F(FlattenerTest, ConstantsMayBeGivenByOneAnother) {
  const ProblemPtr flat = transform<Flattener>(parse(env, R"(
    type T with { constant integer size; };
    instance T t;
    constant integer a := b + 1;
    constant integer b := c;
    constant integer c := 4;
    t.size := a;
    action act(T x) { [start] x.size > b; };)"))
                              ->new_problem();
  const ExpressionSimplifier simplify(env);
  const auto value = [&](const char* name) {
    return to_anml(simplify(flat->constants().at(name)->value()->default_value()));
  };
  EXPECT_EQ(value("a"), "5");
  EXPECT_EQ(value("b"), "4");
  EXPECT_EQ(to_anml(simplify(flat->constants().at("_T_size")->value()->assignment({reference(flat, "t")}))),
            "5");
}

TEST_F(FlattenerTest, NamesThatAreTakenGetUnderscores) {
  const ProblemPtr flat = transform<Flattener>(parse(env, R"(
    type T with { fluent boolean f(boolean object); action go(boolean object) { [start] f(object); }; };
    type _T;
    fluent boolean _T_f;
    [start] _T_f := true;)"))
                              ->new_problem();
  EXPECT_TRUE(flat->has_fluent("_T_f"));
  EXPECT_TRUE(flat->has_fluent("_T_f_"));
  EXPECT_EQ(statements(flat, "_T_go"), Lines{"[start] _T_f_(object_, object)"});
  EXPECT_EQ(statements(*flat), Lines{"[start] (_T_f := true)"});
}

TEST_F(FlattenerTest, AFlatProblemKeepsItsNamesAndCostsMove) {
  const ProblemPtr problem = parse(env, "fluent boolean p; action a() { [end] p := true; }; [end] p;");
  const ProblemPtr flat = transform<Flattener>(problem)->new_problem();
  EXPECT_EQ(text_of(flat), text_of(problem));

  const ProblemPtr priced = parse(env, "fluent integer p; action a(integer [0, 2] k) { [end] p := 1; };");
  ExpressionFactory& f = env.expression_factory();
  const auto action = priced->actions().at("a");
  priced->add_action_cost(action, f.make_parameter_reference(action->parameters().front()));
  const ProblemPtr flat_priced = transform<Flattener>(priced)->new_problem();
  const auto& costs = static_cast<const MinimizeActionCost&>(*flat_priced->metrics().front());
  const auto flat_action = flat_priced->actions().at("a");
  ASSERT_NE(costs.cost(flat_action), nullptr);
  EXPECT_EQ(costs.cost(flat_action), f.make_parameter_reference(flat_action->parameters().front()));

  const ProblemPtr unpriced = parse(env, "fluent integer p; action b() {}; action c() {};");
  unpriced->add_action_cost(unpriced->actions().at("b"), f.make_integer_constant(1));
  EXPECT_EQ(error_of([&] { Flattener(unpriced).do_computation(); }),
            "InternalError: The following action does not have a cost: c");
  unpriced->add_metric(std::make_shared<MinimizeActionCost>());
  EXPECT_EQ(error_of([&] { Flattener(unpriced).do_computation(); }),
            "InternalError: Multiple MINIMIZE_ACTION_COST metrics");
}

TEST_F(FlattenerTest, SimulatedEffectsAndBadScopingAreRefused) {
  const ProblemPtr problem = parse(env, "fluent boolean p; action a() {};");
  const auto effect = std::make_shared<SimulatedEffectImpl>(
      SimulatedEffectImpl{env.expression_factory().make_end_anchor(), {}, {}});
  const auto simulated = env.model_factory().make_action("b", {}, false, {}, {}, {effect});
  const ProblemPtr with_effect =
      env.model_factory().make_problem_instance({simulated}, {}, {}, {}, {}, {}, {}, {});
  EXPECT_EQ(error_of([&] { Flattener(with_effect).do_computation(); }),
            "UnsupportedProblemError: Flattening cannot be applied to problem with simulated effects");
}

}  // namespace
}  // namespace zorvel::model
