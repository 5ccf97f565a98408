#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "solver/dpll/lit.h"

namespace vesk::dpll {

/// Tells which variables do not matter under the current assignment: all problem clauses that a ghost occurs
/// in are satisfied by other variables, so whatever value it takes in the end, they stay so. A search that
/// leaves ghosts undecided asks the theories about fewer atoms.
///
/// Keeps its own copy of the clauses, with occurrence lists by literal; follows the backtrack points.
class GhostFilter {
 public:
  /// `values` are those of the search, by literal; they outlive the filter.
  explicit GhostFilter(const std::vector<lbool>& values) : values_(values) {}

  void add_clause(std::span<const Lit> lits);
  /// The variable counts although no clause here says so: the theories want its value.
  void set_never_ghost(Var var);
  /// A variable without clauses is a ghost.
  bool is_ghost(Var var);
  /// Takes values out of `model`, by variable, as long as every clause stays satisfied; variables assigned
  /// where `is_fixed` holds stay.
  template <typename IsFixed>
  void minimize(std::vector<lbool>& model, IsFixed&& is_fixed) const {
    for (std::size_t v = 0; v < model.size(); ++v) {
      if (is_undef(model[v]) || is_fixed(static_cast<Var>(v))) continue;
      const lbool value = model[v];
      model[v] = l_undef;
      // only the clauses that its own literal satisfied can need it
      for (const std::uint32_t place : occurrences(Lit(static_cast<Var>(v), value == l_false)))
        if (!is_satisfied(place, model)) {
          model[v] = value;
          break;
        }
    }
  }

  void push_backtrack_point() { marks_.push_back(places_.size()); }
  /// Variables from `first` on are gone.
  void pop_backtrack_point(Var first);

 private:
  std::span<const std::uint32_t> occurrences(Lit lit) const {
    if (lit.index() >= occurrences_.size()) return {};
    return occurrences_[lit.index()];
  }
  std::span<const Lit> clause(std::size_t place) const;
  bool is_satisfied_without(std::size_t place, Var var) const;
  bool is_satisfied(std::size_t place, const std::vector<lbool>& model) const;

  const std::vector<lbool>& values_;
  std::vector<Lit> lits_;                                // of all clauses, one after the other
  std::vector<std::size_t> places_;                      // by clause: where its literals begin
  std::vector<std::size_t> marks_;                       // number of clauses at each point
  std::vector<std::vector<std::uint32_t>> occurrences_;  // by literal, oldest first
  std::vector<std::uint32_t> witness_;     // by variable: a clause that needed it when last asked
  std::vector<std::uint8_t> never_ghost_;  // by variable
};

}  // namespace vesk::dpll
