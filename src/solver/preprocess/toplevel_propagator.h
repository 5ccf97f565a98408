#pragma once

#include <cstdint>
#include <vector>

#include "solver/preprocess/equality_abstraction.h"
#include "solver/preprocess/rewrite_stack.h"
#include "solver/term/term.h"
#include "solver/term/term_manager.h"
#include "solver/util/stamp_set.h"
#include "solver/util/termination.h"
#include "solver/util/undo_trail.h"

namespace vesk {

/// Solves top-level facts for constants and puts the solutions in: `b`, `not b`, `b <-> f`, `x = t`, and
/// linear equations over the rationals. Equations that all cases of a disjunction have in common count as
/// facts, too, and are added to the formula.
///
/// A formula comes as a list of conjuncts and leaves as one, flattened. Facts are looked for in rounds; what
/// a round finds is put in only where it occurs, by way of links from each subterm to its parents, so that
/// a round costs what it changes.
///
/// A constant that already went to the search, is the solver's own, or is protected for another reason,
/// keeps existing: an earlier formula, or the environment, speaks of it. Substitutions never form a cycle: a
/// constant is mapped to a term only if it does not occur in that term with all substitutions applied.
///
/// All that is known here goes back to its mark when a backtrack point is popped.
class ToplevelPropagator {
 public:
  ToplevelPropagator(TermManager& terms, RewriteStack& rewrites)
      : terms_(terms), rewrites_(rewrites), abstraction_(terms) {}

  void set_termination_test(TerminationTest* test) { termination_ = test; }

  /// Rewrites `conjuncts` in place; false if they turn out to contradict each other. At most `limit` rounds,
  /// 0 for no limit.
  bool operator()(std::vector<Term>& conjuncts, int limit);

  /// `term` with the known substitutions applied, to the fixpoint.
  Term apply(Term term);
  bool is_substituted(Term constant) const { return substitution(constant) != nullptr; }

  /// The constant keeps existing, whatever equations hold.
  void set_protected(Term constant);
  /// Protects all constants of a formula that goes to the search as it is.
  void protect_constants(Term formula);

  /// Drops what was remembered of terms that may be freed.
  void forget_caches() { memo_.clear(); }

  void push_backtrack_point() { trail_.push_mark(); }
  void pop_backtrack_point();

 private:
  struct Cell {
    Term term;
    bool is_substitution;
  };
  struct Link {
    Term parent;  // null: the conjunct number `conjunct`
    std::uint32_t conjunct;
    std::uint32_t next;
  };
  static constexpr std::uint32_t no_link = UINT32_MAX;

  Term substitution(Term term) const {
    return term->id() < substitutions_.size() ? substitutions_[term->id()] : nullptr;
  }
  bool is_protected(Term term) const { return term->id() < protected_.size() && protected_[term->id()] != 0; }
  bool is_free_constant(Term term) const {
    return term->is_constant() && !is_protected(term) && !term->symbol()->is_internal() &&
           substitution(term) == nullptr;
  }

  bool add_conjunct(Term term);
  void link(Term parent, std::uint32_t conjunct, Term child);
  bool solve(Term conjunct, bool first_round);
  bool solve_equality(Term equality, bool first_round);
  bool solve_linear(Term left, Term right);
  bool try_substitute(Term constant, Term value);
  void substitute(Term constant, Term value);
  bool occurs(Term constant, Term term);
  void mark_changed(Term constant);

  TermManager& terms_;
  RewriteStack& rewrites_;
  EqualityAbstraction abstraction_;
  TerminationTest* termination_ = nullptr;

  std::vector<Term> substitutions_;      // by id of the constant
  bool any_substitution_ = false;        // there was one, ever
  std::vector<std::uint8_t> protected_;  // by term id: protected constants, and terms looked through
  UndoTrail<Cell> trail_;

  // The running call.
  std::vector<Term> conjuncts_;       // null: gone
  std::vector<std::uint32_t> queue_;  // conjuncts to look at
  std::vector<Link> links_;
  StampMap<std::uint32_t> first_link_;  // by term id
  StampSet linked_;
  StampSet met_;             // conjuncts, and conjunctions taken apart
  std::vector<Term> found_;  // constants solved in this round
  StampSet changed_;
  std::vector<std::uint32_t> changed_conjuncts_;
  StampSet queued_;
  std::vector<Term> stack_;
  StampMap<Term> memo_;
  StampSet seen_;
  std::uint64_t budget_ = 0;  // subterms that may still be walked for occurs checks
};

}  // namespace vesk
