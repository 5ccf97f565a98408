#include <algorithm>

#include "solver/la/la_solver.h"

namespace vesk::la {

void Solver::add_to_equation(RowEquation& equation, Var var, const QNumber& coeff) const {
  if (!is_fixed(var)) {
    equation.sum.push_back({var, coeff});
    return;
  }
  equation.constant.self_addmul(coeff, bound(lower_[index(var)]).c);
  equation.reasons.push_back(lower_[index(var)]);
  if (upper_[index(var)] != lower_[index(var)]) equation.reasons.push_back(upper_[index(var)]);
}

std::vector<Solver::RowEquation> Solver::fractional_rows(const std::function<bool(Var)>& is_whole) {
  std::vector<RowEquation> equations;
  const auto should_be_whole = [&](Var var) { return is_whole(var) && !value(var).is_int(); };
  for (std::size_t r = 0; r < tableau_.row_limit(); ++r) {
    const std::int32_t row = static_cast<std::int32_t>(r);
    const Var basic = tableau_.basic_of(row);
    if (basic == null_var || !should_be_whole(basic)) continue;
    const auto entries = tableau_.row(row);
    if (!std::all_of(entries.begin(), entries.end(), [&](const auto& entry) { return is_whole(entry.var); }))
      continue;
    RowEquation& equation = equations.emplace_back();
    for (const Tableau::RowEntry& entry : entries) add_to_equation(equation, entry.var, entry.coeff);
  }
  for (const Elimination& elimination : eliminations_) {
    if (elimination.var == null_var || !should_be_whole(elimination.var)) continue;
    const std::vector<Monomial>& definition = elimination.definition;
    if (!std::all_of(definition.begin(), definition.end(),
                     [&](const auto& part) { return is_whole(part.var); }))
      continue;
    RowEquation& equation = equations.emplace_back();
    add_to_equation(equation, elimination.var, QNumber(-1));
    for (const Monomial& part : definition) add_to_equation(equation, part.var, part.coeff);
  }
  return equations;
}

}  // namespace vesk::la
