#pragma once

#include <functional>

#include "search/forward/dense/dense_problem.h"

namespace zorvel::tp::ftp {

/// Whether a plan could need an action that is open twice at one time, which the forward searches do not look
/// for. False if no two ends of one action lie apart, or if each action holds a lock while it is open: a slot
/// with an idle value that the action needs at its start and takes away there, which no timed effect gives
/// back and actions only with the last of their events, having taken it themselves. Slots that change hands
/// in another way are not understood, so the answer may be a needless true.
///
/// `is_used` tells the actions that a plan could need at all, `values` any state with all slots set.
bool may_need_self_overlap(const DenseProblem& problem, const ValueId* values,
                           const std::function<bool(ActionId)>& is_used);

}  // namespace zorvel::tp::ftp
