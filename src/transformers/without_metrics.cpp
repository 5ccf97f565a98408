#include "transformers/without_metrics.h"

#include "transformers/problem_parts.h"

namespace zorvel::model {

ProblemPtr without_metrics(const ProblemPtr& problem) {
  if (problem->metrics().empty()) return problem;
  ProblemParts parts(*problem);
  for (const auto& [name, action] : problem->actions()) parts.actions.push_back(action);
  parts.metrics.clear();
  return parts.make(problem->env());
}

}  // namespace zorvel::model
