#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/fluent.h"
#include "model/problem_instance.h"

namespace zorvel {

/// The metric of a problem on its way through transformers that do not take metrics: its expression stands in
/// a statement of the problem meanwhile, and costs of actions become effects on a function that adds them up.
///
/// PDDL has one metric. Of several, the first that it can hold is kept; a warning names each that is left
/// out.
class CarriedMetric {
 public:
  enum class Kind { none, makespan, minimize, maximize };

  /// The problem has to be flat.
  explicit CarriedMetric(const model::ProblemPtr& problem);

  const model::ProblemPtr& problem() const { return problem_; }  ///< Without metrics, for the transformers.
  /// What they made of it, without the statement; from here on `value` is its expression there.
  model::ProblemPtr take_out(const model::ProblemPtr& transformed);

  Kind kind() const { return kind_; }
  Node* value() const { return value_; }  ///< Null for none and for the makespan.
  /// Whether the fluent is the function of the costs, which actions increase.
  bool is_cost(const model::FluentImpl& fluent) const { return fluent.name() == cost_name_; }

 private:
  void choose(const model::ProblemInstanceImpl& problem);
  void carry_costs(const model::MinimizeActionCost& costs);
  std::shared_ptr<model::FluentImpl> existing_sum(const model::MinimizeActionCost& costs) const;
  void add_sum(const model::MinimizeActionCost& costs);
  void carry_value();
  std::shared_ptr<model::FluentImpl> new_function(const char* name) const;

  model::ProblemPtr problem_;
  Kind kind_ = Kind::none;
  Node* value_ = nullptr;
  std::string cost_name_;    // of the function of the costs; empty where there is none
  std::string marker_name_;  // of the fluent that marks the statement; empty where there is none
};

}  // namespace zorvel
