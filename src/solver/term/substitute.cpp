#include "solver/term/substitute.h"

#include "solver/term/term_manager.h"
#include "solver/term/visit.h"

namespace vesk {

void Substitution::set(Term from, Term to) {
  if (!terms_.types().is_subtype(to->type(), from->type()))
    throw TermError("type error. term " + to->to_short_str() + " has type " + to->type()->name() + ", but " +
                    from->type()->name() + " was expected. (in the place of " + from->to_short_str() + ")");
  map_.set(from->id(), to);
  memo_.clear();
}

Term Substitution::apply(Term term) {
  return rewrite_post_order(
      term, memo_, [](Term) { return true; },
      [this](Term old, std::span<const Term> children) {
        const Term* found = map_.find(old->id());
        return found != nullptr ? *found : terms_.rebuild(old, children);
      });
}

}  // namespace vesk
