#pragma once

#include "model/problem_instance.h"

// What a problem holds that a chain of transformers has to take out.

namespace zorvel::model {

/// Whether some user type of the problem declares actions, fluents, constants or user types of its own.
bool has_members(const ProblemInstanceImpl& problem);

/// Whether a set occurs in a type of the problem, in an expression of the problem or of an action, or in the
/// value of a constant.
bool uses_sets(const ProblemInstanceImpl& problem);

/// Whether an expression of the problem or of an action speaks of a condition that holds at some moment.
bool uses_contains(const ProblemInstanceImpl& problem);

}  // namespace zorvel::model
