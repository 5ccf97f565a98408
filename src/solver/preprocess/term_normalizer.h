#pragma once

#include "solver/term/term.h"
#include "solver/term/term_manager.h"
#include "solver/util/stamp_set.h"

namespace vesk {

/// Rewrites by rules that look further than the constructors of terms do: products of sums are multiplied
/// out, and bounds on a sum of `ite(c, 1, 0)` become cardinality constraints over the conditions.
class TermNormalizer {
 public:
  /// `groups`: bits of Configuration::Preprocessor::Simplification.
  TermNormalizer(TermManager& terms, int groups) : terms_(terms), groups_(groups) {}

  Term operator()(Term term);

 private:
  Term norm_single(Term term);
  Term multiply_out(Term product);
  Term bound_of_count(Term leq);

  TermManager& terms_;
  int groups_;
  StampMap<Term> memo_;
};

}  // namespace vesk
