#include "solver/preprocess/global_rules.h"

#include <algorithm>
#include <utility>

#include "solver/util/hash_table.h"

namespace vesk {
namespace {

bool has_contradiction(const std::vector<Term>& conjuncts) {
  hsh::Set<Term> denied;
  for (Term term : conjuncts)
    if (term->tag() == Tag::not_op) denied.insert(term->child(0));
  return std::any_of(conjuncts.begin(), conjuncts.end(), [&](Term term) { return denied.contains(term); });
}

}  // namespace

void apply_global_rules(TermManager& terms, std::vector<Term>& conjuncts) {
  if (has_contradiction(conjuncts)) {
    conjuncts.assign(1, terms.make_false());
    return;
  }
  hsh::Map<std::pair<Term, Term>, std::size_t> bounds;  // by the two sides
  for (std::size_t i = 0; i < conjuncts.size(); ++i) {
    const Term leq = conjuncts[i];
    if (leq->tag() != Tag::leq) continue;
    const Term left = leq->child(0), right = leq->child(1);
    if (const std::size_t* other = bounds.find({right, left})) {
      conjuncts[*other] = terms.make_equal(left, right);
      conjuncts[i] = terms.make_true();
    } else {
      bounds.insert({left, right}, i);
    }
  }
  std::erase_if(conjuncts, [](Term term) { return term->is_true(); });
}

}  // namespace vesk
