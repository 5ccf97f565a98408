#pragma once

#include "core/node.h"
#include "model/action.h"
#include "model/problem_instance.h"

namespace zorvel::report {

/// Why no choice of its parameters ever makes an action possible, by what never changes.
struct StaticObstacle {
  /// The first condition that no choice meets which meets those before it; null if none was found.
  Node* condition = nullptr;
  /// A parameter whose type has no values.
  const model::ParameterImpl* parameter = nullptr;
};

/// Tries the choices of parameters one by one, dropping what fails early, and gives up after so many steps.
StaticObstacle find_static_obstacle(const model::ProblemPtr& problem, const model::ActionImpl& action);

}  // namespace zorvel::report
