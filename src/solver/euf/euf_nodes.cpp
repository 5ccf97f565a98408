#include "solver/euf/euf_solver.h"

#include <algorithm>
#include <cassert>

#include "solver/util/hash_table.h"

namespace vesk::euf {

Solver::Solver() {
  add_leaf(true);  // true_node
  add_leaf(true);  // false_node
}

SignatureTable::Hash Solver::signature_hash(Node node) const {
  const NodeRecord& record = nodes_[index(node)];
  std::uint64_t hash = static_cast<std::uint64_t>(record.function);
  const auto args = arguments(node);
  if (record.function == equality) {  // no order among its arguments
    const Node low = std::min(root(args[0]), root(args[1]));
    const Node high = std::max(root(args[0]), root(args[1]));
    hash = hsh::combine(hash, static_cast<std::uint64_t>(low));
    hash = hsh::combine(hash, static_cast<std::uint64_t>(high));
  } else {
    for (const Node argument : args) hash = hsh::combine(hash, static_cast<std::uint64_t>(root(argument)));
  }
  return static_cast<SignatureTable::Hash>(hsh::mix(hash));
}

bool Solver::have_same_signature(Node a, Node b) const {
  const NodeRecord& left = nodes_[index(a)];
  const NodeRecord& right = nodes_[index(b)];
  if (left.function != right.function || left.arity != right.arity) return false;
  const auto x = arguments(a);
  const auto y = arguments(b);
  if (left.function == equality && are_equal(x[0], y[1]) && are_equal(x[1], y[0])) return true;
  for (std::size_t i = 0; i < x.size(); ++i)
    if (!are_equal(x[i], y[i])) return false;
  return true;
}

/// The node that stands for the signature of `node`, which has that hash; `null_node` if there is none.
Node Solver::find_in_table(Node node, SignatureTable::Hash hash) const {
  return table_.find(hash, [&](Node other) { return other == node || have_same_signature(node, other); });
}

Node Solver::start_node(bool is_shared) {
  const Node node = static_cast<Node>(nodes_.size());
  nodes_.emplace_back();
  nodes_.back().root = nodes_.back().next = node;
  if (is_shared) nodes_.back().shared = node;
  path_stamp_.push_back(0);
  edge_stamp_.push_back(0);
  return node;
}

Node Solver::add_leaf(bool is_value, bool is_shared) {
  const Node node = start_node(is_shared);
  nodes_.back().is_value = is_value;
  if (is_value) nodes_.back().value = node;
  return node;
}

Node Solver::add_application(Function function, std::span<const Node> arguments, bool is_shared) {
  assert(!arguments.empty() && (function != equality || arguments.size() == 2));
  const Node node = start_node(is_shared);
  NodeRecord& record = nodes_.back();
  record.function = function;
  record.arguments_begin = static_cast<std::uint32_t>(arguments_.size());
  record.arity = static_cast<std::uint32_t>(arguments.size());
  arguments_.insert(arguments_.end(), arguments.begin(), arguments.end());
  attach(node);
  return node;
}

void Solver::attach(Node node) {
  for (const Node argument : arguments(node)) nodes_[index(root(argument))].parents.push_back(node);
  trail_.push_back({node, null_node, null_node, null_node, null_node, 0, erased_.size()});
  enter_in_table(node);
}

/// The node becomes the representative of its signature, or is to be merged with the one that is.
void Solver::enter_in_table(Node node) {
  NodeRecord& record = nodes_[index(node)];
  const auto args = arguments(node);
  if (record.function == equality && are_equal(args[0], args[1]))
    pending_.push_back({node, true_node, reflexivity});
  assert(!record.in_table);
  const SignatureTable::Hash hash = signature_hash(node);
  const Node found = find_in_table(node, hash);
  if (found == null_node) {
    table_.add(node, hash);
    record.hash = hash;
    record.in_table = true;
    return;
  }
  const auto others = arguments(found);
  bool straight = true;
  for (std::size_t i = 0; i < args.size(); ++i) straight = straight && are_equal(args[i], others[i]);
  pending_.push_back({node, found, straight ? congruence : swapped_congruence});
}

void Solver::leave_table(Node node) {
  NodeRecord& record = nodes_[index(node)];
  if (record.in_table) table_.remove(node, record.hash);
  record.in_table = false;
}

void Solver::detach(Node node) {
  leave_table(node);
  const auto args = arguments(node);
  for (std::size_t i = args.size(); i-- > 0;) {
    std::vector<Node>& parents = nodes_[index(root(args[i]))].parents;
    assert(parents.back() == node);
    parents.pop_back();
  }
}

void Solver::push_level() {
  marks_.push_back({trail_.size(), implied_.size(), shared_equalities_.size(), {}});
  if (next_pending_ < pending_.size())
    marks_.back().pending.assign(pending_.begin() + static_cast<std::ptrdiff_t>(next_pending_),
                                 pending_.end());
}

void Solver::pop_to_level(std::size_t level) {
  assert(level <= marks_.size());
  if (level == marks_.size()) return;
  const Mark mark = std::move(marks_[level]);
  marks_.resize(level);
  if (level < conflict_level_) in_conflict_ = false;
  pending_ = mark.pending;
  next_pending_ = 0;
  implied_.resize(mark.implied);
  shared_equalities_.resize(mark.shared_equalities);
  std::vector<Node> made;
  while (trail_.size() > mark.trail) {
    const Cell cell = trail_.back();
    trail_.pop_back();
    if (cell.proof_child == null_node) made.push_back(cell.node);
    undo(cell);
  }
  for (std::size_t i = made.size(); i-- > 0;) attach(made[i]);
}

void Solver::undo(const Cell& cell) {
  if (cell.proof_child == null_node) {
    detach(cell.node);
    return;
  }
  const Node small = cell.node;
  NodeRecord& merged = nodes_[index(small)];
  NodeRecord& into = nodes_[index(merged.root)];
  for (const Node parent : merged.parents) leave_table(parent);
  into.parents.resize(cell.parents);
  std::swap(into.next, merged.next);
  into.size -= merged.size;
  into.value = cell.old_value;
  into.shared = cell.old_shared;
  Node member = small;
  do {
    nodes_[index(member)].root = small;
    member = nodes_[index(member)].next;
  } while (member != small);
  while (erased_.size() > cell.erased_mark) {
    const Erased parent = erased_.back();
    erased_.pop_back();
    assert(parent.hash == signature_hash(parent.node) &&
           find_in_table(parent.node, parent.hash) == null_node);
    table_.add(parent.node, parent.hash);
    nodes_[index(parent.node)].hash = parent.hash;
    nodes_[index(parent.node)].in_table = true;
  }
  // later merges may have turned the edge round
  NodeRecord& child = nodes_[index(cell.proof_child)];
  if (child.proof_parent == cell.proof_parent)
    child.proof_parent = null_node;
  else
    nodes_[index(cell.proof_parent)].proof_parent = null_node;
}

bool Solver::remove_newest(std::size_t count) {
  assert(count >= 2);
  const auto is_newer = [count](Node node) { return index(node) >= count; };
  const std::size_t applications = static_cast<std::size_t>(
      std::count_if(nodes_.begin() + static_cast<std::ptrdiff_t>(count), nodes_.end(),
                    [](const NodeRecord& record) { return record.arity != 0; }));
  const std::size_t level_begin = marks_.empty() ? 0 : marks_.back().trail;
  const bool are_alone =
      std::all_of(nodes_.begin() + static_cast<std::ptrdiff_t>(count), nodes_.end(),
                  [this](const NodeRecord& r) { return r.size == 1 && &nodes_[index(r.root)] == &r; });
  if (in_conflict_ || !are_alone || trail_.size() - level_begin < applications) return false;
  for (std::size_t i = trail_.size() - applications; i < trail_.size(); ++i)
    if (trail_[i].proof_child != null_node || !is_newer(trail_[i].node)) return false;
  for (std::size_t i = 0; i < applications; ++i) {
    const Cell cell = trail_.back();
    trail_.pop_back();
    undo(cell);
  }
  assert(next_pending_ == 0);
  std::erase_if(pending_, [&](const Pending& p) { return is_newer(p.a) || is_newer(p.b); });
  forget_nodes(count);
  return true;
}

void Solver::reset_to(std::size_t count) {
  assert(count >= 2);
  in_conflict_ = false;
  while (!trail_.empty()) {
    const Cell cell = trail_.back();
    trail_.pop_back();
    undo(cell);
  }
  marks_.clear();
  pending_.clear();
  next_pending_ = 0;
  implied_.clear();
  shared_equalities_.clear();
  forget_nodes(count);
  for (std::size_t n = 0; n < count; ++n)
    if (nodes_[n].arity != 0) attach(static_cast<Node>(n));
}

/// Nothing refers to the nodes from number `count` on any more.
void Solver::forget_nodes(std::size_t count) {
  for (std::size_t n = count; n < nodes_.size(); ++n)
    if (nodes_[n].arity != 0) {
      arguments_.resize(nodes_[n].arguments_begin);
      break;
    }
  nodes_.resize(count);
  path_stamp_.resize(count);
  edge_stamp_.resize(count);
}

}  // namespace vesk::euf
