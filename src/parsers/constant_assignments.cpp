#include "parsers/constant_assignments.h"

#include <cassert>
#include <unordered_set>

#include "core/errors.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/type_checker.h"
#include "model/user_type.h"
#include "model/walkers/expression_simplifier.h"

namespace zorvel {

using namespace model;

namespace {

bool is_unresolved(const ExpressionFactory& factory, Node* node, const char* name) {
  return ExpressionFactory::is_unresolved_symbol(node) &&
         factory.get_name_from_unresolved_symbol(node) == name;
}

/// Whether a value of type `given` may be stored where `declared` is; bounds play no part. The type of `{}`
/// is a set of void. Objects of derived types fit.
bool fits(const TypePtr& declared, const TypePtr& given) {
  if (declared->is_set() && given->is_set()) {
    const TypePtr& member = static_cast<const SetTypeBase&>(*given).type();
    return member->is_void() || fits(static_cast<const SetTypeBase&>(*declared).type(), member);
  }
  return is_a(*given, *declared) || (declared->is_integer() && given->is_integer()) ||
         (declared->is_rational() && (given->is_rational() || given->is_integer()));
}

}  // namespace

Node* assignment_at_start(const ExpressionFactory& factory, Node* expression) {
  Node* body = expression;
  if (ExpressionFactory::is_temporal_expression(expression)) {
    Node* const interval = expression->children[0];
    if (!ExpressionFactory::is_interval(interval) || !factory.is_point_interval(interval)) return nullptr;
    Node* const point = interval->children[0];
    const bool is_start =
        ExpressionFactory::is_start_anchor(point) ||
        (ExpressionFactory::is_integer_constant(point) && ExpressionFactory::is_zero(point));
    if (!is_start) return nullptr;
    body = expression->children[1];
  }
  return ExpressionFactory::is_assign(body) ? body : nullptr;
}

std::optional<ConstantAssignment> get_constant_assign(ExpressionFactory& factory, Node* expression,
                                                      Node* raw) {
  Node* const assign = assignment_at_start(factory, expression);
  if (assign == nullptr) return std::nullopt;
  Node* target = assign->children[0];
  ConstantAssignment result{nullptr, {}, {}, assign->children[1], expression, raw};
  const auto refuse = [&] {
    throw InvalidParameterError("Found an invalid initialization")
        << "of constant: " << print_expression{expression};
  };
  if (ExpressionFactory::is_scoping(target)) {
    Node* const object = target->children[0];
    target = target->children[1];
    if (!ExpressionFactory::is_constant_reference(target)) return std::nullopt;
    if (!ExpressionFactory::is_instance_reference(object)) refuse();
    result.instance = factory.get_instance_from_reference(object)->name();
  }
  if (!ExpressionFactory::is_constant_reference(target)) return std::nullopt;
  result.constant = factory.get_constant_from_reference(target);
  for (std::size_t i = 0; i < target->arity; ++i) {
    Node* const argument = target->children[i];
    if (i + 1 == target->arity && is_unresolved(factory, argument, "*")) break;
    if (ExpressionFactory::is_unresolved_symbol(argument)) refuse();
    result.arguments.push_back(argument);
  }
  return result;
}

void ConstantAssignments::add(ConstantAssignment assignment) {
  const ConstantImpl& constant = *assignment.constant;
  ExpressionTypeChecker& type_of = env_.type_checker();
  const ParameterVector& parameters = constant.parameters();
  bool arguments_fit = assignment.arguments.size() <= parameters.size();
  for (std::size_t i = 0; arguments_fit && i < assignment.arguments.size(); ++i)
    arguments_fit = fits(parameters[i]->type(), type_of(assignment.arguments[i]));
  if (!arguments_fit)
    throw TypeCheckingError("Found constant assignment having ")
        << "non-compatible parameters: " << print_expression{assignment.expression};
  if (!fits(constant.type(), type_of(assignment.value)))
    throw TypeCheckingError("Found an constant assign having ")
        << "non-compatible operands: " << print_expression{assignment.expression};
  assignments_[&constant].push_back(std::move(assignment));
}

std::vector<std::size_t> ConstantAssignments::used_by(std::size_t constant) const {
  std::vector<std::size_t> used;
  std::unordered_set<Node*> seen;
  std::vector<Node*> open;
  const auto found = assignments_.find(declared_[constant].get());
  if (found == assignments_.end()) return used;
  for (const ConstantAssignment& assignment : found->second) {
    open.push_back(assignment.value);
    open.insert(open.end(), assignment.arguments.begin(), assignment.arguments.end());
  }
  while (!open.empty()) {
    Node* const node = open.back();
    open.pop_back();
    if (!seen.insert(node).second) continue;
    open.insert(open.end(), node->operands().begin(), node->operands().end());
    if (!ExpressionFactory::is_constant_reference(node)) continue;
    const auto other = index_.find(env_.expression_factory().get_constant_from_reference(node).get());
    if (other != index_.end()) used.push_back(other->second);
  }
  return used;
}

std::vector<std::size_t> ConstantAssignments::order_of_use() {
  enum class Mark { NEW, OPEN, DONE };
  std::vector<Mark> marks(declared_.size(), Mark::NEW);
  std::vector<std::size_t> order;
  std::vector<std::pair<std::size_t, std::vector<std::size_t>>>
      path;  // a constant, and what is left of its uses
  for (std::size_t root = 0; root < declared_.size(); ++root) {
    if (marks[root] != Mark::NEW) continue;
    marks[root] = Mark::OPEN;
    path.emplace_back(root, used_by(root));
    while (!path.empty()) {
      auto& [constant, left] = path.back();
      if (left.empty()) {
        marks[constant] = Mark::DONE;
        order.push_back(constant);
        path.pop_back();
        continue;
      }
      const std::size_t next = left.back();
      left.pop_back();
      if (marks[next] == Mark::OPEN) {
        current_constant_ = declared_[next].get();
        throw InternalError("The value of constant '") << declared_[next]->name() << "' depends on itself";
      }
      if (marks[next] == Mark::NEW) {
        marks[next] = Mark::OPEN;
        path.emplace_back(next, used_by(next));
      }
    }
  }
  return order;
}

Node* ConstantAssignments::argument_key(Node* argument) const {
  // Values are looked up by constant arguments, so `c(1 + 1)` has to be stored under 2.
  if (ExpressionFactory::is_value(argument)) return argument;
  Node* const simple = ExpressionSimplifier(env_)(argument);
  return ExpressionFactory::is_value(simple) ? simple : argument;
}

ConstantAssignments::ConstantPtr ConstantAssignments::make_constant(const ConstantImpl& declared,
                                                                    const NameSubstituter& to_new) {
  current_constant_ = &declared;
  const auto found = assignments_.find(&declared);
  if (found == assignments_.end())
    throw InternalError("Found an uninitialized constant: ") << declared.name();
  ConstantImpl::Values values;
  for (const ConstantAssignment& assignment : found->second) {
    current_statement_ = assignment.raw;
    std::vector<Node*> key;
    key.reserve(assignment.arguments.size());
    for (Node* argument : assignment.arguments) key.push_back(argument_key(to_new(argument)));
    std::shared_ptr<FunctionValueImpl>& table = values[assignment.instance];
    if (!table) table = std::make_shared<FunctionValueImpl>();
    if (table->has_assignments(key))
      throw InternalError("It is forbidden to assign a value") << " to a constant more than one time";
    table->add_assignment(key, to_new(assignment.value));
  }
  current_statement_ = nullptr;
  return env_.model_factory().make_constant(declared.name(), declared.type(), declared.path(),
                                            declared.parameters(), values);
}

std::vector<ConstantAssignments::ConstantPtr> ConstantAssignments::make_constants(
    const std::vector<ConstantPtr>& declared) {
  declared_ = declared;
  index_.clear();
  for (std::size_t i = 0; i < declared_.size(); ++i) index_[declared_[i].get()] = i;

  // A constant is published with its values, which are part of its identity; so the ones that it uses are
  // made before it, and a use is bound to the made one.
  ExpressionFactory& factory = env_.expression_factory();
  NameTable made;
  const TypeTable no_types;
  const NameSubstituter to_new(env_, made, no_types);
  std::vector<ConstantPtr> result(declared_.size());
  current_constant_ = nullptr;
  for (const std::size_t i : order_of_use()) {
    result[i] = make_constant(*declared_[i], to_new);
    made.bind(factory.make_constant_reference(declared_[i], {})->payload,
              factory.make_constant_reference(result[i], {}));
  }
  current_constant_ = nullptr;
  return result;
}

}  // namespace zorvel
