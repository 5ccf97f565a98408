#include "search/frame/successor_generator.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <numeric>
#include <utility>

namespace zorvel {

namespace {

/// The rank of each slot by the number of its uses, the most used first: near the root it tells the most
/// actions apart.
std::vector<std::uint32_t> ranks_by_use(const std::vector<std::vector<SuccessorGenerator::Demand>>& demands) {
  std::vector<std::size_t> uses;
  for (const auto& of_action : demands)
    for (const auto& demand : of_action) {
      if (uses.size() <= demand.slot) uses.resize(demand.slot + 1, 0);
      ++uses[demand.slot];
    }
  std::vector<std::uint32_t> slots(uses.size()), ranks(uses.size());
  std::iota(slots.begin(), slots.end(), 0);
  std::stable_sort(slots.begin(), slots.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return uses[a] > uses[b]; });
  for (std::uint32_t rank = 0; rank < slots.size(); ++rank) ranks[slots[rank]] = rank;
  return ranks;
}

}  // namespace

/// A node to be built, and the actions below it, each with the number of its demands that are met there.
struct SuccessorGenerator::Task {
  std::uint32_t node;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> actions = {};
};

SuccessorGenerator::SuccessorGenerator(std::vector<std::vector<Demand>> demands)
    : ranks_(ranks_by_use(demands)) {
  Task root{new_node()};
  for (std::uint32_t action = 0; action < demands.size(); ++action) {
    auto& of_action = demands[action];
    std::sort(of_action.begin(), of_action.end(), [&](const Demand& a, const Demand& b) {
      return std::pair(ranks_[a.slot], a.value) < std::pair(ranks_[b.slot], b.value);
    });
    const auto is_same = [](const Demand& a, const Demand& b) {
      return a.slot == b.slot && a.value == b.value;
    };
    of_action.erase(std::unique(of_action.begin(), of_action.end(), is_same), of_action.end());
    const auto is_contradiction = [](const Demand& a, const Demand& b) { return a.slot == b.slot; };
    if (std::adjacent_find(of_action.begin(), of_action.end(), is_contradiction) == of_action.end())
      root.actions.emplace_back(action, 0);
  }
  [[maybe_unused]] const std::size_t possible = root.actions.size();
  std::vector<Task> tasks;
  tasks.push_back(std::move(root));
  while (!tasks.empty()) {
    const Task task = std::move(tasks.back());
    tasks.pop_back();
    build_node(task, demands, tasks);
  }
  assert(actions_.size() == possible);  // each stands at one node
}

std::uint32_t SuccessorGenerator::new_node() {
  nodes_.push_back({static_cast<std::uint32_t>(actions_.size()), 0, none, 0, 0, none});
  return static_cast<std::uint32_t>(nodes_.size() - 1);
}

void SuccessorGenerator::build_node(const Task& task, const Demands& demands, std::vector<Task>& tasks) {
  const auto first_action = static_cast<std::uint32_t>(actions_.size());
  std::uint32_t slot = none;
  for (const auto& [action, met] : task.actions) {
    assert(met <= demands[action].size());
    if (met == demands[action].size())
      actions_.push_back(action);
    else if (slot == none || ranks_[demands[action][met].slot] < ranks_[slot])
      slot = demands[action][met].slot;
  }
  nodes_[task.node].first_action = first_action;
  nodes_[task.node].actions = static_cast<std::uint32_t>(actions_.size()) - first_action;
  if (slot == none) return;

  std::map<ValueId, Task> by_value;
  Task otherwise{none};
  for (const auto& [action, met] : task.actions) {
    if (met == demands[action].size()) continue;
    const Demand& demand = demands[action][met];
    if (demand.slot == slot)
      by_value.try_emplace(demand.value, Task{none}).first->second.actions.emplace_back(action, met + 1);
    else
      otherwise.actions.emplace_back(action, met);
  }
  const auto first_branch = static_cast<std::uint32_t>(branches_.size());
  for (auto& [value, child] : by_value) {
    child.node = new_node();
    branches_.push_back({value, child.node});
    tasks.push_back(std::move(child));
  }
  if (!otherwise.actions.empty()) {
    otherwise.node = new_node();
    tasks.push_back(otherwise);
  }
  TreeNode& node = nodes_[task.node];
  node.slot = slot;
  node.first_branch = first_branch;
  node.branches = static_cast<std::uint32_t>(by_value.size());
  node.otherwise = otherwise.node;
}

std::span<const std::uint32_t> SuccessorGenerator::applicable(const ValueId* values) {
  found_.clear();
  pending_.assign(1, 0);
  while (!pending_.empty()) {
    const TreeNode& node = nodes_[pending_.back()];
    pending_.pop_back();
    const auto first = actions_.begin() + node.first_action;
    found_.insert(found_.end(), first, first + node.actions);
    if (node.slot == none) continue;
    if (node.otherwise != none) pending_.push_back(node.otherwise);
    const ValueId value = values[node.slot];
    const auto begin = branches_.begin() + node.first_branch, end = begin + node.branches;
    const auto branch =
        std::lower_bound(begin, end, value, [](const Branch& b, ValueId wanted) { return b.value < wanted; });
    if (branch != end && branch->value == value) pending_.push_back(branch->node);
  }
  std::sort(found_.begin(), found_.end());
  assert(std::ranges::adjacent_find(found_) == found_.end());
  return found_;
}

}  // namespace zorvel
