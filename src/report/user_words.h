#pragma once

#include <map>
#include <string>

#include "core/node.h"
#include "model/problem_instance.h"

namespace zorvel::report {

/// Expressions of a transformed problem in the words of the problem that was written: a member of a type,
/// which the flattener has brought to the top level, stands behind its object again.
class UserWords {
 public:
  explicit UserWords(const model::ProblemInstanceImpl& problem);

  std::string text(const Node* expression) const;
  /// The name of a fluent as it was declared.
  const std::string& declared_name(const std::string& flat_name) const;

 private:
  void add_members(const model::TypeScope& type, const std::string& prefix);

  std::map<std::string, std::string> members_;  // declared names by flat ones
};

}  // namespace zorvel::report
