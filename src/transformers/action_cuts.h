#pragma once

#include <unordered_set>
#include <vector>

#include "core/numbers.h"
#include "model/action.h"
#include "model/problem_instance.h"
#include "model/walkers/expression_simplifier.h"
#include "transformers/static_fluents.h"

// What the statements of an action say at which moments, as the compiler of intermediate effects shares them
// out among the pieces of the action.

namespace zorvel::model {

/// A moment of an action: its end, or so long after its start.
struct ActionMoment {
  bool is_end = false;
  rational time{0};  ///< Of no meaning at the end.
  bool is_start() const { return !is_end && time == rational(0); }
  bool is_inside() const { return !is_end && time > rational(0); }
  friend bool operator==(const ActionMoment&, const ActionMoment&) = default;
};

/// A condition or an effect, without its interval.
struct MomentStatement {
  Node* body;
  bool is_effect;
  ActionMoment from, to;
  bool is_left_closed = true, is_right_closed = true;
  bool is_point() const { return from == to; }
};

/// An action by its moments.
struct ActionCuts {
  std::vector<Node*> limits;  ///< `duration <= x` and the like, `:=` for what fixes it; x never changes.
  std::vector<MomentStatement> statements;
  std::vector<rational> cuts;  ///< The moments strictly inside, ascending.
};

/// Reads actions by their moments; for the actions of one problem, without increases and decreases.
class ActionCutsReader {
 public:
  explicit ActionCutsReader(const ProblemPtr& problem);

  /// UnsupportedProblemError, with the action and the statement, for a moment that is no constant ("The value
  /// of the point interval of an intermediate effect must be a constant!", "The value of the bounds interval
  /// of an intermediate condition must be a constant!") or may lie outside of the action, for a duration that
  /// is uncertain, reads what changes or is fixed twice, and for `forall`, `contains` and effects over time.
  ActionCuts operator()(const ActionImpl& action) const;

 private:
  struct Reading;
  void note_changes(const ProblemInstanceImpl& problem);
  void note_targets(Node* expression);
  void read_limits(Reading& reading) const;
  void read_limit(Reading& reading, Node* limit) const;
  void read_statement(Reading& reading, Node* statement) const;
  void add_body(Reading& reading, Node* statement, Node* body, MomentStatement at) const;
  ActionMoment moment(const Reading& reading, Node* statement, Node* anchor) const;
  void require_inside(const Reading& reading) const;

  Environment& env_;
  ExpressionFactory& factory_;
  StaticFluents static_value_;
  ExpressionSimplifier simplify_;
  std::unordered_set<const FluentImpl*> changing_;  // some action or timed effect writes them
};

}  // namespace zorvel::model
