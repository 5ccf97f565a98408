#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/dpll/proxy_maker.h"
#include "solver/dpll/theory_hook.h"
#include "solver/term/polarity_checker.h"
#include "solver/term/term_manager.h"
#include "solver/theory/interface_terms.h"
#include "solver/theory/theory_eq.h"
#include "solver/theory/theory_solver.h"
#include "solver/util/logger.h"
#include "solver/util/termination.h"

namespace vesk {

/// Stands between the search and the theory solvers: hands each atom and its value to the solvers that own
/// it, asks them in turn, and combines them.
///
/// Combination is delayed: when the search has found an assignment that every theory accepts, the theories'
/// models are laid side by side. Where two applications of one function have equal arguments and unequal
/// values in them, equations between the terms at issue are made atoms, which the search first tries to make
/// true (model-based combination, after de Moura and Bjorner, Model-based Theory Combination, 2007).
/// Equations that arithmetic implies go before those that its model merely suggests. Equations between
/// numbers that congruence closure finds go to arithmetic at once, which saves most of these atoms. Formulas
/// without functions never come that far.
class TheoryManager : public dpll::TheoryHook {
 public:
  struct Statistics {
    std::uint64_t conflicts = 0;
    std::uint64_t implications = 0;
    std::uint64_t lemmas = 0;
    std::uint64_t interface_equalities = 0;
    std::uint64_t filtered_literals = 0;
  };

  /// The references outlive this object; `polarity` may be null.
  TheoryManager(const Configuration::Theory& config, TermManager& terms, PolarityChecker* polarity,
                const Logger& log);

  /// The search; set before the first atom is told.
  void set_search(dpll::ProxyMaker* search) { search_ = search; }
  /// One more theory, which outlives this object; before the first atom is told. The theories are asked in
  /// the order in which they come here.
  void add_solver(TheorySolver& solver);
  void set_termination_test(TerminationTest* test) { termination_ = test; }

  bool tell_atom(Term atom, dpll::Var var) override;
  void retract_atom(Term atom, dpll::Var var) override;
  void new_decision_level() override;
  void cancel_until(int level) override;
  void push_backtrack_point() override;
  void pop_backtrack_point() override;
  bool assume(dpll::Lit lit) override;
  bool check(bool approximate) override;
  void get_conflict(std::vector<dpll::Lit>& lits) override;
  dpll::Lit get_next_implied() override;
  bool get_explanation(dpll::Lit lit, bool lazy, std::vector<dpll::Lit>& reasons) override;
  bool has_lemmas() override;
  Lemma next_lemma(std::vector<dpll::Lit>& lits) override;
  void retract_lemma(int id) override;
  /// TheoryIncomplete when the assignment passes and yet may be no model.
  ModelFound boolean_model_found() override;
  /// Fixes the values of the theories' terms in the assignment that was found, until the next cancel_until().
  void build_model();
  /// Only after build_model(); null for a term that no theory has a value for.
  Term get_model_value(Term term) const;
  /// As TheorySolver has it, of all theories.
  [[nodiscard]] bool collect_model_changes(std::vector<Term>& changed);
  void recover() override;

  /// The function applications that the atoms mention, by function.
  const std::vector<InterfaceTermDetector::Function>& functions() const { return detector_.functions(); }
  const Statistics& statistics() const { return statistics_; }

 private:
  struct AtomRecord {
    Term term = nullptr;
    std::uint8_t owners = 0;  // one bit for each solver
    // by sign: the solver that implied the literal last; two can imply opposite signs at once
    std::array<std::int8_t, 2> implier{-1, -1};
  };
  /// A literal that solvers were told after the search had assigned it and told the others.
  struct Late {
    dpll::Lit lit;
    std::uint8_t owners;
  };
  struct PendingLemma {
    int owner = -1;
    int handle = -1;
  };

  AtomRecord& record(dpll::Var var) { return atoms_[static_cast<std::size_t>(var)]; }
  bool is_numeric_equality(Term atom) const;
  void share_numbers();
  bool tell_euf_late(Term atom, dpll::Var var);
  void own_late(Late late);
  void tell_filtered(dpll::Var var);
  bool is_filtered(dpll::Lit lit);
  int level_of_retold() const;

  // interface_equalities.cpp
  ModelFound combine();
  void find_needed_equalities(std::size_t limit);
  void forget_needed();
  void find_implied_equalities();
  void make_candidate_equalities();
  void make_candidate_equalities(const std::vector<Term>& terms);
  bool make_needed_equalities();
  int value_of(Term term) const;
  void need(Term a, Term b);
  bool make_interface_equality(Term a, Term b);

  const Configuration::Theory& config_;
  TermManager& terms_;
  PolarityChecker* polarity_;
  const Logger& log_;
  dpll::ProxyMaker* search_ = nullptr;
  TerminationTest* termination_ = nullptr;
  std::vector<TheorySolver*> solvers_;
  int euf_ = -1;         // its place among the solvers
  int arithmetic_ = -1;  // likewise
  Statistics statistics_;

  std::vector<AtomRecord> atoms_;  // by variable
  std::vector<std::pair<Term, dpll::Var>> unowned_;
  int in_conflict_ = -1;
  std::size_t next_implier_ = 0;
  std::vector<PendingLemma> lemmas_;  // by id
  std::vector<int> free_lemmas_;
  std::vector<TheoryLit> lemma_;  // scratch
  InterfaceTermDetector detector_;
  TheoryEqPropagator equations_;
  bool numbers_matter_ = false;                                 // there are functions
  std::vector<std::pair<Term, dpll::Var>> numeric_equalities_;  // told when there were none
  std::vector<Late> late_;
  std::vector<std::pair<Term, Term>> needed_;
  std::set<std::pair<std::uint64_t, std::uint64_t>> needed_ids_;  // of its terms
  std::vector<dpll::Lit> filtered_;  // true literals that the solvers were spared, oldest first
};

}  // namespace vesk
