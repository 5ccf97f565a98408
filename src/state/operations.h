#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "model/fluent.h"
#include "model/walkers/expression_free_vars.h"
#include "state/search_state.h"

namespace zorvel {

/// Whether `value`, a numeric constant, lies within the bounds of an integer or rational type; true of every
/// other type. That a value of an integer type is an integer is not tested.
bool check_domain(const model::ExpressionFactory& factory, const Node* value, const model::TypeBase& type);

/// Whether `value`, a constant or an instance reference, is one that a fluent of the type can hold, bounds
/// aside.
bool is_of_kind(Environment& env, const Node* value, const model::TypeBase& type);

/// Removes the numeric constants outside the bounds of a numeric type.
void prune_impossible_values(const model::ExpressionFactory& factory, model::NodeSet& values,
                             const model::TypeBase& type);

/// What a fluent of `type` can hold after one of the values was written: those within its bounds, in the form
/// that it holds them.
void take_form_of(model::ExpressionFactory& factory, model::NodeSet& values, const model::TypeBase& type);

/// All combinations of one element of each list, the last list varying fastest; one empty combination of no
/// lists.
template <class T>
std::vector<std::vector<T>> cartesian_product(const std::vector<std::vector<T>>& lists) {
  std::vector<std::vector<T>> combinations{{}};
  for (const std::vector<T>& list : lists) {
    std::vector<std::vector<T>> longer;
    longer.reserve(combinations.size() * list.size());
    for (const std::vector<T>& combination : combinations) {
      for (const T& element : list) {
        longer.push_back(combination);
        longer.back().push_back(element);
      }
    }
    combinations = std::move(longer);
  }
  return combinations;
}

namespace tp {

/// Whether `condition` holds in `state`; false if its value depends on something that has none (see
/// ReferenceEvaluator). InternalError "A boolean constant was expected: " and the value if it does not reduce
/// for another reason; the errors of ExpressionEvaluator.
bool check(Environment& env, const zorvel::SearchState& state, Node* condition, const StateIndex& index);

/// A slot and the value that it is to get.
struct StateWrite {
  std::size_t slot;
  Node* value;
};

/// What `apply` would write, in an order in which the last write to a slot counts; none where it would return
/// false.
std::optional<std::vector<StateWrite>> writes_of(Environment& env, const zorvel::SearchState& state,
                                                 Node* effect, const StateIndex& index);

/// What a simulated effect writes in `state`, called with the values of its action's parameters; none if a
/// value leaves the bounds of its fluent, or the target has an argument outside its parameter's type.
/// InternalError "A simulated effect gave " with what is wrong if there is not one value (a boolean or number
/// or an instance, as its type asks) for each of its fluents; the errors of the user's function.
std::optional<std::vector<StateWrite>> writes_of_simulated(Environment& env, const zorvel::SearchState& state,
                                                           const model::SimulatedEffectImpl& effect,
                                                           const std::vector<Node*>& parameters,
                                                           const StateIndex& index);

/// Applies an effect, an assignment or a conjunction of assignments, which all read the state as it was.
/// False if a value leaves the bounds of its fluent or has none, or if the target has an argument outside its
/// parameter's type; the state is then unchanged, and so it is
/// when an error is raised. A rational without denominator that goes into an integer fluent becomes the
/// integer.
bool apply(Environment& env, zorvel::SearchState& state, Node* effect, const StateIndex& index);

/// False if `fluent` is numeric and the numeric constant `value` lies outside the bounds of its type.
bool check_bounds(Environment& env, const model::FluentImpl& fluent, const Node* value);
inline bool check_bounds(Environment& env, const std::shared_ptr<model::FluentImpl>& fluent,
                         const Node* value) {
  return check_bounds(env, *fluent, value);
}

}  // namespace tp

}  // namespace zorvel
