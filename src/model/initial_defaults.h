#pragma once

#include <functional>
#include <unordered_map>
#include <unordered_set>

#include "model/problem_instance.h"

namespace zorvel::model {

/// What the defaults of a problem (see InitialDefault) say of its ground fluents. The problem is referred to.
class InitialDefaults {
 public:
  explicit InitialDefaults(const ProblemInstanceImpl& problem);

  /// The statement that gives a ground reference its default; null if it has none, or a value of its own.
  Node* statement(Node* reference) const;
  /// Calls `use` with the statements for all arguments of a fluent with a default, the last one turning
  /// fastest. UnsupportedProblemError where they are more than 5,000,000.
  void for_each_statement(const std::shared_ptr<FluentImpl>& fluent,
                          const std::function<void(Node*)>& use) const;

 private:
  const ProblemInstanceImpl& problem_;
  ExpressionFactory& factory_;
  std::unordered_map<const FluentImpl*, Node*> values_;
  std::unordered_set<const Node*> given_;  // references with a value of their own
  Node* at_start_;
};

}  // namespace zorvel::model
