#pragma once

#include <optional>
#include <unordered_map>
#include <vector>

#include "model/problem_instance.h"

namespace zorvel::report {

/// When conditions can hold first in a ground problem, if effects never undid anything and conditions could
/// be met one by one, each by whatever brings it about first (h^max over time, as in Haslum and Geffner,
/// Heuristic Planning with Time and Resources, 2001). Exact lower bounds: no plan has them earlier.
///
/// Literals and equalities of a fluent with a value count, under `and` and `or`; all else is taken to hold
/// from the start on.
class FirstMoments {
 public:
  /// Runs until nothing changes, a pass over all actions each.
  explicit FirstMoments(const model::ProblemInstanceImpl& problem);

  /// No value for never.
  std::optional<rational> of(Node* condition) const;

 private:
  using Moment = std::optional<rational>;  // none: never
  /// A change with the moment at which it takes place, measured from the start of its action or from its end.
  struct Change {
    Node *fluent, *value;  // the value is null where it is no constant
    bool from_start;
    rational offset;  // from the start forwards, from the end backwards
  };
  /// What has to hold from a moment on, or right behind it if that is excluded.
  struct Demand {
    Node* condition;
    bool from_start;
    rational offset;
    bool is_behind;
  };
  struct Action {
    rational least_duration;
    std::vector<Demand> demands;
    std::vector<Change> changes;
  };
  struct Known {
    std::unordered_map<Node*, rational> values;  // by value
    Moment any;                                  // of a change to a value that is not known
  };

  Action read(const model::ActionImpl& action) const;
  void read_statement(Node* statement, Action& action) const;
  static bool precedes(const Demand& demand, const Change& change);
  Moment of_change(const Action& action, const Change& change) const;
  bool apply(const Action& action);
  bool lower(const Change& change, const rational& moment);
  Moment of_value(Node* fluent, Node* value) const;
  Moment of_other_value(Node* fluent, Node* value) const;
  Moment of_equality(const Node* equality, bool is_negated) const;
  Moment of_literal(Node* condition, bool is_negated) const;

  model::ExpressionFactory& factory_;
  std::unordered_map<Node*, Known> known_;  // by ground fluent
};

}  // namespace zorvel::report
