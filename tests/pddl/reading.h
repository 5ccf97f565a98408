#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "core/environment.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/initial_defaults.h"
#include "model/problem_instance.h"
#include "pddl/reader.h"

namespace zorvel {

/// A domain and a problem read in an environment of their own: the problem, or the error.
struct PddlTexts {
  PddlTexts(const std::string& domain, const std::string& problem_text) : reader(env) {
    try {
      problem = reader.read_texts(domain, problem_text);
    } catch (const std::exception& failure) {
      error = failure.what();
    }
  }

  static std::vector<std::string> texts(const model::ExpressionSet& expressions) {
    std::vector<std::string> result;
    for (Node* expression : expressions) result.push_back(model::to_anml(expression));
    std::sort(result.begin(), result.end());
    return result;
  }
  /// The statements of the problem, with those that stand for values by default, or of one action, sorted.
  std::vector<std::string> statements() const {
    model::ExpressionSet all = problem->expressions();
    const model::InitialDefaults defaults(*problem);
    for (const model::InitialDefault& rule : problem->rules().initial_defaults)
      defaults.for_each_statement(rule.fluent, [&](Node* statement) { all.insert(statement); });
    return texts(all);
  }
  std::vector<std::string> statements(const std::string& action) const {
    return texts(problem->actions().at(action)->expressions());
  }
  bool has_statement(const std::string& text) const {
    const auto all = statements();
    return std::find(all.begin(), all.end(), text) != all.end();
  }
  const std::vector<std::string>& warnings() { return env.warning_manager().warnings(); }

  Environment env;
  PddlReader reader;
  model::ProblemPtr problem;
  std::string error;
};

}  // namespace zorvel
