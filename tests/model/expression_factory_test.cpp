#include "model/expression_factory.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "core/environment.h"
#include "core/errors.h"
#include "model/model_factory.h"

namespace zorvel::model {
namespace {

class Expressions : public testing::Test {
 protected:
  Environment env;
  ExpressionFactory& make = env.expression_factory();
  ModelFactory& objects = env.model_factory();
  Node* t = make.make_boolean_constant(true);
  Node* f = make.make_boolean_constant(false);
  Node* one = make.make_integer_constant(1);
  Node* start = make.make_start_anchor();
  Node* end = make.make_end_anchor();
  std::shared_ptr<FluentImpl> fluent(const std::string& name) {
    return objects.make_fluent(name, objects.make_boolean_type(), {}, {});
  }
};

std::string message_of(const std::function<void()>& call) {
  try {
    call();
  } catch (const ZorvelError& error) {
    return error.what();
  }
  return "no error";
}

TEST_F(Expressions, EqualDataGivesOneNodeAndUsesNoSerialNumber) {
  const auto at = fluent("at");
  const auto p = std::make_shared<ParameterImpl>("p", objects.make_boolean_type());
  const std::vector<std::function<Node*()>> makers = {
      [&] { return make.make_and(t, f); },
      [&] { return make.make_and(f, t); },
      [&] { return make.make_or(t, f); },
      [&] { return make.make_and({t}); },
      [&] { return make.make_and(std::vector<Node*>()); },
      [&] { return make.make_equals(t, f); },
      [&] { return make.make_iff(t, f); },
      [&] { return make.make_integer_constant(2); },
      [&] { return make.make_rational_constant(2); },
      [&] {
        return make.make_rational_constant({1, 2});
      },
      [&] {
        return make.make_rational_constant({1, 3});
      },
      [&] { return make.make_integer_constant(integer(10).pow(40)); },
      [&] { return make.make_integer_constant(-integer(10).pow(40)); },
      [&] { return make.make_unresolved_symbol("x", {}); },
      [&] { return make.make_unresolved_symbol("x", {one}); },
      [&] { return make.make_label_reference("x"); },
      [&] { return make.make_contains(make.make_point_interval(start), nullptr, "x"); },
      [&] { return make.make_contains(make.make_point_interval(start), nullptr, ""); },
      [&] { return make.make_open_interval(start, end); },
      [&] { return make.make_closed_interval(start, end); },
      [&] { return make.make_left_open_interval(start, end); },
      [&] { return make.make_right_open_interval(start, end); },
      [&] { return make.make_fluent_reference(at, {}); },
      [&] { return make.make_fluent_reference(at, {one}); },
      [&] { return make.make_parameter_reference(p); },
      [&] { return make.make_forall({p}, {t}); },
      [&] {
        return make.make_forall({p, p}, {t});
      },
      [&] {
        return make.make_forall({p}, {t, f});
      },
  };
  std::vector<Node*> nodes;
  for (const auto& maker : makers) nodes.push_back(maker());
  const std::uint64_t size = make.node_manager().size();
  for (std::size_t i = 0; i < makers.size(); ++i) {
    EXPECT_EQ(makers[i](), nodes[i]) << i;
    for (std::size_t j = 0; j < i; ++j) EXPECT_NE(nodes[i], nodes[j]) << i << " and " << j;
  }
  EXPECT_EQ(make.node_manager().size(), size);
}

TEST_F(Expressions, EveryKindPrintsAsTheLanguageWritesIt) {
  const auto type = objects.make_user_type("Rover");
  const auto at = fluent("at");
  const auto distance = objects.make_constant("distance", objects.make_integer_type(), {}, {}, {});
  const auto p = std::make_shared<ParameterImpl>("p", type);
  const auto q = std::make_shared<ParameterImpl>("q", objects.make_boolean_type());
  const auto spirit = objects.make_instance("spirit", type);
  const auto drive = objects.make_action("drive", {}, false, {}, {}, {});
  Node* x = make.make_fluent_reference(at, {});
  Node* whole = make.make_closed_interval(start, end);
  Node* point = make.make_point_interval(start);
  const std::vector<std::pair<Node*, std::string>> rows = {
      {make.make_and({t, f, x}), "(true and false and at)"},
      {make.make_and(std::vector<Node*>()), "()"},
      {make.make_and({x}), "(at)"},
      {make.make_or(t, f), "(true or false)"},
      {make.make_not(x), "(not at)"},
      {make.make_imply(t, f), "(true implies false)"},
      {make.make_equals(one, one), "(1 == 1)"},
      {make.make_iff(t, f), "(true == false)"},
      {make.make_lt(one, one), "(1 < 1)"},
      {make.make_le(one, one), "(1 <= 1)"},
      {make.make_gt(one, one), "(1 > 1)"},
      {make.make_ge(one, one), "(1 >= 1)"},
      {make.make_times({one, one, one}), "(1 * 1 * 1)"},
      {make.make_plus({one}), "(1)"},
      {make.make_div(one, one), "(1 / 1)"},
      {make.make_minus(one, make.make_plus(one, one)), "(1 - (1 + 1))"},
      {make.make_unary_minus(x), "(at * -1)"},
      {make.make_sqrt(x, one), "(sqrt(at, 1))"},
      {make.make_assign(x, t), "(at := true)"},
      {make.make_increase(x, one), "(at :+= 1)"},
      {make.make_decrease(x, one), "(at :-= 1)"},
      {make.make_in_assign(make.make_duration_anchor(), make.make_closed_interval(one, one)),
       "(duration :in [1, 1])"},
      {whole, "[all]"},
      {make.make_open_interval(start, end), "(all)"},
      {make.make_left_open_interval(start, end), "(all]"},
      {make.make_right_open_interval(start, end), "[all)"},
      {make.make_right_open_interval(end, start), "[end, start)"},
      {point, "[start]"},
      {make.make_temporal_expression(point, make.make_assign(x, t)), "[start] (at := true)"},
      {make.make_time_anchor(), "#t"},
      {make.make_scoping(x, make.make_unresolved_symbol("b", {})), "at.unresolved<b>"},
      {make.make_rational_constant(2), "2.0"},
      {make.make_rational_constant({-3, 4}), "-3/4"},
      {make.make_integer_constant(2), "2"},
      {make.make_unresolved_symbol("a", {one, t}), "unresolved<a>(1, true)"},
      {make.make_fluent_reference(at, {one, t}), "at(1, true)"},
      {make.make_constant_reference(distance, {one}), "distance(1)"},
      {make.make_constant_reference(distance, {}), "distance"},
      {make.make_parameter_reference(p), "p"},
      {make.make_instance_reference(spirit), "spirit"},
      {make.make_label_reference("l"), "start(l)"},
      {make.make_action_status_is(spirit, drive, "running"), "spirit.drive.action_status_is(running)"},
      {make.make_action_status_is(drive, "running"), "drive.action_status_is(running)"},
      {make.make_contains(whole, nullptr, ""), "[all] contains"},
      {make.make_contains(whole, nullptr, "l"), "[all] contains l:"},
      {make.make_contains(whole, make.make_ge(make.make_duration_anchor(), one), ""),
       "[all] contains [(duration >= 1)]"},
      {make.make_contains(whole, one, "l"), "[all] contains [1] l:"},
      {make.make_in(x, make.make_set_constant({t, f})), "(at in {true, false})"},
      {make.make_subset(x, make.make_set_constant({})), "(at subset {})"},
      {make.make_union(x, x), "(at union at)"},
      {make.make_intersection(x, x), "(at intersection at)"},
      {make.make_difference(x, x), "(at \\ at)"},
      {make.make_forall({p, q}, {make.make_assign(x, t), t}),
       "forall (Rover p, boolean q ) {(at := true);true;}"},
      {make.make_forall({p}, {}), "forall (Rover p ) {}"},
  };
  for (const auto& [node, text] : rows) EXPECT_EQ(to_anml(node), text);
}

TEST_F(Expressions, DeepAndWideExpressionsPrint) {
  Node* deep = t;
  for (int i = 0; i < 1000000; ++i) deep = make.make_not(deep);
  const std::string text = to_anml(deep);
  EXPECT_EQ(text.size(), 1000000 * std::string("(not )").size() + 4);
  EXPECT_EQ(text.substr(4999990, 16), "(not (not true))");
  EXPECT_EQ(to_anml(make.make_plus(std::vector<Node*>(100000, one))).size(), 100000 * 4 - 1U);
}

TEST_F(Expressions, IntervalsAreToldApart) {
  Node* point = make.make_point_interval(start);
  Node* closed = make.make_closed_interval(start, end);
  Node* left_open = make.make_left_open_interval(start, end);
  EXPECT_TRUE(make.is_closed_interval(point) && make.is_point_interval(point));
  EXPECT_TRUE(make.is_closed_interval(closed) && !make.is_point_interval(closed));
  EXPECT_TRUE(make.is_left_open_interval(left_open) && !make.is_right_open_interval(left_open));
  EXPECT_TRUE(make.is_right_closed(left_open) && !make.is_left_closed(left_open));
  EXPECT_FALSE(make.is_closed_interval(t) || make.is_open_interval(t) || make.is_left_closed(t));
  EXPECT_EQ(make.make_interval(start, end, false, true), left_open);
  EXPECT_TRUE(make.is_zero(make.make_rational_constant(0)) && make.is_zero(make.make_integer_constant(0)));
  EXPECT_FALSE(make.is_zero(one) || make.is_zero(f));
}

TEST_F(Expressions, AnInAssignNeedsADurationAndAClosedInterval) {
  Node* duration = make.make_duration_anchor();
  const std::string complaint = "InternalError: Found an :in assign having non-compatible operands: ";
  EXPECT_EQ(message_of([&] { make.make_in_assign(start, make.make_closed_interval(one, one)); }),
            complaint + "[1, 1]");
  EXPECT_EQ(message_of([&] { make.make_in_assign(duration, make.make_right_open_interval(one, one)); }),
            complaint + "[1, 1)");
  EXPECT_EQ(message_of([&] { make.make_in_assign(duration, t); }), complaint + "true");
}

TEST_F(Expressions, ReadersRefuseOtherKinds) {
  const std::vector<std::pair<std::function<void()>, std::string>> rows = {
      {[&] { (void)make.get_fluent_from_reference(t); }, "A fluent reference was expected"},
      {[&] { (void)make.get_constant_from_reference(t); }, "A constant reference was expected"},
      {[&] { (void)make.get_parameter_from_reference(t); }, "A parameter reference was expected"},
      {[&] { (void)make.get_instance_from_reference(t); }, "An instance reference was expected"},
      {[&] { make.get_boolean_constant(one); }, "A boolean constant was expected"},
      {[&] { make.get_integer_constant(make.make_rational_constant(2)); },
       "An integer constant was expected"},
      {[&] { make.get_rational_constant(make.make_plus(one, one)); },
       "A rational constant was expected, got (1 + 1)"},
      {[&] { make.get_rational_constant(one); }, "A rational constant was expected, got 1"},
      {[&] { make.get_name_from_label_reference(t); }, "A label reference node was expected"},
      {[&] { make.get_label_from_contains(make.make_label_reference("l")); }, "A contains node was expected"},
      {[&] { (void)make.get_action_from_action_status_is(t); }, "An 'action status is' node was expected"},
      {[&] { make.get_parameters_from_forall(t); }, "A 'forall' node was expected"},
      {[&] { make.get_name_from_unresolved_symbol(t); }, "An unresolved symbol was expected"},
  };
  for (const auto& [call, text] : rows) EXPECT_EQ(message_of(call), "InvalidParameterError: " + text);
  EXPECT_EQ(make.get_numeric_constant(one), rational(1));
  EXPECT_EQ(make.get_name_from_unresolved_symbol(make.make_unresolved_symbol("x", {t})), "x");
}

TEST_F(Expressions, ADeadObjectIsReportedAndNeverTakenForANewOne) {
  // The object lives in memory of our own, so that the next one certainly has the same address.
  std::optional<ParameterImpl> memory;
  const auto occupy = [&](const std::string& name) {
    memory.emplace(name, objects.make_boolean_type());
    return std::shared_ptr<ParameterImpl>(&*memory, [&](ParameterImpl*) { memory.reset(); });
  };
  auto first = occupy("first");
  Node* old_reference = make.make_parameter_reference(first);
  EXPECT_EQ(make.get_parameter_from_reference(old_reference), first);
  first.reset();
  EXPECT_EQ(message_of([&] { (void)make.get_parameter_from_reference(old_reference); }),
            "InternalError: Trying to lock an expired weak_ptr!");
  EXPECT_EQ(message_of([&] { to_anml(old_reference); }),
            "InternalError: Trying to lock an expired weak_ptr!");
  const auto second = occupy("second");
  Node* new_reference = make.make_parameter_reference(second);
  EXPECT_NE(new_reference, old_reference);
  EXPECT_EQ(to_anml(new_reference), "second");
  EXPECT_EQ(make.make_parameter_reference(second), new_reference);
}

}  // namespace
}  // namespace zorvel::model
