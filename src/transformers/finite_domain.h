#pragma once

#include <vector>

#include "core/environment.h"
#include "model/problem_instance.h"

namespace zorvel::model {

/// The values over which parameters and bound variables of a finite type are expanded, in their order: false
/// then true; the integers of the range; the one value of a rational type; the instances of exactly the user
/// type, by name. InternalError "Found an undefined finite-domain type" for any other type, and that of
/// `require_listable` for a range that no memory holds.
std::vector<Node*> finite_domain_values(Environment& env, const InstanceMap& instances, const TypePtr& type);

}  // namespace zorvel::model
