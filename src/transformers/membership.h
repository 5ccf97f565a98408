#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/constant.h"
#include "model/problem_instance.h"

namespace zorvel::model {

/// A boolean constant with one parameter of the type: true of the members, references to instances of that
/// type, and false of all others.
std::shared_ptr<ConstantImpl> make_membership(Environment& env, const std::string& name, const TypePtr& type,
                                              const std::vector<Node*>& members);

/// The statement `[start] membership(value)`.
Node* membership_at_start(ExpressionFactory& factory, const std::shared_ptr<ConstantImpl>& membership,
                          Node* value);

}  // namespace zorvel::model
