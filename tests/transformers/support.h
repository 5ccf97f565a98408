#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "core/environment.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/problem_instance.h"
#include "model/type_checker.h"
#include "parsers/anml_parser.h"
#include "test_helpers.h"
#include "transformers/basic_transformer.h"

namespace zorvel::model {

using Lines = std::multiset<std::string>;

inline ProblemPtr parse(Environment& env, const std::string& text) {
  std::istringstream stream(text);
  return AnmlParser(env).parse(stream);
}

inline std::string text_of(const ProblemPtr& problem) {
  std::ostringstream out;
  out << problem;
  return out.str();
}

inline Lines statements(const ExpressionScope& scope) {
  Lines lines;
  for (Node* expression : scope.expressions()) lines.insert(to_anml(expression));
  return lines;
}

inline Lines statements(const ProblemPtr& problem, const std::string& action) {
  return statements(*problem->actions().at(action));
}

inline std::vector<std::string> action_names(const ProblemPtr& problem) {
  std::vector<std::string> names;
  for (const auto& [name, action] : problem->actions()) names.push_back(name);
  return names;
}

/// Runs the transformer over the problem; the input must come out untouched and the result be well typed.
template <class Transformer>
std::shared_ptr<Transformer> transform(const ProblemPtr& problem) {
  const std::string before = text_of(problem);
  auto transformer = std::make_shared<Transformer>(problem);
  transformer->do_computation();
  EXPECT_EQ(text_of(problem), before);
  Environment& env = problem->env();
  for (Node* expression : transformer->new_problem()->expressions()) env.type_checker()(expression);
  for (const auto& [name, action] : transformer->new_problem()->actions())
    for (Node* expression : action->expressions()) env.type_checker()(expression);
  return transformer;
}

}  // namespace zorvel::model
