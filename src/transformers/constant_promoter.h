#pragma once

#include <memory>
#include <unordered_map>

#include "transformers/one_to_one_transformer.h"

namespace zorvel::model {

/// Makes constants of tables in fluents that never change, with the same name: what the initial state says of
/// them is then known when actions are grounded, which leaves out all those that it rules out. Languages
/// without constants have such tables in fluents.
///
/// A fluent is promoted if it has parameters, all of them objects, the problem gives it values at the start,
/// each reference one value, and nothing else in the problem assigns it. A reference without a value stays
/// without one: an action that needs it cannot be applied. Nothing is promoted where effects are computed by
/// callbacks, since these may read any fluent. Actions keep their names and parameters.
class ConstantPromoter : public OneToOneTransformer {
 public:
  explicit ConstantPromoter(const ProblemPtr& problem);

  /// InternalError "The constant promoter can be only applied to flattened models!". Where nothing can be
  /// promoted, the new problem is the input itself.
  void do_computation() override;
};

}  // namespace zorvel::model
