#include <algorithm>

#include "solver/dpll/dpll_solver.h"

namespace vesk::dpll {
namespace {

constexpr float theory_factor = 1.6f;
constexpr double limit_growth = 1.1;
constexpr std::uint32_t kept_lbd = 2;

}  // namespace

void DpllSolver::reduce_if_due() {
  const bool many = static_cast<double>(learnts_.size()) > learnt_limit_;
  if (many) {
    learnt_limit_ *= limit_growth;
  } else {
    if (reduce_count_ * reduce_interval_ > conflicts_of_call_) return;
    reduce_count_ = conflicts_of_call_ / reduce_interval_ + 1;
  }
  reduce_db();
}

// Drops the less useful half of the learnt clauses, and of the rest those that took part in nothing. Kept
// are clauses of LBD 1 or 2, those that are a reason, and lemmas whose owner would have to be told, which
// cannot be in the middle of a search.
void DpllSolver::reduce_db() {
  ++stats_.reductions;
  if (learnts_.empty()) return;
  const float extra_limit = clause_increment_ / static_cast<float>(learnts_.size());
  const auto weight = [this](ClauseRef ref) {
    const Clause clause = arena_[ref];
    return clause.activity() * (clause.has(Clause::theory_flag) ? theory_factor : 1.0f);
  };
  std::sort(learnts_.begin(), learnts_.end(), [&](ClauseRef a, ClauseRef b) {
    const bool binary_a = arena_[a].size() == 2, binary_b = arena_[b].size() == 2;
    if (binary_a != binary_b) return binary_b;
    const float weight_a = weight(a), weight_b = weight(b);
    return weight_a != weight_b ? weight_a < weight_b : a < b;
  });
  const std::size_t half = learnts_.size() / 2;
  std::size_t kept = 0;
  for (std::size_t i = 0; i < learnts_.size(); ++i) {
    const ClauseRef ref = learnts_[i];
    const Clause clause = arena_[ref];
    const bool keep = (clause.lbd() != 0 && clause.lbd() <= kept_lbd) || clause.has(Clause::lemma_flag) ||
                      is_locked(ref) || (i >= half && clause.activity() >= extra_limit);
    if (keep)
      learnts_[kept++] = ref;
    else
      remove_clause(ref);
  }
  learnts_.resize(kept);
  sweep_watches();
  if (arena_.wasted() * 4 > arena_.size()) collect_garbage();
}

// Deletes clauses that level 0 satisfies, when there is news there and enough has happened since the last
// time. Problem clauses that only a backtrack point satisfies must outlive it.
void DpllSolver::simplify() {
  const std::size_t fixed = levels_.empty() ? trail_.size() : levels_[0].trail_size;
  if (fixed == simplified_trail_ || stats_.propagations < simplify_after_) return;
  const auto is_satisfied = [this](ClauseRef ref) {
    for (Lit lit : arena_[ref].span())
      if (values_[lit.index()] == l_true && vars_[index(lit.var())].level == 0) return true;
    return false;
  };
  const auto drop = [&](std::vector<ClauseRef>& refs, std::size_t first) {
    std::size_t kept = first;
    std::uint64_t literals = 0;
    for (std::size_t i = first; i < refs.size(); ++i) {
      literals += arena_[refs[i]].size();
      if (!arena_[refs[i]].has(Clause::lemma_flag) && is_satisfied(refs[i]))
        remove_clause(refs[i]);
      else
        refs[kept++] = refs[i];
    }
    refs.resize(kept);
    return literals;
  };
  std::uint64_t literals = drop(learnts_, 0);
  // The clauses of each level keep their place in the list: the points remember where theirs begin.
  std::size_t removed_below = 0;
  std::size_t next_point = 0;
  std::size_t kept = 0;
  for (std::size_t i = 0; i <= clauses_.size(); ++i) {
    while (next_point < points_.size() && points_[next_point].num_clauses == i)
      points_[next_point++].num_clauses -= removed_below;
    if (i == clauses_.size()) break;
    const ClauseRef ref = clauses_[i];
    literals += arena_[ref].size();
    if (!arena_[ref].has(Clause::lemma_flag) && is_satisfied(ref)) {
      remove_clause(ref);
      ++removed_below;
    } else {
      clauses_[kept++] = ref;
    }
  }
  clauses_.resize(kept);
  for (std::size_t i = 0; i < fixed; ++i) vars_[index(trail_[i].var())].reason = ref_undef;
  sweep_watches();
  if (arena_.wasted() * 4 > arena_.size()) collect_garbage();
  rebuild_order();
  simplified_trail_ = fixed;
  simplify_after_ = stats_.propagations + literals;
}

void DpllSolver::rebuild_order() {
  std::vector<Var> candidates;
  for (Var var = 0; var < num_vars(); ++var)
    if (info_[index(var)].decision && !is_defined(Lit(var))) candidates.push_back(var);
  order_.build(candidates);
}

}  // namespace vesk::dpll
