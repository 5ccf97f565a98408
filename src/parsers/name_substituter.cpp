#include "parsers/name_substituter.h"

#include <span>
#include <unordered_set>

#include "core/errors.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/type_checker.h"
#include "model/user_type.h"

namespace zorvel {

using namespace model;

namespace {

/// Calls `visit` for the nodes whose results an expression is built from: a forall opens its body by itself,
/// and the name behind a dot belongs to the object before it, so that only its arguments are looked at.
template <class Visit>
void for_each_operand(const Node* node, Visit visit) {
  if (ExpressionFactory::is_forall(node)) return;
  const Node* member = nullptr;
  std::span<Node* const> operands = node->operands();
  if (ExpressionFactory::is_scoping(node) && ExpressionFactory::is_unresolved_symbol(operands.back())) {
    member = operands.back();
    operands = operands.first(1);
  }
  for (Node* operand : operands) visit(operand);
  if (member != nullptr)
    for (Node* argument : member->operands()) visit(argument);
}

}  // namespace

TypePtr resolve_type(Environment& env, const TypePtr& type, const TypeTable& types) {
  if (type->is_set()) {
    const TypePtr& element = static_cast<const SetTypeBase&>(*type).type();
    if (!element->is_unresolved() && !element->is_set()) return type;
    return env.model_factory().make_set_type(resolve_type(env, element, types));
  }
  if (!type->is_unresolved()) return type;
  const std::string& name = static_cast<const UnresolvedType&>(*type).name();
  const TypePtr* found = types.find(name);
  if (found == nullptr) throw UnresolvedSymbolError(name) << ": type unknown";
  return *found;
}

/// The variables of one forall, bound for as long as it lives, with a memo of their own: the same node means
/// something else outside.
class NameSubstituter::ForallScope {
 public:
  ForallScope(const NameSubstituter& substituter, Node* forall)
      : substituter_(substituter), scope_(substituter.names_) {
    ExpressionFactory& factory = substituter.factory();
    for (const auto& variable : factory.get_parameters_from_forall(forall)) {
      variables_.push_back(std::make_shared<ParameterImpl>(
          variable->name(), resolve_type(substituter.env(), variable->type(), substituter.types_)));
      substituter.names_.bind(factory.make_unresolved_symbol(variable->name(), {})->payload,
                              factory.make_parameter_reference(variables_.back()));
    }
    substituter_.memo_.swap(memo_outside_);
  }
  ~ForallScope() { substituter_.memo_.swap(memo_outside_); }
  ForallScope(const ForallScope&) = delete;
  ForallScope& operator=(const ForallScope&) = delete;
  const ParameterVector& variables() const { return variables_; }

 private:
  const NameSubstituter& substituter_;
  NameTable::Scope scope_;
  ParameterVector variables_;
  std::unordered_map<Node*, Node*, NodeIdHash> memo_outside_;
};

Node* const& NameSubstituter::operator()(Node* root) const {
  // The stack is kept for its memory; a walk inside of a walk, for the body of a forall, works above its
  // base. A walk that broke off leaves its rest behind, which the walks around it never look at either.
  const std::size_t base = stack_.size();
  stack_.emplace_back(root, false);
  while (stack_.size() > base) {
    const auto [node, is_ready] = stack_.back();
    if (is_memoized(node)) {
      stack_.pop_back();
    } else if (is_ready || node->arity == 0) {
      evaluate_and_cache_expression(node);
      stack_.pop_back();
    } else {
      stack_.back().second = true;
      for_each_operand(node, [&](Node* operand) { stack_.emplace_back(operand, false); });
    }
  }
  return memoized_value(root);
}

Node* NameSubstituter::walk_unresolved_symbol(Node* node) const {
  Node* const* meaning = names_.find(node->payload);
  if (meaning == nullptr) {
    if (node->arity == 0) return node;
    return factory().make_unresolved_symbol(factory().get_name_from_unresolved_symbol(node),
                                            memoized_children(node));
  }
  if (node->arity == 0) return *meaning;
  if (ExpressionFactory::is_fluent_reference(*meaning))
    return factory().make_fluent_reference(factory().get_fluent_from_reference(*meaning),
                                           memoized_children(node));
  if (ExpressionFactory::is_constant_reference(*meaning))
    return factory().make_constant_reference(factory().get_constant_from_reference(*meaning),
                                             memoized_children(node));
  // why refused: a parameter or an object has no arguments, and dropping them would hide a mistake.
  throw InvalidParameterError("Invalid expression: ")
      << print_expression{node} << ". '" << factory().get_name_from_unresolved_symbol(node)
      << "' takes no arguments";
}

Node* NameSubstituter::walk_constant_reference(Node* node) const {
  Node* const* meaning = names_.find(node->payload);
  return factory().make_constant_reference(
      factory().get_constant_from_reference(meaning == nullptr ? node : *meaning), memoized_children(node));
}

TypePtr NameSubstituter::type_of_object(Node* object, const Node* expression) const {
  switch (object->kind()) {
    case NodeKind::UNRESOLVED_SYMBOL:
      throw UnresolvedSymbolError(factory().get_name_from_unresolved_symbol(object))
          << " in expression " << print_expression{const_cast<Node*>(expression)};
    case NodeKind::FLUENT_REFERENCE: return factory().get_fluent_from_reference(object)->type();
    case NodeKind::CONSTANT_REFERENCE: return factory().get_constant_from_reference(object)->type();
    case NodeKind::PARAMETER_REFERENCE: return factory().get_parameter_from_reference(object)->type();
    case NodeKind::INSTANCE_REFERENCE: return factory().get_instance_from_reference(object)->type();
    default:
      throw InvalidParameterError("Invalid expression: ")
          << print_expression{const_cast<Node*>(expression)} << ". Invalid left-hand side of scoping";
  }
}

Node* NameSubstituter::walk_dot(Node* node) const {
  Node* const left = memoized_value(node->children[0]);
  Node* const member = node->children[1];
  Node* const object = ExpressionFactory::is_scoping(left) ? left->children[1] : left;
  const TypePtr type = type_of_object(object, node);

  std::string name;
  switch (member->kind()) {
    case NodeKind::UNRESOLVED_SYMBOL: name = factory().get_name_from_unresolved_symbol(member); break;
    case NodeKind::FLUENT_REFERENCE: name = factory().get_fluent_from_reference(member)->name(); break;
    case NodeKind::CONSTANT_REFERENCE: name = factory().get_constant_from_reference(member)->name(); break;
    default:
      throw InvalidParameterError("Invalid expression: ")
          << print_expression{node} << ". Invalid right-hand side of scoping";
  }
  if (!type->is_user_defined())
    throw InvalidParameterError("Invalid expression: ")
        << print_expression{node} << ". Invalid type of left-hand side";

  const auto& user_type = dynamic_cast<const UserTypeImpl&>(*type);
  const std::vector<Node*> arguments = memoized_children(member);
  for (const UserTypeImpl* declaring : user_type.lineage()) {
    if (const auto fluent = declaring->fluents().find(name); fluent != declaring->fluents().end())
      return factory().make_scoping(left, factory().make_fluent_reference(fluent->second, arguments));
    if (const auto constant = declaring->constants().find(name); constant != declaring->constants().end()) {
      Node* const reference = factory().make_constant_reference(constant->second, {});
      Node* const* meaning = names_.find(reference->payload);
      return factory().make_scoping(
          left,
          factory().make_constant_reference(
              factory().get_constant_from_reference(meaning == nullptr ? reference : *meaning), arguments));
    }
  }
  throw UnresolvedSymbolError(name) << " in expression " << print_expression{node};
}

Node* NameSubstituter::walk_forall(Node* node) const {
  const ForallScope scope(*this, node);
  std::vector<Node*> body;
  body.reserve(node->arity);
  // The nesting of foralls is bounded by the reader, so the call stack is too.
  for (Node* statement : node->operands()) body.push_back((*this)(statement));
  return factory().make_forall(scope.variables(), body);
}

Node* NameSubstituter::first_failure(Node* root, Pass pass) const {
  // In the order of the walkers, last operand first, so that what fails here is what failed before. All
  // operands of a tested part are memoised by then: each test costs one node.
  std::unordered_set<Node*> seen;
  std::vector<std::pair<Node*, bool>> stack{{root, false}};
  while (!stack.empty()) {
    const auto [node, is_ready] = stack.back();
    if (is_ready) {
      stack.pop_back();
      if (ExpressionFactory::is_forall(node)) {
        if (Node* const inner = first_failure_in_forall(node, pass)) return inner;
      } else if (fails(node, pass)) {
        return node;
      }
    } else if (!seen.insert(node).second) {
      stack.pop_back();
    } else {
      stack.back().second = true;
      for_each_operand(node, [&](Node* operand) { stack.emplace_back(operand, false); });
    }
  }
  return nullptr;
}

bool NameSubstituter::fails(Node* node, Pass pass) const {
  try {
    Node* const resolved = (*this)(node);
    if (pass == Pass::TYPES) env().type_checker()(resolved);
    return false;
  } catch (const std::exception&) {
    return true;
  }
}

Node* NameSubstituter::first_failure_in_forall(Node* forall, Pass pass) const {
  try {
    const ForallScope scope(*this, forall);
    const auto body = forall->operands();
    for (std::size_t i = 0; i < body.size(); ++i) {
      Node* const statement = pass == Pass::NAMES ? body[i] : body[body.size() - 1 - i];
      if (Node* const inner = first_failure(statement, pass)) return inner;
    }
    return nullptr;
  } catch (const std::exception&) {
    return forall;  // the type of a variable is unknown
  }
}

Node* NameSubstituter::find_fault(Node* root) const {
  if (Node* const part = first_failure(root, Pass::NAMES)) return part;
  if (Node* const part = first_failure(root, Pass::TYPES)) return part;
  return root;
}

}  // namespace zorvel
