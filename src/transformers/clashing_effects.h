#pragma once

#include "model/problem_instance.h"

// Two effects on one fluent at one moment. No plan can pass such a moment, whatever the two write.

namespace zorvel::model {

/// Whether the action has such effects, measured alike and on references that are the same for all values of
/// its parameters. What a fixed duration brings together does not count.
bool has_clashing_effects(const ActionImpl& action);
/// Whether some action of the problem has.
bool has_clashing_effects(const ProblemInstanceImpl& problem);

/// InvalidParameterError "Two effects write " the reference " at one moment of the problem: " and one of
/// them, for effects that have a time of their own.
void refuse_clashing_effects(const ProblemInstanceImpl& problem);

/// InvalidParameterError "A statement lies before the start of the plan: " and the statement.
void refuse_statements_before_start(const ProblemInstanceImpl& problem);

}  // namespace zorvel::model
