#include <algorithm>
#include <utility>

#include "solver/dpll/dpll_solver.h"
#include "solver/term/term_manager.h"

namespace vesk::dpll {

DpllSolver::DpllSolver(const Configuration& config)
    : config_(config), order_(VarOrder{&activity_}), random_(static_cast<std::uint64_t>(config.random_seed)) {
  if (config.dpll.ghost_filtering || config.dpll.minimize_model)
    ghost_filter_ = std::make_unique<GhostFilter>(values_);
}

Var DpllSolver::new_var() {
  const Var var = num_vars();
  values_.push_back(l_undef);
  values_.push_back(l_undef);
  vars_.emplace_back();
  VarInfo info;
  info.phase = config_.dpll.branching_initial_phase == 1 ? l_true : l_false;
  info_.push_back(info);
  watches_.emplace_back();
  watches_.emplace_back();
  activity_.push_back(0);
  seen_.push_back(0);
  order_.insert(var);
  return var;
}

Var DpllSolver::make_proxy(Term term, const Options& options, bool* is_new) {
  if (is_new != nullptr) *is_new = false;
  if (const Var known = find_proxy(term); known != var_undef) {
    if (options.decision) set_decision(known, true);
    return known;
  }
  if (!term->type()->is_bool() || term->is_true() || term->is_false())
    throw TermError("There is no Boolean variable for " + term->to_short_str());
  const Var var = new_var();
  VarInfo& info = info_[index(var)];
  info.term = term;
  info.problem_var = options.problem_var;
  info.forced_polarity = options.forced_polarity;
  if (!options.decision) set_decision(var, false);
  if (term->id() >= proxies_.size()) proxies_.resize(term->id() + term->id() / 2 + 64, var_undef);
  proxies_[term->id()] = var;
  if (is_new != nullptr) *is_new = true;
  if (ghost_filter_ != nullptr && in_search_) ghost_filter_->set_never_ghost(var);
  if (theory_ != nullptr && !term->is_connective() && !term->is_constant()) {
    const bool told = theory_->tell_atom(term, var);
    num_theory_vars_ += told;
    info_[index(var)].theory = told;  // why not `info`: the theories may have made more variables
  }
  return var;
}

void DpllSolver::set_decision(Var var, bool decision) {
  info_[index(var)].decision = decision;
  if (decision && ghost_filter_ != nullptr && in_search_) ghost_filter_->set_never_ghost(var);
  if (decision && !is_defined(Lit(var)) && !order_.contains(var)) order_.insert(var);
}

// The order in which the literals of a clause are good to watch: undefined ones, true ones, false ones;
// among the true and the false ones those assigned last. It is total, as a sort demands, and puts a true
// literal before any false one: else both watches could be false while a true literal stands behind them.
void DpllSolver::sort_for_watching(std::vector<Lit>& lits) const {
  const auto rank = [this](Lit lit) {
    const lbool value = values_[lit.index()];
    return is_undef(value) ? 0 : value == l_true ? 1 : 2;
  };
  std::sort(lits.begin(), lits.end(), [&](Lit a, Lit b) {
    const int rank_a = rank(a), rank_b = rank(b);
    if (rank_a != rank_b) return rank_a < rank_b;
    const int place_a = vars_[index(a.var())].position, place_b = vars_[index(b.var())].position;
    return place_a != place_b ? place_a > place_b : a < b;
  });
}

namespace {

// Sorts by number and drops repetitions; true if the clause holds a literal and its negation.
bool normalize(std::vector<Lit>& lits) {
  std::sort(lits.begin(), lits.end());
  lits.erase(std::unique(lits.begin(), lits.end()), lits.end());
  for (std::size_t i = 1; i < lits.size(); ++i)
    if (lits[i] == ~lits[i - 1]) return true;
  return false;
}

}  // namespace

void DpllSolver::add_clause(std::span<const Lit> lits) {
  theory_lits_.assign(lits.begin(), lits.end());
  if (!points_.empty()) theory_lits_.push_back(~points_.back().lit);
  if (ghost_filter_ != nullptr) ghost_filter_->add_clause(theory_lits_);
  if (in_search_) {
    pending_clauses_.push_back(theory_lits_);
    return;
  }
  if (decision_level() > num_backtrack_points()) cancel_to_points();
  if (unsat_level_ < 0) add_clause_at_points(theory_lits_);
}

void DpllSolver::add_clause_at_points(std::vector<Lit>& lits) {
  if (normalize(lits)) return;
  // Whatever is true here stays so until the youngest point is popped, and the clause lives no longer
  // than that. False literals are dropped only where they are so for ever, which guards never are.
  std::size_t kept = 0;
  for (Lit lit : lits) {
    if (values_[lit.index()] == l_true) return;
    if (values_[lit.index()] == l_false && vars_[index(lit.var())].level == 0) continue;
    lits[kept++] = lit;
  }
  lits.resize(kept);
  const bool alone = kept == (points_.empty() ? 0u : 1u);  // nothing but the guard is left
  if (alone) {
    refute(num_backtrack_points());
    return;
  }
  ClauseRef ref = ref_undef;
  if (kept > 1) {
    sort_for_watching(lits);
    if (values_[lits[0].index()] == l_false) {
      refute(num_backtrack_points());
      return;
    }
    ref = store(lits, 0);
    if (is_defined(lits[0]) || !is_defined(lits[1])) return;
  }
  enqueue(lits[0], decision_level() == 0 ? ref_undef : ref);
  // why the open levels: a search that was stopped may have left fewer than there are points, and something
  // to propagate there.
  if (propagate() != ref_undef) refute(decision_level());
}

// The clauses contradict each other under the first `level` points. The assignment at that level is left
// half-propagated, so it goes.
void DpllSolver::refute(int level) {
  unsat_level_ = level;
  if (level > 0 && decision_level() >= level) cancel_until(level - 1);
}

// Takes a clause in the middle of the search, whatever the values of its literals are. False: the clauses
// are unsatisfiable.
bool DpllSolver::integrate(std::vector<Lit>& lits, std::uint32_t flags, int lemma) {
  const bool tautology = normalize(lits);
  if (tautology) {
    if (lemma >= 0) theory_->retract_lemma(lemma);
    return true;
  }
  sort_for_watching(lits);
  if (lits.empty() || (values_[lits[0].index()] == l_false && vars_[index(lits[0].var())].level == 0)) {
    cancel_until(0);
    unsat_level_ = 0;
    return false;
  }
  if (lits.size() == 1) {
    // Of a one-literal clause without a guard no variable is newer than a point: it holds for ever.
    if (values_[lits[0].index()] == l_true && vars_[index(lits[0].var())].level == 0) return true;
    cancel_until(0);
    enqueue(lits[0], ref_undef);
    return true;
  }
  const ClauseRef ref = store(lits, flags | (lemma >= 0 ? Clause::lemma_flag : 0u));
  if (lemma >= 0) lemmas_.insert(ref, lemma);
  if ((flags & Clause::learnt_flag) != 0) {
    arena_[ref].set_lbd(compute_lbd(lits));
    bump_clause(ref);
  }
  const lbool first = values_[lits[0].index()];
  if (values_[lits[1].index()] != l_false) return true;
  const int level_first = is_undef(first) ? 0 : vars_[index(lits[0].var())].level;
  const int level_second = vars_[index(lits[1].var())].level;
  if (first == l_false && level_first == level_second) return learn_from(ref);
  // The first literal follows at the level of the second. A true one that is assigned there or earlier
  // needs nothing; one assigned later would be forgotten too early.
  if (first == l_true && level_first <= level_second) return true;
  cancel_until(level_second);
  enqueue(lits[0], decision_level() == 0 ? ref_undef : ref);
  return true;
}

ClauseRef DpllSolver::store(std::span<const Lit> lits, std::uint32_t flags) {
  assert(lits.size() >= 2);
  const ClauseRef ref = arena_.allocate(lits, flags);
  ((flags & Clause::learnt_flag) != 0 ? learnts_ : clauses_).push_back(ref);
  attach(ref);
  return ref;
}

void DpllSolver::attach(ClauseRef ref) {
  const Clause clause = arena_[ref];
  const bool binary = clause.size() == 2;
  watches_[(~clause[0]).index()].push_back(Watch(clause[1], ref, binary));
  watches_[(~clause[1]).index()].push_back(Watch(clause[0], ref, binary));
}

// Marks the clause; its watches go in the next sweep_watches(), which must come before any propagation.
// The caller drops it from its list.
void DpllSolver::remove_clause(ClauseRef ref) {
  const Clause clause = arena_[ref];
  if (clause.has(Clause::lemma_flag)) {
    const int lemma = *lemmas_.find(ref);
    lemmas_.erase(ref);
    theory_->retract_lemma(lemma);
  }
  clause.set(Clause::removed_flag);
  dirty_watches_.push_back(~clause[0]);
  dirty_watches_.push_back(~clause[1]);
  arena_.note_removed(ref);
  ++stats_.removed_clauses;
}

void DpllSolver::sweep_watches() {
  for (Lit lit : dirty_watches_) {
    if (lit.index() >= watches_.size()) continue;
    ReallocVector<Watch>& list = watches_[lit.index()];
    std::size_t kept = 0;
    for (const Watch& watch : list)
      if (!arena_[watch.ref()].has(Clause::removed_flag)) list[kept++] = watch;
    list.shrink(kept);
  }
  dirty_watches_.clear();
}

bool DpllSolver::is_locked(ClauseRef ref) const {
  const Clause clause = arena_[ref];
  const auto implies = [&](Lit lit) {
    return values_[lit.index()] == l_true && vars_[index(lit.var())].reason == ref;
  };
  return implies(clause[0]) || (clause.size() == 2 && implies(clause[1]));
}

// Moves the clauses together in the order in which propagation meets them.
void DpllSolver::collect_garbage() {
  assert(dirty_watches_.empty());
  ClauseArena fresh;
  fresh.reserve(arena_.size() - arena_.wasted());
  const auto move = [&](ClauseRef ref) {
    const Clause clause = arena_[ref];
    if (clause.has(Clause::moved_flag)) return clause.moved_to();
    assert(!clause.has(Clause::removed_flag));
    const ClauseRef place = fresh.allocate(clause.span(), 0);
    const Clause copy = fresh[place];
    for (Clause::Flag flag : {Clause::learnt_flag, Clause::theory_flag, Clause::lemma_flag})
      if (clause.has(flag)) copy.set(flag);
    copy.set_lbd(clause.lbd());
    copy.set_activity(clause.activity());
    clause.move_to(place);
    return place;
  };
  for (ReallocVector<Watch>& list : watches_)
    for (Watch& watch : list) watch = Watch(watch.blocker, move(watch.ref()), watch.is_binary());
  for (ClauseRef& ref : clauses_) ref = move(ref);
  for (ClauseRef& ref : learnts_) ref = move(ref);
  for (Lit lit : trail_) {
    ClauseRef& reason = vars_[index(lit.var())].reason;
    if (reason != ref_undef && reason != ref_theory) reason = move(reason);
  }
  hsh::Map<ClauseRef, int> lemmas;
  lemmas_.for_each([&](ClauseRef ref, int lemma) { lemmas.insert(move(ref), lemma); });
  lemmas_ = std::move(lemmas);
  arena_ = std::move(fresh);
}

}  // namespace vesk::dpll
