#pragma once

#include <iosfwd>
#include <memory>

#include "cli/input.h"
#include "plans/plan.h"
#include "report/chart.h"

namespace zorvel::cli {

/// The forms in which answers are written; plans are read in the first two.
enum class PlanFormat { anml, pddl, json, html };

PlanFormat plan_format(const Configuration& options);
/// What the options say of charts.
report::ChartOptions chart_options(const Configuration& options);

/// Writes the plan as ANML or PDDL plan lines, or as a page, to standard output, or with exact numbers to the
/// file that was asked for. What has to be said of it goes to `remarks`.
void write_plan(Environment& env, const std::shared_ptr<Plan>& plan, const Input& input,
                std::ostream& remarks);

}  // namespace zorvel::cli
