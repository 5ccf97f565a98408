#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "transformers/basic_transformer.h"

namespace zorvel::model {

/// A transformer that rewrites each action into one with the same parameters. A step of a plan changes its
/// action and, where a subclass says so, its post-condition and the values of its parameters.
class OneToOneTransformer : public BasicTransformer {
 public:
  ActionStep map_back(const ActionStep& step) const override;
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;

 protected:
  /// What the errors say, all InternalError.
  struct Texts {
    std::string_view unknown_new_action;  ///< For a step to be mapped back.
    std::string_view unknown_old_action;  ///< For one to be mapped forward.
    std::string_view unknown_plan;        ///< Behind "Unknown plan kind to be converted by ".
  };
  /// The texts are referred to.
  OneToOneTransformer(ProblemPtr problem, const Texts& texts)
      : BasicTransformer(std::move(problem)), texts_(texts) {}

  void pair(const std::shared_ptr<ActionImpl>& old_action, const std::shared_ptr<ActionImpl>& new_action);
  ActionStep step_back(const ActionStep& step) const;
  ActionStep step_forward(const ActionStep& step) const;
  /// What becomes of a post-condition, never null, on its way.
  virtual Node* condition_back(Node* post_condition) const { return post_condition; }
  virtual Node* condition_forward(Node* post_condition) const { return post_condition; }

  /// What becomes of the value of a parameter.
  virtual Node* value_back(Node* value) const { return value; }
  virtual Node* value_forward(Node* value) const { return value; }

 private:
  Texts texts_;
  ActionTable old_to_new_, new_to_old_;
};

}  // namespace zorvel::model
