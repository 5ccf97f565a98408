#include "solver/la/la_interface.h"

#include <algorithm>
#include <cassert>
#include <deque>
#include <map>
#include <utility>

namespace vesk::la {

LaSolverInterface::LaSolverInterface(const Configuration::Theory::La& config, TermManager& terms,
                                     std::unique_ptr<OptSolver> solver, const PolarityChecker* polarity)
    : config_(config),
      terms_(terms),
      solver_(std::move(solver)),
      polarity_(polarity),
      mapper_(*solver_),
      integers_(config_, *solver_, mapper_, [this](ConstraintId c) { return !is_taken(c); }) {
  solver_->set_disequality_filter([this](ConstraintId c) { return must_separate(c); });
}

Solver::Options LaSolverInterface::solver_options(const Configuration::Theory::La& config) {
  Solver::Options options;
  options.deduction = config.deduction_enabled;
  options.greedy_threshold = config.pivoting_greedy_threshold;
  return options;
}

bool LaSolverInterface::tell_atom(Term atom, dpll::Var var) {
  const bool congruence = atom->tag() == Tag::mod_congr;
  if (!congruence && !LinearAtom::is_arithmetic(atom)) return false;
  if (atom != newest_branch_.first && atom != newest_branch_.second) num_branches_ = 0;
  if (static_cast<std::size_t>(var) >= atom_of_var_.size())
    atom_of_var_.resize(static_cast<std::size_t>(var) + 1, 0);
  atom_of_var_[static_cast<std::size_t>(var)] = 0;
  if (congruence) {
    unsupported_.push_back({atom, var});
    return true;
  }
  const LinearAtom linear = LinearAtom::of(atom);
  const bool never = linear.relation == Relation::equal && linear.all_integer && !linear.bound.is_int();
  if (linear.sum.empty() || never) {
    units_.push_back({TheoryLit(atom, never || !linear.is_trivially_true()), var});
    return true;
  }
  model_is_built_ = false;
  const AtomId id = add_atom(linear, mapper_.acquire(linear.sum));
  if (static_cast<std::size_t>(id) >= atoms_.size()) atoms_.resize(static_cast<std::size_t>(id) + 1);
  atoms_[static_cast<std::size_t>(id)] = {atom, var, linear.all_integer};
  atom_of_var_[static_cast<std::size_t>(var)] = id;
  return true;
}

/// Strict bounds get an infinitesimal over the rationals and the next integer over the integers.
AtomId LaSolverInterface::add_atom(const LinearAtom& linear, Var var) {
  switch (linear.relation) {
    case Relation::at_most: {
      if (!linear.all_integer)
        return solver_->add_at_most(var, DNumber(linear.bound), DNumber(linear.bound, QNumber(1)));
      const QNumber floor = linear.bound.floor();
      return solver_->add_at_most(var, DNumber(floor), DNumber(floor + QNumber(1)));
    }
    case Relation::at_least: {
      if (!linear.all_integer)
        return solver_->add_at_least(var, DNumber(linear.bound), DNumber(linear.bound, QNumber(-1)));
      const QNumber ceil = linear.bound.ceil();
      return solver_->add_at_least(var, DNumber(ceil), DNumber(ceil - QNumber(1)));
    }
    case Relation::equal: break;
  }
  return solver_->add_equal(var, linear.bound);
}

void LaSolverInterface::retract_atom(dpll::Var var) {
  AtomId& id = atom_of_var_[static_cast<std::size_t>(var)];
  if (id == 0) {
    // The youngest atom goes first.
    if (!units_.empty() && units_.back().second == var) units_.pop_back();
    if (!unsupported_.empty() && unsupported_.back().second == var) unsupported_.pop_back();
    return;
  }
  const Var target = solver_->constraint_var(2 * id);
  std::erase(splits_, id);
  for (std::size_t i = delayed_.size(); i-- > 0;) {
    if (delayed_[i] / 2 != id) continue;
    delayed_.erase(delayed_.begin() + static_cast<std::ptrdiff_t>(i));
    for (std::size_t& mark : delayed_marks_) mark -= mark > i ? 1 : 0;
  }
  solver_->remove_atom(id);
  mapper_.release(target);
  atoms_[static_cast<std::size_t>(id)] = AtomRecord();
  id = 0;
}

void LaSolverInterface::new_decision_level() {
  solver_->push_level();
  delayed_marks_.push_back(delayed_.size());
}

void LaSolverInterface::cancel_until(int level) {
  const std::size_t open = static_cast<std::size_t>(level);
  solver_->pop_to_level(open);
  if (open < delayed_marks_.size()) {
    delayed_.resize(delayed_marks_[open]);
    delayed_marks_.resize(open);
  }
  splits_.clear();
  has_clause_ = false;
  arrived_.clear();
  conflict_.clear();
  model_is_built_ = false;
}

bool LaSolverInterface::assume(dpll::Lit lit) {
  if (solver_->in_conflict()) return false;
  const ConstraintId constraint = to_constraint(lit);
  if (constraint <= 1) return true;  // an atom without a constraint has number 0
  if (config_.delay_alien && is_delayed(atoms_[static_cast<std::size_t>(constraint / 2)])) {
    delayed_.push_back(constraint);
    return true;
  }
  return solver_->push(constraint);
}

bool LaSolverInterface::check(bool approximate) {
  splits_.clear();
  has_clause_ = false;
  conflict_.clear();
  model_is_built_ = false;
  if (!take_equalities() || !solver_->check(approximate)) return false;
  if (approximate) return true;
  if (!delayed_.empty()) {
    if (!check_delayed()) return false;
  } else {
    split_violated_equalities();
  }
  return !splits_.empty() || check_integers();
}

/// False: conflict. Else there may be a clause to be asked for.
bool LaSolverInterface::check_integers() {
  if (!config_.laz_enabled || !mapper_.has_integers()) return true;
  switch (integers_.check()) {
    case laz::Solver::Result::whole: return true;
    case laz::Solver::Result::conflict: conflict_ = integers_.conflict(); return false;
    case laz::Solver::Result::clause: break;
  }
  constexpr int max_branches = 20000;
  const Var var = integers_.clause().var;
  const bool is_bounded =
      solver_->lower_bound(var) != null_constraint && solver_->upper_bound(var) != null_constraint;
  if (!is_bounded && ++num_branches_ > max_branches)
    throw TheoryIncomplete("integers without bounds: " + std::to_string(max_branches) +
                           " branches came to no end");
  has_clause_ = true;
  return true;
}

/// A bound that some asserted constraints imply over the integers, or two of which one holds.
void LaSolverInterface::get_integer_clause(std::vector<TheoryLit>& lits) {
  const laz::Solver::Clause& clause = integers_.clause();
  for (const ConstraintId c : clause.reasons)
    lits.push_back(TheoryLit(atoms_[static_cast<std::size_t>(c / 2)].term, (c & 1) == 0));
  const Term term = mapper_.term_of(clause.var, terms_);
  newest_branch_ = {nullptr, nullptr};
  if (clause.at_most) {
    const Term most = terms_.make_number(*clause.at_most);
    newest_branch_.first = terms_.make_raw_leq(term, most);
    lits.push_back(TheoryLit(newest_branch_.first, false));
  }
  if (clause.at_least) {
    const Term least = terms_.make_number(*clause.at_least);
    newest_branch_.second = terms_.make_raw_leq(least, term);
    lits.push_back(TheoryLit(newest_branch_.second, false));
  }
  ++statistics_.branches;
  has_clause_ = false;
}

void LaSolverInterface::get_conflict(std::vector<dpll::Lit>& lits) {
  lits.clear();
  for (const ConstraintId c : conflict_.empty() ? solver_->conflict() : conflict_) add_reasons(c, lits);
}

/// The literal that a constraint is, or those that it rests on in the theory that it came from.
void LaSolverInterface::add_reasons(ConstraintId constraint, std::vector<dpll::Lit>& lits) const {
  if (!is_taken(constraint)) {
    lits.push_back(to_lit(constraint));
    return;
  }
  const AtomRecord& atom = atoms_[static_cast<std::size_t>(constraint / 2)];
  const TheoryEq& equation = equalities_[static_cast<std::size_t>(atom.equality)].equation;
  equation.source->explain_equation(equation, lits);
}

dpll::Lit LaSolverInterface::get_next_implied() {
  for (;;) {
    const ConstraintId constraint = solver_->next_implied();
    if (constraint == null_constraint) return dpll::lit_undef;
    if (!is_taken(constraint)) return to_lit(constraint);
  }
}

bool LaSolverInterface::get_explanation(dpll::Lit lit, bool lazy, std::vector<dpll::Lit>& reasons) {
  const auto reason = solver_->reason(to_constraint(lit));
  if (!lazy && (reason.size() > static_cast<std::size_t>(std::max(config_.lazy_expl_threshold, 0)) ||
                std::any_of(reason.begin(), reason.end(), [this](ConstraintId c) { return is_taken(c); })))
    return false;
  reasons.clear();
  for (const ConstraintId c : reason) add_reasons(c, reasons);
  return true;
}

/// Asserts the equations that came from other theories. False: conflict.
bool LaSolverInterface::take_equalities() {
  for (std::size_t i = 0; i < arrived_.size(); ++i) {
    const AtomId atom = atom_for(arrived_[i]);
    if (atom == 0 || solver_->is_asserted(2 * atom)) continue;
    ++statistics_.equalities_taken;
    if (solver_->push(2 * atom)) continue;
    arrived_.clear();
    return false;
  }
  arrived_.clear();
  return true;
}

/// The atom of an equation, made if it is new; 0 for one that arithmetic passes over. Those are left to the
/// comparison of the models, which would also find what the others say.
AtomId LaSolverInterface::atom_for(const TheoryEq& equation) {
  constexpr std::size_t max_equalities = 2000;  // each can cost a row
  std::pair<Term, Term> key(equation.left, equation.right);
  if (key.second->id() < key.first->id()) std::swap(key.first, key.second);
  if (const std::int32_t* known = equality_of_.find(key))
    return equalities_[static_cast<std::size_t>(*known)].atom;
  if (equalities_.size() >= max_equalities) return 0;
  const Term term = terms_.make_raw_equal(key.first, key.second);
  const LinearAtom linear = LinearAtom::of(term);
  if (linear.sum.empty() || (linear.all_integer && !linear.bound.is_int())) return 0;
  for (const LinearAtom::Summand& summand : linear.sum)
    if (mapper_.find(summand.term) == null_var) return 0;
  const AtomId id = solver_->add_equal(mapper_.acquire(linear.sum), linear.bound);
  if (static_cast<std::size_t>(id) >= atoms_.size()) atoms_.resize(static_cast<std::size_t>(id) + 1);
  const std::int32_t place = static_cast<std::int32_t>(equalities_.size());
  atoms_[static_cast<std::size_t>(id)] = {term, dpll::var_undef, linear.all_integer, place};
  equalities_.push_back({equation, id});
  equality_of_.insert(key, place);
  return id;
}

void LaSolverInterface::remove_equality(const TakenEquality& equality) {
  std::pair<Term, Term> key(equality.equation.left, equality.equation.right);
  if (key.second->id() < key.first->id()) std::swap(key.first, key.second);
  equality_of_.erase(key);
  const Var target = solver_->constraint_var(2 * equality.atom);
  solver_->remove_atom(equality.atom);
  mapper_.release(target);
  atoms_[static_cast<std::size_t>(equality.atom)] = AtomRecord();
}

/// The equations made since the point speak of terms that may be gone.
void LaSolverInterface::pop_backtrack_point() {
  arrived_.clear();
  for (; equalities_.size() > points_.back(); equalities_.pop_back()) remove_equality(equalities_.back());
  points_.pop_back();
}

bool LaSolverInterface::is_delayed(const AtomRecord& atom) const {
  return atom.term->tag() == Tag::equal && interface_.contains(atom.term->child(0)) &&
         interface_.contains(atom.term->child(1));
}

/// Puts the delayed equalities on top for the time of this check. The values that satisfy them stay.
bool LaSolverInterface::check_delayed() {
  const std::size_t level = solver_->num_levels();
  solver_->push_level();
  bool satisfiable = true;
  for (const ConstraintId c : delayed_) satisfiable = satisfiable && solver_->push(c);
  satisfiable = satisfiable && solver_->check(false);
  if (satisfiable)
    split_violated_equalities();
  else
    conflict_ = solver_->conflict();
  solver_->pop_to_level(level);
  return satisfiable;
}

/// An equality that occurs in one polarity only need not be false in the model where the search made it
/// false.
bool LaSolverInterface::is_pure(const AtomRecord& atom) const {
  return config_.pure_equality_filtering && polarity_ != nullptr &&
         (*polarity_)(atom.term) == PolarityChecker::positive;
}

bool LaSolverInterface::must_separate(ConstraintId disequality) const {
  const AtomRecord& atom = atoms_[static_cast<std::size_t>(disequality / 2)];
  // why not beside an objective: its least value may be where the disequality is violated.
  return !config_.split_rat_eq && objective_ == nullptr && !atom.integer && !is_pure(atom);
}

/// Asks for `a = b or a < b or b < a` for each equality that is false and yet holds in the assignment. Others
/// may come to hold after later moves, and are split then.
void LaSolverInterface::split_violated_equalities() {
  violated_.clear();
  solver_->violated_disequalities(violated_);
  for (const ConstraintId c : violated_) {
    if (is_pure(atoms_[static_cast<std::size_t>(c / 2)])) continue;
    splits_.push_back(c / 2);
    ++statistics_.splits;
  }
}

TheoryLemma LaSolverInterface::get_lemma(std::vector<TheoryLit>& lits) {
  lits.clear();
  TheoryLemma lemma;
  lemma.permanent = true;
  if (!units_.empty()) {
    lits.push_back(units_.back().first);
    units_.pop_back();
    return lemma;
  }
  if (splits_.empty()) {
    get_integer_clause(lits);
    // Towards 0: where nothing bounds a variable, the other way may go on without an end.
    const bool is_branch = integers_.clause().at_most && integers_.clause().at_least;
    if (is_branch) lemma.preferred = integers_.clause().at_most->sgn() >= 0 ? 0 : 1;
    return lemma;
  }
  const Term equality = atoms_[static_cast<std::size_t>(splits_.back())].term;
  splits_.pop_back();
  const Term at_most = terms_.make_raw_leq(equality->child(0), equality->child(1));
  const Term at_least = terms_.make_raw_leq(equality->child(1), equality->child(0));
  lits.push_back(TheoryLit(equality, false));
  lits.push_back(TheoryLit(at_most, true));
  lits.push_back(TheoryLit(at_least, true));
  return lemma;
}

void LaSolverInterface::notify_interface_term(Term term) {
  InterfaceRecord& record = interface_[term];
  if (record.users++ > 0) return;
  model_is_built_ = false;
  interface_terms_.push_back(term);
  Poly poly = Poly::of(term);
  std::vector<Monomial> sum;
  for (Poly::Monomial& monomial : poly.monomials)
    sum.push_back({mapper_.acquire_term(monomial.atom), std::move(monomial.coefficient)});
  record.sum = std::move(sum);
  record.constant = std::move(poly.constant);
}

void LaSolverInterface::retract_interface_term(Term term) {
  InterfaceRecord* record = interface_.find(term);
  assert(record != nullptr && record->users > 0);
  if (--record->users > 0) return;
  for (const Monomial& monomial : record->sum) mapper_.release(monomial.var);
  interface_.erase(term);
  // why from the end: atoms go in the reverse order of their arrival.
  const auto at = std::find(interface_terms_.rbegin(), interface_terms_.rend(), term);
  interface_terms_.erase(std::next(at).base());
}

DNumber LaSolverInterface::value_of(const InterfaceRecord& record) const {
  if (record.is_variable()) return solver_->value(record.sum[0].var);
  DNumber value(record.constant);
  for (const Monomial& monomial : record.sum) value.self_addmul(monomial.coeff, solver_->value(monomial.var));
  return value;
}

void LaSolverInterface::build_abstract_model() {
  std::map<DNumber, int> groups;
  for (const Term term : interface_terms_) {
    InterfaceRecord& record = *interface_.find(term);
    record.group = groups.emplace(value_of(record), static_cast<int>(groups.size())).first->second;
  }
}

int LaSolverInterface::model_group(Term term) const {
  const InterfaceRecord* record = interface_.find(term);
  return record == nullptr ? -1 : record->group;
}

// The variables that can part one of the pairs when they move.
std::vector<Var> LaSolverInterface::parting_vars(std::span<const std::pair<Term, Term>> pairs) const {
  std::vector<Var> vars;
  std::vector<Monomial> difference;
  for (const auto& [a, b] : pairs) {
    difference = interface_.find(a)->sum;
    for (const Monomial& monomial : interface_.find(b)->sum)
      difference.push_back({monomial.var, monomial.coeff.neg()});
    for (const Monomial& monomial : solver_->normal_form(difference).movable) vars.push_back(monomial.var);
  }
  std::sort(vars.begin(), vars.end());
  vars.erase(std::unique(vars.begin(), vars.end()), vars.end());
  return vars;
}

bool LaSolverInterface::move_apart(std::span<const std::pair<Term, Term>> at_issue,
                                   const std::function<int(Term)>& group_of) {
  // Delayed equalities hold in the assignment, but are not asserted any more.
  if (!config_.model_mutation || !delayed_.empty()) return false;
  std::vector<Var> to_move = parting_vars(at_issue);
  if (objective_ != nullptr) {
    // Its value is the least one, and stays.
    const Monomial objective{objective_var_, QNumber(1)};
    for (const Monomial& monomial : solver_->normal_form({&objective, 1}).movable)
      std::erase(to_move, monomial.var);
  }
  if (to_move.empty()) return false;
  hsh::Map<Term, bool> are_at_issue;
  for (const auto& [a, b] : at_issue) are_at_issue[a] = are_at_issue[b] = true;
  std::vector<Solver::SharedSum> sums;
  for (const Term term : interface_terms_) {
    const InterfaceRecord& record = *interface_.find(term);
    sums.push_back({record.sum, record.constant, group_of(term), are_at_issue.contains(term)});
  }
  const bool has_moved = solver_->move_apart(to_move, sums, mapper_.freedom());
  if (has_moved) model_is_built_ = false;
  return has_moved;
}

void LaSolverInterface::set_objective(Term constant, const QNumber& max_delta) {
  if (constant == objective_) return;
  if (objective_ != nullptr) {
    solver_->set_objective(null_var, max_delta);
    solver_->release(objective_var_);
    mapper_.release(std::exchange(objective_var_, null_var));
  }
  objective_ = constant;
  if (constant == nullptr) return;
  objective_var_ = mapper_.acquire_term(constant);
  solver_->keep(objective_var_);
  solver_->set_objective(objective_var_, max_delta);
}

/// Where an objective falls for ever, what is equal now and parts on the way has to be equal by a constraint,
/// or the theories would no longer fit far out.
void LaSolverInterface::pairs_to_decide(std::vector<std::pair<Term, Term>>& pairs) const {
  if (objective_ == nullptr || !solver_->is_unbounded()) return;
  struct Member {
    Term term;
    QNumber slope;
  };
  std::map<DNumber, Member> members;
  for (const Term term : interface_terms_) {
    const InterfaceRecord& record = *interface_.find(term);
    Member member{term, solver_->slope(record.sum)};
    const auto [first, is_new] = members.emplace(value_of(record), member);
    if (!is_new && first->second.slope != member.slope) pairs.push_back({first->second.term, term});
  }
}

void LaSolverInterface::build_implied_groups() {
  // What is equal in all solutions is equal in this one: of most terms that is all to be known.
  std::vector<std::size_t> num_of_value;
  for (const Term term : interface_terms_) {
    const std::size_t value = static_cast<std::size_t>(interface_.find(term)->group);
    if (value >= num_of_value.size()) num_of_value.resize(value + 1);
    ++num_of_value[value];
  }
  solver_->expel_fixed_vars();
  std::map<Solver::NormalForm, int> groups;
  int num_alone = 0;
  for (const Term term : interface_terms_) {
    InterfaceRecord& record = *interface_.find(term);
    if (num_of_value[static_cast<std::size_t>(record.group)] == 1) {
      record.implied_group = -2 - num_alone++;
      continue;
    }
    Solver::NormalForm form = solver_->normal_form(record.sum);
    form.constant += record.constant;
    record.implied_group = groups.emplace(std::move(form), static_cast<int>(groups.size())).first->second;
  }
}

int LaSolverInterface::implied_group(Term term) const {
  const InterfaceRecord* record = interface_.find(term);
  return record == nullptr ? -1 : record->implied_group;
}

void LaSolverInterface::concretize() {
  if (model_is_built_) return;
  // What another theory sees of values is which of these are equal.
  std::vector<const DNumber*> shared;
  std::deque<DNumber> sums;
  for (const Term term : interface_terms_) {
    const InterfaceRecord& record = *interface_.find(term);
    if (record.is_variable()) {
      shared.push_back(&solver_->value(record.sum[0].var));
    } else {
      sums.push_back(value_of(record));
      shared.push_back(&sums.back());
    }
  }
  solver_->build_model(shared);
  model_is_built_ = true;
}

void LaSolverInterface::require_model() {
  if (!unsupported_.empty())
    throw TheoryIncomplete("modular congruences are not supported: " + unsupported_.front().first->to_str());
  if (!mapper_.has_integers() && !mapper_.has_opaque_terms()) return;
  concretize();
  if (objective_ != nullptr && solver_->is_unbounded() && mapper_.has_opaque_terms())
    throw TheoryIncomplete("an objective without a bound, and terms that are not linear beside it");
  if (const Term term = mapper_.fractional_term()) {
    assert(!config_.laz_enabled);
    throw TheoryIncomplete("integer arithmetic is switched off by theory.la.laz_enabled, and " +
                           term->to_str() + " has a fractional value");
  }
  if (const Term term = mapper_.opaque_term_at_fault())
    throw TheoryIncomplete("only linear arithmetic is supported: the value of " + term->to_str() +
                           " in the model found is not that of its arguments");
}

void LaSolverInterface::build_model() { concretize(); }

Term LaSolverInterface::get_model_value(Term term) const {
  QNumber value;
  const bool is_known = model_is_built_ && term->type()->is_number() && mapper_.evaluate_model(term, value);
  return is_known ? terms_.make_number(value) : nullptr;
}

bool LaSolverInterface::collect_model_changes(std::vector<Term>& changed) {
  const auto add = [&changed](Term term) {
    if (term != nullptr) changed.push_back(term);
  };
  for (const Var var : solver_->take_model_changes()) add(mapper_.atomic_term(var));
  told_terms_.resize(std::max(told_terms_.size(), mapper_.var_limit()));
  for (std::size_t v = 0; v < told_terms_.size(); ++v) {
    const Term term = mapper_.atomic_term(static_cast<Var>(v));
    if (term == told_terms_[v]) continue;
    add(term);
    add(std::exchange(told_terms_[v], term));
  }
  return true;
}

void LaSolverInterface::recover() {
  arrived_.clear();
  conflict_.clear();
}

}  // namespace vesk::la
