#include "model/expression_factory.h"

#include <array>
#include <compare>
#include <optional>
#include <tuple>

#include "core/errors.h"
#include "model/expression_payloads.h"

namespace zorvel::model {

namespace {

template <class T>
bool same_owner(const std::weak_ptr<T>& a, const std::shared_ptr<T>& b) {
  return !a.owner_before(b) && !b.owner_before(a);
}

template <class P>
const P& payload_of(const Node* node, NodeKind kind, std::string_view complaint) {
  if (node->kind() != kind) throw InvalidParameterError(complaint);
  return static_cast<const P&>(*node->payload);
}

const IntervalPayload* interval_of(const Node* node) {
  return node->kind() == NodeKind::INTERVAL ? static_cast<const IntervalPayload*>(node->payload) : nullptr;
}
bool has_ends(const Node* node, bool left_closed, bool right_closed) {
  const IntervalPayload* interval = interval_of(node);
  return interval != nullptr && interval->left_closed == left_closed &&
         interval->right_closed == right_closed;
}

/// One payload for each value.
template <class Key, class P>
class ValueTable {
 public:
  template <class... Kind>
  const P* intern(const Key& key, Kind... kind) {
    auto [entry, is_new] = payloads_.try_emplace(key);
    if (is_new) entry->second = std::make_unique<P>(kind..., key);
    return entry->second.get();
  }

 private:
  std::unordered_map<Key, std::unique_ptr<P>> payloads_;
};

/// One payload for each object, found by address.
///
/// An address can be used again after its object has died, so a hit counts only if the payload's weak pointer
/// has the owner of the object asked for; that one cannot be used again while the payload holds it.
template <class T, class P>
class ObjectTable {
 public:
  const P* intern(const std::shared_ptr<T>& object) {
    const P*& last = last_payloads_[object.get()];
    if (last == nullptr || !same_owner(last->object, object)) {
      payloads_.push_back(std::make_unique<P>(object));
      last = payloads_.back().get();
    }
    return last;
  }

 private:
  std::unordered_map<const T*, const P*> last_payloads_;  // for the last object at the address
  std::vector<std::unique_ptr<P>> payloads_;              // with those of dead objects: nodes refer to them
};

/// Orders by instance, action and status, pointers by owner. Never iterated, so the order does not show.
struct StatusLess {
  using Key = std::tuple<std::weak_ptr<InstanceImpl>, std::weak_ptr<ActionImpl>, std::string, bool>;
  bool operator()(const Key& a, const Key& b) const {
    const auto& [instance_a, action_a, status_a, has_a] = a;
    const auto& [instance_b, action_b, status_b, has_b] = b;
    if (has_a != has_b) return has_b;
    if (instance_a.owner_before(instance_b) || instance_b.owner_before(instance_a))
      return instance_a.owner_before(instance_b);
    if (action_a.owner_before(action_b) || action_b.owner_before(action_a))
      return action_a.owner_before(action_b);
    return status_a < status_b;
  }
};

}  // namespace

struct ExpressionFactory::Tables {
  Tables() {
    for (int kind = 0; kind < node_kind_count; ++kind) plain[kind].emplace(static_cast<NodeKind>(kind));
  }
  const IntervalPayload* interval(bool left_closed, bool right_closed) const {
    return &intervals[(left_closed ? 2 : 0) + (right_closed ? 1 : 0)];
  }

  // By kind; those of kinds that carry data stay unused. Optional, since a payload is built where it stays.
  std::array<std::optional<Payload>, node_kind_count> plain;
  const std::array<IntervalPayload, 4> intervals = {
      IntervalPayload(false, false), IntervalPayload(false, true), IntervalPayload(true, false),
      IntervalPayload(true, true)};
  ValueTable<std::string, IdentifierPayload> symbols, contains, labels;
  ValueTable<rational, RationalPayload> rationals;
  ValueTable<integer, IntegerPayload> integers;
  ObjectTable<FluentImpl, FluentPayload> fluents;
  ObjectTable<ConstantImpl, ConstantPayload> constants;
  ObjectTable<ParameterImpl, ParameterPayload> parameters;
  ObjectTable<InstanceImpl, InstancePayload> instances;
  std::map<StatusLess::Key, std::unique_ptr<ActionStatusIsPayload>, StatusLess> statuses;
  std::map<ParameterVector, std::unique_ptr<ForallPayload>> foralls;
};

ExpressionFactory::ExpressionFactory(Environment& env)
    : EnvObject(env), tables_(std::make_unique<Tables>()) {}
ExpressionFactory::~ExpressionFactory() = default;

Node* ExpressionFactory::make(NodeKind kind, std::initializer_list<Node*> operands) {
  return nodes_.make_node(&*tables_->plain[static_cast<std::size_t>(kind)], operands);
}
Node* ExpressionFactory::make(NodeKind kind, const std::vector<Node*>& operands) {
  return nodes_.make_node(&*tables_->plain[static_cast<std::size_t>(kind)], operands);
}

Node* ExpressionFactory::make_and(Node* a, Node* b) { return make(NodeKind::AND, {a, b}); }
Node* ExpressionFactory::make_and(const std::vector<Node*>& operands) {
  return make(NodeKind::AND, operands);
}
Node* ExpressionFactory::make_or(Node* a, Node* b) { return make(NodeKind::OR, {a, b}); }
Node* ExpressionFactory::make_or(const std::vector<Node*>& operands) { return make(NodeKind::OR, operands); }
Node* ExpressionFactory::make_not(Node* a) { return make(NodeKind::NOT, {a}); }
Node* ExpressionFactory::make_imply(Node* a, Node* b) { return make(NodeKind::IMPLY, {a, b}); }
Node* ExpressionFactory::make_iff(Node* a, Node* b) { return make(NodeKind::IFF, {a, b}); }
Node* ExpressionFactory::make_equals(Node* a, Node* b) { return make(NodeKind::EQUALS, {a, b}); }
Node* ExpressionFactory::make_lt(Node* a, Node* b) { return make(NodeKind::LT, {a, b}); }
Node* ExpressionFactory::make_le(Node* a, Node* b) { return make(NodeKind::LE, {a, b}); }
Node* ExpressionFactory::make_gt(Node* a, Node* b) { return make(NodeKind::GT, {a, b}); }
Node* ExpressionFactory::make_ge(Node* a, Node* b) { return make(NodeKind::GE, {a, b}); }
Node* ExpressionFactory::make_times(Node* a, Node* b) { return make(NodeKind::TIMES, {a, b}); }
Node* ExpressionFactory::make_times(const std::vector<Node*>& operands) {
  return make(NodeKind::TIMES, operands);
}
Node* ExpressionFactory::make_plus(Node* a, Node* b) { return make(NodeKind::PLUS, {a, b}); }
Node* ExpressionFactory::make_plus(const std::vector<Node*>& operands) {
  return make(NodeKind::PLUS, operands);
}
Node* ExpressionFactory::make_div(Node* a, Node* b) { return make(NodeKind::DIV, {a, b}); }
Node* ExpressionFactory::make_minus(Node* a, Node* b) { return make(NodeKind::MINUS, {a, b}); }
Node* ExpressionFactory::make_sqrt(Node* radicand, Node* decimals) {
  return make(NodeKind::SQRT, {radicand, decimals});
}
Node* ExpressionFactory::make_unary_minus(Node* a) { return make_times(a, make_integer_constant(-1)); }
Node* ExpressionFactory::make_in(Node* a, Node* b) { return make(NodeKind::IN, {a, b}); }
Node* ExpressionFactory::make_subset(Node* a, Node* b) { return make(NodeKind::SUBSET, {a, b}); }
Node* ExpressionFactory::make_union(Node* a, Node* b) { return make(NodeKind::UNION, {a, b}); }
Node* ExpressionFactory::make_intersection(Node* a, Node* b) { return make(NodeKind::INTERSECTION, {a, b}); }
Node* ExpressionFactory::make_difference(Node* a, Node* b) { return make(NodeKind::DIFFERENCE, {a, b}); }
Node* ExpressionFactory::make_set_constant(const std::vector<Node*>& members) {
  return make(NodeKind::SET_CONSTANT, members);
}
Node* ExpressionFactory::make_assign(Node* left, Node* right) {
  return make(NodeKind::ASSIGN, {left, right});
}
Node* ExpressionFactory::make_increase(Node* left, Node* right) {
  return make(NodeKind::INCREASE, {left, right});
}
Node* ExpressionFactory::make_decrease(Node* left, Node* right) {
  return make(NodeKind::DECREASE, {left, right});
}
Node* ExpressionFactory::make_in_assign(Node* left, Node* right) {
  // A point is closed too; written with both bounds, nobody who reads them needs to know of it.
  if (is_point_interval(right)) right = make_closed_interval(right->children[0], right->children[0]);
  if (!is_duration_anchor(left) || !is_closed_interval(right))
    throw InternalError("Found an :in assign having non-compatible operands: ") << print_expression{right};
  return make(NodeKind::IN_ASSIGN, {left, right});
}

Node* ExpressionFactory::make_open_interval(Node* from, Node* to) {
  return make_interval(from, to, false, false);
}
Node* ExpressionFactory::make_closed_interval(Node* from, Node* to) {
  return make_interval(from, to, true, true);
}
Node* ExpressionFactory::make_left_open_interval(Node* from, Node* to) {
  return make_interval(from, to, false, true);
}
Node* ExpressionFactory::make_right_open_interval(Node* from, Node* to) {
  return make_interval(from, to, true, false);
}
Node* ExpressionFactory::make_point_interval(Node* at) {
  return nodes_.make_node(tables_->interval(true, true), {at});
}
Node* ExpressionFactory::make_interval(Node* from, Node* to, bool left_closed, bool right_closed) {
  return nodes_.make_node(tables_->interval(left_closed, right_closed), {from, to});
}
Node* ExpressionFactory::make_temporal_expression(Node* interval, Node* body) {
  return make(NodeKind::TEMPORAL_EXPRESSION, {interval, body});
}
Node* ExpressionFactory::make_start_anchor() { return make(NodeKind::START, {}); }
Node* ExpressionFactory::make_end_anchor() { return make(NodeKind::END, {}); }
Node* ExpressionFactory::make_duration_anchor() { return make(NodeKind::DURATION, {}); }
Node* ExpressionFactory::make_time_anchor() { return make(NodeKind::TIME, {}); }
Node* ExpressionFactory::make_boolean_constant(bool value) {
  return make(value ? NodeKind::TRUE : NodeKind::FALSE, {});
}
Node* ExpressionFactory::make_rational_constant(const rational& value) {
  return nodes_.make_node(tables_->rationals.intern(value));
}
Node* ExpressionFactory::make_integer_constant(const integer& value) {
  return nodes_.make_node(tables_->integers.intern(value));
}
Node* ExpressionFactory::make_scoping(Node* object, Node* member) {
  return make(NodeKind::DOT, {object, member});
}
Node* ExpressionFactory::make_unresolved_symbol(const std::string& name,
                                                const std::vector<Node*>& arguments) {
  return nodes_.make_node(tables_->symbols.intern(name, NodeKind::UNRESOLVED_SYMBOL), arguments);
}
Node* ExpressionFactory::make_label_reference(const std::string& name) {
  return nodes_.make_node(tables_->labels.intern(name, NodeKind::LABEL_REFERENCE));
}
Node* ExpressionFactory::make_fluent_reference(const std::shared_ptr<FluentImpl>& fluent,
                                               const std::vector<Node*>& arguments) {
  return nodes_.make_node(tables_->fluents.intern(fluent), arguments);
}
Node* ExpressionFactory::make_constant_reference(const std::shared_ptr<ConstantImpl>& constant,
                                                 const std::vector<Node*>& arguments) {
  return nodes_.make_node(tables_->constants.intern(constant), arguments);
}
Node* ExpressionFactory::make_parameter_reference(const std::shared_ptr<ParameterImpl>& parameter) {
  return nodes_.make_node(tables_->parameters.intern(parameter));
}
Node* ExpressionFactory::make_instance_reference(const std::shared_ptr<InstanceImpl>& instance) {
  return nodes_.make_node(tables_->instances.intern(instance));
}

Node* ExpressionFactory::make_action_status_is(const std::shared_ptr<InstanceImpl>& instance,
                                               const std::shared_ptr<ActionImpl>& action,
                                               const std::string& status) {
  auto& payload = tables_->statuses[{instance, action, status, true}];
  if (!payload) payload = std::make_unique<ActionStatusIsPayload>(instance, action, status, true);
  return nodes_.make_node(payload.get());
}
Node* ExpressionFactory::make_action_status_is(const std::shared_ptr<ActionImpl>& action,
                                               const std::string& status) {
  auto& payload = tables_->statuses[{std::weak_ptr<InstanceImpl>(), action, status, false}];
  if (!payload)
    payload = std::make_unique<ActionStatusIsPayload>(std::weak_ptr<InstanceImpl>(), action, status, false);
  return nodes_.make_node(payload.get());
}

Node* ExpressionFactory::make_contains(Node* interval, Node* duration, const std::string& label) {
  const Payload* payload = tables_->contains.intern(label, NodeKind::CONTAINS);
  if (duration == nullptr) return nodes_.make_node(payload, {interval});
  return nodes_.make_node(payload, {interval, duration});
}

Node* ExpressionFactory::make_forall(const ParameterVector& parameters, const std::vector<Node*>& body) {
  auto& payload = tables_->foralls[parameters];
  if (!payload) payload = std::make_unique<ForallPayload>(parameters);
  return nodes_.make_node(payload.get(), body);
}

bool ExpressionFactory::is_open_interval(const Node* n) const { return has_ends(n, false, false); }
bool ExpressionFactory::is_closed_interval(const Node* n) const { return has_ends(n, true, true); }
bool ExpressionFactory::is_left_open_interval(const Node* n) const { return has_ends(n, false, true); }
bool ExpressionFactory::is_right_open_interval(const Node* n) const { return has_ends(n, true, false); }
bool ExpressionFactory::is_point_interval(const Node* n) const {
  return is_closed_interval(n) && n->arity == 1;
}
bool ExpressionFactory::is_left_closed(const Node* interval) const {
  return interval_of(interval) != nullptr && interval_of(interval)->left_closed;
}
bool ExpressionFactory::is_right_closed(const Node* interval) const {
  return interval_of(interval) != nullptr && interval_of(interval)->right_closed;
}
bool ExpressionFactory::is_zero(const Node* n) {
  if (is_integer_constant(n)) return static_cast<const IntegerPayload*>(n->payload)->value == 0;
  if (is_rational_constant(n)) return static_cast<const RationalPayload*>(n->payload)->value == rational(0);
  return false;
}

std::shared_ptr<FluentImpl> ExpressionFactory::get_fluent_from_reference(const Node* n) const {
  return lock_or_raise(
      payload_of<FluentPayload>(n, NodeKind::FLUENT_REFERENCE, "A fluent reference was expected").object);
}
std::shared_ptr<ConstantImpl> ExpressionFactory::get_constant_from_reference(const Node* n) const {
  return lock_or_raise(
      payload_of<ConstantPayload>(n, NodeKind::CONSTANT_REFERENCE, "A constant reference was expected")
          .object);
}
std::shared_ptr<ParameterImpl> ExpressionFactory::get_parameter_from_reference(const Node* n) const {
  return lock_or_raise(
      payload_of<ParameterPayload>(n, NodeKind::PARAMETER_REFERENCE, "A parameter reference was expected")
          .object);
}
std::shared_ptr<InstanceImpl> ExpressionFactory::get_instance_from_reference(const Node* n) const {
  return lock_or_raise(
      payload_of<InstancePayload>(n, NodeKind::INSTANCE_REFERENCE, "An instance reference was expected")
          .object);
}

bool ExpressionFactory::get_boolean_constant(const Node* n) const {
  if (!is_boolean_constant(n)) throw InvalidParameterError("A boolean constant was expected");
  return n->kind() == NodeKind::TRUE;
}
const integer& ExpressionFactory::get_integer_constant(const Node* n) const {
  return payload_of<IntegerPayload>(n, NodeKind::INTEGER_CONSTANT, "An integer constant was expected").value;
}
const rational& ExpressionFactory::get_rational_constant(const Node* n) const {
  if (!is_rational_constant(n))
    throw InvalidParameterError("A rational constant was expected, got ") << print_expression{n};
  return static_cast<const RationalPayload*>(n->payload)->value;
}
rational ExpressionFactory::get_numeric_constant(const Node* n) const {
  if (is_integer_constant(n)) return rational(static_cast<const IntegerPayload*>(n->payload)->value);
  return get_rational_constant(n);
}
const std::string& ExpressionFactory::get_name_from_label_reference(const Node* n) const {
  return payload_of<IdentifierPayload>(n, NodeKind::LABEL_REFERENCE, "A label reference node was expected")
      .name;
}
const std::string& ExpressionFactory::get_label_from_contains(const Node* n) const {
  return payload_of<IdentifierPayload>(n, NodeKind::CONTAINS, "A contains node was expected").name;
}

namespace {

const ActionStatusIsPayload& status_of(const Node* n) {
  return payload_of<ActionStatusIsPayload>(n, NodeKind::ACTION_STATUS_IS,
                                           "An 'action status is' node was expected");
}

}  // namespace

std::shared_ptr<InstanceImpl> ExpressionFactory::get_instance_from_action_status_is(const Node* n) const {
  return lock_or_raise(status_of(n).instance);
}
std::shared_ptr<ActionImpl> ExpressionFactory::get_action_from_action_status_is(const Node* n) const {
  return lock_or_raise(status_of(n).action);
}
const std::string& ExpressionFactory::get_status_from_action_status_is(const Node* n) const {
  return status_of(n).status;
}
bool ExpressionFactory::has_instance_in_action_status_is(const Node* n) const {
  return status_of(n).has_instance;
}
const ParameterVector& ExpressionFactory::get_parameters_from_forall(const Node* n) const {
  return payload_of<ForallPayload>(n, NodeKind::FORALL, "A 'forall' node was expected").parameters;
}
std::string ExpressionFactory::get_name_from_unresolved_symbol(const Node* n) const {
  return payload_of<IdentifierPayload>(n, NodeKind::UNRESOLVED_SYMBOL, "An unresolved symbol was expected")
      .name;
}

}  // namespace zorvel::model
