#include <algorithm>
#include <map>
#include <random>

#include "model/model_factory.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"
#include "support.h"
#include "transformers/duration_bounds.h"
#include "transformers/empty_conditions_compiler.h"
#include "transformers/partial_order_compiler.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

constexpr const char* declarations =
    "type T; instance T o1, o2; fluent boolean p; fluent boolean q; fluent boolean r; fluent float x; fluent "
    "float "
    "dist; fluent boolean at(T o);";

using Versions = std::map<std::string, Lines>;  // statements by action name

Versions versions(const ProblemPtr& problem) {
  Versions result;
  for (const auto& [name, action] : problem->actions()) result[name] = statements(*action);
  return result;
}

template <class Splitter>
Versions split(const std::string& text) {
  Environment env;
  return versions(transform<Splitter>(parse(env, declarations + text))->new_problem());
}

/// The statements of one action `a` with this body, kept as it is.
Versions whole(const std::string& body) {
  Environment env;
  return versions(parse(env, declarations + ("action a() { " + body + " };")));
}

template <class Splitter>
void expect_errors(const std::vector<std::pair<std::string, std::string>>& rows) {
  for (const auto& [text, expected] : rows) {
    Environment env;
    const ProblemPtr problem = parse(env, declarations + text);
    EXPECT_EQ(error_of([&] { Splitter(problem).do_computation(); }), expected) << text;
  }
}

/// The action of the step that a step of the action with this duration is mapped to.
std::string selected(const BasicTransformer& splitter, const std::string& action, const rational& duration,
                     const std::vector<Node*>& parameters = {}) {
  const ProblemPtr& problem = splitter.problem();
  const auto plan = std::make_shared<TimeTriggeredPlan>(problem->env());
  plan->add_step(
      std::make_shared<TimeTriggeredStep>(rational(1), problem->actions().at(action), parameters, duration));
  // A version may begin before what it is a version of.
  return splitter.map_forward(plan)->steps().begin()->second.front()->action->name();
}

TEST(EmptyConditionsCompiler, ConditionsThatAreNeverOrAlwaysEmptyAreNotSplit) {
  const std::vector<std::string> kept = {
      "duration := 5; [start, end] p;",
      "duration := 5; (start, end) p;",
      "duration := 5; [start + 2, end - 3] p;",
      "duration := 5; [start, start + 2] p; [start + 2, start + 2] q; [end - 1, end - 1] r; (end - 2, end] "
      "p;",
      "[start] p; [end] q := true; duration >= 1 and duration <= 3;",
      "duration >= 1 and duration <= 3; [start, end] p;",
      "[start, end] p;",  // a duration of 0 or more: never empty
      "duration <= 4; [start, end] x := 1.0;",
      "duration <= 4; [0, end] p;",
  };
  for (const std::string& body : kept)
    EXPECT_EQ(split<EmptyConditionsCompiler>("action a() { " + body + " };"), whole(body)) << body;

  const std::string body = "duration := 5; [end] q := true; ";
  for (const char* dropped : {"[start + 5, start + 2] p;", "(start + 2, start + 2] p;",
                              "[end - 1, end - 2] p;", "[end - 1, end - 1) p;"})
    EXPECT_EQ(split<EmptyConditionsCompiler>("action a() { " + body + dropped + " };"),
              (Versions{{"a0", {"(duration := 5)", "[end] (q := true)"}}}))
        << dropped;
}

TEST(EmptyConditionsCompiler, EachRangeOfDurationsGetsTheConditionsInForce) {
  const std::string range = "duration >= 1 and duration <= 10; [start] q; ";
  const std::vector<std::pair<std::string, Versions>> rows = {
      {"[start + 2, end - 3] p;",
       {{"a0", {"[start] q", "((duration >= 1.0) and (duration < 5.0))"}},
        {"a1", {"[start] q", "[(start + 2), (end - 3)] p", "((duration >= 5.0) and (duration <= 10.0))"}}}},
      {"[start + 2, end - 3) p;",
       {{"a0", {"[start] q", "((duration >= 1.0) and (duration <= 5.0))"}},
        {"a1", {"[start] q", "[(start + 2), (end - 3)) p", "((duration > 5.0) and (duration <= 10.0))"}}}},
      {"[start + 2, end - 3] p; (start + 5, end] r;",
       {{"a0", {"[start] q", "((duration >= 1.0) and (duration < 5.0))"}},
        {"a1", {"[start] q", "[(start + 2), (end - 3)] p", "(duration == 5.0)"}},
        {"a2",
         {"[start] q", "[(start + 2), (end - 3)] p", "((start + 5), end] r",
          "((duration > 5.0) and (duration <= 10.0))"}}}},
      {"[start + 10, end] p;",
       {{"a0", {"[start] q", "((duration >= 1.0) and (duration < 10.0))"}},
        {"a1", {"[start] q", "[(start + 10), end] p", "(duration == 10.0)"}}}},
      {"[start + 11, end] p;", {{"a0", {"[start] q", "((duration >= 1.0) and (duration <= 10.0))"}}}},
      {"[start + 1, end] p; [start + 1 + 1, end] r;",
       {{"a0", {"[start] q", "[(start + 1), end] p", "((duration >= 1.0) and (duration < 2.0))"}},
        {"a1",
         {"[start] q", "[(start + 1), end] p", "[(start + (1 + 1)), end] r",
          "((duration >= 2.0) and (duration <= 10.0))"}}}},
  };
  for (const auto& [body, expected] : rows)
    EXPECT_EQ(split<EmptyConditionsCompiler>("action a() { " + range + body + " };"), expected) << body;
  // Without an upper bound the last version has none either.
  EXPECT_EQ(split<EmptyConditionsCompiler>("action a() { (start, end) p; };"),
            (Versions{{"a0", {"(duration == 0.0)"}}, {"a1", {"(all) p", "((duration > 0.0))"}}}));
}

TEST(EmptyConditionsCompiler, AllActionsOfAChangedProblemGetNumberedNames) {
  Environment env;
  const std::string two_versions = " duration <= 9; (start, end) p; };";
  const ProblemPtr problem =
      parse(env, declarations + ("fluent boolean b3; action a() {" + two_versions + "action b() {" +
                                 two_versions + "action c() { [start] p; };"));
  const auto compiler = transform<EmptyConditionsCompiler>(problem);
  EXPECT_EQ(action_names(compiler->new_problem()), (std::vector<std::string>{"a0", "a1", "b2", "b4", "c5"}));
  EXPECT_EQ(selected(*compiler, "c", 0), "c5");
  EXPECT_EQ(compiler->map_forward(ActionStep{nullptr, problem->actions().at("a"), {}}).size(), 2u);
  EXPECT_EQ(compiler->map_back(ActionStep{nullptr, compiler->new_problem()->actions().at("b4"), {}}).action,
            problem->actions().at("b"));
}

TEST(EmptyConditionsCompiler, FluentsThatNeverChangeAreReadInDurations) {
  const std::string initial = "[start] dist := 4.0; ";
  const std::string body = "duration := dist; (start + 2, end) p;";
  Environment env;
  const ProblemPtr problem = parse(env, declarations + initial + "action a() { " + body + " };");
  EXPECT_EQ(transform<EmptyConditionsCompiler>(problem)->new_problem(), problem);
  EXPECT_EQ(split<EmptyConditionsCompiler>(initial + "action a() { duration := dist; (start + 5, end) p; };"),
            (Versions{{"a0", {"(duration == 4.0)"}}}));
  // A duration that depends on the state cannot be compared with a threshold, but is never below 0.
  const std::string changes = "action go() { [end] dist := 7.0; };";
  for (const char* whole_range : {"(start, end) p;", "[start, end] p;", "[start, end] p; [start, end) q;"}) {
    Environment other;
    const ProblemPtr changing = parse(
        other, declarations + initial + changes + "action a() { duration := dist; " + whole_range + " };");
    EXPECT_EQ(transform<EmptyConditionsCompiler>(changing)->new_problem(), changing) << whole_range;
  }
  // Above 0 the range stands in the version, beside what the state says.
  Environment third;
  const auto compiler = transform<EmptyConditionsCompiler>(
      parse(third, declarations + initial + changes + "action a() { " + body + " };"));
  EXPECT_EQ(action_names(compiler->new_problem()), (std::vector<std::string>{"a0", "a1", "go2"}));
  const Lines short_version = statements(compiler->new_problem(), "a0");
  EXPECT_TRUE(short_version.contains("(duration == dist)"));
  EXPECT_FALSE(short_version.contains("((start + 2), end) p"));
  EXPECT_TRUE(statements(compiler->new_problem(), "a1").contains("((start + 2), end) p"));
}

TEST(EmptyConditionsCompiler, UnknownFormsAreRefused) {
  const std::string form =
      "UnsupportedProblemError: Durative conditions must have the form: [start + c1, start + c2], [start + "
      "c1, end - "
      "c2] or [end "
      "- c1, end - c2] with c1>=0 and c2>=0";
  expect_errors<EmptyConditionsCompiler>({
      {"action a() { [end - 3, start] p; };", form},
      {"action a() { [end, end] p; };", form},
      {"action a() { [start, start] p; };", form},
      {"action a() { [end - 1, start + 2] p; };", form},
      {"action a() { [start - 1, end] p; };", form},
      {"action a() { [start, end + 1] p; };", form},
      {"action a() { duration <= 2 or duration >= 4; };",
       "UnsupportedProblemError: Duration disjunctions not supported!"},
      {"action a() { duration :in [2, 5]; [start, end] p; };", ""},
      {"action a() { duration :in [2, 5]; (start + 1, end) p; };",
       "UnsupportedProblemError: No limit on a duration can be read from (duration :in [2, 5])"},
      {"type V with { fluent boolean v; };",
       "InternalError: This phase can be only applied to flattened models!"},
  });
  Environment env;
  const ProblemPtr problem = parse(env, "fluent boolean p;");
  problem->add_metric(std::make_shared<MinimizeActionCost>());
  problem->add_metric(std::make_shared<MinimizeActionCost>());
  EXPECT_EQ(error_of([&] { EmptyConditionsCompiler(problem).do_computation(); }),
            "InternalError: Multiple MINIMIZE_ACTION_COST metric");
  EXPECT_EQ(error_of([&] { PartialOrderCompiler(problem).do_computation(); }),
            "InternalError: Multiple MINIMIZE_ACTION_COST metrics");
}

TEST(PartialOrderCompiler, ActionsWhosePointsKeepTheirOrderAreCarriedOver) {
  const std::vector<std::string> kept = {
      "duration >= 1 and duration <= 10; [start] p; [end] q := true; [start, end] r;",
      "duration >= 1 and duration <= 10; [start + 2] q := true; [start + 4, end] p;",
      "duration >= 1 and duration <= 10; [end - 2] q := true; [start, end - 4] p;",
      "duration >= 1; [start + 2] q := true; [end - 2] r := true;",
      "[start + 2] q := true; [end - 2] r := true;",
      "duration <= -1; [start + 2] q := true; [end - 2] r := true;",
  };
  for (const std::string& body : kept)
    EXPECT_EQ(split<PartialOrderCompiler>("action a() { " + body + " };"), whole(body)) << body;
}

TEST(PartialOrderCompiler, OneVersionForEachOrderOfThePoints) {
  const std::string points = "[start + 2] q := true; [end - 3] r := true;";
  const auto with = [](const std::string& duration) {
    return Lines{"[(start + 2)] (q := true)", "[(end - 3)] (r := true)", duration};
  };
  const std::vector<std::pair<std::string, Versions>> rows = {
      {"duration >= 1 and duration <= 10;",
       {{"a0", with("((duration >= 1.0) and (duration < 5.0))")},
        {"a1", with("(duration == 5.0)")},
        {"a2", with("((duration > 5.0) and (duration <= 10.0))")}}},
      {"duration > 1 and duration < 10;",
       {{"a0", with("((duration > 1.0) and (duration < 5.0))")},
        {"a1", with("(duration == 5.0)")},
        {"a2", with("((duration > 5.0) and (duration < 10.0))")}}},
      {"duration >= 5 and duration < 10;",
       {{"a0", with("(duration == 5.0)")}, {"a1", with("((duration > 5.0) and (duration < 10.0))")}}},
      {"duration > 5 and duration < 10;", {{"a0", with("((duration > 5.0) and (duration < 10.0))")}}},
      {"duration >= 1 and duration <= 5;",
       {{"a0", with("((duration >= 1.0) and (duration < 5.0))")}, {"a1", with("(duration == 5.0)")}}},
      {"duration >= 1 and duration < 5;", {{"a0", with("((duration >= 1.0) and (duration < 5.0))")}}},
      // A fixed duration at which they meet makes them one moment.
      {"duration := 5;",
       {{"a0", {"[(start + 2.0)] (q := true)", "[(start + 2.0)] (r := true)", "(duration == 5.0)"}}}},
      {"duration := 7;", {{"a0", with("(duration == 7.0)")}}},
      {"duration >= 9 and duration <= 10;", {{"a0", with("((duration >= 9.0) and (duration <= 10.0))")}}},
  };
  for (const auto& [duration, expected] : rows)
    EXPECT_EQ(split<PartialOrderCompiler>("action a() { " + duration + points + " };"), expected) << duration;
}

TEST(PartialOrderCompiler, ADurationAtWhichTwoEffectsMeetOnOneTargetIsLeftOut) {
  const std::string points = "[start + 2] q := true; [end - 3] q := false;";
  const auto names = [&](const std::string& duration) {
    Environment env;
    return action_names(transform<PartialOrderCompiler>(
                            parse(env, declarations + ("action a() { " + duration + points + " };")))
                            ->new_problem());
  };
  EXPECT_EQ(split<PartialOrderCompiler>("action a() { duration >= 1 and duration <= 10; " + points + " };"),
            (Versions{{"a0",
                       {"[(start + 2)] (q := true)", "[(end - 3)] (q := false)",
                        "((duration >= 1.0) and (duration < 5.0))"}},
                      {"a1",
                       {"[(start + 2)] (q := true)", "[(end - 3)] (q := false)",
                        "((duration > 5.0) and (duration <= 10.0))"}}}));
  EXPECT_EQ(names("duration := 5;"), std::vector<std::string>{});
  EXPECT_EQ(names("duration >= 5 and duration <= 6;"), std::vector<std::string>{"a0"});
}

TEST(PartialOrderCompiler, SimulatedEffectsAreEffects) {
  Environment env;
  const ProblemPtr declared = parse(env, declarations);
  ExpressionFactory& f = env.expression_factory();
  Node* const q = f.make_fluent_reference(declared->fluents().at("q"), {});
  const auto at = [&](Node* anchor) {
    return std::make_shared<SimulatedEffectImpl>(SimulatedEffectImpl{anchor, {q}, {}});
  };
  const auto first = at(f.make_plus(f.make_start_anchor(), f.make_integer_constant(2)));
  const auto second =
      at(f.make_point_interval(f.make_minus(f.make_end_anchor(), f.make_integer_constant(3))));
  Node* const long_enough = f.make_ge(f.make_duration_anchor(), f.make_integer_constant(1));
  Node* const short_enough = f.make_le(f.make_duration_anchor(), f.make_integer_constant(9));
  declared->add_action(
      env.model_factory().make_action("a", {}, false, {}, {long_enough, short_enough}, {first, second}));
  const ProblemPtr result = transform<PartialOrderCompiler>(declared)->new_problem();
  EXPECT_EQ(action_names(result), (std::vector<std::string>{"a0", "a1"}));  // no version for exactly 5
  EXPECT_EQ(statements(result, "a0"), Lines{"((duration >= 1.0) and (duration < 5.0))"});
  EXPECT_EQ(result->actions().at("a0")->simulated_effects(), (ActionImpl::SimulatedEffects{first, second}));
}

TEST(PartialOrderCompiler, NamesOfActionsThatStayAreNotGivenAway) {
  Environment env;
  const std::string moving =
      " duration >= 1 and duration <= 10; [start + 2] q := true; [end - 3] r := true; };";
  const ProblemPtr problem = parse(env, declarations + ("fluent boolean a2; action a() {" + moving +
                                                        "action a0() { [start] p; }; action b() {" + moving));
  const auto compiler = transform<PartialOrderCompiler>(problem);
  EXPECT_EQ(action_names(compiler->new_problem()),
            (std::vector<std::string>{"a0", "a1", "a3", "a4", "b5", "b6", "b7"}));
  EXPECT_EQ(selected(*compiler, "a", 5), "a3");
  EXPECT_EQ(selected(*compiler, "a0", 5), "a0");
}

TEST(PartialOrderCompiler, WhatCannotBeOrderedIsRefused) {
  const std::string points = "[start + 2] q := true; [end - 3] r := true; ";
  expect_errors<PartialOrderCompiler>({
      {"action a() { duration <= 0; " + points + "};",
       "UnsupportedProblemError: Zero-duration action not allowed!"},
      {"action a() { duration <= 9; [end] x := x - duration; " + points + "};",
       "UnsupportedProblemError: No limit on a duration can be read from (x := (x - duration))"},
      {"action a() { [end + 1] q := true; };",
       "UnsupportedStatementError: A time is not 'start + k' or 'end - k' with a number k, in the statement "
       "of "
       "action 'a': [(end + 1)] (q := true)"},
      {"[start] x := 4.0; action a() { duration := x; " + points + "};", ""},
      {"type V with { fluent boolean v; };",
       "InternalError: This phase can be only applied to flattened models!"},
  });
}

TEST(DurationSplitting, VersionsHaveParametersCostsAndEffectsOfTheirOwn) {
  Environment env;
  const ProblemPtr problem = parse(
      env,
      declarations +
          std::string("action a(T o, integer [0, 9] k) { duration >= 1 and duration <= 9; (start + 4, end) "
                      "at(o); [start] x >= k; };"));
  ExpressionFactory& f = env.expression_factory();
  const auto action = problem->actions().at("a");
  problem->add_action_cost(action, f.make_parameter_reference(action->parameters()[1]));
  const auto compiler = transform<EmptyConditionsCompiler>(problem);
  const ProblemPtr result = compiler->new_problem();
  ASSERT_EQ(action_names(result), (std::vector<std::string>{"a0", "a1"}));
  const auto& costs = static_cast<const MinimizeActionCost&>(*result->metrics().front());
  for (const auto& [name, version] : result->actions()) {
    EXPECT_NE(version->parameters()[0], action->parameters()[0]);
    EXPECT_EQ(costs.cost(version), f.make_parameter_reference(version->parameters()[1]));
  }
  Node* const object = f.make_instance_reference(problem->instances().at("o1"));
  const std::vector<Node*> parameters{object, f.make_integer_constant(3)};
  EXPECT_EQ(selected(*compiler, "a", 4, parameters), "a0");
  EXPECT_EQ(selected(*compiler, "a", rational(9, 2), parameters), "a1");
  EXPECT_EQ(error_of([&] { selected(*compiler, "a", 10, parameters); }),
            "InternalError: No version of the action 'a' has the duration 10");
  EXPECT_EQ(error_of([&] { selected(*compiler, "a", 4); }),
            "InternalError: A step of the action 'a' has 0 parameters in place of 2");
  EXPECT_EQ(error_of([&] {
              compiler->map_back(ActionStep{nullptr, action, parameters});
            }),
            "InternalError: Found an action that is unknown to the transformer!");

  const auto plan = std::make_shared<POTPlan>(env);
  const auto first = plan->add_step(2, result->actions().at("a0"), parameters, rational(4));
  plan->add_precedence(first, plan->add_step(0, result->actions().at("a1"), parameters, rational(5)));
  const auto back = std::dynamic_pointer_cast<POTPlan>(compiler->map_back(std::shared_ptr<Plan>(plan)));
  EXPECT_EQ(back->steps()[1]->action, action);
  EXPECT_EQ(back->steps()[0]->duration, rational(4));
  EXPECT_EQ(back->predecessors(back->steps()[1]), std::vector{back->steps()[0]});
}

/// One random action: what it says, and what it means for each duration.
class RandomAction {
 public:
  explicit RandomAction(unsigned seed) : random_(seed) {
    const int lower = 1 + draw(4), upper = lower + draw(10);
    lower_ = lower;
    upper_ = upper;
    switch (draw(4)) {
      case 0: text_ += "duration := " + std::to_string(lower) + "; ", upper_ = lower; break;
      case 1:
        text_ += "duration > " + std::to_string(lower) + "; duration <= " + std::to_string(upper) + "; ";
        open_left_ = true;
        break;
      case 2:
        text_ += "duration >= " + std::to_string(lower) + " and duration < " + std::to_string(upper) + "; ";
        open_right_ = true;
        break;
      default:
        text_ +=
            "duration >= " + std::to_string(lower) + "; [start] duration <= " + std::to_string(upper) + "; ";
    }
    for (int count = 1 + draw(4); count > 0; --count) add_condition();
    for (int count = draw(4); count > 0; --count) add_effect();
  }

  bool allows(const rational& d) const {
    return (open_left_ ? d > lower_ : d >= lower_) && (open_right_ ? d < upper_ : d <= upper_);
  }
  /// The statements but those on the duration that hold for the duration.
  Lines in_force(const rational& d) const {
    Lines lines;
    for (const Statement& s : statements_) {
      const rational from = s.from.at(d), to = s.to.at(d);
      if (from < to || (from == to && s.is_closed)) lines.insert(s.text);
    }
    return lines;
  }
  /// Whether two effects on one fluent coincide.
  bool clashes(const rational& d) const {
    std::set<std::pair<rational, std::string>> seen;
    for (const Statement& s : statements_)
      if (!s.target.empty() && !seen.emplace(s.from.at(d), s.target).second) return true;
    return false;
  }
  /// For each point measured from the end and each from the start that are in force, which comes first.
  std::vector<int> order(const rational& d) const {
    std::vector<int> signs;
    for (const Point& late : points(d))
      for (const Point& early : points(d))
        if (!late.from_start && early.from_start)
          signs.push_back(late.at(d) < early.at(d) ? -1 : late.at(d) > early.at(d) ? 1 : 0);
    return signs;
  }
  bool has_both_offsets() const {
    const auto offset = [this](bool from_start) {
      return std::any_of(statements_.begin(), statements_.end(), [&](const Statement& s) {
        return (s.from.from_start == from_start && s.from.k > 0) ||
               (s.to.from_start == from_start && s.to.k > 0);
      });
    };
    return offset(true) && offset(false);
  }
  std::string text() const { return declarations + ("action a() { " + text_ + "};"); }

 private:
  struct Point {
    bool from_start;
    int k;
    rational at(const rational& d) const { return from_start ? rational(k) : d - rational(k); }
    std::string text() const {
      if (k == 0) return from_start ? "start" : "end";
      return (from_start ? "start + " : "end - ") + std::to_string(k);
    }
    std::string printed() const { return k == 0 ? text() : "(" + text() + ")"; }
  };
  struct Statement {
    std::string text;  // as printed
    Point from, to;
    bool is_closed;
    std::string target;  // of an effect
  };

  int draw(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }
  std::vector<Point> points(const rational& d) const {
    std::vector<Point> result;
    const Lines lines = in_force(d);
    for (const Statement& s : statements_)
      if (lines.contains(s.text)) result.insert(result.end(), {s.from, s.to});
    return result;
  }
  void add_condition() {
    Point from{draw(4) > 0, draw(5)}, to{draw(4) == 0, draw(5)};
    if (!from.from_start) to.from_start = false;
    if (!from.from_start && from.k == 0) from.k = 1;  // a bare end is no lower bound
    if (to.from_start && to.k == 0) to.k = 1;
    const bool left = draw(2) == 0, right = draw(2) == 0;
    const std::string fluent = std::string(1, "pqr"[draw(3)]);
    text_ += (left ? "[" : "(") + from.text() + ", " + to.text() + (right ? "] " : ") ") + fluent + "; ";
    const bool is_all = from.from_start && from.k == 0 && !to.from_start && to.k == 0;
    const std::string bounds = is_all ? "all" : from.printed() + ", " + to.printed();
    add({(left ? "[" : "(") + bounds + (right ? "] " : ") ") + fluent, from, to, left && right, ""});
  }
  void add_effect() {
    const Point at{draw(2) == 0, draw(5)};
    const std::string target = std::string(1, "pqr"[draw(3)]), value = draw(2) == 0 ? "true" : "false";
    text_ += "[" + at.text() + "] " + target + " := " + value + "; ";
    add({"[" + at.printed() + "] (" + target + " := " + value + ")", at, at, true, target});
  }
  void add(const Statement& statement) {
    const bool is_new = std::none_of(statements_.begin(), statements_.end(),
                                     [&](const Statement& other) { return other.text == statement.text; });
    if (is_new) statements_.push_back(statement);
  }

  std::mt19937 random_;
  std::string text_;
  rational lower_, upper_;
  bool open_left_ = false, open_right_ = false;
  std::vector<Statement> statements_;
};

/// The statements of the action that do not speak of the duration.
Lines without_duration(const ActionImpl& action) {
  Lines lines;
  for (Node* expression : action.expressions())
    if (!reads_duration(action.env().expression_factory(), expression)) lines.insert(to_anml(expression));
  return lines;
}

DurationBounds bounds_of(const ActionImpl& action) {
  ExpressionFactory& factory = action.env().expression_factory();
  DurationBounds bounds;
  for (Node* expression : action.expressions()) {
    Node* const statement = without_timing_of_duration(factory, expression);
    if (reads_duration(factory, statement)) update_duration_bound(factory, statement, bounds);
  }
  return bounds;
}

/// The same with each moment as the time that is left until the end, for an action that takes this long.
Lines before_end(const ActionImpl& action, const rational& duration) {
  ExpressionFactory& factory = action.env().expression_factory();
  Lines lines;
  for (Node* expression : action.expressions()) {
    if (reads_duration(factory, expression)) continue;
    const bool is_timed = ExpressionFactory::is_temporal_expression(expression);
    Node* const interval =
        is_timed ? expression->children[0] : factory.make_point_interval(factory.make_start_anchor());
    std::string line = factory.is_left_closed(interval) ? "[" : "(";
    std::vector<rational> left;
    for (Node* anchor : interval->operands()) {
      const Timing time = timing(factory, anchor);
      left.push_back(time.from_start ? duration - time.k : time.k);
    }
    line += left.front().str() + (left.front() == left.back() ? "" : "," + left.back().str());
    lines.insert(line + (factory.is_right_closed(interval) ? "] " : ") ") +
                 to_anml(is_timed ? expression->children[1] : expression));
  }
  return lines;
}

TEST(DurationSplitting, AVersionSaysWhatTheActionMeansForItsDurations) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const RandomAction action(seed);
    SCOPED_TRACE(action.text());
    Environment env;
    const auto conditions = transform<EmptyConditionsCompiler>(parse(env, action.text()));
    const auto orders = transform<PartialOrderCompiler>(conditions->new_problem());
    std::map<std::string, std::vector<int>> order_of;
    for (int half = 0; half <= 30; ++half) {
      const rational duration(half, 2);
      std::string version, ordered;
      const std::string error = error_of([&] { version = selected(*conditions, "a", duration); });
      if (!action.allows(duration)) {
        // An action that is not split keeps its own statements, which exclude the duration.
        if (error.empty()) {
          EXPECT_FALSE(admits(bounds_of(*conditions->new_problem()->actions().at(version)), duration));
        }
        continue;
      }
      ASSERT_EQ(error, "") << duration;
      EXPECT_EQ(without_duration(*conditions->new_problem()->actions().at(version)),
                action.in_force(duration))
          << duration;
      const std::string order_error = error_of([&] { ordered = selected(*orders, version, duration); });
      if (ordered == version) continue;  // not split by order
      ASSERT_EQ(order_error.empty(), !action.clashes(duration)) << duration;
      if (ordered.empty()) continue;
      const auto [known, is_new] = order_of.emplace(ordered, action.order(duration));
      EXPECT_EQ(known->second, action.order(duration)) << ordered << " at " << duration;
      const ActionImpl& exact = *orders->new_problem()->actions().at(ordered);
      const DurationBounds bounds = bounds_of(exact);
      EXPECT_EQ(before_end(exact, bounds.lower.value == bounds.upper.value ? bounds.lower.value : duration),
                before_end(*conditions->new_problem()->actions().at(version), duration));
    }
    if (::testing::Test::HasFailure()) break;
    Environment other;
    const auto again = transform<EmptyConditionsCompiler>(parse(other, action.text()));
    EXPECT_EQ(text_of(transform<PartialOrderCompiler>(again->new_problem())->new_problem()),
              text_of(orders->new_problem()));
  }
}

}  // namespace
}  // namespace zorvel::model
