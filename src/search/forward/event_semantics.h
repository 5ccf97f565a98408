#pragma once

#include "plans/bound.h"
#include "search/forward/ftp_model.h"
#include "state/search_state.h"

// What events mean on a plain state: the parts that the plain successors and the replay of a plan share.

namespace zorvel::tp::ftp {

/// Gives every slot its initial value.
void set_initial_values(const FtpModel& model, zorvel::SearchState& state);

/// The durations that an action may take if it is opened in `state`.
DurationBounds duration_bounds_in(const FtpModel& model, const ActionModel& action,
                                  const zorvel::SearchState& state);

/// Whether a condition at or from time 0 is tested when its chain is opened, and not an event to come.
bool is_tested_at_opening(const Event& event);

/// The writes of an effect-like event, which all read the state as it was. False, and nothing is written, if
/// one is impossible.
bool apply_writes(const FtpModel& model, zorvel::SearchState& state, const Event& event);

}  // namespace zorvel::tp::ftp
