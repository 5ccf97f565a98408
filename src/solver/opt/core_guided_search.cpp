#include "solver/opt/core_guided_search.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace vesk::opt {

CoreGuidedSearch::CoreGuidedSearch(TermManager& terms, const PbManager::Group& group,
                                   const ConstantNumbers& numbers)
    : terms_(terms), numbers_(numbers), lower_(group.offset) {
  for (const SoftEntry& entry : group.entries) {
    if (entry.weight.sgn() > 0) {
      add(entry.label, entry.weight);
    } else {
      // What counts where the label is false costs as much less where it is true.
      lower_ += entry.weight;
      add(terms_.make_not(entry.label), entry.weight.neg());
    }
  }
  for (const auto& [formula, soft] : soft_) stratum_ = std::max(stratum_, soft.weight);
  stratum_ = stratum_ / QNumber(2);
}

// Of a formula and its negation one is violated, whatever else is.
void CoreGuidedSearch::add(Term formula, const QNumber& weight, std::size_t counter, std::size_t output) {
  QNumber rest = weight;
  if (const auto opposite = soft_.find(terms_.make_not(formula)); opposite != soft_.end()) {
    const QNumber common = std::min(rest, opposite->second.weight);
    lower_ += common;
    rest -= common;
    opposite->second.weight -= common;
    if (opposite->second.weight.is_zero()) soft_.erase(opposite);
  }
  if (rest.is_zero()) return;
  Soft& soft = soft_[formula];
  soft.weight += rest;
  if (counter == no_counter) return;
  soft.counter = counter;
  soft.output = output;
}

std::vector<Term> CoreGuidedSearch::assumptions() const {
  std::vector<Term> result;
  for (const auto& [formula, soft] : soft_)
    if (soft.weight >= stratum_) result.push_back(formula);
  return result;
}

std::vector<Term> CoreGuidedSearch::all() const {
  std::vector<Term> result;
  for (const auto& [formula, soft] : soft_) result.push_back(formula);
  return result;
}

void CoreGuidedSearch::note_core(const std::vector<Term>& core, std::vector<Term>& formulas) {
  assert(!core.empty());
  QNumber cost = soft_.at(core[0]).weight;
  for (Term formula : core) cost = std::min(cost, soft_.at(formula).weight);
  lower_ += cost;
  std::vector<Term> violations;
  Term some = terms_.make_false();
  for (Term formula : core) {
    violations.push_back(terms_.make_not(formula));
    some = terms_.make_or(some, violations.back());
    const auto at = soft_.find(formula);
    const Soft soft = at->second;
    at->second.weight -= cost;
    if (at->second.weight.is_zero()) soft_.erase(at);
    if (soft.counter == no_counter || soft.output + 1 == counters_[soft.counter].size()) continue;
    // One more of that counter's may be violated, at the same price.
    const Term next = terms_.make_not(counters_[soft.counter][soft.output + 1]);
    add(next, cost, soft.counter, soft.output + 1);
  }
  formulas.push_back(some);
  if (violations.size() == 1) return;
  CircuitBuilder builder(terms_, numbers_, formulas);
  counters_.push_back(builder.sort(violations));
  // The first output is true: that is what has been paid for.
  const Term second = terms_.make_not(counters_.back()[1]);
  add(second, cost, counters_.size() - 1, 1);
}

bool CoreGuidedSearch::note_model(const QNumber& gap, std::vector<Term>& formulas) {
  bool is_all = true;
  for (auto at = soft_.begin(); at != soft_.end();) {
    is_all = is_all && at->second.weight >= stratum_;
    if (at->second.weight > gap) {
      formulas.push_back(at->first);
      at = soft_.erase(at);
    } else {
      ++at;
    }
  }
  if (is_all) return true;
  lower_stratum();
  return false;
}

// The heaviest of what was not assumed yet, and all down to half its weight.
void CoreGuidedSearch::lower_stratum() {
  QNumber heaviest;
  for (const auto& [formula, soft] : soft_)
    if (soft.weight < stratum_) heaviest = std::max(heaviest, soft.weight);
  stratum_ = heaviest / QNumber(2);
}

}  // namespace vesk::opt
