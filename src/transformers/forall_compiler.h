#pragma once

#include <vector>

#include "transformers/forall_expansion.h"
#include "transformers/one_to_one_transformer.h"

namespace zorvel::model {

/// Expands `forall` over the finite domains of its variables, nested ones included. Actions keep their names
/// and parameters.
class ForallCompiler : public OneToOneTransformer {
 public:
  explicit ForallCompiler(const ProblemPtr& problem);

  /// InternalError "The forall compiler can be only applied to flattened models!", and those of
  /// `expand_forall`.
  void do_computation() override;

  /// As `model::expand_forall` over the values of the problem; InternalError "Found an undefined
  /// finite-domain type" for a variable without a finite domain.
  std::vector<Node*> expand_forall(Node* expression) const;

  using OneToOneTransformer::map_back;
  using OneToOneTransformer::map_forward;
  ActionStep map_back(const ActionStep& step) const override;  ///< InternalError "Not implemented yet!".
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;  ///< As `map_back` of a step.

 private:
  std::vector<Node*> expand_all(const ExpressionSet& expressions) const;
  DomainOf domains() const;
};

}  // namespace zorvel::model
