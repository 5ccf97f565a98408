#include <cassert>
#include <cstdio>
#include <cstdlib>

#include "solver/dpll/dpll_solver.h"

namespace vesk::dpll {
namespace {

// why not assert: tests call the checker in every build.
void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "veskor: broken invariant of the search: %s\n", what);
  std::abort();
}

}  // namespace

void DpllSolver::check_invariants(bool at_fixpoint) const {
  require(theory_qhead_ <= trail_.size() && qhead_ <= trail_.size(), "heads lie on the trail");
  int level = 0;
  for (std::size_t i = 0; i < trail_.size(); ++i) {
    while (static_cast<std::size_t>(level) < levels_.size() &&
           levels_[static_cast<std::size_t>(level)].trail_size <= i)
      ++level;
    const Lit lit = trail_[i];
    const VarState& var = vars_[index(lit.var())];
    require(values_[lit.index()] == l_true && values_[(~lit).index()] == l_false, "trail literals are true");
    require(var.position == static_cast<int>(i) && var.level == level,
            "positions and levels follow the trail");
    if (var.reason == ref_undef || var.reason == ref_theory) continue;
    bool found = false;
    for (Lit other : arena_[var.reason].span()) {
      if (other == lit) {
        found = true;
        continue;
      }
      require(values_[other.index()] == l_false && vars_[index(other.var())].position < var.position,
              "the other literals of a reason are false, and were so before");
    }
    require(found, "a reason holds the literal that it implies");
  }
  std::size_t watched = 0;
  for (std::size_t i = 0; i < watches_.size(); ++i)
    for (const Watch& watch : watches_[i]) {
      const Clause clause = arena_[watch.ref()];
      const Lit lit = ~Lit::from_index(i);
      ++watched;
      require(!clause.has(Clause::removed_flag), "removed clauses are watched no more");
      require(clause[0] == lit || clause[1] == lit, "a watch is one of the first two literals");
      require(watch.is_binary() == (clause.size() == 2), "the binary mark is right");
      require(!watch.is_binary() || watch.blocker == (clause[0] == lit ? clause[1] : clause[0]),
              "the blocker of a binary clause is its other literal");
    }
  require(watched == 2 * (clauses_.size() + learnts_.size()), "each clause is watched twice");
  const auto check_clause = [&](ClauseRef ref) {
    const std::span<Lit> lits = arena_[ref].span();
    Var highest = 0;
    bool is_true = false, has_undefined = false;
    for (Lit lit : lits) {
      require(lit.var() < num_vars(), "clauses hold living variables");
      highest = std::max(highest, lit.var());
      is_true |= values_[lit.index()] == l_true;
      has_undefined |= !is_defined(lit);
    }
    for (std::size_t p = points_.size(); p-- > 0;) {
      const Var point = points_[p].lit.var();
      if (point > highest) continue;
      // The youngest point that the clause must not outlive.
      bool guarded = false;
      for (Lit lit : lits) {
        guarded |= lit.negated() && lit.var() >= point && is_point(lit.var());
        require(!(lit == Lit(point)), "a point occurs negated only");
      }
      require(guarded, "a clause with a variable newer than a point holds a guard");
      break;
    }
    if (!at_fixpoint || is_true) return;
    require(has_undefined, "no clause is false after propagation");
    // Clauses of the theories can be met at a level at which their last literals are false already; then
    // the watch on the open one finds the conflict, if it comes to that.
    const int open = !is_defined(lits[0]) + !is_defined(lits[1]);
    require(open == 2 || (open == 1 && arena_[ref].has(Clause::theory_flag)),
            "an open clause watches undefined literals");
  };
  for (ClauseRef ref : clauses_) check_clause(ref);
  for (ClauseRef ref : learnts_) check_clause(ref);
}

// Does unit propagation over the clauses refute the negation of this one, which is being learnt? Looked at
// now and then, and while there are few clauses, since each pass goes over all of them; else true.
bool DpllSolver::is_derivable_or_too_dear(std::span<const Lit> clause) const {
  constexpr std::size_t max_clauses = 3000;
  constexpr std::uint64_t interval = 16;
  if (rests_on_no_clause_ || stats_.conflicts % interval != 1 ||
      clauses_.size() + learnts_.size() > max_clauses)
    return true;
  std::vector<std::uint8_t> is_false(values_.size(), 0);
  const auto make_false = [&](Lit lit) {
    is_false[lit.index()] = 1;
    return is_false[(~lit).index()] != 0;  // a contradiction
  };
  for (const Lit fact : trail_)
    if (vars_[index(fact.var())].level == 0) make_false(~fact);
  for (const Lit lit : clause)
    if (make_false(lit)) return true;
  for (bool has_changed = true; has_changed;) {
    has_changed = false;
    for (const std::vector<ClauseRef>* list : {&clauses_, &learnts_})
      for (const ClauseRef ref : *list) {
        Lit open = lit_undef;
        std::size_t num_open = 0;
        for (const Lit lit : arena_[ref].span())
          if (is_false[lit.index()] == 0) {
            open = lit;
            ++num_open;
          }
        if (num_open == 0) return true;
        if (num_open > 1 || is_false[(~open).index()] != 0) continue;
        make_false(~open);
        has_changed = true;
      }
  }
  return false;
}

bool DpllSolver::is_point(Var var) const {
  for (const Point& point : points_)
    if (point.lit.var() == var) return true;
  return false;
}

}  // namespace vesk::dpll
