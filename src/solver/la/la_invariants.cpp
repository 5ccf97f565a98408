#include "solver/la/la_solver.h"

#include <algorithm>
#include <map>

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
    for (std::uint32_t i = 0; i < implication.reason_size; ++i) {
      const ConstraintId c = reasons_[implication.reason_begin + i];
      if (c <= 1 || !is_asserted(c)) return false;
    }
  }
  return to_check_.empty();
}

bool Solver::are_eliminated_right() const {
  return std::all_of(eliminations_.begin(), eliminations_.end(), [this](const Elimination& elimination) {
    DNumber sum;
    for (const Monomial& monomial : elimination.definition)
      sum.self_addmul(monomial.coeff, values_[index(monomial.var)]);
    return elimination.var == null_var || sum == values_[index(elimination.var)];
  });
}

bool Solver::is_contradictory(std::span<const ConstraintId> constraints) const {
  Options options;
  options.deduction = options.elimination = options.proves_again = false;
  Solver fresh(options);
  std::map<Var, Var> copies;
  const auto copy = [&](Var var) {
    const auto [at, is_new] = copies.emplace(var, null_var);
    if (is_new) at->second = fresh.new_var();
    return at->second;
  };
  // why the rows of other basic variables do not matter: those have no bound here, and occur in no other row.
  for (const ConstraintId c : constraints) {
    const Var var = constraint_var(c);
    if (copies.contains(var) || !tableau_.is_basic(var)) continue;
    std::vector<Monomial> definition;
    for (const Tableau::RowEntry& entry : tableau_.row(tableau_.row_of(var)))
      if (entry.var != var) definition.push_back({copy(entry.var), entry.coeff});
    copies.emplace(var, fresh.new_slack(definition));
  }
  for (const ConstraintId c : constraints) {
    const Constraint& demand = constraints_[index(c)];
    // Only the atom itself is asserted; what its negation would be does not matter.
    const AtomId atom = demand.kind == ConstraintKind::disequal
                            ? fresh.add_equal(copy(demand.var), demand.value.c)
                            : fresh.add_atom(copy(demand.var), demand.kind, demand.value,
                                             demand.kind == ConstraintKind::equal   ? ConstraintKind::disequal
                                             : demand.kind == ConstraintKind::lower ? ConstraintKind::upper
                                                                                    : ConstraintKind::lower,
                                             demand.value);
    if (!fresh.push(demand.kind == ConstraintKind::disequal ? 2 * atom + 1 : 2 * atom)) return true;
  }
  return !fresh.check(false);
}

bool Solver::is_conflict_proved() const { return !options_.proves_again || is_contradictory(conflict_); }

bool Solver::is_reason_proved(ConstraintId constraint) const {
  if (!options_.proves_again) return true;
  std::vector<ConstraintId> constraints(1, constraint ^ 1);
  const Implication& implication = implications_[index(implication_of_[index(constraint)])];
  for (std::uint32_t i = 0; i < implication.reason_size; ++i)
    constraints.push_back(reasons_[implication.reason_begin + i]);
  return is_contradictory(constraints);
}

}  // namespace vesk::la
