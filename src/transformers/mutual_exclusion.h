#pragma once

#include "model/problem_instance.h"

namespace zorvel::model {

/// The problem with mutual exclusion (see PlanRules) or without; the problem itself if it is like that.
ProblemPtr with_mutual_exclusion(const ProblemPtr& problem, bool has_mutual_exclusion);

}  // namespace zorvel::model
