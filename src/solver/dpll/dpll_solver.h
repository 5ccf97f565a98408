#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/dpll/clause.h"
#include "solver/dpll/ghost_filter.h"
#include "solver/dpll/lit.h"
#include "solver/dpll/proxy_maker.h"
#include "solver/dpll/restart.h"
#include "solver/dpll/theory_hook.h"
#include "solver/term/term.h"
#include "solver/util/hash_table.h"
#include "solver/util/heap.h"
#include "solver/util/lcg.h"
#include "solver/util/realloc_vector.h"
#include "solver/util/stamp_set.h"
#include "solver/util/termination.h"

namespace vesk::dpll {

enum class Result { satisfiable, unsatisfiable };

/// Conflict-driven clause learning (J. Marques-Silva, K. Sakallah, 1999) with two watched literals, an
/// activity-ordered heap (N. Een, N. Soerensson, SAT 2003) and theories behind a hook. Owns the Boolean
/// variables and the clauses of one environment.
///
/// Backtrack points. Point number i (from 0) is a variable of its own whose literal is decided at level
/// i + 1, before anything else. Every problem clause made while points are open holds the negation of the
/// youngest point's literal, its guard; so the clauses, the learnt ones resting on them, and all variables
/// made since can be deleted when the point is popped. Invariants that this rests on:
///   - a clause with a variable newer than a point holds a guard at least as young as the point;
///   - a guard is never dropped from a clause, and a point's literal occurs in clauses only negated, so no
///     literal of level 0 depends on a point, save the negation of the point itself;
///   - problem clauses are deleted for good only when a literal of level 0 satisfies them.
///
/// Levels. Whatever was assigned, or told to the theories, since a level was opened is undone by
/// cancel_until(). `theory_qhead_` is saved when a level is opened: literals that the theories get later
/// than their own level are told again after a cancel.
///
/// Watches. Between two propagations a clause with a false watch has a true literal that is its other
/// watch, or the blocker; check_invariants() says it in full.
class DpllSolver : public ProxyMaker {
 public:
  struct Stats {
    std::uint64_t solve_calls = 0, decisions = 0, random_decisions = 0, conflicts = 0, propagations = 0;
    std::uint64_t restarts = 0, learnt_clauses = 0, learnt_literals = 0, removed_clauses = 0, reductions = 0;
    std::uint64_t theory_conflicts = 0, theory_implications = 0, theory_reasons = 0, theory_lemmas = 0;
    std::uint64_t final_checks = 0, ghosts = 0;
  };

  /// `config` must outlive the solver.
  DpllSolver(const Configuration& config);
  DpllSolver(const DpllSolver&) = delete;
  DpllSolver& operator=(const DpllSolver&) = delete;
  ~DpllSolver() override = default;

  /// Null: no theories. To be set before any atom is made.
  void set_theory(TheoryHook* theory) { theory_ = theory; }
  void set_termination_test(TerminationTest* test) { termination_ = test; }

  // Variables.

  Var new_var();
  int num_vars() const { return static_cast<int>(vars_.size()); }
  /// Takes connectives too: their variable is a label, no business of the theories.
  Var make_proxy(Term term, const Options& options, bool* is_new) override;
  Var find_proxy(Term term) const override {
    return term->id() < proxies_.size() ? proxies_[term->id()] : var_undef;
  }
  Term term_of(Var var) const override { return info_[index(var)].term; }
  lbool value(Lit lit) const override { return values_[lit.index()]; }
  int level(Var var) const override { return vars_[index(var)].level; }
  int decision_level() const override { return static_cast<int>(levels_.size()); }
  int num_backtrack_points() const override { return static_cast<int>(points_.size()); }
  void set_decision(Var var, bool decision) override;
  void set_forced_polarity(Var var, lbool polarity) override { info_[index(var)].forced_polarity = polarity; }
  void set_phase(Var var, lbool phase) { info_[index(var)].phase = phase; }
  void set_problem_var(Var var) { info_[index(var)].problem_var = true; }
  bool is_problem_var(Var var) const { return info_[index(var)].problem_var; }

  // Clauses.

  /// Adds a problem clause; at any moment, also from within a theory call, when it takes effect at the
  /// next step of the search. Literals may repeat.
  void add_clause(std::span<const Lit> lits);
  /// Number of backtrack points that the proof of unsatisfiability depends on; -1 when there is none.
  int unsat_level() const { return unsat_level_; }
  std::size_t num_clauses() const { return clauses_.size(); }
  std::size_t num_learnts() const { return learnts_.size(); }

  // Solving.

  /// Throws TerminationTest::Terminated when stopped; recover() is due then. With `keep` the assignment of
  /// a satisfiable answer stays, to be read, until release_model() or any other operation.
  Result solve(std::span<const Lit> assumptions, bool keep = false);
  /// Most work of one call; 0 is no limit.
  struct Budget {
    std::uint64_t conflicts = 0, decisions = 0, propagations = 0;
  };
  /// Like solve(), but nothing when a limit is reached first. What was learnt until then stays.
  std::optional<Result> solve_limited(std::span<const Lit> assumptions, const Budget& budget,
                                      bool keep = false);
  void release_model() { cancel_to_points(); }
  /// The assumptions that an unsatisfiable answer rests on; empty when it rests on none.
  const std::vector<Lit>& conflict_assumptions() const { return conflict_assumptions_; }
  /// Value in the last satisfiable answer.
  lbool model_value(Var var) const { return index(var) < model_.size() ? model_[index(var)] : l_undef; }
  /// Brings the search state in order after an exception left it.
  void recover();

  void push_backtrack_point();
  void pop_backtrack_point();

  /// `polarity` l_undef: by the cached phase.
  void add_preferred(Var var, lbool polarity);
  void clear_preferred();

  /// With store_tlemmas: the clauses that the theories gave (conflicts, reasons, lemmas), in order, without
  /// guards; those since a point go when it is popped.
  const std::vector<std::vector<Lit>>& theory_lemmas() const { return stored_lemmas_; }

  const Stats& stats() const { return stats_; }

  /// Asserts what the class promises, in time linear in its size; for debug builds and tests. `at_fixpoint`
  /// says that propagation has come to an end without conflict.
  void check_invariants(bool at_fixpoint) const;
  /// In builds with assertions the checker runs at every `steps`-th step of the search; 0, the default: at
  /// ever greater intervals, so that it costs a share of the whole only.
  void set_invariants_interval(std::uint64_t steps) {
    invariants_interval_ = steps;
    next_invariants_check_ = 0;
  }

 private:
  struct VarState {
    ClauseRef reason = ref_undef;
    int level = -1;
    int position = -1;
  };
  static constexpr lbool phase_invalid = 4;
  struct VarInfo {
    Term term = nullptr;
    lbool phase = l_false;
    lbool forced_polarity = l_undef;
    bool decision = true;
    bool problem_var = false;
    bool theory = false;  // some theory wants to know its value
    bool preferred = false;
  };
  struct Level {
    std::size_t trail_size;
    std::size_t theory_qhead;
  };
  struct Point {
    Lit lit;
    std::size_t num_clauses;
    std::size_t num_preferred;
    std::size_t num_stored_lemmas;
  };
  struct VarOrder {
    const std::vector<double>* activity;
    bool operator()(Var a, Var b) const {
      const double x = (*activity)[index(a)], y = (*activity)[index(b)];
      return x > y || (x == y && a < b);
    }
  };
  enum class Step { go_on, unsatisfiable, nothing };
  enum class SearchResult { satisfiable, unsatisfiable, restart, exhausted };

  static std::size_t index(Var var) { return static_cast<std::size_t>(var); }
  bool is_defined(Lit lit) const { return !is_undef(values_[lit.index()]); }

  // clauses.cpp
  void add_clause_at_points(std::vector<Lit>& lits);
  bool integrate(std::vector<Lit>& lits, std::uint32_t flags, int lemma);
  ClauseRef store(std::span<const Lit> lits, std::uint32_t flags);
  void attach(ClauseRef ref);
  void remove_clause(ClauseRef ref);
  void sweep_watches();
  void collect_garbage();
  bool is_locked(ClauseRef ref) const;
  void sort_for_watching(std::vector<Lit>& lits) const;
  void refute(int level);

  // propagate.cpp
  ClauseRef propagate();
  void enqueue(Lit lit, ClauseRef reason);
  void open_level();
  void cancel_until(int level);
  void cancel_to_points();

  // analyze.cpp
  bool learn_from(ClauseRef conflict);
  bool learn_from(std::span<const Lit> conflict);
  int analyze(ClauseRef conflict);
  void analyze_clause(ClauseRef ref, Lit implied, int& open);
  void minimize_learnt();
  bool is_redundant(Lit lit, std::uint32_t abstract_levels);
  void minimize_with_binaries();
  void analyze_final(Lit failed);
  std::uint32_t compute_lbd(std::span<const Lit> lits);
  std::span<const Lit> reason_of(Lit lit);
  void bump_var(Var var, double amount);
  void bump_clause(ClauseRef ref);
  static std::uint32_t abstract_level(int level) { return 1u << (level & 31); }

  // search.cpp
  SearchResult search();
  bool is_exhausted() const;
  Step final_check();
  Step decide_backtrack_point();
  Step decide_assumption();
  Step handle_theory_check(bool approximate);
  bool count_conflict(bool learnt);
  void simplify();
  Lit pick_branch_lit();
  Lit pick_preferred();
  bool phase_sign(Var var) const;
  bool put_aside(Var var);
  void take_back_ghosts();
  void maybe_check_invariants();

  // reduce.cpp
  void reduce_if_due();
  void reduce_db();
  void rebuild_order();

  // btpoints.cpp
  void drop_from_trail(Var first);
  void remove_clauses_with(Var first, std::size_t begin);
  void remove_vars(Var first);
  bool is_point(Var var) const;

  // dpll_invariants.cpp
  bool is_derivable_or_too_dear(std::span<const Lit> clause) const;

  // theory_link.cpp
  bool check_theory(bool approximate);
  void add_guard(std::vector<Lit>& lits) const;
  ClauseRef store_theory_clause(std::vector<Lit>& lits);
  Step learn_theory_conflict();
  Step enqueue_theory_implications();
  bool explain(Lit lit, bool lazy);
  Step add_theory_lemmas();
  bool add_pending_clauses();
  void note_theory_clause(std::span<const Lit> lits);

  const Configuration& config_;
  TheoryHook* theory_ = nullptr;
  TerminationTest* termination_ = nullptr;

  // The assignment. Values are kept by literal, the rest by variable.
  std::vector<lbool> values_;
  std::vector<VarState> vars_;
  std::vector<Lit> trail_;
  std::vector<Level> levels_;
  std::size_t qhead_ = 0;
  std::size_t theory_qhead_ = 0;

  std::vector<VarInfo> info_;
  int num_theory_vars_ = 0;
  std::vector<Var> proxies_;  // by term id

  ClauseArena arena_;
  std::vector<ReallocVector<Watch>> watches_;  // [l]: the clauses that watch the negation of l
  std::vector<ClauseRef> clauses_;
  std::vector<ClauseRef> learnts_;
  hsh::Map<ClauseRef, int> lemmas_;  // clause -> handle in the theories
  std::vector<Lit> dirty_watches_;   // lists with entries of removed clauses
  std::vector<std::vector<Lit>> pending_clauses_;
  std::vector<std::vector<Lit>> stored_lemmas_;

  std::vector<Point> points_;
  std::vector<Lit> assumptions_;
  std::vector<Lit> conflict_assumptions_;
  std::vector<lbool> model_;
  int unsat_level_ = -1;

  // Decisions.
  std::vector<double> activity_;
  Heap<VarOrder> order_;
  double var_increment_ = 1;
  float clause_increment_ = 1;
  std::vector<Var> preferred_;
  std::size_t preferred_cursor_ = 0;  // all preferred variables before it are assigned
  Lcg random_;
  std::unique_ptr<GhostFilter> ghost_filter_;  // null unless an option asks for it
  std::vector<Var> ghosts_;                    // taken off the heap without a decision

  // Progress of the running solve call.
  RestartStrategy restarts_;
  bool track_agility_ = false;
  std::uint64_t conflicts_since_restart_ = 0;
  std::uint64_t conflicts_of_call_ = 0;
  std::uint64_t reduce_interval_ = 0;
  std::uint64_t reduce_count_ = 0;
  double learnt_limit_ = 0;
  std::size_t simplified_trail_ = 0;  // size of the trail of level 0 at the last simplify()
  std::uint64_t simplify_after_ = 0;  // propagations before the next one
  std::uint64_t steps_ = 0;
  std::uint64_t invariants_interval_ = 0;
  std::uint64_t next_invariants_check_ = 1000;
  Budget limits_;  // what the counters of stats_ may reach; 0: anything
  bool in_search_ = false;

  // Scratch.
  std::vector<std::uint8_t> seen_;
  std::vector<Lit> to_clear_;
  std::vector<Lit> learnt_;
  std::vector<Lit> minimize_stack_;
  std::vector<Var> last_level_vars_;
  std::vector<Lit> theory_lits_;
  std::vector<Lit> explanation_;
  bool rests_on_no_clause_ = false;  // the clause being learnt rests on an explanation that was not stored
  StampSet lbd_levels_;
  StampSet binary_marks_;

  Stats stats_;
};

}  // namespace vesk::dpll
