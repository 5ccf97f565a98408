#pragma once

#include <string>
#include <vector>

#include "model/action.h"
#include "plans/time_triggered_plan.h"
#include "report/user_words.h"

namespace zorvel::report {

/// What a step needs and does, in ANML, with its arguments in place.
struct StepDetails {
  std::vector<std::string> conditions, effects;
};

/// Statements about the duration, and those that speak of what a reader keeps for itself, are left out.
StepDetails details_of(const TimeTriggeredStep& step, const UserWords& words);

/// Whether an expression speaks of a fluent or constant that a reader keeps for itself, under a name that
/// nobody wrote.
bool is_hidden(const Node* expression, Environment& env);

/// What a statement of an action demands, without its time; null for an effect, and for one about the
/// duration.
Node* condition_in(Node* statement);

/// An expression of the action with its parameters replaced by these values.
Node* with_arguments(const model::ActionImpl& action, const std::vector<Node*>& values, Node* expression);

}  // namespace zorvel::report
