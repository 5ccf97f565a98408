#pragma once

#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "solver/num/qnumber.h"
#include "solver/term/term.h"
#include "solver/util/hash_table.h"
#include "solver/util/stamp_set.h"
#include "solver/util/undo_trail.h"

namespace vesk {

/// Bounds of numeric terms that hold before any search, from those of their parts: numbers, sums, multiples,
/// ites, and terms that asserted facts bound. One pass over the term, no fixpoint: a fact about a sum does
/// not come back to its summands.
///
/// What rests on facts holds as long as the facts do. They go with their backtrack point, so a constraint
/// made of such bounds may be asserted at the level that is open when it is made, and at no lower one.
class TermBounds {
 public:
  struct Side {
    QNumber value;
    bool strict = false;
  };
  struct Bounds {
    std::optional<Side> lower;
    std::optional<Side> upper;
  };

  /// Formulas that hold at the level that is open; `t <= k`, `k <= t` and their negations are facts.
  void note_facts(std::span<const Term> conjuncts);
  /// `term` lies within `bounds`.
  void note(Term term, const Bounds& bounds);
  /// Bounds of a numeric term; a missing side says that none is known.
  Bounds of(Term term);

  void push_backtrack_point() { trail_.push_mark(); }
  void pop_backtrack_point();

 private:
  Bounds compute(Term term) const;
  const Bounds& known(Term term) const { return memo_[*place_.find(term->id())]; }

  hsh::Map<Term, Bounds> facts_;
  UndoTrail<std::pair<Term, Bounds>> trail_;  // what facts_ said before, empty bounds for nothing
  std::vector<Bounds> memo_;                  // of terms met since the facts changed
  StampMap<std::size_t> place_;               // in memo_, by term id
  StampSet seen_;
};

}  // namespace vesk
