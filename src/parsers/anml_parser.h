#pragma once

#include <istream>
#include <memory>
#include <string>

#include "core/environment.h"
#include "model/problem_instance.h"

namespace zorvel {

/// Reads planning problems written in ANML. docs/anml.md describes the dialect.
///
/// One parser may read several texts, one after the other. After a failure nothing of the text is left but
/// `error_line`.
class AnmlParser : public EnvObject {
 public:
  explicit AnmlParser(Environment& env);
  ~AnmlParser() override;

  /// Reads the whole stream, whose places the problem's source gives under `name`. What may be a mistake but
  /// is allowed goes to the environment's warnings, as "line N: ...". Raises, beside the errors of the
  /// NameResolver:
  ///  - ParserError "syntax error at line N", "memory exhausted at line N" for nesting beyond every measure,
  ///    "Unknown character 'C' at lineN", and others that name what is wrong and the line;
  ///  - RedefinitionError for a name that is declared twice in one scope;
  ///  - InvalidParameterError "A rational constant was expected, got " and the number, for a bound of a float
  ///    that is an integer; "The input cannot be read" for a stream that fails.
  std::shared_ptr<model::ProblemInstanceImpl> parse(std::istream& text, const std::string& name = {});

  /// Reads a file. InvalidParameterError "Input file '<path>' does not exist!", "... is a directory!" or
  /// "... cannot be read!".
  std::shared_ptr<model::ProblemInstanceImpl> parse_file(const std::string& path);

  /// The line, from 1, of what the last parse failed on: a syntax error, an unknown name, a type error, a
  /// redefinition. 0 if it did not fail or the failure has no line.
  int error_line() const { return error_line_; }

 private:
  int error_line_ = 0;
};

}  // namespace zorvel
