#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "solver/dpll/lit.h"
#include "solver/num/qnumber.h"
#include "solver/term/term.h"
#include "solver/theory/theory_lit.h"
#include "solver/util/exception.h"

namespace vesk {

/// A clause that a theory wants the search to have.
struct TheoryLemma {
  int handle = -1;         ///< the solver's own number for retract_lemma(); -1: it need not be told
  bool permanent = false;  ///< the search may not drop it with its learnt clauses
  int preferred = -1;      ///< the literal to be tried true first, and the others false; -1: as they come
};

class TheoryEqPropagator;
class TheorySolver;

/// An equation between terms that one theory found and others may rest on. The reasons stay with its source,
/// which can explain it as long as the literals that led to it are assumed there. Equations go one way only,
/// from congruence closure to arithmetic, so that no explanation runs in a circle.
struct TheoryEq {
  Term left;
  Term right;
  TheorySolver* source;
};

/// An assignment passes all checks, and yet nobody can say that it is a model.
class TheoryIncomplete : public Exception {
 public:
  using Exception::Exception;
};

/// One theory, as the TheoryManager sees it.
///
/// The rule of undoing, for every implementer: whatever rests on assumed literals is undone by
/// cancel_until(). Each queue, flag and list (implied literals not yet taken and the index of the next one,
/// "already implied" marks, pending assumptions, conflicts) is marked at new_decision_level() and cut back to
/// the mark. Atoms and lemmas outlive levels: they go when retract_atom() and retract_lemma() say so, which
/// may come while the literals of level 0 are still assumed.
///
/// Atoms go by the variable of the search that stands for them. Literals handed out are of told atoms, and
/// those in conflicts and explanations are assumed.
class TheorySolver {
 public:
  TheorySolver() = default;
  virtual ~TheorySolver() = default;
  TheorySolver(const TheorySolver&) = delete;
  TheorySolver& operator=(const TheorySolver&) = delete;

  virtual const char* get_name() const = 0;

  /// What a theory is to the others where models are combined. At most one theory each is `congruence`, which
  /// gives the classes of terms, and `numbers`, which gives the values of numeric terms.
  enum class Part : std::uint8_t { none, congruence, numbers };
  virtual Part part() const { return Part::none; }

  /// `var` stands for `atom`. True if this theory owns the atom: it is told its value then.
  virtual bool tell_atom(Term atom, dpll::Var var) = 0;
  /// An owned atom goes away.
  virtual void retract_atom(dpll::Var var) = 0;

  virtual void new_decision_level() = 0;
  virtual void cancel_until(int level) = 0;
  virtual void push_backtrack_point() {}
  /// The search is below the point's level, and the atoms made since were retracted.
  virtual void pop_backtrack_point() {}

  /// An owned atom's literal is true. False: conflict.
  [[nodiscard]] virtual bool assume(dpll::Lit lit) = 0;
  /// Where to hand the equations that this theory finds; null: nowhere.
  virtual void set_eq_propagator(const TheoryEqPropagator* propagator) { static_cast<void>(propagator); }
  /// Another theory's equation holds, as long as the decision level is not cancelled. Not taking it loses
  /// propagation only.
  virtual void assume_equation(const TheoryEq& equation) { static_cast<void>(equation); }
  /// Adds the assumed literals on which an equation of this theory rests.
  virtual void explain_equation(const TheoryEq& equation, std::vector<dpll::Lit>& reasons) {
    static_cast<void>(equation);
    static_cast<void>(reasons);
  }
  /// False: conflict. An approximate check may miss it.
  [[nodiscard]] virtual bool check(bool approximate) = 0;
  /// Assumed literals that are inconsistent together.
  virtual void get_conflict(std::vector<dpll::Lit>& lits) = 0;
  /// The next implied literal, lit_undef if there is none.
  virtual dpll::Lit get_next_implied() = 0;
  /// Literals that were assumed when `lit` was found to be implied by them. False, only unless `lazy`: asking
  /// later is cheaper.
  [[nodiscard]] virtual bool get_explanation(dpll::Lit lit, bool lazy, std::vector<dpll::Lit>& reasons) = 0;

  virtual bool has_lemmas() { return false; }
  virtual TheoryLemma get_lemma(std::vector<TheoryLit>& lits) {
    lits.clear();
    return {};
  }
  virtual void retract_lemma(int handle) { static_cast<void>(handle); }

  /// `term` is an argument of, or a value shared with, another theory: its value will be asked for. Calls
  /// nest.
  virtual void notify_interface_term(Term term) { static_cast<void>(term); }
  virtual void retract_interface_term(Term term) { static_cast<void>(term); }
  /// Functions of numbers are (or are no longer) about: equalities between numbers concern EUF, too.
  virtual void set_numbers_matter(bool matter) { static_cast<void>(matter); }
  /// Groups the interface terms by their value in the current assignment, after a complete check.
  virtual void build_abstract_model() {}
  /// The group of an interface term in the abstract model, -1 if this theory has no value for it.
  virtual int model_group(Term term) const {
    static_cast<void>(term);
    return -1;
  }

  /// Changes values of interface terms, as far as what is asserted leaves room, so that fewer of them are
  /// equal by accident: those are not that `group_of`, by another theory's groups, gives one number.
  /// `at_issue`: pairs of equal terms that should not be. After build_abstract_model(), which is due again if
  /// this says true.
  virtual bool move_apart(std::span<const std::pair<Term, Term>> at_issue,
                          const std::function<int(Term)>& group_of) {
    static_cast<void>(at_issue);
    static_cast<void>(group_of);
    return false;
  }

  /// Groups the interface terms by what is known of them: terms of one group have the same value in every
  /// assignment that the assumed literals allow. After build_abstract_model(); need not find all there is.
  virtual void build_implied_groups() {}
  /// The group of an interface term, -1 if this theory knows nothing of it.
  virtual int implied_group(Term term) const {
    static_cast<void>(term);
    return -1;
  }

  /// Adds pairs of interface terms that are equal in the assignment, and of which the search has to decide
  /// whether they are, since this theory rests its answer on more than this one assignment.
  virtual void pairs_to_decide(std::vector<std::pair<Term, Term>>& pairs) const { static_cast<void>(pairs); }

  /// Last question before an assignment is a model. TheoryIncomplete if this theory cannot tell.
  virtual void require_model() {}
  /// The assignment is a model: fixes the values that the theory gives until the next cancel_until().
  virtual void build_model() {}
  /// The value of a term in that model: true, false, a number, or a constant of the term's type that stands
  /// for one. Null if it is another theory that knows.
  virtual Term get_model_value(Term term) const {
    static_cast<void>(term);
    return nullptr;
  }

  /// After build_model(): adds the terms whose value may be another than when this was last called; all, the
  /// first time. False if it cannot be told which.
  [[nodiscard]] virtual bool collect_model_changes(std::vector<Term>& changed) {
    static_cast<void>(changed);
    return false;
  }

  /// After an exception left a check half done.
  virtual void recover() {}
};

}  // namespace vesk
