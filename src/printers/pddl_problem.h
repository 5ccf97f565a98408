#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "model/fluent.h"
#include "model/problem_instance.h"
#include "printers/carried_metric.h"

namespace zorvel {

/// A problem in the form that PDDL can hold: flat, its types apart, without forall, increases, sets, effects
/// in the middle of actions, fluents that are objects, and constants.
///
/// What transformers cannot take out is refused: InternalError "Continuous change is not supported!",
/// "Processes are not supported!" or "Simulated effects are not supported!"; UnsupportedProblemError that
/// names a parameter that is no object, or a constant that is no truth value and no number.
class PddlProblem {
 public:
  explicit PddlProblem(const model::ProblemPtr& problem);

  const model::ProblemInstanceImpl& problem() const { return *problem_; }
  const CarriedMetric& metric() const { return *metric_; }
  /// Those of the problem, and one for each constant with parameters.
  const std::map<std::string, std::shared_ptr<model::FluentImpl>>& fluents() const { return fluents_; }
  /// An expression of the problem as it is written: simplified, constants without parameters as their values,
  /// the others as fluents.
  Node* written(Node* expression) const;
  /// The values of the constants that became fluents, as statements `[start] f(a) := v` in no lasting order;
  /// false ones are left out.
  const std::vector<Node*>& constant_values() const { return constant_values_; }

 private:
  class ConstantWalker;

  void transform(const model::ProblemPtr& problem);
  void refuse_what_is_left() const;
  void replace_constants();
  void add_values(const model::ConstantImpl& constant, const std::shared_ptr<model::FluentImpl>& fluent);

  model::ProblemPtr problem_;
  std::shared_ptr<CarriedMetric> metric_;
  std::map<std::string, std::shared_ptr<model::FluentImpl>> fluents_;
  std::shared_ptr<const ConstantWalker> constant_walker_;
  std::vector<Node*> constant_values_;
};

}  // namespace zorvel
