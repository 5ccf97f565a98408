#pragma once

#include <istream>
#include <memory>
#include <string>

#include "core/environment.h"
#include "model/plan_names.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"

namespace zorvel {

/// Reads the text of a time-triggered plan as the tools around PDDL write it, one step a line:
///
///     start: (action argument argument) [duration]
///     start: (object.action) [duration]
///
/// Start and duration are digits, or a decimal number, or a fraction `3/2`, and are kept exactly. The bracket
/// may be missing where the action says nothing of its duration. An argument is such a number, with or
/// without a sign, `true`, `false`, or the name of an object. Upper and lower case differ. Blank lines and
/// everything behind a `;` are skipped. Lines may come in any order.
class PddlPlanParser : public EnvObject {
 public:
  /// Names are looked up in `problem`, of which the parser keeps a share, after `names` has translated them.
  PddlPlanParser(Environment& env, const std::shared_ptr<model::ProblemInstanceImpl>& problem,
                 PlanNames names = {})
      : EnvObject(env), problem_(problem), names_(std::move(names)) {}

  /// Reads the whole stream. The ParserErrors are those of the TTPParser (all but "Action parameters not
  /// correct"), and "The duration is missing at line n". InvalidParameterError "The input cannot be read" for
  /// a stream that fails.
  std::shared_ptr<TimeTriggeredPlan> parse(std::istream& text);

  /// Reads a file; raises the errors of open_input_file and those of `parse`.
  std::shared_ptr<TimeTriggeredPlan> parse_file(const std::string& path);

  /// The line that the last parse failed on; 0 if it did not fail.
  int error_line() const { return error_line_; }

 private:
  std::shared_ptr<model::ProblemInstanceImpl> problem_;
  PlanNames names_;
  int error_line_ = 0;
};

}  // namespace zorvel
