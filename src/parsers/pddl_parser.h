#pragma once

#include <istream>
#include <memory>
#include <string>

#include "core/environment.h"
#include "model/plan_names.h"
#include "model/problem_instance.h"
#include "parsers/pddl_builder.h"

namespace zorvel {

/// Reads planning problems written in PDDL: a domain and a problem, as one text or as two.
/// docs/pddl-subset.md describes what is read.
///
/// One parser may read several texts, one after the other. After a failure nothing of the text is left but
/// the place of the error.
class PddlParser : public EnvObject {
 public:
  using ProblemPtr = std::shared_ptr<model::ProblemInstanceImpl>;

  explicit PddlParser(Environment& env);
  ~PddlParser() override;

  /// Reads the whole stream. Raises, beside the errors of the NameResolver:
  ///  - ParserError "syntax error at line N", "memory exhausted at line N" for nesting beyond every measure,
  ///    "Unknown character 'C' at lineN", "Found a malformed effect at line N", and others that name what is
  ///    wrong and the line;
  ///  - RedefinitionError for a name that is declared twice;
  ///  - UnresolvedSymbolError for an alternative of an `either` that is no type;
  ///  - InternalError "The predicates have more than N ground atoms" where the closed world would be that
  ///    large;
  ///  - InvalidParameterError "The input cannot be read" for a stream that fails.
  ProblemPtr parse(std::istream& text);

  /// Reads a domain and a problem, whose lines are counted apart. Warnings begin with the name of the text
  /// and the line, as "domain:12: ...", or with the path of the file. The two may come in any order.
  ProblemPtr parse_texts(const std::string& domain, const std::string& problem);
  /// The same for files; raises the errors of open_input_file.
  ProblemPtr parse_files(const std::string& domain_path, const std::string& problem_path);

  /// The line, from 1, of what the last parse failed on; 0 if it did not fail or the failure has no line.
  int error_line() const { return error_.line; }
  /// Whether that line is one of the second of two texts.
  bool is_error_in_problem() const { return error_.is_in_problem; }
  /// "FILE:LINE" of the failure of the last `parse_files`, with "domain" and "problem" as files of
  /// `parse_texts`. The file alone if it cannot be read, and both if the failure has no line. Empty if
  /// nothing failed.
  const std::string& error_place() const { return error_place_; }

  /// How plans of the problem that was read last name its actions and order their parameters in PDDL.
  const PlanNames& plan_names() const { return plan_names_; }

 private:
  ProblemPtr parse(std::string text, const PddlSources& sources);
  ProblemPtr parse_both(std::string domain, const std::string& problem, const std::string& domain_name,
                        const std::string& problem_name);
  void note_error(const PddlBuilder& builder, const PddlSources& sources, int line);

  PddlPlace error_;
  std::string error_place_;
  PlanNames plan_names_;
};

}  // namespace zorvel
