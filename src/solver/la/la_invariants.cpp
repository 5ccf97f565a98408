#include "solver/la/la_solver.h"

#include <algorithm>

namespace vesk::la {

bool Solver::check_invariants() const {
  if (!tableau_.is_solved()) return false;
  for (std::size_t r = 0; r < tableau_.row_limit(); ++r) {
    DNumber sum;
    for (const Tableau::RowEntry& entry : tableau_.row(static_cast<std::int32_t>(r)))
      sum.self_addmul(entry.coeff, values_[index(entry.var)]);
    if (!sum.is_zero()) return false;
  }
  // the stack, replayed, gives the current bounds; at its checked part, bounds that the values satisfy
  std::vector<ConstraintId> lower(values_.size(), null_constraint);
  std::vector<ConstraintId> upper(values_.size(), null_constraint);
  const auto holds = [&](std::size_t v) {
    return (lower[v] == null_constraint || cmp(bound(lower[v]), values_[v]) <= 0) &&
           (upper[v] == null_constraint || cmp(values_[v], bound(upper[v])) <= 0);
  };
  for (std::size_t i = 0; i <= stack_.size(); ++i) {
    if (i == checked_ && old_values_.empty())
      for (std::size_t v = 0; v < values_.size(); ++v)
        if (!holds(v)) return false;
    if (i == stack_.size()) break;
    const std::size_t v = index(constraints_[index(stack_[i].constraint)].var);
    if (stack_[i].change == Change::asserted) continue;
    std::vector<ConstraintId>& side = stack_[i].change == Change::lower ? lower : upper;
    if (side[v] != stack_[i].old_bound) return false;
    side[v] = stack_[i].constraint;
  }
  if (lower != lower_ || upper != upper_) return false;

  std::vector<std::int32_t> open(values_.size(), 0);
  for (std::size_t a = 1; a < atoms_.size(); ++a)
    if (atoms_[a].alive && atoms_[a].state == 0) ++open[index(constraints_[2 * a].var)];
  if (open != open_) return false;
  for (const Implication& implication : implications_) {
    if (implication.constraint == null_constraint) continue;
    for (const ConstraintId c : reason(implication.constraint))
      if (c <= 1 || !is_asserted(c)) return false;
  }
  return to_check_.empty();
}

}  // namespace vesk::la
