#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "pddl/form.h"
#include "pddl/messages.h"
#include "pddl/tree.h"

namespace zorvel::pddl {

/// What the sections on types, objects, predicates and functions declare, and the look-up of names in it.
///
/// Types have to be declared before anything that has one. What is wrong is noted in the messages; look-ups
/// then give null.
class Declarations {
 public:
  Declarations(Task& task, SymbolTable& symbols, Messages& messages);

  // Each takes the whole section, with its keyword.
  void declare_types(const Form& section);
  void declare_objects(const Form& section);
  void declare_predicates(const Form& section);
  void declare_functions(const Form& section);
  /// To be called when all sections are read: types that are their own parents are errors.
  void finish();

  /// The parameters in the parentheses of `list`.
  std::vector<const Variable*> parameters(const Form& list);

  const Object* object(const Form& name);
  const Object* find_object(const Symbol* symbol) const;  ///< Null, and nothing is noted, if there is none.
  /// The predicate or function of this name and number of arguments.
  const Fluent* predicate(const Form& name, std::size_t arguments) {
    return fluent(predicates_, "predicate", name, arguments);
  }
  const Fluent* function(const Form& name, std::size_t arguments) {
    return fluent(functions_, "function", name, arguments);
  }
  const Fluent* find_function(const Symbol* symbol, std::size_t arguments) const;
  const Fluent* find_predicate(const Symbol* symbol, std::size_t arguments) const;

 private:
  using FluentTable = std::unordered_map<const Symbol*, std::vector<Fluent*>>;
  /// Names of a list with what stands behind their dash; a name without one has no type form.
  struct TypedForm {
    const Form* name;
    const Form* type;
  };

  std::vector<TypedForm> typed_list(const Form& list, std::size_t first, FormKind kind, const char* what);
  std::vector<const Variable*> typed_variables(const Form& list, std::size_t first);
  Type* declare_type(const Form& name);
  Type* find_type(const Symbol* symbol) const;
  std::vector<Type*> types(const Form* type);  ///< Of what stands behind a dash; null: `object`.
  Type* type(const Form& name);
  void add_parent(Type& type, Type* parent);
  const Fluent* fluent(const FluentTable& table, const char* what, const Form& name, std::size_t arguments);
  void declare_fluent(FluentTable& table, const Form& declaration, bool is_function);

  Task& task_;
  SymbolTable& symbols_;
  Messages& messages_;
  std::unordered_map<const Symbol*, Type*> types_;
  std::unordered_map<const Symbol*, Object*> objects_;
  FluentTable predicates_, functions_;
  std::unordered_map<const Symbol*, Place> declared_types_;  // by a name of its own, not only behind a dash
};

/// The name as it was written.
Name name_of(const Form& form);

/// "; did you mean 'NAME'?" for the candidate that is most like `name`, a symbol's text; empty if none is
/// like it.
std::string suggestion(const std::string& name, const std::vector<std::string_view>& candidates);

}  // namespace zorvel::pddl
