#pragma once

#include <vector>

#include "solver/dpll/lit.h"
#include "solver/term/term.h"

namespace vesk::dpll {

/// What the Boolean search asks of the theories. One object stands for all of them.
///
/// Contract, for the implementer:
/// - Levels. `new_decision_level()` and `cancel_until(level)` come for every decision level of the search,
///   those of backtrack points and assumptions included. Whatever was assumed since a level was opened is
///   void once it is cancelled; so every queue, flag and list (implied literals not yet taken, conflicts,
///   pending lemmas that rest on an assignment) is marked at the former and truncated at the latter.
/// - Literals are assumed in the order of the trail, each once while it is assigned, possibly at a later
///   level than the one at which the search assigned it, never at an earlier one.
/// - All literals that the theories hand back (conflicts, explanations) are literals of atoms that have a
///   variable, and that were assumed and not cancelled. New atoms are made with DpllSolver::make_proxy(),
///   and only inside next_lemma() and boolean_model_found().
/// - Backtrack points: `push_backtrack_point()` opens one, `pop_backtrack_point()` comes after the search
///   was cancelled below its level and the atoms made since were retracted.
class TheoryHook {
 public:
  virtual ~TheoryHook() = default;

  /// A new variable stands for `atom` (never null, not a connective). True if some theory wants to be told
  /// its value.
  virtual bool tell_atom(Term atom, Var var) = 0;
  /// The variable goes away; it is unassigned.
  virtual void retract_atom(Term atom, Var var) = 0;

  virtual void new_decision_level() = 0;
  /// The decision level is now `level`.
  virtual void cancel_until(int level) = 0;
  virtual void push_backtrack_point() = 0;
  virtual void pop_backtrack_point() = 0;

  /// `lit` is true now. False tells that there is a conflict: nothing more is assumed until it was fetched.
  [[nodiscard]] virtual bool assume(Lit lit) = 0;
  /// Are the assumed literals consistent? The approximate check may miss a conflict, the complete one runs
  /// when all variables are assigned. False: a conflict is ready.
  [[nodiscard]] virtual bool check(bool approximate) = 0;
  /// Assumed literals that cannot be true together; empty if the theories are inconsistent without any.
  /// Called once after assume() or check() said false; the search then cancels levels, or ends.
  virtual void get_conflict(std::vector<Lit>& lits) = 0;

  /// The next literal that the assumed ones imply and that is not known to be true; lit_undef when there is
  /// none. It may be false already: then its explanation is a conflict.
  virtual Lit get_next_implied() = 0;
  /// Why `lit`, taken from get_next_implied() at this or an earlier level, is implied: assumed literals
  /// that were so before `lit` was handed out. False, only unless `lazy`: it costs too much before it is
  /// needed, ask again with `lazy` when it is.
  [[nodiscard]] virtual bool get_explanation(Lit lit, bool lazy, std::vector<Lit>& reasons) = 0;

  struct Lemma {
    int id = -1;            ///< for retract_lemma()
    bool permanent = true;  ///< false: may be dropped with the learnt clauses
  };
  virtual bool has_lemmas() = 0;
  /// A clause that holds in the theories. Its literals may have any value.
  virtual Lemma next_lemma(std::vector<Lit>& lits) = 0;
  /// The clause of that lemma is gone (its backtrack point was popped, or it was dropped).
  virtual void retract_lemma(int id) = 0;

  struct ModelFound {
    int backjump_level = -1;  ///< >= 0: cancel to this level and go on
    bool go_on = false;       ///< something new was made: do not take the assignment for a model yet
  };
  /// All variables are assigned and the complete check objects to nothing: theory combination may ask for
  /// more.
  virtual ModelFound boolean_model_found() = 0;

  /// After a search was left by an exception and the trail cancelled: drop conflicts and queues, and do not
  /// trust that the state of the levels still open was ever checked.
  virtual void recover() = 0;
};

}  // namespace vesk::dpll
