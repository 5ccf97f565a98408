#pragma once

#include <istream>
#include <memory>
#include <string>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"

namespace zorvel {

/// Reads the text of a time-triggered plan, one step a line:
///
///     start: action(argument, argument) [duration]
///     start: object.action() [duration]
///
/// Start and duration are digits, or a decimal number, or a fraction `3/2`, and are kept exactly. The bracket
/// is mandatory. An argument is such a number, with or without a sign, `true`, `false`, or the name of an
/// object. Blank lines and lines that begin with `;` are skipped. Lines may come in any order.
class TTPParser : public EnvObject {
 public:
  /// Names are looked up in `problem`, of which the parser keeps a share.
  TTPParser(Environment& env, const std::shared_ptr<model::ProblemInstanceImpl>& problem)
      : EnvObject(env), problem_(problem) {}

  /// Reads the whole stream. ParserErrors, each with the number n of the line, from 1:
  ///  - "at line n": the line is neither a step nor a comment;
  ///  - "Object not found at line n": the word before the dot is no instance;
  ///  - "Action not found at line n";
  ///  - "Parameter not correct: n": an argument is no instance;
  ///  - "Action parameters not correct at line n": an argument cannot be taken apart;
  ///  - "Wrong number of parameters at line n";
  ///  - "A number with denominator 0 at line n", "A number is too long at line n".
  /// An integer argument that does not fit an `int` raises std::out_of_range "stoi"; a stream that fails
  /// InvalidParameterError "The input cannot be read".
  std::shared_ptr<TimeTriggeredPlan> parse(std::istream& text);

  /// Reads a file; raises the errors of open_input_file and those of `parse`.
  std::shared_ptr<TimeTriggeredPlan> parse_file(const std::string& path);

  /// The line that the last parse failed on; 0 if it did not fail.
  int error_line() const { return error_line_; }

 private:
  std::shared_ptr<model::ProblemInstanceImpl> problem_;
  int error_line_ = 0;
};

}  // namespace zorvel
