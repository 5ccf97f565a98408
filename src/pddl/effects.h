#pragma once

#include <vector>

#include "pddl/expansion.h"
#include "pddl/messages.h"
#include "pddl/times.h"
#include "pddl/tree.h"

namespace zorvel::pddl {

/// One change that an action makes: an atom becomes true or false, or a function gets a number.
struct Change {
  Place place;
  Time time = Time::start;
  /// `atom`, `negation`, `assign_truth` or one of the numeric effects.
  ExpressionKind kind = ExpressionKind::atom;
  const Expression* target = nullptr;
  const Expression* value = nullptr;        ///< Of a numeric effect, or the formula.
  std::vector<TimedExpression> conditions;  ///< It takes place only if all of them hold.
};

/// The changes of an action, without quantifiers, in the order of the text. What can never take place is left
/// out. Effects without a time are at the start.
std::vector<Change> changes_of(const Action& action, Task& task, Expansion& expansion, Messages& messages);

}  // namespace zorvel::pddl
