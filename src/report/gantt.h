#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "report/chart.h"

namespace zorvel::report {

/// A step as the chart draws it. Times are in the problem's unit.
struct Bar {
  const TimeTriggeredStep* step;
  std::size_t color;  ///< Number of the action, from 0.
  double start, end;
  std::size_t lane;  ///< Within its row; bars of one lane do not overlap.
  std::string label;
};

struct Row {
  std::string label;
  std::vector<Bar> bars;  ///< By start.
  std::size_t lanes = 1;
};

/// The rows of the Gantt chart, those that are used first in front. A step that names several objects stands
/// in the row of each; one that names none, in a row of its action.
std::vector<Row> lay_out_rows(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan,
                              ChartOptions::Rows kind);

}  // namespace zorvel::report
