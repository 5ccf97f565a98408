#include <algorithm>
#include <cstdio>
#include <string>

#include "solver/dpll/dpll_solver.h"

namespace vesk::dpll {

// Tells the theories what is new on the trail and asks them. False: they have a conflict.
bool DpllSolver::check_theory(bool approximate) {
  // why one by one: a literal that a theory did not take stays before theory_qhead_.
  while (theory_qhead_ < trail_.size()) {
    const Lit lit = trail_[theory_qhead_];
    if (info_[index(lit.var())].theory && !theory_->assume(lit)) return false;
    ++theory_qhead_;
  }
  return theory_->check(approximate);
}

DpllSolver::Step DpllSolver::handle_theory_check(bool approximate) {
  if (theory_ == nullptr || num_theory_vars_ == 0) return Step::nothing;
  assert(decision_level() >= num_backtrack_points());
  if (!check_theory(approximate)) {
    const Step step = learn_theory_conflict();
    if (approximate) ++conflicts_since_restart_;
    return step;
  }
  const Step lemmas = add_theory_lemmas();
  if (lemmas != Step::nothing) return lemmas;
  return enqueue_theory_implications();
}

// A clause of the theories must go when a point is popped that is older than one of its variables. Such
// points are the ones whose variable is below the clause's highest; the youngest of them is the guard.
void DpllSolver::add_guard(std::vector<Lit>& lits) const {
  if (points_.empty() || lits.empty()) return;
  const Var highest = std::max_element(lits.begin(), lits.end())->var();
  const auto younger = std::lower_bound(points_.begin(), points_.end(), highest,
                                        [](const Point& point, Var var) { return point.lit.var() < var; });
  if (younger != points_.begin()) lits.push_back(~(younger - 1)->lit);
}

ClauseRef DpllSolver::store_theory_clause(std::vector<Lit>& lits) {
  sort_for_watching(lits);
  const ClauseRef ref = store(lits, Clause::learnt_flag | Clause::theory_flag);
  arena_[ref].set_lbd(compute_lbd(lits));
  bump_clause(ref);
  return ref;
}

namespace {

void drop_repetitions(std::vector<Lit>& lits) {
  std::sort(lits.begin(), lits.end());
  lits.erase(std::unique(lits.begin(), lits.end()), lits.end());
}

}  // namespace

// Every clause that comes from the theories passes here once, still without its guard.
void DpllSolver::note_theory_clause(std::span<const Lit> lits) {
  if (config_.dpll.store_tlemmas) stored_lemmas_.emplace_back(lits.begin(), lits.end());
  if (!config_.debug.dump_theory_lemmas) return;
  std::string text = "theory lemma: (or";
  for (Lit lit : lits) {
    const std::string atom = term_of(lit.var())->to_short_str();
    text += lit.negated() ? " (not " + atom + ')' : ' ' + atom;
  }
  std::fprintf(stderr, "%s)\n", text.c_str());
}

DpllSolver::Step DpllSolver::learn_theory_conflict() {
  ++stats_.theory_conflicts;
  theory_lits_.clear();
  theory_->get_conflict(theory_lits_);
  for (Lit& lit : theory_lits_) {
    assert(values_[lit.index()] == l_true);
    lit = ~lit;
  }
  note_theory_clause(theory_lits_);
  add_guard(theory_lits_);
  drop_repetitions(theory_lits_);
  const bool learnt = theory_lits_.size() < 2 ? learn_from(std::span<const Lit>(theory_lits_))
                                              : learn_from(store_theory_clause(theory_lits_));
  return learnt ? Step::go_on : Step::unsatisfiable;
}

// Fills `explanation_` with the clause that implies `lit`. False: the theories prefer to be asked later.
bool DpllSolver::explain(Lit lit, bool lazy) {
  explanation_.clear();
  if (!theory_->get_explanation(lit, lazy, explanation_)) {
    assert(!lazy);
    return false;
  }
  ++stats_.theory_reasons;
  for (Lit& reason : explanation_) {
    assert(values_[reason.index()] == l_true && !(reason == lit));
    reason = ~reason;
  }
  explanation_.push_back(lit);
  note_theory_clause(explanation_);
  add_guard(explanation_);
  drop_repetitions(explanation_);
  return true;
}

DpllSolver::Step DpllSolver::enqueue_theory_implications() {
  Step result = Step::nothing;
  for (;;) {
    const Lit lit = theory_->get_next_implied();
    if (lit == lit_undef) return result;
    if (values_[lit.index()] == l_true) continue;
    if (values_[lit.index()] == l_false) {
      // Two theories, or one and the search, disagree: the explanation is a conflict.
      ++stats_.theory_conflicts;
      explain(lit, true);
      const bool learnt = explanation_.size() < 2 ? learn_from(std::span<const Lit>(explanation_))
                                                  : learn_from(store_theory_clause(explanation_));
      return learnt ? Step::go_on : Step::unsatisfiable;
    }
    ++stats_.theory_implications;
    ClauseRef reason = ref_theory;
    if (explain(lit, false) && explanation_.size() >= 2) reason = store_theory_clause(explanation_);
    enqueue(lit, reason);
    result = Step::go_on;
  }
}

DpllSolver::Step DpllSolver::add_theory_lemmas() {
  struct Pending {
    std::vector<Lit> lits;
    TheoryHook::Lemma lemma;
  };
  // All are fetched before the first takes effect: a backjump would void those that are still waiting.
  std::vector<Pending> lemmas;
  while (theory_->has_lemmas()) {
    Pending next;
    next.lemma = theory_->next_lemma(next.lits);
    note_theory_clause(next.lits);
    if (ghost_filter_ != nullptr)
      for (Lit lit : next.lits) ghost_filter_->set_never_ghost(lit.var());
    add_guard(next.lits);
    lemmas.push_back(std::move(next));
  }
  if (lemmas.empty()) return Step::nothing;
  take_back_ghosts();  // the lemmas may hold some, which count from now on
  stats_.theory_lemmas += lemmas.size();
  learnt_limit_ =
      std::max(learnt_limit_, static_cast<double>(std::max<std::size_t>(clauses_.size() / 3, 1000)) * 50);
  for (Pending& next : lemmas) {
    const std::uint32_t flags =
        Clause::theory_flag | (next.lemma.permanent ? 0u : static_cast<std::uint32_t>(Clause::learnt_flag));
    if (!integrate(next.lits, flags, next.lemma.id)) return Step::unsatisfiable;
  }
  return Step::go_on;
}

bool DpllSolver::add_pending_clauses() {
  for (std::size_t i = 0; i < pending_clauses_.size(); ++i) {
    std::vector<Lit> lits = std::move(pending_clauses_[i]);
    if (!integrate(lits, 0, -1)) {
      pending_clauses_.clear();
      return false;
    }
  }
  pending_clauses_.clear();
  return true;
}

}  // namespace vesk::dpll
