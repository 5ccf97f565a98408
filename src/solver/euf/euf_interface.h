#pragma once

#include <cstdint>
#include <vector>

#include "solver/dpll/lit.h"
#include "solver/euf/euf_solver.h"
#include "solver/term/symbol.h"
#include "solver/term/term_manager.h"
#include "solver/theory/theory_solver.h"
#include "solver/util/hash_table.h"
#include "solver/util/termination.h"

namespace vesk::euf {

/// Equality and uninterpreted functions as a theory.
///
/// Owns predicates, equalities over other types than numbers, and those equalities between numeric terms
/// whose two sides it knows as arguments or values of functions. Arithmetic owns these, too, so a formula
/// without functions gives this theory nothing to do.
class EufSolverInterface : public TheorySolver {
 public:
  /// `terms` outlives this object.
  explicit EufSolverInterface(TermManager& terms) : terms_(terms) {}
  void set_termination_test(TerminationTest* test) { termination_ = test; }

  const char* get_name() const override { return "euf"; }
  Part part() const override { return Part::congruence; }
  bool tell_atom(Term atom, dpll::Var var) override;
  void retract_atom(dpll::Var var) override;
  void new_decision_level() override;
  void cancel_until(int level) override;
  void push_backtrack_point() override { points_.push_back(solver_.num_nodes()); }
  void pop_backtrack_point() override;
  bool assume(dpll::Lit lit) override;
  void set_eq_propagator(const TheoryEqPropagator* propagator) override { equations_ = propagator; }
  void explain_equation(const TheoryEq& equation, std::vector<dpll::Lit>& reasons) override;
  bool check(bool approximate) override;
  void get_conflict(std::vector<dpll::Lit>& lits) override;
  dpll::Lit get_next_implied() override;
  bool get_explanation(dpll::Lit lit, bool lazy, std::vector<dpll::Lit>& reasons) override;
  void notify_interface_term(Term term) override { static_cast<void>(make_node(term)); }
  void set_numbers_matter(bool matter) override { numbers_matter_ = matter; }
  int model_group(Term term) const override;
  void require_model() override;
  void build_model() override;
  void recover() override { rebuild(solver_.num_nodes()); }

  /// The value of a term that is no number in the model: true, false or a constant of its type that stands
  /// for its class; null for a term that is unknown here or a number.
  Term get_model_value(Term term) const override;
  [[nodiscard]] bool collect_model_changes(std::vector<Term>& changed) override;

  const Solver& solver() const { return solver_; }

 private:
  struct NodeRecord {
    Term term;
    dpll::Var var = dpll::var_undef;  // of the atom that the node stands for
    Node left = null_node;            // the two sides, if the node is an equality
    Node right = null_node;
    bool assumed = false;  // true or false by a literal that was assumed
  };
  struct Mark {
    std::size_t assumed;
    std::size_t next_implied;
    std::size_t next_equality;
  };

  Node find_node(Term term) const;
  Node make_node(Term term);
  Node make_equality(Term equality);
  Node add_equality(Term equality, Term left, Term right);
  void own(Node node, dpll::Var var);
  Function function_of(const Symbol* symbol);
  void assert_lit(dpll::Lit lit);
  void hand_on_equalities();
  bool is_entailed(const std::vector<Hypothesis>& hypotheses, Node a, Node b) const;
  bool forget_newest(std::size_t num_nodes);
  void rebuild(std::size_t num_nodes);
  void forget_leaves(std::size_t num_nodes);
  Term element(const Type* type, std::size_t number);

  TermManager& terms_;
  TerminationTest* termination_ = nullptr;
  Solver solver_;
  bool numbers_matter_ = false;
  hsh::Map<Term, Node> node_of_term_;
  std::vector<NodeRecord> nodes_{{nullptr}, {nullptr}};  // by node; the first two are true and false
  hsh::Map<const Symbol*, Function> functions_;
  std::vector<Node> node_of_var_;  // by variable of the search
  std::vector<dpll::Lit> assumed_;
  bool assumes_retracted_ = false;  // the atom of an assumed literal is gone
  std::vector<Mark> marks_;         // by decision level
  std::size_t next_implied_ = 0;
  std::size_t next_equality_ = 0;  // of those that the other theories get
  const TheoryEqPropagator* equations_ = nullptr;
  std::vector<std::size_t> points_;  // number of nodes at each backtrack point
  std::vector<Hypothesis> explanation_;
  std::vector<Term> class_values_;  // by root node, after build_model()
  struct Leaf {
    Node node;
    Term told = nullptr;  // its value when changes were last collected
  };
  std::vector<Leaf> leaves_;  // the nodes that have a value to be asked for, by age
  bool tells_changes_ = false;
  std::vector<Term> lost_leaves_;                      // since then
  hsh::Map<const Type*, std::vector<Term>> elements_;  // constants that stand for classes, by number
};

}  // namespace vesk::euf
