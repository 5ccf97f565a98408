#include "transformers/retyping_substituter.h"

namespace zorvel::model {

Node* RetypingSubstituter::walk_parameter_reference(Node* node) const {
  if (value_map_.contains(node)) return node;  // a parameter of the action, replaced by the base
  return factory().make_parameter_reference(bound_variable(factory().get_parameter_from_reference(node)));
}

Node* RetypingSubstituter::walk_forall(Node* node) const {
  ParameterVector variables;
  for (const auto& variable : factory().get_parameters_from_forall(node))
    variables.push_back(bound_variable(variable));
  return factory().make_forall(variables, memoized_children(node));
}

const std::shared_ptr<ParameterImpl>& RetypingSubstituter::bound_variable(
    const std::shared_ptr<ParameterImpl>& old) const {
  auto& variable = bound_variables_[old];
  if (variable != nullptr) return variable;
  const TypePtr type = new_type_(old->type());
  variable = type == old->type() ? old : std::make_shared<ParameterImpl>(old->name(), type);
  return variable;
}

}  // namespace zorvel::model
