#include "model/metric.h"

#include <cassert>

#include "model/action.h"

namespace zorvel::model {

const char* to_string(MetricKind kind) {
  switch (kind) {
    case MetricKind::MINIMIZE_MAKESPAN: return "MINIMIZE_MAKESPAN";
    case MetricKind::MINIMIZE_ACTION_COST: return "MINIMIZE_ACTION_COST";
    case MetricKind::MINIMIZE_EXPRESSION_ON_FINAL_VALUE: return "MINIMIZE_EXPRESSION_ON_FINAL_VALUE";
    case MetricKind::MAXIMIZE_EXPRESSION_ON_FINAL_VALUE: return "MAXIMIZE_EXPRESSION_ON_FINAL_VALUE";
  }
  assert(false);
  return "";
}

bool same_metric(const PlanQualityMetric& a, const PlanQualityMetric& b) {
  if (&a == &b) return true;
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case MetricKind::MINIMIZE_MAKESPAN: return true;
    case MetricKind::MINIMIZE_ACTION_COST:
      return static_cast<const MinimizeActionCost&>(a).costs() ==
             static_cast<const MinimizeActionCost&>(b).costs();
    case MetricKind::MINIMIZE_EXPRESSION_ON_FINAL_VALUE:
      return static_cast<const MinimizeExpressionOnFinalValue&>(a).expression() ==
             static_cast<const MinimizeExpressionOnFinalValue&>(b).expression();
    case MetricKind::MAXIMIZE_EXPRESSION_ON_FINAL_VALUE:
      return static_cast<const MaximizeExpressionOnFinalValue&>(a).expression() ==
             static_cast<const MaximizeExpressionOnFinalValue&>(b).expression();
  }
  assert(false);
  return false;
}

}  // namespace zorvel::model
