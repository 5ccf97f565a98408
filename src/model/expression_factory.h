#pragma once

#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "core/environment.h"
#include "core/node.h"
#include "core/numbers.h"
#include "model/parameter.h"

namespace zorvel::model {

class ActionImpl;
class ConstantImpl;
class FluentImpl;
class InstanceImpl;

/// Streams a node as ANML text: `out << print_expression{node}`. The text of a deep expression needs no deep
/// stack.
struct print_expression {
  const Node* node;
};
std::ostream& operator<<(std::ostream& out, const print_expression& expression);
std::string to_anml(const Node* node);

/// The only maker of expressions. None of the makers checks types or normalises: children stay in the given
/// order.
///
/// Every getter raises InvalidParameterError on a node of another kind ("A fluent reference was expected",
/// and so on), and InternalError "Trying to lock an expired weak_ptr!" where the model object has died.
class ExpressionFactory : public EnvObject {
 public:
  explicit ExpressionFactory(Environment& env);
  ~ExpressionFactory() override;

  Node* make_and(Node* a, Node* b);
  Node* make_and(const std::vector<Node*>& operands);
  Node* make_or(Node* a, Node* b);
  Node* make_or(const std::vector<Node*>& operands);
  Node* make_not(Node* a);
  Node* make_imply(Node* a, Node* b);
  Node* make_iff(Node* a, Node* b);
  Node* make_equals(Node* a, Node* b);
  Node* make_lt(Node* a, Node* b);
  Node* make_le(Node* a, Node* b);
  Node* make_gt(Node* a, Node* b);
  Node* make_ge(Node* a, Node* b);
  Node* make_times(Node* a, Node* b);
  Node* make_times(const std::vector<Node*>& operands);
  Node* make_plus(Node* a, Node* b);
  Node* make_plus(const std::vector<Node*>& operands);
  Node* make_div(Node* a, Node* b);
  Node* make_minus(Node* a, Node* b);
  /// The square root of `radicand` with `decimals`, an integer constant, decimal places.
  Node* make_sqrt(Node* radicand, Node* decimals);
  Node* make_unary_minus(Node* a);  ///< `a * -1`: there is no kind for negation.
  Node* make_in(Node* a, Node* b);
  Node* make_subset(Node* a, Node* b);
  Node* make_union(Node* a, Node* b);
  Node* make_intersection(Node* a, Node* b);
  Node* make_difference(Node* a, Node* b);
  Node* make_set_constant(const std::vector<Node*>& members);
  Node* make_assign(Node* left, Node* right);
  Node* make_increase(Node* left, Node* right);
  Node* make_decrease(Node* left, Node* right);
  /// `left` must be the duration anchor and `right` a closed interval; otherwise InternalError "Found an :in
  /// assign having non-compatible operands: " and the right side.
  Node* make_in_assign(Node* left, Node* right);
  Node* make_open_interval(Node* from, Node* to);
  Node* make_closed_interval(Node* from, Node* to);
  Node* make_left_open_interval(Node* from, Node* to);
  Node* make_right_open_interval(Node* from, Node* to);
  Node* make_point_interval(Node* at);
  /// An interval of two ends with the given flags.
  Node* make_interval(Node* from, Node* to, bool left_closed, bool right_closed);
  Node* make_temporal_expression(Node* interval, Node* body);
  Node* make_start_anchor();
  Node* make_end_anchor();
  Node* make_duration_anchor();
  Node* make_time_anchor();
  Node* make_boolean_constant(bool value);
  Node* make_rational_constant(const rational& value);
  Node* make_integer_constant(const integer& value);
  Node* make_scoping(Node* object, Node* member);
  Node* make_unresolved_symbol(const std::string& name, const std::vector<Node*>& arguments);
  Node* make_label_reference(const std::string& name);
  Node* make_fluent_reference(const std::shared_ptr<FluentImpl>& fluent, const std::vector<Node*>& arguments);
  Node* make_constant_reference(const std::shared_ptr<ConstantImpl>& constant,
                                const std::vector<Node*>& arguments);
  Node* make_parameter_reference(const std::shared_ptr<ParameterImpl>& parameter);
  Node* make_instance_reference(const std::shared_ptr<InstanceImpl>& instance);
  Node* make_action_status_is(const std::shared_ptr<InstanceImpl>& instance,
                              const std::shared_ptr<ActionImpl>& action, const std::string& status);
  Node* make_action_status_is(const std::shared_ptr<ActionImpl>& action, const std::string& status);
  /// `duration` may be null and `label` empty.
  Node* make_contains(Node* interval, Node* duration, const std::string& label);
  Node* make_forall(const ParameterVector& parameters, const std::vector<Node*>& body);

  static bool is_kind(const Node* node, NodeKind kind) { return node->kind() == kind; }
  static bool is_and(const Node* n) { return is_kind(n, NodeKind::AND); }
  static bool is_or(const Node* n) { return is_kind(n, NodeKind::OR); }
  static bool is_not(const Node* n) { return is_kind(n, NodeKind::NOT); }
  static bool is_imply(const Node* n) { return is_kind(n, NodeKind::IMPLY); }
  static bool is_iff(const Node* n) { return is_kind(n, NodeKind::IFF); }
  static bool is_equals(const Node* n) { return is_kind(n, NodeKind::EQUALS); }
  static bool is_lt(const Node* n) { return is_kind(n, NodeKind::LT); }
  static bool is_le(const Node* n) { return is_kind(n, NodeKind::LE); }
  static bool is_gt(const Node* n) { return is_kind(n, NodeKind::GT); }
  static bool is_ge(const Node* n) { return is_kind(n, NodeKind::GE); }
  static bool is_times(const Node* n) { return is_kind(n, NodeKind::TIMES); }
  static bool is_plus(const Node* n) { return is_kind(n, NodeKind::PLUS); }
  static bool is_div(const Node* n) { return is_kind(n, NodeKind::DIV); }
  static bool is_minus(const Node* n) { return is_kind(n, NodeKind::MINUS); }
  static bool is_sqrt(const Node* n) { return is_kind(n, NodeKind::SQRT); }
  static bool is_in(const Node* n) { return is_kind(n, NodeKind::IN); }
  static bool is_subset(const Node* n) { return is_kind(n, NodeKind::SUBSET); }
  static bool is_union(const Node* n) { return is_kind(n, NodeKind::UNION); }
  static bool is_intersection(const Node* n) { return is_kind(n, NodeKind::INTERSECTION); }
  static bool is_difference(const Node* n) { return is_kind(n, NodeKind::DIFFERENCE); }
  static bool is_assign(const Node* n) { return is_kind(n, NodeKind::ASSIGN); }
  static bool is_increase(const Node* n) { return is_kind(n, NodeKind::INCREASE); }
  static bool is_decrease(const Node* n) { return is_kind(n, NodeKind::DECREASE); }
  static bool is_in_assign(const Node* n) { return is_kind(n, NodeKind::IN_ASSIGN); }
  static bool is_interval(const Node* n) { return is_kind(n, NodeKind::INTERVAL); }
  static bool is_temporal_expression(const Node* n) { return is_kind(n, NodeKind::TEMPORAL_EXPRESSION); }
  static bool is_start_anchor(const Node* n) { return is_kind(n, NodeKind::START); }
  static bool is_end_anchor(const Node* n) { return is_kind(n, NodeKind::END); }
  static bool is_duration_anchor(const Node* n) { return is_kind(n, NodeKind::DURATION); }
  static bool is_time_anchor(const Node* n) { return is_kind(n, NodeKind::TIME); }
  static bool is_rational_constant(const Node* n) { return is_kind(n, NodeKind::RATIONAL_CONSTANT); }
  static bool is_integer_constant(const Node* n) { return is_kind(n, NodeKind::INTEGER_CONSTANT); }
  static bool is_set_constant(const Node* n) { return is_kind(n, NodeKind::SET_CONSTANT); }
  static bool is_scoping(const Node* n) { return is_kind(n, NodeKind::DOT); }
  static bool is_forall(const Node* n) { return is_kind(n, NodeKind::FORALL); }
  static bool is_unresolved_symbol(const Node* n) { return is_kind(n, NodeKind::UNRESOLVED_SYMBOL); }
  static bool is_fluent_reference(const Node* n) { return is_kind(n, NodeKind::FLUENT_REFERENCE); }
  static bool is_constant_reference(const Node* n) { return is_kind(n, NodeKind::CONSTANT_REFERENCE); }
  static bool is_parameter_reference(const Node* n) { return is_kind(n, NodeKind::PARAMETER_REFERENCE); }
  static bool is_instance_reference(const Node* n) { return is_kind(n, NodeKind::INSTANCE_REFERENCE); }
  static bool is_label_reference(const Node* n) { return is_kind(n, NodeKind::LABEL_REFERENCE); }
  static bool is_contains(const Node* n) { return is_kind(n, NodeKind::CONTAINS); }
  static bool is_action_status_is(const Node* n) { return is_kind(n, NodeKind::ACTION_STATUS_IS); }
  static bool is_boolean_constant(const Node* n) {
    return is_kind(n, NodeKind::TRUE) || is_kind(n, NodeKind::FALSE);
  }
  static bool is_numeric_constant(const Node* n) { return is_rational_constant(n) || is_integer_constant(n); }
  static bool is_constant(const Node* n) {
    return is_boolean_constant(n) || is_numeric_constant(n) || is_set_constant(n);
  }
  /// A value that a state can hold: a boolean or numeric constant or an instance.
  static bool is_value(const Node* n) {
    return is_boolean_constant(n) || is_numeric_constant(n) || is_instance_reference(n);
  }
  bool is_open_interval(const Node* n) const;
  bool is_closed_interval(const Node* n) const;  ///< Also true of a point.
  bool is_left_open_interval(const Node* n) const;
  bool is_right_open_interval(const Node* n) const;
  bool is_point_interval(const Node* n) const;
  bool is_left_closed(const Node* interval) const;
  bool is_right_closed(const Node* interval) const;
  static bool is_zero(const Node* n);

  std::shared_ptr<FluentImpl> get_fluent_from_reference(const Node* n) const;
  std::shared_ptr<ConstantImpl> get_constant_from_reference(const Node* n) const;
  std::shared_ptr<ParameterImpl> get_parameter_from_reference(const Node* n) const;
  std::shared_ptr<InstanceImpl> get_instance_from_reference(const Node* n) const;
  bool get_boolean_constant(const Node* n) const;
  const integer& get_integer_constant(const Node* n) const;
  const rational& get_rational_constant(const Node* n) const;
  /// The value of an integer or rational constant. InvalidParameterError "A rational constant was expected,
  /// got " and the node.
  rational get_numeric_constant(const Node* n) const;
  const std::string& get_name_from_label_reference(const Node* n) const;
  const std::string& get_label_from_contains(const Node* n) const;
  std::shared_ptr<InstanceImpl> get_instance_from_action_status_is(const Node* n) const;
  std::shared_ptr<ActionImpl> get_action_from_action_status_is(const Node* n) const;
  const std::string& get_status_from_action_status_is(const Node* n) const;
  bool has_instance_in_action_status_is(const Node* n) const;
  const ParameterVector& get_parameters_from_forall(const Node* n) const;
  std::string get_name_from_unresolved_symbol(const Node* n) const;

  const NodeManager& node_manager() const { return nodes_; }

 private:
  struct Tables;
  Node* make(NodeKind kind, std::initializer_list<Node*> operands);
  Node* make(NodeKind kind, const std::vector<Node*>& operands);

  std::unique_ptr<Tables> tables_;  // the interned payloads
  NodeManager nodes_;
};

}  // namespace zorvel::model
