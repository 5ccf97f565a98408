#include "model/walkers/normal_forms.h"

#include <array>
#include <unordered_map>

#include "core/unsupported_problem.h"
#include "model/constant.h"
#include "model/fluent.h"

namespace zorvel::model {

namespace {

constexpr std::size_t max_clauses = 1'000'000;
constexpr std::size_t max_literals = 2'000'000;  // in all clauses together; bounds the memory

/// Refuses a product that would not fit before it is built.
void check_size(std::size_t clauses, std::size_t literals, Node* node) {
  if (clauses <= max_clauses && literals <= max_literals) return;
  throw UnsupportedProblemError("The disjunctive normal form grows beyond ")
      << (clauses > max_clauses ? max_clauses : max_literals)
      << (clauses > max_clauses ? " clauses: " : " literals: ") << print_expression{node};
}

std::size_t count_literals(const std::vector<NodeSet>& clauses) {
  std::size_t count = 0;
  for (const NodeSet& clause : clauses) count += clause.size();
  return count;
}

std::vector<NodeSet> one_literal(Node* literal) { return {NodeSet{literal}}; }

}  // namespace

std::vector<NodeSet> ToDNF::walk_or(Node* node) const {
  std::vector<NodeSet> clauses;
  for (Node* child : node->operands()) {
    const std::vector<NodeSet>& more = memoized_value(child);
    // Literals are not counted: they are those of the operands, which are in memory anyway.
    check_size(clauses.size() + more.size(), 0, node);
    clauses.insert(clauses.end(), more.begin(), more.end());
  }
  return clauses;
}

std::vector<NodeSet> ToDNF::walk_and(Node* node) const {
  std::vector<NodeSet> clauses{NodeSet()};
  for (Node* child : node->operands()) {
    const std::vector<NodeSet>& factor = memoized_value(child);
    if (factor.size() == 1) {  // no clause is multiplied; long goals are made of such operands
      if (clauses.size() > 1)
        check_size(clauses.size(), count_literals(clauses) + clauses.size() * factor[0].size(), node);
      for (NodeSet& clause : clauses) clause.insert(factor[0].begin(), factor[0].end());
      continue;
    }
    check_size(clauses.size() * factor.size(),
               count_literals(clauses) * factor.size() + count_literals(factor) * clauses.size(), node);
    std::vector<NodeSet> product;
    product.reserve(clauses.size() * factor.size());
    for (const NodeSet& left : clauses) {
      for (const NodeSet& right : factor) {
        product.push_back(left);
        product.back().insert(right.begin(), right.end());
      }
    }
    clauses = std::move(product);
  }
  return clauses;
}

std::vector<NodeSet> ToDNF::walk_equals(Node* node) const {
  Node* const left = node->children[0];
  Node* const right = node->children[1];
  const bool is_turned =
      ExpressionFactory::is_instance_reference(left) && ExpressionFactory::is_fluent_reference(right);
  return one_literal(is_turned ? env().expression_factory().make_equals(right, left) : node);
}

std::vector<NodeSet> ToDNF::walk_contains(Node*) const { throw InternalError("Not supported!"); }
std::vector<NodeSet> ToDNF::walk_forall(Node*) const { throw InternalError("Not supported!"); }

#define ZORVEL_WALK_LITERAL(walk) \
  std::vector<NodeSet> ToDNF::walk(Node* node) const { return one_literal(node); }
ZORVEL_WALK_LITERAL(walk_not)
ZORVEL_WALK_LITERAL(walk_imply)
ZORVEL_WALK_LITERAL(walk_iff)
ZORVEL_WALK_LITERAL(walk_lt)
ZORVEL_WALK_LITERAL(walk_le)
ZORVEL_WALK_LITERAL(walk_gt)
ZORVEL_WALK_LITERAL(walk_ge)
ZORVEL_WALK_LITERAL(walk_times)
ZORVEL_WALK_LITERAL(walk_plus)
ZORVEL_WALK_LITERAL(walk_div)
ZORVEL_WALK_LITERAL(walk_minus)
ZORVEL_WALK_LITERAL(walk_sqrt)
ZORVEL_WALK_LITERAL(walk_in)
ZORVEL_WALK_LITERAL(walk_subset)
ZORVEL_WALK_LITERAL(walk_union)
ZORVEL_WALK_LITERAL(walk_intersection)
ZORVEL_WALK_LITERAL(walk_difference)
ZORVEL_WALK_LITERAL(walk_assign)
ZORVEL_WALK_LITERAL(walk_increase)
ZORVEL_WALK_LITERAL(walk_decrease)
ZORVEL_WALK_LITERAL(walk_in_assign)
ZORVEL_WALK_LITERAL(walk_interval)
ZORVEL_WALK_LITERAL(walk_temporal_expression)
ZORVEL_WALK_LITERAL(walk_start)
ZORVEL_WALK_LITERAL(walk_end)
ZORVEL_WALK_LITERAL(walk_duration)
ZORVEL_WALK_LITERAL(walk_time)
ZORVEL_WALK_LITERAL(walk_true)
ZORVEL_WALK_LITERAL(walk_false)
ZORVEL_WALK_LITERAL(walk_rational_constant)
ZORVEL_WALK_LITERAL(walk_set_constant)
ZORVEL_WALK_LITERAL(walk_integer_constant)
ZORVEL_WALK_LITERAL(walk_dot)
ZORVEL_WALK_LITERAL(walk_unresolved_symbol)
ZORVEL_WALK_LITERAL(walk_fluent_reference)
ZORVEL_WALK_LITERAL(walk_constant_reference)
ZORVEL_WALK_LITERAL(walk_parameter_reference)
ZORVEL_WALK_LITERAL(walk_instance_reference)
ZORVEL_WALK_LITERAL(walk_label_reference)
ZORVEL_WALK_LITERAL(walk_action_status_is)
#undef ZORVEL_WALK_LITERAL

namespace {

/// The rewriting by polarity, on an explicit stack, one result a node and polarity.
class NnfConversion {
 public:
  explicit NnfConversion(Environment& env) : factory_(env.expression_factory()) {}

  Node* convert(Node* root) {
    std::vector<Frame> stack{{root, true, false}};
    while (!stack.empty()) {
      const Frame frame = stack.back();
      if (results_[frame.positive].contains(frame.node)) {
        stack.pop_back();
      } else if (frame.expanded || !is_connective(frame.node)) {
        results_[frame.positive].emplace(frame.node, build(frame.node, frame.positive));
        stack.pop_back();
      } else {
        stack.back().expanded = true;
        push_operands(frame.node, frame.positive, stack);
      }
    }
    return result(root, true);
  }

 private:
  struct Frame {
    Node* node;
    bool positive;
    bool expanded;
  };

  /// An equality that is one of booleans by the look of its first side.
  bool is_boolean_equality(const Node* node) const {
    if (node->kind() != NodeKind::EQUALS) return false;
    const Node* const first = node->children[0];
    if (ExpressionFactory::is_fluent_reference(first))
      return factory_.get_fluent_from_reference(first)->type()->is_boolean();
    if (ExpressionFactory::is_constant_reference(first))
      return factory_.get_constant_from_reference(first)->type()->is_boolean();
    return ExpressionFactory::is_boolean_constant(first);
  }

  bool is_equivalence(const Node* node) const {
    return node->kind() == NodeKind::IFF || is_boolean_equality(node);
  }

  bool is_connective(const Node* node) const {
    switch (node->kind()) {
      case NodeKind::NOT:
      case NodeKind::AND:
      case NodeKind::OR:
      case NodeKind::IMPLY: return true;
      default: return is_equivalence(node);
    }
  }

  void push_operands(Node* node, bool positive, std::vector<Frame>& stack) const {
    switch (node->kind()) {
      case NodeKind::NOT: stack.push_back({node->children[0], !positive, false}); return;
      case NodeKind::AND:
      case NodeKind::OR:
        for (Node* child : node->operands()) stack.push_back({child, positive, false});
        return;
      case NodeKind::IMPLY:
        stack.push_back({node->children[0], !positive, false});
        stack.push_back({node->children[1], positive, false});
        return;
      default:  // an equivalence has each side in both polarities
        for (Node* child : node->operands()) {
          stack.push_back({child, true, false});
          stack.push_back({child, false, false});
        }
    }
  }

  Node* build(Node* node, bool positive) const {
    switch (node->kind()) {
      case NodeKind::NOT: return result(node->children[0], !positive);
      case NodeKind::AND:
      case NodeKind::OR: {
        std::vector<Node*> operands;
        operands.reserve(node->arity);
        for (Node* child : node->operands()) operands.push_back(result(child, positive));
        const bool is_conjunction = (node->kind() == NodeKind::AND) == positive;
        return is_conjunction ? factory_.make_and(operands) : factory_.make_or(operands);
      }
      case NodeKind::IMPLY: {
        Node* const left = result(node->children[0], !positive);
        Node* const right = result(node->children[1], positive);
        return positive ? factory_.make_or(left, right) : factory_.make_and(left, right);
      }
      default: break;
    }
    if (!is_equivalence(node)) return positive ? node : factory_.make_not(node);
    Node* const left = node->children[0];
    Node* const right = node->children[1];
    // Both sides hold, or neither does; for the negation, exactly one of them.
    Node* const first = factory_.make_and(result(left, true), result(right, positive));
    Node* const second = factory_.make_and(result(left, false), result(right, !positive));
    return factory_.make_or(first, second);
  }

  Node* result(Node* node, bool positive) const { return results_[positive].at(node); }

  ExpressionFactory& factory_;
  std::array<std::unordered_map<Node*, Node*, NodeIdHash>, 2> results_;  // by polarity
};

}  // namespace

Node* ToNNF::operator()(Node* node) const { return NnfConversion(env()).convert(node); }

}  // namespace zorvel::model
