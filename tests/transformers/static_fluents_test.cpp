#include "transformers/static_fluents.h"

#include "model/model_factory.h"
#include "support.h"

namespace zorvel::model {

namespace {

/// The duration statement of the action "probe" as it is read; declarations before it vary.
std::string read(const std::string& text, const std::string& duration) {
  Environment env;
  const ProblemPtr problem =
      parse(env,
            "type T; instance T a, b; fluent float dist(T x, T y); fluent T home; fluent "
            "float speed; fluent integer [0, 9] n; constant T c := a; " +
                text + " action probe() { duration := " + duration + "; };");
  Node* const statement = *problem->actions().at("probe")->expressions().begin();
  return to_anml(StaticFluents(problem)(statement)->children[1]);
}

TEST(StaticFluents, OnlyWhatNothingWritesIsReadAsItsValue) {
  const std::string initial =
      "[start] { dist(a, b) := 3.5; dist(b, a) := 4.5; home := a; speed := 2.0; n := 3; };";
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"", "7/2"},
      {"action go(T x) { [end] home := b; };", "7/2"},
      {"action go() { [end] dist(b, a) := 1.0; };", "7/2"},
      {"action go() { [end] dist(a, b) := 1.0; };", "dist(a, b)"},
      {"action go() { [end] dist(c, b) := 1.0; };", "dist(a, b)"},
      {"action go(T x) { [end] dist(x, a) := 1.0; };", "7/2"},
      {"action go(T x) { [end] dist(x, b) := 1.0; };", "dist(a, b)"},
      {"action go() { [end] dist(home, b) :+= 1.0; };", "dist(a, b)"},
      {"action go(T x) { [end] forall (T y) { dist(x, y) := 1.0; }; };", "dist(a, b)"},
      {"[5] dist(a, b) := 9.0;", "dist(a, b)"},
      {"[start] dist(a, b) := 9.0;", "dist(a, b)"},
      {"[start + 0] speed := 2.0;", "7/2"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(read(initial + text, "dist(a, b)"), expected) << text;
  EXPECT_EQ(read(initial, "dist(home, b) / speed + 1"), "11/4");
  EXPECT_EQ(read(initial + "action go() { [end] home := b; };", "dist(home, b)"), "dist(home, b)");
  EXPECT_EQ(read(initial, "dist(a, a)"), "dist(a, a)");
  EXPECT_EQ(read(initial + "[start] dist(b, b) := dist(a, b) + 1.0;", "dist(b, b)"), "9/2");
}

TEST(StaticFluents, SimulatedEffectsWrite) {
  Environment env;
  const ProblemPtr problem = parse(env, "fluent float x; fluent float y; [start] { x := 1.0; y := 2.0; };");
  ExpressionFactory& f = env.expression_factory();
  Node* const x = f.make_fluent_reference(problem->fluents().at("x"), {});
  Node* const y = f.make_fluent_reference(problem->fluents().at("y"), {});
  const auto effect =
      std::make_shared<SimulatedEffectImpl>(SimulatedEffectImpl{f.make_end_anchor(), {x}, {}});
  problem->add_action(env.model_factory().make_action("act", {}, false, {}, {}, {effect}));
  const StaticFluents fluents(problem);
  EXPECT_EQ(fluents.value(x), nullptr);
  ASSERT_NE(fluents.value(y), nullptr);
  EXPECT_EQ(to_anml(fluents.value(y)), "2.0");
}

}  // namespace
}  // namespace zorvel::model
