#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "core/environment.h"
#include "core/errors.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/problem_instance.h"
#include "parsers/anml_parser.h"

namespace zorvel {

/// A text read in an environment of its own: the problem, or the error and its line.
struct Reading {
  explicit Reading(const std::string& text) : parser(env) {
    std::istringstream stream(text);
    try {
      problem = parser.parse(stream);
    } catch (const std::exception& failure) {
      error = failure.what();
    }
  }

  /// The statements of the problem or of one action, in order of their creation.
  std::vector<std::string> statements() const { return texts(problem->expressions()); }
  std::vector<std::string> statements(const std::string& action) const {
    return texts(problem->actions().at(action)->expressions());
  }
  static std::vector<std::string> texts(const model::ExpressionSet& expressions) {
    std::vector<std::string> result;
    for (Node* expression : expressions) result.push_back(model::to_anml(expression));
    return result;
  }
  std::string print() const {
    std::ostringstream out;
    out << problem;
    return out.str();
  }
  const std::vector<std::string>& warnings() { return env.warning_manager().warnings(); }

  Environment env;
  AnmlParser parser;
  std::shared_ptr<model::ProblemInstanceImpl> problem;
  std::string error;
};

}  // namespace zorvel
