#pragma once

#include <memory>
#include <unordered_set>

#include "transformers/basic_transformer.h"

namespace zorvel::model {

/// Takes out statements `I contains x` of a problem, which demand that x holds at some moment of the interval
/// I. Each becomes two fluents and an action: `__contains_active_0` is true during I, `__contains_goal_0` has
/// to be true at the end, and `__contains_action_0` makes it so at a moment at which the first one and x
/// hold.
///
/// Where the moment has a label, `[start(label), end] c` becomes `[start, end] (not __contains_goal_0 or c)`,
/// and an order among labels is kept by conditions of the new actions. New actions cost nothing. Other
/// actions stay what they are.
///
/// What only holds at the very moment at which I begins is not found, for `__contains_active_0` is seen from
/// behind that moment on.
class ContainsCompiler : public BasicTransformer {
 public:
  explicit ContainsCompiler(const ProblemPtr& problem) : BasicTransformer(problem) {}

  /// UnsupportedProblemError, with the statement, for a `contains` over a single moment, one that ends before
  /// it has begun, one that asks for a length ("Unsupported contains with duration: "), a label that no
  /// `contains` has, and a label that does not stand alone as one end of an interval.
  void do_computation() override;
  ActionStep map_back(const ActionStep& step) const override;  ///< "Not implemented yet!"
  /// Steps of new actions are left out; what was ordered through one of them stays ordered.
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;  ///< "Not implemented yet!"
  /// "Not supported!", for a plan does not say when the new actions are to take place.
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;

  bool drops_steps() const override { return !new_actions_.empty(); }

 private:
  std::unordered_set<std::shared_ptr<ActionImpl>> new_actions_;
};

}  // namespace zorvel::model
