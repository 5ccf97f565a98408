#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/dpll/lit.h"
#include "solver/env/check_limits.h"
#include "solver/env/model_check.h"
#include "solver/env/model_store.h"
#include "solver/num/number_limits.h"
#include "solver/term/term_manager.h"
#include "solver/util/exception.h"
#include "solver/util/logger.h"
#include "solver/util/termination.h"

namespace vesk {

class Pipeline;

class EnvironmentError : public Exception {
 public:
  using Exception::Exception;
};

/// One solving context: the stack of assertions and what has become of them.
///
/// Assertions are only remembered; the next check hands them on, together as far as no backtrack point lies
/// between them. What the pipeline holds is always a prefix of the stack, so that a pop takes off only what
/// was handed on. If handing on is interrupted, the pipeline is made anew from the stack at the next check.
class Environment {
 public:
  enum class Answer { unsatisfiable = 0, satisfiable = 1, unknown = -1 };

  /// `sibling`: an environment whose terms are used; null for an environment with terms of its own.
  explicit Environment(const Configuration& config, Environment* sibling = nullptr);
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  virtual ~Environment();

  TermManager& terms() { return *terms_; }

  /// EnvironmentError if the term is not Boolean.
  virtual void assert_formula(Term formula);
  /// Says that something which was to be asserted on the open level (or, for `level` 0, on any) was not:
  /// until that level is popped no check answers `satisfiable`, but `unknown` with `reason`. Never throws,
  /// since this may be for want of memory.
  void note_lost_assertion(int level, const char* reason) noexcept;
  virtual void push_backtrack_point();
  /// EnvironmentError if no point is open.
  virtual void pop_backtrack_point();
  int num_backtrack_points() const { return num_points_; }
  virtual std::vector<Term> asserted_formulas() const;

  /// The assumptions are any formulas. Boolean constants and their negations are decided by the search, which
  /// keeps all that it learns; others are asserted on a level of their own, which is gone afterwards.
  /// EnvironmentError for what this solver cannot do; the search is in order after it.
  virtual Answer check(const std::vector<Term>& assumptions);
  /// Why the last answer was unknown; empty for any other answer.
  const std::string& unknown_reason() const { return unknown_reason_; }
  /// The assumptions that the last, unsatisfiable, answer rests on. Where formulas were assumed the first
  /// call searches again to find out; when that comes to no end, it is all of them.
  const std::vector<Term>& unsat_assumptions();
  /// With unsat_core_generation: asserted formulas that, with unsat_assumptions(), contradict each other,
  /// oldest first; empty when the last answer was another. EnvironmentError without the option.
  virtual std::vector<Term> unsat_core() const;

  /// EnvironmentError if there is no model. It is made when it is first asked for.
  Term get_model_value(Term term);
  std::shared_ptr<ModelStore> model();

  /// `polarity` 1, 0, or -1 for none. EnvironmentError if the term is no Boolean constant.
  void add_preferred_for_branching(Term constant, int polarity);
  void clear_preferred_for_branching();

  void set_termination_test(TerminationTest* test) { limits_.set_test(test); }
  // Limits of each check; 0 for none. An answer is `unknown` when one is reached.
  void set_time_limit(double seconds) { limits_.set_seconds(seconds); }
  void set_conflict_limit(std::uint64_t conflicts) { conflict_limit_ = conflicts; }
  /// Of the process, see memory_in_use(). Holds for numbers outside of checks, too.
  void set_memory_limit(std::size_t bytes);
  const NumberLimits& number_limits() const { return number_limits_; }
  /// With dpll.store_tlemmas: the clauses that the theories gave the search since the environment was made,
  /// as far as their levels are open.
  std::vector<Term> theory_lemmas();

  /// Called with the values of the terms in one model; true ends the enumeration.
  using ModelVisitor = std::function<bool(const std::vector<Term>&)>;
  /// Visits models until none is left, or the visitor ends it; each differs from all before in the value of
  /// at least one of `terms`, which are Boolean or numbers. Their number; -1 when an answer was unknown, see
  /// unknown_reason(). EnvironmentError for a term of another type.
  int enumerate_models(const std::vector<Term>& terms, const ModelVisitor& visit);

  Term simplify(Term term);
  using Counter = std::pair<const char*, std::uint64_t>;
  /// Of the search and its theories, since the pipeline was made, and of this environment.
  std::vector<Counter> counters() const;
  /// The same, one `name value` a line.
  std::string statistics() const;

  /// Drops assertions, points, preferred variables and model.
  virtual void reset();
  /// Frees the terms that are neither in `keep` nor needed here; EnvironmentError if siblings share them.
  void gc(std::vector<Term> keep);

 protected:
  // For environments that search on where this one has its answer. They may put formulas of their own on the
  // stack, and levels, which they take off again before they return.

  /// Answers a check once what is no literal among the assumptions stands on the stack.
  virtual Answer check_literals(const std::vector<Term>& literals) { return check_stack(literals); }
  /// Searches for a model of the stack under the literals: Boolean constants, bounds on constants of the
  /// solver's own, and negations of these. The limits of a check are those that were started last.
  Answer check_stack(const std::vector<Term>& literals);
  /// Runs work on the search, which is in order, and deals with what ends it early: the answer is `unknown`
  /// then. Other exceptions pass, and the pipeline is to be made anew.
  Answer run_guarded(const std::function<Answer()>& work);
  /// The search will begin next; run_guarded() looks after it.
  virtual void before_search() {}
  /// A model was found, and its assignment is still there. Likewise.
  virtual void note_satisfiable() {}
  /// All that the answers of checks rest on, beside assumptions.
  virtual std::vector<Term> formulas_in_force() const { return asserted_formulas(); }
  /// What a collection of garbage, which comes next, has to keep beside what stands on the stack.
  virtual void append_roots(std::vector<Term>& roots) { static_cast<void>(roots); }

  const Configuration& config() const { return config_; }
  Pipeline& pipeline();
  bool has_pipeline() const { return pipeline_ != nullptr; }
  const std::vector<Term>& stack() const { return stack_; }
  /// As assert_formula(), without a look at the type, and not for the caller's eyes only.
  void put_on_stack(Term formula) { stack_.push_back(formula); }
  bool enumerates_models() const { return enumerates_; }
  bool generates_cores() const { return config_.unsat_core_generation != 0; }
  void make_model();
  const std::shared_ptr<ModelStore>& made_model() const { return model_; }
  void set_model(std::shared_ptr<ModelStore> model) {
    model_ = std::move(model);
    model_waits_ = false;
  }
  /// The search gives up the assignment of the last model.
  void release_assignment();
  /// Forgets which assumptions were refuted, but for those that are among `literals`.
  void keep_unsat_assumptions(const std::vector<Term>& literals);

 private:
  struct Preferred {
    Term constant;
    int polarity;
    int depth;
  };

  void start_limits();
  void require_supported_options() const;
  void process_stack();
  void process(std::vector<Term>& batch);
  void drop_model() {
    model_.reset();
    model_waits_ = false;
  }
  void abandon_pipeline();
  bool prepare_assumptions(const std::vector<Term>& literals);
  Answer check_behind_level(const std::vector<Term>& assumptions);
  static bool is_assumable(Term term);
  Term label_of(Term formula);
  void assume_labels();
  bool assume(Term literal, Term meaning);
  void note_conflict();
  void minimize_core();
  bool is_refuted(const std::vector<Term>& formulas, const std::vector<Term>& assumptions);
  void find_unsat_assumptions();
  void settle_unsat_assumptions();
  Answer give_up(const std::string& reason);
  Answer search(const std::vector<Term>& assumptions);
  int visit_models(const std::vector<Term>& terms, const ModelVisitor& visit);
  bool checks_models() const;
  void check_model(const std::vector<Term>& assumptions);
  bool is_surely_a_model(const std::vector<Term>& assumptions);

  Configuration config_;
  Logger log_;
  std::shared_ptr<TermManager> terms_;
  CheckLimits limits_;
  std::uint64_t conflict_limit_ = 0;
  std::uint64_t conflicts_left_ = 0;  // of that limit, for the running check
  NumberLimits number_limits_;
  std::unique_ptr<Pipeline> pipeline_;

  std::vector<Term> stack_;    // null: a backtrack point
  std::size_t processed_ = 0;  // what the pipeline has got of the stack
  int num_points_ = 0;
  int points_processed_ = 0;
  int unsat_level_ = -1;  // number of points that unsatisfiability rests on
  // why one number is enough: What was lost on a deeper level is popped before this one.
  int lost_level_ = -1;  // the lowest one on which an assertion was lost
  std::string lost_reason_;
  std::vector<Preferred> preferred_;
  bool preferred_changed_ = false;
  bool enumerates_ = false;  // models are needed whatever the options say

  std::vector<dpll::Lit> assumption_lits_;
  std::vector<Term> assumption_terms_;
  std::shared_ptr<ModelStore> model_;
  bool model_waits_ = false;         // to be made, from the assignment of the last check
  bool search_is_assigned_ = false;  // the search keeps that assignment
  ModelCheck model_check_;
  int num_checked_models_ = 0;
  std::vector<Term> unsat_assumptions_;
  std::vector<Term> unrefined_assumptions_;  // those refuted, formulas among them, while nobody asked which
  std::vector<Term> unsat_core_;
  std::size_t num_core_lits_ = 0;   // of assumption_lits_: the labels of assertions come first
  std::size_t num_assertions_ = 0;  // entries of stack_ below the level of assumed formulas
  std::string unknown_reason_;

  std::uint64_t num_checks_ = 0;
  std::chrono::steady_clock::duration check_time_{}, handover_time_{};
};

}  // namespace vesk
