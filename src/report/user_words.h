#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "core/errors.h"
#include "core/node.h"
#include "model/problem_instance.h"

namespace zorvel::report {

/// Expressions of a transformed problem in the words of the problem that was written: a member of a type,
/// which the flattener has brought to the top level, stands behind its object again, and what a reader had to
/// rename has the name that people gave it.
class UserWords {
 public:
  explicit UserWords(const model::ProblemInstanceImpl& problem);

  std::string text(const Node* expression) const;
  /// A message that speaks of such expressions, such as the reason of the validator. What a reader has added
  /// to the problem has no words of the user's; what it stands for is said instead.
  std::string message(std::string text) const;
  /// The name of a fluent as it was declared.
  const std::string& declared_name(const std::string& flat_name) const;

 private:
  void add_members(const model::TypeScope& type, const std::string& prefix);
  std::string in_words(std::string text) const;

  std::map<std::string, std::string> members_;  // declared names by flat ones
  std::unordered_map<std::string, std::string> written_names_;
};

/// Runs the body; the warnings given and the errors thrown meanwhile speak of the problem in its user's
/// words.
template <class Body>
auto in_user_words(const model::ProblemPtr& problem, const Body& body) {
  const auto words = std::make_shared<const UserWords>(*problem);
  struct Guard {
    WarningManager& warnings;
    WarningManager::Rewording before;
    ~Guard() { warnings.set_rewording(std::move(before)); }
  };
  WarningManager& warnings = problem->env().warning_manager();
  const Guard guard{
      warnings, warnings.set_rewording([words](const std::string& text) { return words->message(text); })};
  try {
    return body();
  } catch (ZorvelError& error) {
    error.reword(words->message(error.message()));
    throw;
  }
}

}  // namespace zorvel::report
