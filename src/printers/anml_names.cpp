#include "printers/anml_names.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/expression_payloads.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/user_type.h"
#include "model/walkers/expression_parts.h"
#include "printers/words.h"

namespace zorvel {

using namespace model;

namespace {

using F = ExpressionFactory;

constexpr auto reserved_words = std::to_array<std::string_view>(
    {"action",  "all",          "and",    "boolean", "constant", "contains", "duration", "end",
     "false",   "float",        "fluent", "forall",  "goal",     "implies",  "in",       "instance",
     "integer", "intersection", "not",    "or",      "process",  "set",      "sqrt",     "start",
     "subset",  "true",         "type",   "union",   "with",     "xor"});

constexpr WordForm anml_word{"_", "_"};

bool is_anml_name(const std::string& name) {
  return is_word(name, anml_word) && std::ranges::find(reserved_words, name) == reserved_words.end();
}

/// The name of what an expression refers to without an object before it; null if it refers to nothing.
const std::string* referred_name(const Node& node) {
  switch (node.kind()) {
    case NodeKind::FLUENT_REFERENCE:
      return &lock_or_raise(static_cast<const FluentPayload&>(*node.payload).object)->name();
    case NodeKind::CONSTANT_REFERENCE:
      return &lock_or_raise(static_cast<const ConstantPayload&>(*node.payload).object)->name();
    case NodeKind::INSTANCE_REFERENCE:
      return &lock_or_raise(static_cast<const InstancePayload&>(*node.payload).object)->name();
    default: return nullptr;
  }
}

const ParameterImpl* referred_parameter(const Node& node) {
  if (!F::is_parameter_reference(&node)) return nullptr;
  return lock_or_raise(static_cast<const ParameterPayload&>(*node.payload).object).get();
}

const ParameterVector& variables_of(const Node& forall) {
  return static_cast<const ForallPayload&>(*forall.payload).parameters;
}

}  // namespace

AnmlNames::AnmlNames(const ProblemInstanceImpl& problem) : env_(problem.env()) {
  for (const std::string_view word : reserved_words) fresh_.reserve(std::string(word));
  note_scope(problem);
  for (const auto& [name, instance] : problem.instances()) in_order_.push_back(name);
  note_expressions(problem.expressions());
  replace_bad_names();
  free_scope(problem);
  for (const Node* forall : quantifiers_) free_quantifier(forall);
}

const std::string& AnmlNames::of(const std::string& name) const {
  const auto found = replaced_.find(name);
  return found == replaced_.end() ? name : found->second;
}

const std::string& AnmlNames::of(const ParameterImpl& parameter) const {
  const auto found = freed_.find(&parameter);
  return found == freed_.end() ? of(parameter.name()) : found->second;
}

void AnmlNames::note_scope(const TypeScope& scope) {
  for (const auto& [name, type] : scope.user_types()) {
    in_order_.push_back(name);
    note_scope(*type);
  }
  for (const auto& [name, constant] : scope.constants()) {
    in_order_.push_back(name);
    note_parameters(constant->parameters());
  }
  for (const auto& [name, fluent] : scope.fluents()) {
    in_order_.push_back(name);
    note_parameters(fluent->parameters());
  }
  for (const auto& [name, action] : scope.actions()) {
    in_order_.push_back(name);
    note_parameters(action->parameters());
    note_expressions(action->expressions());
  }
}

void AnmlNames::note_parameters(const ParameterVector& parameters) {
  for (const auto& parameter : parameters) in_order_.push_back(parameter->name());
}

/// Labels and the variables of quantifiers are declared in expressions alone.
void AnmlNames::note_expressions(const ExpressionSet& expressions) {
  std::vector<const Node*> open(expressions.begin(), expressions.end());
  while (!open.empty()) {
    const Node* const node = open.back();
    open.pop_back();
    if (!seen_.insert(node).second) continue;
    if (F::is_forall(node)) {
      note_parameters(variables_of(*node));
      quantifiers_.push_back(node);
    } else if (F::is_contains(node)) {
      in_order_.push_back(static_cast<const IdentifierPayload&>(*node->payload).name);
    }
    open.insert(open.end(), node->operands().begin(), node->operands().end());
  }
}

void AnmlNames::replace_bad_names() {
  for (const std::string& name : in_order_) fresh_.reserve(name);
  for (const std::string& name : in_order_) {
    // A statement without a label has the empty one.
    if (name.empty() || is_anml_name(name) || replaced_.contains(name)) continue;
    const std::string& replacement = replaced_[name] = fresh_.unique(to_word(name, anml_word));
    env_.warning_manager().warn("'" + name + "' is no name in ANML and is written '" + replacement + "'");
  }
}

void AnmlNames::free_scope(const TypeScope& scope) {
  for (const auto& [name, type] : scope.user_types()) free_scope(*type);
  for (const auto& [name, action] : scope.actions()) free_action(*action);
}

void AnmlNames::free_action(const ActionImpl& action) {
  free_parameters(action.parameters(), {action.expressions().begin(), action.expressions().end()});
}

void AnmlNames::free_quantifier(const Node* forall) {
  free_parameters(variables_of(*forall), {forall->operands().begin(), forall->operands().end()});
}

/// Transformers put what was said elsewhere into actions, where a parameter may have the name of what is
/// meant. Texts of people have no such parameter.
void AnmlNames::free_parameters(const ParameterVector& parameters, const std::vector<const Node*>& body) {
  if (parameters.empty()) return;
  std::unordered_set<const ParameterImpl*> bound;
  for (const auto& parameter : parameters) bound.insert(parameter.get());
  std::unordered_set<const Node*> members;  // meant by the object before them
  for_each_part(body, [&](const Node* node) {
    if (F::is_scoping(node)) members.insert(node->children[1]);
    if (F::is_forall(node))
      for (const auto& variable : variables_of(*node)) bound.insert(variable.get());
  });
  std::unordered_set<std::string> meant;
  for_each_part(body, [&](const Node* node) {
    const ParameterImpl* const parameter = referred_parameter(*node);
    if (parameter != nullptr && !bound.contains(parameter)) meant.insert(parameter->name());
    const std::string* const name = members.contains(node) ? nullptr : referred_name(*node);
    if (name != nullptr) meant.insert(*name);
  });
  for (const auto& parameter : parameters) {
    if (!meant.contains(parameter->name())) continue;
    const std::string& replacement = freed_[parameter.get()] = fresh_.unique(of(parameter->name()));
    env_.warning_manager().warn("The parameter '" + parameter->name() + "' is written '" + replacement +
                                "', since its statements speak of something else of that name");
  }
}

}  // namespace zorvel
