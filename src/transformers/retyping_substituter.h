#pragma once

#include <functional>
#include <map>
#include <memory>

#include "model/parameter.h"
#include "model/walkers/expression_substituter.h"

namespace zorvel::model {

/// Substitutes like its base (on what is rebuilt) and gives the variables of a forall new types.
class RetypingSubstituter : public ExpressionSubstituter {
 public:
  using TypeMap = std::function<TypePtr(const TypePtr&)>;
  RetypingSubstituter(Environment& env, NodeMap values, NodeMap heads, TypeMap new_type)
      : ExpressionSubstituter(env, std::move(values), std::move(heads), false),
        new_type_(std::move(new_type)) {}

 protected:
  Node* walk_parameter_reference(Node* node) const override;
  Node* walk_forall(Node* node) const override;

 private:
  const std::shared_ptr<ParameterImpl>& bound_variable(const std::shared_ptr<ParameterImpl>& old) const;

  TypeMap new_type_;
  mutable std::map<std::shared_ptr<ParameterImpl>, std::shared_ptr<ParameterImpl>> bound_variables_;
};

}  // namespace zorvel::model
