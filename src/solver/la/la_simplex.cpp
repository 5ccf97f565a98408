#include "solver/la/la_solver.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <utility>

namespace vesk::la {

namespace {
constexpr int min_greedy_pivots = 20;
}

bool Solver::check(bool approximate) {
  if (in_conflict_) return false;
  ++statistics_.checks;
  if (!elimination_candidates_.empty()) eliminate_free_vars();
  const std::size_t first_new_bound = checked_;
  bool satisfiable = false;
  try {
    apply_bounds();
    satisfiable = simplex();
    if (satisfiable) {
      commit();
      if (!approximate) satisfiable = separate_disequalities();
    } else {
      restore();
    }
    if (!approximate) additional_optimization_steps(satisfiable);
  } catch (...) {
    while (!stack_.empty() && stack_.back().constraint <= 1) pop_entry();  // a trial bound
    restore();
    clear_touched_rows();
    throw;
  }
  if (satisfiable && options_.deduction) deduce(first_new_bound);
  clear_touched_rows();
  assert(check_invariants() && (satisfiable || is_conflict_proved()));
  return satisfiable;
}

bool Solver::is_below(Var var) const {
  const ConstraintId lower = lower_[index(var)];
  return lower != null_constraint && cmp(values_[index(var)], bound(lower)) < 0;
}

bool Solver::is_above(Var var) const {
  const ConstraintId upper = upper_[index(var)];
  return upper != null_constraint && cmp(values_[index(var)], bound(upper)) > 0;
}

/// Remembers the value of before the check, once.
void Solver::touch(Var var) {
  if (touched_at_[index(var)] == stamp_) return;
  touched_at_[index(var)] = stamp_;
  old_values_.push_back({var, values_[index(var)]});
}

void Solver::note_changed_value(Var var) {
  eliminated_are_fresh_ = false;
  if (std::exchange(value_changed_[index(var)], 1) == 0) changed_values_.push_back(var);
}

/// The values satisfy all that is on the stack.
void Solver::commit() {
  assert(to_check_.empty());
  checked_ = stack_.size();
  for (const OldValue& old : old_values_) note_changed_value(old.var);
  old_values_.clear();
  ++stamp_;
}

/// Back to the values of the last commit, which satisfy every bound that was on the stack then and still is.
void Solver::restore() {
  for (OldValue& old : old_values_) values_[index(old.var)] = std::move(old.value);
  old_values_.clear();
  ++stamp_;
  for (const Var var : to_check_) in_to_check_[index(var)] = 0;
  to_check_.clear();
}

void Solver::enqueue_if_violated(Var basic) {
  if (in_to_check_[index(basic)] != 0 || !(is_below(basic) || is_above(basic))) return;
  in_to_check_[index(basic)] = 1;
  to_check_.push_back(basic);
}

/// Brings the non-basic variables within the bounds that came since the last check and lists the basic ones
/// that are out of theirs.
void Solver::apply_bounds() {
  for (std::size_t i = checked_; i < stack_.size(); ++i) {
    if (stack_[i].change == Change::asserted) continue;
    const Var var = constraints_[index(stack_[i].constraint)].var;
    if (tableau_.is_basic(var))
      enqueue_if_violated(var);
    else if (is_below(var))
      update(var, bound(lower_[index(var)]) - values_[index(var)]);
    else if (is_above(var))
      update(var, bound(upper_[index(var)]) - values_[index(var)]);
  }
}

void Solver::update(Var nonbasic, const DNumber& delta) {
  touch(nonbasic);
  values_[index(nonbasic)] += delta;
  for (const Tableau::ColumnEntry& entry : tableau_.column(nonbasic)) {
    const Var basic = tableau_.basic_of(entry.row);
    touch(basic);
    values_[index(basic)].self_addmul(tableau_.coeff(entry), delta);
    enqueue_if_violated(basic);
  }
}

bool Solver::simplex() {
  const int threshold =
      options_.greedy_threshold > 0
          ? options_.greedy_threshold
          : std::max(min_greedy_pivots,
                     static_cast<int>(tableau_.var_limit() - eliminations_.size() + empty_eliminations_));
  for (int iteration = 1;; ++iteration) {
    TerminationTest::poll(termination_);
    const bool greedy = iteration < threshold;
    const Var leaving = select_violated(greedy);
    if (leaving == null_var) return true;
    const bool below = is_below(leaving);
    const Var entering = select_entering(leaving, below, greedy);
    if (entering == null_var) {
      explain_row(leaving, below);
      return false;
    }
    pivot_and_update(leaving, entering, bound(below ? lower_[index(leaving)] : upper_[index(leaving)]));
  }
}

/// A basic variable out of its bounds, and drops those from the list that are within them. Greedy: the one
/// with the shortest row, which makes short explanations and little fill, and among these the one farthest
/// out. Else, by Bland's rule, the smallest one.
Var Solver::select_violated(bool greedy) {
  Var best = null_var;
  std::size_t best_size = 0;
  DNumber best_violation;
  std::size_t kept = 0;
  for (const Var var : to_check_) {
    const bool below = is_below(var);
    if (!below && !is_above(var)) {
      in_to_check_[index(var)] = 0;
      continue;
    }
    to_check_[kept++] = var;
    if (!greedy) {
      if (best == null_var || var < best) best = var;
      continue;
    }
    const std::size_t size = tableau_.row_size(tableau_.row_of(var));
    if (best != null_var && size > best_size) continue;
    DNumber violation = below ? bound(lower_[index(var)]) - values_[index(var)]
                              : values_[index(var)] - bound(upper_[index(var)]);
    if (best != null_var && size == best_size) {
      const int order = cmp(violation, best_violation);
      if (order < 0 || (order == 0 && var > best)) continue;
    }
    best = var;
    best_size = size;
    best_violation = std::move(violation);
  }
  to_check_.resize(kept);
  return best;
}

/// A non-basic variable of the row that has room to move `leaving` into its bounds, `null_var` if there is
/// none. Greedy: the one with the shortest column, as each of its entries costs a row operation. Else the
/// smallest one.
Var Solver::select_entering(Var leaving, bool increase, bool greedy) const {
  Var best = null_var;
  std::size_t best_size = 0;
  for (const Tableau::RowEntry& entry : tableau_.row(tableau_.row_of(leaving))) {
    if (entry.var == leaving) continue;
    const std::size_t size = tableau_.column_size(entry.var);
    if (best != null_var &&
        (greedy ? size > best_size || (size == best_size && entry.var > best) : entry.var > best))
      continue;
    const bool entry_increases = (entry.coeff.sgn() > 0) == increase;
    const ConstraintId limit = (entry_increases ? upper_ : lower_)[index(entry.var)];
    if (limit != null_constraint && values_[index(entry.var)] == bound(limit)) continue;
    best = entry.var;
    best_size = size;
  }
  return best;
}

void Solver::pivot_and_update(Var leaving, Var entering, const DNumber& target) {
  ++statistics_.pivots;
  const std::int32_t row = tableau_.row_of(leaving);
  for (const Tableau::ColumnEntry& entry : tableau_.column(entering)) {
    if (entry.row != row) continue;
    DNumber theta = target - values_[index(leaving)];
    theta /= tableau_.coeff(entry);
    // the entry of `leaving` itself is brought exactly to its target by this, too
    update(entering, theta);
    break;
  }
  assert(values_[index(leaving)] == target);
  tableau_.pivot(leaving, entering);
  enqueue_if_violated(entering);
  if (options_.deduction) touch_row(row);
}

void Solver::expel_fixed_vars() {
  for (std::size_t r = 0; r < tableau_.row_limit(); ++r) {
    const std::int32_t row = static_cast<std::int32_t>(r);
    const Var basic = tableau_.basic_of(row);
    if (basic == null_var || !is_fixed(basic)) continue;
    Var entering = null_var;
    for (const Tableau::RowEntry& entry : tableau_.row(row))
      if (!is_fixed(entry.var) &&
          (entering == null_var || tableau_.column_size(entry.var) < tableau_.column_size(entering)))
        entering = entry.var;
    if (entering == null_var) continue;
    ++statistics_.pivots;
    tableau_.pivot(basic, entering);
    if (options_.deduction) touch_row(row);
  }
}

std::strong_ordering operator<=>(const Solver::NormalForm& a, const Solver::NormalForm& b) {
  const auto order = [](const QNumber& x, const QNumber& y) {
    return x == y  ? std::strong_ordering::equal
           : x < y ? std::strong_ordering::less
                   : std::strong_ordering::greater;
  };
  if (const auto sizes = a.movable.size() <=> b.movable.size(); sizes != 0) return sizes;
  for (std::size_t i = 0; i < a.movable.size(); ++i) {
    if (const auto vars = a.movable[i].var <=> b.movable[i].var; vars != 0) return vars;
    if (const auto coeffs = order(a.movable[i].coeff, b.movable[i].coeff); coeffs != 0) return coeffs;
  }
  return order(a.constant, b.constant);
}

Solver::NormalForm Solver::normal_form(std::span<const Monomial> sum) const {
  NormalForm form;
  std::map<Var, QNumber> movable;
  const auto add_nonbasic = [&](Var var, const QNumber& coeff) {
    if (is_fixed(var))
      form.constant.self_addmul(coeff, bound(lower_[index(var)]).c);
    else
      movable[var] += coeff;
  };
  for (const auto& [var, coeff] : over_tableau(sum)) {
    if (!tableau_.is_basic(var)) {
      add_nonbasic(var, coeff);
      continue;
    }
    for (const Tableau::RowEntry& entry : tableau_.row(tableau_.row_of(var)))
      if (entry.var != var) add_nonbasic(entry.var, coeff * entry.coeff);
  }
  for (auto& [var, coeff] : movable)
    if (!coeff.is_zero()) form.movable.push_back({var, std::move(coeff)});
  return form;
}

/// The bounds that keep the row of `basic` from reaching its own bound.
void Solver::explain_row(Var basic, bool below) {
  in_conflict_ = true;
  ++statistics_.conflicts;
  conflict_.clear();
  conflict_.push_back(below ? lower_[index(basic)] : upper_[index(basic)]);
  for (const Tableau::RowEntry& entry : tableau_.row(tableau_.row_of(basic)))
    if (entry.var != basic) conflict_.push_back(side_bound(entry, !below));
}

}  // namespace vesk::la
