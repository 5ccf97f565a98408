#pragma once

#include <set>
#include <string>
#include <string_view>

#include "core/environment.h"
#include "model/simulated_effect.h"

namespace zorvel {

/// How the warning begins.
inline constexpr std::string_view missing_values_warning = "These fluents are used and have no initial value";

/// The ground fluents that a problem uses without giving them an initial value; a search fails when it meets
/// one.
class MissingValues {
 public:
  /// `index` has the fluents with a value. It is referred to.
  explicit MissingValues(const StateIndex& index) : index_(index) {}
  void note(Node* reference);  ///< A reference that is used; one that is not ground says nothing.
  void warn(Environment& env) const;

 private:
  const StateIndex& index_;
  std::set<std::string> names_;
};

/// The first 20 texts joined by commas, and how many more there are.
std::string shortened_list(const std::set<std::string>& texts);

}  // namespace zorvel
