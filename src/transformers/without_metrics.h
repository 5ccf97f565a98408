#pragma once

#include "model/problem_instance.h"

namespace zorvel::model {

/// The problem without its metrics, for planners, which refuse them: they do not say which plans are valid.
/// The problem itself if it has none.
ProblemPtr without_metrics(const ProblemPtr& problem);

}  // namespace zorvel::model
