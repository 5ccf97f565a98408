#include <algorithm>
#include <cassert>
#include <optional>

#include "solver/env/environment.h"
#include "solver/env/pipeline.h"
#include "solver/theory/theory_solver.h"
#include "solver/util/stamp_set.h"

// Formulas as assumptions, and what an unsatisfiable answer rests on. Both need labels: constants that the
// search assumes and that imply the formula. A label hides its formula from the preprocessor, so assumed
// formulas get none until somebody asks which of them were refuted, and assertions only with the option
// unsat_core_generation.

namespace vesk {

Term Environment::label_of(Term formula) {
  const Symbol* symbol =
      terms_->make_internal_symbol("label_" + std::to_string(formula->id()), terms_->types().boolean());
  return terms_->make_constant(symbol);
}

// One for each formula on the stack, oldest first; those of the caller before those that are assumed.
void Environment::assume_labels() {
  StampSet seen;
  num_core_lits_ = 0;
  for (std::size_t i = 0; i < stack_.size(); ++i) {
    if (stack_[i] == nullptr || !seen.insert(stack_[i]->id())) continue;
    // why it cannot be false by itself: process() protects it, and it occurs in clauses only negated.
    [[maybe_unused]] const bool is_open = assume(label_of(stack_[i]), stack_[i]);
    assert(is_open);
    if (i < num_assertions_) num_core_lits_ = assumption_lits_.size();
  }
}

// The assumptions stand on a backtrack point of their own as far as they are not literals.
Environment::Answer Environment::check_behind_level(const std::vector<Term>& assumptions) {
  std::vector<Term> literals;
  num_assertions_ = stack_.size();
  push_backtrack_point();
  const auto leave = [this] {
    std::shared_ptr<ModelStore> model = std::move(model_);
    pop_backtrack_point();
    model_ = std::move(model);
  };
  Answer answer = Answer::unknown;
  bool refutes_assumptions = false;
  try {
    for (Term term : assumptions)
      if (is_assumable(term))
        literals.push_back(term);
      else
        stack_.push_back(term);
    answer = check_literals(literals);
    if (model_waits_) make_model();  // while the level is there that it is of
    refutes_assumptions = unsat_level_ < 0 || unsat_level_ >= num_points_;
  } catch (...) {
    leave();
    throw;
  }
  leave();
  if (answer == Answer::unsatisfiable && !generates_cores() && refutes_assumptions) {
    // why not now: it takes a search without the preprocessing that the formulas have just had.
    unsat_assumptions_.clear();
    unrefined_assumptions_ = assumptions;
  }
  return answer;
}

void Environment::keep_unsat_assumptions(const std::vector<Term>& literals) {
  std::erase_if(unsat_assumptions_, [&](Term term) {
    return std::find(literals.begin(), literals.end(), term) == literals.end();
  });
}

const std::vector<Term>& Environment::unsat_assumptions() {
  if (!unrefined_assumptions_.empty()) find_unsat_assumptions();
  return unsat_assumptions_;
}

void Environment::settle_unsat_assumptions() {
  if (unrefined_assumptions_.empty()) return;
  unsat_assumptions_ = std::move(unrefined_assumptions_);
  unrefined_assumptions_.clear();
}

void Environment::find_unsat_assumptions() {
  settle_unsat_assumptions();
  const std::vector<Term> all = unsat_assumptions_;
  if (all.size() <= 1) return;
  std::vector<Term> literals;
  Answer answer = Answer::unknown;
  push_backtrack_point();
  try {
    for (Term term : all) {
      const Term literal = is_assumable(term) ? term : label_of(term);
      if (literal != term) stack_.push_back(terms_->make_or(terms_->make_not(literal), term));
      literals.push_back(literal);
    }
    start_limits();
    answer = check_literals(literals);
  } catch (const Exception&) {
    // why nothing is said: with the labels the formulas may have a form that the search does not take.
    answer = Answer::unknown;
  } catch (...) {
    pop_backtrack_point();
    unsat_assumptions_ = all;
    throw;
  }
  pop_backtrack_point();
  assert(answer != Answer::satisfiable);
  unknown_reason_.clear();  // the answer that was given stands, whatever this search came to
  if (answer != Answer::unsatisfiable) {
    unsat_assumptions_ = all;
    return;
  }
  const std::vector<Term> refuted = std::move(unsat_assumptions_);
  unsat_assumptions_.clear();
  for (std::size_t i = 0; i < all.size(); ++i)
    if (std::find(refuted.begin(), refuted.end(), literals[i]) != refuted.end())
      unsat_assumptions_.push_back(all[i]);
  assert(is_refuted(formulas_in_force(), unsat_assumptions_));
}

std::vector<Term> Environment::unsat_core() const {
  if (!generates_cores())
    throw EnvironmentError("unsat core generation not enabled (option unsat_core_generation)");
  return unsat_core_;
}

// Reads the assumptions that the search refuted back as assertions and assumptions of the caller.
void Environment::note_conflict() {
  StampSet refuted, met;
  for (dpll::Lit lit : pipeline().search().conflict_assumptions()) refuted.insert(lit.index());
  unsat_assumptions_.clear();
  unsat_core_.clear();
  for (std::size_t i = 0; i < assumption_lits_.size(); ++i) {
    const std::size_t lit = assumption_lits_[i].index();
    // Two constants may have become one literal; one of them is enough.
    if (!refuted.contains(lit) || !met.insert(lit)) continue;
    (i < num_core_lits_ && generates_cores() ? unsat_core_ : unsat_assumptions_)
        .push_back(assumption_terms_[i]);
  }
}

// Whether a solver of their own finds the formulas and assumptions to contradict each other, or finds
// nothing.
bool Environment::is_refuted(const std::vector<Term>& formulas, const std::vector<Term>& assumptions) {
  Configuration config = config_;
  config.unsat_core_generation = 0;
  Environment fresh(config, this);
  fresh.limits_.set_test(&limits_);
  for (const Term formula : formulas) fresh.assert_formula(formula);
  for (const Term assumption : assumptions) fresh.assert_formula(assumption);
  try {
    return fresh.check({}) != Answer::satisfiable;
  } catch (const Exception&) {
    return true;
  }
}

// Tries to do without each assertion of the core in turn, from the youngest on. What was refuted shrinks the
// core to what that search needed; an assertion that cannot be missed is needed by every smaller core, too.
// Ends early, with a core that may be larger than necessary, when a limit of the check is reached.
void Environment::minimize_core() {
  assert(generates_cores());
  std::vector<Term> candidates = unsat_core_;
  StampSet tried;  // ids of assertions: the core without the one in question
  dpll::DpllSolver& search = pipeline().search();
  try {
    while (!candidates.empty()) {
      const Term left_out = candidates.back();
      candidates.pop_back();
      tried.clear();
      for (Term term : unsat_core_)
        if (term != left_out) tried.insert(term->id());
      std::vector<dpll::Lit> lits;
      for (std::size_t i = 0; i < assumption_lits_.size(); ++i)
        if (i >= num_core_lits_ || tried.contains(assumption_terms_[i]->id()))
          lits.push_back(assumption_lits_[i]);
      const std::optional<dpll::Result> result = search.solve_limited(lits, {conflict_limit_, 0, 0});
      if (result != dpll::Result::unsatisfiable) continue;
      note_conflict();
      tried.clear();
      for (Term term : unsat_core_) tried.insert(term->id());
      std::erase_if(candidates, [&](Term term) { return !tried.contains(term->id()); });
    }
  } catch (const TerminationTest::Terminated&) {
    search.recover();
  } catch (const TheoryIncomplete&) {
    search.recover();
  } catch (const LimitReached&) {
    abandon_pipeline();
  }
}

}  // namespace vesk
