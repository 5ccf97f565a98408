#pragma once

#include <string>

#include "core/environment.h"
#include "model/plan_names.h"
#include "model/problem_instance.h"

namespace zorvel {

namespace pddl {
class Messages;
}

/// Reads planning problems written in PDDL: levels 1 to 3 of PDDL 2.1, timed facts, hierarchies of types and
/// conditions with all connectives and quantifiers. docs/pddl.md describes what is read.
///
/// A domain and a problem are two texts, which may come in either order. Failures are ParserErrors whose
/// message has a line for each fault, up to ten: "FILE:LINE:COLUMN: what is wrong". Warnings of the same form
/// go to the environment.
class PddlReader : public EnvObject {
 public:
  explicit PddlReader(Environment& env) : EnvObject(env) {}

  /// Reads two files; raises the errors of open_input_file as well.
  model::ProblemPtr read_files(const std::string& domain_path, const std::string& problem_path);
  /// The same for texts, which messages call by these names.
  model::ProblemPtr read_texts(std::string domain, std::string problem,
                               const std::string& domain_name = "domain",
                               const std::string& problem_name = "problem");

  /// How plans of the problem that was read last are written in PDDL.
  const PlanNames& plan_names() const { return plan_names_; }

  /// Where the first error of the last text is: its file as messages name it, line and column from 1; empty
  /// and 0 if it has none.
  const std::string& error_file() const { return error_file_; }
  int error_line() const { return error_line_; }
  int error_column() const { return error_column_; }

 private:
  model::ProblemPtr read(std::string texts[2], const std::string names[2]);
  model::ProblemPtr read(std::string texts[2], const std::string names[2], pddl::Messages& messages);

  PlanNames plan_names_;
  std::string error_file_;
  int error_line_ = 0, error_column_ = 0;
};

}  // namespace zorvel
