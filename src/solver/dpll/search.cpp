#include <algorithm>

#include "solver/dpll/dpll_solver.h"

namespace vesk::dpll {
namespace {

constexpr std::uint64_t poll_interval = 128;  // steps of the search
// Conflicts between two reductions of the learnt clauses. It does not grow with the number of problem
// clauses: most of those are binary, as a rule, and ask nothing of the learnt ones, which slow propagation
// down.
constexpr std::uint64_t reduce_interval = 3000;

}  // namespace

Result DpllSolver::solve(std::span<const Lit> assumptions, bool keep) {
  return *solve_limited(assumptions, Budget(), keep);
}

std::optional<Result> DpllSolver::solve_limited(std::span<const Lit> assumptions, const Budget& budget,
                                                bool keep) {
  const auto limit = [](std::uint64_t amount, std::uint64_t spent) {
    return amount == 0 ? 0 : spent + amount;
  };
  limits_ = {limit(budget.conflicts, stats_.conflicts), limit(budget.decisions, stats_.decisions),
             limit(budget.propagations, stats_.propagations)};
  ++stats_.solve_calls;
  conflict_assumptions_.clear();
  model_.clear();
  cancel_to_points();
  take_back_ghosts();
  if (unsat_level_ >= 0) return Result::unsatisfiable;
  assumptions_.assign(assumptions.begin(), assumptions.end());
  conflicts_of_call_ = 0;
  reduce_count_ = 1;
  reduce_interval_ = reduce_interval;
  learnt_limit_ = static_cast<double>(std::max<std::size_t>(clauses_.size() / 3, 1000)) * 50;
  restarts_.init(config_.dpll);
  track_agility_ = restarts_.tracks_agility();
  in_search_ = true;
  SearchResult result = search();
  while (result == SearchResult::restart) {
    ++stats_.restarts;
    restarts_.next();
    result = search();
  }
  in_search_ = false;
  if (result != SearchResult::satisfiable) {
    cancel_to_points();
    if (result == SearchResult::exhausted) return std::nullopt;
    return Result::unsatisfiable;
  }
  model_.resize(vars_.size());
  for (Var var = 0; var < num_vars(); ++var) model_[index(var)] = values_[Lit(var).index()];
  if (config_.dpll.minimize_model) {
    const int fixed = num_backtrack_points() + static_cast<int>(assumptions_.size());
    ghost_filter_->minimize(model_, [&](Var var) { return vars_[index(var)].level <= fixed; });
  }
  if (!keep) cancel_to_points();
  return Result::satisfiable;
}

void DpllSolver::recover() {
  in_search_ = false;
  cancel_to_points();
  std::fill(seen_.begin(), seen_.end(), std::uint8_t{0});
  sweep_watches();
  if (theory_ != nullptr) theory_->recover();
  std::vector<std::vector<Lit>> pending;
  pending.swap(pending_clauses_);
  for (std::vector<Lit>& lits : pending)
    if (unsat_level_ < 0) add_clause_at_points(lits);
}

bool DpllSolver::count_conflict(bool learnt) {
  ++conflicts_since_restart_;
  if (conflicts_since_restart_ % 100 == 0) TerminationTest::poll(termination_);
  return learnt;
}

DpllSolver::SearchResult DpllSolver::search() {
  conflicts_since_restart_ = 0;
  for (;;) {
    if (steps_++ % poll_interval == 0) TerminationTest::poll(termination_);
    if (is_exhausted()) return SearchResult::exhausted;
    if (restarts_.should_restart(conflicts_since_restart_, conflicts_of_call_)) {
      cancel_to_points();
      return SearchResult::restart;
    }
    if (!pending_clauses_.empty() && !add_pending_clauses()) return SearchResult::unsatisfiable;
    if (const ClauseRef conflict = propagate(); conflict != ref_undef) {
      if (!count_conflict(learn_from(conflict))) return SearchResult::unsatisfiable;
      continue;
    }
    maybe_check_invariants();
    Step step = decide_backtrack_point();
    if (step == Step::nothing) step = handle_theory_check(true);
    if (step == Step::go_on) continue;
    if (step == Step::unsatisfiable) return SearchResult::unsatisfiable;
    if (decision_level() <= num_backtrack_points()) simplify();
    reduce_if_due();
    step = decide_assumption();
    if (step == Step::go_on) continue;
    if (step == Step::unsatisfiable) return SearchResult::unsatisfiable;
    Lit next = pick_branch_lit();
    if (next == lit_undef) {
      step = final_check();
      if (step == Step::go_on) continue;
      if (step == Step::unsatisfiable) return SearchResult::unsatisfiable;
      next = pick_branch_lit();  // theories may have made atoms
      if (next == lit_undef) {
        if (!pending_clauses_.empty()) continue;
        return SearchResult::satisfiable;
      }
    }
    ++stats_.decisions;
    open_level();
    enqueue(next, ref_undef);
  }
}

bool DpllSolver::is_exhausted() const {
  const auto reached = [](std::uint64_t spent, std::uint64_t limit) { return limit != 0 && spent >= limit; };
  return reached(stats_.conflicts, limits_.conflicts) || reached(stats_.decisions, limits_.decisions) ||
         reached(stats_.propagations, limits_.propagations);
}

// All variables are assigned and the approximate check found nothing.
DpllSolver::Step DpllSolver::final_check() {
  if (theory_ == nullptr) return Step::nothing;
  ++stats_.final_checks;
  Step step = handle_theory_check(false);
  if (step != Step::nothing) return step;
  const TheoryHook::ModelFound found = theory_->boolean_model_found();
  if (found.backjump_level >= 0) {
    cancel_until(found.backjump_level);
    return Step::go_on;
  }
  if (!found.go_on) return Step::nothing;
  // Something new was made: a decision, if a new atom wants one, else another look by the theories.
  step = handle_theory_check(false);
  return step;
}

DpllSolver::Step DpllSolver::decide_backtrack_point() {
  const std::size_t next = levels_.size();
  if (next >= points_.size()) return Step::nothing;
  const Lit lit = points_[next].lit;
  if (values_[lit.index()] == l_false) {
    analyze_final(lit);
    unsat_level_ = decision_level() + 1;
    return Step::unsatisfiable;
  }
  open_level();
  if (!is_defined(lit)) enqueue(lit, ref_undef);
  return Step::go_on;
}

DpllSolver::Step DpllSolver::decide_assumption() {
  const std::size_t first = points_.size();
  while (levels_.size() - first < assumptions_.size()) {
    const Lit lit = assumptions_[levels_.size() - first];
    if (values_[lit.index()] == l_false) {
      analyze_final(lit);
      return Step::unsatisfiable;
    }
    const bool known = is_defined(lit);
    open_level();
    if (known) continue;
    enqueue(lit, ref_undef);
    return Step::go_on;
  }
  return Step::nothing;
}

bool DpllSolver::phase_sign(Var var) const {
  const VarInfo& info = info_[index(var)];
  if (!is_undef(info.forced_polarity)) return info.forced_polarity == l_false;
  // An invalidated entry has no value of its own; its low bit must not be read as one.
  if (info.phase == phase_invalid) return config_.dpll.branching_initial_phase != 1;
  return info.phase != l_true;
}

Lit DpllSolver::pick_preferred() {
  while (preferred_cursor_ < preferred_.size()) {
    const Var var = preferred_[preferred_cursor_];
    if (!is_defined(Lit(var))) return Lit(var, phase_sign(var));
    ++preferred_cursor_;
  }
  return lit_undef;
}

Lit DpllSolver::pick_branch_lit() {
  if (const Lit preferred = pick_preferred(); !(preferred == lit_undef)) return preferred;
  const double frequency = config_.dpll.branching_random_frequency;
  if (frequency > 0 && !order_.empty() && random_.next_double() < frequency) {
    const Var var = order_[random_.next_below(order_.size())];
    VarInfo& info = info_[index(var)];
    if (!is_defined(Lit(var)) && info.decision && !put_aside(var)) {
      ++stats_.random_decisions;
      if (config_.dpll.branching_random_invalidate_phase_cache) info.phase = phase_invalid;
      if (config_.dpll.branching_random_ignore_polarity && is_undef(info.forced_polarity))
        return Lit(var, random_.next_bit());
      return Lit(var, phase_sign(var));
    }
  }
  while (!order_.empty()) {
    const Var var = order_.remove_min();
    if (is_defined(Lit(var)) || !info_[index(var)].decision || put_aside(var)) continue;
    return Lit(var, phase_sign(var));
  }
  return lit_undef;
}

// An atom that does not matter now waits until a level is cancelled. Only atoms of theories: for others a
// decision costs less than the question.
bool DpllSolver::put_aside(Var var) {
  if (!config_.dpll.ghost_filtering || !info_[index(var)].theory || !ghost_filter_->is_ghost(var))
    return false;
  ghosts_.push_back(var);
  ++stats_.ghosts;
  return true;
}

void DpllSolver::take_back_ghosts() {
  for (Var var : ghosts_)
    if (!is_defined(Lit(var)) && info_[index(var)].decision && !order_.contains(var)) order_.insert(var);
  ghosts_.clear();
}

void DpllSolver::add_preferred(Var var, lbool polarity) {
  VarInfo& info = info_[index(var)];
  info.forced_polarity = polarity;
  if (info.preferred) return;
  info.preferred = true;
  preferred_.push_back(var);
}

void DpllSolver::clear_preferred() {
  for (Var var : preferred_) {
    info_[index(var)].preferred = false;
    info_[index(var)].forced_polarity = l_undef;
  }
  preferred_.clear();
  preferred_cursor_ = 0;
}

void DpllSolver::maybe_check_invariants() {
#ifndef NDEBUG
  if (steps_ < next_invariants_check_) return;
  check_invariants(true);
  next_invariants_check_ = invariants_interval_ > 0 ? steps_ + invariants_interval_ : 2 * steps_;
#endif
}

}  // namespace vesk::dpll
