#include "state/evaluator.h"

#include <algorithm>

#include "core/errors.h"
#include "model/constant.h"
#include "model/fluent.h"

namespace zorvel {

namespace {

using model::ExpressionFactory;

bool has_undefined(const ExpressionFactory& factory, const std::vector<Node*>& arguments) {
  return std::ranges::any_of(arguments, [&](Node* argument) {
    return !ExpressionFactory::is_value(argument) && model::is_undefined(factory, argument);
  });
}

}  // namespace

Node* const& ReferenceEvaluator::operator()(Node* root) const {
  struct CallGuard {
    explicit CallGuard(int& running) : calls(running) { ++calls; }
    ~CallGuard() { --calls; }
    CallGuard(const CallGuard&) = delete;
    CallGuard& operator=(const CallGuard&) = delete;
    int& calls;
  };
  // The calls from inside a walk see the same values as the outermost one and share its memo.
  if (calls_ == 0) memo_.clear();
  const CallGuard guard(calls_);
  return ExpressionSimplifier::operator()(root);
}

Node* ReferenceEvaluator::walk_equals(Node* node) const {
  Node* const a = memoized_value(node->children[0]);
  Node* const b = memoized_value(node->children[1]);
  // Two parts that look alike are equal only if they have a value.
  if (a == b && !ExpressionFactory::is_value(a) && model::is_undefined(factory(), a))
    return factory().make_equals(a, b);
  return ExpressionSimplifier::walk_equals(node);
}

Node* ReferenceEvaluator::walk_fluent_reference(Node* node) const {
  if (node->arity == 0) return value_of(node);
  const auto fluent = factory().get_fluent_from_reference(node);
  std::vector<Node*> arguments = memoized_children(node);
  if (has_undefined(factory(), arguments)) return factory().make_fluent_reference(fluent, arguments);
  model::normalize_arguments(factory(), fluent->parameters(), arguments);
  if (!accepts(fluent->parameters(), arguments)) return factory().make_fluent_reference(fluent, arguments);
  return value_of(factory().make_fluent_reference(fluent, arguments));
}

Node* ReferenceEvaluator::walk_constant_reference(Node* node) const {
  const auto constant = factory().get_constant_from_reference(node);
  const auto table = constant->value();
  std::vector<Node*> arguments = memoized_children(node);
  if (table != nullptr) {
    if (has_undefined(factory(), arguments)) return factory().make_constant_reference(constant, arguments);
    model::normalize_arguments(factory(), constant->parameters(), arguments);
    if (!accepts(constant->parameters(), arguments))
      return factory().make_constant_reference(constant, arguments);
    if (Node* const value = table->assignment(arguments)) return simplify_value(*constant, value);
  }
  throw InvalidParameterError("Found uninitialized constant in the model: ") << model::print_expression{node};
}

Node* ExpressionEvaluator::walk_parameter_reference(Node*) const {
  throw InternalError("Found a parameter reference while FTP planning!");
}

Node* ExpressionEvaluator::walk_unresolved_symbol(Node*) const {
  throw InternalError("Found an unresolved symbol while planning!");
}

Node* ExpressionEvaluator::value_of(Node* reference) const { return state_.value(index_, reference); }

bool ExpressionEvaluator::accepts(const model::ParameterVector& parameters,
                                  const std::vector<Node*>& arguments) const {
  return !model::has_argument_outside(factory(), parameters, arguments);
}

}  // namespace zorvel
