#pragma once

#include "transformers/basic_transformer.h"

namespace zorvel::model {

/// Takes nested applications out of actions: `[start] f(g(x)) == 1` becomes `[start] f(_p0) == 1` and
/// `[start] g(x) == _p0`, with a new parameter `_p0` of g's type. What is left as argument of a fluent is a
/// parameter or a value, over which the grounder enumerates.
///
/// An expression that holds an application without a finite domain is left alone. One application in two
/// intervals gets two parameters, since its value may change in between. All expressions are simplified, of
/// the actions and of the problem: later steps read constants as numbers.
class FreeVarParamsCompiler : public BasicTransformer {
 public:
  explicit FreeVarParamsCompiler(const ProblemPtr& problem) : BasicTransformer(problem) {}

  /// InternalError "This phase can be only applied to flattened models!", UnsupportedProblemError "The free
  /// var params compiler does not support metrics".
  void do_computation() override;
  /// The old action with the parameters as given. InternalError "Found an action that is unknown to the
  /// transformer!".
  ActionStep map_back(const ActionStep& step) const override;
  /// Steps lose the parameters that the compiler added.
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;  ///< "Not supported!"
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;  ///< "Not supported!"

 private:
  std::shared_ptr<ActionImpl> without_nested_applications(const std::shared_ptr<ActionImpl>& action) const;

  ActionTable new_to_old_;
};

}  // namespace zorvel::model
