#include "solver/la/la_opt_solver.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace vesk::la {

namespace {
constexpr int max_greedy_steps = 200;
}

void OptSolver::additional_optimization_steps(bool satisfiable) {
  is_unbounded_ = false;
  if (!satisfiable || objective_ == null_var) return;
  is_unbounded_ = !minimize();
  commit();
}

void OptSolver::set_delta_value(QNumber& delta) {
  if (objective_ != null_var && max_delta_ < delta) delta = max_delta_;
}

std::optional<DNumber> OptSolver::relaxed_minimum() {
  assert(objective_ != null_var);
  [[maybe_unused]] const bool satisfiable = check(true);
  assert(satisfiable);
  try {
    const bool is_bounded = minimize();
    commit();
    return is_bounded ? std::optional(value(objective_)) : std::nullopt;
  } catch (...) {
    restore();
    throw;
  }
}

/// False: there is no least value.
bool OptSolver::minimize() {
  assert(elimination_of_[index(objective_)] < 0);
  move_into_basis(objective_);
  for (int step_count = 0;; ++step_count) {
    TerminationTest::poll(termination_);
    const std::optional<Step> step = find_improvement(step_count < max_greedy_steps);
    if (!step) return true;
    if (step->leaving == null_var) {
      note_ray(*step);
      return false;
    }
    take(*step);
  }
}

/// A variable whose move lets the objective fall, and how far it can go. Greedy: the one by which it falls
/// most quickly. Else the smallest one.
std::optional<OptSolver::Step> OptSolver::find_improvement(bool greedy) const {
  const auto has_room = [this](Var var, bool rises) {
    const ConstraintId limit = (rises ? upper_ : lower_)[index(var)];
    return limit == null_constraint || values_[index(var)] != bound(limit);
  };
  if (!has_room(objective_, false)) return std::nullopt;
  Step best;
  if (!tableau_.is_basic(objective_)) {
    best.entering = objective_;  // it is in no row
  } else {
    const QNumber* best_coeff = nullptr;
    for (const Tableau::RowEntry& entry : tableau_.row(tableau_.row_of(objective_))) {
      const bool rises = entry.coeff.sgn() < 0;
      if (entry.var == objective_ || !has_room(entry.var, rises)) continue;
      if (best_coeff != nullptr) {
        const int order = greedy ? cmp(entry.coeff.abs(), best_coeff->abs()) : 0;
        if (order < 0 || (order == 0 && entry.var > best.entering)) continue;
      }
      best_coeff = &entry.coeff;
      best.entering = entry.var;
      best.rises = rises;
    }
    if (best_coeff == nullptr) return std::nullopt;
  }
  find_limit(best);
  return best;
}

/// The first bound that is met on the way: of the objective if there is a choice, for then it is the end; of
/// the moving variable before others, which saves a pivot; else of the smallest variable.
void OptSolver::find_limit(Step& step) const {
  const auto rank = [&](Var var) { return var == objective_ ? 0 : var == step.entering ? 1 : 2; };
  const auto consider = [&](Var var, const QNumber& slope) {
    const ConstraintId limit = (slope.sgn() > 0 ? upper_ : lower_)[index(var)];
    if (limit == null_constraint) return;
    DNumber length = bound(limit) - values_[index(var)];
    length /= slope;
    if (step.leaving != null_var) {
      const int order = cmp(length, step.length);
      const auto place = std::pair(rank(var), var), best_place = std::pair(rank(step.leaving), step.leaving);
      if (order > 0 || (order == 0 && best_place < place)) return;
    }
    step.leaving = var;
    step.length = std::move(length);
  };
  const QNumber unit(step.rises ? 1 : -1);
  consider(step.entering, unit);
  for (const Tableau::ColumnEntry& entry : tableau_.column(step.entering))
    if (const Var basic = tableau_.basic_of(entry.row); basic != step.entering)
      consider(basic, unit * tableau_.coeff(entry));
}

void OptSolver::take(const Step& step) {
  DNumber change = step.length;
  if (!step.rises) change.self_neg();
  update(step.entering, change);
  if (step.leaving == step.entering || step.leaving == objective_) return;
  ++statistics_.pivots;
  const std::int32_t row = tableau_.row_of(step.leaving);
  tableau_.pivot(step.leaving, step.entering);
  if (options_.deduction) touch_row(row);
}

void OptSolver::note_ray(const Step& step) {
  const QNumber unit(step.rises ? 1 : -1);
  ray_.clear();
  ray_[step.entering] = unit;
  for (const Tableau::ColumnEntry& entry : tableau_.column(step.entering))
    ray_[tableau_.basic_of(entry.row)] = unit * tableau_.coeff(entry);
}

QNumber OptSolver::slope(std::span<const Monomial> sum) const {
  assert(is_unbounded_);
  QNumber result;
  for (const Monomial& monomial : over_tableau(sum))
    if (const auto found = ray_.find(monomial.var); found != ray_.end())
      result.self_addmul(monomial.coeff, found->second);
  return result;
}

}  // namespace vesk::la
