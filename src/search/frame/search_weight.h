#pragma once

#include "core/environment.h"

namespace zorvel {

/// The option `weight`, the share w of the estimate in f = (1 - w) * g + w * h. InvalidParameterError "The
/// option 'weight' must lie between 0 and 1, but it is " and the value. Every search asks for it, also one
/// that is not guided.
double search_weight(Environment& env);

}  // namespace zorvel
