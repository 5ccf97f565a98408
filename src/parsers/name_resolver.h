#pragma once

#include <unordered_map>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "parsers/source_lines.h"

namespace zorvel {

/// Where a statement of a resolved problem comes from: the raw statement, and the raw action around it or
/// null.
struct StatementSource {
  const Node* raw;
  const void* owner;
};
/// By resolved statement. One that stands at several places comes from one of them.
using StatementSources = std::unordered_map<const Node*, StatementSource>;

/// Makes a problem of what a reader has left raw: types that are known by name only, and expressions in which
/// every name is an unresolved symbol.
///
/// Types come first: every declaration gets its real types, its parameters and its path. Then the assignments
/// of constants are taken out of the top-level expressions, and the constants made with their values. Then
/// every other expression has its names bound and is type-checked. The user types of the raw problem are
/// resolved in place and belong to the new problem.
class NameResolver {
 public:
  /// With `lines`, a failure sets `*error_line` to the line of the declaration or statement at fault, or 0
  /// where that is not known. `sources` gets the statements of the resolved problem. None of them is owned;
  /// each may be null.
  explicit NameResolver(Environment& env, const SourceLines* lines = nullptr, int* error_line = nullptr,
                        StatementSources* sources = nullptr)
      : env_(env), lines_(lines), error_line_(error_line), sources_(sources) {}
  virtual ~NameResolver() = default;

  /// The resolved problem. Raises, with the name or expression at fault in the text:
  ///  - UnresolvedSymbolError for an unknown type, member or object before a dot;
  ///  - TypeCheckingError for an ill-typed expression, InternalError "Not implemented 'unresolved_symbol': "
  ///  for
  ///    an unknown name in one;
  ///  - InvalidParameterError for a dot that makes no sense, a bad constant assignment, or types that inherit
  ///    from themselves ("Cyclic inheritance of type '...'");
  ///  - InternalError for a constant without a value, with two values for the same arguments or with a value
  ///    that depends on itself, for an assignment of a constant inside an action, and for an action without a
  ///    cost where costs are minimised;
  ///  - std::out_of_range "map::at" for an order between labels that do not exist.
  model::ProblemPtr operator()(const model::ProblemPtr& raw) const;

 private:
  Environment& env_;
  const SourceLines* lines_;
  int* error_line_;
  StatementSources* sources_;
};

}  // namespace zorvel
