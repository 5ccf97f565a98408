#pragma once

#include <string>
#include <vector>

#include "model/action.h"
#include "printers/pddl_expression.h"
#include "printers/pddl_problem.h"

namespace zorvel {

/// What other planners have to know of a domain beside what every one of ours says.
struct PddlFeatures {
  bool has_functions = false, has_duration_ranges = false, has_timed_facts = false, has_constraints = false;
  bool has_connectives = false;  ///< `or`, `imply`, or `not` of more than an atom.
  bool has_conditional_effects = false;
};

/// The statements of an action, taken apart for the sections of a durative action.
///
/// InternalError "Found a forbidden expression' " and the statement for one that is none of these: a bound of
/// the duration, a condition, an effect at the start or the end; the duration may be in bounds alone.
/// UnsupportedProblemError that names the action for quotients of integers, which are cut in the model and
/// not in PDDL.
class PddlAction {
 public:
  PddlAction(const PddlProblem& problem, const model::ActionImpl& action);

  const std::vector<Node*>& durations() const { return durations_; }    ///< `?duration` on the left.
  const std::vector<Node*>& conditions() const { return conditions_; }  ///< Timed.
  const std::vector<Node*>& effects() const { return effects_; }        ///< Timed assignments.

 private:
  void add(Node* statement);
  void add_bare(Node* statement);
  void add_timed(Node* statement);
  void add_duration(Node* bound);
  void add_bounds_of_values();
  void add_bound(Node* effect, const model::TypeBase& type);
  void keep_effects_apart();
  void keep_apart(const Node* a, const Node* b);
  void refuse_cut_quotients() const;
  Node* at_start(Node* body) const;
  [[noreturn]] static void forbid(const Node* statement);

  model::ExpressionFactory& factory_;
  const PddlProblem& problem_;
  const model::ActionImpl& action_;
  std::vector<Node*> durations_, conditions_, effects_;
};

}  // namespace zorvel
