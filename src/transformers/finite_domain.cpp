#include "transformers/finite_domain.h"

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/instance.h"

namespace zorvel::model {

std::vector<Node*> finite_domain_values(Environment& env, const InstanceMap& instances, const TypePtr& type) {
  ExpressionFactory& factory = env.expression_factory();
  std::vector<Node*> values;
  if (type->is_boolean()) {
    values = {factory.make_boolean_constant(false), factory.make_boolean_constant(true)};
  } else if (type->is_integer() && type->is_finite_domain()) {
    require_listable(*type);
    const auto& range = static_cast<const IntegerTypeBase&>(*type);
    for (integer value = range.lower_bound(); value <= range.upper_bound(); ++value)
      values.push_back(factory.make_integer_constant(value));
  } else if (type->is_rational() && type->is_finite_domain()) {
    values.push_back(
        factory.make_rational_constant(static_cast<const RationalTypeBase&>(*type).lower_bound()));
  } else if (type->is_user_defined()) {
    for (const auto& [name, instance] : instances)
      if (instance->type()->is_equal(*type)) values.push_back(factory.make_instance_reference(instance));
  } else {
    throw InternalError("Found an undefined finite-domain type");
  }
  return values;
}

}  // namespace zorvel::model
