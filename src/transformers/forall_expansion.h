#pragma once

#include <functional>
#include <vector>

#include "model/problem_instance.h"

namespace zorvel::model {

/// The values of a variable of the type, in the order in which they are put in.
using DomainOf = std::function<std::vector<Node*>(const TypePtr&)>;

/// The expansion of one outer `forall`, bare or under an interval: one expression for each combination of
/// values (the first variable turning fastest) and each statement of the body. Any other expression comes
/// back alone. InternalError "The forall expression has a double interval definition: ", both intervals
/// joined by " and ", for a timed statement in a timed forall; UnsupportedProblemError for more combinations
/// than a machine word counts.
std::vector<Node*> expand_forall(Environment& env, Node* expression, const DomainOf& domain_of);

/// The expansion of one expression until no outer `forall` is left: the body of one may be another.
std::vector<Node*> expand_foralls(Environment& env, Node* expression, const DomainOf& domain_of);

}  // namespace zorvel::model
