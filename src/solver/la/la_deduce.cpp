#include "solver/la/la_solver.h"

#include <algorithm>
#include <cassert>

namespace vesk::la {

namespace {
// Longer rows seldom imply anything, and their reasons make poor clauses.
constexpr std::size_t max_deduction_row = 300;
}  // namespace

void Solver::touch_row(std::int32_t row) {
  if (index(row) >= row_touched_.size()) row_touched_.resize(tableau_.row_limit(), 0);
  if (row_touched_[index(row)] != 0) return;
  row_touched_[index(row)] = 1;
  touched_rows_.push_back(row);
}

void Solver::touch_rows_of(Var var) {
  for (const Tableau::ColumnEntry& entry : tableau_.column(var)) touch_row(entry.row);
}

void Solver::clear_touched_rows() {
  for (const std::int32_t row : touched_rows_) row_touched_[index(row)] = 0;
  touched_rows_.clear();
}

/// Looks at every row once that a pivot changed or in which a bound moved, those from entry `first_new_bound`
/// of the stack on.
void Solver::deduce(std::size_t first_new_bound) {
  for (std::size_t i = first_new_bound; i < stack_.size(); ++i)
    if (stack_[i].change != Change::asserted) touch_rows_of(constraints_[index(stack_[i].constraint)].var);
  for (const std::int32_t row : touched_rows_) deduce_from_row(row);
}

/// Whether the entries at these places still show that the row says nothing. They are where the last visit
/// met unbounded variables, and may hold others by now.
bool Solver::are_unbounded(std::span<const Tableau::RowEntry> row, const UnboundedPlaces& places) const {
  const auto is_unbounded = [&](std::size_t place, bool minimum) {
    return place < row.size() && side_bound(row[place], minimum) == null_constraint;
  };
  return places.below[0] != places.below[1] && places.above[0] != places.above[1] &&
         is_unbounded(places.below[0], true) && is_unbounded(places.below[1], true) &&
         is_unbounded(places.above[0], false) && is_unbounded(places.above[1], false);
}

/// In `sum a_i x_i = 0`, the bounds of all variables but one bound that one. So a side of the row on which
/// two variables are unbounded says nothing, and one with a single unbounded variable speaks of that variable
/// alone.
void Solver::deduce_from_row(std::int32_t row) {
  const std::span<const Tableau::RowEntry> entries = tableau_.row(row);
  if (entries.size() > max_deduction_row) return;
  ++statistics_.row_visits;
  if (index(row) >= unbounded_.size()) unbounded_.resize(tableau_.row_limit());
  UnboundedPlaces& places = unbounded_[index(row)];
  if (are_unbounded(entries, places)) return;
  int unbounded_below = 0;
  int unbounded_above = 0;
  bool has_open_atom = false;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    // The last two met so far; which ones does not matter.
    if (side_bound(entries[i], true) == null_constraint) places.below[unbounded_below++ & 1] = i;
    if (side_bound(entries[i], false) == null_constraint) places.above[unbounded_above++ & 1] = i;
    if (unbounded_below > 1 && unbounded_above > 1) return;
    has_open_atom |= open_[index(entries[i].var)] > 0;
  }
  if (!has_open_atom) return;
  if (unbounded_below <= 1) deduce_side(row, true, unbounded_below);
  if (unbounded_above <= 1) deduce_side(row, false, unbounded_above);
  if (unbounded_below <= 1 && unbounded_above <= 1) deduce_equality(row);
}

/// A row all of whose variables but one have a single value each fixes that one.
void Solver::deduce_equality(std::int32_t row) {
  const Tableau::RowEntry* target = nullptr;
  for (const Tableau::RowEntry& entry : tableau_.row(row)) {
    if (is_fixed(entry.var)) continue;
    if (target != nullptr || equalities_[index(entry.var)].empty()) return;
    target = &entry;
  }
  if (target == nullptr || open_[index(target->var)] == 0) return;
  DNumber value;
  for (const Tableau::RowEntry& entry : tableau_.row(row))
    if (&entry != target) value.self_addmul(entry.coeff, bound(lower_[index(entry.var)]));
  value.self_neg();
  value /= target->coeff;
  const std::vector<AtomId>& equalities = equalities_[index(target->var)];
  auto it = std::lower_bound(equalities.begin(), equalities.end(), value,
                             [this](AtomId a, const DNumber& v) { return cmp(bound(2 * a), v) < 0; });
  std::vector<ConstraintId> reason;
  for (; it != equalities.end() && bound(2 * *it) == value; ++it) {
    if (!is_open(*it)) continue;
    if (reason.empty())
      for (const Tableau::RowEntry& entry : tableau_.row(row)) {
        if (&entry == target) continue;
        const ConstraintId lower = lower_[index(entry.var)], upper = upper_[index(entry.var)];
        reason.push_back(lower);
        if (upper != lower) reason.push_back(upper);
      }
    imply(2 * *it, reason);
  }
}

/// With S the sum of the smallest values of all summands, `a_j x_j <= -(S - min a_j x_j)`; for the largest
/// values the mirror image. `unbounded` summands, at most one, have no such value.
void Solver::deduce_side(std::int32_t row, bool minimum, int unbounded) {
  DNumber sum;
  for (const Tableau::RowEntry& entry : tableau_.row(row)) {
    const ConstraintId side = side_bound(entry, minimum);
    if (side == null_constraint) {
      if (open_[index(entry.var)] == 0) return;
    } else {
      sum.self_addmul(entry.coeff, bound(side));
    }
  }
  // Infinitesimals come from strict bounds alone, which push the sum inwards.
  assert(minimum ? sum.k.sgn() >= 0 : sum.k.sgn() <= 0);
  for (const Tableau::RowEntry& entry : tableau_.row(row)) {
    const ConstraintId side = side_bound(entry, minimum);
    if (unbounded != 0 && side != null_constraint) continue;
    if (open_[index(entry.var)] == 0) continue;
    DNumber rest = sum;
    if (side != null_constraint) rest.self_addmul(entry.coeff.neg(), bound(side));
    rest.self_neg();
    rest /= entry.coeff;
    // Of the infinitesimal only the sign counts: y < 1 gives y/2 < 1/2, not y/2 <= 1/2 - d/2.
    RowReason reason{row, entry.var, minimum};
    if ((entry.coeff.sgn() > 0) == minimum) {
      assert(rest.k.sgn() <= 0);
      rest.k = QNumber(rest.k.sgn());
      imply_upper(entry.var, rest, reason);
    } else {
      assert(rest.k.sgn() >= 0);
      rest.k = QNumber(rest.k.sgn());
      imply_lower(entry.var, rest, reason);
    }
  }
}

/// A row says `var <= value`. Only the strongest atom that this settles is implied: the weaker ones follow
/// from its own bound. Equalities between `value` and that bound are settled by the row alone.
void Solver::imply_upper(Var var, const DNumber& value, RowReason& reason) {
  const ConstraintId current = upper_[index(var)];
  if (current != null_constraint && cmp(value, bound(current)) >= 0) return;
  const DNumber* limit = current != null_constraint ? &bound(current) : nullptr;
  const std::vector<AtomId>& cuts = cuts_[index(var)];
  const auto cut = std::lower_bound(cuts.begin(), cuts.end(), value, [this](AtomId a, const DNumber& v) {
    return cmp(bound(upper_side(a)), v) < 0;
  });
  if (cut != cuts.end() && (limit == nullptr || cmp(bound(upper_side(*cut)), *limit) < 0)) {
    if (is_open(*cut)) imply(upper_side(*cut), reason);
    limit = &bound(upper_side(*cut));
  }
  const std::vector<AtomId>& equalities = equalities_[index(var)];
  auto it = std::upper_bound(equalities.begin(), equalities.end(), value,
                             [this](const DNumber& v, AtomId a) { return cmp(v, bound(2 * a)) < 0; });
  for (; it != equalities.end() && (limit == nullptr || cmp(bound(2 * *it), *limit) <= 0); ++it)
    if (is_open(*it)) imply(2 * *it + 1, reason);
}

void Solver::imply_lower(Var var, const DNumber& value, RowReason& reason) {
  const ConstraintId current = lower_[index(var)];
  if (current != null_constraint && cmp(value, bound(current)) <= 0) return;
  const DNumber* limit = current != null_constraint ? &bound(current) : nullptr;
  // the strongest atom whose lower side is at most the value is the last one
  const std::vector<AtomId>& cuts = cuts_[index(var)];
  auto cut = std::upper_bound(cuts.begin(), cuts.end(), value, [this](const DNumber& v, AtomId a) {
    return cmp(v, bound(upper_side(a) ^ 1)) < 0;
  });
  if (cut != cuts.begin()) {
    --cut;
    const ConstraintId side = upper_side(*cut) ^ 1;
    if (limit == nullptr || cmp(bound(side), *limit) > 0) {
      if (is_open(*cut)) imply(side, reason);
      limit = &bound(side);
    }
  }
  const std::vector<AtomId>& equalities = equalities_[index(var)];
  auto it = std::lower_bound(equalities.begin(), equalities.end(), value,
                             [this](AtomId a, const DNumber& v) { return cmp(bound(2 * a), v) < 0; });
  while (it != equalities.begin()) {
    --it;
    if (limit != nullptr && cmp(bound(2 * *it), *limit) < 0) break;
    if (is_open(*it)) imply(2 * *it + 1, reason);
  }
}

/// `constraint` has become the upper bound of `var`: settles the atoms between it and the bound before it, if
/// any.
void Solver::imply_above(Var var, ConstraintId constraint, const DNumber* old_upper) {
  if (open_[index(var)] == 0) return;
  const DNumber& value = bound(constraint);
  const std::vector<AtomId>& cuts = cuts_[index(var)];
  auto cut = std::lower_bound(cuts.begin(), cuts.end(), value, [this](AtomId a, const DNumber& v) {
    return cmp(bound(upper_side(a)), v) < 0;
  });
  for (; cut != cuts.end(); ++cut) {
    const ConstraintId side = upper_side(*cut);
    if (old_upper != nullptr && cmp(bound(side), *old_upper) >= 0) break;
    if (is_open(*cut)) imply(side, {&constraint, 1});
  }
  const std::vector<AtomId>& equalities = equalities_[index(var)];
  auto it = std::upper_bound(equalities.begin(), equalities.end(), value,
                             [this](const DNumber& v, AtomId a) { return cmp(v, bound(2 * a)) < 0; });
  for (; it != equalities.end() && (old_upper == nullptr || cmp(bound(2 * *it), *old_upper) <= 0); ++it)
    if (is_open(*it)) imply(2 * *it + 1, {&constraint, 1});
}

void Solver::imply_below(Var var, ConstraintId constraint, const DNumber* old_lower) {
  if (open_[index(var)] == 0) return;
  const DNumber& value = bound(constraint);
  const std::vector<AtomId>& cuts = cuts_[index(var)];
  auto cut = std::upper_bound(cuts.begin(), cuts.end(), value, [this](const DNumber& v, AtomId a) {
    return cmp(v, bound(upper_side(a) ^ 1)) < 0;
  });
  while (cut != cuts.begin()) {
    const ConstraintId side = upper_side(*--cut) ^ 1;
    if (old_lower != nullptr && cmp(bound(side), *old_lower) <= 0) break;
    if (is_open(*cut)) imply(side, {&constraint, 1});
  }
  const std::vector<AtomId>& equalities = equalities_[index(var)];
  auto it = std::lower_bound(equalities.begin(), equalities.end(), value,
                             [this](AtomId a, const DNumber& v) { return cmp(bound(2 * a), v) < 0; });
  while (it != equalities.begin()) {
    --it;
    if (old_lower != nullptr && cmp(bound(2 * *it), *old_lower) < 0) break;
    if (is_open(*it)) imply(2 * *it + 1, {&constraint, 1});
  }
}

void Solver::imply(ConstraintId constraint, std::span<const ConstraintId> reason) {
  assert(is_open(constraint / 2));
  ++statistics_.implications;
  atoms_[index(constraint) / 2].state |= implied;
  --open_[index(constraints_[index(constraint)].var)];
  implication_of_[index(constraint)] = static_cast<std::int32_t>(implications_.size());
  implications_.push_back(
      {constraint, static_cast<std::uint32_t>(reasons_.size()), static_cast<std::uint32_t>(reason.size())});
  reasons_.insert(reasons_.end(), reason.begin(), reason.end());
}

/// Writes the reason when the first implication needs it; the others of the same bound share it.
void Solver::imply(ConstraintId constraint, RowReason& reason) {
  if (reason.size == 0) {
    reason.begin = static_cast<std::uint32_t>(reasons_.size());
    for (const Tableau::RowEntry& entry : tableau_.row(reason.row))
      if (entry.var != reason.target) reasons_.push_back(side_bound(entry, reason.minimum));
    reason.size = static_cast<std::uint32_t>(reasons_.size()) - reason.begin;
  }
  imply(constraint, std::span<const ConstraintId>());
  implications_.back().reason_begin = reason.begin;
  implications_.back().reason_size = reason.size;
}

}  // namespace vesk::la
