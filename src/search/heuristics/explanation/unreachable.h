#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/node.h"
#include "search/heuristics/relaxation/relaxed_problem.h"
#include "search/heuristics/relaxation/set_expression.h"
#include "search/heuristics/relaxation/value_reachability.h"

namespace zorvel {

/// What can never be brought about, even if nothing were ever taken away: every value that a fluent once took
/// stays beside the others (the relaxation of HMax). What is out of reach here is out of reach in every plan.
class Unreachable {
 public:
  /// What keeps an action, by its number in the searched problem, from ever being completed.
  struct DeadAction {
    std::uint32_t action;
    Node* missing;  ///< The first of its conditions that can never be true.
  };
  /// How far a goal is from being reached: a condition, and the action that would bring it about if it could
  /// ever be applied.
  struct Link {
    Node* condition;
    std::optional<std::uint32_t> action;  ///< None: no action brings it about.
  };

  explicit Unreachable(const RelaxedProblem& problem);

  /// Whether the analysis could be made. Otherwise everything is taken to be within reach.
  bool is_known() const { return is_known_; }
  /// The goals that can never be true, as literals and formulas over ground fluents.
  const std::vector<Node*>& goals() const { return goals_; }
  /// Ascending by number.
  const std::vector<DeadAction>& actions() const { return dead_actions_; }
  /// What is missing for a goal, link by link: the condition of each is what the action of the one before
  /// lacks. Ends at a condition that nothing brings about, or that is in the chain already.
  std::vector<Link> chain_to(Node* goal) const;

  /// Whether a ground condition can be true, or false; true where that is not known.
  bool can_be_true(Node* condition) const;
  bool can_be_false(Node* condition) const;

 private:
  bool is_progress(Node* condition) const;
  void find_dead_actions();
  const DeadAction* dead_action_for(Node* condition) const;

  const RelaxedProblem& problem_;
  ValueReachability reachability_;
  bool is_known_ = false;
  std::vector<Node*> goals_;
  std::vector<DeadAction> dead_actions_;
};

}  // namespace zorvel
