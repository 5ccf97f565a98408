#include "transformers/expression_set_compiler.h"

#include <algorithm>
#include <cassert>
#include <stdexcept>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/walkers/expression_identity.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;
using Members = ExpressionForSet::Members;

constexpr std::size_t max_domain = 1'000'000;

bool is_true(const Node* node) { return F::is_kind(node, NodeKind::TRUE); }
bool is_false(const Node* node) { return F::is_kind(node, NodeKind::FALSE); }

[[noreturn]] void refuse(Node* expression) {
  throw UnsupportedProblemError("Set compiler is not able to handle this expression: ")
      << print_expression{expression};
}

const TypePtr& element_type(const TypePtr& set) {
  assert(set->is_set());
  return static_cast<const SetTypeBase&>(*set).type();
}

// why folded: a member that an operation leaves alone must stay the same node, to be seen as unchanged.
Node* disjunction(F& factory, Node* a, Node* b) {
  if (is_true(a) || is_false(b)) return a;
  if (is_true(b) || is_false(a)) return b;
  return a == b ? a : factory.make_or(a, b);
}

Node* conjunction(F& factory, Node* a, Node* b) {
  if (is_false(a) || is_true(b)) return a;
  if (is_false(b) || is_true(a)) return b;
  return a == b ? a : factory.make_and(a, b);
}

Node* negation(F& factory, Node* a) {
  if (F::is_boolean_constant(a)) return factory.make_boolean_constant(is_false(a));
  return factory.make_not(a);
}

/// Calls `use` with every element of either set and its conditions in both; absent ones are false. One pass,
/// in the order of the elements.
template <class Use>
void for_each_element(F& factory, const Members& left, const Members& right, const Use& use) {
  Node* const absent = factory.make_boolean_constant(false);
  const NodeIdLess less;
  auto a = left.begin(), b = right.begin();
  while (a != left.end() || b != right.end()) {
    if (b == right.end() || (a != left.end() && less(a->first, b->first))) {
      use(a->first, a->second, absent);
      ++a;
    } else if (a == left.end() || less(b->first, a->first)) {
      use(b->first, absent, b->second);
      ++b;
    } else {
      use(a->first, a->second, b->second);
      ++a;
      ++b;
    }
  }
}

/// The set of the elements with their conditions by `combine`, without those that are never in it.
template <class Combine>
ExpressionForSet combined(F& factory, const Members& left, const Members& right, const Combine& combine) {
  ExpressionForSet result;
  result.members.reserve(left.size() + right.size());
  for_each_element(factory, left, right, [&](Node* element, Node* a, Node* b) {
    assert(!is_false(a) || !is_false(b));  // a member of one of them
    Node* const condition = combine(a, b);
    if (!is_false(condition)) result.members.emplace_hint(result.members.end(), element, condition);
  });
  return result;
}

ExpressionForSet all_of(F& factory, const std::vector<Node*>& parts) {
  return {parts.empty() ? factory.make_boolean_constant(true) : factory.make_and(parts), {}};
}

}  // namespace

/// Makes a node again from the rewritten children of the set compiler.
class ExpressionSetCompiler::Rebuilder : public ExpressionIdentity {
 public:
  explicit Rebuilder(const ExpressionSetCompiler& compiler)
      : ExpressionIdentity(compiler.env()), compiler_(compiler) {}

  Node* rebuild(Node* node) const {
    node_ = node;
    result_ = nullptr;
    evaluate_and_cache_expression(node);
    assert(result_ != nullptr);
    return result_;
  }

 protected:
  Node* const& memoized_value(Node* child) const override { return compiler_.scalar(child, node_); }
  void do_memoize_value(Node*, Node* value) const override { result_ = value; }

 private:
  const ExpressionSetCompiler& compiler_;
  mutable Node* node_ = nullptr;
  mutable Node* result_ = nullptr;
};

ExpressionSetCompiler::ExpressionSetCompiler(const ProblemInstanceImpl& problem, const FluentTable& fluents,
                                             const ConstantTable& constants)
    : ExpressionWalker(problem.env()),
      problem_(problem),
      fluents_(fluents),
      constants_(constants),
      simplify_(problem.env()),
      rebuilder_(std::make_unique<Rebuilder>(*this)) {}

ExpressionSetCompiler::~ExpressionSetCompiler() = default;

const std::vector<Node*>& ExpressionSetCompiler::domain(const TypePtr& element) const {
  const auto known = domains_.find(element);
  if (known != domains_.end()) return known->second;
  if (!element->is_finite_domain())
    throw UnsupportedProblemError("Infinite sets are not supported: ") << element->reference_name();
  if (domain_size(problem_.instances(), element) > max_domain)
    throw UnsupportedProblemError("A set has too many possible members: ") << element->reference_name();
  std::vector<Node*> items = domain_items(env(), problem_.instances(), element);
  std::sort(items.begin(), items.end(), NodeIdLess());  // so that members come in their order
  return domains_.emplace(element, std::move(items)).first->second;
}

template <class Member>
ExpressionForSet ExpressionSetCompiler::over_domain(const TypePtr& element, const Member& member) const {
  const std::vector<Node*>& items = domain(element);
  assert(std::is_sorted(items.begin(), items.end(), NodeIdLess()));  // members are put in at the end
  ExpressionForSet result;
  result.members.reserve(items.size());
  for (Node* item : items) {
    Node* const condition = member(item);
    if (!is_false(condition)) result.members.emplace_hint(result.members.end(), item, condition);
  }
  return result;
}

Node* const& ExpressionSetCompiler::scalar(Node* child, Node* parent) const {
  const ExpressionForSet& value = memoized_value(child);
  if (value.is_set()) refuse(parent);
  return value.expression;
}

const Members& ExpressionSetCompiler::set(Node* child, Node* parent) const {
  const ExpressionForSet& value = memoized_value(child);
  if (!value.is_set()) refuse(parent);
  return value.members;
}

bool ExpressionSetCompiler::are_sets(const Node* node) const {
  assert(node->arity == 2);
  return memoized_value(node->children[0]).is_set() && memoized_value(node->children[1]).is_set();
}

std::vector<Node*> ExpressionSetCompiler::scalar_children(Node* node) const {
  std::vector<Node*> result;
  result.reserve(node->arity);
  for (Node* child : node->operands()) result.push_back(scalar(child, node));
  return result;
}

Node* ExpressionSetCompiler::as_element(Node* expression, Node* parent) const {
  Node* const element = F::is_value(expression) ? expression : simplify_(expression);
  if (!F::is_value(element)) refuse(parent);
  return element;
}

ExpressionForSet ExpressionSetCompiler::rebuilt(Node* node) const { return {rebuilder_->rebuild(node), {}}; }

#define ZORVEL_WALK_REBUILT(walk) \
  ExpressionForSet ExpressionSetCompiler::walk(Node* node) const { return rebuilt(node); }
ZORVEL_WALK_REBUILT(walk_and)
ZORVEL_WALK_REBUILT(walk_or)
ZORVEL_WALK_REBUILT(walk_not)
ZORVEL_WALK_REBUILT(walk_imply)
ZORVEL_WALK_REBUILT(walk_iff)
ZORVEL_WALK_REBUILT(walk_lt)
ZORVEL_WALK_REBUILT(walk_le)
ZORVEL_WALK_REBUILT(walk_gt)
ZORVEL_WALK_REBUILT(walk_ge)
ZORVEL_WALK_REBUILT(walk_times)
ZORVEL_WALK_REBUILT(walk_plus)
ZORVEL_WALK_REBUILT(walk_div)
ZORVEL_WALK_REBUILT(walk_minus)
ZORVEL_WALK_REBUILT(walk_sqrt)
ZORVEL_WALK_REBUILT(walk_increase)
ZORVEL_WALK_REBUILT(walk_decrease)
ZORVEL_WALK_REBUILT(walk_in_assign)
ZORVEL_WALK_REBUILT(walk_interval)
ZORVEL_WALK_REBUILT(walk_temporal_expression)
ZORVEL_WALK_REBUILT(walk_start)
ZORVEL_WALK_REBUILT(walk_end)
ZORVEL_WALK_REBUILT(walk_duration)
ZORVEL_WALK_REBUILT(walk_time)
ZORVEL_WALK_REBUILT(walk_true)
ZORVEL_WALK_REBUILT(walk_false)
ZORVEL_WALK_REBUILT(walk_rational_constant)
ZORVEL_WALK_REBUILT(walk_integer_constant)
ZORVEL_WALK_REBUILT(walk_dot)
ZORVEL_WALK_REBUILT(walk_unresolved_symbol)
ZORVEL_WALK_REBUILT(walk_parameter_reference)
ZORVEL_WALK_REBUILT(walk_instance_reference)
ZORVEL_WALK_REBUILT(walk_label_reference)
ZORVEL_WALK_REBUILT(walk_contains)
ZORVEL_WALK_REBUILT(walk_action_status_is)
#undef ZORVEL_WALK_REBUILT

ExpressionForSet ExpressionSetCompiler::walk_forall(Node*) const { throw InternalError(""); }

ExpressionForSet ExpressionSetCompiler::walk_set_constant(Node* node) const {
  std::vector<Node*> elements;
  elements.reserve(node->arity);
  for (Node* child : node->operands()) elements.push_back(as_element(scalar(child, node), node));
  std::sort(elements.begin(), elements.end(), NodeIdLess());
  elements.erase(std::unique(elements.begin(), elements.end()), elements.end());
  ExpressionForSet result;
  result.members.reserve(elements.size());
  for (Node* element : elements)
    result.members.emplace_hint(result.members.end(), element, factory().make_boolean_constant(true));
  return result;
}

ExpressionForSet ExpressionSetCompiler::walk_in(Node* node) const {
  const Members& members = set(node->children[1], node);
  const auto found = members.find(as_element(scalar(node->children[0], node), node));
  return {found == members.end() ? factory().make_boolean_constant(false) : found->second, {}};
}

ExpressionForSet ExpressionSetCompiler::walk_union(Node* node) const {
  return combined(factory(), set(node->children[0], node), set(node->children[1], node),
                  [this](Node* a, Node* b) { return disjunction(factory(), a, b); });
}

ExpressionForSet ExpressionSetCompiler::walk_intersection(Node* node) const {
  return combined(factory(), set(node->children[0], node), set(node->children[1], node),
                  [this](Node* a, Node* b) { return conjunction(factory(), a, b); });
}

ExpressionForSet ExpressionSetCompiler::walk_difference(Node* node) const {
  return combined(factory(), set(node->children[0], node), set(node->children[1], node),
                  [this](Node* a, Node* b) { return conjunction(factory(), a, negation(factory(), b)); });
}

ExpressionForSet ExpressionSetCompiler::walk_subset(Node* node) const {
  const Members& left = set(node->children[0], node);
  std::vector<Node*> parts;
  parts.reserve(left.size());
  for_each_element(factory(), left, set(node->children[1], node), [&](Node*, Node* a, Node* b) {
    if (!is_false(a)) parts.push_back(factory().make_imply(a, b));
  });
  return all_of(factory(), parts);
}

ExpressionForSet ExpressionSetCompiler::walk_equals(Node* node) const {
  if (!are_sets(node)) return rebuilt(node);
  const Members& left = set(node->children[0], node);
  std::vector<Node*> parts;
  parts.reserve(left.size());
  for_each_element(factory(), left, set(node->children[1], node), [&](Node*, Node* a, Node* b) {
    parts.push_back(is_false(a) ? factory().make_not(b) : factory().make_iff(a, b));
  });
  return all_of(factory(), parts);
}

ExpressionForSet ExpressionSetCompiler::walk_assign(Node* node) const {
  if (!are_sets(node)) return rebuilt(node);
  if (node->children[0] == node->children[1]) return {factory().make_boolean_constant(true), {}};
  return assigned_members(set(node->children[0], node), set(node->children[1], node));
}

ExpressionForSet ExpressionSetCompiler::assigned_members(const Members& left, const Members& right) const {
  std::vector<Node*> assignments, conditions;
  Node* const first = left.empty() ? nullptr : left.begin()->second;
  for_each_element(factory(), left, right, [&](Node*, Node* a, Node* b) {
    if (is_false(a))
      conditions.push_back(factory().make_not(b));
    else if (a != b || a == first)
      assignments.push_back(factory().make_assign(a, b));
  });
  assignments.insert(assignments.end(), conditions.begin(), conditions.end());
  return all_of(factory(), assignments);
}

ExpressionForSet ExpressionSetCompiler::walk_fluent_reference(Node* node) const {
  const auto fluent = factory().get_fluent_from_reference(node);
  const auto found = fluents_.find(fluent);
  if (found == fluents_.end())
    throw InternalError("Found a fluent that is unknown to the set compiler: ") << print_expression{node};
  std::vector<Node*> arguments = scalar_children(node);
  if (!fluent->type()->is_set()) return {factory().make_fluent_reference(found->second, arguments), {}};
  arguments.insert(arguments.begin(), nullptr);
  return over_domain(element_type(fluent->type()), [&](Node* item) {
    arguments.front() = item;
    return factory().make_fluent_reference(found->second, arguments);
  });
}

ExpressionForSet ExpressionSetCompiler::walk_constant_reference(Node* node) const {
  const auto constant = factory().get_constant_from_reference(node);
  const auto found = constants_.find(constant);
  if (found == constants_.end()) throw std::out_of_range("map::at");
  std::vector<Node*> arguments = scalar_children(node);
  if (!constant->type()->is_set()) return {factory().make_constant_reference(found->second, arguments), {}};
  arguments.insert(arguments.begin(), nullptr);
  // Known members are put in place, so that what they leave unchanged is seen to be.
  return over_domain(element_type(constant->type()), [&](Node* item) {
    arguments.front() = item;
    return simplify_(factory().make_constant_reference(found->second, arguments));
  });
}

}  // namespace zorvel::model
