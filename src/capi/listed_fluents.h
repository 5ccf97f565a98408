#pragma once

#include "model/problem_instance.h"

namespace zorvel::capi {

/// Refuses a problem whose expressions refer to a fluent that neither it nor one of its types lists:
/// InvalidParameterError "The problem does not list the fluent '<name>', which is used in: " and the
/// expression. Readers of texts make no such problem; a caller who builds one by hand can.
void require_listed_fluents(const model::ProblemInstanceImpl& problem);

}  // namespace zorvel::capi
