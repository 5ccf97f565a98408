#pragma once

#include <memory>

#include "plans/partial_order_temporal_plan.h"
#include "search/classical/tsimple/tsimple_model.h"

namespace zorvel::tsimple {

/// The plan of the way to `state`: its actions, each with the duration that it has in the state before it and
/// a post-condition that names the state behind it, ordered by what they read and write alone.
///
/// A step comes after the last writer of each fluent that it reads or writes, and after all readers of a
/// reference that it writes; so every order that the plan allows leads to the same state. A simulated effect
/// may read everything. UnsupportedProblemError "Actions duration not specified!" for a step whose duration
/// no statement fixes, and "The duration of an action is negative: ".
std::shared_ptr<POTPlan> build_plan(const TSimpleModel& model, const PathState& state);

}  // namespace zorvel::tsimple
