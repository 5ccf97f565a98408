#include "transformers/membership.h"

#include "model/model_factory.h"

namespace zorvel::model {

std::shared_ptr<ConstantImpl> make_membership(Environment& env, const std::string& name, const TypePtr& type,
                                              const std::vector<Node*>& members) {
  ExpressionFactory& factory = env.expression_factory();
  const auto table = std::make_shared<FunctionValueImpl>(factory.make_boolean_constant(false));
  for (Node* member : members) table->add_assignment({member}, factory.make_boolean_constant(true));
  return env.model_factory().make_constant(name, env.model_factory().make_boolean_type(), {},
                                           {std::make_shared<ParameterImpl>("x", type)}, {{"", table}});
}

Node* membership_at_start(ExpressionFactory& factory, const std::shared_ptr<ConstantImpl>& membership,
                          Node* value) {
  return factory.make_temporal_expression(factory.make_point_interval(factory.make_start_anchor()),
                                          factory.make_constant_reference(membership, {value}));
}

}  // namespace zorvel::model
