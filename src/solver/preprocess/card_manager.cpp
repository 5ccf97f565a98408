#include "solver/preprocess/card_manager.h"

#include "solver/term/term_manager.h"

namespace vesk {

Term CardManager::make_atmost(std::uint64_t k) {
  if (k >= conditions_.size()) return terms_.make_true();
  if (k == 0) {
    Term none = terms_.make_true();
    for (Term condition : conditions_) {
      const Term negated = terms_.make_not(condition);
      none = terms_.make_and(none, negated);
    }
    return none;
  }
  std::vector<Term> sorted = conditions_;
  sort(sorted);
  return terms_.make_not(sorted[k]);
}

// Batcher's network for any number of items, in the iterative form of Knuth, TAOCP vol. 3, 5.2.2,
// algorithm M; the true ones come first.
void CardManager::sort(std::vector<Term>& items) {
  const std::size_t n = items.size();
  std::size_t top = 1;
  while (2 * top < n) top *= 2;
  for (std::size_t p = top; p > 0; p /= 2) {
    std::size_t q = top, r = 0, d = p;
    for (;;) {
      for (std::size_t i = 0; i + d < n; ++i)
        if ((i & p) == r) compare(items[i], items[i + d]);
      if (q == p) break;
      d = q - p;
      q /= 2;
      r = p;
    }
  }
}

void CardManager::compare(Term& larger, Term& smaller) {
  const Term either = terms_.make_or(larger, smaller);
  const Term both = terms_.make_and(larger, smaller);
  larger = either;
  smaller = both;
}

}  // namespace vesk
