#pragma once

#include <memory>
#include <vector>

#include "model/constant.h"
#include "model/expression_factory.h"

namespace zorvel::model {

/// The constants, each behind those of them that its values name: a new form of a constant is published with
/// its values, so theirs must exist first. InternalError "The value of the constant '", the name and "'
/// depends on itself".
std::vector<std::shared_ptr<ConstantImpl>> in_order_of_use(
    const ExpressionFactory& factory, const std::vector<std::shared_ptr<ConstantImpl>>& constants);

}  // namespace zorvel::model
