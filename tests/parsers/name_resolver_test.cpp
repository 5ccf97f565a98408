#include "parsers/name_resolver.h"

#include <gtest/gtest.h>

#include "model/constant.h"
#include "model/fluent.h"
#include "model/function_value.h"
#include "model/instance.h"
#include "model/user_type.h"
#include "parsers/reading.h"

namespace zorvel {
namespace {

using namespace model;
using Texts = std::vector<std::string>;

/// The value of a constant as ANML text; "" if there is none.
std::string value_of(const ConstantImpl& constant, const std::string& instance,
                     const std::vector<Node*>& arguments) {
  const auto table = constant.value(instance);
  Node* const value = table ? table->assignment(arguments) : nullptr;
  return value == nullptr ? "" : to_anml(value);
}

TEST(NameResolver, ConstantsOfTheTopLevelHideThoseOfTypes) {
  Reading reading(
      "type A with { constant integer c; constant integer d; }; type Z with { constant integer c; };"
      "instance A a; instance Z z; constant integer c := 1; a.c := 2; z.c := 3; a.d := c;"
      "constant integer e := c + a.c; fluent boolean p(integer [0, 9] i); [start] p(c) := true;");
  ASSERT_EQ(reading.error, "");
  const auto& members = reading.problem->user_types().at("A")->constants();
  EXPECT_EQ(value_of(*reading.problem->constants().at("c"), "", {}), "1");
  EXPECT_EQ(value_of(*members.at("c"), "a", {}), "2");
  ExpressionFactory& factory = reading.env.expression_factory();
  Node* const statement = *reading.problem->expressions().begin();
  Node* const read = statement->children[1]->children[0]->children[0];
  EXPECT_EQ(factory.get_constant_from_reference(read), reading.problem->constants().at("c"));
}

TEST(NameResolver, GivesConstantsTheirValues) {
  Reading reading(
      "type T with { constant integer size; constant T twin; }; instance T a, b, c;"
      "constant integer plain := 2 + 3;"
      "constant integer cost(T t, T u);"
      "cost(*) := 1; cost(a, *) := 2; [start] cost(a, b) := 3; [0] cost(b) := 4;"
      "constant float ratio := 1; constant set(T) some := {a, b}; constant set(T) none := {};"
      "a.size := 10; b.size := 20; a.twin := b;"
      "constant boolean table(integer [0, 9] i); table(1 + 1) := true; table(*) := false;");
  ASSERT_EQ(reading.error, "");
  EXPECT_TRUE(reading.problem->expressions().empty());
  const auto& constants = reading.problem->constants();
  ExpressionFactory& factory = reading.env.expression_factory();
  const auto instance = [&](const char* name) {
    return factory.make_instance_reference(reading.problem->instances().at(name));
  };
  Node *const a = instance("a"), *const b = instance("b"), *const c = instance("c");
  EXPECT_EQ(value_of(*constants.at("plain"), "", {}), "(2 + 3)");
  EXPECT_EQ(value_of(*constants.at("cost"), "", {c, a}), "1");
  EXPECT_EQ(value_of(*constants.at("cost"), "", {a, c}), "2");
  EXPECT_EQ(value_of(*constants.at("cost"), "", {a, b}), "3");
  EXPECT_EQ(value_of(*constants.at("cost"), "", {b, b}), "4");
  EXPECT_EQ(value_of(*constants.at("ratio"), "", {}), "1");
  EXPECT_EQ(value_of(*constants.at("some"), "", {}), "{a, b}");
  EXPECT_EQ(value_of(*constants.at("none"), "", {}), "{}");
  const auto integer_node = [&](int value) { return factory.make_integer_constant(value); };
  EXPECT_EQ(value_of(*constants.at("table"), "", {integer_node(2)}), "true");
  EXPECT_EQ(value_of(*constants.at("table"), "", {integer_node(3)}), "false");
  const auto& members = reading.problem->user_types().at("T")->constants();
  EXPECT_EQ(value_of(*members.at("size"), "a", {}), "10");
  EXPECT_EQ(value_of(*members.at("size"), "b", {}), "20");
  EXPECT_EQ(value_of(*members.at("size"), "c", {}), "");
  EXPECT_EQ(value_of(*members.at("twin"), "a", {}), "b");
}

TEST(NameResolver, BindsConstantsInValuesToTheOnesWithValues) {
  // In both orders of the names: what is used is made first, whatever it is called.
  Reading reading(
      "type T with { constant integer size; }; instance T t;"
      "constant integer a := b + 1; constant integer b := t.size; constant integer c := a * b; t.size := 7;"
      "constant integer f(integer [0, 9] i); f(0) := a; f(*) := c;");
  ASSERT_EQ(reading.error, "");
  ExpressionFactory& factory = reading.env.expression_factory();
  for (const auto& [name, constant] : reading.problem->constants())
    for (const auto& [instance, table] : constant->all_values())
      for (const auto& [arguments, value] : table->assignments()) {
        std::vector<Node*> open{value};
        while (!open.empty()) {
          Node* const node = open.back();
          open.pop_back();
          open.insert(open.end(), node->operands().begin(), node->operands().end());
          if (!ExpressionFactory::is_constant_reference(node)) continue;
          EXPECT_FALSE(factory.get_constant_from_reference(node)->all_values().empty()) << name;
        }
      }
}

TEST(NameResolver, RefusesConstantsThatAreNotOne) {
  const std::string head =
      "type T with { constant integer size; }; instance T t; t.size := 1;"
      "fluent T place; fluent integer level; constant integer c(T t); c(*) := 1;\n";
  struct Row {
    std::string text, error;
  };
  const Row rows[] = {
      {"constant integer d;", "InternalError: Found an uninitialized constant: d"},
      {"type U with { constant integer e; };", "InternalError: Found an uninitialized constant: e"},
      {"constant integer d := e; constant integer e := d;",
       "InternalError: The value of constant 'd' depends on itself"},
      {"c(t) := true;",
       "TypeCheckingError: Found an constant assign having non-compatible operands: (c(t) := true)"},
      {"c(1) := 1;",
       "TypeCheckingError: Found constant assignment having non-compatible parameters: (c(1) := 1)"},
      {"c(t, t) := 1;",
       "TypeCheckingError: Found constant assignment having non-compatible parameters: (c(t, t) := 1)"},
      {"c(nobody) := 1;",
       "InvalidParameterError: Found an invalid initializationof constant: (c(unresolved<nobody>) := 1)"},
      {"place.size := 1;", "UnresolvedSymbolError: place in expression"},
      {"t.size := 2;", "InternalError: It is forbidden to assign a value to a constant more than one time"},
      {"c(*) := 2;", "InternalError: It is forbidden to assign a value to a constant more than one time"},
      {"constant integer d := level;", "InternalError: Not implemented 'unresolved_symbol'"},
      {"action go() { [start] c(t) := 2; };",
       "InternalError: It is allowed to assign a value to a constant only in the top level scope"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Reading reading(head + row.text);
    EXPECT_EQ(reading.error.substr(0, row.error.size()), row.error);
    EXPECT_EQ(reading.parser.error_line(), 2);
  }
  // Elsewhere than at the start an assignment is a statement like any other.
  const Reading later("constant integer c := 1; [1] c := 2;");
  ASSERT_EQ(later.error, "");
  EXPECT_EQ(later.statements(), Texts{"[1] (c := 2)"});
}

TEST(NameResolver, LetsInnerNamesHideOuterOnes) {
  const Reading reading(
      "type T with { fluent boolean v; action inner(T t) { [start] v; [start] t.v; }; };"
      "fluent integer v; instance T t, u;"
      "action outer(boolean v) { [start] v; };"
      "action after() { [start] v == 1; };"
      "[start] forall (T v) { v.v := true; };"
      "[end] v == 2;");
  ASSERT_EQ(reading.error, "");
  const auto head_of = [](Node* statement) { return statement->children[1]; };
  EXPECT_EQ(head_of(*reading.problem->actions().at("outer")->expressions().begin())->kind(),
            NodeKind::PARAMETER_REFERENCE);
  EXPECT_EQ(reading.statements("after"), Texts{"[start] (v == 1)"});
  EXPECT_EQ(reading.statements(), (Texts{"[start] forall (T v ) {(v.v := true);}", "[end] (v == 2)"}));

  // Inside of the type v is the member, a boolean, and `t` is the parameter, not the object.
  const auto inner = reading.problem->user_types().at("T")->actions().at("inner");
  EXPECT_EQ(Reading::texts(inner->expressions()), (Texts{"[start] v", "[start] t.v"}));
  Node* const scoped = head_of(*std::next(inner->expressions().begin()));
  EXPECT_EQ(scoped->children[0]->kind(), NodeKind::PARAMETER_REFERENCE);
}

TEST(NameResolver, TakesMembersFromTheTypeBeforeTheDot) {
  const std::string head =
      "type Site with { fluent boolean sunny; fluent integer height(integer [0, 3] side); };"
      "type Base with { fluent boolean old; };"
      "type Robot < Base with { fluent Site pos; fluent Robot friend_; constant integer size; };"
      "instance Site s; instance Robot r; instance Base b; r.size := 1; fluent integer n;\n";
  struct Row {
    std::string text, result;
  };
  const Row good[] = {
      {"[end] r.pos.sunny;", "[end] r.pos.sunny"},
      {"[end] r.friend_.friend_.pos == s;", "[end] (r.friend_.friend_.pos == s)"},
      {"[end] r.pos.height(n) == r.size;", "[end] (r.pos.height(n) == r.size)"},
      {"[end] r.friend_.old;", "[end] r.friend_.old"},
      // A variable may have the name of a member.
      {"[end] forall (Site pos) { r.pos == pos; };", "[end] forall (Site pos ) {(r.pos == pos);}"},
  };
  for (const Row& row : good) {
    SCOPED_TRACE(row.text);
    const Reading reading(head + row.text);
    ASSERT_EQ(reading.error, "");
    EXPECT_EQ(reading.statements(), Texts{row.result});
  }
  const Row bad[] = {
      {"[end] r.sunny;", "UnresolvedSymbolError: sunny in expression unresolved<r>.unresolved<sunny>"},
      // What a derived type adds, the base type does not have.
      {"[end] b.pos == s;", "UnresolvedSymbolError: pos in expression unresolved<b>.unresolved<pos>"},
      {"[end] nobody.pos == s;",
       "UnresolvedSymbolError: nobody in expression unresolved<nobody>.unresolved<pos>"},
      {"[end] n.pos == s;",
       "InvalidParameterError: Invalid expression: unresolved<n>.unresolved<pos>. Invalid type of left-hand "
       "side"},
      {"[end] r(1).pos == s;",
       "InvalidParameterError: Invalid expression: unresolved<r>(1). 'r' takes no arguments"},
  };
  for (const Row& row : bad) {
    SCOPED_TRACE(row.text);
    Reading reading(head + row.text);
    EXPECT_EQ(reading.error, row.result);
    EXPECT_EQ(reading.parser.error_line(), 2);
  }
}

TEST(NameResolver, PairsLabelsAndLetsTheLaterOneCount) {
  const Reading reading(
      "fluent boolean p; fluent boolean q;"
      "[all] contains first: p; [start] contains second: q;"
      "start(first) < start(second);");
  ASSERT_EQ(reading.error, "");
  ASSERT_EQ(reading.problem->labels_ordering().size(), 1U);
  const auto& [before, after] = *reading.problem->labels_ordering().begin();
  EXPECT_EQ(to_anml(before), "[all] contains first: p");
  EXPECT_EQ(to_anml(after), "[start] contains second: q");
  EXPECT_EQ(reading.statements().size(), 2U);  // the order itself is no statement
}

TEST(NameResolver, KeepsMembersOfTheSameTextApart) {
  const std::string body = " with { fluent boolean on; constant integer n; action go() :: (\"cost\", ";
  const Reading reading("type A" + body + "1) { [end] on := true; }; };\n type B" + body +
                        "2) { [end] on := true; }; };"
                        "instance A a; instance B b; a.n := 1; b.n := 2;"
                        "::(\"metric\", \"minimize-action-cost\", 0);");
  ASSERT_EQ(reading.error, "");
  const auto& cost = static_cast<const MinimizeActionCost&>(*reading.problem->metrics().at(0));
  const auto action_of = [&](const char* type) {
    return reading.problem->user_types().at(type)->actions().at("go");
  };
  EXPECT_EQ(action_of("A")->path(), Texts{"A"});
  EXPECT_EQ(action_of("B")->path(), Texts{"B"});
  EXPECT_EQ(to_anml(cost.cost(action_of("A"))), "1");
  EXPECT_EQ(to_anml(cost.cost(action_of("B"))), "2");
  EXPECT_NE(*action_of("A")->expressions().begin(), *action_of("B")->expressions().begin());
}

TEST(NameResolver, KnowsTheTypeOfAllObjects) {
  const Reading built_in("type T < object; fluent object any; instance T t;");
  ASSERT_EQ(built_in.error, "");
  const auto& base = built_in.problem->user_types().at("T")->base_types();
  ASSERT_EQ(base.size(), 1U);
  EXPECT_EQ(base[0], built_in.problem->fluents().at("any")->type());

  const Reading declared("type object; type T < object; fluent object any; instance object o;");
  ASSERT_EQ(declared.error, "");
  EXPECT_EQ(declared.problem->fluents().at("any")->type(), declared.problem->user_types().at("object"));
}

TEST(NameResolver, DemandsACostOfActionsInTypesWhereCostsAreMinimised) {
  Reading without("type T with { action go() { }; }; ::(\"metric\", \"minimize-action-cost\", 1);");
  EXPECT_EQ(without.error, "InternalError: The following action does not have a cost: go");
  const Reading with(
      "type T with { fluent integer n; action go() :: (\"cost\", n) { }; };"
      "::(\"metric\", \"minimize-action-cost\", 1);");
  ASSERT_EQ(with.error, "");
  const auto& metric = static_cast<const MinimizeActionCost&>(*with.problem->metrics().at(0));
  EXPECT_EQ(to_anml(metric.cost(with.problem->user_types().at("T")->actions().at("go"))), "n");
  EXPECT_TRUE(Reading("action a() :: (\"cost\", true) { }; ::(\"metric\", \"minimize-action-cost\", 1);")
                  .error.starts_with("TypeCheckingError: The cost of an action should be a number"));
}

}  // namespace
}  // namespace zorvel
