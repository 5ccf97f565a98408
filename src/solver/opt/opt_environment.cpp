#include "solver/opt/opt_environment.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "solver/env/pipeline.h"
#include "solver/term/visit.h"

namespace vesk::opt {

namespace {

QNumber power_of_tenth(int exponent) {
  QNumber result(1);
  for (int i = 0; i < exponent; ++i) result /= QNumber(10);
  return result;
}

// An option's real number, which is above 0 and at most 1, as a fraction.
QNumber to_fraction(double number) {
  constexpr long denominator = 1L << 20;
  const long numerator = std::lround(number * static_cast<double>(denominator));
  return QNumber(std::max(numerator, 1L)) / QNumber(denominator);
}

}  // namespace

OptEnvironment::OptEnvironment(const Configuration& config, Environment* sibling)
    : Environment(config, sibling), sums_(terms(), this->config().opt) {}

OptEnvironment::~OptEnvironment() = default;

// Objectives.

Objective* OptEnvironment::make_objective(bool maximizes, Term term) {
  if (!term->type()->is_number())
    throw EnvironmentError("type error. term " + term->to_short_str() + " has type " + term->type()->name() +
                           ", but a number was expected. (objective)");
  const auto free = std::find(objectives_.begin(), objectives_.end(), nullptr);
  const std::size_t number = static_cast<std::size_t>(free - objectives_.begin());
  auto objective = std::make_unique<Objective>();
  objective->maximizes = maximizes;
  objective->term = term;
  objective->number = static_cast<int>(number);
  const bool is_integer = term->type()->is_integer();
  const std::string name = (is_integer ? "obj_int_" : "obj_") + std::to_string(number);
  objective->constant = terms().make_constant(terms().make_internal_symbol(name, term->type()));
  const Term minus_one = terms().make_number(QNumber(-1));
  const Term minimized = maximizes ? terms().make_times(minus_one, term) : term;
  objective->definition = terms().make_equal(objective->constant, minimized);
  if (number == objectives_.size()) objectives_.emplace_back();
  objectives_[number] = std::move(objective);
  return objectives_[number].get();
}

// The greatest of some terms is the least number that is not below any of them.
Objective* OptEnvironment::make_extreme(bool greatest_minimum, std::span<const Term> parts) {
  if (parts.empty()) throw EnvironmentError("an objective over terms needs at least one");
  const Type* type = parts[0]->type();
  for (Term part : parts) {
    if (!part->type()->is_number())
      throw EnvironmentError("type error. term " + part->to_short_str() + " has type " +
                             part->type()->name() + ", but a number was expected. (objective)");
    type = terms().supertype(type, part->type());
  }
  const Term extreme = terms().make_fresh_constant("extreme", type);
  Objective* objective = make_objective(greatest_minimum, extreme);
  for (Term part : parts) {
    const Term bound = greatest_minimum ? terms().make_leq(extreme, part) : terms().make_leq(part, extreme);
    objective->definition = terms().make_and(objective->definition, bound);
  }
  return objective;
}

void OptEnvironment::assert_objective(Objective* objective) {
  if (objective->is_asserted) throw EnvironmentError("the objective is asserted already");
  // Its sum may never have to be a number of the search's.
  objective->is_deferred = !objective->maximizes && sums_.find(objective->term) != nullptr;
  put_own(objective->is_deferred ? terms().make_true() : objective->definition);
  active_.push_back(objective);
  objective->is_asserted = true;
}

void OptEnvironment::destroy_objective(Objective* objective) {
  objective->is_destroyed = true;
  free_destroyed();
}

void OptEnvironment::free_destroyed() {
  for (std::unique_ptr<Objective>& objective : objectives_)
    if (objective != nullptr && objective->is_destroyed && !objective->is_asserted) objective.reset();
  while (!objectives_.empty() && objectives_.back() == nullptr) objectives_.pop_back();
}

void OptEnvironment::load_model(const Objective* objective) {
  if (!objective->outcome || objective->outcome->model == nullptr)
    throw EnvironmentError(
        "there is no model of the objective: the last check did not find one, or did not search");
  set_model(objective->outcome->model);
}

void OptEnvironment::assert_soft_formula(Term formula, Term weight, std::string_view id) {
  const PbManager::Demand demand = sums_.add(formula, weight, id);
  put_own(demand.formula);
  if (demand.preferred != nullptr) add_preferred_for_branching(demand.preferred, -1);
}

// On the level where the entries are that they are for, so that they live as long as these.
void OptEnvironment::put_definitions() {
  if (!sums_.has_sums()) return;
  note_occurrences();
  const auto is_needed = [this](const PbManager::Group& group) { return needs_definitions(group); };
  for (Term definition : sums_.take_definitions(is_needed)) put_own(definition);
}

// Something else than the search by cores wants to know the sum.
bool OptEnvironment::needs_definitions(const PbManager::Group& group) const {
  if (occurring_.contains(group.id->id())) return true;
  return std::any_of(active_.begin(), active_.end(), [&](const Objective* objective) {
    return objective->term == group.id && group_of(*objective) == nullptr;
  });
}

void OptEnvironment::note_occurrences() {
  for (; num_noted_ < stack().size(); ++num_noted_)
    if (const Term formula = stack()[num_noted_])
      visit_post_order(
          formula, occurring_, [](Term) { return true; }, [](Term) {});
}

std::vector<Term> OptEnvironment::formulas_in_force() const {
  std::vector<Term> formulas = sums_.sums();
  for (Term term : stack())
    if (term != nullptr) formulas.push_back(term);
  return formulas;
}

// Assertions. What is put on the stack here and not by a caller is never shown.

void OptEnvironment::put_own(Term formula) {
  drop_outcomes();
  own_.push_back(stack().size());
  try {
    Environment::assert_formula(formula);
  } catch (...) {
    own_.pop_back();
    throw;
  }
}

void OptEnvironment::drop_outcomes() {
  if (is_checking_) return;
  for (const std::unique_ptr<Objective>& objective : objectives_)
    if (objective != nullptr) objective->outcome.reset();
}

void OptEnvironment::assert_formula(Term formula) {
  drop_outcomes();
  Environment::assert_formula(formula);
}

void OptEnvironment::push_backtrack_point() {
  put_definitions();
  levels_.push_back({active_.size(), own_.size()});
  sums_.push();
  Environment::push_backtrack_point();
}

void OptEnvironment::pop_backtrack_point() {
  Environment::pop_backtrack_point();
  num_noted_ = std::min(num_noted_, stack().size());
  shrink_to(levels_.back());
  levels_.pop_back();
  sums_.pop();
}

void OptEnvironment::shrink_to(const Level& level) {
  drop_outcomes();
  for (std::size_t i = level.num_active; i < active_.size(); ++i) active_[i]->is_asserted = false;
  active_.resize(level.num_active);
  own_.resize(level.num_own);
  free_destroyed();
}

void OptEnvironment::reset() {
  Environment::reset();
  shrink_to({0, 0});
  levels_.clear();
  sums_.reset();
  num_noted_ = 0;
}

std::vector<Term> OptEnvironment::asserted_formulas() const {
  std::vector<Term> formulas;
  auto own = own_.begin();
  for (std::size_t i = 0; i < stack().size(); ++i) {
    const bool is_own = own != own_.end() && *own == i;
    if (is_own) ++own;
    if (!is_own && stack()[i] != nullptr) formulas.push_back(stack()[i]);
  }
  return formulas;
}

std::vector<Term> OptEnvironment::unsat_core() const {
  std::vector<Term> core = Environment::unsat_core();
  const std::vector<Term> asserted = asserted_formulas();
  std::erase_if(
      core, [&](Term term) { return std::find(asserted.begin(), asserted.end(), term) == asserted.end(); });
  return core;
}

void OptEnvironment::append_roots(std::vector<Term>& roots) {
  occurring_.clear();  // ids are used again
  num_noted_ = 0;
  sums_.append_roots(roots);
  for (const std::unique_ptr<Objective>& objective : objectives_) {
    if (objective == nullptr) continue;
    for (Term term : {objective->term, objective->constant, objective->definition}) roots.push_back(term);
    if (objective->outcome && objective->outcome->model != nullptr)
      objective->outcome->model->append_roots(roots);
  }
}

// Checks.

Environment::Answer OptEnvironment::check(const std::vector<Term>& assumptions) {
  drop_outcomes();
  put_definitions();
  is_checking_ = true;
  try {
    const Answer answer = Environment::check(assumptions);
    is_checking_ = false;
    return answer;
  } catch (...) {
    is_checking_ = false;
    throw;
  }
}

// Runs `body` on a level of its own. Its model, if there is one, is kept.
template <typename Body>
Environment::Answer OptEnvironment::behind_level(const Body& body) {
  Environment::push_backtrack_point();
  Answer answer = Answer::unknown;
  try {
    answer = body();
    make_model();
  } catch (...) {
    Environment::pop_backtrack_point();
    throw;
  }
  Model model = made_model();
  Environment::pop_backtrack_point();
  set_model(std::move(model));
  return answer;
}

Environment::Answer OptEnvironment::check_literals(const std::vector<Term>& literals) {
  const bool optimizes = !active_.empty() && !enumerates_models();
  if (!optimizes && !sums_.has_sums()) return check_stack(literals);
  if (!optimizes) return behind_level([&] { return check_sums(literals); });
  if (!config().model_generation) throw EnvironmentError("optimizer: model generation must be enabled.");
  if (config().opt.priority == "par") throw EnvironmentError("Pareto optimisation is not supported");
  const Answer answer = behind_level([&] { return check_objectives(literals); });
  if (has_pipeline()) pipeline().arithmetic().set_objective(nullptr, QNumber());
  return answer;
}

// The assertions alone, with the sums of the groups.
Environment::Answer OptEnvironment::check_sums(const std::vector<Term>& literals) {
  for (Term sum : sums_.sums()) put_on_stack(sum);
  if (!enumerates_models())
    for (const Objective* objective : active_)
      if (objective->is_deferred && group_of(*objective) == nullptr) put_on_stack(objective->definition);
  const Answer answer = check_stack(literals);
  keep_unsat_assumptions(literals);
  return answer;
}

Environment::Answer OptEnvironment::check_objectives(const std::vector<Term>& literals) {
  const Answer answer = check_sums(literals);
  if (answer != Answer::satisfiable) return answer;
  make_model();
  return config().opt.priority == "lex" ? check_lexicographic(literals) : check_boxes(literals);
}

Environment::Answer OptEnvironment::check_lexicographic(const std::vector<Term>& literals) {
  for (Objective* objective : active_) {
    const Answer answer = optimize(*objective, literals);
    if (answer != Answer::satisfiable) return answer;
    if (objective->outcome->optimum->is_infinite()) break;
    hold(*objective);
  }
  return Answer::satisfiable;
}

Environment::Answer OptEnvironment::check_boxes(const std::vector<Term>& literals) {
  const Model first = made_model();
  for (Objective* objective : active_) {
    set_model(first);
    const Answer answer = behind_level([&] { return optimize(*objective, literals); });
    if (answer != Answer::satisfiable) return answer;
  }
  return Answer::satisfiable;
}

// Later objectives are searched among the models in which this one has the value that it has now, which is a
// little worse than a bound that is not reached.
void OptEnvironment::hold(Objective& objective) {
  if (group_of(objective) != nullptr) return;  // what keeps the sum low stands there already
  const Term value = value_at_hand(objective.constant);
  put_on_stack(terms().make_leq(objective.constant, value));
  put_on_stack(terms().make_leq(value, objective.constant));
}

// From the model at hand to the best one, which is then the one at hand.
Environment::Answer OptEnvironment::optimize(Objective& objective, const std::vector<Term>& literals) {
  try {
    return search(objective, literals);
  } catch (...) {
    objective_ = nullptr;
    search_ = nullptr;
    throw;
  }
}

Environment::Answer OptEnvironment::search(Objective& objective, const std::vector<Term>& literals) {
  const Configuration::Optimization& options = config().opt;
  const QNumber position = to_fraction(options.bin_pivot_position);
  OptSearch search(options, objective.maximizes ? QNumber(1) - position : position,
                   objective.constant->type()->is_integer());
  const PbManager::Group* group = group_of(objective);
  const QNumber at_hand = value_at_hand(group != nullptr ? objective.term : objective.constant)->number();
  search.note_model(la::DNumber(at_hand), at_hand);
  const Answer answer = group != nullptr ? search_cores(objective, *group, literals, search)
                                         : search_steps(objective, literals, search);
  note_outcome(objective, search, answer);
  return answer;
}

// Towards the optimum from above, by better and better models.
Environment::Answer OptEnvironment::search_steps(Objective& objective, const std::vector<Term>& literals,
                                                 OptSearch& search) {
  put_on_stack(terms().make_leq(objective.constant, value_at_hand(objective.constant)));
  objective_ = &objective;
  search_ = &search;
  Model best = made_model();
  Answer answer = Answer::satisfiable;
  while (!search.is_over()) {
    const std::optional<OptSearch::Demand> demand = search.next_step();
    std::vector<Term> assumed = literals;
    if (demand) assumed.push_back(demand_term(objective.constant, *demand));
    answer = check_stack(assumed);
    keep_unsat_assumptions(literals);
    if (answer == Answer::unknown) break;
    if (answer == Answer::satisfiable)
      best = made_model();
    else
      search.note_failure();
    if (search.num_steps() == 1 && !search.is_over()) answer = ask_relaxation(search);
    if (answer == Answer::unknown) break;
  }
  objective_ = nullptr;
  search_ = nullptr;
  set_model(best);
  return answer == Answer::unknown ? answer : Answer::satisfiable;
}

// The group whose sum alone is minimised, and that is large enough for a search by cores; else null.
const PbManager::Group* OptEnvironment::group_of(const Objective& objective) const {
  constexpr std::size_t few = 12;
  const PbManager::Group* group = objective.maximizes ? nullptr : sums_.find(objective.term);
  const bool is_small = group != nullptr && group->entries.size() < few;
  return is_small && config().opt.maxsmt_engine == "omt" ? nullptr : group;
}

// Towards the optimum from below, by sets of formulas that cannot all be kept.
Environment::Answer OptEnvironment::search_cores(Objective& objective, const PbManager::Group& group,
                                                 const std::vector<Term>& literals, OptSearch& search) {
  CoreGuidedSearch cores(terms(), group, sums_.numbers());
  Model best = made_model();
  Answer answer = Answer::satisfiable;
  search.note_bound(la::DNumber(cores.lower_bound()));
  while (!search.is_over()) {
    std::vector<Term> assumed = literals, formulas;
    const std::vector<Term> soft = cores.assumptions();
    assumed.insert(assumed.end(), soft.begin(), soft.end());
    answer = check_stack(assumed);
    if (answer == Answer::unknown) break;
    if (answer == Answer::satisfiable) {
      make_model();
      const QNumber value = value_at_hand(objective.term)->number();
      if (search.note_model(la::DNumber(value), value)) best = made_model();
      const bool is_least = cores.note_model(search.best()->c - cores.lower_bound(), formulas);
      assert(!is_least || value == cores.lower_bound());
      if (is_least) search.note_bound(*search.best());
    } else {
      keep_unsat_assumptions(soft);
      cores.note_core(unsat_assumptions(), formulas);
      search.note_bound(la::DNumber(cores.lower_bound()));
    }
    for (Term formula : formulas) put_on_stack(formula);
  }
  keep_unsat_assumptions({});
  set_model(best);
  for (Term formula : cores.all()) put_on_stack(formula);
  return answer == Answer::unknown ? answer : Answer::satisfiable;
}

Term OptEnvironment::demand_term(Term constant, const OptSearch::Demand& demand) {
  const Term bound = terms().make_number(demand.bound);
  if (!demand.is_strict) return terms().make_leq(constant, bound);
  const Term at_least = terms().make_leq(bound, constant);
  return terms().make_not(at_least);
}

void OptEnvironment::before_search() {
  la::LaSolverInterface& arithmetic = pipeline().arithmetic();
  arithmetic.set_objective(objective_ == nullptr ? nullptr : objective_->constant,
                           power_of_tenth(config().opt.delta_pow));
}

// What holds of the arithmetic whatever the search decides bounds the objective.
Environment::Answer OptEnvironment::ask_relaxation(OptSearch& search) {
  release_assignment();
  return run_guarded([&] {
    if (const auto bound = pipeline().arithmetic().objective_bound()) search.note_bound(*bound);
    return Answer::satisfiable;
  });
}

void OptEnvironment::note_satisfiable() {
  if (search_ == nullptr) return;
  const la::LaSolverInterface& arithmetic = pipeline().arithmetic();
  const la::DNumber value = arithmetic.objective_value();
  const bool is_unbounded = arithmetic.objective_is_unbounded();
  make_model();
  const QNumber concrete = value_at_hand(objective_->constant)->number();
  assert(!value.is_rational() || value.c == concrete);
  search_->note_model(value, concrete);
  if (is_unbounded) search_->note_ray();
}

void OptEnvironment::note_outcome(Objective& objective, const OptSearch& search, Answer answer) {
  Value lower = search.lower() ? Value::finite(*search.lower()) : Value::infinite(-1);
  Value upper = Value::finite(*search.best());
  if (search.is_unbounded()) lower = upper = Value::infinite(-1);
  Objective::Outcome outcome;
  outcome.lower = objective.maximizes ? upper.negated() : lower;
  outcome.upper = objective.maximizes ? lower.negated() : upper;
  if (answer == Answer::satisfiable) outcome.optimum = objective.maximizes ? upper.negated() : upper;
  outcome.model = made_model();
  objective.outcome = std::move(outcome);
}

}  // namespace vesk::opt
