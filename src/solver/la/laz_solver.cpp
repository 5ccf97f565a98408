#include "solver/la/laz_solver.h"

#include <algorithm>
#include <utility>

namespace vesk::laz {

Solver::Result Solver::check() {
  const Var branching = mapper_.most_fractional_var();
  if (branching == la::null_var) return Result::whole;
  clause_ = Clause();
  if (config_.laz_equality_elimination) {
    if (refutes_equations()) return Result::conflict;
    if (clause_.var != la::null_var) return Result::clause;
  }
  clause_.var = branching;
  clause_.at_most = rationals_.value(branching).floor();
  clause_.at_least = *clause_.at_most + QNumber(1);
  return Result::clause;
}

// The rows of fractional variables as equations between integers: what has one value by its bounds is a
// number there, and the equation rests on these bounds. Leaves in clause_ a bound that such an equation
// gives.
bool Solver::refutes_equations() {
  DiophantineSystem system(termination_);
  const auto is_whole = [this](Var var) { return mapper_.is_whole(var); };
  std::vector<la::Solver::RowEquation> rows = rationals_.fractional_rows(is_whole);
  // Short rows first: they are cheap, and say the most.
  std::stable_sort(rows.begin(), rows.end(),
                   [](const auto& a, const auto& b) { return a.sum.size() < b.sum.size(); });
  for (const la::Solver::RowEquation& row : rows) {
    Form form;
    form.constant = row.constant;
    QNumber denominators = row.constant.get_den();
    for (const la::Monomial& monomial : row.sum) denominators = lcm(denominators, monomial.coeff.get_den());
    form.constant *= denominators;
    for (const la::Monomial& monomial : row.sum) form.add(monomial.coeff * denominators, monomial.var);
    if (!system.add(std::move(form), row.reasons)) {
      conflict_ = system.conflict();
      return true;
    }
    if (system.has_given_up()) return false;
    // What one row says of its variables is often enough.
    for (const la::Monomial& monomial : row.sum) {
      if (refutes_bounds(system, monomial.var)) return true;
      if (clause_.var != la::null_var || system.has_given_up()) return false;
    }
  }
  for (const Var var : system.solved_vars()) {
    if (refutes_bounds(system, var)) return true;
    if (clause_.var != la::null_var || system.has_given_up()) return false;
  }
  return false;
}

// A variable that is `rest` modulo `modulus` (or is `rest`, if that is 0) has its bounds at such numbers.
bool Solver::refutes_bounds(DiophantineSystem& system, Var var) {
  const auto residue = system.residue(var);
  if (!residue) return false;
  const DiophantineSystem::Residue& known = *residue;
  const QNumber& rest = known.rest;
  const ConstraintId lower = rationals_.lower_bound(var), upper = rationals_.upper_bound(var);
  // The largest such number that is at most `number`.
  const auto at_most = [&](const QNumber& number) {
    return rest + ((number - rest) / known.modulus).floor() * known.modulus;
  };
  const bool is_number = known.modulus.is_zero();
  std::optional<QNumber> least, most;
  if (is_number) least = most = rest;
  if (lower != la::null_constraint && !is_number)
    least = at_most(rationals_.bound_value(lower) + known.modulus - QNumber(1));
  if (upper != la::null_constraint && !is_number) most = at_most(rationals_.bound_value(upper));
  const auto add = [&](std::vector<ConstraintId>& reasons, ConstraintId bound) {
    if (bound != la::null_constraint) reasons.push_back(bound);
  };
  const bool is_below = is_number && lower != la::null_constraint && rest < rationals_.bound_value(lower);
  const bool is_above = is_number && upper != la::null_constraint && rest > rationals_.bound_value(upper);
  if (is_below || is_above || (least && most && *least > *most)) {
    conflict_ = known.reasons;
    if (!is_above) add(conflict_, lower);
    if (!is_below) add(conflict_, upper);
    return true;
  }
  // A bound that the values of now do not meet is worth more than a branch.
  const la::DNumber& value = rationals_.value(var);
  const bool is_too_small = least && value < la::DNumber(*least);
  if (clause_.var != la::null_var || (!is_too_small && !(most && la::DNumber(*most) < value))) return false;
  std::vector<ConstraintId> reasons = known.reasons;
  if (!is_number) add(reasons, is_too_small ? lower : upper);
  if (!std::all_of(reasons.begin(), reasons.end(), is_literal_)) return false;
  clause_.reasons = std::move(reasons);
  clause_.var = var;
  (is_too_small ? clause_.at_least : clause_.at_most) = is_too_small ? least : most;
  return false;
}

}  // namespace vesk::laz
