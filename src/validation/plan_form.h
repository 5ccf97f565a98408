#pragma once

#include <string>

#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"

namespace zorvel::validation {

/// What is wrong with a plan before anything is simulated: a step whose parameters or object do not fit its
/// action, or that lies before time 0 or has a negative duration. Empty if nothing is.
///
/// A step of an action that the problem lacks raises InternalError "Found an action that is unknown to the
/// validator: " and the name.
/// `malformed` is set to the step, or to null.
std::string find_malformed_step(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan,
                                const TimeTriggeredStep*& malformed);

/// What rules out a step of the plan in every state: a condition that nothing can change is false with its
/// parameters. Empty if there is none; `impossible` is set to the step otherwise. The plan has no malformed
/// step.
std::string find_impossible_step(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan,
                                 const TimeTriggeredStep*& impossible);

/// The step as messages name it: "Step 3/2: load(box) [2]".
std::string describe_step(const TimeTriggeredStep& step);

}  // namespace zorvel::validation
