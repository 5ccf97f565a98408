#include "core/environment.h"

#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "model/type_checker.h"

namespace zorvel {

Environment::Environment()
    : model_factory_(std::make_shared<model::ModelFactory>(*this)),
      expression_factory_(std::make_unique<model::ExpressionFactory>(*this)),
      type_checker_(std::make_unique<model::ExpressionTypeChecker>(*this)) {}

Environment::~Environment() = default;

}  // namespace zorvel
