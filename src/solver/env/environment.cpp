#include "solver/env/environment.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <new>
#include <optional>

#include "solver/env/pipeline.h"
#include "solver/theory/theory_solver.h"
#include "solver/util/polling.h"

namespace vesk {

namespace {

/// While it lives, numbers poll the limits of the check.
class StoppingNumbers {
 public:
  StoppingNumbers(NumberLimits& numbers, TerminationTest& test) : numbers_(numbers) { numbers_.stop = &test; }
  StoppingNumbers(const StoppingNumbers&) = delete;
  StoppingNumbers& operator=(const StoppingNumbers&) = delete;
  ~StoppingNumbers() { numbers_.stop = nullptr; }

 private:
  NumberLimits& numbers_;
};

}  // namespace

Environment::Environment(const Configuration& config, Environment* sibling)
    : config_(config),
      log_(config.verbosity),
      terms_(sibling != nullptr ? sibling->terms_
                                : std::make_shared<TermManager>(config.debug.term_simplifications)),
      model_check_(*terms_) {
  number_limits_.max_bits = static_cast<std::size_t>(config.theory.max_number_bits);
}

Environment::~Environment() = default;

Pipeline& Environment::pipeline() {
  if (pipeline_ == nullptr) pipeline_ = std::make_unique<Pipeline>(config_, *terms_, log_, &limits_);
  return *pipeline_;
}

void Environment::set_memory_limit(std::size_t bytes) {
  limits_.set_memory(bytes);
  number_limits_.memory = bytes;
}

void Environment::abandon_pipeline() {
  pipeline_.reset();
  model_check_.clear();
  model_waits_ = search_is_assigned_ = false;
  processed_ = 0;
  points_processed_ = 0;
  unsat_level_ = -1;
  preferred_changed_ = true;
}

// Assertions.

// The search keeps the assignment of a satisfiable answer, which a model is made from, until it is to do
// something else.
void Environment::release_assignment() {
  if (search_is_assigned_) pipeline_->search().release_model();
  search_is_assigned_ = false;
}

void Environment::assert_formula(Term formula) {
  if (!formula->type()->is_bool())
    throw EnvironmentError("type error. term " + formula->to_short_str() + " has type " +
                           formula->type()->name() + ", but Bool was expected. (asserted formula)");
  stack_.push_back(formula);
  drop_model();
  settle_unsat_assumptions();
}

void Environment::note_lost_assertion(int level, const char* reason) noexcept {
  assert(level >= 0 && level <= num_points_);
  if (lost_level_ >= 0 && lost_level_ <= level) return;
  lost_level_ = level;
  drop_model();
  try {
    lost_reason_ = reason;
  } catch (const std::bad_alloc&) {
    lost_reason_.clear();
  }
}

void Environment::push_backtrack_point() {
  stack_.push_back(nullptr);
  ++num_points_;
}

void Environment::pop_backtrack_point() {
  if (num_points_ == 0) throw EnvironmentError("There is no backtrack point to pop");
  drop_model();
  settle_unsat_assumptions();
  while (stack_.back() != nullptr) stack_.pop_back();
  stack_.pop_back();
  --num_points_;
  if (unsat_level_ > num_points_) unsat_level_ = -1;
  if (lost_level_ > num_points_) lost_level_ = -1;
  while (!preferred_.empty() && preferred_.back().depth > num_points_) preferred_.pop_back();
  preferred_changed_ = true;
  if (processed_ <= stack_.size()) return;
  processed_ = stack_.size();
  --points_processed_;
  try {
    release_assignment();
    pipeline_->pop_backtrack_point();
    model_check_.shrink_to(stack_.size(), pipeline_->rewrite_steps().size());
  } catch (const std::bad_alloc&) {
    abandon_pipeline();  // half popped; the stack is, so the caller has got what was asked for
  }
}

std::vector<Term> Environment::asserted_formulas() const {
  std::vector<Term> formulas;
  for (Term term : stack_)
    if (term != nullptr) formulas.push_back(term);
  return formulas;
}

void Environment::process_stack() {
  if (preferred_changed_)
    for (const Preferred& preferred : preferred_) pipeline().protect(preferred.constant);
  std::vector<Term> batch;
  for (std::size_t i = processed_; i < stack_.size(); ++i) {
    if (stack_[i] != nullptr) {
      batch.push_back(stack_[i]);
      continue;
    }
    process(batch);
    pipeline().push_backtrack_point();
    ++points_processed_;
    processed_ = i + 1;
  }
  process(batch);
  processed_ = stack_.size();
  if (!preferred_changed_) return;
  std::vector<std::pair<Term, int>> list;
  for (const Preferred& preferred : preferred_) list.emplace_back(preferred.constant, preferred.polarity);
  if (!list.empty() || pipeline_ != nullptr) pipeline().set_preferred(list);
  preferred_changed_ = false;
}

void Environment::process(std::vector<Term>& batch) {
  if (batch.empty()) return;
  // Once some level is refuted, what comes on top of it cannot matter, and goes before the cause does.
  const bool refuted = unsat_level_ >= 0 || pipeline().search().unsat_level() >= 0;
  if (generates_cores())
    for (Term& formula : batch) {
      const Term label = label_of(formula);
      pipeline().protect(label);
      formula = terms_->make_or(terms_->make_not(label), formula);
    }
  if (!refuted && !pipeline().add_formulas(std::move(batch))) unsat_level_ = points_processed_;
  batch.clear();
}

// Checking.

void Environment::require_supported_options() const {
  const char* option = config_.proof_generation ? "proof_generation"
                       : config_.interpolation  ? "interpolation"
                                                : nullptr;
  if (option != nullptr) throw EnvironmentError(std::string("the option ") + option + " is not supported");
}

// What the search can assume as it is.
bool Environment::is_assumable(Term term) {
  const Term atom = term->tag() == Tag::not_op ? term->child(0) : term;
  return atom->is_constant() || atom->is_true() || atom->is_false();
}

Environment::Answer Environment::check(const std::vector<Term>& assumptions) {
  for (Term term : assumptions)
    if (!term->type()->is_bool())
      throw EnvironmentError("type error. term " + term->to_short_str() + " has type " +
                             term->type()->name() + ", but Bool was expected. (assumption)");
  unrefined_assumptions_.clear();
  num_assertions_ = stack_.size();
  start_limits();
  const bool literals_only = std::all_of(assumptions.begin(), assumptions.end(), is_assumable);
  const auto start = std::chrono::steady_clock::now();
  const Answer answer = literals_only ? check_literals(assumptions) : check_behind_level(assumptions);
  check_time_ += std::chrono::steady_clock::now() - start;
  ++num_checks_;
  // What contradicts itself still does with more; what does not might.
  if (answer != Answer::satisfiable || lost_level_ < 0) return answer;
  drop_model();
  unknown_reason_ = lost_reason_.empty() ? "out of memory" : lost_reason_;
  return Answer::unknown;
}

void Environment::start_limits() {
  limits_.start();
  conflicts_left_ = conflict_limit_;
}

Environment::Answer Environment::check_stack(const std::vector<Term>& literals) {
  drop_model();
  unsat_assumptions_.clear();
  unsat_core_.clear();
  unknown_reason_.clear();
  require_supported_options();
  release_assignment();
  const StoppingNumbers stopping(number_limits_, limits_);
  if (!config_.debug.solver_enabled) {
    unknown_reason_ = "the solver is switched off by debug.solver_enabled";
    return Answer::unknown;
  }
  try {
    const PollingScope polling(&limits_);
    for (Term term : literals) {
      const Term atom = term->tag() == Tag::not_op ? term->child(0) : term;
      if (atom->is_constant()) pipeline().protect(atom);
    }
    const auto start = std::chrono::steady_clock::now();
    process_stack();
    handover_time_ += std::chrono::steady_clock::now() - start;
    if (unsat_level_ >= 0 || !prepare_assumptions(literals)) return Answer::unsatisfiable;
    pipeline();
  } catch (const TerminationTest::Terminated&) {
    abandon_pipeline();
    return give_up(limits_.reason());
  } catch (const StoppedAmidNumbers&) {
    abandon_pipeline();
    return give_up(limits_.reason());
  } catch (const LimitReached& limit) {
    abandon_pipeline();
    return give_up(limit.get_msg());
  } catch (...) {
    abandon_pipeline();
    throw;
  }
  return run_guarded([&] {
    before_search();
    return search(literals);
  });
}

Environment::Answer Environment::run_guarded(const std::function<Answer()>& work) {
  try {
    return work();
  } catch (const TerminationTest::Terminated&) {
    if (limits_.is_out_of_memory())
      abandon_pipeline();
    else
      pipeline().search().recover();
    return give_up(limits_.reason());
  } catch (const TheoryIncomplete& incomplete) {
    pipeline().search().recover();
    return give_up(incomplete.get_msg());
  } catch (const StoppedAmidNumbers&) {
    abandon_pipeline();
    return give_up(limits_.reason());
  } catch (const LimitReached& limit) {
    // In the middle of a row, or of a model: nothing there can be relied on.
    abandon_pipeline();
    return give_up(limit.get_msg());
  } catch (...) {
    abandon_pipeline();
    throw;
  }
}

Environment::Answer Environment::give_up(const std::string& reason) {
  drop_model();
  unknown_reason_ = reason;
  return Answer::unknown;
}

// Turns the assumptions into literals. False: one of them is false by itself.
bool Environment::prepare_assumptions(const std::vector<Term>& literals) {
  assumption_lits_.clear();
  assumption_terms_.clear();
  if (generates_cores()) assume_labels();
  for (Term term : literals) {
    if (assume(term, term)) continue;
    unsat_assumptions_.assign(1, term);
    return false;
  }
  return true;
}

// Makes a literal an assumption of the search that stands for `meaning`. False: it is false by itself.
bool Environment::assume(Term literal, Term meaning) {
  const bool negated = literal->tag() == Tag::not_op;
  const Term atom = negated ? literal->child(0) : literal;
  Pipeline::Assumption assumption{true, atom->is_true() != negated, {}};
  if (!atom->is_true() && !atom->is_false()) assumption = pipeline().assume(literal);
  if (assumption.constant) return assumption.value;
  assumption_lits_.push_back(assumption.lit);
  assumption_terms_.push_back(meaning);
  return true;
}

Environment::Answer Environment::search(const std::vector<Term>& assumptions) {
  dpll::DpllSolver& search = pipeline().search();
  std::optional<dpll::Result> result;
  if (conflict_limit_ == 0 || conflicts_left_ > 0) {
    const std::uint64_t before = search.stats().conflicts;
    result = search.solve_limited(assumption_lits_, {conflicts_left_, 0, 0}, true);
    conflicts_left_ -= std::min(conflicts_left_, search.stats().conflicts - before);
  }
  if (!result) return give_up("the limit of conflicts is reached");
  if (*result == dpll::Result::unsatisfiable) {
    if (search.unsat_level() >= 0) unsat_level_ = search.unsat_level();
    note_conflict();
    if (generates_cores() && config_.unsat_core_minimization) minimize_core();
    assert(!generates_cores() || is_refuted(unsat_core_, unsat_assumptions_));
    return Answer::unsatisfiable;
  }
  model_waits_ = search_is_assigned_ = true;
  if (checks_models()) check_model(assumptions);
  note_satisfiable();
  return Answer::satisfiable;
}

bool Environment::checks_models() const {
#ifdef NDEBUG
  return config_.debug.check_models;
#else
  return true;
#endif
}

// Evaluates the model over the formulas as they were asserted, and not over what became of them. Builds with
// assertions evaluate all of it, whatever is known of the one before.
void Environment::check_model(const std::vector<Term>& assumptions) {
  [[maybe_unused]] const bool is_sure = is_surely_a_model(assumptions);
#ifdef NDEBUG
  if (is_sure) return;
#endif
  make_model();
  model_->require_true(stack_);
  model_->require_true(assumptions);
}

// Whether what changed since the last model leaves all true. It does not pay before there were some.
bool Environment::is_surely_a_model(const std::vector<Term>& assumptions) {
  constexpr int first = 3;
  if (++num_checked_models_ < first) return false;
  num_checked_models_ = first;
  std::vector<Term> changed;
  if (!pipeline().collect_model_changes(model_check_.is_empty(), changed)) return false;
  return model_check_.holds(stack_, assumptions, pipeline().rewrite_steps(), changed,
                            [this](Term leaf) { return pipeline().leaf_value(leaf); });
}

void Environment::make_model() {
  if (!model_waits_) return;
  assert(search_is_assigned_);
  model_ = pipeline().make_model();
  model_waits_ = false;
}

std::shared_ptr<ModelStore> Environment::model() {
  if (!config_.model_generation && !config_.bool_model_generation && !enumerates_)
    throw EnvironmentError("model generation not enabled");
  if (model_waits_) make_model();
  if (model_ != nullptr) return model_;
  throw EnvironmentError("there is no model: the last check did not find one, or it was dropped");
}

Term Environment::get_model_value(Term term) { return model()->get_value(term); }

// The rest.

void Environment::add_preferred_for_branching(Term constant, int polarity) {
  if (!constant->is_constant() || !constant->type()->is_bool())
    throw EnvironmentError("The term " + constant->to_short_str() + " is no Boolean constant");
  preferred_.push_back({constant, polarity, num_points_});
  preferred_changed_ = true;
}

void Environment::clear_preferred_for_branching() {
  preferred_.clear();
  preferred_changed_ = true;
}

std::vector<Term> Environment::theory_lemmas() {
  std::vector<Term> lemmas;
  if (pipeline_ == nullptr) return lemmas;
  const dpll::DpllSolver& search = pipeline_->search();
  for (const std::vector<dpll::Lit>& clause : search.theory_lemmas()) {
    Term lemma = terms_->make_false();
    for (dpll::Lit lit : clause) {
      const Term atom = search.term_of(lit.var());
      const Term literal = lit.negated() ? terms_->make_not(atom) : atom;
      lemma = terms_->make_or(lemma, literal);
    }
    lemmas.push_back(lemma);
  }
  return lemmas;
}

int Environment::enumerate_models(const std::vector<Term>& terms, const ModelVisitor& visit) {
  for (Term term : terms)
    if (!term->type()->is_bool() && !term->type()->is_number())
      throw EnvironmentError("The term " + term->to_short_str() + " is neither Boolean nor a number");
  push_backtrack_point();
  enumerates_ = true;
  const auto leave = [this] {
    enumerates_ = false;
    pop_backtrack_point();
  };
  try {
    const int count = visit_models(terms, visit);
    leave();
    return count;
  } catch (...) {
    leave();
    throw;
  }
}

int Environment::visit_models(const std::vector<Term>& terms, const ModelVisitor& visit) {
  std::vector<Term> values;
  for (int count = 0;; ++count) {
    const Answer answer = check({});
    if (answer != Answer::satisfiable) return answer == Answer::unsatisfiable ? count : -1;
    values.clear();
    Term another = terms_->make_false();
    for (Term term : terms) {
      const Term value = get_model_value(term);
      const Term same =
          term->type()->is_bool() ? terms_->make_iff(term, value) : terms_->make_equal(term, value);
      const Term differs = terms_->make_not(same);
      another = terms_->make_or(another, differs);
      values.push_back(value);
    }
    if (visit(values)) return count + 1;
    assert_formula(another);
  }
}

Term Environment::simplify(Term term) {
  if (pipeline_ == nullptr || processed_ == 0) {
    Pipeline fresh(config_, *terms_, log_, &limits_);
    return fresh.simplify(term);
  }
  return pipeline_->simplify(term);
}

std::vector<Environment::Counter> Environment::counters() const {
  const auto milliseconds = [](std::chrono::steady_clock::duration time) {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
  };
  std::vector<Counter> result{{"checks", num_checks_},
                              {"check_milliseconds", milliseconds(check_time_)},
                              {"preprocessing_milliseconds", milliseconds(handover_time_)},
                              {"terms", terms_->num_terms()}};
  if (pipeline_ == nullptr) return result;
  const dpll::DpllSolver& search = pipeline_->search();
  const dpll::DpllSolver::Stats& s = search.stats();
  const TheoryManager::Statistics& t = pipeline_->theories().statistics();
  const Counter counters[] = {
      {"variables", static_cast<std::uint64_t>(search.num_vars())},
      {"clauses", search.num_clauses()},
      {"learnt", search.num_learnts()},
      {"solve_calls", s.solve_calls},
      {"decisions", s.decisions},
      {"random_decisions", s.random_decisions},
      {"propagations", s.propagations},
      {"conflicts", s.conflicts},
      {"restarts", s.restarts},
      {"reductions", s.reductions},
      {"learnt_clauses", s.learnt_clauses},
      {"learnt_literals", s.learnt_literals},
      {"removed_clauses", s.removed_clauses},
      {"theory_conflicts", s.theory_conflicts},
      {"theory_implications", s.theory_implications},
      {"theory_reasons", s.theory_reasons},
      {"theory_lemmas", s.theory_lemmas},
      {"interface_equalities", t.interface_equalities},
      {"theory_equalities", pipeline_->arithmetic().statistics().equalities_taken},
      {"ghosts", s.ghosts},
      {"filtered_literals", t.filtered_literals},
      {"final_checks", s.final_checks},
      {"integer_branches", pipeline_->arithmetic().statistics().branches},
      {"pivots", pipeline_->arithmetic().solver().statistics().pivots},
  };
  result.insert(result.end(), std::begin(counters), std::end(counters));
  return result;
}

std::string Environment::statistics() const {
  std::string text;
  for (const auto& [name, value] : counters()) text += std::string(name) + ' ' + std::to_string(value) + '\n';
  return text;
}

void Environment::reset() {
  stack_.clear();
  num_points_ = 0;
  lost_level_ = -1;
  preferred_.clear();
  drop_model();
  unsat_assumptions_.clear();
  unrefined_assumptions_.clear();
  unsat_core_.clear();
  abandon_pipeline();
}

void Environment::gc(std::vector<Term> keep) {
  if (terms_.use_count() > 1) throw EnvironmentError("The terms are shared with another environment");
  if (model_waits_) make_model();
  // The pipeline refers to more terms than are worth telling apart; the next check makes it anew.
  abandon_pipeline();
  unsat_assumptions_.clear();
  unrefined_assumptions_.clear();
  unsat_core_.clear();
  for (Term term : stack_)
    if (term != nullptr) keep.push_back(term);
  append_roots(keep);
  for (const Preferred& preferred : preferred_) keep.push_back(preferred.constant);
  if (model_ != nullptr) model_->append_roots(keep);
  terms_->gc(keep);
}

}  // namespace vesk
