#pragma once

#include "solver/term/term.h"
#include "solver/term/term_manager.h"
#include "solver/util/stamp_set.h"

namespace vesk {

/// Pushes negations through conjunctions and disjunctions, down to what is neither: partial negation normal
/// form, as an equivalence stays as it is under its negation.
class NnfConverter {
 public:
  explicit NnfConverter(TermManager& terms) : terms_(terms) {}
  Term operator()(Term formula);

 private:
  TermManager& terms_;
  StampMap<Term> memo_;  // by twice the id, plus 1 for the negation
};

}  // namespace vesk
