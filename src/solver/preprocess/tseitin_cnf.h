#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/dpll/dpll_solver.h"
#include "solver/term/polarity_checker.h"
#include "solver/term/term.h"
#include "solver/util/stamp_set.h"
#include "solver/util/termination.h"
#include "solver/util/undo_trail.h"

namespace vesk {

class CnfError : public Exception {
 public:
  using Exception::Exception;
};

/// Turns formulas into clauses (G. S. Tseitin, 1968). A label is equivalent to its term, so it may be
/// shared by all formulas that hold the term, whatever the sign.
///
/// A top-level conjunct that is a disjunction, of any nesting, is one clause and gets no label itself, nor
/// do the connectives inside it that occur only there: only what is shared, or of the other kind, does. With
/// full_cnf_conversion every connective gets one.
class TseitinCnf {
 public:
  TseitinCnf(const Configuration& config, dpll::DpllSolver& solver, const PolarityChecker& polarity)
      : config_(config), solver_(solver), polarity_(polarity) {}

  void set_termination_test(TerminationTest* test) { termination_ = test; }

  void add_formulas(std::span<const Term> conjuncts);
  /// The literal that stands for a Boolean term, with its definition added if there is none.
  dpll::Lit literal_for(Term term);

  void push_backtrack_point() { trail_.push_mark(); }
  void pop_backtrack_point();

 private:
  /// A term under zero or more negations.
  struct Node {
    Term term;
    bool negated;
  };

  static Node strip(Term term, bool negated);
  static bool is_conjunction(const Node& node);
  static bool is_disjunction(const Node& node);
  void count_parents(Term root);
  bool is_shared(Term term) const;
  void flatten(const Node& node, std::vector<Node>& leaves) const;
  void add_top(const Node& root);
  void add_disjunction(const Node& node);
  void add_iff(const Node& node);
  bool is_defined(Term term) const { return term->id() < defined_.size() && defined_[term->id()] != 0; }
  void define(Term root);
  void add_definition(Term term, const std::vector<Node>& leaves);
  dpll::Lit label(const Node& node);
  dpll::Lit defined_literal(const Node& node);
  void add(std::initializer_list<dpll::Lit> lits) { solver_.add_clause({lits.begin(), lits.size()}); }

  const Configuration& config_;
  dpll::DpllSolver& solver_;
  const PolarityChecker& polarity_;
  TerminationTest* termination_ = nullptr;
  std::vector<std::uint8_t> defined_;  // by term id: the clauses of its label are there
  UndoTrail<std::uint64_t> trail_;     // ids of defined_

  // Scratch.
  StampMap<std::uint32_t> parents_;
  std::vector<Term> stack_;
  StampSet met_;  // conjunctions at the top
  std::vector<Node> top_;
  std::vector<Node> leaves_;
  std::vector<dpll::Lit> clause_;
  std::vector<Term> define_stack_;
  mutable std::vector<Node> flatten_stack_;
};

}  // namespace vesk
