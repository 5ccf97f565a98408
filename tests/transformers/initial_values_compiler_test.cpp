#include "transformers/initial_values_compiler.h"

#include "model/model_factory.h"
#include "model/simulated_effect.h"
#include "support.h"
#include "transformers/grounder.h"
#include "transformers/problem_parts.h"
#include "transformers/temporal_uncertainty_compiler.h"

namespace zorvel::model {

namespace {

const char* const vocabulary = R"(
    type T; instance T a, b, c;
    fluent boolean p(T x); fluent boolean q(T x, T y); fluent float n(T x); fluent T place;
)";

/// The problem of the text, in which p and q are false and n is 0 where nothing else is said.
ProblemPtr parse_with_defaults(Environment& env, const std::string& text) {
  const ProblemPtr problem = parse(env, vocabulary + text);
  ProblemParts parts(*problem);
  for (const auto& [name, action] : problem->actions()) parts.actions.push_back(action);
  ExpressionFactory& factory = env.expression_factory();
  for (const char* name : {"p", "q"})
    parts.rules.initial_defaults.push_back(
        {problem->fluents().at(name), factory.make_boolean_constant(false)});
  parts.rules.initial_defaults.push_back(
      {problem->fluents().at("n"), factory.make_rational_constant(rational(0))});
  return parts.make(env);
}

Lines values_of(const ProblemPtr& problem, bool keeps_all = false) {
  InitialValuesCompiler compiler(problem, keeps_all);
  compiler.do_computation();
  EXPECT_FALSE(InitialValuesCompiler::is_needed(*compiler.new_problem()));
  Lines lines;
  for (const std::string& line : statements(*compiler.new_problem()))
    if (line.find(":=") != std::string::npos) lines.insert(line);
  return lines;
}

TEST(InitialValuesCompiler, WhatAProblemSpeaksOfGetsItsDefault) {
  Environment env;
  const auto problem = parse_with_defaults(
      env,
      "[start] { p(a) := true; q(a, b) := false; n(c) := 7; };"
      "action go() { duration := 1; [start] p(b); [end] n(a) := n(a) + 1; }; [end] p(a) and q(b, a);");
  const Lines given{"[start] (p(a) := true)", "[start] (q(a, b) := false)", "[start] (n(c) := 7)"};
  Lines spoken_of = given;
  spoken_of.merge(Lines{"[start] (p(b) := false)", "[start] (q(b, a) := false)", "[start] (n(a) := 0.0)"});
  EXPECT_EQ(values_of(problem), spoken_of);
  // Of three atoms, nine and three numbers, each has one value; so they have in the text.
  const Lines all = values_of(problem, true);
  EXPECT_EQ(all.size(), 15U);
  EXPECT_EQ(all.count("[start] (p(a) := false)"), 0U);
  Lines written = statements(*parse(env, text_of(problem)));
  EXPECT_EQ(written.erase("[end] (p(a) and q(b, a))"), 1U);
  EXPECT_EQ(written, all);
}

TEST(InitialValuesCompiler, AnArgumentThatChangesMayBeAnyObject) {
  Environment env;
  const auto problem = parse_with_defaults(env, "[start] place := a; [end] p(place); [end] q(a, b);");
  EXPECT_EQ(values_of(problem),
            (Lines{"[start] (place := a)", "[start] (p(a) := false)", "[start] (p(b) := false)",
                   "[start] (p(c) := false)", "[start] (q(a, b) := false)"}));
}

TEST(InitialValuesCompiler, CallbacksMayReadEverything) {
  Environment env;
  const auto problem = parse_with_defaults(env, "action go() { duration := 1; [start] p(b); };");
  ExpressionFactory& factory = env.expression_factory();
  ProblemParts parts(*problem);
  const auto effect = std::make_shared<SimulatedEffectImpl>(SimulatedEffectImpl{
      factory.make_start_anchor(), {}, [](const auto&...) { return std::vector<Node*>(); }});
  const auto& go = problem->actions().at("go");
  parts.actions.push_back(env.model_factory().make_action(
      "go", {}, false, {}, {go->expressions().begin(), go->expressions().end()}, {effect}));
  EXPECT_EQ(values_of(parts.make(env)).size(), 15U);
}

TEST(InitialValuesCompiler, UncertainValuesBeginAsTheFluentsDo) {
  Environment env;
  const auto problem = parse_with_defaults(
      env, "action go() { duration :in [1, 2]; [end] p(b) := true; }; [start] p(a) := true; [end] p(b);");
  const auto compiler = transform<TemporalUncertaintyCompiler>(problem);
  const Lines values = values_of(compiler->new_problem());
  Lines texts;
  for (std::string line : values) {
    const auto begin = line.find('('), end = line.find('(', begin + 1);
    texts.insert(line.replace(begin + 1, end - begin - 1, "_"));
  }
  EXPECT_EQ(texts, (Lines{"[start] (_(a) := true)", "[start] (_(a) := true)", "[start] (_(b) := false)",
                          "[start] (_(b) := false)"}));
}

TEST(InitialValuesCompiler, RefusesWhatNobodyCanWriteOut) {
  Environment env;
  std::string many = "type U; fluent boolean far(U x, U y, U z); instance U o0";
  for (int i = 1; i < 200; ++i) many += ", o" + std::to_string(i);
  const auto problem = parse(env, many + "; action go(U x) { duration := 1; [end] far(x, x, x) := true; };");
  ProblemParts parts(*problem);
  parts.rules.initial_defaults.push_back(
      {problem->fluents().at("far"), env.expression_factory().make_boolean_constant(false)});
  const ProblemPtr closed = parts.make(env);
  EXPECT_EQ(values_of(closed), Lines());
  EXPECT_EQ(error_of([&] { values_of(closed, true); }),
            "UnsupportedProblemError: The fluent 'far' stands for more than 5000000 ground ones, too many to "
            "write out their values at the start");
  Grounder grounder(closed, true, true);
  EXPECT_EQ(error_of([&] { grounder.do_computation(); }),
            "UnsupportedProblemError: Grounding on fluents needs all values at the start: run "
            "'initial-values-compiler' before it");
}

}  // namespace

}  // namespace zorvel::model
