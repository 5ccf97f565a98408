#include "solver/env/environment.h"

#include <algorithm>
#include <cassert>
#include <new>

#include "solver/env/pipeline.h"
#include "solver/theory/theory_solver.h"

namespace vesk {

Environment::Environment(const Configuration& config, Environment* sibling)
    : config_(config),
      log_(config.verbosity),
      terms_(sibling != nullptr ? sibling->terms_
                                : std::make_shared<TermManager>(config.debug.term_simplifications)) {}

Environment::~Environment() = default;

Pipeline& Environment::pipeline() {
  if (pipeline_ == nullptr) pipeline_ = std::make_unique<Pipeline>(config_, *terms_, log_, &termination_);
  return *pipeline_;
}

void Environment::abandon_pipeline() {
  pipeline_.reset();
  processed_ = 0;
  points_processed_ = 0;
  unsat_level_ = -1;
  preferred_changed_ = true;
}

// Assertions.

void Environment::assert_formula(Term formula) {
  if (!formula->type()->is_bool())
    throw EnvironmentError("type error. term " + formula->to_short_str() + " has type " +
                           formula->type()->name() + ", but Bool was expected. (asserted formula)");
  stack_.push_back(formula);
  drop_model();
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
  pipeline_->pop_backtrack_point();
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
  if (!refuted && !pipeline().add_formulas(std::move(batch))) unsat_level_ = points_processed_;
  batch.clear();
}

// Checking.

void Environment::require_supported_options() const {
  const char* option = config_.proof_generation             ? "proof_generation"
                       : config_.interpolation              ? "interpolation"
                       : config_.unsat_core_generation != 0 ? "unsat_core_generation"
                                                            : nullptr;
  if (option != nullptr) throw EnvironmentError(std::string("the option ") + option + " is not supported");
}

Environment::Answer Environment::check(const std::vector<Term>& assumptions) {
  const Answer answer = check_what_was_asserted(assumptions);
  // What contradicts itself still does with more; what does not might.
  if (answer != Answer::satisfiable || lost_level_ < 0) return answer;
  drop_model();
  unknown_reason_ = lost_reason_.empty() ? "out of memory" : lost_reason_;
  return Answer::unknown;
}

Environment::Answer Environment::check_what_was_asserted(const std::vector<Term>& assumptions) {
  drop_model();
  unsat_assumptions_.clear();
  unknown_reason_.clear();
  for (Term term : assumptions) {
    const Term atom = term->tag() == Tag::not_op ? term->child(0) : term;
    if (!atom->type()->is_bool() || !(atom->is_constant() || atom->is_true() || atom->is_false()))
      throw EnvironmentError("The assumption " + term->to_short_str() +
                             " is neither a Boolean constant nor the negation of one");
  }
  require_supported_options();
  if (!config_.debug.solver_enabled) {
    unknown_reason_ = "the solver is switched off by debug.solver_enabled";
    return Answer::unknown;
  }
  try {
    for (Term term : assumptions) {
      const Term atom = term->tag() == Tag::not_op ? term->child(0) : term;
      if (atom->is_constant()) pipeline().protect(atom);
    }
    process_stack();
    if (unsat_level_ >= 0 || !prepare_assumptions(assumptions)) return Answer::unsatisfiable;
    pipeline();
  } catch (const TerminationTest::Terminated&) {
    abandon_pipeline();
    unknown_reason_ = "stopped by the termination test";
    return Answer::unknown;
  } catch (...) {
    abandon_pipeline();
    throw;
  }
  try {
    return search(assumptions);
  } catch (const TerminationTest::Terminated&) {
    pipeline().search().recover();
    unknown_reason_ = "stopped by the termination test";
  } catch (const TheoryIncomplete& incomplete) {
    pipeline().search().recover();
    unknown_reason_ = incomplete.get_msg();
  } catch (...) {
    abandon_pipeline();
    throw;
  }
  return Answer::unknown;
}

// Turns the assumptions into literals. False: one of them is false by itself.
bool Environment::prepare_assumptions(const std::vector<Term>& assumptions) {
  assumption_lits_.clear();
  assumption_terms_.clear();
  for (Term term : assumptions) {
    const bool negated = term->tag() == Tag::not_op;
    const Term atom = negated ? term->child(0) : term;
    Pipeline::Assumption assumption{true, atom->is_true() != negated, {}};
    if (atom->is_constant()) assumption = pipeline().assume(term);
    if (assumption.constant && !assumption.value) {
      unsat_assumptions_.assign(1, term);
      return false;
    }
    if (assumption.constant) continue;
    assumption_lits_.push_back(assumption.lit);
    assumption_terms_.push_back(term);
  }
  return true;
}

Environment::Answer Environment::search(const std::vector<Term>& assumptions) {
  dpll::DpllSolver& search = pipeline().search();
  if (search.solve(assumption_lits_, true) == dpll::Result::unsatisfiable) {
    if (search.unsat_level() >= 0) unsat_level_ = search.unsat_level();
    for (dpll::Lit lit : search.conflict_assumptions()) {
      const auto at = std::find(assumption_lits_.begin(), assumption_lits_.end(), lit);
      unsat_assumptions_.push_back(
          assumption_terms_[static_cast<std::size_t>(at - assumption_lits_.begin())]);
    }
    return Answer::unsatisfiable;
  }
#ifdef NDEBUG
  const bool wanted = config_.model_generation || config_.bool_model_generation || enumerates_;
#else
  const bool wanted = true;  // to be validated
#endif
  if (wanted) {
    model_ = pipeline().make_model();
    validate_model(assumptions);
    if (!config_.model_generation && !config_.bool_model_generation && !enumerates_) model_.reset();
  }
  search.release_model();
  return Answer::satisfiable;
}

// In builds with assertions every model is evaluated over the formulas as they were asserted.
void Environment::validate_model([[maybe_unused]] const std::vector<Term>& assumptions) {
#ifndef NDEBUG
  for (Term term : stack_) assert(term == nullptr || model_->get_value(term)->is_true());
  for (Term term : assumptions) assert(model_->get_value(term)->is_true());
#endif
}

std::shared_ptr<ModelStore> Environment::model() {
  if (model_ != nullptr) return model_;
  if (!config_.model_generation && !config_.bool_model_generation)
    throw EnvironmentError("model generation not enabled");
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
      const Term value = model_->get_value(term);
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
    Pipeline fresh(config_, *terms_, log_, &termination_);
    return fresh.simplify(term);
  }
  return pipeline_->simplify(term);
}

std::string Environment::statistics() const {
  std::string text;
  if (pipeline_ == nullptr) return text;
  const dpll::DpllSolver& search = pipeline_->search();
  const dpll::DpllSolver::Stats& s = search.stats();
  const TheoryManager::Statistics& t = pipeline_->theories().statistics();
  const std::pair<const char*, std::uint64_t> counters[] = {
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
      {"pivots", pipeline_->arithmetic().solver().statistics().pivots},
      {"terms", terms_->num_terms()},
  };
  for (const auto& [name, value] : counters) text += std::string(name) + ' ' + std::to_string(value) + '\n';
  return text;
}

void Environment::reset() {
  stack_.clear();
  num_points_ = 0;
  lost_level_ = -1;
  preferred_.clear();
  drop_model();
  unsat_assumptions_.clear();
  abandon_pipeline();
}

void Environment::gc(std::vector<Term> keep) {
  if (terms_.use_count() > 1) throw EnvironmentError("The terms are shared with another environment");
  // The pipeline refers to more terms than are worth telling apart; the next check makes it anew.
  abandon_pipeline();
  unsat_assumptions_.clear();
  for (Term term : asserted_formulas()) keep.push_back(term);
  for (const Preferred& preferred : preferred_) keep.push_back(preferred.constant);
  if (model_ != nullptr) model_->append_roots(keep);
  terms_->gc(keep);
}

}  // namespace vesk
