#pragma once

#include "model/problem_instance.h"

namespace zorvel::model {

/// The problem with this mutual exclusion (see PlanRules); the problem itself
/// if it has it.
ProblemPtr with_mutual_exclusion(const ProblemPtr& problem, bool has_mutual_exclusion);

}  // namespace zorvel::model
