#pragma once

#include "solver/term/term.h"
#include "solver/util/stamp_set.h"

namespace vesk {

class TermManager;

/// Replaces terms by terms, all at once: what comes in is not looked at again.
class Substitution {
 public:
  explicit Substitution(TermManager& terms) : terms_(terms) {}

  /// TermError when the type of `to` is not one that may stand for that of `from`.
  void set(Term from, Term to);
  Term apply(Term term);

 private:
  TermManager& terms_;
  StampMap<Term> map_;
  StampMap<Term> memo_;
};

}  // namespace vesk
