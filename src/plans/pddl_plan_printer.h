#pragma once

#include <iosfwd>

#include "model/plan_names.h"
#include "plans/time_triggered_plan.h"

namespace zorvel {

/// Prints a plan as the tools around PDDL write one: its makespan, the latest end of a step, in a comment,
/// then a line a step, by time:
///
///     ; Makespan 8.500
///     0.000: (load crate1 truck2) [2.500]
///     7.500: (truck2.honk)
///
/// without the bracket for a step without duration, or of an action that `names` call instantaneous. All
/// times have the same number of decimals: at least three, and as many as the one that needs most. A time
/// without a finite decimal expansion, such as 1/3, or with one of more than a thousand digits, is rounded,
/// with at least three decimals more than the option `plan-epsilon` needs. False if that happened: such a
/// plan may be invalid to a reader that is exact.
/// Starts and ends are rounded, not durations, so that events at one moment stay at one moment.
[[nodiscard]] bool print_pddl_plan(std::ostream& out, const TimeTriggeredPlan& plan,
                                   const PlanNames& names = {});

}  // namespace zorvel
