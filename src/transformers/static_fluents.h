#pragma once

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/problem_instance.h"
#include "model/walkers/expression_substituter.h"

namespace zorvel::model {

/// The fluents of a problem that never change, for reading numbers out of statements on durations: a table of
/// distances kept in fluents is as good as one kept in constants.
///
/// A reference with constant arguments is static if the problem gives it an initial value and neither an
/// action, a simulated effect nor a timed effect may write it. An effect whose arguments are no constants
/// counts as writing every reference that they could make. Built in one pass over the problem, on first need.
class StaticFluents {
 public:
  explicit StaticFluents(ProblemPtr problem) : problem_(std::move(problem)) {}

  /// The expression with all references to static fluents replaced by their values, and simplified.
  Node* operator()(Node* expression) const;
  /// The value of the reference; null if it may change or has no initial value.
  Node* value(Node* reference) const;

 private:
  struct Tables {
    NodeMap initial_values;             // by ground reference, only the unambiguous ones
    std::unordered_set<Node*> written;  // ground references
    std::unordered_map<const FluentImpl*, std::vector<Node*>> patterns;  // writes with other arguments
    NodeMap static_values;
    std::unordered_set<Node*> seen;  // by collect_writes; emptied once all are collected
  };
  const Tables& tables() const;
  void collect_writes(Node* expression, Tables& tables) const;
  void note_write(Node* reference, Tables& tables) const;
  void collect_initial_values(Tables& tables) const;
  bool is_written(Node* reference, const Tables& tables) const;

  ProblemPtr problem_;
  mutable std::unique_ptr<Tables> tables_;
  mutable NodeMap results_;  // of operator(): ground actions share most of their statements
};

}  // namespace zorvel::model
