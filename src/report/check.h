#pragma once

#include <string>
#include <vector>

#include "model/problem_instance.h"
#include "report/finding.h"
#include "search/forward/ftp_planner.h"

namespace zorvel::report {

struct CheckResult {
  std::vector<Finding> findings;  ///< By kind, then in the order of the problem.
  bool is_refuted = false;        ///< A goal cannot be reached, so that there is no plan.
};

/// Looks at a problem without planning. The errors are those of the planner for problems that it cannot
/// handle.
CheckResult check_problem(const model::ProblemPtr& problem);
/// The same with a planner that was made for the problem.
CheckResult check_problem(const model::ProblemPtr& problem, const tp::ftp::FtpPlanner& planner);

/// A line for each finding, with its place in front.
std::string to_text(const CheckResult& result);
/// As docs/json.md tells.
std::string to_json(const CheckResult& result);

}  // namespace zorvel::report
