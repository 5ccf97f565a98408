#include "solver/theory/theory_manager.h"

#include <algorithm>
#include <cassert>

namespace vesk {

TheoryManager::TheoryManager(const Configuration::Theory& config, TermManager& terms,
                             PolarityChecker* polarity, const Logger& log)
    : config_(config), terms_(terms), polarity_(polarity), log_(log) {}

void TheoryManager::add_solver(TheorySolver& solver) {
  const int place = static_cast<int>(solvers_.size());
  assert(place < 8 * static_cast<int>(sizeof(AtomRecord::owners)));
  solvers_.push_back(&solver);
  switch (solver.part()) {
    case TheorySolver::Part::congruence: euf_ = place; break;
    case TheorySolver::Part::numbers: arithmetic_ = place; break;
    case TheorySolver::Part::none: break;
  }
  const auto at = [this](int i) { return i < 0 ? nullptr : solvers_[static_cast<std::size_t>(i)]; };
  detector_.set_solvers(at(euf_), at(arithmetic_));
  if (!config_.eq_propagation) return;
  equations_.subscribe(&solver);
  solver.set_eq_propagator(&equations_);
}

bool TheoryManager::tell_atom(Term atom, dpll::Var var) {
  if (static_cast<std::size_t>(var) >= atoms_.size()) atoms_.resize(static_cast<std::size_t>(var) + 1);
  record(var) = AtomRecord();
  if (atom == nullptr || !atom->is_atom() || atom->is_constant()) return false;
  std::uint8_t owners = 0;
  for (std::size_t i = 0; i < solvers_.size(); ++i)
    if (solvers_[i]->tell_atom(atom, var)) owners |= static_cast<std::uint8_t>(1u << i);
  record(var).term = atom;
  record(var).owners = owners;
  if (owners == 0) unowned_.push_back({atom, var});
  detector_.add_atom(atom);
  if (numbers_matter_ != !detector_.functions().empty()) share_numbers();
  if (!numbers_matter_ && is_numeric_equality(atom)) numeric_equalities_.push_back({atom, var});
  return owners != 0;
}

bool TheoryManager::is_numeric_equality(Term atom) const {
  return euf_ >= 0 && atom->tag() == Tag::equal && atom->child(0)->type()->is_number();
}

/// The first function has come, or the last one gone. EUF owns the equalities told from now on; those told
/// before, which it was spared, it is told now.
void TheoryManager::share_numbers() {
  numbers_matter_ = !numbers_matter_;
  if (euf_ < 0) return;
  solvers_[static_cast<std::size_t>(euf_)]->set_numbers_matter(numbers_matter_);
  if (!numbers_matter_) return;
  for (const auto& [atom, var] : numeric_equalities_) tell_euf_late(atom, var);
  numeric_equalities_.clear();
}

/// False if EUF owns the atom already, or declines it.
bool TheoryManager::tell_euf_late(Term atom, dpll::Var var) {
  const std::uint8_t euf_bit = static_cast<std::uint8_t>(1u << euf_);
  if ((record(var).owners & euf_bit) != 0) return false;
  if (!solvers_[static_cast<std::size_t>(euf_)]->tell_atom(atom, var)) return false;
  record(var).owners |= euf_bit;
  const dpll::Lit lit(var);
  if (search_->value(lit) == dpll::l_true) own_late({lit, euf_bit});
  if (search_->value(lit) == dpll::l_false) own_late({~lit, euf_bit});
  return true;
}

void TheoryManager::retract_atom(Term atom, dpll::Var var) {
  const std::uint8_t owners = record(var).owners;
  if (record(var).term == nullptr) return;
  for (std::size_t i = 0; i < solvers_.size(); ++i)
    if ((owners >> i & 1) != 0) solvers_[i]->retract_atom(var);
  // why the last: variables come in rising order, and the youngest goes first.
  const auto drop_last = [var](std::vector<std::pair<Term, dpll::Var>>& told) {
    assert(told.empty() || told.back().second <= var);
    if (!told.empty() && told.back().second == var) told.pop_back();
  };
  drop_last(unowned_);
  drop_last(numeric_equalities_);
  std::erase_if(late_, [var](const Late& late) { return late.lit.var() == var; });
  detector_.remove_atom(atom);
  if (numbers_matter_ != !detector_.functions().empty()) share_numbers();
  record(var) = AtomRecord();
}

void TheoryManager::new_decision_level() {
  for (TheorySolver* solver : solvers_) solver->new_decision_level();
}

void TheoryManager::cancel_until(int level) {
  in_conflict_ = -1;
  next_implier_ = 0;
  for (TheorySolver* solver : solvers_) solver->cancel_until(level);
  // They were assigned in this order, so the highest levels stand last.
  while (!filtered_.empty() && search_->level(filtered_.back().var()) > level) filtered_.pop_back();
  assert(std::all_of(filtered_.begin(), filtered_.end(),
                     [&](dpll::Lit lit) { return search_->level(lit.var()) <= level; }));
  if (late_.empty()) return;
  // What was told late is undone at a higher level than the one it was assigned at: it is told again.
  std::vector<Late> told;
  told.swap(late_);
  for (const Late& late : told)
    if (search_->value(late.lit) == dpll::l_true && search_->level(late.lit.var()) <= level) own_late(late);
}

void TheoryManager::own_late(Late late) {
  late_.push_back(late);
  for (std::size_t i = 0; in_conflict_ < 0 && i < solvers_.size(); ++i)
    if ((late.owners >> i & 1) != 0 && !solvers_[i]->assume(late.lit)) in_conflict_ = static_cast<int>(i);
}

/// A lemma has the sign that the solvers were spared: they have to know, or would ask for it for ever.
void TheoryManager::tell_filtered(dpll::Var var) {
  const auto at =
      std::find_if(filtered_.begin(), filtered_.end(), [var](dpll::Lit lit) { return lit.var() == var; });
  if (at == filtered_.end() || is_filtered(*at)) return;
  const dpll::Lit lit = *at;
  filtered_.erase(at);
  own_late({lit, record(var).owners});
}

void TheoryManager::push_backtrack_point() {
  for (TheorySolver* solver : solvers_) solver->push_backtrack_point();
}

void TheoryManager::pop_backtrack_point() {
  for (TheorySolver* solver : solvers_) solver->pop_backtrack_point();
}

bool TheoryManager::assume(dpll::Lit lit) {
  if (in_conflict_ >= 0) return false;
  if (config_.pure_literal_filtering && is_filtered(lit)) {
    filtered_.push_back(lit);
    ++statistics_.filtered_literals;
    return true;
  }
  const std::uint8_t owners = record(lit.var()).owners;
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if ((owners >> i & 1) == 0 || solvers_[i]->assume(lit)) continue;
    in_conflict_ = static_cast<int>(i);
    return false;
  }
  return true;
}

/// Nothing asserted is hurt if this literal of an atom is true in the model and not in the theories: the atom
/// occurs in the other sign only. What is below the backtrack points must be told, as formulas may come that
/// use the sign.
bool TheoryManager::is_filtered(dpll::Lit lit) {
  const Term atom = record(lit.var()).term;
  if (polarity_ == nullptr || search_->level(lit.var()) <= search_->num_backtrack_points()) return false;
  const int occurs = (*polarity_)(atom);
  return occurs == (lit.negated() ? PolarityChecker::positive : PolarityChecker::negative);
}

/// The lowest level of a literal that was held back and may not be any more, as a lemma has its sign; -1 if
/// there is none.
int TheoryManager::level_of_retold() const {
  int lowest = -1;
  for (const dpll::Lit lit : filtered_) {
    const int occurs = (*polarity_)(search_->term_of(lit.var()));
    if (occurs != PolarityChecker::both) continue;
    const int level = search_->level(lit.var());
    lowest = lowest < 0 ? level : std::min(lowest, level);
  }
  return lowest;
}

bool TheoryManager::check(bool approximate) {
  for (std::size_t i = 0; in_conflict_ < 0 && i < solvers_.size(); ++i)
    if (!solvers_[i]->check(approximate)) in_conflict_ = static_cast<int>(i);
  return in_conflict_ < 0;
}

void TheoryManager::get_conflict(std::vector<dpll::Lit>& lits) {
  assert(in_conflict_ >= 0);
  ++statistics_.conflicts;
  solvers_[static_cast<std::size_t>(in_conflict_)]->get_conflict(lits);
  assert(std::all_of(lits.begin(), lits.end(),
                     [this](dpll::Lit lit) { return search_->value(lit) == dpll::l_true; }));
}

dpll::Lit TheoryManager::get_next_implied() {
  for (; next_implier_ < solvers_.size(); ++next_implier_) {
    for (;;) {
      const dpll::Lit lit = solvers_[next_implier_]->get_next_implied();
      if (lit == dpll::lit_undef) break;
      if (search_->value(lit) == dpll::l_true) continue;
      if (config_.pure_literal_filtering && search_->value(lit) == dpll::l_false && is_filtered(~lit))
        continue;
      record(lit.var()).implier[lit.negated() ? 1 : 0] = static_cast<std::int8_t>(next_implier_);
      ++statistics_.implications;
      return lit;
    }
  }
  next_implier_ = 0;
  return dpll::lit_undef;
}

bool TheoryManager::get_explanation(dpll::Lit lit, bool lazy, std::vector<dpll::Lit>& reasons) {
  const int implier = record(lit.var()).implier[lit.negated() ? 1 : 0];
  assert(implier >= 0);
  return solvers_[static_cast<std::size_t>(implier)]->get_explanation(lit, lazy, reasons);
}

bool TheoryManager::has_lemmas() {
  return std::any_of(solvers_.begin(), solvers_.end(),
                     [](TheorySolver* solver) { return solver->has_lemmas(); });
}

TheoryManager::Lemma TheoryManager::next_lemma(std::vector<dpll::Lit>& lits) {
  lits.clear();
  const auto owner =
      std::find_if(solvers_.begin(), solvers_.end(), [](TheorySolver* s) { return s->has_lemmas(); });
  assert(owner != solvers_.end());
  ++statistics_.lemmas;
  lemma_.clear();
  const TheoryLemma lemma = (*owner)->get_lemma(lemma_);
  for (const TheoryLit lit : lemma_) {
    dpll::ProxyMaker::Options options;
    const bool is_preferred = static_cast<int>(lits.size()) == lemma.preferred;
    if (lemma.preferred >= 0) options.forced_polarity = dpll::to_lbool(is_preferred != lit.negated());
    const dpll::Var var = search_->make_proxy(lit.atom(), options, nullptr);
    if (polarity_ != nullptr) polarity_->add_literal(lit.atom(), lit.negated());
    tell_filtered(var);
    lits.push_back(dpll::Lit(var, lit.negated()));
  }
  if (lemma.handle < 0) return {-1, lemma.permanent};
  int id;
  if (free_lemmas_.empty()) {
    id = static_cast<int>(lemmas_.size());
    lemmas_.emplace_back();
  } else {
    id = free_lemmas_.back();
    free_lemmas_.pop_back();
  }
  lemmas_[static_cast<std::size_t>(id)] = {static_cast<int>(owner - solvers_.begin()), lemma.handle};
  return {id, lemma.permanent};
}

void TheoryManager::retract_lemma(int id) {
  if (id < 0) return;
  const PendingLemma lemma = lemmas_[static_cast<std::size_t>(id)];
  solvers_[static_cast<std::size_t>(lemma.owner)]->retract_lemma(lemma.handle);
  free_lemmas_.push_back(id);
}

TheoryManager::ModelFound TheoryManager::boolean_model_found() {
  TerminationTest::poll(termination_);
  if (const int level = level_of_retold(); level > 0) return {level - 1, true};
  ModelFound result = combine();
  if (result.go_on || result.backjump_level >= 0) return result;
  std::vector<std::pair<Term, Term>> undecided;
  if (euf_ >= 0)
    for (const TheorySolver* solver : solvers_) solver->pairs_to_decide(undecided);
  for (const auto& [a, b] : undecided) result.go_on |= make_interface_equality(a, b);
  if (result.go_on) return result;
  if (!unowned_.empty())
    throw TheoryIncomplete("no enabled theory decides " + unowned_.front().first->to_str());
  if (const Term application = detector_.boolean_argument())
    throw TheoryIncomplete("Boolean arguments of functions are not supported: " + application->to_str());
  for (TheorySolver* solver : solvers_) solver->require_model();
  return result;
}

void TheoryManager::build_model() {
  for (TheorySolver* solver : solvers_) solver->build_model();
}

Term TheoryManager::get_model_value(Term term) const {
  for (const TheorySolver* solver : solvers_)
    if (const Term value = solver->get_model_value(term)) return value;
  return nullptr;
}

bool TheoryManager::collect_model_changes(std::vector<Term>& changed) {
  bool all_can_tell = true;
  for (TheorySolver* solver : solvers_) all_can_tell = solver->collect_model_changes(changed) && all_can_tell;
  return all_can_tell;
}

void TheoryManager::recover() {
  in_conflict_ = -1;
  next_implier_ = 0;
  filtered_.clear();
  for (TheorySolver* solver : solvers_) solver->recover();
}

}  // namespace vesk
