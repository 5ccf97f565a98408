#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <vector>

namespace zorvel {

/// Kinds of expressions. The numbers order the dispatch of walkers.
enum class NodeKind : std::uint8_t {
  AND = 0,
  OR,
  NOT,
  IMPLY,
  EQUALS,
  IFF,
  LT,
  LE,
  GT,
  GE,
  TIMES,
  PLUS,
  DIV,
  MINUS,
  SQRT,
  ASSIGN,
  INCREASE,
  DECREASE,
  IN_ASSIGN,
  INTERVAL,
  TEMPORAL_EXPRESSION,
  START,
  END,
  DURATION,
  TIME,
  DOT,
  TRUE,
  FALSE,
  RATIONAL_CONSTANT,
  INTEGER_CONSTANT,
  UNRESOLVED_SYMBOL,
  FLUENT_REFERENCE,
  CONSTANT_REFERENCE,
  PARAMETER_REFERENCE,
  INSTANCE_REFERENCE,
  LABEL_REFERENCE,
  ACTION_STATUS_IS,
  CONTAINS,
  IN,
  SUBSET,
  UNION,
  INTERSECTION,
  DIFFERENCE,
  SET_CONSTANT,
  FORALL
};
inline constexpr int node_kind_count = 45;

/// What a node is beside its children. Interned by the expression factory: equal data, one payload.
struct Payload {
  explicit Payload(NodeKind node_kind) : kind(node_kind) {}
  virtual ~Payload() = default;
  const NodeKind kind;
};

/// One expression: immutable and interned, so equal expressions are one pointer. Lives as long as its
/// manager.
struct Node {
  std::uint64_t id;        ///< Serial number in the manager, from 0, in order of first creation.
  const Payload* payload;  ///< Kind and data; not owned.
  std::uint64_t arity;
  std::uint64_t hash;     ///< Over payload and the children's ids; kept for growing the table.
  Node* const* children;  ///< The operands, in order, right behind the record.

  NodeKind kind() const { return payload->kind; }
  std::span<Node* const> operands() const { return {children, arity}; }
};

/// Owner and unique table of all nodes of one context. No node is freed before its manager.
class NodeManager {
 public:
  NodeManager();
  ~NodeManager();
  NodeManager(const NodeManager&) = delete;
  NodeManager& operator=(const NodeManager&) = delete;

  /// The node of this payload and these children: the stored one, or a new one with the next serial number.
  /// A child may not be null.
  Node* make_node(const Payload* payload, std::span<Node* const> children);
  Node* make_node(const Payload* payload) { return make_node(payload, std::span<Node* const>()); }
  Node* make_node(const Payload* payload, std::initializer_list<Node*> children) {
    return make_node(payload, std::span<Node* const>(children.begin(), children.size()));
  }
  std::uint64_t size() const { return size_; }  ///< Nodes made so far, and so the next serial number.

 private:
  void grow();
  void* allocate(std::size_t bytes);

  std::vector<Node*> table_;  // open addressing, a power of two, at most half full, null where free
  std::uint64_t size_ = 0;
  // Nodes are trivial and live as long as their manager, so they are cut from large chunks: an expression
  // costs no call of the system's allocator, and the end of a context no walk over its nodes.
  std::vector<std::unique_ptr<std::byte[]>> chunks_;
  std::byte* free_ = nullptr;  // the rest of the last chunk of common size
  std::size_t free_bytes_ = 0;
};

/// For tables keyed by node. The order of such a table depends on nothing but the ids.
struct NodeIdHash {
  std::size_t operator()(const Node* node) const { return static_cast<std::size_t>(node->id); }
};
struct NodeIdLess {
  bool operator()(const Node* a, const Node* b) const { return a->id < b->id; }
};

}  // namespace zorvel
