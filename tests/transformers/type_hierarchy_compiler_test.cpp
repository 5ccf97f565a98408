#include "transformers/type_hierarchy_compiler.h"

#include "model/constant.h"
#include "model/model_factory.h"
#include "plans/time_triggered_plan.h"
#include "support.h"
#include "transformers/flattener.h"

namespace zorvel::model {

namespace {

constexpr const char* fleet = R"(
  type Vehicle; type Truck < Vehicle; type Van < Truck; type Plane < Vehicle; type Place;
  instance Vehicle bike; instance Truck t; instance Van v; instance Plane p; instance Place a, b;
  fluent boolean at(Vehicle x, Place l);
  fluent integer [2, 9] load(Truck x);
  fluent Truck lead;
  fluent set(Truck) convoy;
  constant integer seats(Truck x);
  seats(t) := 2; seats(v) := 8;
  action drive(Truck x, Place l) { duration := seats(x); [start] at(x, l); [end] load(x) := 3; };
  action move(Vehicle x) { duration := 1; [start] forall (Truck y) { at(y, a); }; [end] at(x, b) := true; };
  [start] forall (Vehicle x, Place l) { at(x, l) := false; };
  [start] forall (Van x) { load(x) := 4; };
  [start] lead := v;
  [start] convoy := {t, v};
  [end] load(lead) == 3;)";

std::shared_ptr<InstanceImpl> instance(const ProblemPtr& problem, const char* name) {
  return problem->instances().at(name);
}

TEST(TypeHierarchyCompiler, TypesThatMeetBecomeOne) {
  Environment env;
  const ProblemPtr problem = parse(env, fleet);
  const ProblemPtr joined = transform<TypeHierarchyCompiler>(problem)->new_problem();
  std::vector<std::string> types;
  for (const auto& [name, type] : joined->user_types()) {
    types.push_back(name);
    EXPECT_TRUE(type->base_types().empty()) << name;
  }
  EXPECT_EQ(types, (std::vector<std::string>{"Place", "Vehicle"}));
  const TypePtr vehicle = joined->user_types().at("Vehicle");
  for (const char* name : {"bike", "t", "v", "p"})
    EXPECT_EQ(TypePtr(instance(joined, name)->type()), vehicle);
  EXPECT_EQ(instance(joined, "a"), instance(problem, "a"));
  EXPECT_EQ(joined->fluents().at("lead")->type(), vehicle);
  EXPECT_EQ(joined->fluents().at("convoy")->type(), env.model_factory().make_set_type(vehicle));

  // Only a parameter that may not stand for all of them is restricted.
  EXPECT_EQ(statements(joined, "drive"), (Lines{"(duration := seats(x))", "[start] __is_Truck(x)",
                                                "[start] at(x, l)", "[end] (load(x) := 3)"}));
  EXPECT_EQ(statements(joined, "move"),
            (Lines{"(duration := 1)", "[start] at(t, a)", "[start] at(v, a)", "[end] (at(x, b) := true)"}));
  // The places of `load` that `lead` might name get a value; bounds are kept.
  EXPECT_EQ(statements(*joined),
            (Lines{"[start] forall (Vehicle x, Place l ) {(at(x, l) := false);}", "[start] (load(v) := 4)",
                   "[start] (load(bike) := 2)", "[start] (load(p) := 2)", "[start] (lead := v)",
                   "[start] (convoy := {t, v})", "[end] (load(lead) == 3)"}))
      << text_of(joined);
  const auto& member = *joined->constants().at("__is_Truck")->value();
  ExpressionFactory& factory = env.expression_factory();
  for (const auto& [name, is_truck] : {std::pair("bike", false), {"t", true}, {"v", true}, {"p", false}})
    EXPECT_EQ(member.assignment({factory.make_instance_reference(instance(joined, name))}),
              factory.make_boolean_constant(is_truck))
        << name;
}

TEST(TypeHierarchyCompiler, WhatDoesNotMeetStaysAsItIs) {
  const char* const apart[] = {// The root is asked for nowhere, so its branches stay apart.
                               "type V; type T < V; type U < V; instance T t; instance U u; fluent boolean "
                               "p(T x); fluent boolean q(U x);",
                               // Nothing below the declared type has objects.
                               "type V; type T < V; instance V v; fluent boolean p(V x);",
                               "type V; type T < V; instance T t; fluent boolean p(T x);"};
  for (const char* text : apart) {
    SCOPED_TRACE(text);
    Environment env;
    const ProblemPtr problem = parse(env, text);
    EXPECT_FALSE(TypeHierarchyCompiler::is_needed(*problem));
    EXPECT_EQ(transform<TypeHierarchyCompiler>(problem)->new_problem(), problem);
  }
  // Two branches meet, the third has its own.
  Environment env;
  const ProblemPtr problem = parse(env, R"(
      type A; type B; type AB < A < B; type C < A;
      instance AB x; instance A y; instance B z; instance C w;
      fluent boolean p(B x); fluent boolean q(C x); fluent A f;)");
  const ProblemPtr joined = transform<TypeHierarchyCompiler>(problem)->new_problem();
  EXPECT_EQ(joined->user_types().size(), 1U);
  EXPECT_TRUE(joined->has_user_type("A_or_B")) << text_of(joined);
}

TEST(TypeHierarchyCompiler, PlansGoForwardAndBack) {
  Environment env;
  const ProblemPtr problem = parse(env, fleet);
  const auto compiler = transform<TypeHierarchyCompiler>(problem);
  ExpressionFactory& factory = env.expression_factory();
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(
      rational(1), problem->actions().at("drive"),
      std::vector<Node*>{factory.make_instance_reference(instance(problem, "v")),
                         factory.make_instance_reference(instance(problem, "a"))},
      rational(8)));
  const auto image = compiler->map_forward(plan);
  const ActionStep step{nullptr, image->steps().begin()->second.front()->action,
                        image->steps().begin()->second.front()->parameters};
  EXPECT_EQ(step.action, compiler->new_problem()->actions().at("drive"));
  EXPECT_EQ(step.parameters.front(), factory.make_instance_reference(instance(compiler->new_problem(), "v")));
  const ActionStep back = static_cast<const BasicTransformer&>(*compiler).map_back(step);
  EXPECT_EQ(back.action, problem->actions().at("drive"));
  EXPECT_EQ(back.parameters, plan->steps().begin()->second.front()->parameters);
}

TEST(TypeHierarchyCompiler, TheFlattenerKeepsParentsAndPrefersOwnMembers) {
  Environment env;
  const ProblemPtr problem = parse(env, R"(
      type V with {
        type Part; fluent boolean on; fluent integer [0, 9] level; constant integer size;
        action go() { [start] on; [end] level := size; };
        action stop() { [end] on := false; };
      };
      type T < V with {
        fluent integer [0, 5] level; fluent Part spare;
        action go() { [start] not on; [end] level := 1; };
      };
      instance V v; instance T t; t.size := 3; v.size := 2;
      [start] v.level := 1; [start] t.level := 2; [end] t.on;)");
  const ProblemPtr flat = transform<Flattener>(problem)->new_problem();
  EXPECT_TRUE(flat->user_types().at("_T")->is_derived_from(flat->user_types().at("_V"), false));
  EXPECT_EQ(statements(*flat),
            (Lines{"[start] (_V_level(v) := 1)", "[start] (_T_level(t) := 2)", "[end] _V_on(t)"}));
  EXPECT_EQ(statements(flat, "_T_go"),
            (Lines{"[start] (not _V_on(object))", "[end] (_T_level(object) := 1)"}));
  EXPECT_EQ(flat->fluents().at("_T_spare")->type(), flat->user_types().at("_V_Part"));
  // The objects of T have a `go` of their own, and `stop` is inherited.
  EXPECT_EQ(statements(flat, "_V_go"),
            (Lines{"[start] _V_on(object)", "[end] (_V_level(object) := _V_size(object))",
                   "[start] __has_V_go(object)"}));
  EXPECT_EQ(statements(flat, "_V_stop"), (Lines{"[end] (_V_on(object) := false)"}));
  ExpressionFactory& factory = env.expression_factory();
  for (const auto& [name, has_it] : {std::pair("v", true), {"t", false}})
    EXPECT_EQ(flat->constants()
                  .at("__has_V_go")
                  ->value()
                  ->assignment({factory.make_instance_reference(instance(flat, name))}),
              factory.make_boolean_constant(has_it));
  EXPECT_EQ(flat->constants().at("_V_size")->value()->assignment(
                {factory.make_instance_reference(instance(flat, "t"))}),
            factory.make_integer_constant(integer(3)));
}

TEST(TypeHierarchyCompiler, RefusesCallbacks) {
  Environment env;
  const ProblemPtr problem =
      parse(env, "type V; type T < V; instance T t; fluent boolean p(V x); action a() { duration := 1; };");
  const auto& plain = *problem->actions().at("a");
  ExpressionFactory& factory = env.expression_factory();
  const auto effect = std::make_shared<SimulatedEffectImpl>();
  effect->timing = factory.make_end_anchor();
  const auto simulated = env.model_factory().make_action(
      "a", {}, false, {}, {plain.expressions().begin(), plain.expressions().end()}, {effect});
  ProblemParts parts(*problem);
  parts.actions = {simulated};
  TypeHierarchyCompiler compiler(parts.make(env));
  EXPECT_NE(error_of([&] {
              compiler.do_computation();
            }).find("Types below types cannot be joined in a problem with simulated effects"),
            std::string::npos);
}

}  // namespace

}  // namespace zorvel::model
