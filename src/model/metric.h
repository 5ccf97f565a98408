#pragma once

#include <map>
#include <memory>
#include <unordered_map>

#include "core/node.h"

namespace zorvel::model {

class ActionImpl;

enum class MetricKind {
  MINIMIZE_MAKESPAN = 0,
  MINIMIZE_ACTION_COST,
  MINIMIZE_EXPRESSION_ON_FINAL_VALUE,
  MAXIMIZE_EXPRESSION_ON_FINAL_VALUE
};

const char* to_string(MetricKind kind);

/// A measure of plan quality.
class PlanQualityMetric {
 public:
  explicit PlanQualityMetric(MetricKind kind) : kind_(kind) {}
  virtual ~PlanQualityMetric() = default;
  MetricKind kind() const { return kind_; }

 private:
  MetricKind kind_;
};

class MinimizeMakespan : public PlanQualityMetric {
 public:
  MinimizeMakespan() : PlanQualityMetric(MetricKind::MINIMIZE_MAKESPAN) {}
};

class MinimizeActionCost : public PlanQualityMetric {
 public:
  using Costs = std::unordered_map<std::shared_ptr<ActionImpl>, Node*>;
  MinimizeActionCost() : PlanQualityMetric(MetricKind::MINIMIZE_ACTION_COST) {}
  explicit MinimizeActionCost(Costs costs)
      : PlanQualityMetric(MetricKind::MINIMIZE_ACTION_COST), costs_(std::move(costs)) {}
  /// Keeps the first cost of an action.
  void add_cost(const std::shared_ptr<ActionImpl>& action, Node* cost) { costs_.emplace(action, cost); }
  const Costs& costs() const { return costs_; }
  Node* cost(const std::shared_ptr<ActionImpl>& action) const {
    const auto found = costs_.find(action);
    return found == costs_.end() ? nullptr : found->second;
  }

 private:
  Costs costs_;  // never iterated where the order could be seen
};

class MinimizeExpressionOnFinalValue : public PlanQualityMetric {
 public:
  explicit MinimizeExpressionOnFinalValue(Node* expression)
      : PlanQualityMetric(MetricKind::MINIMIZE_EXPRESSION_ON_FINAL_VALUE), expression_(expression) {}
  Node* expression() const { return expression_; }

 private:
  Node* expression_;
};

class MaximizeExpressionOnFinalValue : public PlanQualityMetric {
 public:
  explicit MaximizeExpressionOnFinalValue(Node* expression)
      : PlanQualityMetric(MetricKind::MAXIMIZE_EXPRESSION_ON_FINAL_VALUE), expression_(expression) {}
  Node* expression() const { return expression_; }

 private:
  Node* expression_;
};

/// Whether both say the same: same kind and same costs or expression.
bool same_metric(const PlanQualityMetric& a, const PlanQualityMetric& b);

}  // namespace zorvel::model
