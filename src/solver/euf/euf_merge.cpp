#include "solver/euf/euf_solver.h"

#include <algorithm>
#include <cassert>

namespace vesk::euf {

bool Solver::propagate() {
  if (in_conflict_) return false;
  while (next_pending_ < pending_.size()) {
    const Pending next = pending_[next_pending_++];
    do_merge(next);
    if (in_conflict_) return false;
  }
  pending_.clear();
  next_pending_ = 0;
  return true;
}

void Solver::do_merge(const Pending& pending) {
  Node child = pending.a;
  Node parent = pending.b;
  Node small = root(child);
  Node big = root(parent);
  if (small == big) return;
  if (nodes_[index(small)].value != null_node && nodes_[index(big)].value != null_node) {
    set_value_conflict(pending);
    return;
  }
  ++statistics_.merges;
  if (nodes_[index(small)].size > nodes_[index(big)].size ||
      (nodes_[index(small)].size == nodes_[index(big)].size && small < big)) {
    std::swap(small, big);
    std::swap(child, parent);
  }
  NodeRecord& merged = nodes_[index(small)];
  NodeRecord& into = nodes_[index(big)];
  trail_.push_back({small, child, parent, into.value, into.shared, into.parents.size(), erased_.size()});
  add_proof_edge(child, parent, pending.label);

  // the class that meets true or false tells its watched nodes, whichever of the two it is
  const Node value = into.value != null_node ? into.value : merged.value;
  if (value == true_node || value == false_node) {
    const Node start = into.value != null_node ? small : big;
    Node member = start;
    do {
      if (nodes_[index(member)].watched) implied_.push_back(member);
      member = next(member);
    } while (member != start);
  }
  for (const Node application : merged.parents) {
    if (!nodes_[index(application)].in_table) continue;
    erased_.push_back({application, nodes_[index(application)].hash});
    leave_table(application);
  }
  Node member = small;
  do {
    nodes_[index(member)].root = big;
    member = next(member);
  } while (member != small);
  std::swap(into.next, merged.next);
  into.size += merged.size;
  into.value = value;
  if (into.shared != null_node && merged.shared != null_node)
    shared_equalities_.push_back({into.shared, merged.shared});
  else if (into.shared == null_node)
    into.shared = merged.shared;
  for (const Node application : merged.parents)
    if (!nodes_[index(application)].in_table) enter_in_table(application);
  into.parents.insert(into.parents.end(), merged.parents.begin(), merged.parents.end());
}

/// Makes `child` the root of its tree of the proof forest by turning the edges on its way up, then hangs it
/// under `parent`. A label belongs to its edge and moves with it.
void Solver::add_proof_edge(Node child, Node parent, std::int32_t label) {
  Node below = child;
  Node above = parent;
  while (below != null_node) {
    NodeRecord& record = nodes_[index(below)];
    const Node next_up = record.proof_parent;
    const std::int32_t next_label = record.label;
    record.proof_parent = above;
    record.label = label;
    above = below;
    below = next_up;
    label = next_label;
  }
}

void Solver::set_value_conflict(const Pending& pending) {
  ++statistics_.conflicts;
  in_conflict_ = true;
  conflict_level_ = marks_.size();
  conflict_.clear();
  explain_queue_.clear();
  ++edge_round_;
  explain_queue_.push_back({pending.a, value(pending.a)});
  explain_queue_.push_back({pending.b, value(pending.b)});
  if (pending.label >= 0) {
    conflict_.push_back(pending.label);
  } else if (pending.label == reflexivity) {
    explain_queue_.push_back({arguments(pending.a)[0], arguments(pending.a)[1]});
  } else {
    const auto x = arguments(pending.a);
    const auto y = arguments(pending.b);
    for (std::size_t i = 0; i < x.size(); ++i)
      explain_queue_.push_back({x[i], y[pending.label == swapped_congruence ? 1 - i : i]});
  }
  explain_pairs(conflict_);
}

void Solver::explain(Node a, Node b, std::vector<Hypothesis>& out) {
  assert(are_equal(a, b));
  explain_queue_.clear();
  ++edge_round_;
  explain_queue_.push_back({a, b});
  explain_pairs(out);
}

/// Both ends of each pair are in one tree of the proof forest; the edges between them prove the equation. The
/// edges were there when the ends were first connected: later ones never lie between them, so a reason found
/// late is the same as one found at once.
void Solver::explain_pairs(std::vector<Hypothesis>& out) {
  const std::size_t before = out.size();
  while (!explain_queue_.empty()) {
    auto [a, b] = explain_queue_.back();
    explain_queue_.pop_back();
    ++path_round_;
    for (Node node = a; node != null_node; node = nodes_[index(node)].proof_parent)
      path_stamp_[index(node)] = path_round_;
    Node common = b;
    while (path_stamp_[index(common)] != path_round_) common = nodes_[index(common)].proof_parent;
    for (Node end : {a, b})
      for (; end != common; end = nodes_[index(end)].proof_parent) explain_edge(end, out);
  }
  std::sort(out.begin() + static_cast<std::ptrdiff_t>(before), out.end());
  out.erase(std::unique(out.begin() + static_cast<std::ptrdiff_t>(before), out.end()), out.end());
}

void Solver::explain_edge(Node child, std::vector<Hypothesis>& out) {
  if (edge_stamp_[index(child)] == edge_round_) return;
  edge_stamp_[index(child)] = edge_round_;
  const NodeRecord& record = nodes_[index(child)];
  if (record.label >= 0) {
    out.push_back(record.label);
    return;
  }
  if (record.label ==
      reflexivity) {  // one end is true, the other the equation; the edge may have been turned
    const auto args = arguments(child == true_node ? record.proof_parent : child);
    explain_queue_.push_back({args[0], args[1]});
    return;
  }
  const auto x = arguments(child);
  const auto y = arguments(record.proof_parent);
  for (std::size_t i = 0; i < x.size(); ++i)
    explain_queue_.push_back({x[i], y[record.label == swapped_congruence ? 1 - i : i]});
}

bool Solver::entails(std::span<const Equation> equations, Node a, Node b) const {
  Solver fresh;
  for (std::size_t n = 2; n < nodes_.size(); ++n) {
    const NodeRecord& record = nodes_[n];
    if (record.arity == 0)
      static_cast<void>(fresh.add_leaf(record.is_value));
    else
      static_cast<void>(fresh.add_application(record.function, arguments(static_cast<Node>(n))));
  }
  for (const Equation& equation : equations) fresh.merge(equation.left, equation.right, 0);
  return !fresh.propagate() || fresh.are_equal(a, b);
}

bool Solver::check_invariants() const {
  std::size_t in_table = 0;
  std::vector<int> trees(nodes_.size(), 0);
  for (std::size_t n = 0; n < nodes_.size(); ++n) {
    const Node node = static_cast<Node>(n);
    const NodeRecord& record = nodes_[n];
    if (root(root(node)) != root(node) || root(next(node)) != root(node)) return false;
    if (record.proof_parent != null_node && root(record.proof_parent) != root(node)) return false;
    // a class is one tree of the proof forest: exactly one of its nodes has no parent
    if (record.proof_parent == null_node) ++trees[index(root(node))];
    if (root(node) == node) {
      std::int32_t size = 0;
      Node member = node;
      do {
        ++size;
        member = next(member);
      } while (member != node && size <= record.size);
      if (size != record.size) return false;
    }
    if (record.in_table) {
      ++in_table;
      if (record.hash != signature_hash(node) || find_in_table(node, record.hash) != node) return false;
    } else if (record.arity != 0 && pending_.empty() && !in_conflict_) {
      const Node found = find_in_table(node, signature_hash(node));
      if (found == null_node || !are_equal(found, node)) return false;
    }
    for (const Node argument : arguments(node)) {
      const std::vector<Node>& parents = nodes_[index(root(argument))].parents;
      if (std::find(parents.begin(), parents.end(), node) == parents.end()) return false;
    }
  }
  for (std::size_t n = 0; n < nodes_.size(); ++n)
    if (trees[n] != (nodes_[n].root == static_cast<Node>(n) ? 1 : 0)) return false;
  return in_table == table_.size();
}

}  // namespace vesk::euf
