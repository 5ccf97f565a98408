#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "solver/term/term.h"

namespace vesk {

class TermManager;

/// Cardinality constraints over Boolean terms by a sorting network (K. E. Batcher, AFIPS 1968: odd-even
/// merge sort), whose comparators are the plain terms `a or b` and `a and b`.
class CardManager {
 public:
  CardManager(TermManager& terms, std::vector<Term> conditions)
      : terms_(terms), conditions_(std::move(conditions)) {}

  /// At most `k` of the conditions hold; `k` is not negative.
  Term make_atmost(std::uint64_t k);

 private:
  void sort(std::vector<Term>& items);
  void compare(Term& larger, Term& smaller);

  TermManager& terms_;
  std::vector<Term> conditions_;
};

}  // namespace vesk
