#include "transformers/temporally_aware_relaxer.h"

#include "model/model_factory.h"
#include "plans/time_triggered_plan.h"
#include "support.h"

namespace zorvel::model {

namespace {

constexpr const char* declarations =
    "fluent boolean p; fluent boolean q; fluent boolean r; fluent float x; fluent float dist;";

/// What each piece of the action `a` needs and does beside turning the ring, in the order of the chain.
std::vector<std::string> chain(const ProblemPtr& problem) {
  Environment& env = problem->env();
  ExpressionFactory& f = env.expression_factory();
  const auto relaxer = transform<TemporallyAwareRelaxer>(problem);
  const auto action = problem->actions().at("a");
  const auto& ring = relaxer->get_new_fluent().at(action);
  const auto& pieces = relaxer->get_new_action().at(action);
  EXPECT_EQ(pieces.size(), ring.size());
  std::vector<std::string> result;
  for (unsigned long k = 1; k <= pieces.size(); ++k) {
    const auto& piece = pieces[k - 1];
    EXPECT_EQ(relaxer->new_problem()->actions().at(piece->name()), piece);
    EXPECT_EQ(to_anml(ring.at(k)), "_f_" + std::to_string(k) + "_a");
    std::set<Node*> turn;  // after piece k, fluent k + 1 alone is true
    for (unsigned long j = 1; j <= ring.size(); ++j)
      turn.insert(f.make_temporal_expression(
          f.make_point_interval(f.make_end_anchor()),
          f.make_assign(ring.at(j), f.make_boolean_constant(j == k % ring.size() + 1))));
    std::string text, effects;
    for (Node* expression : piece->expressions()) {
      if (turn.erase(expression) > 0) continue;
      if (ExpressionFactory::is_assign(expression->children[1]))
        effects += "; " + to_anml(expression);
      else
        text += to_anml(expression);
    }
    text += effects;
    EXPECT_TRUE(turn.empty()) << piece;
    for (const auto& effect : piece->simulated_effects())
      for (Node* fluent : effect->fluents) text += "; simulated " + to_anml(fluent);
    result.push_back(text);
  }
  return result;
}

using Chain = std::vector<std::string>;

TEST(TemporallyAwareRelaxer, OnePieceForTheOpeningAndOneForEachLaterEvent) {
  const std::vector<std::pair<std::string, Chain>> rows = {
      {"", {"[start] _f_1_a"}},
      {"[start] p; [end] q := true;", {"[start] (_f_1_a and p)", "[start] _f_2_a; [end] (q := true)"}},
      {"[end] q := true;", {"[start] _f_1_a", "[start] _f_2_a; [end] (q := true)"}},
      {"[start] p; [start] q; [start, end] r;",
       {"[start] (_f_1_a and r and (p and q))", "[start] (_f_2_a and r)"}},
      {"[start] p := true; [start] q := true;",
       {"[start] _f_1_a", "[start] _f_2_a; [end] (p := true); [end] (q := true)"}},
      // The middle of the range is 5, where both points meet: conditions come first.
      {"duration >= 1 and duration <= 9; [end - 2] q := true; [start + 3] p;",
       {"[start] _f_1_a", "[start] (_f_2_a and p)", "[start] _f_3_a; [end] (q := true)"}},
      {"duration := 4; [end - 2] q := true; [start + 3] p;",
       {"[start] _f_1_a", "[start] _f_2_a; [end] (q := true)", "[start] (_f_3_a and p)"}},
      {"duration := dist; [end - 2] q := true; [start + 1] p;",
       {"[start] _f_1_a", "[start] _f_2_a; [end] (q := true)", "[start] (_f_3_a and p)"}},
      // Without an upper bound what is measured from the end comes last.
      {"[end - 5] q := true; [start + 5] p;",
       {"[start] _f_1_a", "[start] (_f_2_a and p)", "[start] _f_3_a; [end] (q := true)"}},
      {"(start, end] p; [start + 1/100] q := true; [start] r;",
       {"[start] (_f_1_a and r)", "[start] _f_2_a; [end] (q := true)", "[start] (_f_3_a and p)",
        "[start] (_f_4_a and p)"}},
      // A point from the end that falls on the start is an event of its own.
      {"duration := 5; [start] p; [end - 5] q; [start + 1] r;",
       {"[start] (_f_1_a and p)", "[start] (_f_2_a and q)", "[start] (_f_3_a and r)"}},
      {"duration := 4; [end - 5] q; [start + 1] r;",
       {"[start] _f_1_a", "[start] (_f_2_a and q)", "[start] (_f_3_a and r)"}},
      // A bare statement counts as one at the start; statements on the duration are no conditions.
      {"p; q := true; [start] duration >= 2; [end] r := true;",
       {"[start] (_f_1_a and p)", "[start] _f_2_a; [end] (q := true)", "[start] _f_3_a; [end] (r := true)"}},
      {"[start] p == true; [end] not (q or r) and x == 2.0;",
       {"[start] (_f_1_a and p)", "[start] (_f_2_a and (((not q) and (not r)) and (x == 2.0)))"}},
      {"[start, end] x := 1.0;", {"[start] _f_1_a"}},
  };
  for (const auto& [body, expected] : rows) {
    Environment env;
    SCOPED_TRACE(body);
    EXPECT_EQ(chain(parse(env, declarations + ("[start] dist := 2.5; action a() { " + body + " };"))),
              expected);
  }
}

TEST(TemporallyAwareRelaxer, SimulatedEffectsJoinTheEffectsOfTheirPoint) {
  Environment env;
  const ProblemPtr problem = parse(env, declarations);
  ExpressionFactory& f = env.expression_factory();
  const auto fluent = [&](const char* name) {
    return f.make_fluent_reference(problem->fluents().at(name), {});
  };
  const auto effect = [&](Node* timing, const char* name) {
    return std::make_shared<SimulatedEffectImpl>(SimulatedEffectImpl{timing, {fluent(name)}, {}});
  };
  Node* const end = f.make_point_interval(f.make_end_anchor());
  Node* const assignment =
      f.make_temporal_expression(end, f.make_assign(fluent("r"), f.make_boolean_constant(true)));
  problem->add_action(env.model_factory().make_action(
      "a", {}, false, {}, {assignment},
      {effect(f.make_end_anchor(), "p"),
       effect(f.make_plus(f.make_start_anchor(), f.make_integer_constant(2)), "q"), effect(end, "x")}));
  EXPECT_EQ(chain(problem), (Chain{"[start] _f_1_a", "[start] _f_2_a; simulated q",
                                   "[start] _f_3_a; [end] (r := true); simulated p; simulated x"}));
}

TEST(TemporallyAwareRelaxer, TimedEffectsOfTheProblemBecomeActions) {
  Environment env;
  const ProblemPtr problem = parse(
      env, declarations +
               std::string(
                   "constant integer zero := 0; action _action_til_1() { [end] q := true; }; [start] p "
                   ":= false; [zero] r := true; [10] p := true; [end - 1] q := false; [end] p; [5, 7] q;"));
  const auto relaxer = transform<TemporallyAwareRelaxer>(problem);
  const ProblemPtr result = relaxer->new_problem();
  // The pieces of an action have numbered names, so the action's own name is free.
  EXPECT_EQ(action_names(result),
            (std::vector<std::string>{"_action_til_0", "_action_til_1", "_action_til_10", "_action_til_11"}));
  EXPECT_EQ(statements(result, "_action_til_0"), Lines{"[end] (p := true)"});
  EXPECT_EQ(statements(result, "_action_til_1"), Lines{"[end] (q := false)"});
  EXPECT_EQ(statements(*result),
            (Lines{"[start] (p := false)", "[zero] (r := true)", "[end] p", "[5, 7] q"}));
}

TEST(TemporallyAwareRelaxer, NamesThatAreTakenAreAvoided) {
  Environment env;
  const ProblemPtr problem = parse(
      env, "type T; instance T a0; fluent boolean _f_1_a; action a() { [start] _f_1_a; }; action b() {};");
  const auto relaxer = transform<TemporallyAwareRelaxer>(problem);
  EXPECT_EQ(action_names(relaxer->new_problem()), (std::vector<std::string>{"a1", "b2"}));
  EXPECT_EQ(to_anml(relaxer->get_new_fluent().at(problem->actions().at("a")).at(1)), "_f_1_a_");
}

TEST(TemporallyAwareRelaxer, PlansAreNotMappedAndStructuredTypesRefused) {
  Environment env;
  const auto relaxer = transform<TemporallyAwareRelaxer>(parse(env, "fluent boolean p;"));
  EXPECT_EQ(error_of([&] { relaxer->map_back(ActionStep{}); }), "InternalError: Map back not implemented!");
  EXPECT_EQ(error_of([&] { relaxer->map_back(std::shared_ptr<Plan>()); }),
            "InternalError: Map back not implemented!");
  EXPECT_EQ(error_of([&] { relaxer->map_forward(ActionStep{}); }),
            "InternalError: Map forward not implemented!");
  EXPECT_EQ(error_of([&] { relaxer->map_forward(std::shared_ptr<TimeTriggeredPlan>()); }),
            "InternalError: Not supported!");
  const ProblemPtr structured = parse(env, "type V with { fluent boolean v; };");
  EXPECT_EQ(error_of([&] { TemporallyAwareRelaxer(structured).do_computation(); }),
            "InternalError: This phase can be only applied to flattened models!");
}

}  // namespace
}  // namespace zorvel::model
