#pragma once

#include <memory>
#include <unordered_map>

#include "model/function_value.h"
#include "model/walkers/expression_identity.h"

namespace zorvel::model {

using NodeMap = std::unordered_map<Node*, Node*>;

/// Replaces subexpressions: whole nodes by `value_map`, heads of references (fluent, constant or unresolved
/// symbol without arguments) by `head_map`. With `on_input` a node is looked up as it stood before its
/// children were rebuilt, otherwise as rebuilt. Both maps are copied. A head may become another head, an
/// object or a parameter; anything else raises InternalError.
class ExpressionSubstituter : public ExpressionIdentity {
 public:
  ExpressionSubstituter(Environment& env, NodeMap value_map, NodeMap head_map, bool on_input);

 protected:
  void do_memoize_value(Node* node, Node* value) const override;
  Node* walk_fluent_reference(Node* node) const override;
  Node* walk_constant_reference(Node* node) const override;
  Node* walk_unresolved_symbol(Node* node) const override;

  /// The reference `node`, whose bare head is `head`, with the head that `head_map` gives it.
  Node* rebuild_reference(Node* head, Node* node) const;
  /// What stands for a reference once its head became `head`; an object or parameter takes no arguments.
  Node* with_new_head(Node* head, const std::vector<Node*>& arguments) const;

  NodeMap value_map_;
  NodeMap head_map_;
  bool on_input_;
};

/// A new table with the substitution applied to all keys and values.
std::shared_ptr<FunctionValueImpl> substitute_function_value(Environment& env, const FunctionValueImpl& value,
                                                             const NodeMap& map);

}  // namespace zorvel::model
