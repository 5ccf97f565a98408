#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/parameter.h"
#include "model/problem_instance.h"
#include "transformers/fresh_names.h"

namespace zorvel {

/// What the things of a problem are called in ANML: as in the problem, save where that is no name of the
/// language, or where a parameter would hide what its own statements speak of.
///
/// A name is replaced everywhere alike, by one that nothing else has, so what hides what stays as it is.
class AnmlNames {
 public:
  /// Stores one warning for each name that is replaced.
  explicit AnmlNames(const model::ProblemInstanceImpl& problem);

  const std::string& of(const std::string& name) const;
  const std::string& of(const model::ParameterImpl& parameter) const;

 private:
  void note_scope(const model::TypeScope& scope);
  void note_parameters(const model::ParameterVector& parameters);
  void note_expressions(const model::ExpressionSet& expressions);
  void replace_bad_names();
  void free_scope(const model::TypeScope& scope);
  void free_action(const model::ActionImpl& action);
  void free_quantifier(const Node* forall);
  void free_parameters(const model::ParameterVector& parameters, const std::vector<const Node*>& body);

  Environment& env_;
  std::vector<std::string> in_order_;     // every name, as met
  std::vector<const Node*> quantifiers_;  // each once
  std::unordered_set<const Node*> seen_;  // nodes whose names are noted
  model::FreshNames fresh_;
  std::unordered_map<std::string, std::string> replaced_;
  std::unordered_map<const model::ParameterImpl*, std::string> freed_;
};

}  // namespace zorvel
