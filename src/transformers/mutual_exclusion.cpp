#include "transformers/mutual_exclusion.h"

#include "transformers/problem_parts.h"

namespace zorvel::model {

ProblemPtr with_mutual_exclusion(const ProblemPtr& problem, bool has_mutual_exclusion) {
  if (problem->rules().has_mutual_exclusion == has_mutual_exclusion) return problem;
  ProblemParts parts(*problem);
  for (const auto& [name, action] : problem->actions()) parts.actions.push_back(action);
  parts.rules.has_mutual_exclusion = has_mutual_exclusion;
  return parts.make(problem->env());
}

}  // namespace zorvel::model
