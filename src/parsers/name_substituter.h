#pragma once

#include <string>
#include <utility>
#include <vector>

#include "model/types.h"
#include "model/walkers/expression_identity.h"
#include "parsers/scoped_table.h"

namespace zorvel {

/// What a name stands for: a reference without arguments, by the payload of its symbol. Bindings of constant
/// references (by their payload) are followed too.
using NameTable = ScopedTable<const Payload*, Node*>;
/// User types by name, their set types by "set(name)".
using TypeTable = ScopedTable<std::string, model::TypePtr>;

/// The type that `type` stands for: unresolved types, alone or inside a set, are looked up; all others stay.
/// UnresolvedSymbolError with the name and ": type unknown".
model::TypePtr resolve_type(Environment& env, const model::TypePtr& type, const TypeTable& types);

/// Binds the names of an expression: symbols to the references that the table gives them, members behind a
/// dot by the type of the object before it, and the variables of a forall inside its body. A symbol without
/// binding stays as it is; the type checker refuses it.
///
/// The tables are shared, not copied. Results stay memoised: whoever changes a binding makes a new
/// substituter.
class NameSubstituter : public model::ExpressionIdentity {
 public:
  NameSubstituter(Environment& env, NameTable& names, const TypeTable& types)
      : ExpressionIdentity(env), names_(names), types_(types) {}

  /// UnresolvedSymbolError or InvalidParameterError with the expression where a dot cannot be resolved.
  Node* const& operator()(Node* root) const override;

  /// The innermost part of `root` that cannot be resolved or is ill-typed by itself; `root` if there is none.
  Node* find_fault(Node* root) const;

 protected:
  Node* walk_unresolved_symbol(Node* node) const override;
  Node* walk_constant_reference(Node* node) const override;
  Node* walk_dot(Node* node) const override;
  Node* walk_forall(Node* node) const override;

 private:
  class ForallScope;
  enum class Pass { NAMES, TYPES };
  Node* first_failure(Node* root, Pass pass) const;
  Node* first_failure_in_forall(Node* forall, Pass pass) const;
  bool fails(Node* node, Pass pass) const;
  model::TypePtr type_of_object(Node* object, const Node* expression) const;

  NameTable& names_;  // changes inside a forall only, and is as it was afterwards
  const TypeTable& types_;
  mutable std::vector<std::pair<Node*, bool>> stack_;  // a node, and whether its operands were pushed
};

}  // namespace zorvel
