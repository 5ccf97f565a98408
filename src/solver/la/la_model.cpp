#include "solver/la/la_solver.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <set>

#include "solver/util/hash_table.h"

namespace vesk::la {

namespace {

constexpr std::size_t min_model_passes = 100;

struct ByValue {
  bool operator()(const DNumber* a, const DNumber* b) const { return cmp(*a, *b) < 0; }
};

/// Lowers `delta` to the largest value for which `low < high` survives the replacement of the infinitesimal.
void keep_order(const DNumber& low, const DNumber& high, bool strictly, QNumber& delta) {
  if (low.k.is_zero() && high.k.is_zero()) return;  // most are so
  if (!(low.c < high.c) || !(low.k > high.k)) return;
  QNumber limit = (high.c - low.c) / (low.k - high.k);
  if (strictly) limit /= 2;
  if (limit < delta) delta = std::move(limit);
}

}  // namespace

void Solver::build_model(std::span<const DNumber* const> values_to_part) {
  if (!eliminated_are_fresh_) refresh_eliminated();
  QNumber& delta = delta_;
  delta = QNumber(1);
  for (std::size_t v = 0; v < values_.size(); ++v) {
    if (alive_[v] == 0) continue;
    if (lower_[v] != null_constraint) keep_order(bound(lower_[v]), values_[v], false, delta);
    if (upper_[v] != null_constraint) keep_order(values_[v], bound(upper_[v]), false, delta);
  }
  set_delta_value(delta);

  // Where no infinitesimal is, what is apart stays apart whatever it becomes.
  if (std::all_of(values_to_part.begin(), values_to_part.end(),
                  [](const DNumber* value) { return value->is_rational(); }))
    values_to_part = {};

  // Disequalities are kept by their constants, of which no variable may take the value unless it has it now.
  // Those that do not hold now are none of this function's business.
  std::vector<std::pair<Var, const DNumber*>> forbidden;
  for (const ConstraintId c : diseqs_) {
    const DNumber& value = values_[index(constraint_var(c))];
    if (!value.is_rational() && value != bound(c)) forbidden.push_back({constraint_var(c), &bound(c)});
  }

  const auto is_injective = [&] {
    if (!is_injective_on(values_to_part)) return false;
    return std::none_of(forbidden.begin(), forbidden.end(), [&](const std::pair<Var, const DNumber*>& entry) {
      return concrete(values_[index(entry.first)]) == entry.second->c;
    });
  };
  const std::size_t max_passes = std::max(min_model_passes, values_.size());
  for (std::size_t pass = 0; !is_injective(); ++pass) {
    if (pass < max_passes) {
      delta /= 2;
      continue;
    }
    // Halving can take more passes than this. Neighbours in the order of the abstract values that stay in
    // order keep all of them apart at once.
    std::set<const DNumber*, ByValue> distinct;
    distinct.insert(values_to_part.begin(), values_to_part.end());
    for (const auto& [var, value] : forbidden) {
      distinct.insert(&values_[index(var)]);
      distinct.insert(value);
    }
    const DNumber* previous = nullptr;
    for (const DNumber* value : distinct) {
      if (previous != nullptr) keep_order(*previous, *value, true, delta);
      previous = value;
    }
    break;
  }
  assert(is_injective());
  model_.resize(values_.size());
  in_model_changes_.resize(values_.size(), 0);
  for (std::size_t v = 0; v < values_.size(); ++v) {
    if (alive_[v] == 0) continue;
    if (values_[v].k.is_zero()) {
      if (model_[v] == values_[v].c) continue;
      model_[v] = values_[v].c;
    } else {
      QNumber value = concrete(values_[v]);
      if (model_[v] == value) continue;
      model_[v] = std::move(value);
    }
    if (std::exchange(in_model_changes_[v], 1) == 0) model_changes_.push_back(static_cast<Var>(v));
  }
}

/// Whether values that are not equal do not become so.
bool Solver::is_injective_on(std::span<const DNumber* const> values) const {
  std::vector<std::uint32_t> table(std::bit_ceil(2 * values.size() + 1), 0);  // places in `seen`, from 1
  std::vector<std::pair<QNumber, const DNumber*>> seen;
  for (const DNumber* value : values) {
    QNumber number = concrete(*value);
    std::size_t at = hsh::mix(number.hash());
    while (table[at &= table.size() - 1] != 0 && seen[table[at] - 1].first != number) ++at;
    if (table[at] != 0) {
      if (*seen[table[at] - 1].second != *value) return false;
      continue;
    }
    seen.emplace_back(std::move(number), value);
    table[at] = static_cast<std::uint32_t>(seen.size());
  }
  return true;
}

std::vector<Var> Solver::take_model_changes() {
  for (const Var var : model_changes_) in_model_changes_[index(var)] = 0;
  return std::exchange(model_changes_, {});
}

}  // namespace vesk::la
