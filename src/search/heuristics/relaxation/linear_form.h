#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "state/state_layout.h"

namespace zorvel {

/// A sum of slots with constant factors, and a constant: `2 * fuel - load + 3`. In doubles, since it guides
/// only.
struct LinearForm {
  std::vector<std::pair<std::uint32_t, double>> terms;  ///< By slot, ascending; no factor is 0.
  double constant = 0;

  double factor_of(std::uint32_t slot) const;
  /// The value in a state of the layout; NaN where a slot holds no number.
  double evaluate(const ValueTable& table, const ValueId* slots) const;
  void add(const LinearForm& other, double factor);
};

/// The linear form of a numeric expression; none if it is not linear, too large, or reads a
/// fluent whose slot depends on the state.
std::optional<LinearForm> linear_form(const StateLayout& layout, Node* expression);

}  // namespace zorvel
