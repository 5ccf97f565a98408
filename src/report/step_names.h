#pragma once

#include <string>
#include <vector>

#include "model/problem_instance.h"
#include "plans/plan.h"

namespace zorvel::report {

/// A step in the words of the person who wrote the problem.
struct StepNames {
  std::string object;  ///< Of an action of an object; empty otherwise.
  std::string action;
  std::vector<std::string> arguments;
  bool is_instantaneous = false;  ///< It has no duration in the eyes of who wrote it.

  std::string text() const;  ///< "object.action(argument, argument)"
};

StepNames names_of(const PlanAction& step, const model::ProblemInstanceImpl& problem);

}  // namespace zorvel::report
