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
  enum class Scope {
    ALL,            ///< Every statement of every action.
    UNCERTAIN_ENDS  ///< What is written at the end of an action whose duration the world chooses, for the
                    ///< compiler of such durations. What is left, conditions in the main, stays as it is.
  };

  explicit FreeVarParamsCompiler(const ProblemPtr& problem, Scope scope = Scope::ALL)
      : BasicTransformer(problem), scope_(scope) {}

  /// Whether something is in the scope UNCERTAIN_ENDS.
  static bool has_nested_uncertain_end(const ProblemInstanceImpl& problem);

  /// InternalError "This phase can be only applied to flattened models!", UnsupportedProblemError "The free
  /// var params compiler does not support metrics".
  void do_computation() override;
  /// The old action with the parameters as given. InternalError "Found an action that is unknown to the
  /// transformer!".
  ActionStep map_back(const ActionStep& step) const override;
  /// Steps lose the parameters that the compiler added.
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  /// InternalError "Not supported!", but in the scope UNCERTAIN_ENDS: there the step of the new action,
  /// without values for the new parameters, which follow from the state in which it is taken.
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;  ///< Likewise.

 private:
  std::shared_ptr<ActionImpl> without_nested_applications(const std::shared_ptr<ActionImpl>& action) const;

  Scope scope_;
  ActionTable new_to_old_, old_to_new_;
};

}  // namespace zorvel::model
