#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/environment.h"
#include "model/plan_names.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"

// The files of a command line. Where one is called `-`, standard input is read in its place.

namespace zorvel::cli {

/// A problem, and how its plans are written.
struct Input {
  model::ProblemPtr problem;
  PlanNames names;
  std::string anml_file = {};  ///< Empty for PDDL, and where standard input was read.
};

/// Reads the problem of a command. InputError for a wrong number of files, for a fluent of a chart that the
/// problem does not have, and for what cannot be read, with
/// the file and, where it is known, the line.
Input read_problem(Environment& env, const std::vector<std::string>& files, const char* command);

/// Reads a plan of the problem, in the format that the options name; where they name none, or one that is
/// written alone, in the one that its first step is in.
std::shared_ptr<TimeTriggeredPlan> read_plan(Environment& env, const std::string& path, const Input& input);

/// What a planner said of a statement that it cannot handle, with the file and the line in front; empty where
/// they are not known.
std::string locate(const Input& input, const Node* refused, const std::string& message);

}  // namespace zorvel::cli
