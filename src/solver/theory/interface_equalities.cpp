#include <algorithm>
#include <map>
#include <span>

#include "solver/theory/theory_manager.h"
#include "solver/util/hash_table.h"

namespace vesk {

namespace {
constexpr int policy_eager = 1;
constexpr int policy_heuristic = 2;
constexpr int policy_off = 3;

/// A function of no numbers is congruence closure's alone: its table fits as it is.
bool is_about_numbers(const InterfaceTermDetector::Function& function) {
  const Term application = function.applications.front();
  return application->type()->is_number() ||
         std::any_of(application->children().begin(), application->children().end(),
                     [](Term argument) { return argument->type()->is_number(); });
}

/// The rows of one function's table, by the groups of the arguments.
class RowTable {
 public:
  void start(std::size_t num_rows, std::size_t arity) {
    keys_.clear();
    rows_.clear();
    arity_ = arity;
    std::size_t num_slots = 16;
    while (num_slots < 2 * num_rows) num_slots *= 2;
    slots_.assign(num_slots, -1);
  }
  /// The next group of the row that find_or_add() is about.
  void add_group(int group) { keys_.push_back(group); }
  /// The row that has the groups given last; `row` itself if it is the first.
  Term find_or_add(Term row) {
    const std::span<const int> key = key_of(rows_.size());
    std::uint64_t hash = 0;
    for (const int group : key) hash = hsh::combine(hash, static_cast<std::uint64_t>(group));
    std::size_t slot = hsh::mix(hash) & (slots_.size() - 1);
    for (; slots_[slot] >= 0; slot = (slot + 1) & (slots_.size() - 1)) {
      const std::size_t known = static_cast<std::size_t>(slots_[slot]);
      if (!std::equal(key.begin(), key.end(), key_of(known).begin())) continue;
      keys_.resize(keys_.size() - arity_);
      return rows_[known];
    }
    slots_[slot] = static_cast<std::ptrdiff_t>(rows_.size());
    rows_.push_back(row);
    return row;
  }

 private:
  std::span<const int> key_of(std::size_t row) const { return {keys_.data() + row * arity_, arity_}; }

  std::size_t arity_ = 0;
  std::vector<int> keys_;  // one row after the other
  std::vector<Term> rows_;
  std::vector<std::ptrdiff_t> slots_;  // numbers of rows, -1 where there is none
};

}  // namespace

/// A number that two terms share exactly if they have the same value in the models laid side by side: numeric
/// terms by arithmetic, others by their class.
int TheoryManager::value_of(Term term) const {
  if (term->type()->is_number() && arithmetic_ >= 0)
    return solvers_[static_cast<std::size_t>(arithmetic_)]->model_group(term);
  return solvers_[static_cast<std::size_t>(euf_)]->model_group(term);
}

void TheoryManager::forget_needed() {
  needed_.clear();
  needed_ids_.clear();
}

void TheoryManager::need(Term a, Term b) {
  if (b->id() < a->id()) std::swap(a, b);
  if (needed_ids_.insert({a->id(), b->id()}).second) needed_.push_back({a, b});
}

/// Reads each function's table out of the models. Two rows with the same arguments and unequal values show
/// that the models do not fit: the arguments that only arithmetic has equal are to be equal for EUF as well,
/// which makes the values congruent; if all of them are, it is the values' turn.
///
/// That is complete: numeric terms that are congruent need no comparison of their own. Their class grew by
/// asserted equations, which arithmetic knows, and by congruences; the first of these that arithmetic does
/// not respect has arguments with equal values, and so shows as two rows.
void TheoryManager::find_needed_equalities(std::size_t limit) {
  forget_needed();
  const TheorySolver& euf = *solvers_[static_cast<std::size_t>(euf_)];
  RowTable table;
  for (const InterfaceTermDetector::Function& function : detector_.functions()) {
    if (!is_about_numbers(function)) continue;
    table.start(function.applications.size(), function.symbol->arity());
    for (const Term application : function.applications) {
      for (const Term argument : application->children()) table.add_group(value_of(argument));
      const Term row = table.find_or_add(application);
      if (row == application || value_of(row) == value_of(application)) continue;
      bool arguments_differ = false;
      for (std::size_t i = 0; i < application->arity(); ++i) {
        const Term a = row->child(i);
        const Term b = application->child(i);
        if (euf.model_group(a) == euf.model_group(b)) continue;
        arguments_differ = true;
        need(a, b);
      }
      if (!arguments_differ) need(row, application);
      if (needed_.size() >= limit) return;
    }
  }
}

/// Arguments that congruence closure has apart although arithmetic has shown them to be equal. Where such an
/// equation was an atom once, arithmetic implies it again wherever it holds.
void TheoryManager::find_implied_equalities() {
  TheorySolver& arithmetic = *solvers_[static_cast<std::size_t>(arithmetic_)];
  const TheorySolver& euf = *solvers_[static_cast<std::size_t>(euf_)];
  arithmetic.build_implied_groups();
  std::map<int, Term> last_of_group;
  for (const InterfaceTermDetector::Function& function : detector_.functions())
    for (std::size_t i = 0; i < function.symbol->arity(); ++i) {
      last_of_group.clear();
      for (const Term application : function.applications) {
        const Term argument = application->child(i);
        if (!argument->type()->is_number()) break;
        const auto [last, is_new] = last_of_group.emplace(arithmetic.implied_group(argument), argument);
        if (!is_new && euf.model_group(last->second) != euf.model_group(argument))
          need(last->second, argument);
        last->second = argument;
      }
    }
}

/// False if nothing changed by that.
bool TheoryManager::make_needed_equalities() {
  bool has_changed = false;
  for (const auto& [a, b] : needed_) has_changed |= make_interface_equality(a, b);
  return has_changed;
}

/// The eager policy: all equalities that may be needed some time become atoms, which the theories may imply
/// and the search does not decide.
void TheoryManager::make_candidate_equalities() {
  constexpr std::size_t max_pairwise_terms = 500;
  std::vector<Term> terms;
  if (config_.pairwise_interface_eq)
    for (const InterfaceTermDetector::Function& function : detector_.functions())
      for (const Term application : function.applications) {
        terms.push_back(application);
        terms.insert(terms.end(), application->children().begin(), application->children().end());
      }
  std::sort(terms.begin(), terms.end(), TermIdLess());
  terms.erase(std::unique(terms.begin(), terms.end()), terms.end());
  if (!terms.empty() && terms.size() <= max_pairwise_terms) {
    make_candidate_equalities(terms);
    return;
  }
  for (const InterfaceTermDetector::Function& function : detector_.functions())
    for (std::size_t i = 0; i < function.symbol->arity(); ++i) {
      terms.clear();
      for (const Term application : function.applications) terms.push_back(application->child(i));
      make_candidate_equalities(terms);
    }
}

void TheoryManager::make_candidate_equalities(const std::vector<Term>& terms) {
  dpll::ProxyMaker::Options options;
  options.forced_polarity = dpll::l_true;
  options.decision = false;
  for (std::size_t i = 0; i < terms.size(); ++i)
    for (std::size_t j = 0; j < i && terms[i]->type()->is_number(); ++j) {
      Term a = terms[j], b = terms[i];
      if (a == b || !a->type()->is_number() || (a->is_number() && b->is_number())) continue;
      if (b->id() < a->id()) std::swap(a, b);
      const Term equality = terms_.make_raw_equal(a, b);
      if (search_->find_proxy(equality) != dpll::var_undef) continue;
      bool is_new = false;
      search_->make_proxy(equality, options, &is_new);
      if (polarity_ == nullptr) continue;
      polarity_->add_literal(equality, false);
      polarity_->add_literal(equality, true);
    }
}

/// Makes `a = b` an atom of both theories. False if nothing changed by that.
bool TheoryManager::make_interface_equality(Term a, Term b) {
  const Term equality = terms_.make_raw_equal(a, b);
  dpll::ProxyMaker::Options options;
  options.forced_polarity = dpll::l_true;
  bool is_new = false;
  const dpll::Var var = search_->make_proxy(equality, options, &is_new);
  const bool was_pure = polarity_ != nullptr && (*polarity_)(equality) != PolarityChecker::both;
  if (polarity_ != nullptr) {
    polarity_->add_literal(equality, false);
    polarity_->add_literal(equality, true);
  }
  if (is_new) {
    ++statistics_.interface_equalities;
    return true;
  }
  const bool is_undecided = dpll::is_undef(search_->value(dpll::Lit(var)));  // it did not matter until now
  if (!tell_euf_late(equality, var) && !is_undecided) return was_pure;
  ++statistics_.interface_equalities;
  search_->set_decision(var, true);
  search_->set_forced_polarity(var, dpll::l_true);
  return true;
}

TheoryManager::ModelFound TheoryManager::combine() {
  ModelFound result;
  if (detector_.functions().empty() || arithmetic_ < 0) return result;
  if (euf_ < 0) {
    log_.log(2, "not generating interface equalities because the EUF solver is not enabled");
    return result;
  }
  if (config_.interface_eq_policy == policy_off) {
    log_.log(2, "not generating interface equalities because policy is OFF in the configuration");
    throw TheoryIncomplete("theory combination is switched off by theory.interface_eq_policy");
  }
  TheorySolver& arithmetic = *solvers_[static_cast<std::size_t>(arithmetic_)];
  const TheorySolver& euf = *solvers_[static_cast<std::size_t>(euf_)];
  const std::size_t batch_size = config_.interface_eq_batch_size > 0
                                     ? static_cast<std::size_t>(config_.interface_eq_batch_size)
                                     : SIZE_MAX;
  arithmetic.build_abstract_model();
  find_needed_equalities(SIZE_MAX);
  if (needed_.empty()) return result;
  if (config_.interface_eq_policy == policy_heuristic) {
    // Before anything is moved or guessed, congruence closure may learn which arguments are known to be
    // equal: often that settles what else seemed needed, and no move could part them.
    std::vector<std::pair<Term, Term>> needed;
    needed.swap(needed_);
    forget_needed();
    find_implied_equalities();
    result.go_on = make_needed_equalities();
    needed.swap(needed_);
  }
  // Most of the rest is so by accident: the simplex method leaves many variables at one value.
  // why all of it: A batch moved apart leaves the next one as equal as before, which would then be guessed.
  const auto group_of = [&euf](Term term) { return euf.model_group(term); };
  if (!result.go_on && arithmetic.move_apart(needed_, group_of)) {
    arithmetic.build_abstract_model();
    find_needed_equalities(batch_size);
    if (needed_.empty()) return result;
  }
  if (!result.go_on) {
    if (needed_.size() > batch_size) needed_.resize(batch_size);
    result.go_on = make_needed_equalities();
    if (config_.interface_eq_policy == policy_eager) make_candidate_equalities();
  }
  if (!result.go_on)
    throw TheoryIncomplete("theory combination: no progress on " + needed_[0].first->to_str() + " and " +
                           needed_[0].second->to_str());
  // An equality that EUF was told late may need no decision, only another look: the search goes on where it
  // is.
  result.backjump_level = search_->decision_level();
  return result;
}

}  // namespace vesk
