#include "model/type_checker.h"

#include <string>

#include "model/vocabulary.h"

namespace zorvel::model {

class TypeChecker : public ::testing::Test, public Vocabulary {
 protected:
  std::string name_of(Node* node) { return env.type_checker()(node)->reference_name(); }
  Node* of_integers(const std::string& name, const std::string& lower, const std::string& upper) {
    if (lower.empty() && upper.empty()) return of_type(name, m.make_integer_type());
    if (upper.empty()) return of_type(name, m.make_integer_type(integer(lower), true));
    if (lower.empty()) return of_type(name, m.make_integer_type(integer(upper), false));
    return of_type(name, m.make_integer_type(integer(lower), integer(upper)));
  }
  std::vector<std::string> new_warnings() {
    const std::vector<std::string>& all = env.warning_manager().warnings();
    std::vector<std::string> fresh(all.begin() + static_cast<long>(seen_), all.end());
    seen_ = all.size();
    return fresh;
  }

 private:
  std::size_t seen_ = 0;
};

TEST_F(TypeChecker, BoundsFollowIntervalArithmetic) {
  Node* const small = of_integers("small", "1", "3");
  Node* const signed_small = of_integers("signed_small", "-2", "3");
  Node* const up = of_integers("up", "1", "");
  Node* const down = of_integers("down", "", "-1");
  Node* const any = of_integers("any", "", "");
  Node* const zero = of_integers("zero", "0", "0");
  Node* const half = of_type("half", m.make_rational_type(rational("1/2"), rational("3/2")));
  struct {
    Node* expression;
    std::string type;
  } const rows[] = {
      {f.make_plus(x, number(1)), "integer [1, 11]"},
      {f.make_plus({small, small, number(-1)}), "integer [1, 5]"},
      {f.make_plus(small, up), "integer [2, infinity]"},
      {f.make_plus(up, down), "integer"},
      {f.make_plus(small, half), "float [3/2, 9/2]"},
      {f.make_minus(small, signed_small), "integer [-2, 5]"},
      {f.make_minus(small, up), "integer [-infinity, 2]"},
      {f.make_times(small, signed_small), "integer [-6, 9]"},
      {f.make_times(up, down), "integer [-infinity, -1]"},
      {f.make_times(zero, any), "integer [-infinity, 0]"},
      {f.make_div(small, number(2)), "integer [0, 1]"},
      {f.make_div(signed_small, number(-2)), "integer [-1, 1]"},
      {f.make_div(half, number(2)), "float [1/4, 3/4]"},
      {f.make_div(small, small), "integer"},
      {f.make_div(small, r), "float"},
      {f.make_sqrt(small, number(0)), "float [0, infinity]"},
  };
  for (const auto& row : rows) EXPECT_EQ(name_of(row.expression), row.type) << to_anml(row.expression);
  EXPECT_THROW(name_of(f.make_div(small, number(0))), InternalError);
}

TEST_F(TypeChecker, AssignmentsRefuseWhatCannotFitAndWarnOfWhatMayNot) {
  Node* const narrow = of_integers("narrow", "0", "5");
  Node* const high = of_integers("high", "5", "20");
  Node* const below = of_integers("below", "", "20");
  Node* const real_ten = of_type("real_ten", m.make_rational_type(rational(0), rational(10)));
  const std::string warning = "Assignment operands bounds not compatible: ";

  EXPECT_EQ(name_of(f.make_assign(narrow, number(5))), "void");
  EXPECT_EQ(name_of(f.make_assign(real_ten, narrow)), "void");
  EXPECT_EQ(new_warnings(), std::vector<std::string>{});
  EXPECT_EQ(name_of(f.make_assign(x, high)), "void");
  EXPECT_EQ(new_warnings(), std::vector<std::string>{warning + "integer [0, 10] and integer [5, 20]"});
  EXPECT_EQ(name_of(f.make_assign(narrow, below)), "void");
  EXPECT_EQ(new_warnings().size(), 1u);

  Node* const refused[] = {f.make_assign(narrow, number(7)), f.make_assign(x, r), f.make_assign(a, x),
                           f.make_assign(x, home)};
  for (Node* node : refused)
    expect_error<TypeCheckingError>([&] { name_of(node); },
                                    "Found an assign having non-compatible operands: " + to_anml(node));
  EXPECT_EQ(new_warnings(), std::vector<std::string>{});
  Node* const increase = f.make_increase(of_integers("far", "10", "20"), number(1));
  expect_error<TypeCheckingError>([&] { name_of(increase); },
                                  "Found an increase having non-compatible operands: " + to_anml(increase));
  Node* const decrease = f.make_decrease(narrow, number(-1));
  expect_error<TypeCheckingError>([&] { name_of(decrease); },
                                  "Found an decrease having non-compatible operands: " + to_anml(decrease));
}

TEST_F(TypeChecker, EqualitiesOfDisjointRangesWarn) {
  Node* const narrow = of_integers("narrow", "0", "5");
  EXPECT_EQ(name_of(f.make_equals(narrow, number(7))), "boolean");
  EXPECT_EQ(
      new_warnings(),
      std::vector<std::string>{"Equality operands bounds not compatible: integer [0, 5] and integer [7, 7]"});
  EXPECT_EQ(name_of(f.make_equals(narrow, of_integers("high", "5", "9"))), "boolean");
  EXPECT_EQ(name_of(f.make_equals(x, r)), "boolean");
  EXPECT_EQ(name_of(f.make_equals(home, work)), "boolean");
  EXPECT_EQ(new_warnings(), std::vector<std::string>{});
  Node* const mixed = f.make_equals(home, x);
  expect_error<TypeCheckingError>([&] { name_of(mixed); },
                                  "Found an equality having non-compatible operands: " + to_anml(mixed));
}

TEST_F(TypeChecker, EachKindRefusesIllTypedOperands) {
  Node* const start = f.make_start_anchor();
  Node* const point = f.make_point_interval(start);
  Node* const set = f.make_set_constant({home});
  struct {
    Node* expression;
    std::string message;
  } const rows[] = {
      {f.make_lt(a, x), "Found a '<' having a non-numeric operand: "},
      {f.make_le(x, home), "Found a '<=' having a non-numeric operand: "},
      {f.make_gt(a, x), "Found a '>' having a non-numeric operand: "},
      {f.make_ge(x, a), "Found a '>=' having a non-numeric operand: "},
      {f.make_and(a, x), "Found an and having a non-boolean operand: "},
      {f.make_or(x, a), "Found an or having a non-boolean operand: "},
      {f.make_iff(a, x), "Found an iff having a non-boolean operand: "},
      {f.make_imply(x, a), "Found an imply having a non-boolean operand: "},
      {f.make_not(x), "Found a not having a non-boolean operand: "},
      {f.make_closed_interval(start, a), "Found an interval having a non-numeric bound: "},
      {f.make_temporal_expression(x, a),
       "Found a temporal expression having a non-interval as first operand: "},
      {f.make_temporal_expression(point, x),
       "Found a temporal expression having a non-boolean and non-void as second operand: "},
      {f.make_contains(a, nullptr, ""),
       "Found a containment expression having a non-interval as first operand: "},
      {f.make_contains(point, a, ""),
       "Found a containment expression having a non-numeric as second operand: "},
      {f.make_times(a, x), "Found a multiplication having a non-numeric operand: "},
      {f.make_plus(x, a), "Found a sum having a non-numeric operand: "},
      {f.make_div(x, a), "Found a division having a non-numeric operand: "},
      {f.make_minus(a, x), "Found a subtraction having a non-numeric operand: "},
      {f.make_sqrt(a, number(1)), "Found a sqrt expression having a non-numeric first operand: "},
      {f.make_sqrt(x, number(-1)), "Found a sqrt expression having a non-positive integer second operand: "},
      {f.make_sqrt(x, x), "Found a sqrt expression having a non-positive integer second operand: "},
      {f.make_in(home, x), "Found an expression having non-compatible operands: "},
      {f.make_in(x, set), "Found an expression having non-compatible operands: "},
      {f.make_subset(set, f.make_set_constant({x})), "Found an expression having non-compatible operands: "},
      {f.make_union(set, home), "Found an expression having non-compatible operands: "},
      {f.make_set_constant({x, a}), "Found an expression having non-compatible operands: "},
  };
  for (const auto& row : rows)
    expect_error<TypeCheckingError>([&] { name_of(row.expression); }, row.message + to_anml(row.expression));
  EXPECT_EQ(name_of(x), "integer [0, 10]");  // children stay known after a failure
  expect_error<InternalError>(
      [&] { name_of(f.make_unresolved_symbol("*", {})); },
      "Symbol '*' used in a not allowed position" + to_anml(f.make_unresolved_symbol("*", {})));
  expect_error<InternalError>(
      [&] { name_of(f.make_unresolved_symbol("u", {})); },
      "Not implemented 'unresolved_symbol': " + to_anml(f.make_unresolved_symbol("u", {})));
}

TEST_F(TypeChecker, ArgumentsMustFitTheirParameters) {
  const auto at = fluent("at", m.make_boolean_type(), {place, m.make_integer_type(integer(0), integer(3))});
  const auto cost = constant("cost", m.make_rational_type(), {m.make_rational_type()});
  EXPECT_EQ(name_of(reference(at, {home, number(3)})), "boolean");
  EXPECT_EQ(name_of(reference(cost, {x})), "float");
  expect_error<TypeCheckingError>([&] { name_of(reference(at, {home})); },
                                  "Found a fluent reference having wrong number of parameters");
  expect_error<TypeCheckingError>([&] { name_of(reference(cost)); },
                                  "Found a constant reference having wrong number of parameters");
  expect_error<TypeCheckingError>(
      [&] {
        name_of(reference(at, {home, number(4)}));
      },
      "Found a fluent reference having non-compatible children: at(home, 4) type of parameter 2 is integer "
      "[4, 4] while it should be integer [0, 3]");
  expect_error<TypeCheckingError>([&] { name_of(reference(cost, {home})); },
                                  "Found a constant reference having non-compatible children: cost(home) "
                                  "type of parameter 1 is Place while "
                                  "it should be float");
}

TEST_F(TypeChecker, SetsStatementsAndTimes) {
  Node* const empty = f.make_set_constant({});
  Node* const numbers = f.make_set_constant({number(1), x});
  Node* const start = f.make_start_anchor();
  Node* const interval = f.make_closed_interval(start, f.make_plus(start, number(1)));
  EXPECT_EQ(env.type_checker()(f.make_union(empty, numbers)), env.type_checker()(numbers));
  EXPECT_EQ(env.type_checker()(f.make_difference(numbers, empty)), env.type_checker()(numbers));
  EXPECT_EQ(name_of(f.make_in(number(99), numbers)), "boolean");
  EXPECT_EQ(name_of(f.make_in(number(7), f.make_set_constant({number(1), number(7)}))), "boolean");
  EXPECT_EQ(name_of(f.make_in(home, empty)), "boolean");
  EXPECT_EQ(name_of(f.make_subset(empty, f.make_set_constant({home}))), "boolean");
  EXPECT_EQ(name_of(interval), "interval");
  EXPECT_EQ(name_of(f.make_contains(interval, number(1), "l")), "interval");
  EXPECT_EQ(name_of(f.make_temporal_expression(interval, a)), "boolean");
  EXPECT_EQ(name_of(f.make_temporal_expression(interval, f.make_assign(x, number(1)))), "void");
  EXPECT_EQ(name_of(f.make_forall({}, {f.make_and(a, b)})), "void");
  EXPECT_EQ(name_of(f.make_in_assign(f.make_duration_anchor(), interval)), "void");
  EXPECT_EQ(name_of(f.make_lt(f.make_duration_anchor(), number(1))), "boolean");
}

TEST_F(TypeChecker, AnObjectOfADerivedTypeStandsForItsBase) {
  const auto base = m.make_user_type("Base"), middle = m.make_user_type("Middle"),
             derived = m.make_user_type("Derived"), other = m.make_user_type("Other");
  middle->add_base_type(base);
  derived->add_base_type(middle);
  other->add_base_type(base);
  const auto set_of = [&](const char* name, const TypePtr& type) {
    return of_type(name, m.make_set_type(type));
  };
  Node *const b = of_type("b", base), *const d = of_type("d", derived), *const o = of_type("o", other);
  Node *const bs = set_of("bs", base), *const ds = set_of("ds", derived), *const os = set_of("os", other);
  struct {
    Node* expression;
    std::string type;  // empty: refused
  } const rows[] = {
      {f.make_assign(b, d), "void"},
      {f.make_assign(d, b), ""},
      {f.make_assign(d, o), ""},
      {f.make_equals(b, d), "boolean"},
      {f.make_equals(d, b), "boolean"},
      {f.make_equals(d, o), ""},
      {f.make_in(d, bs), "boolean"},
      {f.make_in(b, ds), ""},
      {f.make_set_constant({b, d, o}), "set(Base)"},
      {f.make_set_constant({d, b}), "set(Base)"},
      {f.make_set_constant({d, o}), ""},
      {f.make_assign(bs, ds), "void"},
      {f.make_assign(ds, bs), ""},
      {f.make_subset(ds, bs), "boolean"},
      {f.make_subset(bs, ds), "boolean"},
      {f.make_subset(ds, os), ""},
      {f.make_union(ds, bs), "set(Base)"},
      {f.make_union(bs, ds), "set(Base)"},
      {f.make_intersection(bs, ds), "set(Derived)"},
      {f.make_intersection(ds, bs), "set(Derived)"},
      {f.make_difference(ds, bs), "set(Derived)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(to_anml(row.expression));
    if (row.type.empty())
      EXPECT_THROW(name_of(row.expression), TypeCheckingError);
    else
      EXPECT_EQ(name_of(row.expression), row.type);
  }
}

}  // namespace zorvel::model
