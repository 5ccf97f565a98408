#pragma once

#include <cstdint>

#include "search/forward/guided/guided_model.h"

namespace zorvel::tp::ftp {

/// A time before which no plan from the initial values ends: the end of the last step, if effects never undid
/// anything and conditions could be met one by one, each by whatever brings it about first (h^max over time,
/// as in Haslum and Geffner, Heuristic Planning with Time and Resources, 2001). Infinite if a goal cannot be
/// met even so.
///
/// Only literals over single fluents count; comparisons and formulas are taken to hold. `values` are the
/// initial ones, by slot.
double least_makespan(const GuidedModel& model, const std::uint32_t* values);

}  // namespace zorvel::tp::ftp
