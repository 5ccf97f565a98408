#include "solver/la/diophantine.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <utility>

namespace vesk::laz {
namespace {

// A branch costs less than what comes after these.
constexpr std::size_t max_steps = 50000;

void join(std::vector<ConstraintId>& reasons, const std::vector<ConstraintId>& others) {
  std::vector<ConstraintId> both;
  std::set_union(reasons.begin(), reasons.end(), others.begin(), others.end(), std::back_inserter(both));
  reasons.swap(both);
}

/// 0 for a form without variables.
QNumber common_divisor(const Form& form) {
  QNumber divisor;
  for (const auto& [var, coeff] : form.sum) divisor = gcd(divisor, coeff);
  return divisor;
}

/// The multiple of `divisor` nearest to `number`, as a quotient.
QNumber rounded_quotient(const QNumber& number, const QNumber& divisor) {
  return (number / divisor + QNumber(1, 2)).floor();
}

}  // namespace

void Form::add(const QNumber& factor, Var var) {
  const auto [at, is_new] = sum.emplace(var, factor);
  if (is_new) return;
  at->second += factor;
  if (at->second.is_zero()) sum.erase(at);
}

void Form::add(const QNumber& factor, const Form& other) {
  for (const auto& [var, coeff] : other.sum) add(factor * coeff, var);
  constant.self_addmul(factor, other.constant);
}

// A solution speaks of what was not solved for when it was made, so this ends.
void DiophantineSystem::substitute(Form& form, std::vector<ConstraintId>& reasons) {
  std::vector<Var> pending;
  for (const auto& [var, coeff] : form.sum) pending.push_back(var);
  while (!pending.empty()) {
    const Var var = pending.back();
    pending.pop_back();
    has_given_up_ |= ++steps_ > max_steps;
    const auto known = solutions_.find(var);
    if (known == solutions_.end()) continue;
    const auto at = form.sum.find(var);
    if (at == form.sum.end()) continue;  // gone since
    const QNumber factor = at->second;
    form.sum.erase(at);
    form.add(factor, known->second.form);
    join(reasons, known->second.reasons);
    for (const auto& [part, coeff] : known->second.form.sum) pending.push_back(part);
  }
}

bool DiophantineSystem::is_too_large(const Form& form) const {
  static const QNumber largest = [] {
    QNumber power(2);
    for (int i = 0; i < 11; ++i) power *= power;
    return power;
  }();
  return std::any_of(form.sum.begin(), form.sum.end(),
                     [](const auto& entry) { return entry.second.abs() > largest; });
}

bool DiophantineSystem::add(Form equation, std::vector<ConstraintId> reasons) {
  std::sort(reasons.begin(), reasons.end());
  reasons.erase(std::unique(reasons.begin(), reasons.end()), reasons.end());
  substitute(equation, reasons);
  for (;;) {
    TerminationTest::poll(termination_);
    if (equation.sum.empty()) {
      if (equation.constant.is_zero()) return true;
      conflict_ = std::move(reasons);
      return false;
    }
    const QNumber divisor = common_divisor(equation);
    equation.constant /= divisor;
    if (!equation.constant.is_int()) {
      conflict_ = std::move(reasons);
      return false;
    }
    for (auto& [var, coeff] : equation.sum) coeff /= divisor;
    if (is_too_large(equation)) {
      has_given_up_ = true;
      return true;
    }
    const auto smallest =
        std::min_element(equation.sum.begin(), equation.sum.end(),
                         [](const auto& a, const auto& b) { return a.second.abs() < b.second.abs(); });
    const auto [var, coeff] = *smallest;
    Solution solution;
    if (coeff.abs().is_one()) {
      equation.sum.erase(smallest);
      solution.form.add(coeff.neg(), equation);
      solution.reasons = std::move(reasons);
      solutions_.emplace(var, std::move(solution));
      return true;
    }
    // var = parameter - sum of the quotients: a definition of the parameter, which rests on nothing.
    const Var parameter = next_parameter_--;
    solution.form.add(QNumber(1), parameter);
    Form rest;
    rest.constant = equation.constant;
    rest.add(coeff, parameter);
    for (const auto& [other, other_coeff] : equation.sum) {
      if (other == var) continue;
      const QNumber quotient = rounded_quotient(other_coeff, coeff);
      if (!quotient.is_zero()) solution.form.add(quotient.neg(), other);
      const QNumber remainder = other_coeff - quotient * coeff;
      if (!remainder.is_zero()) rest.add(remainder, other);
    }
    solutions_.emplace(var, std::move(solution));
    equation = std::move(rest);
  }
}

std::optional<DiophantineSystem::Residue> DiophantineSystem::residue(Var var) {
  Residue result;
  Form form;
  form.add(QNumber(1), var);
  substitute(form, result.reasons);
  result.modulus = common_divisor(form);
  if (result.modulus.is_one()) return std::nullopt;
  result.rest = form.constant;
  if (result.modulus.is_zero()) return result;
  QNumber quotient;
  form.constant.divmod(result.modulus, &quotient, &result.rest);
  return result;
}

std::vector<Var> DiophantineSystem::solved_vars() const {
  std::vector<Var> vars;
  for (const auto& [var, solution] : solutions_)
    if (var >= 0) vars.push_back(var);
  return vars;
}

}  // namespace vesk::laz
