#include <algorithm>
#include <cassert>

#include "solver/dpll/dpll_solver.h"

namespace vesk::dpll {
namespace {

constexpr double var_divisor = 1 / 0.95;
constexpr float clause_divisor = static_cast<float>(1 / 0.999);
constexpr double var_limit = 1e100;
constexpr float clause_limit = 1e20f;

}  // namespace

void DpllSolver::bump_var(Var var, double amount) {
  if ((activity_[index(var)] += amount) > var_limit) {
    for (double& activity : activity_) activity *= 1 / var_limit;
    var_increment_ *= 1 / var_limit;
  }
  if (order_.contains(var)) order_.decrease(var);
}

void DpllSolver::bump_clause(ClauseRef ref) {
  const float activity = arena_[ref].activity() + clause_increment_;
  arena_[ref].set_activity(activity);
  if (activity <= clause_limit) return;
  for (ClauseRef other : learnts_) arena_[other].set_activity(arena_[other].activity() * (1 / clause_limit));
  clause_increment_ *= 1 / clause_limit;
}

std::uint32_t DpllSolver::compute_lbd(std::span<const Lit> lits) {
  lbd_levels_.clear();
  std::uint32_t count = 0;
  for (Lit lit : lits)
    if (is_defined(lit)) count += lbd_levels_.insert(static_cast<std::size_t>(vars_[index(lit.var())].level));
  return count;
}

// The clause that implies `lit`, `lit` itself included somewhere in it. A literal that the theories
// implied is explained now, and the clause takes the marker's place. Valid until the next clause is made.
std::span<const Lit> DpllSolver::reason_of(Lit lit) {
  VarState& var = vars_[index(lit.var())];
  if (var.reason == ref_theory) {
    explain(lit, true);
    if (explanation_.size() < 2) {
      rests_on_no_clause_ = true;
      return explanation_;
    }
    var.reason = store_theory_clause(explanation_);
  }
  return arena_[var.reason].span();
}

// Marks the literals of a clause on the way back along the trail (`implied` left out, if there is one),
// those of lower levels for the learnt clause.
void DpllSolver::analyze_clause(ClauseRef ref, Lit implied, int& open) {
  std::span<const Lit> lits;
  if (ref == ref_undef) {
    lits = reason_of(implied);
    ref = vars_[index(implied.var())].reason;
  } else {
    lits = arena_[ref].span();
  }
  if (ref != ref_theory && arena_[ref].has(Clause::learnt_flag)) bump_clause(ref);
  for (Lit q : lits) {
    const std::size_t v = index(q.var());
    if (q == implied || seen_[v] != 0 || vars_[v].level == 0) continue;
    bump_var(q.var(), var_increment_);
    seen_[v] = 1;
    if (vars_[v].level < decision_level()) {
      learnt_.push_back(q);
      continue;
    }
    ++open;
    if (config_.dpll.glucose_var_activity) {
      const ClauseRef reason = vars_[v].reason;
      if (reason != ref_undef && reason != ref_theory && arena_[reason].has(Clause::learnt_flag))
        last_level_vars_.push_back(q.var());
    }
  }
}

// First unique implication point. Fills `learnt_`, the asserting literal first and one of the highest other
// level second; returns that level.
int DpllSolver::analyze(ClauseRef conflict) {
  learnt_.assign(1, lit_error);
  last_level_vars_.clear();
  int open = 0;
  analyze_clause(conflict, lit_undef, open);
  assert(open > 0);
  std::size_t at = trail_.size();
  for (;;) {
    do --at;
    while (seen_[index(trail_[at].var())] == 0);
    const Lit p = trail_[at];
    seen_[index(p.var())] = 0;
    if (--open == 0) {
      learnt_[0] = ~p;
      break;
    }
    analyze_clause(ref_undef, p, open);
  }
  to_clear_.assign(learnt_.begin(), learnt_.end());
  if (config_.dpll.learnt_minimization) minimize_learnt();
  if (config_.dpll.glucose_learnt_minimization) minimize_with_binaries();
  for (Lit lit : to_clear_) seen_[index(lit.var())] = 0;
  if (learnt_.size() == 1) return 0;
  std::size_t highest = 1;
  for (std::size_t i = 2; i < learnt_.size(); ++i)
    if (vars_[index(learnt_[i].var())].level > vars_[index(learnt_[highest].var())].level) highest = i;
  std::swap(learnt_[1], learnt_[highest]);
  return vars_[index(learnt_[1].var())].level;
}

// Recursive minimisation (N. Soerensson, A. Biere, SAT 2009), without the recursion.
void DpllSolver::minimize_learnt() {
  std::uint32_t levels = 0;
  for (std::size_t i = 1; i < learnt_.size(); ++i)
    levels |= abstract_level(vars_[index(learnt_[i].var())].level);
  std::size_t kept = 1;
  for (std::size_t i = 1; i < learnt_.size(); ++i) {
    const ClauseRef reason = vars_[index(learnt_[i].var())].reason;
    if (reason == ref_undef || reason == ref_theory || !is_redundant(learnt_[i], levels))
      learnt_[kept++] = learnt_[i];
  }
  learnt_.resize(kept);
}

bool DpllSolver::is_redundant(Lit lit, std::uint32_t abstract_levels) {
  minimize_stack_.assign(1, lit);
  const std::size_t top = to_clear_.size();
  while (!minimize_stack_.empty()) {
    const Lit p = minimize_stack_.back();
    minimize_stack_.pop_back();
    for (Lit q : arena_[vars_[index(p.var())].reason].span()) {
      const std::size_t v = index(q.var());
      if (q.var() == p.var() || seen_[v] != 0 || vars_[v].level == 0) continue;
      const ClauseRef reason = vars_[v].reason;
      if (reason == ref_undef || reason == ref_theory ||
          (abstract_level(vars_[v].level) & abstract_levels) == 0) {
        for (std::size_t i = top; i < to_clear_.size(); ++i) seen_[index(to_clear_[i].var())] = 0;
        to_clear_.resize(top);
        return false;
      }
      seen_[v] = 1;
      minimize_stack_.push_back(q);
      to_clear_.push_back(q);
    }
  }
  return true;
}

// Drops literals that a binary clause derives from the asserting one.
void DpllSolver::minimize_with_binaries() {
  if (learnt_.size() > 30 || compute_lbd(learnt_) > 6) return;
  binary_marks_.clear();
  // A clause (asserting or not-q): assuming the asserting literal false makes q false as well.
  for (const Watch& watch : watches_[(~learnt_[0]).index()])
    if (watch.is_binary() && values_[watch.blocker.index()] == l_true)
      binary_marks_.insert((~watch.blocker).index());
  std::size_t kept = 1;
  for (std::size_t i = 1; i < learnt_.size(); ++i)
    if (!binary_marks_.contains(learnt_[i].index())) learnt_[kept++] = learnt_[i];
  learnt_.resize(kept);
}

bool DpllSolver::learn_from(std::span<const Lit> conflict) {
  // Of clauses that are not stored there is only the kind of one literal, or none.
  assert(conflict.size() < 2);
  ++stats_.conflicts;
  ++conflicts_of_call_;
  const bool hopeless = conflict.empty() || vars_[index(conflict[0].var())].level == 0;
  cancel_until(0);
  if (hopeless) {
    unsat_level_ = 0;
    return false;
  }
  enqueue(conflict[0], ref_undef);
  return true;
}

// Learns from a clause that is false, and goes back to where the learnt one implies something. False: there
// is no such level.
bool DpllSolver::learn_from(ClauseRef conflict) {
  int level = 0;
  for (Lit lit : arena_[conflict].span()) level = std::max(level, vars_[index(lit.var())].level);
  cancel_until(level);
  ++stats_.conflicts;
  ++conflicts_of_call_;
  if (level == 0) {
    unsat_level_ = 0;
    return false;
  }
  rests_on_no_clause_ = false;
  const int back = analyze(conflict);
  const std::uint32_t lbd = compute_lbd(learnt_);
  for (Var var : last_level_vars_) {
    const ClauseRef reason = vars_[index(var)].reason;
    if (reason != ref_undef && reason != ref_theory && arena_[reason].lbd() < lbd)
      bump_var(var, var_increment_);
  }
  cancel_until(back);
  assert(is_derivable_or_too_dear(learnt_));
  restarts_.learnt(lbd);
  ++stats_.learnt_clauses;
  stats_.learnt_literals += learnt_.size();
  if (learnt_.size() == 1) {
    enqueue(learnt_[0], ref_undef);
  } else {
    const ClauseRef ref = store(learnt_, Clause::learnt_flag);
    arena_[ref].set_lbd(lbd);
    bump_clause(ref);
    enqueue(learnt_[0], ref);
  }
  var_increment_ *= var_divisor;
  clause_increment_ *= clause_divisor;
  return true;
}

// The assumptions that made `failed`, one of them or the literal of a point, false.
void DpllSolver::analyze_final(Lit failed) {
  conflict_assumptions_.clear();
  const auto is_assumption = [this](Lit lit) {
    return std::find(assumptions_.begin(), assumptions_.end(), lit) != assumptions_.end();
  };
  if (is_assumption(failed)) conflict_assumptions_.push_back(failed);
  if (vars_[index(failed.var())].level == 0) return;
  seen_[index(failed.var())] = 1;
  for (std::size_t i = trail_.size(); i-- > levels_[0].trail_size;) {
    const Lit lit = trail_[i];
    if (seen_[index(lit.var())] == 0) continue;
    seen_[index(lit.var())] = 0;
    if (vars_[index(lit.var())].reason == ref_undef) {
      if (lit.var() != failed.var() && is_assumption(lit)) conflict_assumptions_.push_back(lit);
      if (lit == ~failed && is_assumption(lit)) conflict_assumptions_.push_back(lit);
      continue;
    }
    for (Lit q : reason_of(lit))
      if (q.var() != lit.var() && vars_[index(q.var())].level > 0) seen_[index(q.var())] = 1;
  }
}

}  // namespace vesk::dpll
