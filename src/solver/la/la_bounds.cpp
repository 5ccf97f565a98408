#include "solver/la/la_solver.h"

#include <algorithm>
#include <cassert>

namespace vesk::la {

Solver::Solver(const Options& options) : options_(options) {
  constraints_.resize(2);  // the trial bounds; atom 0 is theirs
  implication_of_.assign(2, -1);
  atoms_.emplace_back();
}

Var Solver::new_var() {
  const Var var = tableau_.new_var();
  if (index(var) == values_.size()) {
    values_.emplace_back();
    lower_.push_back(null_constraint);
    upper_.push_back(null_constraint);
    open_.push_back(0);
    cuts_.emplace_back();
    equalities_.emplace_back();
    in_to_check_.push_back(0);
    touched_at_.push_back(0);
    value_changed_.push_back(0);
    elimination_of_.push_back(-1);
    definition_uses_.push_back(0);
    kept_.push_back(0);
    alive_.push_back(0);
  }
  assert(open_[index(var)] == 0 && kept_[index(var)] == 0 && elimination_of_[index(var)] < 0);
  values_[index(var)] = DNumber();
  alive_[index(var)] = 1;
  elimination_candidates_.push_back(var);
  return var;
}

Var Solver::new_slack(std::span<const Monomial> definition) {
  // Values are those of the last successful check here, so the new row's value is right in every later state.
  assert(old_values_.empty());
  for (const Monomial& monomial : definition) restore_var(monomial.var);
  const Var slack = new_var();
  tableau_.add_row(slack, definition);
  DNumber sum;
  for (const Monomial& monomial : definition) sum.self_addmul(monomial.coeff, values_[index(monomial.var)]);
  values_[index(slack)] = std::move(sum);
  return slack;
}

AtomId Solver::add_at_most(Var var, const DNumber& value, const DNumber& negated_value) {
  return add_atom(var, ConstraintKind::upper, value, ConstraintKind::lower, negated_value);
}

AtomId Solver::add_at_least(Var var, const DNumber& value, const DNumber& negated_value) {
  return add_atom(var, ConstraintKind::lower, value, ConstraintKind::upper, negated_value);
}

AtomId Solver::add_equal(Var var, const QNumber& value) {
  return add_atom(var, ConstraintKind::equal, DNumber(value), ConstraintKind::disequal, DNumber(value));
}

AtomId Solver::add_atom(Var var, ConstraintKind kind, const DNumber& value, ConstraintKind negated,
                        const DNumber& other) {
  restore_var(var);
  AtomId atom;
  if (free_atoms_.empty()) {
    atom = static_cast<AtomId>(atoms_.size());
    atoms_.emplace_back();
    constraints_.resize(constraints_.size() + 2);
    implication_of_.resize(implication_of_.size() + 2, -1);
  } else {
    atom = free_atoms_.back();
    free_atoms_.pop_back();
  }
  atoms_[index(atom)] = Atom{0, true};
  constraints_[2 * index(atom)] = {value, var, kind};
  constraints_[2 * index(atom) + 1] = {other, var, negated};
  ++open_[index(var)];
  insert_sorted(atom);
  if (options_.deduction && !in_conflict_) imply_new_atom(atom);
  if (options_.deduction && is_open(atom)) touch_rows_of(var);
  return atom;
}

/// The constraint of an inequality or its negation that bounds the variable from above.
ConstraintId Solver::upper_side(AtomId atom) const {
  return constraints_[2 * index(atom)].kind == ConstraintKind::upper ? 2 * atom : 2 * atom + 1;
}

void Solver::insert_sorted(AtomId atom) {
  const Constraint& constraint = constraints_[2 * index(atom)];
  if (constraint.kind == ConstraintKind::equal) {
    std::vector<AtomId>& sorted = equalities_[index(constraint.var)];
    sorted.insert(
        std::upper_bound(sorted.begin(), sorted.end(), atom,
                         [this](AtomId a, AtomId b) { return cmp(bound(2 * a), bound(2 * b)) < 0; }),
        atom);
    return;
  }
  std::vector<AtomId>& sorted = cuts_[index(constraint.var)];
  sorted.insert(std::upper_bound(sorted.begin(), sorted.end(), atom,
                                 [this](AtomId a, AtomId b) {
                                   return cmp(bound(upper_side(a)), bound(upper_side(b))) < 0;
                                 }),
                atom);
}

/// An atom that comes when bounds are in force is not settled by a later tightening, which looks at newly
/// passed atoms only.
void Solver::imply_new_atom(AtomId atom) {
  const Constraint& constraint = constraints_[2 * index(atom)];
  const ConstraintId lower = lower_[index(constraint.var)];
  const ConstraintId upper = upper_[index(constraint.var)];
  if (constraint.kind == ConstraintKind::equal) {
    const int below = lower == null_constraint ? -1 : cmp(bound(lower), constraint.value);
    const int above = upper == null_constraint ? 1 : cmp(bound(upper), constraint.value);
    if (below > 0) {
      imply(2 * atom + 1, {&lower, 1});
    } else if (above < 0) {
      imply(2 * atom + 1, {&upper, 1});
    } else if (below == 0 && above == 0) {
      const ConstraintId reason[2] = {lower, upper};
      imply(2 * atom, {reason, lower == upper ? 1u : 2u});
    }
    return;
  }
  const ConstraintId side = upper_side(atom);
  if (upper != null_constraint && cmp(bound(upper), bound(side)) <= 0)
    imply(side, {&upper, 1});
  else if (lower != null_constraint && cmp(bound(lower), bound(side ^ 1)) >= 0)
    imply(side ^ 1, {&lower, 1});
}

void Solver::remove_atom(AtomId atom) {
  Atom& record = atoms_[index(atom)];
  assert(record.alive);
  if ((record.state & (asserted_true | asserted_false)) != 0) {
    // Only facts of level 0 can be asserted still, those of a backtrack point that was found contradictory.
    // They are taken from the middle of the stack by asserting the others anew.
    std::vector<ConstraintId> others;
    std::vector<std::size_t> level_sizes;
    for (std::size_t i = 0, level = 0; i < stack_.size(); ++i) {
      for (; level < marks_.size() && marks_[level].stack <= i; ++level) level_sizes.push_back(others.size());
      if (stack_[i].change == Change::asserted && stack_[i].constraint / 2 != atom)
        others.push_back(stack_[i].constraint);
    }
    level_sizes.resize(marks_.size(), others.size());
    while (!stack_.empty()) pop_entry();
    pop_implications(0);
    marks_.clear();
    for (std::size_t i = 0; i <= others.size(); ++i) {
      while (marks_.size() < level_sizes.size() && level_sizes[marks_.size()] <= i) push_level();
      if (i < others.size() && !in_conflict_) static_cast<void>(push(others[i]));
    }
  }
  for (const ConstraintId c : {2 * atom, 2 * atom + 1}) {
    if (!is_implied(c)) continue;
    implications_[index(implication_of_[index(c)])].constraint = null_constraint;
    implication_of_[index(c)] = -1;
  }
  // why: Reasons of other implications may name this atom only if it was asserted, which was dealt with
  // above.
  const Var var = constraints_[2 * index(atom)].var;
  std::vector<AtomId>& sorted = constraints_[2 * index(atom)].kind == ConstraintKind::equal
                                    ? equalities_[index(var)]
                                    : cuts_[index(var)];
  sorted.erase(std::find(sorted.begin(), sorted.end(), atom));
  if (record.state == 0) --open_[index(var)];
  record = Atom();
  free_atoms_.push_back(atom);
  if (is_free(var)) elimination_candidates_.push_back(var);
}

void Solver::push_level() {
  marks_.push_back({stack_.size(), diseqs_.size(), implications_.size(), next_implied_, reasons_.size()});
}

void Solver::pop_to_level(std::size_t level) {
  assert(level <= marks_.size());
  if (level == marks_.size()) return;
  const Mark mark = marks_[level];
  marks_.resize(level);
  while (stack_.size() > mark.stack) pop_entry();
  assert(diseqs_.size() == mark.diseqs);
  pop_implications(mark.implications);
  reasons_.resize(mark.reasons);
  next_implied_ = mark.next_implied;
}

void Solver::pop_implications(std::size_t count) {
  while (implications_.size() > count) {
    const ConstraintId constraint = implications_.back().constraint;
    implications_.pop_back();
    if (constraint == null_constraint) continue;
    implication_of_[index(constraint)] = -1;
    Atom& atom = atoms_[index(constraint) / 2];
    atom.state &= static_cast<std::uint8_t>(~implied);
    if (atom.state == 0) ++open_[index(constraints_[index(constraint)].var)];
  }
  if (next_implied_ > count) next_implied_ = count;
  if (count == 0) reasons_.clear();
}

void Solver::pop_entry() {
  const StackEntry entry = stack_.back();
  stack_.pop_back();
  checked_ = std::min(checked_, stack_.size());
  in_conflict_ = false;
  const Var var = constraints_[index(entry.constraint)].var;
  switch (entry.change) {
    case Change::lower: lower_[index(var)] = entry.old_bound; break;
    case Change::upper: upper_[index(var)] = entry.old_bound; break;
    case Change::asserted:
      Atom& atom = atoms_[index(entry.constraint) / 2];
      atom.state &= implied;
      if (atom.state == 0) ++open_[index(var)];
      if (constraints_[index(entry.constraint)].kind == ConstraintKind::disequal) diseqs_.pop_back();
      break;
  }
}

bool Solver::push(ConstraintId constraint) {
  const bool holds = push_constraint(constraint);
  assert(holds || is_conflict_proved());
  return holds;
}

bool Solver::push_constraint(ConstraintId constraint) {
  assert(!in_conflict_);
  Atom& atom = atoms_[index(constraint) / 2];
  assert(atom.alive && (atom.state & (asserted_true | asserted_false)) == 0);
  if (atom.state == 0) --open_[index(constraints_[index(constraint)].var)];
  atom.state |= asserted_state(constraint);
  stack_.push_back({constraint, null_constraint, Change::asserted});
  switch (constraints_[index(constraint)].kind) {
    case ConstraintKind::lower: return push_lower(constraint);
    case ConstraintKind::upper: return push_upper(constraint);
    case ConstraintKind::equal: return push_lower(constraint) && push_upper(constraint);
    case ConstraintKind::disequal: return push_disequal(constraint);
  }
  return true;
}

bool Solver::push_upper(ConstraintId constraint) {
  const Var var = constraints_[index(constraint)].var;
  const DNumber& value = bound(constraint);
  const ConstraintId old = upper_[index(var)];
  if (old != null_constraint && cmp(value, bound(old)) >= 0) return true;
  const ConstraintId lower = lower_[index(var)];
  const int gap = lower == null_constraint ? -1 : cmp(bound(lower), value);
  if (gap > 0) {
    set_conflict({constraint, lower});
    return false;
  }
  stack_.push_back({constraint, old, Change::upper});
  upper_[index(var)] = constraint;
  if (options_.deduction && constraint > 1)
    imply_above(var, constraint, old == null_constraint ? nullptr : &bound(old));
  return gap != 0 || check_fixed(var);
}

bool Solver::push_lower(ConstraintId constraint) {
  const Var var = constraints_[index(constraint)].var;
  const DNumber& value = bound(constraint);
  const ConstraintId old = lower_[index(var)];
  if (old != null_constraint && cmp(value, bound(old)) <= 0) return true;
  const ConstraintId upper = upper_[index(var)];
  const int gap = upper == null_constraint ? 1 : cmp(bound(upper), value);
  if (gap < 0) {
    set_conflict({constraint, upper});
    return false;
  }
  stack_.push_back({constraint, old, Change::lower});
  lower_[index(var)] = constraint;
  if (options_.deduction && constraint > 1)
    imply_below(var, constraint, old == null_constraint ? nullptr : &bound(old));
  return gap != 0 || check_fixed(var);
}

bool Solver::push_disequal(ConstraintId constraint) {
  diseqs_.push_back(constraint);
  const Var var = constraints_[index(constraint)].var;
  const ConstraintId lower = lower_[index(var)];
  const ConstraintId upper = upper_[index(var)];
  if (lower == null_constraint || upper == null_constraint || bound(lower) != bound(constraint) ||
      bound(upper) != bound(constraint))
    return true;
  set_conflict({constraint, lower, upper});
  return false;
}

/// The bounds of `var` have met: its equalities with that value are settled.
bool Solver::check_fixed(Var var) {
  const ConstraintId lower = lower_[index(var)];
  const ConstraintId upper = upper_[index(var)];
  const DNumber& value = bound(lower);
  const std::vector<AtomId>& sorted = equalities_[index(var)];
  auto it = std::lower_bound(sorted.begin(), sorted.end(), value,
                             [this](AtomId a, const DNumber& v) { return cmp(bound(2 * a), v) < 0; });
  const ConstraintId reason[2] = {lower, upper};
  for (; it != sorted.end() && bound(2 * *it) == value; ++it) {
    if ((atoms_[index(*it)].state & asserted_false) != 0) {
      set_conflict({2 * *it + 1, lower, upper});
      return false;
    }
    if (options_.deduction && is_open(*it) && lower > 1 && upper > 1)
      imply(2 * *it, {reason, lower == upper ? 1u : 2u});
  }
  return true;
}

void Solver::set_conflict(std::initializer_list<ConstraintId> constraints) {
  in_conflict_ = true;
  ++statistics_.conflicts;
  conflict_.clear();
  for (const ConstraintId c : constraints)
    if (std::find(conflict_.begin(), conflict_.end(), c) == conflict_.end()) conflict_.push_back(c);
}

ConstraintId Solver::next_implied() {
  while (next_implied_ < implications_.size()) {
    const ConstraintId constraint = implications_[next_implied_++].constraint;
    if (constraint != null_constraint) return constraint;
  }
  return null_constraint;
}

std::span<const ConstraintId> Solver::reason(ConstraintId constraint) const {
  assert(is_implied(constraint) && is_reason_proved(constraint));
  const Implication& implication = implications_[index(implication_of_[index(constraint)])];
  return {reasons_.data() + implication.reason_begin, implication.reason_size};
}

void Solver::violated_disequalities(std::vector<ConstraintId>& out) const {
  for (const ConstraintId c : diseqs_)
    if (values_[index(constraints_[index(c)].var)] == bound(c)) out.push_back(c);
}

}  // namespace vesk::la
