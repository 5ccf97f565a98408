#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "state/compiled_condition.h"

namespace zorvel {

/// Finds the actions whose literals hold in a state, by a decision tree over slots (Helmert, The Fast
/// Downward Planning System, 2006): its cost follows the actions found, not all of them.
class SuccessorGenerator {
 public:
  /// The slot must have the value.
  struct Demand {
    std::uint32_t slot;
    ValueId value;
  };
  /// `demands[i]` are those of action i.
  explicit SuccessorGenerator(std::vector<std::vector<Demand>> demands);

  /// The actions all of whose demands `values` meets, ascending. Valid until the next call.
  std::span<const std::uint32_t> applicable(const ValueId* values);

 private:
  static constexpr std::uint32_t none = 0xFFFF'FFFF;
  struct Branch {
    ValueId value;
    std::uint32_t node;
  };
  struct TreeNode {
    std::uint32_t first_action, actions;  // that demand nothing more
    std::uint32_t slot;                   // on which the node branches; `none` at a leaf
    std::uint32_t first_branch, branches;
    std::uint32_t otherwise;  // for actions that demand nothing of the slot; `none` without
  };
  struct Task;
  using Demands = std::vector<std::vector<Demand>>;
  /// Fills the node of the task, and adds the tasks of the nodes below it.
  void build_node(const Task& task, const Demands& demands, std::vector<Task>& tasks);
  std::uint32_t new_node();

  std::vector<std::uint32_t> ranks_;  // of slots: the lower, the nearer to the root
  std::vector<TreeNode> nodes_;
  std::vector<std::uint32_t> actions_;
  std::vector<Branch> branches_;  // of a node by value
  std::vector<std::uint32_t> pending_, found_;
};

}  // namespace zorvel
