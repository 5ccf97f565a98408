#include "state/search_state.h"

#include "model/vocabulary.h"
#include "state/all_values_evaluator.h"
#include "state/effect.h"
#include "state/evaluator.h"
#include "state/evaluator_from_map.h"
#include "state/operations.h"

namespace zorvel {

using model::NodeSet;

class States : public ::testing::Test, public model::Vocabulary {
 protected:
  /// Adds a slot with a value; null for none.
  void give(Node* reference, Node* value) {
    index.emplace(reference, index.size());
    values.push_back(value);
  }
  SearchState state() const {
    SearchState result(values.size(), 1);
    for (std::size_t slot = 0; slot < values.size(); ++slot) result.override_value(slot, values[slot]);
    return result;
  }
  Node* value_of(Node* expression) {
    const SearchState now = state();
    return ExpressionEvaluator(env, index, now)(expression);
  }
  bool check(Node* condition) { return tp::check(env, state(), condition, index); }

  StateIndex index;
  std::vector<Node*> values;  // by slot
  std::shared_ptr<model::FluentImpl> level =
      fluent("level", m.make_integer_type(), {m.make_integer_type(integer(0), integer(3))});
  std::shared_ptr<model::FluentImpl> position = fluent("position", place);
  std::shared_ptr<model::FluentImpl> free_at = fluent("free_at", m.make_boolean_type(), {place});
};

TEST_F(States, SlotsAreSetOnceAndOverriddenAtWill) {
  give(x, nullptr);
  SearchState now = state();
  expect_error<InternalError>([&] { now.value(index, x); }, "Found an uninitialized fluent: x");
  expect_error<InternalError>([&] { now.value(index, y); }, "Found an unexpected fluent: y");
  expect_error<InternalError>([&] { now.override_value(index, y, number(1)); },
                              "Found an unexpected fluent: y");
  now.set_value(index, x, number(1));
  expect_error<InternalError>([&] { now.set_value(index, x, number(1)); },
                              "Found a double-initialization of fluent: x");
  now.override_value(index, x, number(2));
  EXPECT_EQ(now.value(index, x), number(2));
}

TEST_F(States, CostsPlayNoPartInIdentityAndKindsOfNumbersDo) {
  give(a, yes);
  give(x, number(1));
  SearchState first = state(), second = state();
  second.set_g(3);
  second.set_f(7, 0);
  EXPECT_EQ(first, second);
  EXPECT_EQ(first.hash(), second.hash());
  second.override_value(index, x, fraction(1));
  EXPECT_FALSE(first == second);
  EXPECT_NE(first.hash(), second.hash());
  EXPECT_EQ(SearchState(0, 0).hash(), 0u);
  EXPECT_EQ(SearchState(1, 0).hash(), 0x9e3779b9u);
  EXPECT_EQ(first.as_expression(index, f, 4), f.make_and({f.make_equals(a, yes), f.make_equals(x, number(1)),
                                                          f.make_equals(number(4), number(4))}));
}

TEST_F(States, EffectsAreTakenApart) {
  Node* const end = f.make_end_anchor();
  Node* const assignment = f.make_assign(reference(level, {x}), y);
  const auto effect =
      get_effect(f, f.make_temporal_expression(f.make_point_interval(end), assignment), nullptr);
  ASSERT_NE(effect, nullptr);
  EXPECT_EQ(effect->anchor, end);
  EXPECT_EQ(effect->fluent, level);
  EXPECT_EQ(effect->parameters, std::vector<Node*>{x});
  EXPECT_EQ(effect->value, y);
  EXPECT_EQ(get_effect(f, assignment, nullptr)->anchor, f.make_start_anchor());
  EXPECT_EQ(get_effect(f, f.make_equals(x, y), nullptr), nullptr);
  EXPECT_EQ(get_effect(f, f.make_assign(f.make_duration_anchor(), y), nullptr), nullptr);
  Node* const open = f.make_open_interval(f.make_start_anchor(), end);
  EXPECT_EQ(get_effect(f, f.make_temporal_expression(open, a), nullptr), nullptr);
  expect_error<InternalError>([&] { get_effect(f, f.make_temporal_expression(open, assignment), nullptr); },
                              "Found an effect over a non-punctual interval");
  Node* const odd = f.make_assign(number(1), y);
  expect_error<InternalError>([&] { get_effect(f, odd, nullptr); },
                              "Found an unknown effect kind: " + model::to_anml(odd));
}

TEST_F(States, EvaluationFollowsNestedReferences) {
  give(reference(position), work);
  give(reference(free_at, {home}), no);
  give(reference(free_at, {work}), yes);
  give(reference(level, {number(2)}), number(7));
  give(x, number(5));
  EXPECT_EQ(value_of(reference(free_at, {reference(position)})), yes);
  // 5 / 2 is the rational 2.0, and the parameter an integer.
  EXPECT_EQ(value_of(reference(level, {f.make_div(x, number(2))})), number(7));
  // Outside its domain a fluent has no value: what depends on it does not reduce, and is not true.
  EXPECT_EQ(value_of(reference(level, {x})), reference(level, {number(5)}));
  EXPECT_TRUE(model::is_undefined(f, value_of(f.make_equals(reference(level, {x}), reference(level, {x})))));
  expect_error<InternalError>([&] { value_of(reference(level, {number(3)})); },
                              "Found an unexpected fluent: level(3)");
  expect_error<InternalError>([&] { value_of(f.make_unresolved_symbol("s", {})); },
                              "Found an unresolved symbol while planning!");
  Node* const unknown = reference(constant("unknown", m.make_boolean_type()));
  expect_error<InvalidParameterError>([&] { value_of(f.make_and(no, unknown)); },
                                      "Found uninitialized constant in the model: unknown");
}

TEST_F(States, EvaluatorsSeeChangesBetweenCalls) {
  give(x, number(1));
  SearchState now = state();
  const ExpressionEvaluator evaluate(env, index, now);
  Node* const next = f.make_plus(x, number(1));
  EXPECT_EQ(evaluate(next), number(2));
  now.override_value(index, x, number(5));
  EXPECT_EQ(evaluate(next), number(6));

  ExpressionEvaluatorFromMap::Values map{{x, number(1)}, {reference(level, {number(9)}), number(4)}};
  const ExpressionEvaluatorFromMap from_map(env, map);
  EXPECT_EQ(from_map(next), number(2));
  map[x] = number(8);
  EXPECT_EQ(from_map(next), number(9));
  // No comparison with the type of the parameter here.
  EXPECT_EQ(from_map(reference(level, {f.make_plus(x, number(1))})), number(4));
  expect_error<InvalidParameterError>([&] { from_map(y); }, "Missing value for fluent: y");
}

TEST_F(States, ConditionsOnADivisionByZeroAreFalse) {
  give(x, number(4));
  give(y, number(0));
  give(reference(level, {number(0)}), number(1));
  Node* const undefined = f.make_div(x, y);
  EXPECT_FALSE(check(f.make_gt(undefined, number(1))));
  EXPECT_FALSE(check(f.make_not(f.make_gt(undefined, number(1)))));
  EXPECT_FALSE(check(f.make_and(f.make_not(f.make_equals(y, number(0))), f.make_gt(undefined, number(1)))));
  EXPECT_TRUE(check(f.make_or(f.make_equals(y, number(0)), f.make_gt(undefined, number(1)))));
  EXPECT_FALSE(check(f.make_equals(reference(level, {undefined}), number(1))));
  EXPECT_FALSE(check(f.make_lt(f.make_sqrt(f.make_minus(y, x), number(2)), number(9))));
  expect_error<InternalError>([&] { check(f.make_plus(x, y)); }, "A boolean constant was expected: 4");
}

TEST_F(States, EffectsReadTheStateBefore) {
  give(x, number(1));
  give(y, number(2));
  give(reference(position), home);
  give(reference(free_at, {home}), no);
  const auto after = [&](Node* effect) {
    SearchState now = state();
    EXPECT_TRUE(tp::apply(env, now, effect, index)) << model::to_anml(effect);
    return now.assignments();
  };
  EXPECT_EQ(after(f.make_and(f.make_assign(x, number(5)), f.make_assign(y, x))),
            (std::vector<Node*>{number(5), number(1), home, no}));
  EXPECT_EQ(after(f.make_and(f.make_assign(x, number(5)), f.make_assign(x, number(6)))),
            (std::vector<Node*>{number(6), number(2), home, no}));
  EXPECT_EQ(after(f.make_and(f.make_assign(reference(position), work),
                             f.make_assign(reference(free_at, {reference(position)}), yes))),
            (std::vector<Node*>{number(1), number(2), work, yes}));
  EXPECT_EQ(after(f.make_assign(x, f.make_div(y, number(2)))),
            (std::vector<Node*>{number(1), number(2), home, no}));
  EXPECT_EQ(after(f.make_and(std::vector<Node*>{})), values);
}

TEST_F(States, ImpossibleAndBrokenEffectsChangeNothing) {
  give(x, number(1));
  give(y, number(2));
  SearchState now = state();
  for (Node* value : {number(11), number(-1), f.make_div(number(1), number(0)), fraction(21, 2)}) {
    EXPECT_FALSE(tp::apply(env, now, f.make_assign(y, value), index));
    EXPECT_FALSE(
        tp::apply(env, now, f.make_and(f.make_assign(x, number(5)), f.make_assign(y, value)), index));
    EXPECT_EQ(now, state());
  }
  expect_error<InternalError>(
      [&] {
        tp::apply(env, now, f.make_and(f.make_assign(x, number(5)), f.make_assign(r, number(1))), index);
      },
      "Found an unexpected fluent: r");
  expect_error<InternalError>([&] { tp::apply(env, now, f.make_assign(x, f.make_start_anchor()), index); },
                              "A constant value was expected: start");
  EXPECT_EQ(now, state());
}

TEST_F(States, SimulatedEffectsWriteOneValueAFluent) {
  give(x, number(1));
  give(y, number(2));
  model::SimulatedEffectImpl effect{f.make_start_anchor(), {x, y}, {}};
  std::vector<Node*> result;
  effect.function = [&](const SearchState& now, const StateIndex& slots,
                        const std::vector<Node*>& parameters) {
    EXPECT_EQ(now.value(slots, x), number(1));
    EXPECT_EQ(parameters, std::vector<Node*>{home});
    return result;
  };
  const auto writes = [&] { return tp::writes_of_simulated(env, state(), effect, {home}, index); };
  result = {fraction(3), number(4)};
  ASSERT_TRUE(writes());
  EXPECT_EQ(writes()->at(0).value, number(3));
  EXPECT_EQ(writes()->at(1).slot, 1u);
  result = {number(3), number(11)};
  EXPECT_FALSE(writes());
  result = {number(3)};
  expect_error<InternalError>([&] { writes(); }, "A simulated effect gave 1 values for 2 fluents");
  result = {number(3), nullptr};
  expect_error<InternalError>([&] { writes(); }, "A simulated effect gave no constant value for y");
}

TEST_F(States, DomainsPruneNumbersOnly) {
  const auto narrow = m.make_integer_type(integer(0), integer(3));
  NodeSet set{number(-1), number(0), fraction(5, 2), number(3), fraction(7, 2)};
  prune_impossible_values(f, set, *narrow);
  EXPECT_EQ(set, (NodeSet{number(0), fraction(5, 2), number(3)}));
  NodeSet places{home, work};
  prune_impossible_values(f, places, *place);
  EXPECT_EQ(places.size(), 2u);
  EXPECT_EQ(cartesian_product<int>({{1, 2}, {3, 4}}),
            (std::vector<std::vector<int>>{{1, 3}, {1, 4}, {2, 3}, {2, 4}}));
  EXPECT_EQ(cartesian_product<int>({{1, 2}, {}}).size(), 0u);
}

class AllValues : public States {
 protected:
  NodeSet values_of(Node* expression, std::size_t limit = 100) {
    return AllValuesEvaluator(env, sets, limit)(expression);
  }
  AllValuesEvaluator::Values sets;
};

TEST_F(AllValues, CombinesSetsOfValues) {
  sets = {{a, {yes}},
          {b, {yes, no}},
          {c, {}},
          {x, {number(1), number(2)}},
          {y, {number(2), fraction(2)}},
          {r, {number(0), fraction(1, 2)}}};
  const struct {
    Node* expression;
    NodeSet expected;
  } rows[] = {
      {f.make_not(a), {no}},
      {f.make_not(b), {yes, no}},
      {f.make_and(a, b), {yes, no}},
      {f.make_and(a, a), {yes}},
      {f.make_and(a, f.make_not(a)), {no}},
      {f.make_and(a, c), {no}},
      {f.make_or(a, c), {yes}},
      {f.make_or(f.make_not(a), b), {yes, no}},
      {f.make_or(f.make_not(a), f.make_not(a)), {no}},
      {f.make_and(std::vector<Node*>{}), {yes}},
      {f.make_or(std::vector<Node*>{}), {no}},
      {f.make_imply(b, f.make_not(a)), {yes, no}},
      {f.make_imply(f.make_not(a), b), {yes}},
      {f.make_iff(a, a), {yes}},
      {f.make_iff(b, a), {yes, no}},
      {f.make_equals(number(1), fraction(1)), {yes}},
      {f.make_equals(x, number(2)), {yes, no}},
      {f.make_equals(home, work), {no}},
      {f.make_lt(x, number(3)), {yes}},
      {f.make_le(x, number(1)), {yes, no}},
      {f.make_gt(x, number(2)), {no}},
      {f.make_ge(x, fraction(3, 2)), {yes, no}},
      {f.make_plus({x, x, number(1)}), {number(3), number(4), number(5)}},
      {f.make_plus(x, r), {number(1), number(2), fraction(3, 2), fraction(5, 2)}},
      {f.make_times(y, number(3)), {number(6), fraction(6)}},
      {f.make_minus(x, number(1)), {number(0), number(1)}},
      {f.make_div(number(7), y), {number(3), fraction(7, 2)}},
      {f.make_div(number(1), r), {fraction(2)}},
      {f.make_sqrt(f.make_minus(x, number(2)), number(1)), {fraction(0)}},
  };
  for (const auto& row : rows)
    EXPECT_EQ(values_of(row.expression), row.expected) << model::to_anml(row.expression);
}

TEST_F(AllValues, AppliesFluentsAndConstantsToEveryArgument) {
  const auto cost = constant("cost", m.make_integer_type(), {place});
  sets = {{x, {number(2), number(7)}},
          {reference(level, {number(2)}), {number(5), number(6)}},
          {reference(position), {home, work}},
          {reference(free_at, {home}), {yes}}};
  EXPECT_EQ(values_of(reference(level, {x})), (NodeSet{number(5), number(6)}));
  EXPECT_EQ(values_of(reference(level, {f.make_times(x, fraction(1))})), (NodeSet{number(5), number(6)}));
  expect_error<InvalidParameterError>([&] { values_of(reference(free_at, {reference(position)})); },
                                      "Missing value for fluent function: free_at(work)");
  expect_error<InvalidParameterError>([&] { values_of(y); }, "Missing value for fluent: y");
  Node* const cost_here = reference(cost, {reference(position)});
  expect_error<InvalidParameterError>([&] { values_of(cost_here); }, "Unknown value for constant: cost");
  const auto table = std::make_shared<model::FunctionValueImpl>(number(1));
  table->add_assignment({work}, number(3));
  cost->set_value(table);
  EXPECT_EQ(values_of(cost_here), (NodeSet{number(1), number(3)}));
  expect_error<InvalidParameterError>([&] { values_of(f.make_set_constant({home})); },
                                      "Trying to evaluate a set constant expression");
  expect_error<InvalidParameterError>(
      [&] {
        values_of(f.make_in_assign(f.make_duration_anchor(), f.make_closed_interval(number(1), number(2))));
      },
      "Trying to evaluate an interval expression");
}

TEST_F(AllValues, TooManyValuesBecomeAnyValue) {
  NodeSet many;
  for (int i = 0; i < 60; ++i) many.insert(number(i * i));
  sets = {
      {x, many}, {reference(level, {number(1)}), {number(4)}}, {reference(level, {number(3)}), {number(5)}}};
  Node* const any = AllValuesEvaluator::any_value(f);
  EXPECT_EQ(values_of(x).size(), 60u);
  EXPECT_EQ(values_of(f.make_plus(x, x)), NodeSet{any});
  EXPECT_EQ(values_of(f.make_times(f.make_plus(x, x), number(2))), NodeSet{any});
  EXPECT_EQ(values_of(f.make_lt(f.make_plus(x, x), number(-1))), (NodeSet{yes, no}));
  EXPECT_EQ(values_of(f.make_and(yes, f.make_equals(f.make_plus(x, x), number(-1)))), (NodeSet{yes, no}));
  EXPECT_EQ(values_of(reference(level, {f.make_plus(x, x)})), (NodeSet{number(4), number(5)}));
}

}  // namespace zorvel
