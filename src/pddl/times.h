#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "pddl/messages.h"
#include "pddl/tree.h"

namespace zorvel::pddl {

/// When a condition or an effect of an action is meant.
enum class Time : std::uint8_t { start, end, all };

struct TimedExpression {
  Time time = Time::start;
  const Expression* expression = nullptr;
};

/// Splits a condition so that each part has one time, and no `at start`, `at end` or `over all` is left in
/// it:
/// `(forall (?x - t) (and (at start (p ?x)) (over all (q ?x))))` becomes two parts that begin with `forall`.
/// What has no time is meant at the start. A time inside of anything but `and` and `forall` is an error.
std::vector<TimedExpression> distribute_times(Task& task, const Expression& condition, Messages& messages);

/// How many preferences were left out, and where the first of them stood.
struct LeftOut {
  std::size_t count = 0;
  Place first;
};

/// The condition or constraint without its preferences, which are counted. One that stands inside of anything
/// but `and` and `forall` is an error.
const Expression* without_preferences(Task& task, const Expression& condition, LeftOut& preferences,
                                      Messages& messages);

}  // namespace zorvel::pddl
