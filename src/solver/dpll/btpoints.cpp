#include <algorithm>

#include "solver/dpll/dpll_solver.h"

namespace vesk::dpll {

void DpllSolver::push_backtrack_point() {
  assert(!in_search_);
  cancel_to_points();
  if (unsat_level_ < 0 && qhead_ < trail_.size() && propagate() != ref_undef) refute(decision_level());
  // why the test: after an unsatisfiable answer fewer levels than points may be open. The search opens the
  // missing ones, this one among them, so that the level of a point is always its number.
  const bool open = unsat_level_ < 0 && decision_level() == num_backtrack_points();
  const Var var = new_var();
  info_[index(var)].decision = false;
  order_.remove(var);
  points_.push_back({Lit(var), clauses_.size(), preferred_.size(), stored_lemmas_.size()});
  if (ghost_filter_ != nullptr) ghost_filter_->push_backtrack_point();
  if (theory_ != nullptr) theory_->push_backtrack_point();
  if (!open) return;
  open_level();
  enqueue(Lit(var), ref_undef);
}

void DpllSolver::pop_backtrack_point() {
  assert(!in_search_ && !points_.empty());
  const Point point = points_.back();
  const Var first = point.lit.var();
  cancel_until(num_backtrack_points() - 1);
  if (is_defined(point.lit)) {
    // Refuted under fewer points: the literal's negation stands on the trail at a lower level.
    assert(values_[point.lit.index()] == l_false);
    const int at = vars_[index(first)].level;
    cancel_until(std::max(at - 1, 0));
    if (at == 0) drop_from_trail(first);
  }
  points_.pop_back();
  remove_clauses_with(first, point.num_clauses);
  sweep_watches();
  remove_vars(first);
  std::erase_if(ghosts_, [first](Var var) { return var >= first; });
  if (ghost_filter_ != nullptr) ghost_filter_->pop_backtrack_point(first);
  if (unsat_level_ > num_backtrack_points()) unsat_level_ = -1;
  while (preferred_.size() > point.num_preferred) {
    const Var var = preferred_.back();
    preferred_.pop_back();
    if (var < first) {
      info_[index(var)].preferred = false;
      info_[index(var)].forced_polarity = l_undef;
    }
  }
  preferred_cursor_ = 0;
  stored_lemmas_.resize(point.num_stored_lemmas);
  model_.clear();
  if (theory_ != nullptr) theory_->pop_backtrack_point();
  if (config_.dpll.pop_btpoint_reset_var_order) rebuild_order();
  if (arena_.wasted() * 4 > arena_.size()) collect_garbage();
}

// Takes the literals of variables from `first` on off the trail of level 0, the only one that is left.
void DpllSolver::drop_from_trail(Var first) {
  assert(decision_level() == 0);
  std::size_t kept = 0;
  std::size_t qhead = 0, theory_qhead = 0;
  for (std::size_t i = 0; i < trail_.size(); ++i) {
    if (i == qhead_) qhead = kept;
    if (i == theory_qhead_) theory_qhead = kept;
    const Lit lit = trail_[i];
    VarState& var = vars_[index(lit.var())];
    if (lit.var() >= first) {
      values_[lit.index()] = values_[(~lit).index()] = l_undef;
      var = VarState();
      continue;
    }
    var.position = static_cast<int>(kept);
    trail_[kept++] = lit;
  }
  if (qhead_ == trail_.size()) qhead = kept;
  if (theory_qhead_ == trail_.size()) theory_qhead = kept;
  trail_.resize(kept);
  qhead_ = qhead;
  theory_qhead_ = theory_qhead;
  simplified_trail_ = std::min(simplified_trail_, kept);
}

// Removes every clause with a variable from `first` on; problem clauses from place `begin` on can have one.
void DpllSolver::remove_clauses_with(Var first, std::size_t begin) {
  const auto drop = [&](std::vector<ClauseRef>& refs, std::size_t kept) {
    for (std::size_t i = kept; i < refs.size(); ++i) {
      const std::span<Lit> lits = arena_[refs[i]].span();
      if (std::any_of(lits.begin(), lits.end(), [&](Lit lit) { return lit.var() >= first; }))
        remove_clause(refs[i]);
      else
        refs[kept++] = refs[i];
    }
    refs.resize(kept);
  };
  drop(clauses_, begin);
  drop(learnts_, 0);
}

void DpllSolver::remove_vars(Var first) {
  while (num_vars() > first) {
    const Var var = num_vars() - 1;
    assert(!is_defined(Lit(var)));
    VarInfo& info = info_.back();
    if (info.theory) --num_theory_vars_;
    if (info.term != nullptr) {
      if (theory_ != nullptr && !info.term->is_connective() && !info.term->is_constant())
        theory_->retract_atom(info.term, var);
      proxies_[info.term->id()] = var_undef;
    }
    order_.remove(var);
    assert(watches_[Lit(var).index()].empty() && watches_[Lit(var, true).index()].empty());
    watches_.pop_back();
    watches_.pop_back();
    values_.pop_back();
    values_.pop_back();
    vars_.pop_back();
    info_.pop_back();
    activity_.pop_back();
    seen_.pop_back();
  }
}

}  // namespace vesk::dpll
