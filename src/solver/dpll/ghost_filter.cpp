#include "solver/dpll/ghost_filter.h"

#include <algorithm>
#include <cassert>

namespace vesk::dpll {

void GhostFilter::add_clause(std::span<const Lit> lits) {
  const std::uint32_t place = static_cast<std::uint32_t>(places_.size());
  places_.push_back(lits_.size());
  lits_.insert(lits_.end(), lits.begin(), lits.end());
  for (Lit lit : lits) {
    if (lit.index() >= occurrences_.size()) occurrences_.resize((lit.index() | 1) + 1);
    std::vector<std::uint32_t>& list = occurrences_[lit.index()];
    if (list.empty() || list.back() != place) list.push_back(place);
  }
}

void GhostFilter::set_never_ghost(Var var) {
  const std::size_t v = static_cast<std::size_t>(var);
  if (v >= never_ghost_.size()) never_ghost_.resize(v + 1, 0);
  never_ghost_[v] = 1;
}

std::span<const Lit> GhostFilter::clause(std::size_t place) const {
  const std::size_t end = place + 1 < places_.size() ? places_[place + 1] : lits_.size();
  return std::span<const Lit>(lits_).subspan(places_[place], end - places_[place]);
}

bool GhostFilter::is_satisfied_without(std::size_t place, Var var) const {
  const auto lits = clause(place);
  return std::any_of(lits.begin(), lits.end(),
                     [&](Lit lit) { return lit.var() != var && values_[lit.index()] == l_true; });
}

bool GhostFilter::is_satisfied(std::size_t place, const std::vector<lbool>& model) const {
  const auto lits = clause(place);
  return std::any_of(lits.begin(), lits.end(), [&](Lit lit) {
    return model[static_cast<std::size_t>(lit.var())] == to_lbool(!lit.negated());
  });
}

bool GhostFilter::is_ghost(Var var) {
  const std::size_t v = static_cast<std::size_t>(var);
  if (v < never_ghost_.size() && never_ghost_[v] != 0) return false;
  if (v >= witness_.size()) witness_.resize(v + 1, UINT32_MAX);
  // Most variables that count do so for the same clause as before.
  if (witness_[v] < places_.size() && !is_satisfied_without(witness_[v], var)) return false;
  for (const Lit lit : {Lit(var), Lit(var, true)})
    for (const std::uint32_t place : occurrences(lit))
      if (!is_satisfied_without(place, var)) {
        witness_[v] = place;
        return false;
      }
  return true;
}

void GhostFilter::pop_backtrack_point(Var first) {
  const std::size_t count = marks_.back();
  marks_.pop_back();
  while (places_.size() > count) {
    const std::size_t place = places_.size() - 1;
    for (Lit lit : clause(place)) {
      std::vector<std::uint32_t>& list = occurrences_[lit.index()];
      if (!list.empty() && list.back() == place) list.pop_back();
    }
    lits_.resize(places_.back());
    places_.pop_back();
  }
  const std::size_t v = static_cast<std::size_t>(first);
  if (never_ghost_.size() > v) never_ghost_.resize(v);
  std::fill(witness_.begin(), witness_.end(), UINT32_MAX);
  if (witness_.size() > v) witness_.resize(v);
  assert(occurrences_.size() <= 2 * v || std::all_of(occurrences_.begin() + 2 * first, occurrences_.end(),
                                                     [](const auto& list) { return list.empty(); }));
}

}  // namespace vesk::dpll
