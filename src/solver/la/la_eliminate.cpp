#include "solver/la/la_solver.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <utility>

namespace vesk::la {

// A variable without atoms can take any value, so its row never constrains anything: the row is moved out of
// the tableau, where each pivot would have to keep it up, and gives the variable's value when somebody asks.
// Definitions mention variables that were in the tableau then; those eliminated later are evaluated first.

void Solver::keep(Var var) {
  restore_var(var);
  ++kept_[index(var)];
}

void Solver::release(Var var) {
  assert(kept_[index(var)] > 0);
  --kept_[index(var)];
  if (is_free(var)) elimination_candidates_.push_back(var);
}

bool Solver::is_free(Var var) const {
  return alive_[index(var)] != 0 && kept_[index(var)] == 0 && cuts_[index(var)].empty() &&
         equalities_[index(var)].empty();
}

void Solver::eliminate_free_vars() {
  if (options_.elimination)
    for (const Var var : elimination_candidates_) {
      // Rows grow as they are added up. What was polled away is looked at again at the next check.
      TerminationTest::poll(termination_);
      if (is_free(var) && elimination_of_[index(var)] < 0) eliminate(var);
    }
  elimination_candidates_.clear();
}

/// Makes a variable basic in the shortest row that it occurs in, if there is any.
void Solver::move_into_basis(Var var) {
  if (tableau_.is_basic(var)) return;
  std::int32_t best = -1;
  for (const Tableau::ColumnEntry& entry : tableau_.column(var))
    if (best < 0 || tableau_.row_size(entry.row) < tableau_.row_size(best)) best = entry.row;
  if (best >= 0) tableau_.pivot(tableau_.basic_of(best), var);
}

void Solver::eliminate(Var var) {
  assert(lower_[index(var)] == null_constraint && upper_[index(var)] == null_constraint);
  move_into_basis(var);
  const std::int32_t row = tableau_.row_of(var);
  if (row < 0) return;
  Elimination elimination{var, {}};
  for (const Tableau::RowEntry& entry : tableau_.row(row))
    if (entry.var != var) elimination.definition.push_back({entry.var, entry.coeff});
  for (const Monomial& monomial : elimination.definition) ++definition_uses_[index(monomial.var)];
  tableau_.remove_row(row);
  elimination_of_[index(var)] = static_cast<std::int32_t>(eliminations_.size());
  eliminations_.push_back(std::move(elimination));
}

/// Brings an eliminated variable back into the tableau, and before it those that its definition mentions.
void Solver::restore_var(Var var) {
  if (elimination_of_[index(var)] < 0) return;
  std::vector<Var> pending{var};
  while (!pending.empty()) {
    const Var next = pending.back();
    const std::int32_t position = elimination_of_[index(next)];
    if (position < 0) {
      pending.pop_back();
      continue;
    }
    Elimination& elimination = eliminations_[index(position)];
    const std::size_t before = pending.size();
    for (const Monomial& monomial : elimination.definition)
      if (elimination_of_[index(monomial.var)] >= 0) pending.push_back(monomial.var);
    if (pending.size() != before) continue;
    tableau_.add_row(next, elimination.definition);
    DNumber sum;
    for (const Monomial& monomial : elimination.definition)
      sum.self_addmul(monomial.coeff, values_[index(monomial.var)]);
    values_[index(next)] = std::move(sum);
    note_changed_value(next);  // to those whose definitions mention it
    drop_elimination(next);
    elimination_candidates_.push_back(next);
  }
}

/// The place in the list is left empty until there are more empty ones than others.
void Solver::drop_elimination(Var var) {
  Elimination& dropped = eliminations_[index(elimination_of_[index(var)])];
  for (const Monomial& monomial : dropped.definition) --definition_uses_[index(monomial.var)];
  dropped = Elimination{null_var, {}};
  elimination_of_[index(var)] = -1;
  ++empty_eliminations_;
  if (2 * empty_eliminations_ <= eliminations_.size()) return;
  std::erase_if(eliminations_, [](const Elimination& e) { return e.var == null_var; });
  empty_eliminations_ = 0;
  for (std::size_t i = 0; i < eliminations_.size(); ++i)
    elimination_of_[index(eliminations_[i].var)] = static_cast<std::int32_t>(i);
}

void Solver::refresh_eliminated() {
  const auto has_changed = [this](const Monomial& monomial) {
    return value_changed_[index(monomial.var)] != 0;
  };
  for (std::size_t i = eliminations_.size(); i-- > 0;) {
    const Elimination& elimination = eliminations_[i];
    if (std::none_of(elimination.definition.begin(), elimination.definition.end(), has_changed)) continue;
    DNumber sum;
    for (const Monomial& monomial : elimination.definition)
      sum.self_addmul(monomial.coeff, values_[index(monomial.var)]);
    values_[index(elimination.var)] = std::move(sum);
    note_changed_value(elimination.var);
  }
  for (const Var var : changed_values_) value_changed_[index(var)] = 0;
  changed_values_.clear();
  eliminated_are_fresh_ = true;
  assert(are_eliminated_right());
}

/// The sum over variables that are in the tableau; one of them may come more than once.
std::vector<Monomial> Solver::over_tableau(std::span<const Monomial> sum) const {
  std::vector<Monomial> result;
  std::map<std::int32_t, QNumber> eliminated;  // by place: definitions mention later ones only
  const auto add = [&](Var var, const QNumber& coeff) {
    if (elimination_of_[index(var)] >= 0)
      eliminated[elimination_of_[index(var)]] += coeff;
    else
      result.push_back({var, coeff});
  };
  for (const Monomial& monomial : sum) add(monomial.var, monomial.coeff);
  while (!eliminated.empty()) {
    const auto first = eliminated.begin();
    const Elimination& elimination = eliminations_[index(first->first)];
    const QNumber coeff = std::move(first->second);
    eliminated.erase(first);
    for (const Monomial& monomial : elimination.definition) add(monomial.var, coeff * monomial.coeff);
  }
  return result;
}

/// Brings the variables back whose definitions mention `var`.
void Solver::restore_users(Var var) {
  while (definition_uses_[index(var)] > 0) {
    const auto user = std::find_if(eliminations_.rbegin(), eliminations_.rend(), [var](const Elimination& e) {
      return std::any_of(e.definition.begin(), e.definition.end(),
                         [var](const Monomial& monomial) { return monomial.var == var; });
    });
    restore_var(user->var);
  }
}

void Solver::remove_var(Var var) {
  assert(is_free(var) && lower_[index(var)] == null_constraint && upper_[index(var)] == null_constraint);
  if (elimination_of_[index(var)] >= 0 && definition_uses_[index(var)] == 0) {
    drop_elimination(var);
  } else {
    restore_var(var);
    restore_users(var);
    move_into_basis(var);
    if (tableau_.is_basic(var)) tableau_.remove_row(tableau_.row_of(var));
  }
  alive_[index(var)] = 0;
  tableau_.free_var(var);
}

}  // namespace vesk::la
