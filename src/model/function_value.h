#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "core/node.h"

namespace zorvel::model {

class ExpressionFactory;

struct NodeVectorHash {
  std::size_t operator()(const std::vector<Node*>& nodes) const;
};

/// The value table of one constant, for one instance or for none.
///
/// A key shorter than the constant's arity matches every completion; the empty key is the default value.
class FunctionValueImpl {
 public:
  using Table = std::unordered_map<std::vector<Node*>, Node*, NodeVectorHash>;

  FunctionValueImpl() = default;
  explicit FunctionValueImpl(Node* default_value) { assignments_[{}] = default_value; }

  bool has_assignments() const { return !assignments_.empty(); }
  bool has_assignments(const std::vector<Node*>& arguments) const { return assignments_.contains(arguments); }
  const Table& assignments() const { return assignments_; }
  /// The assignments ordered by key (node ids, shorter keys first), for output.
  std::vector<std::pair<std::vector<Node*>, Node*>> sorted_assignments() const;
  /// The value of the longest stored key that is a beginning of `arguments`; null if there is none, or if an
  /// argument is no constant and `arguments` itself is no key.
  Node* assignment(const std::vector<Node*>& arguments) const;
  void add_assignment(const std::vector<Node*>& arguments, Node* value) { assignments_[arguments] = value; }
  Node* default_value() const;  ///< Null if there is none.
  void default_value(Node* value) { assignments_[{}] = value; }
  friend bool operator==(const FunctionValueImpl& a, const FunctionValueImpl& b) = default;

 private:
  Table assignments_;
};

}  // namespace zorvel::model
