#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/walkers/fun_apply_substituter.h"
#include "transformers/basic_transformer.h"

namespace zorvel::model {

/// Replaces every action with parameters of finite domains by one action for each combination of values that
/// can be applied at all; with `full` also fluents and constants by one for each combination of arguments.
/// Parameters of infinite domains stay.
///
/// Ground objects are numbered in the order of the combinations, the first parameter turning fastest: `a`
/// becomes `a_0`, `a_1`. A combination is left out, and takes no number, if it needs a constant that has no
/// value, and, with `prune_actions`, if a condition is false, if two effects assign one fluent at one time,
/// or if an effect or a conjunct of a condition applies a fluent outside the domain of its parameters.
/// Actions without parameters are only simplified. One that writes a fluent twice at one moment is left
/// out with a warning.
///
/// The cost follows the actions that are made, not the combinations: see grounding/combination_search.h.
///
/// Errors of `do_computation`: InternalError "The grounding phase can be only applied to flattened models!",
/// "Found an undefined finite-domain type" (a parameter of a set type), "Multiple MINIMIZE_ACTION_COST
/// metrics", "The following action does not have a cost: " and the name; with `full` also "Constants
/// values are not fully defined!" (unless the option "pddl" is set) and UnsupportedProblemError "Grounding on
/// fluents cannot be applied to problem with simulated effects" and "Ground all not supported for Constant
/// with infinite formal parameters!"; GroundingFailedError for an application whose arguments do not become
/// constants, and for a domain with more than 2^31 values; UndefinedConstantError for the cost of an action.
class Grounder : public BasicTransformer {
 public:
  /// What the enumeration of actions did, for benchmarks.
  struct Counters {
    std::uint64_t combinations = 0;  ///< Of the parameter values of all actions with parameters; saturates.
    std::uint64_t tries = 0;         ///< Values bound to a parameter while the combinations were searched.
    std::uint64_t built = 0;         ///< Combinations whose statements were built.
    std::uint64_t kept = 0;          ///< Actions made of them.
  };

  Grounder(const ProblemPtr& problem, bool full, bool prune_actions);
  ~Grounder() override;

  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  /// InternalError "Found an action that is unknown to the transformer!" or "Missing parameters
  /// initialization in grounder map-back!".
  ActionStep map_back(const ActionStep& step) const override;
  /// One step. InternalError "Grounder map forward works only with action with only finite parameters!" or
  /// "Found an action that is unknown to the transformer!", also where the combination was left out.
  std::vector<ActionStep> map_forward(const ActionStep& step) const override;
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;
  /// Whether `map_forward` knows the step: false where its combination of values was left out.
  bool is_kept(const ActionStep& step) const { return find_ground_action(step) != nullptr; }
  void do_computation() override;

  /// With `full`: the fluent that a ground fluent was made of; the fluent itself if it was carried over.
  std::shared_ptr<FluentImpl> old_fluent(const std::shared_ptr<FluentImpl>& ground_fluent) const;
  const Counters& counters() const { return counters_; }

 private:
  struct Origin {
    std::shared_ptr<ActionImpl> action;
    std::vector<Node*> values;  // of the finite parameters
  };
  using Key = std::pair<const ActionImpl*, std::vector<Node*>>;
  struct KeyHash {
    std::size_t operator()(const Key& key) const;
  };

  std::vector<std::shared_ptr<FluentImpl>> ground_fluents();
  std::vector<std::shared_ptr<ConstantImpl>> ground_constants();
  /// The action that stands for the step; null if there is none.
  std::shared_ptr<ActionImpl> find_ground_action(const ActionStep& step) const;
  ActionStep map_step_back(const ActionStep& step, const char* unknown_action) const;
  ActionStep map_step_forward(const ActionStep& step, const char* unknown_action) const;

  bool full_;
  bool prune_actions_;
  FunApplySubstituter::GroundObjects ground_objects_;
  std::unordered_map<const ActionImpl*, Origin> origins_;
  std::unordered_map<Key, std::shared_ptr<ActionImpl>, KeyHash> ground_actions_;
  std::unordered_map<const FluentImpl*, std::shared_ptr<FluentImpl>> old_fluents_;
  Counters counters_;
};

}  // namespace zorvel::model
