#include "printers/pddl_names.h"

#include <algorithm>
#include <array>
#include <cassert>

#include "model/action.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/user_type.h"

namespace zorvel {

using namespace model;

namespace {

constexpr std::string_view action_prefix = "action_";
constexpr std::string_view parameter_prefix = "_param_";

/// Words that begin a form of their own, or that some reader cannot take for a name.
constexpr auto pddl_words = std::to_array<std::string_view>(
    {"all",      "always",         "always-within",   "and",        "assign",      "at-most-once",
     "decrease", "define",         "domain",          "duration",   "either",      "end",
     "exists",   "false",          "forall",          "hold-after", "hold-during", "imply",
     "increase", "is-violated",    "maximize",        "minimize",   "not",         "number",
     "or",       "over",           "preference",      "problem",    "scale-down",  "scale-up",
     "sometime", "sometime-after", "sometime-before", "start",      "total-time",  "true",
     "when",     "within"});

WordForm word_form(PddlForm form) { return form == PddlForm::own ? WordForm{"_", "_-"} : WordForm{"", "_-"}; }

std::string in_small_letters(std::string name) {
  std::ranges::transform(name, name.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return name;
}

/// The reader of the fixed part of PDDL has no predicate `at`.
bool is_reserved(const std::string& small, PddlForm form) {
  return std::ranges::find(pddl_words, small) != pddl_words.end() || (small == "at" && form == PddlForm::own);
}

bool all_begin_with(const ParameterVector& parameters, std::string_view prefix) {
  return std::ranges::all_of(parameters,
                             [&](const auto& parameter) { return parameter->name().starts_with(prefix); });
}

}  // namespace

PddlNames::PddlNames(const ProblemInstanceImpl& problem, const Fluents& fluents, PddlForm form)
    : form_(form), env_(&problem.env()) {
  Taken taken{"object"};
  for (const auto& [name, type] : problem.user_types())
    if (name != "object") add(names_, taken, name);
  for (const auto& [name, instance] : problem.instances()) add(names_, taken, name);
  for (const auto& [name, fluent] : fluents) {
    add(names_, taken, name);
    if (!fluent->type()->is_boolean()) functions_.insert(in_small_letters(of(name)));
  }
  const bool has_prefixes = has_reader_prefixes(problem, fluents);
  // Actions have names of their own in PDDL, beside those of predicates.
  Taken taken_actions;
  for (const auto& [name, action] : problem.actions())
    add(action_names_, taken_actions, name, has_prefixes ? action_prefix : "");
  const std::string_view prefix = has_prefixes ? parameter_prefix : "";
  for (const auto& [name, fluent] : fluents) add_parameters(fluent->parameters(), prefix);
  for (const auto& [name, action] : problem.actions()) add_parameters(action->parameters(), prefix);
}

const std::string& PddlNames::of(const std::string& name) const {
  const auto found = names_.find(name);
  return found == names_.end() ? name : found->second;
}

const std::string& PddlNames::of_action(const std::string& name) const {
  const auto found = action_names_.find(name);
  return found == action_names_.end() ? name : found->second;
}

const std::string& PddlNames::of(const ParameterImpl& parameter) const {
  const auto found = parameter_names_.find(&parameter);
  return found == parameter_names_.end() ? parameter.name() : found->second;
}

bool PddlNames::has_reader_prefixes(const ProblemInstanceImpl& problem, const Fluents& fluents) {
  return std::ranges::all_of(problem.actions(),
                             [](const auto& entry) {
                               return entry.first.starts_with(action_prefix) &&
                                      all_begin_with(entry.second->parameters(), parameter_prefix);
                             }) &&
         std::ranges::all_of(fluents, [](const auto& entry) {
           return all_begin_with(entry.second->parameters(), parameter_prefix);
         });
}

std::string PddlNames::new_name(const std::string& name, std::string_view prefix, const Taken& taken) const {
  assert(name.starts_with(prefix));
  std::string result = to_word(std::string_view(name).substr(prefix.size()), word_form(form_));
  for (std::string small = in_small_letters(result); is_reserved(small, form_) || taken.contains(small);
       small += '_')
    result += '_';
  return result;
}

void PddlNames::add(Names& names, Taken& taken, const std::string& name, std::string_view prefix) {
  const std::string written = new_name(name, prefix, taken);
  taken.insert(in_small_letters(written));
  if (written == name) return;
  names.emplace(name, written);
  if (prefix.size() + written.size() != name.size() || !name.ends_with(written)) warn(name, written);
}

void PddlNames::add_parameters(const ParameterVector& parameters, std::string_view prefix) {
  Taken taken = functions_;
  for (const auto& parameter : parameters) {
    const std::string& name = parameter->name();
    const std::string written = new_name(name, prefix, taken);
    taken.insert(in_small_letters(written));
    if (written == name) continue;
    parameter_names_.emplace(parameter.get(), written);
    if (prefix.size() + written.size() != name.size()) warn(name, written);
  }
}

void PddlNames::warn(const std::string& name, const std::string& written) {
  if (!warned_.insert(name).second) return;
  env_->warning_manager().warn("'" + name + "' cannot be a name in this PDDL and is written '" + written +
                               "'");
}

}  // namespace zorvel
