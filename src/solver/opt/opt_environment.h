#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "solver/env/environment.h"
#include "solver/opt/core_guided_search.h"
#include "solver/opt/objective.h"
#include "solver/opt/opt_search.h"
#include "solver/opt/pb_manager.h"
#include "solver/util/stamp_set.h"

namespace vesk::opt {

/// An environment whose checks find a model that is best for the asserted objectives.
///
/// Owns the objectives, and the list of those that are asserted, in order of assertion; a pop takes off that
/// list what was asserted on its level. Owns the groups of soft formulas, too. Each check that optimises, or
/// has such groups, opens levels of its own on the stack of assertions, on which stand what is searched for
/// and what earlier objectives hold, and takes them off before it returns, so that a caller meets none of
/// them. What the search learns below these levels stays.
///
/// A step of the search is a check under assumptions: those of the caller, and a bound on the constant that
/// stands for the objective. Simplex brings every assignment found to a vertex that is best for it.
class OptEnvironment : public Environment {
 public:
  explicit OptEnvironment(const Configuration& config, Environment* sibling = nullptr);
  ~OptEnvironment() override;

  // Objectives.

  /// Asserts nothing yet. EnvironmentError unless the term is a number.
  Objective* make_objective(bool maximizes, Term term);
  /// The least maximum of the terms, or the greatest minimum.
  Objective* make_extreme(bool greatest_minimum, std::span<const Term> terms);
  /// EnvironmentError if it is asserted.
  void assert_objective(Objective* objective);
  /// The owner has no use for it any more; if it is asserted it counts until it is popped.
  void destroy_objective(Objective* objective);
  /// Makes the best model of the objective the current one. EnvironmentError if there is none.
  void load_model(const Objective* objective);
  /// Adds the weight to the sum of the group `id` in all models that violate the formula. The sum is the
  /// value of the rational constant of that name. Errors are those of PbManager::add().
  void assert_soft_formula(Term formula, Term weight, std::string_view id);
  /// In order of assertion.
  const std::vector<Objective*>& asserted_objectives() const { return active_; }

  // The rest of an environment.

  void assert_formula(Term formula) override;
  void push_backtrack_point() override;
  void pop_backtrack_point() override;
  std::vector<Term> asserted_formulas() const override;
  Answer check(const std::vector<Term>& assumptions) override;
  std::vector<Term> unsat_core() const override;
  void reset() override;

 private:
  struct Level {
    std::size_t num_active;
    std::size_t num_own;
  };
  using Model = std::shared_ptr<ModelStore>;

  Answer check_literals(const std::vector<Term>& literals) override;
  void before_search() override;
  void note_satisfiable() override;
  void append_roots(std::vector<Term>& roots) override;

  void put_own(Term formula);
  void put_definitions();
  std::vector<Term> formulas_in_force() const override;
  void shrink_to(const Level& level);
  void drop_outcomes();
  void free_destroyed();
  template <typename Body>
  Answer behind_level(const Body& body);
  Answer check_sums(const std::vector<Term>& literals);
  Answer check_objectives(const std::vector<Term>& literals);
  Answer optimize(Objective& objective, const std::vector<Term>& literals);
  Answer search(Objective& objective, const std::vector<Term>& literals);
  Answer ask_relaxation(OptSearch& search);
  Answer search_steps(Objective& objective, const std::vector<Term>& literals, OptSearch& search);
  const PbManager::Group* group_of(const Objective& objective) const;
  bool needs_definitions(const PbManager::Group& group) const;
  void note_occurrences();
  Answer search_cores(Objective& objective, const PbManager::Group& group, const std::vector<Term>& literals,
                      OptSearch& search);
  Answer check_lexicographic(const std::vector<Term>& literals);
  Answer check_boxes(const std::vector<Term>& literals);
  void hold(Objective& objective);
  void note_outcome(Objective& objective, const OptSearch& search, Answer answer);
  Term value_at_hand(Term term) const { return made_model()->get_value(term); }
  Term demand_term(Term constant, const OptSearch::Demand& demand);

  std::vector<std::unique_ptr<Objective>> objectives_;  // by number; null: the number is free
  std::vector<Objective*> active_;
  PbManager sums_;
  StampSet occurring_;            // ids of terms in what was asserted; of what was popped, too
  std::size_t num_noted_ = 0;     // entries of the stack of which the terms are in there
  std::vector<std::size_t> own_;  // places on the stack of what no caller asserted, in order
  std::vector<Level> levels_;
  bool is_checking_ = false;  // levels that are popped now are no caller's

  // The running step.
  Objective* objective_ = nullptr;
  OptSearch* search_ = nullptr;
};

}  // namespace vesk::opt
