#pragma once

#include <memory>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "model/problem_source.h"
#include "pddl/messages.h"
#include "pddl/tree.h"

namespace zorvel::pddl {

struct BuiltProblem {
  model::ProblemPtr problem;
  std::shared_ptr<model::ProblemSource> source;  ///< Its files have no names yet.
};

/// The problem of the model that a task stands for. Predicates and functions that nothing changes become
/// constants, all others fluents; atoms that the initial state does not mention are false. What is wrong is
/// noted in `messages`, and the problem is whole only if nothing was.
BuiltProblem build_problem(Environment& env, Task& task, Messages& messages);

}  // namespace zorvel::pddl
