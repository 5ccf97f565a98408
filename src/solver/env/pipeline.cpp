#include "solver/env/pipeline.h"

#include <algorithm>
#include <utility>

#include "solver/preprocess/global_rules.h"
#include "solver/term/visit.h"

namespace vesk {

Pipeline::Pipeline(const Configuration& config, TermManager& terms, const Logger& log,
                   TerminationTest* termination)
    : config_(config),
      terms_(terms),
      propagator_(terms, rewrites_),
      nnf_(terms),
      normalizer_(terms, config.preprocessor.simplification),
      ites_(terms, config.preprocessor.ite_minimization_call_limit),
      encoder_(terms, (config.preprocessor.simplification & Configuration::Preprocessor::term_ite) != 0),
      search_(config),
      theories_(config.theory, terms, &polarity_, log),
      euf_(terms),
      arithmetic_(config.theory.la, terms,
                  std::make_unique<la::OptSolver>(la::LaSolverInterface::solver_options(config.theory.la)),
                  &polarity_),
      cnf_(config, search_, polarity_) {
  theories_.set_search(&search_);
  if (config.theory.euf.enabled) theories_.add_solver(euf_);
  if (config.theory.la.enabled) theories_.add_solver(arithmetic_);
  search_.set_theory(&theories_);
  search_.set_termination_test(termination);
  propagator_.set_termination_test(termination);
  cnf_.set_termination_test(termination);
  theories_.set_termination_test(termination);
  euf_.set_termination_test(termination);
  arithmetic_.set_termination_test(termination);
}

void Pipeline::normalize(std::vector<Term>& conjuncts) {
  for (Term& term : conjuncts) term = normalizer_(term);
  if (config_.preprocessor.ite_minimization)
    for (Term& term : conjuncts) term = ites_(term);
  encoder_(conjuncts);
}

bool Pipeline::add_formulas(std::vector<Term> formulas) {
  const TermManager::SimplifyScope scope(terms_);
  if (config_.preprocessor.partial_nnf_conversion)
    for (Term& term : formulas) term = nnf_(term);
  if (config_.preprocessor.toplevel_propagation &&
      !propagator_(formulas, config_.preprocessor.toplevel_propagation_limit))
    return false;
  if ((config_.preprocessor.simplification & Configuration::Preprocessor::global) != 0)
    apply_global_rules(terms_, formulas);
  encoder_.note_facts(formulas);
  normalize(formulas);
  for (Term term : formulas)
    if (term->is_false()) return false;
  send(formulas);
  return true;
}

void Pipeline::send(std::vector<Term>& conjuncts) {
  std::erase_if(conjuncts, [](Term term) { return term->is_true(); });
  // The clauses read the polarities; and a constant that the search knows can no longer be replaced by a
  // value, for what was sent before would keep it.
  for (Term term : conjuncts) {
    polarity_.add_formula(term);
    propagator_.protect_constants(term);
  }
  cnf_.add_formulas(conjuncts);
}

Pipeline::Assumption Pipeline::assume(Term term) {
  const TermManager::SimplifyScope scope(terms_);
  const bool negated = term->tag() == Tag::not_op;
  const Term atom = negated ? term->child(0) : term;
  std::vector<Term> conjuncts{propagator_.apply(atom)};
  normalize(conjuncts);
  const Term value = conjuncts[0];
  Assumption result;
  if (value->is_true() || value->is_false()) {
    result.constant = true;
    result.value = value->is_true() != negated;
    return result;
  }
  // An assumption may be taken back, so the clauses say both what follows from it and from its negation.
  polarity_.add_formula(value);
  polarity_.add_formula(terms_.make_not(value));
  propagator_.protect_constants(value);
  conjuncts.erase(conjuncts.begin());
  send(conjuncts);
  result.lit = cnf_.literal_for(value) ^ negated;
  return result;
}

void Pipeline::set_preferred(const std::vector<std::pair<Term, int>>& preferred) {
  search_.clear_preferred();
  for (const auto& [constant, polarity] : preferred) {
    if (propagator_.is_substituted(constant)) continue;  // the search does not decide it
    const dpll::Var var = search_.make_proxy(constant, {}, nullptr);
    search_.set_problem_var(var);
    search_.add_preferred(var, polarity < 0 ? dpll::l_undef : dpll::to_lbool(polarity != 0));
  }
}

void Pipeline::push_backtrack_point() {
  rewrites_.push_backtrack_point();
  polarity_.push_backtrack_point();
  propagator_.push_backtrack_point();
  encoder_.push_backtrack_point();
  cnf_.push_backtrack_point();
  search_.push_backtrack_point();
}

// In the opposite order: what a stage keeps refers to what those in front of it have made.
void Pipeline::pop_backtrack_point() {
  search_.pop_backtrack_point();
  const dpll::Var num_vars = search_.num_vars();
  const auto is_gone = [num_vars](const Leaf& leaf) { return leaf.var >= num_vars; };
  num_collected_vars_ = std::min(num_collected_vars_, num_vars);
  for (std::vector<Leaf>* leaves : {&constants_, &applications_})
    for (; !leaves->empty() && is_gone(leaves->back()); leaves->pop_back())
      note_changed_leaf(leaves->back().term);
  for (; !booleans_.empty() && booleans_.back().var >= num_vars; booleans_.pop_back())
    note_changed_leaf(booleans_.back().term);
  for (; !collected_.empty() && is_gone(collected_.back()); collected_.pop_back())
    is_collected_.erase(collected_.back().term->id());
  cnf_.pop_backtrack_point();
  encoder_.pop_backtrack_point();
  propagator_.pop_backtrack_point();
  polarity_.pop_backtrack_point();
  rewrites_.pop_backtrack_point();
}

void Pipeline::collect_leaves() {
  // Stays negative if an exception ends the walk: nothing of it can be relied on then.
  if (num_collected_vars_ < 0) {
    is_collected_.clear();
    for (std::vector<Leaf>* leaves : {&constants_, &applications_, &collected_}) leaves->clear();
    booleans_.clear();
  }
  dpll::Var var = std::max(std::exchange(num_collected_vars_, -1), 0);
  for (; var < search_.num_vars(); ++var) {
    const Term atom = search_.term_of(var);
    if (atom == nullptr || atom->is_connective()) continue;
    if (atom->tag() == Tag::uninterpreted) {
      booleans_.push_back({atom, var, dpll::l_undef});
      note_changed_leaf(atom);
    }
    if (atom->is_constant()) continue;
    visit_post_order(
        atom, is_collected_, [](Term) { return true; },
        [&](Term term) {
          collected_.push_back({term, var});
          if (term->tag() != Tag::uninterpreted || term->type()->is_bool()) return;
          (term->arity() > 0 ? applications_ : constants_).push_back({term, var});
          note_changed_leaf(term);
        });
  }
  num_collected_vars_ = var;
}

std::unique_ptr<ModelStore> Pipeline::make_model() {
  theories_.build_model();
  auto model = std::make_unique<ModelStore>(terms_, rewrites_.steps(), encoder_.quotient_by_zero());
  for (dpll::Var var = 0; var < search_.num_vars(); ++var) {
    const Term atom = search_.term_of(var);
    const dpll::lbool truth = search_.model_value(var);
    if (atom != nullptr && atom->is_constant() && !dpll::is_undef(truth))
      model->set_constant(atom, terms_.make_bool(truth == dpll::l_true));
  }
  collect_leaves();
  for (const Leaf& leaf : constants_)
    if (const Term value = theories_.get_model_value(leaf.term)) model->set_constant(leaf.term, value);
  // An application's arguments are older, so in order of id they have their values before it.
  std::vector<Term> applications;
  for (const Leaf& leaf : applications_) applications.push_back(leaf.term);
  if (!std::is_sorted(applications.begin(), applications.end(), TermIdLess()))
    std::sort(applications.begin(), applications.end(), TermIdLess());
  for (Term application : applications)
    if (const Term value = theories_.get_model_value(application)) model->set_application(application, value);
  for (dpll::Var var = 0; var < search_.num_vars(); ++var) {
    const Term atom = search_.term_of(var);
    const dpll::lbool truth = search_.model_value(var);
    if (atom == nullptr || atom->tag() != Tag::uninterpreted || atom->arity() == 0) continue;
    // what the search says counts only where no theory was told
    if (const Term value = theories_.get_model_value(atom))
      model->set_application(atom, value);
    else if (!dpll::is_undef(truth))
      model->set_application(atom, terms_.make_bool(truth == dpll::l_true));
  }
  return model;
}

void Pipeline::note_changed_leaf(Term term) {
  if (tells_changes_) changed_leaves_.push_back(term);
}

bool Pipeline::collect_model_changes(bool all, std::vector<Term>& changed) {
  tells_changes_ = true;
  theories_.build_model();
  collect_leaves();
  bool can_tell = theories_.collect_model_changes(changed);
  changed.insert(changed.end(), changed_leaves_.begin(), changed_leaves_.end());
  changed_leaves_.clear();
  for (BooleanLeaf& leaf : booleans_) {
    const dpll::lbool truth = search_.model_value(leaf.var);
    if (std::exchange(leaf.told, truth) != truth) changed.push_back(leaf.term);
  }
  if (!all) return can_tell;
  changed.clear();
  for (const std::vector<Leaf>* leaves : {&constants_, &applications_})
    for (const Leaf& leaf : *leaves) changed.push_back(leaf.term);
  for (const BooleanLeaf& leaf : booleans_) changed.push_back(leaf.term);
  return can_tell;
}

Term Pipeline::leaf_value(Term term) const {
  if (!term->type()->is_bool()) return is_leaf(term) ? theories_.get_model_value(term) : nullptr;
  const dpll::Var var = search_.find_proxy(term);
  if (var == dpll::var_undef) return nullptr;
  if (const Term value = term->arity() > 0 ? theories_.get_model_value(term) : nullptr) return value;
  const dpll::lbool truth = search_.model_value(var);
  return dpll::is_undef(truth) ? nullptr : terms_.make_bool(truth == dpll::l_true);
}

Term Pipeline::simplify(Term term) { return normalizer_(propagator_.apply(term)); }

}  // namespace vesk
