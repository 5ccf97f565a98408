#pragma once

#include <string>

#include "report/chart.h"
#include "report/value_history.h"

namespace zorvel::report {

/// The picture of a plan that was replayed; `histories` are the ones to show.
std::string draw(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan,
                 const Verdict& verdict, const std::vector<FluentHistory>& histories,
                 ChartOptions::Rows rows);

}  // namespace zorvel::report
