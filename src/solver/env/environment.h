#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/dpll/lit.h"
#include "solver/env/model_store.h"
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
  ~Environment();

  TermManager& terms() { return *terms_; }

  /// EnvironmentError if the term is not Boolean.
  void assert_formula(Term formula);
  /// Says that something which was to be asserted on the open level (or, for `level` 0, on any) was not:
  /// until that level is popped no check answers `satisfiable`, but `unknown` with `reason`. Never throws,
  /// since this may be for want of memory.
  void note_lost_assertion(int level, const char* reason) noexcept;
  void push_backtrack_point();
  /// EnvironmentError if no point is open.
  void pop_backtrack_point();
  int num_backtrack_points() const { return num_points_; }
  std::vector<Term> asserted_formulas() const;

  /// EnvironmentError for what this solver cannot do; the search is in order after it.
  Answer check(const std::vector<Term>& assumptions);
  /// Why the last answer was unknown; empty for any other answer.
  const std::string& unknown_reason() const { return unknown_reason_; }
  /// The assumptions that the last, unsatisfiable, answer rests on.
  const std::vector<Term>& unsat_assumptions() const { return unsat_assumptions_; }

  /// EnvironmentError if there is no model.
  Term get_model_value(Term term);
  std::shared_ptr<ModelStore> model();

  /// `polarity` 1, 0, or -1 for none. EnvironmentError if the term is no Boolean constant.
  void add_preferred_for_branching(Term constant, int polarity);
  void clear_preferred_for_branching();

  void set_termination_test(TerminationTest* test) { termination_.test = test; }
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
  std::string statistics() const;

  /// Drops assertions, points, preferred variables and model.
  void reset();
  /// Frees the terms that are neither in `keep` nor needed here; EnvironmentError if siblings share them.
  void gc(std::vector<Term> keep);

 private:
  // The pipeline keeps this one; the test behind it may change.
  struct TerminationLink : TerminationTest {
    TerminationTest* test = nullptr;
    bool operator()() override { return test != nullptr && (*test)(); }
  };
  struct Preferred {
    Term constant;
    int polarity;
    int depth;
  };

  void require_supported_options() const;
  void process_stack();
  void process(std::vector<Term>& batch);
  void drop_model() { model_.reset(); }
  Pipeline& pipeline();
  void abandon_pipeline();
  bool prepare_assumptions(const std::vector<Term>& assumptions);
  Answer check_what_was_asserted(const std::vector<Term>& assumptions);
  Answer search(const std::vector<Term>& assumptions);
  int visit_models(const std::vector<Term>& terms, const ModelVisitor& visit);
  void validate_model(const std::vector<Term>& assumptions);

  Configuration config_;
  Logger log_;
  std::shared_ptr<TermManager> terms_;
  TerminationLink termination_;
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
  std::vector<Term> unsat_assumptions_;
  std::string unknown_reason_;
};

}  // namespace vesk
