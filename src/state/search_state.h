#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/simulated_effect.h"

namespace zorvel {

/// One state of the world: the value of each ground fluent reference, and what a search knows of it.
///
/// A slot holds a boolean or numeric constant or an instance reference, null while it is unset. Which
/// reference has which slot is said by a StateIndex, which the state does not know. The plain form, for
/// validation, heuristics and the user's code; a search that stores many states packs them (StateLayout).
class SearchState {
 public:
  /// All slots unset, all heuristic values 0.
  SearchState(std::size_t slots, std::size_t heuristics)
      : assignments_(slots, nullptr), f_(heuristics, 0.0) {}

  Node* value(std::size_t slot) const { return assignments_[slot]; }
  const std::vector<Node*>& assignments() const { return assignments_; }
  double f(std::size_t heuristic) const { return f_[heuristic]; }
  void set_f(double value, std::size_t heuristic) { f_[heuristic] = value; }
  void override_f(double value, std::size_t heuristic) const { f_[heuristic] = value; }
  double g() const { return g_; }
  void set_g(double value) { g_ = value; }

  /// Over the ids of the values in the order of the slots.
  std::uint64_t hash() const;
  /// Same values in all slots; the integer 1 and the rational 1 are different values here. Costs and
  /// heuristic values play no part.
  friend bool operator==(const SearchState& a, const SearchState& b) {
    return a.assignments_ == b.assignments_;
  }

  /// The value of `reference`. InternalError "Found an unexpected fluent: " and the reference if it has no
  /// slot, "Found an uninitialized fluent: " and the reference if the slot is unset.
  Node* value(const StateIndex& index, Node* reference) const;
  /// The first write of a slot. InternalError "Found an unexpected fluent: ", or "Found a
  /// double-initialization of fluent: " and the reference if the slot is set.
  void set_value(const StateIndex& index, Node* reference, Node* value);
  /// Any write of a slot. InternalError "Found an unexpected fluent: ".
  void override_value(const StateIndex& index, Node* reference, Node* value);
  void override_value(std::size_t slot, Node* value) { assignments_[slot] = value; }

  /// The conjunction of `reference == value` for every entry of the index, by id of the reference, and of
  /// `tag == tag`: names a state and a number as one expression. InternalError for an unset slot.
  Node* as_expression(const StateIndex& index, model::ExpressionFactory& factory, unsigned long tag) const;

 private:
  std::vector<Node*> assignments_;
  double g_ = 0;
  mutable std::vector<double> f_;
};

/// The slot of `reference`. InternalError "Found an unexpected fluent: " and the reference if it has none.
std::size_t slot_of(const StateIndex& index, Node* reference);

namespace tp {

/// A state in which actions may be running.
class SearchState : public zorvel::SearchState {
 public:
  using TodoSizes = std::unordered_map<std::shared_ptr<model::ActionImpl>, std::size_t>;

  SearchState(std::size_t slots, std::size_t heuristics) : zorvel::SearchState(slots, heuristics) {}
  explicit SearchState(const zorvel::SearchState& state) : zorvel::SearchState(state) {}
  SearchState(const SearchState&) = default;
  SearchState& operator=(const SearchState&) = default;
  virtual ~SearchState() = default;
  virtual std::size_t open_actions() const = 0;  ///< Number of lists of pending events.
  virtual TodoSizes todo_sizes() const = 0;      ///< Number of pending events of each running action.
};

}  // namespace tp

}  // namespace zorvel
