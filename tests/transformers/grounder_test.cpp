#include "transformers/grounder.h"

#include <algorithm>
#include <random>

#include "model/constant.h"
#include "model/model_factory.h"
#include "model/walkers/constant_checker.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"
#include "support.h"
#include "transformers/finite_domain.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

struct GroundAction {
  std::string name;
  std::vector<Node*> values;
  ExpressionSet statements;
  friend bool operator==(const GroundAction&, const GroundAction&) = default;
};

/// Grounding as one would first write it: every combination is built, and then looked at.
class PlainGrounder {
 public:
  PlainGrounder(const ProblemPtr& problem, bool prune) : problem_(problem), prune_(prune) {}

  std::vector<GroundAction> ground(const std::shared_ptr<ActionImpl>& action) {
    std::vector<std::vector<Node*>> domains;
    std::size_t combinations = 1;
    for (const auto& parameter : action->parameters()) {
      domains.push_back(finite_domain_values(problem_->env(), problem_->instances(), parameter->type()));
      combinations *= domains.back().size();
    }
    std::vector<GroundAction> result;
    for (std::size_t number = 0; number < combinations; ++number) {
      GroundAction ground;
      NodeMap values;
      std::size_t rest = number;
      for (std::size_t i = 0; i < domains.size(); ++i) {
        ground.values.push_back(domains[i][rest % domains[i].size()]);
        rest /= domains[i].size();
        values[factory_.make_parameter_reference(action->parameters()[i])] = ground.values[i];
      }
      if (!build(*action, values, ground.statements)) continue;
      ground.name = action->name() + "_" + std::to_string(result.size());
      result.push_back(std::move(ground));
    }
    return result;
  }

 private:
  bool build(const ActionImpl& action, const NodeMap& values, ExpressionSet& statements) {
    const ExpressionSubstituter substitute(env_, values, {}, false);
    const ExpressionSimplifier simplify(env_);
    const ConstantChecker check(env_);
    std::vector<std::pair<Timing, Node*>> effects;
    for (Node* expression : action.expressions()) {
      Node* const statement = simplify(substitute(expression));
      try {
        check(statement);
      } catch (const UndefinedConstantError&) {
        return false;
      }
      Node* const body = F::is_temporal_expression(statement) ? statement->children[1] : statement;
      if (body->kind() == NodeKind::TRUE) continue;
      if (prune_ && (body->kind() == NodeKind::FALSE || is_misapplied(body, true))) return false;
      statements.insert(statement);
      if (!prune_ || !F::is_assign(body) || !F::is_fluent_reference(body->children[0])) continue;
      const bool is_timed = body != statement;
      const std::pair effect(
          timing(factory_, is_timed ? statement->children[0]->children[0] : factory_.make_start_anchor()),
          body->children[0]);
      if (std::find(effects.begin(), effects.end(), effect) != effects.end()) return false;
      effects.push_back(effect);
    }
    return true;
  }

  bool is_misapplied(const Node* node, bool is_top) {
    if (F::is_in_assign(node) || (F::is_assign(node) && F::is_duration_anchor(node->children[0])))
      return false;
    if (F::is_assign(node)) return is_misapplied(node->children[0], false);
    if (F::is_or(node) || F::is_imply(node) || (F::is_and(node) && !is_top)) return false;
    if (F::is_fluent_reference(node)) {
      const auto fluent = factory_.get_fluent_from_reference(node);
      for (std::size_t i = 0; i < node->arity; ++i) {
        if (!F::is_numeric_constant(node->children[i])) continue;
        const rational value = factory_.get_numeric_constant(node->children[i]);
        const TypePtr type = fluent->parameters()[i]->type();
        if ((type->is_integer() && !value.is_integer()) || !within_bounds(*type, value)) return true;
      }
    }
    return std::any_of(node->operands().begin(), node->operands().end(),
                       [&](const Node* child) { return is_misapplied(child, is_top && F::is_and(node)); });
  }

  ProblemPtr problem_;
  bool prune_;
  Environment& env_ = problem_->env();
  ExpressionFactory& factory_ = env_.expression_factory();
};

/// The ground actions of one action, in the order of their numbers.
std::vector<GroundAction> grounded(const Grounder& grounder, const std::shared_ptr<ActionImpl>& action) {
  std::vector<GroundAction> result;
  for (std::size_t number = 0;; ++number) {
    const auto found = grounder.new_problem()->actions().find(action->name() + "_" + std::to_string(number));
    if (found == grounder.new_problem()->actions().end()) return result;
    const ActionStep old = grounder.map_back(ActionStep{nullptr, found->second, {}});
    EXPECT_EQ(old.action, action);
    EXPECT_EQ(grounder.map_forward(old)[0].action, found->second);
    result.push_back({found->first, old.parameters, found->second->expressions()});
  }
}

/// A problem with one action whose statements are drawn at random, as text.
class RandomProblem {
 public:
  explicit RandomProblem(unsigned seed) : random_(seed) {}

  std::string text() {
    const std::vector<std::string> types{"T", "U", "integer [0, 3]", "boolean", "float [2.0, 2.0]"};
    std::string out = R"(
      type T; type U;
      instance T t0, t1, t2, t3; instance U u0, u1;
      fluent boolean p; fluent boolean at(T x); fluent boolean both(T x, U y);
      fluent boolean cell(integer [0, 3] x); fluent integer level(T x); fluent T place(U x);
      constant boolean link(T x, T y); constant integer far(T x, T y); constant boolean likes(U x, T y);
      constant T next(T x); constant integer [0, 3] size(U x); constant boolean open(integer [0, 3] x);
      constant integer limit; constant float rate(U x);
    )";
    table(out, "link", {"T", "T"}, {"true", "false"});
    table(out, "far", {"T", "T"}, {"0", "1", "2", "7"});
    table(out, "likes", {"U", "T"}, {"true", "false"});
    table(out, "next", {"T"}, {"t0", "t1", "t2", "t3"});
    table(out, "size", {"U"}, {"0", "1", "2", "3"});
    table(out, "open", {"integer [0, 3]"}, {"true", "false"});
    table(out, "rate", {"U"}, {"0.5", "2.0", "0.0"});
    out += "limit := 2;\n";
    out += "action a(";
    const int count = below(4) + 1;
    for (int i = 0; i < count; ++i) {
      parameters_.emplace_back(types[static_cast<std::size_t>(below(8)) % types.size()],
                               "x" + std::to_string(i));
      out += (i == 0 ? "" : ", ") + parameters_.back().first + " " + parameters_.back().second;
    }
    out += ") {\n";
    if (chance(60)) out += "duration := " + number(2) + ";\n";
    for (int i = below(4) + 1; i > 0; --i) out += interval() + truth(3) + ";\n";
    for (int i = below(4); i > 0; --i) out += "[" + time() + "] " + effect() + ";\n";
    return out + "};\n";
  }

 private:
  int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
  bool chance(int percent) { return below(100) < percent; }
  std::string pick(const std::vector<std::string>& list) {
    return list[static_cast<std::size_t>(below(static_cast<int>(list.size())))];
  }

  std::string value_of(const std::string& type) {
    if (type == "T") return pick({"t0", "t1", "t2", "t3"});
    if (type == "U") return pick({"u0", "u1"});
    if (type == "boolean") return pick({"true", "false"});
    return type == "float [2.0, 2.0]" ? "2.0" : pick({"0", "1", "2", "3"});
  }

  void table(std::string& out, const std::string& name, const std::vector<std::string>& types,
             const std::vector<std::string>& values) {
    std::set<std::string> keys;
    if (chance(50)) keys.insert("*");
    if (types.size() == 2 && chance(20)) keys.insert(value_of(types[0]) + ", *");
    for (int i = below(6) + 1; i > 0; --i) {
      std::string key = value_of(types[0]);
      for (std::size_t k = 1; k < types.size(); ++k) key += ", " + value_of(types[k]);
      keys.insert(key);
    }
    for (const std::string& key : keys) out += name + "(" + key + ") := " + pick(values) + ";\n";
  }

  /// A parameter of the type, a term or a value.
  std::string term(const std::string& type, int depth) {
    if (type == "T" && depth > 0 && chance(15)) return "next(" + term("T", depth - 1) + ")";
    if (type == "T" && depth > 0 && chance(5)) return "place(" + term("U", depth - 1) + ")";
    std::vector<std::string> fitting;
    for (const auto& [parameter_type, name] : parameters_)
      if (parameter_type == type) fitting.push_back(name);
    return fitting.empty() || chance(10) ? value_of(type) : pick(fitting);
  }

  std::string digit(int depth) {
    const std::string plain = term("integer [0, 3]", depth);
    if (chance(20)) return "(" + plain + " + 1)";
    if (chance(10)) return "(" + plain + " - 1)";
    if (chance(5)) return "(" + plain + " / 2)";
    return chance(20) ? "size(" + term("U", depth) + ")" : plain;
  }

  std::string number(int depth) {
    switch (below(depth > 0 ? 9 : 4)) {
      case 0: return digit(0);
      case 1: return std::to_string(below(4));
      case 2: return chance(50) ? "limit" : "far(" + term("T", depth) + ", " + term("T", depth) + ")";
      case 3: return chance(50) ? term("float [2.0, 2.0]", 0) : "rate(" + term("U", depth) + ")";
      case 4: return "(" + number(depth - 1) + " + " + number(depth - 1) + ")";
      case 5: return "(" + number(depth - 1) + " * " + number(depth - 1) + ")";
      case 6: return "(" + number(depth - 1) + " - " + number(depth - 1) + ")";
      case 7: return "(" + number(depth - 1) + " / " + number(depth - 1) + ")";
      default: return "level(" + term("T", depth) + ")";
    }
  }

  std::string truth(int depth) {
    switch (below(depth > 0 ? 15 : 8)) {
      case 0: return "link(" + term("T", depth) + ", " + term("T", depth) + ")";
      case 1: return "likes(" + term("U", depth) + ", " + term("T", depth) + ")";
      case 2: return "open(" + digit(depth) + ")";
      case 3: return "at(" + term("T", depth) + ")";
      case 4: return "cell(" + digit(depth) + ")";
      case 5: return term("boolean", depth);
      case 6: return "(" + number(depth) + pick({" < ", " <= ", " > ", " >= ", " == "}) + number(depth) + ")";
      case 7: return "(" + term("T", depth) + " == " + term("T", depth) + ")";
      case 8: return "(not " + truth(depth - 1) + ")";
      case 9: return "(" + truth(depth - 1) + " or " + truth(depth - 1) + ")";
      case 10: return "(" + truth(depth - 1) + " implies " + truth(depth - 1) + ")";
      case 11: return "(" + truth(depth - 1) + " == " + truth(depth - 1) + ")";
      case 12: return "(not (" + truth(depth - 1) + " and " + truth(depth - 1) + "))";
      default: return "(" + truth(depth - 1) + " and " + truth(depth - 1) + ")";
    }
  }

  std::string time() {
    if (chance(20)) return "start + " + pick({"0", "1", "limit", digit(1)});
    return chance(10) ? "end - " + digit(1) : pick({"start", "end"});
  }

  std::string interval() { return pick({"[start] ", "[all] ", "(start, end] ", "[" + time() + "] "}); }

  std::string effect() {
    switch (below(4)) {
      case 0: return "at(" + term("T", 1) + ") := " + term("boolean", 1);
      case 1: return "cell(" + digit(1) + ") := false";
      case 2: return "both(" + term("T", 1) + ", " + term("U", 1) + ") := true";
      default: return "level(" + term("T", 1) + ") := " + number(1);
    }
  }

  std::mt19937 random_;
  std::vector<std::pair<std::string, std::string>> parameters_;
};

TEST(Grounder, AgreesWithBuildingEveryCombination) {
  unsigned tested = 0;
  std::size_t kept = 0, combinations = 0;
  for (unsigned seed = 0; seed < 200; ++seed) {
    const std::string text = RandomProblem(seed).text();
    SCOPED_TRACE("seed " + std::to_string(seed) + text);
    Environment env;
    ProblemPtr problem;
    try {
      problem = parse(env, text);
    } catch (const ZorvelError&) {
      continue;  // the draw looks neither at bounds of types nor at zero divisors
    }
    ++tested;
    for (const bool prune : {true, false}) {
      Grounder grounder(problem, false, prune);
      grounder.do_computation();
      const auto& action = problem->actions().at("a");
      const auto ground = grounded(grounder, action);
      ASSERT_EQ(ground.size(), grounder.new_problem()->actions().size());
      ASSERT_EQ(ground, PlainGrounder(problem, prune).ground(action)) << "prune " << prune;
      kept += ground.size();
      combinations += grounder.counters().combinations;
    }
  }
  EXPECT_GT(tested, 100u);
  EXPECT_GT(kept, 1000u);
  EXPECT_GT(combinations, 2 * kept);
}

class GrounderTest : public testing::Test {
 protected:
  std::unique_ptr<Grounder> ground(const std::string& text, bool full = false, bool prune = true) {
    return ground(parse(env, text), full, prune);
  }
  std::unique_ptr<Grounder> ground(const ProblemPtr& problem, bool full = false, bool prune = true) {
    auto grounder = std::make_unique<Grounder>(problem, full, prune);
    grounder->do_computation();
    return grounder;
  }
  /// The values of every ground action, by its name.
  Lines values(const Grounder& grounder) {
    Lines result;
    for (const auto& [name, action] : grounder.new_problem()->actions()) {
      std::string line = name + ":";
      for (Node* value : grounder.map_back(ActionStep{nullptr, action, {}}).parameters)
        line += " " + to_anml(value);
      result.insert(line);
    }
    return result;
  }

  Environment env;
  ExpressionFactory& expressions = env.expression_factory();
};

TEST_F(GrounderTest, LeavesOutWhatCanNeverBeApplied) {
  const struct {
    const char* action;
    Lines pruned, unpruned;
  } rows[] = {
      {"a(boolean x) { [start] x; }", {"a_0: true"}, {"a_0: false", "a_1: true"}},
      {"a(boolean x) { [start] p or x; }", {"a_0: false", "a_1: true"}, {"a_0: false", "a_1: true"}},
      {"a(E x) { [start] p; }", {}, {}},
      {"a() { [start] false; }", {"a:"}, {"a:"}},
      {"a(T x, T y) { [start] f(x) := true; [start + 0] f(y) := true; }",
       {"a_0: t1 t0", "a_1: t0 t1"},
       {"a_0: t0 t0", "a_1: t1 t0", "a_2: t0 t1", "a_3: t1 t1"}},
      {"a(T x) { [start] f(x) := true; [start + 1] f(x) := false; }",
       {"a_0: t0", "a_1: t1"},
       {"a_0: t0", "a_1: t1"}},
      {"a(T x) { f(x) := true; [start] f(t0) := false; }", {"a_0: t1"}, {"a_0: t0", "a_1: t1"}},
      {"a(T x) { [start] p := true; [start] p := false; }", {}, {"a_0: t0", "a_1: t1"}},
      {"a(T x) { [start] c(x) > 3; }", {}, {"a_0: t0"}},
      {"a(T x) { duration := c(x); }", {"a_0: t0"}, {"a_0: t0"}},
      {"a(T x) { [start] c(x) == c(x); }", {"a_0: t0", "a_1: t1"}, {"a_0: t0", "a_1: t1"}},
      {"a(D x) { [start] g(x + 1); [end] g(x) := false; }", {"a_0: 0"}, {"a_0: 0", "a_1: 1"}},
      {"a(D x) { [start] p or g(x + 1); }", {"a_0: 0", "a_1: 1"}, {"a_0: 0", "a_1: 1"}},
      {"a(D x) { [end] g(x / 2) := false; }", {"a_0: 0", "a_1: 1"}, {"a_0: 0", "a_1: 1"}},
      {"a(D x) { [start] o(x / 2); }", {"a_0: 0", "a_1: 1"}, {"a_0: 0", "a_1: 1"}},
      {"a(D x) { [start] (x + 1) / 2 == 0; }", {"a_0: 0"}, {"a_0: 0", "a_1: 1"}},
      {"a(D x) { [start] h(x + 1) == h(x + 1); }", {"a_0: 0", "a_1: 1"}, {"a_0: 0", "a_1: 1"}},
  };
  for (const auto& row : rows) {
    std::string text =
        "type T; type E; instance T t0, t1; fluent boolean p; fluent boolean f(T x); "
        "constant integer c(T x); c(t0) := 3; fluent boolean g(integer [0, 1] n); fluent T h(integer [0, 1] "
        "n); "
        "constant boolean o(integer [0, 1] n); o(0) := true; action ";
    text += row.action;
    for (std::size_t at; (at = text.find("(D x)")) != std::string::npos;)
      text.replace(at, 5, "(integer [0, 1] x)");
    EXPECT_EQ(values(*ground(text + ";")), row.pruned) << row.action;
    EXPECT_EQ(values(*ground(text + ";", false, false)), row.unpruned) << row.action;
  }
}

TEST_F(GrounderTest, SimplifiesWhatItKeeps) {
  const auto grounder = ground(R"(
      constant integer k := 3; constant boolean c(boolean x); c(*) := true;
      fluent boolean f(integer [0, 2] n); fluent integer level;
      action a(boolean x, integer [0, 4] n) {
        duration := k * 2;
        [start] c(x) and f(n / 2) and (x or n == 4);
        [end] level := level + n;
      };
      action once() { duration := k; [start] c(true); [end] f(k - 2) := true; };
      [start] level := k;)");
  const ProblemPtr& result = grounder->new_problem();
  EXPECT_EQ(action_names(result).size(), 7u);
  EXPECT_EQ(statements(result, "a_3"),
            (Lines{"(duration := 6)", "[start] f(1)", "[end] (level := (level + 3))"}));
  EXPECT_EQ(statements(result, "once"), (Lines{"(duration := 3)", "[start] true", "[end] (f(1) := true)"}));
  EXPECT_EQ(statements(*result), Lines{"[start] (level := 3)"});
}

TEST_F(GrounderTest, TakesTheNextNumberWhereANameIsTaken) {
  EXPECT_EQ(values(*ground("fluent boolean a_0; action a_2() {}; action a(boolean x) {};")),
            (Lines{"a_1: false", "a_3: true", "a_2:"}));
}

TEST_F(GrounderTest, KeepsParametersOfInfiniteDomains) {
  const auto grounder = ground(R"(
      fluent integer level;
      action a(integer n, boolean up, integer m) { [start] up; [end] level := n + m; };)");
  const auto action = grounder->new_problem()->actions().at("a_0");
  ASSERT_EQ(action->parameters().size(), 2u);
  EXPECT_NE(action->parameters()[0], grounder->problem()->actions().at("a")->parameters()[0]);
  EXPECT_EQ(statements(*action), Lines{"[end] (level := (n + m))"});
  for (Node* statement : action->expressions()) env.type_checker()(statement);
  Node *const one = expressions.make_integer_constant(integer(1)), *const two =
                                                                       expressions.make_integer_constant(
                                                                           integer(2));
  const ActionStep back = grounder->map_back(ActionStep{nullptr, action, {one, two}});
  EXPECT_EQ(back.parameters, (std::vector<Node*>{one, expressions.make_boolean_constant(true), two}));
  EXPECT_EQ(error_of([&] {
              grounder->map_back(ActionStep{nullptr, action, {one}});
            }),
            "InternalError: Missing parameters initialization in grounder map-back!");
  EXPECT_EQ(error_of([&] { grounder->map_forward(back); }),
            "InternalError: Grounder map forward works only with action with only finite parameters!");
}

TEST_F(GrounderTest, MapsPlansBothWays) {
  const auto grounder = ground(R"(
      type T; instance T t0, t1;
      fluent boolean f(T x);
      action a(T x, integer [1, 3] n) { duration := n; [start] n > 1; [end] f(x) := true; };
      action b() { duration := 1; };)");
  const auto a = grounder->problem()->actions().at("a"), b = grounder->problem()->actions().at("b");
  Node* const t1 = expressions.make_instance_reference(grounder->problem()->instances().at("t1"));
  const auto number = [&](int value) { return expressions.make_integer_constant(integer(value)); };
  const auto plan_of = [&](Node* n) {
    const auto plan = std::make_shared<TimeTriggeredPlan>(env);
    plan->add_step(std::make_shared<TimeTriggeredStep>(rational(0), a, std::vector<Node*>{t1, n}, rational(2),
                                                       nullptr, nullptr));
    plan->add_step(std::make_shared<TimeTriggeredStep>(rational(4), b, std::vector<Node*>{}, rational(1),
                                                       nullptr, nullptr));
    return plan;
  };
  const auto plan = plan_of(number(2));
  const auto forward = grounder->map_forward(plan);
  EXPECT_EQ(forward->steps().begin()->second.front()->action->name(), "a_1");
  EXPECT_TRUE(forward->steps().begin()->second.front()->parameters.empty());
  std::ostringstream before, after;
  before << *plan;
  after << *grounder->map_back(std::static_pointer_cast<Plan>(forward));
  EXPECT_EQ(after.str(), before.str());
  // A number of a plan may be written as a decimal.
  EXPECT_EQ(grounder->map_forward(plan_of(expressions.make_rational_constant(rational(2))))
                ->steps()
                .begin()
                ->second.front()
                ->action->name(),
            "a_1");

  const auto useless = plan_of(number(1));
  EXPECT_EQ(error_of([&] { grounder->map_forward(useless); }),
            "InternalError: Found an action that is unknown to the grounder!");
  EXPECT_EQ(error_of([&] { grounder->map_back(std::static_pointer_cast<Plan>(plan)); }),
            "InternalError: Found an action that is unknown to the grounder!");
  EXPECT_EQ(error_of([&] {
              grounder->map_back(ActionStep{nullptr, a, {}});
            }),
            "InternalError: Found an action that is unknown to the transformer!");
  EXPECT_EQ(error_of([&] { grounder->map_back(std::shared_ptr<Plan>()); }),
            "InternalError: Unknown plan kind to be converted by grounder");
}

TEST_F(GrounderTest, GroundsFluentsAndConstantsToo) {
  const auto grounder = ground(R"(
      type T; instance T t0, t1;
      constant integer c(T x, boolean y); c(*) := 4; c(t1, *) := 5;
      fluent boolean f(T x); fluent boolean f_0; fluent integer g(boolean b, integer n); fluent boolean p;
      action a(T x) { duration := c(x, true); [start] f(x); [end] g(true, 7) := 1; };
      [start] f(t1) := true;)",
                               true);
  const ProblemPtr& result = grounder->new_problem();
  std::vector<std::string> fluents;
  for (const auto& [name, fluent] : result->fluents()) fluents.push_back(name);
  EXPECT_EQ(fluents, (std::vector<std::string>{"f_0", "f_1", "f_2", "g_0", "g_1", "p"}));
  EXPECT_EQ(result->fluents().at("g_1")->arity(), 1u);
  EXPECT_EQ(grounder->old_fluent(result->fluents().at("f_2")), grounder->problem()->fluents().at("f"));
  EXPECT_EQ(to_anml(result->constants().at("c_1")->value()->default_value()), "5");
  EXPECT_EQ(statements(result, "a_1"), (Lines{"(duration := 5)", "[start] f_2", "[end] (g_1(7) := 1)"}));
  EXPECT_EQ(statements(*result), Lines{"[start] (f_2 := true)"});
}

TEST_F(GrounderTest, RefusesWhatItCannotGround) {
  const struct {
    const char* text;
    bool full;
    const char* error;
  } rows[] = {
      {"type T with { fluent boolean f; };", false,
       "InternalError: The grounding phase can be only applied to flattened models!"},
      {"action a(set(boolean) s) {};", false, "InternalError: Found an undefined finite-domain type"},
      {"constant integer c(integer n); c(*) := 1;", true,
       "UnsupportedProblemError: Ground all not supported for Constant with infinite formal parameters!"},
      {"constant integer c(boolean x); c(true) := 1;", true,
       "InternalError: Constants values are not fully defined!"},
      {"fluent boolean f(boolean x); fluent boolean p; action a(boolean x) { [start] f(p); };", true,
       "GroundingFailedError: To ground a functional apply its parameters must be constant"},
      {"fluent boolean f; action a(boolean x) { [start, end] f := x; };", false,
       "InternalError: Found an effect over a non-punctual interval"},
      {"action a(integer [0, 9000000000] n) { [start] n == 1; };", false,
       "GroundingFailedError: Parameter 'n' of action 'a' has too many values: integer [0, 9000000000]"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(error_of([&] { ground(row.text, row.full); }), row.error) << row.text;
}

TEST_F(GrounderTest, CarriesCostsAndMetricsOver) {
  const ProblemPtr plain = parse(env, R"(
      constant integer c(boolean x); c(true) := 5; c(false) := 6; fluent integer level;
      action a(boolean x) { [start] level > 1; }; action b() {};)");
  const auto a = plain->actions().at("a"), b = plain->actions().at("b");
  const auto costs = std::make_shared<MinimizeActionCost>();
  const auto with_metrics = [&](const std::vector<std::shared_ptr<PlanQualityMetric>>& metrics) {
    return env.model_factory().make_problem_instance({a, b}, {plain->fluents().at("level")},
                                                     {plain->constants().at("c")}, {}, {}, {}, {}, metrics);
  };
  Node* const x = expressions.make_parameter_reference(a->parameters()[0]);
  costs->add_cost(a, expressions.make_constant_reference(plain->constants().at("c"), {x}));
  EXPECT_EQ(error_of([&] { ground(with_metrics({costs})); }),
            "InternalError: The following action does not have a cost: b");
  costs->add_cost(b, expressions.make_integer_constant(integer(1)));
  const auto grounder = ground(with_metrics({std::make_shared<MinimizeMakespan>(), costs}));
  ASSERT_EQ(grounder->new_problem()->metrics().size(), 2u);
  const auto& result = static_cast<const MinimizeActionCost&>(*grounder->new_problem()->metrics()[1]);
  const auto& actions = grounder->new_problem()->actions();
  EXPECT_EQ(to_anml(result.cost(actions.at("a_0"))) + to_anml(result.cost(actions.at("a_1"))), "65");
  EXPECT_EQ(error_of([&] {
              ground(with_metrics({costs, costs}));
            }),
            "InternalError: Multiple MINIMIZE_ACTION_COST metrics");
}

TEST_F(GrounderTest, PutsTheValuesInFrontOfSimulatedEffects) {
  const ProblemPtr plain = parse(env, R"(
      fluent integer level(integer [0, 1] n); action a(integer n, boolean x, integer [0, 1] m) {};)");
  const auto a = plain->actions().at("a"), level_owner = a;
  const auto level = plain->fluents().at("level");
  std::vector<Node*> seen;
  const auto effect = std::make_shared<SimulatedEffectImpl>();
  effect->timing = expressions.make_end_anchor();
  effect->fluents = {expressions.make_fluent_reference(
      level, {expressions.make_plus(expressions.make_parameter_reference(a->parameters()[2]),
                                    expressions.make_integer_constant(integer(1)))})};
  effect->function = [&](const SearchState&, const StateIndex&, const std::vector<Node*>& parameters) {
    seen = parameters;
    return std::vector<Node*>{};
  };
  const auto simulated = env.model_factory().make_action("a", {}, false, a->parameters(), {}, {effect});
  const auto problem =
      env.model_factory().make_problem_instance({simulated}, {level}, {}, {}, {}, {}, {}, {});
  const auto grounder = ground(problem);
  EXPECT_EQ(action_names(grounder->new_problem()), (std::vector<std::string>{"a_0", "a_1"}))
      << "level(2) does not exist";
  const auto ground_effect = grounder->new_problem()->actions().at("a_1")->simulated_effects().at(0);
  EXPECT_EQ(to_anml(ground_effect->fluents.at(0)), "level(1)");
  Node* const seven = expressions.make_integer_constant(integer(7));
  // The state is only handed on, so any object will do for it.
  const int no_state = 0;
  ground_effect->function(reinterpret_cast<const SearchState&>(no_state), StateIndex(), {seven});
  EXPECT_EQ(seen, (std::vector<Node*>{seven, expressions.make_boolean_constant(true),
                                      expressions.make_integer_constant(integer(0))}));
  EXPECT_EQ(
      error_of([&] { ground(problem, true); }),
      "UnsupportedProblemError: Grounding on fluents cannot be applied to problem with simulated effects");
}

TEST_F(GrounderTest, SearchesAsLongAsTheActionsAreManyNotTheCombinations) {
  // A road of 200 places, each linked to the next; distances only along it. Without the join: 200^3 * 5.
  std::string text =
      "type Place; type Truck; instance Truck k0, k1, k2, k3, k4; fluent Place at(Truck k);\n"
      "constant boolean road(Place a, Place b); road(*) := false;\n"
      "constant integer far(Place a, Place b); constant boolean depot(Place a); depot(*) := false;\n";
  std::string rows;
  for (int i = 0; i < 200; ++i) {
    const std::string here = "q" + std::to_string(i), next = "q" + std::to_string(i + 1);
    text += "instance Place " + here + ";\n";
    if (i == 199) break;
    rows += "road(" + here + ", " + next + ") := true; far(" + here + ", " + next + ") := 1;\n";
    if (i % 50 == 0) rows += "depot(" + here + ") := true;\n";
  }
  const auto grounder = ground(text + rows + R"(
      action shuttle(Place from, Truck k, Place over, Place to) {
        duration := far(over, to) + far(from, over);
        [start] road(from, over) and at(k) == from;
        [start] road(over, to);
        [start] depot(to);
        [end] at(k) := to;
      };)");
  const Grounder::Counters& counters = grounder->counters();
  EXPECT_EQ(counters.combinations, 200u * 200 * 200 * 5);
  EXPECT_EQ(counters.kept, 3u * 5);
  EXPECT_EQ(counters.built, counters.kept);
  EXPECT_LE(counters.tries, 4 * counters.kept);
}

}  // namespace

}  // namespace zorvel::model
