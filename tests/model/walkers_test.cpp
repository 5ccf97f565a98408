#include <algorithm>
#include <set>
#include <sstream>
#include <string>

#include "core/unsupported_problem.h"
#include "model/vocabulary.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/constant_checker.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "model/walkers/fun_apply_substituter.h"
#include "model/walkers/instantiate_walker.h"
#include "model/walkers/normal_forms.h"

namespace zorvel::model {

class Walkers : public ::testing::Test, public Vocabulary {
 protected:
  std::set<std::string> texts(const NodeSet& nodes) {
    std::set<std::string> result;
    for (Node* node : nodes) result.insert(to_anml(node));
    return result;
  }
  std::multiset<std::set<std::string>> texts(const std::vector<NodeSet>& clauses) {
    std::multiset<std::set<std::string>> result;
    for (const NodeSet& clause : clauses) result.insert(texts(clause));
    return result;
  }
  /// As messages quote it.
  static std::string quoted(const Node* node) {
    std::ostringstream text;
    text << print_expression{node};
    return text.str();
  }
  Node* chain_of_sums(Node* leaf, int depth) {
    Node* sum = leaf;
    for (int i = 0; i < depth; ++i) sum = f.make_plus(leaf, sum);
    return sum;
  }
};

TEST_F(Walkers, SimplifierFoldsBooleans) {
  Node* const not_a = f.make_not(a);
  expect_rows(ExpressionSimplifier(env), {{f.make_not(yes), no},
                                          {f.make_not(not_a), f.make_not(not_a)},
                                          {f.make_and({a, no, b}), no},
                                          {f.make_and({a, yes, b}), f.make_and(a, b)},
                                          {f.make_and(a, yes), a},
                                          {f.make_and(std::vector<Node*>{}), yes},
                                          {f.make_and(a, a), f.make_and(a, a)},
                                          {f.make_or({a, yes, b}), yes},
                                          {f.make_or({b, no, a}), f.make_or(b, a)},
                                          {f.make_or(no, no), no},
                                          {f.make_imply(yes, b), b},
                                          {f.make_imply(no, b), yes},
                                          {f.make_imply(a, yes), yes},
                                          {f.make_imply(a, no), not_a},
                                          {f.make_imply(a, b), f.make_imply(a, b)},
                                          {f.make_iff(yes, a), a},
                                          {f.make_iff(a, no), not_a},
                                          {f.make_iff(no, no), yes},
                                          {f.make_iff(a, b), f.make_iff(a, b)}});
}

TEST_F(Walkers, SimplifierComparesConstants) {
  Node* const with_fluent = f.make_set_constant({x});
  expect_rows(
      ExpressionSimplifier(env),
      {{f.make_equals(x, x), yes},
       {f.make_equals(x, y), f.make_equals(x, y)},
       {f.make_equals(number(2), fraction(2)), yes},
       {f.make_equals(number(2), fraction(5, 2)), no},
       {f.make_equals(yes, no), no},
       {f.make_equals(home, work), no},
       {f.make_equals(home, x), f.make_equals(home, x)},
       {f.make_equals(f.make_set_constant({home, work}), f.make_set_constant({work, home, work})), yes},
       {f.make_equals(f.make_set_constant({home}), f.make_set_constant({home, work})), no},
       {f.make_equals(f.make_set_constant({home, work}), f.make_set_constant({home})), no},
       {f.make_equals(f.make_set_constant({number(1)}), f.make_set_constant({fraction(1)})), yes},
       {f.make_equals(with_fluent, f.make_set_constant({number(1)})),
        f.make_equals(with_fluent, f.make_set_constant({number(1)}))},
       {f.make_lt(number(1), fraction(3, 2)), yes},
       {f.make_lt(number(2), number(2)), no},
       {f.make_le(number(2), fraction(2)), yes},
       {f.make_gt(fraction(5, 2), number(2)), yes},
       {f.make_gt(number(2), number(2)), no},
       {f.make_ge(number(2), number(3)), no},
       {f.make_ge(x, number(3)), f.make_ge(x, number(3))}});
}

TEST_F(Walkers, SimplifierFoldsNumbers) {
  expect_rows(ExpressionSimplifier(env),
              {{f.make_plus({number(1), x, number(2)}), f.make_plus(x, number(3))},
               {f.make_plus(number(1), number(-1)), number(0)},
               {f.make_plus(x, number(0)), f.make_plus(std::vector<Node*>{x})},
               {f.make_plus(fraction(1, 2), number(1)), fraction(3, 2)},
               {f.make_plus({fraction(1, 2), number(3), fraction(-1, 2)}), number(3)},
               {f.make_times(number(2), fraction(1, 2)), fraction(1)},
               {f.make_times({number(2), x, number(3)}), f.make_times(x, number(6))},
               {f.make_times(x, number(0)), f.make_times(x, number(0))},
               {f.make_times(x, number(1)), f.make_times(std::vector<Node*>{x})},
               {f.make_times(fraction(1), number(4)), number(4)},
               {f.make_minus(number(2), number(5)), number(-3)},
               {f.make_minus(number(2), fraction(2)), fraction(0)},
               {f.make_minus(x, number(0)), f.make_minus(x, number(0))},
               {f.make_div(number(7), number(2)), fraction(3)},
               {f.make_div(number(-7), number(2)), fraction(-3)},
               {f.make_div(number(1), number(2)), fraction(0)},
               {f.make_div(fraction(7), number(2)), fraction(7, 2)},
               {f.make_div(number(7), number(0)), f.make_div(number(7), number(0))},
               {f.make_div(number(7), fraction(0)), f.make_div(number(7), fraction(0))},
               {f.make_sqrt(f.make_plus(number(1), number(1)), number(2)), fraction(141, 100)},
               {f.make_sqrt(number(9), number(0)), fraction(3)},
               {f.make_sqrt(fraction(1, 4), number(2000000000)), fraction(1, 2)},
               {f.make_sqrt(number(-1), number(2)), f.make_sqrt(number(-1), number(2))},
               {f.make_sqrt(x, number(2)), f.make_sqrt(x, number(2))}});
}

TEST_F(Walkers, UndefinedPartsAreFoundWhereverTheyStand) {
  const ExpressionSimplifier simplify(env);
  Node* const undefined = f.make_div(number(1), f.make_minus(number(2), number(2)));
  EXPECT_TRUE(is_undefined(f, simplify(f.make_and(a, f.make_lt(x, undefined)))));
  EXPECT_TRUE(is_undefined(f, simplify(f.make_sqrt(number(-4), number(2)))));
  EXPECT_FALSE(
      is_undefined(f, simplify(f.make_and(f.make_lt(number(2), number(1)), f.make_lt(x, undefined)))));
  EXPECT_FALSE(is_undefined(f, simplify(f.make_div(number(0), x))));
  EXPECT_FALSE(is_undefined(f, simplify(f.make_sqrt(number(4), number(2)))));
}

TEST_F(Walkers, SimplifierPutsConstantsInPlace) {
  const auto limit = constant("limit", m.make_integer_type());
  const auto distance = constant("distance", m.make_integer_type(), {place, place});
  const auto twice = constant("twice", m.make_integer_type());
  const auto unknown = constant("unknown", m.make_integer_type());
  limit->set_value(std::make_shared<FunctionValueImpl>(number(5)));
  const auto table = std::make_shared<FunctionValueImpl>(number(9));
  table->add_assignment({home}, number(3));
  table->add_assignment({home, work}, number(1));
  distance->set_value(table);
  twice->set_value(std::make_shared<FunctionValueImpl>(f.make_times(reference(limit), number(2))));

  const auto position = fluent("position", place);
  Node* const from_here = reference(distance, {reference(position), home});
  expect_rows(ExpressionSimplifier(env), {{reference(limit), number(5)},
                                          {reference(distance, {home, work}), number(1)},
                                          {reference(distance, {home, home}), number(3)},
                                          {reference(distance, {work, home}), number(9)},
                                          {from_here, from_here},
                                          {reference(twice), number(10)},
                                          {f.make_lt(reference(twice), number(11)), yes},
                                          {reference(unknown), reference(unknown)}});
}

TEST_F(Walkers, ConstantsThatReferToThemselvesAreRefused) {
  const auto first = constant("first", m.make_integer_type());
  const auto second = constant("second", m.make_integer_type());
  first->set_value(std::make_shared<FunctionValueImpl>(f.make_plus(reference(second), number(1))));
  second->set_value(std::make_shared<FunctionValueImpl>(f.make_plus(reference(first), number(1))));
  EXPECT_THROW(ExpressionSimplifier{env}(reference(first)), InternalError);
}

TEST_F(Walkers, ArgumentsOfIntegerParametersBecomeIntegers) {
  const auto at = fluent("at", m.make_boolean_type(), {m.make_integer_type(), m.make_rational_type()});
  const ExpressionSimplifier simplify(env);
  Node* const four = f.make_div(number(8), number(2));
  EXPECT_EQ(simplify(reference(at, {four, four})), reference(at, {number(4), fraction(4)}));
  EXPECT_EQ(simplify(reference(at, {fraction(1, 2), number(1)})), reference(at, {fraction(1, 2), number(1)}));
}

TEST_F(Walkers, IdentityGivesBackTheSameNode) {
  const auto at = fluent("at", m.make_boolean_type(), {place});
  const auto distance = constant("distance", m.make_integer_type(), {place});
  const auto parameter = std::make_shared<ParameterImpl>("p", place);
  Node* const p = f.make_parameter_reference(parameter);
  Node* const start = f.make_start_anchor();
  Node* const end = f.make_end_anchor();
  for (Node* node :
       {f.make_and(std::vector<Node*>{}),
        f.make_and({a, b, c}),
        f.make_or(std::vector<Node*>{a}),
        f.make_plus(x, y),
        f.make_plus(std::vector<Node*>{}),
        f.make_times(std::vector<Node*>{}),
        f.make_temporal_expression(f.make_left_open_interval(start, end), f.make_assign(x, number(1))),
        f.make_temporal_expression(f.make_point_interval(end), f.make_increase(x, y)),
        f.make_temporal_expression(f.make_open_interval(start, end), f.make_imply(a, f.make_iff(b, c))),
        f.make_contains(f.make_closed_interval(start, end), nullptr, "label"),
        f.make_contains(f.make_right_open_interval(start, end), number(2), ""),
        f.make_in_assign(f.make_duration_anchor(), f.make_closed_interval(number(1), number(2))),
        f.make_forall({parameter}, {reference(at, {p})}),
        f.make_set_constant({home, work}),
        f.make_in(home, f.make_union(f.make_set_constant({home}), f.make_set_constant({}))),
        f.make_scoping(home, reference(at, {work})),
        f.make_unresolved_symbol("name", {x}),
        f.make_sqrt(x, number(2)),
        reference(distance, {home}),
        f.make_label_reference("l")})
    EXPECT_EQ(ExpressionIdentity(env)(node), node) << to_anml(node);

  EXPECT_EQ(ExpressionIdentity(env)(f.make_plus({x, y, r})), f.make_plus(f.make_plus(x, y), r));
  EXPECT_EQ(ExpressionIdentity(env)(f.make_times(std::vector<Node*>{x})), x);
}

TEST_F(Walkers, EachNodeIsVisitedOnce) {
  class Counter : public ExpressionIdentity {
   public:
    using ExpressionIdentity::ExpressionIdentity;
    mutable int references = 0, sums = 0;

   protected:
    Node* walk_fluent_reference(Node* node) const override { return ++references, node; }
    Node* walk_plus(Node* node) const override { return ++sums, ExpressionIdentity::walk_plus(node); }
  };
  const Counter walker(env);
  // As a tree this has 2^60 leaves.
  Node* doubled = x;
  for (int i = 0; i < 60; ++i) doubled = f.make_plus(doubled, doubled);
  walker(doubled);
  walker(f.make_lt(doubled, x));
  EXPECT_EQ(walker.references, 1);
  EXPECT_EQ(walker.sums, 60);
}

TEST_F(Walkers, DepthCostsNoCallStack) {
  constexpr int depth = 100'000;
  Node* const deep = chain_of_sums(x, depth);
  EXPECT_EQ(ExpressionIdentity(env)(deep), deep);
  Node* deep_condition = a;
  for (int i = 0; i < depth; ++i) deep_condition = f.make_not(f.make_or(b, deep_condition));
  Node* const normal = ToNNF(env)(deep_condition);
  EXPECT_FALSE(CheckContainsWalker(env, NodeKind::FORALL)(normal));
  EXPECT_TRUE(CheckContainsWalker(env, NodeKind::NOT)(normal));
  EXPECT_EQ(ExpressionFreeVars(env)(normal), (NodeSet{a, b}));
  EXPECT_TRUE(env.type_checker()(normal)->is_boolean());
}

TEST_F(Walkers, LastOffendingChildIsMetFirst) {
  const auto first = constant("first", m.make_boolean_type());
  const auto second = constant("second", m.make_boolean_type());
  const ConstantChecker check(env);
  expect_error<UndefinedConstantError>([&] { check(f.make_and(reference(first), reference(second))); },
                                       "No value for constant second");
  const auto flag = constant("flag", m.make_boolean_type(), {place});
  const auto position = fluent("position", place);
  expect_error<UndefinedConstantError>([&] { check(reference(flag, {home})); },
                                       "No value for constant flag(home)");
  EXPECT_EQ(check(reference(flag, {reference(position)})), reference(flag, {reference(position)}));
}

TEST_F(Walkers, SubstituterReplacesNodesAndHeads) {
  const auto at = fluent("at", m.make_boolean_type(), {place});
  const auto other = fluent("other", m.make_boolean_type(), {place});
  const auto position = fluent("position", place);
  const auto next = fluent("next", place, {place});
  Node* const here = reference(position);

  const ExpressionSubstituter values(env, {{here, home}, {reference(at, {home}), a}}, {}, false);
  // On the rebuilt node: at(position) becomes at(home), and that becomes a.
  EXPECT_EQ(values(f.make_not(reference(at, {here}))), f.make_not(a));
  const ExpressionSubstituter on_input(env, {{here, home}, {reference(at, {home}), a}}, {}, true);
  EXPECT_EQ(on_input(f.make_not(reference(at, {here}))), f.make_not(reference(at, {home})));
  // Nested applications are still found by their input form once the inner one was replaced.
  Node* const inner = reference(next, {here});
  Node* const outer = reference(next, {inner});
  const ExpressionSubstituter nested(env, {{inner, home}, {outer, work}}, {}, true);
  EXPECT_EQ(nested(f.make_equals(outer, inner)), f.make_equals(work, home));

  Node* const symbol = f.make_unresolved_symbol("s", {});
  const NodeMap heads{{reference(at), reference(other)},
                      {symbol, reference(at)},
                      {here, home},
                      {f.make_unresolved_symbol("t", {}), f.make_unresolved_symbol("u", {})}};
  expect_rows(ExpressionSubstituter(env, {}, heads, false),
              {{reference(at, {here}), reference(other, {home})},
               {f.make_unresolved_symbol("s", {here}), reference(at, {home})},
               {f.make_unresolved_symbol("t", {x}), f.make_unresolved_symbol("u", {x})},
               {f.make_unresolved_symbol("v", {here}), f.make_unresolved_symbol("v", {home})}});
  EXPECT_THROW(
      ExpressionSubstituter(env, {}, {{symbol, x}, {reference(at), number(1)}}, false)(reference(at, {home})),
      InternalError);
}

TEST_F(Walkers, FreeVariablesAndApplications) {
  const auto at = fluent("at", m.make_boolean_type(), {place});
  const auto road = constant("road", m.make_boolean_type(), {place});
  const auto position = fluent("position", place);
  Node* const here = reference(position);
  Node* const expression =
      f.make_and({reference(at, {here}), reference(road, {here}), f.make_scoping(reference(at, {home}), b)});
  EXPECT_EQ(texts(ExpressionFreeVars(env)(expression)),
            (std::set<std::string>{"at(position)", "position", "b"}));
  EXPECT_EQ(texts(ExpressionFunApply(env)(expression)),
            (std::set<std::string>{"at(position)", "position", "b", "road(position)"}));
  EXPECT_EQ(ExpressionFunApply(env)(reference(constant("k", m.make_boolean_type()))), NodeSet());
  const std::vector<Node*> sorted = sorted_by_id(ExpressionFreeVars(env)(f.make_and({c, a, b})));
  EXPECT_EQ(sorted, (std::vector<Node*>{a, b, c}));
}

TEST_F(Walkers, DisjunctiveNormalForm) {
  using Clauses = std::multiset<std::set<std::string>>;
  const ToDNF dnf(env);
  EXPECT_EQ(texts(dnf(f.make_and(f.make_or(a, b), f.make_or(c, d)))),
            (Clauses{{"a", "c"}, {"a", "d"}, {"b", "c"}, {"b", "d"}}));
  EXPECT_EQ(texts(dnf(f.make_and(f.make_or(a, b), a))), (Clauses{{"a"}, {"a", "b"}}));
  EXPECT_EQ(texts(dnf(f.make_and(std::vector<Node*>{}))), (Clauses{{}}));
  EXPECT_EQ(texts(dnf(f.make_or(std::vector<Node*>{}))), Clauses{});
  EXPECT_EQ(texts(dnf(f.make_and(f.make_or(std::vector<Node*>{}), a))), Clauses{});
  EXPECT_EQ(texts(dnf(f.make_not(a))), (Clauses{{to_anml(f.make_not(a))}}));

  const auto position = reference(fluent("position", place));
  EXPECT_EQ(dnf(f.make_equals(home, position)), std::vector<NodeSet>{NodeSet{f.make_equals(position, home)}});
  EXPECT_EQ(dnf(f.make_equals(number(1), x)), std::vector<NodeSet>{NodeSet{f.make_equals(number(1), x)}});
  expect_error<InternalError>([&] { dnf(f.make_forall({}, {a})); }, "Not supported!");

  std::vector<Node*> disjunctions;
  for (int i = 0; i < 40; ++i)
    disjunctions.push_back(f.make_or(boolean("l" + std::to_string(i)), boolean("m" + std::to_string(i))));
  Node* const product = f.make_and(disjunctions);
  expect_error<UnsupportedProblemError>(
      [&] { dnf(product); }, "The disjunctive normal form grows beyond 2000000 literals: " + quoted(product));
  std::vector<Node*> literals;
  for (int i = 0; i < 1200; ++i) literals.push_back(boolean("w" + std::to_string(i)));
  Node* const square = f.make_and(f.make_or(literals), f.make_or(literals));
  expect_error<UnsupportedProblemError>(
      [&] { dnf(square); }, "The disjunctive normal form grows beyond 1000000 clauses: " + quoted(square));
  // Few clauses that all take up many single literals.
  std::vector<Node*> long_clauses{disjunctions.begin(), disjunctions.begin() + 16};
  long_clauses.insert(long_clauses.end(), literals.begin(), literals.end());
  EXPECT_NE(error_of([&] { dnf(f.make_and(long_clauses)); }).find("2000000 literals"), std::string::npos);
}

TEST_F(Walkers, NegationNormalForm) {
  Node* const not_a = f.make_not(a);
  Node* const not_b = f.make_not(b);
  Node* const flag = reference(constant("flag", m.make_boolean_type()));
  Node* const numeric = f.make_equals(x, number(1));
  Node* const same = f.make_or(f.make_and(a, b), f.make_and(not_a, not_b));
  Node* const different = f.make_or(f.make_and(a, not_b), f.make_and(not_a, b));
  expect_rows(ToNNF(env),
              {{f.make_not(f.make_imply(a, b)), f.make_and(a, not_b)},
               {f.make_imply(a, b), f.make_or(not_a, b)},
               {f.make_not(f.make_and({a, b, c})), f.make_or({not_a, not_b, f.make_not(c)})},
               {f.make_not(f.make_or(not_a, b)), f.make_and(a, not_b)},
               {f.make_iff(a, b), same},
               {f.make_not(f.make_iff(a, b)), different},
               {f.make_equals(a, b), same},
               {f.make_not(f.make_equals(a, b)), different},
               {f.make_equals(flag, a), f.make_or(f.make_and(flag, a), f.make_and(f.make_not(flag), not_a))},
               {f.make_equals(yes, a), f.make_or(f.make_and(yes, a), f.make_and(f.make_not(yes), not_a))},
               {numeric, numeric},
               {f.make_not(numeric), f.make_not(numeric)},
               {f.make_equals(not_a, b), f.make_equals(not_a, b)},
               {f.make_not(f.make_not(f.make_lt(x, y))), f.make_lt(x, y)}});
}

TEST_F(Walkers, FunctionApplicationsBecomeGroundObjects) {
  const auto at = fluent("at", m.make_rational_type(),
                         {place, m.make_rational_type(), m.make_integer_type(integer(0), integer(3))});
  Node* const ground = reference(fluent("at_home_2", m.make_rational_type(), {m.make_rational_type()}));
  const auto position = reference(fluent("position", place));
  const FunApplySubstituter::GroundObjects objects{{{at.get(), {home, number(2)}}, ground}};
  const FunApplySubstituter substitute(env, objects, true);

  Node* const two = f.make_div(number(4), number(2));
  const auto ground_fluent = f.get_fluent_from_reference(ground);
  expect_rows(substitute, {{reference(at, {home, r, two}), reference(ground_fluent, {r})},
                           {reference(at, {work, r, two}), reference(at, {work, r, two})},
                           {position, position}});
  Node* const open = reference(at, {position, r, two});
  expect_error<GroundingFailedError>([&] { substitute(open); },
                                     "To ground a functional apply its parameters must be constant");
  EXPECT_EQ(FunApplySubstituter(env, objects, false)(open), open);
}

TEST_F(Walkers, ScopedNamesBecomeFlat) {
  const auto size = fluent("size", m.make_integer_type());
  const auto near = fluent("near", m.make_boolean_type(), {place});
  const auto flat_size = fluent("Place_size", m.make_integer_type(), {place});
  const auto flat_near = fluent("Place_near", m.make_boolean_type(), {place, place});
  const std::unordered_map<Node*, Node*> heads{{reference(size), reference(flat_size)},
                                               {reference(near), reference(flat_near)}};
  const auto parameter = std::make_shared<ParameterImpl>("self", place);
  Node* const self = f.make_parameter_reference(parameter);
  const auto at = fluent("at", m.make_boolean_type(), {m.make_integer_type()});
  Node* const home_size = f.make_scoping(home, reference(size));

  expect_rows(InstantiateWalker(env, heads, nullptr),
              {{home_size, reference(flat_size, {home})},
               {f.make_scoping(home, reference(near, {work})), reference(flat_near, {home, work})},
               {reference(at, {home_size}), reference(at, {reference(flat_size, {home})})},
               {reference(size), reference(size)}});
  expect_rows(InstantiateWalker(env, heads, self),
              {{reference(size), reference(flat_size, {self})},
               {reference(near, {work}), reference(flat_near, {self, work})},
               {home_size, reference(flat_size, {home})},
               {reference(at, {reference(size)}), reference(at, {reference(flat_size, {self})})},
               {a, a}});
  EXPECT_THROW(InstantiateWalker(env, heads, nullptr)(f.make_scoping(home, number(1))), InternalError);
}

}  // namespace zorvel::model
