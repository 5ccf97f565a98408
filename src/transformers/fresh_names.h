#pragma once

#include <string>
#include <unordered_set>

#include "model/problem_instance.h"

namespace zorvel::model {

/// Names that are taken, and a counter for making new ones.
class FreshNames {
 public:
  void reserve(const std::string& name) { used_.insert(name); }
  /// Reserves the name; false if it was taken.
  [[nodiscard]] bool take(const std::string& name) { return used_.insert(name).second; }
  /// The fluents, constants, user types and instances of the problem: all that an action's name may meet
  /// beside other actions.
  void reserve_all_but_actions(const ProblemInstanceImpl& problem);

  /// The name followed directly by the counter, which goes up by one with each try, until the result is new.
  std::string numbered(const std::string& name);
  /// The name itself, followed by as many underscores as make it new.
  std::string unique(std::string name);

 private:
  std::unordered_set<std::string> used_;
  unsigned long counter_ = 0;
};

}  // namespace zorvel::model
