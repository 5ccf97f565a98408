#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <span>
#include <utility>
#include <vector>

#include "solver/la/dnumber.h"
#include "solver/la/tableau.h"
#include "solver/num/qnumber.h"
#include "solver/util/termination.h"

namespace vesk::la {

/// A relation between a variable and a constant that the search gives a truth value.
using AtomId = std::int32_t;
/// Twice the number of an atom for the atom itself, plus one for its negation.
using ConstraintId = std::int32_t;
inline constexpr ConstraintId null_constraint = -1;

/// What a constraint demands of its variable; the bits of `lower` and `upper` together make `equal`.
enum class ConstraintKind : std::uint8_t { lower = 1, upper = 2, equal = 3, disequal = 4 };

/// Decides conjunctions of bounds `x <= c`, `x >= c`, `x = c`, `x != c` on rational variables that are linked
/// by linear equations, with the simplex method for bounded variables of Dutertre and de Moura (A Fast
/// Linear-Arithmetic Solver for DPLL(T), CAV 2006), implied bounds and explanations.
///
/// What always holds between two calls:
/// - `value(x)` satisfies all rows, and all bounds among the first `checked_` entries of the stack: those
/// that
///   the last successful check saw and that were not popped since. A bound pushed later has no effect on the
///   values before the next check, so a pop never repairs a value, and a check that fails goes back to the
///   values before it.
/// - A constraint, with every bound and every implication that it brought, goes away with the level that it
///   was pushed at.
/// - An implication's reason is fixed when it is found: later pivots change the rows, not the reason.
class Solver {
 public:
  struct Options {
    bool deduction = true;     ///< find implied atoms
    bool elimination = true;   ///< take variables without atoms out of the tableau
    int greedy_threshold = 0;  ///< pivots before Bland's rule; 0: by the number of variables, at least 20
    /// In builds with assertions: prove conflicts and reasons again. Off in the solver that proves them.
    bool proves_again = true;
  };
  struct Statistics {
    std::uint64_t checks = 0;
    std::uint64_t pivots = 0;
    std::uint64_t conflicts = 0;
    std::uint64_t implications = 0;
    std::uint64_t separations = 0;  ///< trials to keep a variable off a forbidden value
    std::uint64_t row_visits = 0;
  };

  explicit Solver(const Options& options);
  virtual ~Solver() = default;
  Solver(const Solver&) = delete;
  Solver& operator=(const Solver&) = delete;

  /// Polled at every pivot; may be null.
  void set_termination_test(TerminationTest* test) { termination_ = test; }
  /// Says which violated disequalities a complete check has to settle; without it, all.
  void set_disequality_filter(std::function<bool(ConstraintId)> must_hold) {
    must_hold_ = std::move(must_hold);
  }

  // The problem. All of this may be called at any time but while a conflict waits.

  Var new_var();
  /// A variable that equals `definition`, whose variables are distinct.
  Var new_slack(std::span<const Monomial> definition);
  /// Forgets a variable that has no atom left; with it goes one row, as the variable is projected out.
  void remove_var(Var var);
  /// `var` stays in the tableau although it has no atom; undone by release(). Calls nest.
  void keep(Var var);
  void release(Var var);

  /// The atom `var <= value`, whose negation is `var >= negated_value`.
  AtomId add_at_most(Var var, const DNumber& value, const DNumber& negated_value);
  /// The atom `var >= value`, whose negation is `var <= negated_value`.
  AtomId add_at_least(Var var, const DNumber& value, const DNumber& negated_value);
  /// The atom `var = value`, whose negation is `var != value`.
  AtomId add_equal(Var var, const QNumber& value);
  /// Forgets the atom, which may still be asserted or implied.
  void remove_atom(AtomId atom);

  // The search.

  void push_level();
  /// Back to `level` open levels.
  void pop_to_level(std::size_t level);
  std::size_t num_levels() const { return marks_.size(); }

  /// Asserts a constraint. False: conflict, and nothing but a pop is allowed until one undoes it.
  [[nodiscard]] bool push(ConstraintId constraint);
  /// Are the asserted constraints satisfiable? An approximate check passes over most disequalities.
  [[nodiscard]] bool check(bool approximate);
  bool in_conflict() const { return in_conflict_; }
  /// Asserted constraints that are unsatisfiable together, each once; valid while in conflict.
  const std::vector<ConstraintId>& conflict() const { return conflict_; }

  /// The next constraint that the asserted ones imply, `null_constraint` when there is none.
  ConstraintId next_implied();
  bool is_implied(ConstraintId constraint) const { return implication_of_[index(constraint)] >= 0; }
  /// The asserted constraints that imply `constraint`; only if is_implied().
  std::span<const ConstraintId> reason(ConstraintId constraint) const;
  bool is_asserted(ConstraintId constraint) const {
    return (atoms_[index(constraint) / 2].state & asserted_state(constraint)) != 0;
  }
  /// Asserted disequalities whose variable has the forbidden value now, oldest first.
  void violated_disequalities(std::vector<ConstraintId>& out) const;

  // Values.

  /// The value in the current assignment; of a variable without atoms only after a successful complete check.
  const DNumber& value(Var var) {
    if (elimination_of_[index(var)] >= 0 && !eliminated_are_fresh_) refresh_eliminated();
    return values_[index(var)];
  }
  /// Fixes a rational value for every variable such that all asserted constraints hold; called after a
  /// successful complete check. `values_to_part`: values, of variables or of other terms, that become equal
  /// only if they are.
  void build_model(std::span<const DNumber* const> values_to_part);
  /// A value as the model has it. Only after build_model().
  QNumber concrete(const DNumber& value) const {
    QNumber result = value.c;
    if (!value.k.is_zero()) result.self_addmul(value.k, delta_);
    return result;
  }
  /// Only after build_model().
  const QNumber& model_value(Var var) const { return model_[index(var)]; }
  /// Empties the list of the variables whose model_value() changed since this was called last.
  std::vector<Var> take_model_changes();

  /// A sum whose value somebody else compares with those of others.
  struct SharedSum {
    std::vector<Monomial> sum;
    QNumber constant;
    int group = -1;  ///< known to be equal: sums of one group that have one value keep one value
    bool is_at_issue = true;
  };
  enum class Freedom : std::uint8_t {
    any,
    whole,  ///< changes by integers only
    none
  };
  /// Changes the values so that fewer sums of different groups are equal, within what the asserted
  /// constraints allow, until none at issue is equal to one of another group; disequalities that hold now
  /// still hold. `to_move`: the non-basic variables that are
  /// worth a move, in the order of the trials. `freedom`: by variable, `any` behind its end.
  /// Only after a successful complete check, with no constraint pushed or popped since. True if any value
  /// changed.
  bool move_apart(std::span<const Var> to_move, std::span<const SharedSum> sums,
                  std::span<const Freedom> freedom);

  /// Pivots variables with a single value out of the basis, as far as others can take their place; no value
  /// changes. normal_form() wants this, after a successful complete check.
  void expel_fixed_vars();
  /// A sum in terms of the non-basic variables that can still move, sorted, and a constant. Sums with the
  /// same form are equal in all solutions of the asserted constraints.
  struct NormalForm {
    std::vector<Monomial> movable;
    QNumber constant;
    friend std::strong_ordering operator<=>(const NormalForm& a, const NormalForm& b);
  };
  NormalForm normal_form(std::span<const Monomial> sum) const;

  Var constraint_var(ConstraintId constraint) const { return constraints_[index(constraint)].var; }
  ConstraintKind constraint_kind(ConstraintId constraint) const {
    return constraints_[index(constraint)].kind;
  }
  const DNumber& constraint_value(ConstraintId constraint) const {
    return constraints_[index(constraint)].value;
  }
  /// The constraint that bounds the variable from below or above now, `null_constraint` if none does.
  ConstraintId lower_bound(Var var) const { return lower_[index(var)]; }
  ConstraintId upper_bound(Var var) const { return upper_[index(var)]; }
  /// What the constraint bounds its variable by, without an infinitesimal part.
  const QNumber& bound_value(ConstraintId constraint) const { return bound(constraint).c; }

  /// `sum + constant = 0` in all assignments that satisfy the constraints `reasons`, and whatever else holds.
  struct RowEquation {
    std::vector<Monomial> sum;
    QNumber constant;
    std::vector<ConstraintId> reasons;
  };
  /// The rows, after a successful complete check, of variables that have no whole value and should, as far as
  /// all variables in them should. Variables with one value are part of the constant, and their bounds of the
  /// reasons.
  std::vector<RowEquation> fractional_rows(const std::function<bool(Var)>& is_whole);
  const Statistics& statistics() const { return statistics_; }

  /// The invariants, from scratch: rows are solved and sum to zero, the stack gives the bounds, checked
  /// bounds hold, and every reason is asserted.
  bool check_invariants() const;
  /// Whether the constraints contradict each other: a new solver finds out, which knows nothing but them and
  /// the rows of their variables. Builds with assertions ask of every conflict, and of every reason that is
  /// asked for, together with the negation of what it implies.
  bool is_contradictory(std::span<const ConstraintId> constraints) const;

 protected:
  /// Called at the end of every complete check; an optimising solver moves on to its optimum here.
  virtual void additional_optimization_steps(bool satisfiable) { static_cast<void>(satisfiable); }
  /// Told the size of the infinitesimal that build_model() starts from; may lower it.
  virtual void set_delta_value(QNumber& delta) { static_cast<void>(delta); }

 private:
  friend class OptSolver;

  struct Constraint {
    DNumber value;
    Var var = null_var;
    ConstraintKind kind = ConstraintKind::lower;
  };
  struct Atom {
    std::uint8_t state = 0;  // bits of AtomState
    bool alive = false;
  };
  enum AtomState : std::uint8_t { asserted_true = 1, asserted_false = 2, implied = 4 };
  enum class Change : std::uint8_t { asserted, lower, upper };
  struct StackEntry {
    ConstraintId constraint;
    ConstraintId old_bound;  // of the changed side
    Change change;
  };
  struct Implication {
    ConstraintId constraint;
    std::uint32_t reason_begin;
    std::uint32_t reason_size;
  };
  struct Mark {
    std::size_t stack;
    std::size_t diseqs;
    std::size_t implications;
    std::size_t next_implied;
    std::size_t reasons;
  };
  struct OldValue {
    Var var;
    DNumber value;
  };
  struct Elimination {
    Var var;
    std::vector<Monomial> definition;
  };

  template <typename Id>
  static std::size_t index(Id id) {
    return static_cast<std::size_t>(id);
  }
  static std::uint8_t asserted_state(ConstraintId c) { return (c & 1) != 0 ? asserted_false : asserted_true; }
  const DNumber& bound(ConstraintId constraint) const { return constraints_[index(constraint)].value; }

  // la_bounds.cpp
  AtomId add_atom(Var var, ConstraintKind kind, const DNumber& value, ConstraintKind negated,
                  const DNumber& other);
  ConstraintId upper_side(AtomId atom) const;
  void insert_sorted(AtomId atom);
  void imply_new_atom(AtomId atom);
  bool push_constraint(ConstraintId constraint);
  bool push_lower(ConstraintId constraint);
  bool push_upper(ConstraintId constraint);
  bool push_disequal(ConstraintId constraint);
  bool check_fixed(Var var);
  void pop_entry();
  void pop_implications(std::size_t count);
  void set_conflict(std::initializer_list<ConstraintId> constraints);

  // la_simplex.cpp
  void apply_bounds();
  bool simplex();
  Var select_violated(bool greedy);
  Var select_entering(Var leaving, bool increase, bool greedy) const;
  void pivot_and_update(Var leaving, Var entering, const DNumber& target);
  void explain_row(Var basic, bool below);
  void update(Var nonbasic, const DNumber& delta);
  void touch(Var var);
  void note_changed_value(Var var);
  void enqueue_if_violated(Var basic);
  bool is_below(Var var) const;
  bool is_above(Var var) const;
  void commit();
  void restore();

  // la_model.cpp
  bool is_injective_on(std::span<const DNumber* const> values) const;

  // la_deduce.cpp
  struct RowReason {
    std::int32_t row;
    Var target;
    bool minimum;
    std::uint32_t begin = 0;
    std::uint32_t size = 0;  // 0: not built yet
  };
  /// Two places each in a row whose variables had no bound on that side.
  struct UnboundedPlaces {
    std::array<std::size_t, 2> below{0, 0};
    std::array<std::size_t, 2> above{0, 0};
  };
  bool are_unbounded(std::span<const Tableau::RowEntry> row, const UnboundedPlaces& places) const;
  void touch_row(std::int32_t row);
  void touch_rows_of(Var var);
  void clear_touched_rows();
  void deduce(std::size_t first_new_bound);
  void deduce_from_row(std::int32_t row);
  void deduce_equality(std::int32_t row);
  void deduce_side(std::int32_t row, bool minimum, int infinite);
  void imply_upper(Var var, const DNumber& implied_bound, RowReason& reason);
  void imply_lower(Var var, const DNumber& implied_bound, RowReason& reason);
  void imply_above(Var var, ConstraintId constraint, const DNumber* old_upper);
  void imply_below(Var var, ConstraintId constraint, const DNumber* old_lower);
  void imply(ConstraintId constraint, std::span<const ConstraintId> reason);
  void imply(ConstraintId constraint, RowReason& reason);
  /// The bound that a row entry's smallest or largest value comes from, `null_constraint` if there is none.
  ConstraintId side_bound(const Tableau::RowEntry& entry, bool minimum) const {
    return ((entry.coeff.sgn() > 0) == minimum ? lower_ : upper_)[index(entry.var)];
  }
  bool is_fixed(Var var) const {
    const ConstraintId lower = lower_[index(var)], upper = upper_[index(var)];
    return lower != null_constraint && upper != null_constraint && bound(lower) == bound(upper);
  }
  bool is_conflict_proved() const;
  bool is_reason_proved(ConstraintId constraint) const;
  bool is_open(AtomId atom) const { return atoms_[index(atom)].state == 0; }

  // la_integers.cpp
  void add_to_equation(RowEquation& equation, Var var, const QNumber& coeff) const;

  // la_diseq.cpp
  bool separate_disequalities();
  bool separate(ConstraintId disequality);
  bool try_side(Var var, ConstraintKind kind, const DNumber& value);
  bool shift_keeps_disequalities(const QNumber& step) const;

  class Mover;  // la_move_apart.cpp

  // la_eliminate.cpp
  void eliminate_free_vars();
  void eliminate(Var var);
  void restore_var(Var var);
  void move_into_basis(Var var);
  void refresh_eliminated();
  std::vector<Monomial> over_tableau(std::span<const Monomial> sum) const;
  bool are_eliminated_right() const;
  void drop_elimination(Var var);
  void restore_users(Var var);
  bool is_free(Var var) const;

  Options options_;
  TerminationTest* termination_ = nullptr;
  Statistics statistics_;

  Tableau tableau_;
  std::vector<DNumber> values_;            // by variable; of eliminated ones only while eliminated_are_fresh_
  std::vector<ConstraintId> lower_;        // by variable
  std::vector<ConstraintId> upper_;        // by variable
  std::vector<std::int32_t> open_;         // by variable: atoms neither asserted nor implied
  std::vector<std::vector<AtomId>> cuts_;  // by variable: its inequalities, by value of the upper side
  std::vector<std::vector<AtomId>> equalities_;  // by variable: its equalities, by value

  std::vector<Constraint> constraints_;  // constraints 0 and 1 are the trial bounds of separate()
  std::vector<Atom> atoms_;
  std::vector<AtomId> free_atoms_;

  std::vector<StackEntry> stack_;
  std::vector<ConstraintId> diseqs_;
  std::vector<Mark> marks_;
  std::size_t checked_ = 0;  // entries of the stack that the values satisfy
  bool in_conflict_ = false;
  std::vector<ConstraintId> conflict_;

  std::vector<Var> to_check_;              // basic variables that may violate a bound
  std::vector<std::uint8_t> in_to_check_;  // by variable
  std::vector<OldValue> old_values_;       // before the current check
  std::vector<std::uint64_t> touched_at_;  // by variable: value of stamp_ when it entered old_values_
  std::uint64_t stamp_ = 1;

  std::vector<std::int32_t> touched_rows_;  // for the next check to deduce from
  std::vector<std::uint8_t> row_touched_;   // by row
  std::vector<UnboundedPlaces> unbounded_;  // by row: where to look first for a reason to pass over it
  std::vector<Implication> implications_;
  std::vector<ConstraintId> reasons_;         // the reasons of all implications, one after the other
  std::vector<std::int32_t> implication_of_;  // by constraint: its implication, or -1
  std::size_t next_implied_ = 0;

  std::vector<Elimination> eliminations_;  // oldest first; null_var: an empty place
  std::size_t empty_eliminations_ = 0;
  bool eliminated_are_fresh_ = true;  // values_ of eliminated variables are those that the others give them
  std::vector<Var> changed_values_;   // since then, while they are not
  std::vector<std::uint8_t> value_changed_;    // by variable: is it among them
  std::vector<std::int32_t> definition_uses_;  // by variable: how often definitions mention it
  std::vector<std::int32_t> elimination_of_;   // by variable: its elimination, or -1
  std::vector<std::int32_t> kept_;             // by variable: calls of keep() not released
  std::vector<Var> elimination_candidates_;
  std::vector<std::uint8_t> alive_;  // by variable

  std::function<bool(ConstraintId)> must_hold_;
  std::vector<QNumber> model_;  // by variable
  std::vector<Var> model_changes_;
  std::vector<std::uint8_t> in_model_changes_;  // by variable
  QNumber delta_{1};                            // what the infinitesimal is in the model
};

}  // namespace vesk::la
