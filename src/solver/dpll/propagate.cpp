#include "solver/dpll/dpll_solver.h"

namespace vesk::dpll {

void DpllSolver::enqueue(Lit lit, ClauseRef reason) {
  assert(!is_defined(lit));
  values_[lit.index()] = l_true;
  values_[(~lit).index()] = l_false;
  VarState& var = vars_[index(lit.var())];
  var.reason = reason;
  var.level = decision_level();
  var.position = static_cast<int>(trail_.size());
  trail_.push_back(lit);
  if (track_agility_) restarts_.update_agility(info_[index(lit.var())].phase != to_lbool(!lit.negated()));
}

// Boolean propagation to the fixpoint. The clause that became false, or ref_undef.
ClauseRef DpllSolver::propagate() {
  assert(dirty_watches_.empty());
  const std::size_t start = qhead_;
  ClauseRef conflict = ref_undef;
  const lbool* values = values_.data();
  while (qhead_ < trail_.size()) {
    const Lit p = trail_[qhead_++];
    const Lit false_lit = ~p;
    ReallocVector<Watch>& list = watches_[p.index()];
    Watch* const begin = list.begin();
    Watch* const end = list.end();
    Watch* kept = begin;
    Watch* at = begin;
    while (at != end) {
      const Watch watch = *at++;
      const lbool blocker_value = values[watch.blocker.index()];
      if (blocker_value == l_true) {
        *kept++ = watch;
        continue;
      }
      if (watch.is_binary()) {
        *kept++ = watch;
        if (blocker_value == l_false) {
          conflict = watch.ref();
          break;
        }
        enqueue(watch.blocker, watch.ref());
        continue;
      }
      const Clause clause = arena_[watch.ref()];
      Lit* const lits = clause.lits();
      if (lits[0] == false_lit) {
        lits[0] = lits[1];
        lits[1] = false_lit;
      }
      const Lit first = lits[0];
      const Watch renewed(first, watch.ref(), false);
      const lbool first_value = values[first.index()];
      if (first_value == l_true) {
        *kept++ = renewed;
        continue;
      }
      const std::uint32_t size = clause.size();
      std::uint32_t k = 2;
      while (k < size && values[lits[k].index()] == l_false) ++k;
      if (k < size) {
        lits[1] = lits[k];
        lits[k] = false_lit;
        watches_[(~lits[1]).index()].push_back(renewed);  // another list: lits[1] is not false
        continue;
      }
      *kept++ = renewed;
      if (first_value == l_false) {
        conflict = watch.ref();
        break;
      }
      enqueue(first, watch.ref());
    }
    while (at != end) *kept++ = *at++;
    list.shrink(static_cast<std::size_t>(kept - begin));
    if (conflict != ref_undef) break;
  }
  stats_.propagations += qhead_ - start;
  if (conflict != ref_undef) qhead_ = trail_.size();
  return conflict;
}

void DpllSolver::open_level() {
  levels_.push_back({trail_.size(), theory_qhead_});
  if (theory_ != nullptr) theory_->new_decision_level();
}

void DpllSolver::cancel_until(int level) {
  if (decision_level() <= level) return;
  const std::size_t last_level_start = levels_.back().trail_size;
  const std::size_t size = levels_[static_cast<std::size_t>(level)].trail_size;
  theory_qhead_ = levels_[static_cast<std::size_t>(level)].theory_qhead;
  levels_.resize(static_cast<std::size_t>(level));
  if (theory_ != nullptr) theory_->cancel_until(level);
  const int cache = config_.dpll.branching_cache_phase;
  const lbool initial = config_.dpll.branching_initial_phase == 1 ? l_true : l_false;
  for (std::size_t i = trail_.size(); i-- > size;) {
    const Lit lit = trail_[i];
    VarInfo& info = info_[index(lit.var())];
    if (cache == 2 || (cache == 1 && i < last_level_start))
      info.phase = info.phase == phase_invalid ? initial : to_lbool(!lit.negated());
    values_[lit.index()] = l_undef;
    values_[(~lit).index()] = l_undef;
    VarState& var = vars_[index(lit.var())];
    var.reason = ref_undef;
    var.position = -1;
    if (info.decision && !order_.contains(lit.var())) order_.insert(lit.var());
    if (info.preferred) preferred_cursor_ = 0;
  }
  take_back_ghosts();
  trail_.resize(size);
  qhead_ = size;
  assert(theory_qhead_ <= size);
}

void DpllSolver::cancel_to_points() { cancel_until(num_backtrack_points()); }

}  // namespace vesk::dpll
