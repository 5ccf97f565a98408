#pragma once

#include <memory>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/dpll/dpll_solver.h"
#include "solver/env/model_store.h"
#include "solver/euf/euf_interface.h"
#include "solver/la/la_interface.h"
#include "solver/preprocess/constraint_encoder.h"
#include "solver/preprocess/ite_minimizer.h"
#include "solver/preprocess/nnf.h"
#include "solver/preprocess/rewrite_stack.h"
#include "solver/preprocess/term_normalizer.h"
#include "solver/preprocess/toplevel_propagator.h"
#include "solver/preprocess/tseitin_cnf.h"
#include "solver/term/polarity_checker.h"
#include "solver/theory/theory_manager.h"
#include "solver/util/logger.h"
#include "solver/util/stamp_set.h"

namespace vesk {

/// Everything a formula passes on its way from assertion to search, and the search with its theories: the
/// part of an environment that follows the backtrack points and that can be made anew from the assertions.
class Pipeline {
 public:
  /// The references outlive the pipeline.
  Pipeline(const Configuration& config, TermManager& terms, const Logger& log, TerminationTest* termination);

  /// Preprocesses the formulas, which hold together, and hands them to the search. False: they contradict
  /// each other, or what was added before, plainly.
  bool add_formulas(std::vector<Term> formulas);

  struct Assumption {
    bool constant = false;  ///< its value is known, and `value` is it
    bool value = false;
    dpll::Lit lit;
  };
  /// What an assumption (a Boolean constant, a bound on a constant, or a negation of these) has become.
  Assumption assume(Term term);
  /// The constant keeps existing; to be said before the formulas that may define it.
  void protect(Term constant) { propagator_.set_protected(constant); }
  /// Sets the list of variables that the search decides first, in that order; `polarity` 1, 0 or -1.
  void set_preferred(const std::vector<std::pair<Term, int>>& preferred);

  void push_backtrack_point();
  void pop_backtrack_point();

  dpll::DpllSolver& search() { return search_; }
  const dpll::DpllSolver& search() const { return search_; }
  const TheoryManager& theories() const { return theories_; }
  const la::LaSolverInterface& arithmetic() const { return arithmetic_; }
  la::LaSolverInterface& arithmetic() { return arithmetic_; }

  /// The model of a satisfiable answer that the search still keeps.
  std::unique_ptr<ModelStore> make_model();

  /// After a satisfiable answer that the search still keeps: adds the constants and applications whose
  /// leaf_value() may be another than when this was last called, or all. False if it cannot be told which.
  [[nodiscard]] bool collect_model_changes(bool all, std::vector<Term>& changed);
  /// The value that the model gives a constant or an application by itself, null if it does not. After
  /// make_model() or collect_model_changes().
  Term leaf_value(Term term) const;
  const std::vector<RewriteStack::Step>& rewrite_steps() const { return *rewrites_.steps(); }

  /// The term in the form in which it would go to the search.
  Term simplify(Term term);

 private:
  void normalize(std::vector<Term>& conjuncts);
  void send(std::vector<Term>& conjuncts);
  void collect_leaves();
  void note_changed_leaf(Term term);
  bool is_leaf(Term term) const { return is_collected_.contains(term->id()); }

  const Configuration& config_;
  TermManager& terms_;
  RewriteStack rewrites_;
  PolarityChecker polarity_;
  ToplevelPropagator propagator_;
  NnfConverter nnf_;
  TermNormalizer normalizer_;
  IteMinimizer ites_;
  ConstraintEncoder encoder_;
  dpll::DpllSolver search_;
  TheoryManager theories_;
  euf::EufSolverInterface euf_;
  la::LaSolverInterface arithmetic_;
  TseitinCnf cnf_;

  struct Leaf {
    Term term;
    dpll::Var var;  // of the first atom that the term stands in
  };
  // What a model gives values to: all that stands in atoms of the variables below `num_collected_vars_`, and
  // is no operator's. Collected when a model is made, since most checks see the atoms of the one before.
  std::vector<Leaf> constants_, applications_;
  std::vector<Leaf> collected_;  // all terms walked over, in the order of their variables
  struct BooleanLeaf {
    Term term;
    dpll::Var var;
    dpll::lbool told;  // its truth when changes were last collected
  };
  std::vector<BooleanLeaf> booleans_;  // constants and predicates that variables below stand for
  bool tells_changes_ = false;
  std::vector<Term> changed_leaves_;  // that came or went since changes were last collected
  StampSet is_collected_;
  dpll::Var num_collected_vars_ = 0;
};

}  // namespace vesk
