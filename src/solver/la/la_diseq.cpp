#include "solver/la/la_solver.h"

#include <algorithm>
#include <cassert>

namespace vesk::la {

// Disequalities over the rationals need no case splits: the points that satisfy the bounds form a convex set,
// and such a set that lies in none of finitely many hyperplanes is not covered by them. So each violated `x
// != c` is tried alone, on one side of its hyperplane and then on the other; if both fail, the set lies
// inside it. This is also why a conflict may rest on trial bounds of earlier disequalities only through their
// result, and why bounds on integer variables must not be tightened here, as the integer points are no convex
// set.

bool Solver::separate_disequalities() {
  for (std::size_t i = diseqs_.size(); i-- > 0;) {
    const ConstraintId disequality = diseqs_[i];
    if (values_[index(constraints_[index(disequality)].var)] != bound(disequality)) continue;
    if (must_hold_ && !must_hold_(disequality)) continue;
    if (!separate(disequality)) return false;
  }
  return true;
}

/// Moves to a point off the hyperplane of `disequality`. The move is a part of the way to a point of the
/// feasible set that is off it; a small enough part of the way enters no other hyperplane that the old point
/// avoided.
bool Solver::separate(ConstraintId disequality) {
  ++statistics_.separations;
  const Var var = constraints_[index(disequality)].var;
  const QNumber& forbidden = bound(disequality).c;
  bool separated = try_side(var, ConstraintKind::upper, DNumber(forbidden, QNumber(-1)));
  if (!separated) {
    std::vector<ConstraintId> first_conflict = conflict_;
    separated = try_side(var, ConstraintKind::lower, DNumber(forbidden, QNumber(1)));
    if (!separated) {
      for (const ConstraintId c : first_conflict)
        if (std::find(conflict_.begin(), conflict_.end(), c) == conflict_.end()) conflict_.push_back(c);
      std::erase_if(conflict_, [](ConstraintId c) { return c <= 1; });
      conflict_.push_back(disequality);
      in_conflict_ = true;
      return false;
    }
  }
  QNumber step(1);
  while (!shift_keeps_disequalities(step)) step /= 2;
  if (!step.is_one()) {
    for (const OldValue& old : old_values_) {
      DNumber& value = values_[index(old.var)];
      value -= old.value;
      value *= step;
      value += old.value;
    }
  }
  assert(values_[index(var)] != bound(disequality));
  commit();
  return true;
}

/// Runs the simplex under one more bound, which is popped again. If it holds, the values satisfy it and the
/// old ones wait in `old_values_`; else they are restored and the conflict is in `conflict_`.
bool Solver::try_side(Var var, ConstraintKind kind, const DNumber& value) {
  const ConstraintId trial = kind == ConstraintKind::upper ? 1 : 0;
  constraints_[index(trial)] = {value, var, kind};
  const std::size_t size = stack_.size();
  bool holds = kind == ConstraintKind::upper ? push_upper(trial) : push_lower(trial);
  if (holds) {
    apply_bounds();
    holds = simplex();
  }
  if (!holds) restore();
  while (stack_.size() > size) pop_entry();
  checked_ = size;
  in_conflict_ = false;
  return holds;
}

/// Would going this part of the way from the old values to the new ones keep every disequality that held?
bool Solver::shift_keeps_disequalities(const QNumber& step) const {
  for (const ConstraintId disequality : diseqs_) {
    const Var var = constraints_[index(disequality)].var;
    if (touched_at_[index(var)] != stamp_) continue;
    const auto old = std::find_if(old_values_.begin(), old_values_.end(),
                                  [var](const OldValue& entry) { return entry.var == var; });
    if (old->value == bound(disequality)) continue;
    DNumber shifted = values_[index(var)] - old->value;
    shifted *= step;
    shifted += old->value;
    if (shifted == bound(disequality)) return false;
  }
  return true;
}

}  // namespace vesk::la
