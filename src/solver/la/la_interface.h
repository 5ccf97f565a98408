#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/dpll/lit.h"
#include "solver/la/la_opt_solver.h"
#include "solver/la/la_solver.h"
#include "solver/la/laz_solver.h"
#include "solver/la/linear_term.h"
#include "solver/la/linear_term_mapper.h"
#include "solver/term/polarity_checker.h"
#include "solver/term/term_manager.h"
#include "solver/theory/theory_solver.h"
#include "solver/util/hash_table.h"

namespace vesk::la {

/// Linear arithmetic as a theory: turns atoms into bounds on the variables of a simplex solver, and its
/// constraints back into literals.
///
/// Integers: bounds on integer sums are rounded, and where the values of a complete check are not whole,
/// laz::Solver finds a conflict or a clause.
class LaSolverInterface : public TheorySolver {
 public:
  struct Statistics {
    std::uint64_t splits = 0;
    std::uint64_t equalities_taken = 0;  // from other theories
    std::uint64_t branches = 0;          // clauses for integers
  };

  /// `polarity` may be null: then no equality is known to be pure. All references outlive this object.
  LaSolverInterface(const Configuration::Theory::La& config, TermManager& terms,
                    std::unique_ptr<OptSolver> solver, const PolarityChecker* polarity);

  /// Settings of the simplex solver that the configuration asks for.
  static Solver::Options solver_options(const Configuration::Theory::La& config);
  void set_termination_test(TerminationTest* test) {
    solver_->set_termination_test(test);
    integers_.set_termination_test(test);
  }

  const char* get_name() const override { return "la"; }
  Part part() const override { return Part::numbers; }
  bool tell_atom(Term atom, dpll::Var var) override;
  void retract_atom(dpll::Var var) override;
  void new_decision_level() override;
  void cancel_until(int level) override;
  void push_backtrack_point() override { points_.push_back(equalities_.size()); }
  void pop_backtrack_point() override;
  bool assume(dpll::Lit lit) override;
  void assume_equation(const TheoryEq& equation) override { arrived_.push_back(equation); }
  bool check(bool approximate) override;
  void get_conflict(std::vector<dpll::Lit>& lits) override;
  dpll::Lit get_next_implied() override;
  bool get_explanation(dpll::Lit lit, bool lazy, std::vector<dpll::Lit>& reasons) override;
  bool has_lemmas() override { return !units_.empty() || !splits_.empty() || has_clause_; }
  TheoryLemma get_lemma(std::vector<TheoryLit>& lits) override;
  void notify_interface_term(Term term) override;
  void retract_interface_term(Term term) override;
  void build_abstract_model() override;
  int model_group(Term term) const override;
  bool move_apart(std::span<const std::pair<Term, Term>> at_issue,
                  const std::function<int(Term)>& group_of) override;
  void build_implied_groups() override;
  int implied_group(Term term) const override;
  void require_model() override;
  void build_model() override;
  void recover() override;

  /// The value of a linear term in the model; null if there is no model or a part of the term is unknown
  /// here.
  Term get_model_value(Term term) const override;
  [[nodiscard]] bool collect_model_changes(std::vector<Term>& changed) override;

  // An objective.

  /// Complete checks move on to the least value of the constant from now on; null: of nothing. Infinitesimals
  /// are at most `max_delta` in models then. Between two searches.
  void set_objective(Term constant, const QNumber& max_delta);
  /// The objective's value in the assignment of the last complete check.
  const DNumber& objective_value() const { return solver_->value(objective_var_); }
  /// What was asserted in that check bounds the objective nowhere.
  bool objective_is_unbounded() const { return solver_->is_unbounded(); }
  /// A number that the objective is not below as long as what is asserted now holds; null: none is known.
  /// After a satisfiable answer, when the search is back at its backtrack points.
  std::optional<DNumber> objective_bound() { return solver_->relaxed_minimum(); }
  void pairs_to_decide(std::vector<std::pair<Term, Term>>& pairs) const override;

  const Statistics& statistics() const { return statistics_; }
  const Solver& solver() const { return *solver_; }

 private:
  struct AtomRecord {
    Term term = nullptr;
    dpll::Var var = dpll::var_undef;
    bool integer = false;
    std::int32_t equality = -1;  // place among equalities_: an atom that the search does not know
  };
  /// An equation of another theory as an atom of the simplex solver.
  struct TakenEquality {
    TheoryEq equation;
    AtomId atom;
  };
  struct InterfaceRecord {
    int users = 0;
    int group = -1;
    int implied_group = -1;
    std::vector<Monomial> sum;  // what the term amounts to, beside a constant; it holds the variables
    QNumber constant;
    bool is_variable() const { return sum.size() == 1 && sum[0].coeff.is_one() && constant.is_zero(); }
  };

  AtomId add_atom(const LinearAtom& linear, Var var);
  dpll::Lit to_lit(ConstraintId constraint) const {
    return dpll::Lit(atoms_[static_cast<std::size_t>(constraint / 2)].var, (constraint & 1) != 0);
  }
  ConstraintId to_constraint(dpll::Lit lit) const {
    return 2 * atom_of_var_[static_cast<std::size_t>(lit.var())] + (lit.negated() ? 1 : 0);
  }
  bool is_taken(ConstraintId constraint) const {
    return atoms_[static_cast<std::size_t>(constraint / 2)].equality >= 0;
  }
  void add_reasons(ConstraintId constraint, std::vector<dpll::Lit>& lits) const;
  bool take_equalities();
  AtomId atom_for(const TheoryEq& equation);
  void remove_equality(const TakenEquality& equality);
  bool is_delayed(const AtomRecord& atom) const;
  bool check_delayed();
  bool check_integers();
  void get_integer_clause(std::vector<TheoryLit>& lits);
  bool must_separate(ConstraintId disequality) const;
  bool is_pure(const AtomRecord& atom) const;
  void split_violated_equalities();
  void concretize();
  DNumber value_of(const InterfaceRecord& record) const;
  std::vector<Var> parting_vars(std::span<const std::pair<Term, Term>> pairs) const;

  const Configuration::Theory::La& config_;
  TermManager& terms_;
  std::unique_ptr<OptSolver> solver_;
  const PolarityChecker* polarity_;
  LinearTermMapper mapper_;
  laz::Solver integers_;
  Statistics statistics_;

  std::vector<AtomRecord> atoms_;                       // by atom of the solver
  std::vector<AtomId> atom_of_var_;                     // by variable of the search; 0 without a constraint
  std::vector<std::pair<TheoryLit, dpll::Var>> units_;  // atoms that are true or false whatever the values
  std::vector<std::pair<Term, dpll::Var>>
      unsupported_;                     // modular congruences: no model can be judged by them
  std::vector<AtomId> splits_;          // violated equalities whose split was not taken yet
  std::vector<ConstraintId> violated_;  // scratch
  bool has_clause_ = false;             // integers_ has one that was not taken yet
  int num_branches_ = 0;  // on what has no bounds, since an atom came that is no branch: they may have no end
  std::pair<Term, Term> newest_branch_;  // the atoms of the last branch
  hsh::Map<Term, InterfaceRecord> interface_;
  std::vector<Term> interface_terms_;  // the keys of interface_, in order of arrival
  bool model_is_built_ = false;
  Term objective_ = nullptr;
  Var objective_var_ = null_var;
  std::vector<Term> told_terms_;  // by variable: what it stood for when model changes were last collected

  std::vector<TheoryEq> arrived_;  // equations that wait for the next check
  std::vector<TakenEquality> equalities_;
  hsh::Map<std::pair<Term, Term>, std::int32_t> equality_of_;  // by the two terms, the older first
  std::vector<std::size_t> points_;                            // number of equalities at each backtrack point
  std::vector<ConstraintId> delayed_;       // equalities of shared terms that wait for a complete check
  std::vector<std::size_t> delayed_marks_;  // by decision level
  std::vector<ConstraintId> conflict_;      // of the last check
};

}  // namespace vesk::la
