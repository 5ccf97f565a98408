#pragma once

#include <vector>

#include "solver/num/qnumber.h"
#include "solver/term/term.h"

namespace vesk::la {

enum class Relation { at_most, at_least, equal };

/// `sum coefficient * atom  REL  bound` over terms that the arithmetic solver takes for variables. The
/// coefficients are coprime integers and the first one is positive; a form without atoms is `0 REL bound`.
struct LinearAtom {
  struct Summand {
    Term term;
    QNumber coefficient;
  };
  std::vector<Summand> sum;
  Relation relation = Relation::equal;
  QNumber bound;
  bool all_integer = true;  ///< every term is of integer type

  /// Of a form without atoms: is it true?
  bool is_trivially_true() const;

  /// Is `atom` a relation between numbers?
  static bool is_arithmetic(Term atom);
  /// Reads a `<=` or `=` between numeric terms; LinearTermError for another atom.
  static LinearAtom of(Term atom);
};

class LinearTermError : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace vesk::la
