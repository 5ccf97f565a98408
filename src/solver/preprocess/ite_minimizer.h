#pragma once

#include "solver/term/term.h"
#include "solver/term/term_manager.h"
#include "solver/util/stamp_set.h"

namespace vesk {

/// Simplifies term-ites by what their place says: inside `ite(c, a, b)`, `c` is true in `a` and false in `b`,
/// so that a test made once is not made again further in. Each ite costs a walk over its branches, hence the
/// limit.
class IteMinimizer {
 public:
  /// At most `limit` ites are looked at, 0 for no limit; the rest stay as they are.
  IteMinimizer(TermManager& terms, int limit) : terms_(terms), limit_(limit) {}
  Term operator()(Term formula);

 private:
  Term minimize(Term ite);
  Term with_condition(Term branch, Term condition, bool value);

  TermManager& terms_;
  int limit_;
  int calls_ = 0;
  StampMap<Term> memo_;
  StampMap<Term> branch_memo_;
};

}  // namespace vesk
