#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "transformers/basic_transformer.h"
#include "transformers/fresh_names.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

/// What the compilers share that split an action into versions, one for each range of its durations.
///
/// invariant: The constraints of the versions of one action exclude each other, so a duration selects at most
/// one version. An action that needs no split is its own only version, under the constraint `true`.
class DurationSplitter : public BasicTransformer {
 public:
  ActionStep map_back(const ActionStep& step) const override;
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  /// One step for each version.
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;
  /// Each step in the version that its duration selects (a step without duration counts as 0). InternalError
  /// "No version of the action '<name>' has the duration <duration>" if there is none.
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;

 protected:
  explicit DurationSplitter(const ProblemPtr& problem) : BasicTransformer(problem) {}

  /// A version to be: its expressions, and the constraint on the duration that selects it.
  struct Draft {
    std::vector<Node*> expressions;
    Node* constraint;
    std::optional<ActionImpl::SimulatedEffects> simulated_effects;  // none: those of the action
    rational lead{0};  // how much before the action it begins; it ends with it
  };

  /// Makes the version under a fresh name, with parameters, cost and simulated effects of its own.
  std::shared_ptr<ActionImpl> make_version(const std::shared_ptr<ActionImpl>& action, const Draft& draft,
                                           MetricRewriter& metrics);
  /// The action stays as it is and maps to itself.
  void carry_over(const std::shared_ptr<ActionImpl>& action, MetricRewriter& metrics);

  FreshNames names_;

 private:
  struct Version {
    std::shared_ptr<ActionImpl> action;
    Node* constraint;  // over the parameters of `action`
    rational lead;
  };
  const std::vector<Version>& versions_of(const std::shared_ptr<ActionImpl>& action) const;
  bool is_selected(const Version& version, const ActionStep& step, const rational& duration) const;

  std::unordered_map<std::shared_ptr<ActionImpl>, std::vector<Version>> old_to_new_;
  ActionTable new_to_old_;
  std::unordered_map<std::shared_ptr<ActionImpl>, rational> leads_;  // of the versions that have one
};

}  // namespace zorvel::model
