#pragma once

#include <memory>
#include <vector>

#include "plans/time_triggered_plan.h"
#include "search/forward/ftp_model.h"

namespace zorvel::tp::ftp {

/// The plan of least makespan, for the model's own problem, of events in the order of their application; what
/// is still pending after them is applied too. Conditions, effects and times are tested anew, in exact
/// numbers.
///
/// Without `deordering` each event stays behind all events that come before it. With it, it stays behind
/// those that it touches, where one of the two is an effect: any schedule that keeps these pairs in order
/// takes every fluent through the same values, so that the same tests hold.
///
/// TemporalNetworkIsUnsat if a test fails or no times fit. Takes time close to linear in the events.
std::shared_ptr<TimeTriggeredPlan> replay_events(const FtpModel& model,
                                                 const std::vector<const Event*>& events, bool deordering);

}  // namespace zorvel::tp::ftp
