#pragma once

#include "model/problem_instance.h"

namespace zorvel::model {

/// Raises UnsupportedStatementError if the interval of `statement` has a bound that `read_timing` cannot
/// read: one that depends on a fluent, for example. The text names the statement, and `action` unless that is
/// null.
void require_readable_times(Environment& env, Node* statement, const ActionImpl* action);

}  // namespace zorvel::model
