#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "model/parameter.h"
#include "model/problem_instance.h"
#include "printers/words.h"

namespace zorvel {

/// Which PDDL is written: that of Zorvel's own readers, which have one word for all assignments, or that of
/// other planners.
enum class PddlForm { own, standard };

/// What the things of a flat problem are called in PDDL: as in the problem, save that
///  - "action_" and "_param_" are left off where all actions and all parameters begin with them, since the
///    reader of the fixed part of PDDL puts them there;
///  - names that PDDL cannot hold get others: reserved words, characters that are none there, names that
///    differ only in case, parameters that are called as a function is. One warning is stored for each.
class PddlNames {
 public:
  using Fluents = std::map<std::string, std::shared_ptr<model::FluentImpl>>;

  PddlNames() = default;  ///< All names as they are.
  /// `fluents` are those that are written, by name.
  PddlNames(const model::ProblemInstanceImpl& problem, const Fluents& fluents, PddlForm form);

  /// Of a type, an object, a predicate or a function.
  const std::string& of(const std::string& name) const;
  const std::string& of_action(const std::string& name) const;
  const std::string& of(const model::ParameterImpl& parameter) const;

 private:
  using Names = std::unordered_map<std::string, std::string>;
  using Taken = std::unordered_set<std::string>;  // in small letters

  static bool has_reader_prefixes(const model::ProblemInstanceImpl& problem, const Fluents& fluents);
  void add(Names& names, Taken& taken, const std::string& name, std::string_view prefix = "");
  void add_parameters(const model::ParameterVector& parameters, std::string_view prefix);
  std::string new_name(const std::string& name, std::string_view prefix, const Taken& taken) const;
  void warn(const std::string& name, const std::string& written);

  PddlForm form_ = PddlForm::own;
  Environment* env_ = nullptr;  // null where nothing is renamed
  Names names_, action_names_;
  std::unordered_map<const model::ParameterImpl*, std::string> parameter_names_;
  Taken functions_;
  std::unordered_set<std::string> warned_;
};

}  // namespace zorvel
