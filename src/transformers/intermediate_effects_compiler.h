#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/numbers.h"
#include "transformers/action_cuts.h"
#include "transformers/back_only.h"
#include "transformers/fresh_names.h"
#include "transformers/increase_decrease_compiler.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

/// Cuts actions at the moments strictly inside of them where something happens. The pieces have events at
/// their own starts and ends alone: `a_s`, then `a_e` behind each cut. Over each joint lies a clip `a_c` of
/// the length 2 epsilon, in which the one piece ends and the other one begins, so that three fluents hold
/// at its end exactly if both took place.
///
/// A clip holds the joint at one moment if no two events that have to be apart are closer than epsilon, so
/// whoever solves the result has to use the same `plan-epsilon`; with a smaller one the pieces may slip by up
/// to 2 epsilon. The fluents of a clip have the parameters of the action, so grounding first is cheaper.
///
/// With mutual exclusion, a condition at a cut is one of the later piece alone: as that of the earlier one it
/// would have to be apart from the effects that are in the later one now.
///
/// Errors of `do_computation`, UnsupportedProblemError, beside those of ActionCutsReader: "The intermediate
/// effects compiler does not support metrics"; "ICE compiler cannot be applied to problem with simulated
/// effects" and the action. InternalError "The compile away intermediate effects phase can be only applied to
/// flattened models!".
class IntermediateEffectsCompiler : public BackOnly<BasicTransformer> {
 public:
  /// `epsilon` is above 0.
  IntermediateEffectsCompiler(const ProblemPtr& problem, rational epsilon);

  /// Whether a statement of some action speaks of a moment inside of it.
  static bool is_needed(const ProblemInstanceImpl& problem);

  void do_computation() override;
  /// The first piece becomes the step; clips and later pieces are left out. Where the action has no one
  /// duration, the step of a timed plan ends with the last piece that belongs to it. InternalError "Found an
  /// action that is unknown to the intermediate effects compiler!"; "Found a duration assignment forbidden: "
  /// and a limit of it, for such a step of a partial order.
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  using BackOnly::map_back;
  bool drops_steps() const override { return true; }

 private:
  enum class Role { whole, first, inner, last };
  /// Where a new action comes from.
  struct Origin {
    std::shared_ptr<ActionImpl> action;  // of the input
    Role role = Role::whole;
    rational last_cut{0};
    std::optional<rational> duration = {};  // of the action, if that is one number
    Node* limit = nullptr;                  // otherwise: what it says of its duration
  };
  struct Joint;
  class LastPieces;

  std::string fresh_name(FreshNames& names, const std::string& name);
  void cut(const std::shared_ptr<ActionImpl>& action, const ActionCuts& cuts, ProblemParts& parts);
  Joint make_joint(const ActionImpl& action, ProblemParts& parts);
  void add_initial_values(const ActionImpl& action, const std::vector<Joint>& joints, ProblemParts& parts);
  std::vector<Node*> piece(const ActionCuts& cuts, std::size_t number) const;
  Node* shortened(Node* limit, const rational& passed) const;
  void add_joints(std::vector<Node*>& statements, const std::vector<Joint>& joints, std::size_t number) const;
  std::vector<Node*> clip(const Joint& joint) const;
  std::shared_ptr<ActionImpl> make_action(const ActionImpl& old_action, const std::string& name,
                                          const std::vector<Node*>& statements) const;
  Node* number_node(const rational& number) const;
  Node* without_new_fluents(Node* post_condition) const;

  rational epsilon_;
  FreshNames action_names_, fluent_names_;
  std::unique_ptr<IncreaseDecreaseCompiler> spelled_out_;  // null where there was nothing to spell out
  std::unordered_map<std::shared_ptr<ActionImpl>, Origin> origins_;  // by new action
  std::unordered_set<const FluentImpl*> new_fluents_;
};

}  // namespace zorvel::model
