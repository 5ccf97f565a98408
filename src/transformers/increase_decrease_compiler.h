#pragma once

#include "transformers/one_to_one_transformer.h"

namespace zorvel::model {

/// Spells out `x :+= e` as `x := x + e` and `x :-= e` as `x := x - e`, in actions and in the problem's own
/// statements, so that all that follows knows assignments alone. Actions keep their names and parameters.
///
/// It works on flat problems, so in a chain it stands first or right behind the flattener.
class IncreaseDecreaseCompiler : public OneToOneTransformer {
 public:
  explicit IncreaseDecreaseCompiler(const ProblemPtr& problem);

  /// Whether an increase or decrease occurs anywhere in the problem, members of user types included.
  static bool is_needed(const ProblemInstanceImpl& problem);

  /// InternalError "The increase and decrease compiler can be only applied to flattened models!".
  void do_computation() override;
};

}  // namespace zorvel::model
