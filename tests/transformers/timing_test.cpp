#include "transformers/timing.h"

#include "support.h"
#include "transformers/duration_bounds.h"

namespace zorvel::model {

namespace {

class DurationStatements : public testing::Test {
 protected:
  Node* number(long value) { return f.make_integer_constant(value); }
  Node* number(const rational& value) { return f.make_rational_constant(value); }
  std::string bounds_of(const std::vector<Node*>& statements) {
    DurationBounds bounds;
    for (Node* statement : statements) update_duration_bound(f, statement, bounds);
    std::string text = (bounds.lower.strict ? "(" : "[") + bounds.lower.value.str() + ", ";
    if (!bounds.has_upper) return text + "inf)";
    return text + bounds.upper.value.str() + (bounds.upper.strict ? ")" : "]");
  }

  Environment env;
  ExpressionFactory& f = env.expression_factory();
  Node* start = f.make_start_anchor();
  Node* end = f.make_end_anchor();
  Node* d = f.make_duration_anchor();
};

TEST_F(DurationStatements, AnchorsAreReadAsOffsetsFromStartOrEnd) {
  const std::vector<std::pair<Node*, Timing>> rows = {
      {start, {true, 0}},
      {end, {false, 0}},
      {f.make_plus(start, number(3)), {true, 3}},
      {f.make_plus(number(3), start), {true, 3}},
      {f.make_plus(start, f.make_plus(number(1), number(rational(1, 2)))), {true, rational(3, 2)}},
      {f.make_plus(std::vector{start}), {true, 0}},
      {f.make_plus(start, f.make_minus(number(1), number(1))), {true, 0}},
      {f.make_minus(end, number(2)), {false, 2}},
      {f.make_minus(end, number(0)), {false, 0}},
      {number(5), {true, 5}},
      {f.make_times(number(2), number(5)), {true, 10}},
  };
  for (const auto& [anchor, expected] : rows) EXPECT_EQ(timing(f, anchor), expected) << to_anml(anchor);
  for (Node* anchor : {f.make_plus(end, number(1)), f.make_minus(start, number(1)), f.make_plus(start, end),
                       d, f.make_plus(start, d)})
    EXPECT_EQ(error_of([&] { timing(f, anchor); }),
              "InternalError: Found a time that cannot be read: " + to_anml(anchor));
}

TEST_F(DurationStatements, BoundsKeepTheTightestLimitAndItsStrictness) {
  Node* const three = number(3);
  const auto both = [&](Node* a, Node* b) { return f.make_and(a, b); };
  EXPECT_EQ(bounds_of({}), "[0, inf)");
  EXPECT_EQ(bounds_of({f.make_le(d, three)}), "[0, 3]");
  EXPECT_EQ(bounds_of({f.make_lt(d, three), f.make_le(d, three)}), "[0, 3)");
  EXPECT_EQ(bounds_of({f.make_le(d, three), f.make_lt(d, three)}), "[0, 3)");
  EXPECT_EQ(bounds_of({f.make_lt(d, number(4)), f.make_le(d, three)}), "[0, 3]");
  EXPECT_EQ(bounds_of({f.make_gt(d, three), f.make_ge(d, three)}), "(3, inf)");
  EXPECT_EQ(bounds_of({f.make_ge(d, three), f.make_gt(d, three)}), "(3, inf)");
  EXPECT_EQ(bounds_of({f.make_gt(d, number(2)), f.make_ge(d, three)}), "[3, inf)");
  EXPECT_EQ(bounds_of({f.make_equals(d, three)}), "[3, 3]");
  EXPECT_EQ(bounds_of({f.make_assign(d, f.make_plus(number(1), number(2)))}), "[3, 3]");
  EXPECT_EQ(bounds_of({f.make_lt(d, three), f.make_equals(d, three)}), "[3, 3)");
  EXPECT_EQ(
      bounds_of({both(f.make_ge(d, number(1)), both(f.make_le(d, number(9)), f.make_lt(d, number(5))))}),
      "[1, 5)");
  EXPECT_EQ(bounds_of({f.make_le(d, number(-1))}), "[0, -1]");
  EXPECT_EQ(bounds_of({f.make_lt(number(3), d), f.make_gt(number(5), d)}), "(3, 5)");
  EXPECT_EQ(bounds_of({both(f.make_le(number(3), d), f.make_equals(three, d))}), "[3, 3]");
  EXPECT_EQ(bounds_of({both(f.make_boolean_constant(true), f.make_ge(d, three))}), "[3, inf)");
}

TEST_F(DurationStatements, EmptyRangesAreRecognised) {
  const auto is_empty = [&](const std::vector<Node*>& statements) {
    DurationBounds bounds;
    for (Node* statement : statements) update_duration_bound(f, statement, bounds);
    return bounds.is_empty();
  };
  EXPECT_TRUE(is_empty({f.make_le(d, number(-1))}));
  EXPECT_TRUE(is_empty({f.make_gt(d, number(3)), f.make_lt(d, number(3))}));
  EXPECT_TRUE(is_empty({f.make_ge(d, number(3)), f.make_lt(d, number(3))}));
  EXPECT_FALSE(is_empty({f.make_ge(d, number(3)), f.make_le(d, number(3))}));
  EXPECT_FALSE(is_empty({f.make_gt(d, number(3))}));
}

TEST_F(DurationStatements, UnreadableStatementsAreQuoted) {
  const std::vector<std::pair<Node*, std::string>> rows = {
      {f.make_le(d, d),
       "UnsupportedProblemError: No limit on a duration can be read from (duration <= duration)"},
      {f.make_not(f.make_le(d, number(3))),
       "UnsupportedProblemError: No limit on a duration can be read from (not (duration <= 3))"},
      {f.make_and(f.make_ge(d, number(1)), f.make_or(f.make_le(d, number(2)), f.make_ge(d, number(3)))),
       "UnsupportedProblemError: No limit on a duration can be read from ((duration <= 2) or (duration >= "
       "3))"},
      {f.make_and(f.make_ge(d, number(1)), f.make_lt(number(2), number(1))),
       "UnsupportedProblemError: No limit on a duration can be read from ((duration >= 1) and (2 < 1))"},
  };
  for (const auto& [statement, text] : rows) {
    DurationBounds bounds;
    EXPECT_EQ(error_of([&, s = statement] { update_duration_bound(f, s, bounds); }), text);
    EXPECT_FALSE(read_duration_bound(f, statement, bounds));
  }
}

TEST_F(DurationStatements, BoundsArePutIntoWordsThatReadBack) {
  const std::vector<std::pair<std::vector<Node*>, std::string>> rows = {
      {{f.make_equals(d, number(3))}, "(duration == 3.0)"},
      {{f.make_gt(d, number(1)), f.make_lt(d, number(3))}, "((duration > 1.0) and (duration < 3.0))"},
      {{f.make_ge(d, number(1)), f.make_le(d, number(3))}, "((duration >= 1.0) and (duration <= 3.0))"},
  };
  for (const auto& [statements, text] : rows) {
    DurationBounds bounds;
    for (Node* statement : statements) update_duration_bound(f, statement, bounds);
    EXPECT_EQ(to_anml(update_duration_expression(f, bounds)), text);
    EXPECT_EQ(bounds_of({update_duration_expression(f, bounds)}), bounds_of(statements));
  }
  EXPECT_EQ(bounds_of({update_duration_expression(f, DurationBounds{})}), "[0, inf)");
}

TEST_F(DurationStatements, TimingOfADurationIsDroppedUnlessItReadsFluentsLater) {
  const ProblemPtr problem = parse(env, R"(
    fluent float x;
    action a() { [start] duration >= 2; [end] duration <= 9; [start] duration >= x; [end] duration >= x + 1;
                 [end] x := x - duration; [all] x >= 0.0; };)");
  Lines unwrapped;
  for (Node* expression : problem->actions().at("a")->expressions())
    unwrapped.insert(to_anml(without_timing_of_duration(f, expression)));
  EXPECT_EQ(unwrapped,
            (Lines{"(duration >= 2)", "(duration <= 9)", "(duration >= x)", "[end] (duration >= (x + 1))",
                   "[end] (x := (x - duration))", "[all] (x >= 0.0)"}));
}

TEST_F(DurationStatements, TheOrderingDurationPutsPointsFromTheEndBehindThoseFromTheStart) {
  DurationBounds free_range, range;
  range.lower.value = 2;
  range.upper.value = 9;
  range.has_upper = true;
  EXPECT_EQ(ordering_duration(range, 3, 1), rational(11, 2));
  EXPECT_EQ(ordering_duration(free_range, 5, 5), rational(11));
  free_range.lower.value = 20;
  EXPECT_EQ(ordering_duration(free_range, 5, 5), rational(21));
  EXPECT_EQ(ordering_duration(range, 3, 0), rational(4));
  EXPECT_EQ(ordering_duration(range, 0, 4), rational(5));
  EXPECT_EQ(ordering_duration(range, 0, 0), rational(1));
}

}  // namespace
}  // namespace zorvel::model
