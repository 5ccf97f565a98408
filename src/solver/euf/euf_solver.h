#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "solver/euf/signature_table.h"

namespace vesk::euf {

/// Dense number of a node of the term graph, from 0.
using Node = std::int32_t;
inline constexpr Node null_node = -1;
inline constexpr Node true_node = 0;
inline constexpr Node false_node = 1;
/// A function symbol, by the caller's number; `equality` is the solver's own.
using Function = std::int32_t;
inline constexpr Function equality = 0;
inline constexpr Function no_function = -1;

/// What an equation rests on, by the caller's number, not negative.
using Hypothesis = std::int32_t;

/// Congruence closure with backtracking and explanations (Nieuwenhuis and Oliveras, Fast Congruence Closure
/// and Extensions, 2007).
///
/// Equality itself is a function here: `a = b` is asserted by merging its node with `true`, denied by merging
/// it with `false`; its arguments stand in no order. When the arguments of an equation meet, its node is
/// merged with `true`; two nodes that are values (true, false, numerals) never meet.
///
/// Undo: every change is a cell on one trail, and pop_to_level() reverses them newest first. A node is a
/// change too: it leaves the graph when the level at which it was made goes, and enters it again right after,
/// at the lower level, where it may be congruent to an older node for reasons that are still there.
class Solver {
 public:
  struct Statistics {
    std::uint64_t merges = 0;
    std::uint64_t conflicts = 0;
  };

  Solver();
  Solver(const Solver&) = delete;
  Solver& operator=(const Solver&) = delete;

  /// A node without arguments. `is_value`: different from every other value. `is_shared`: somebody else wants
  /// to know what it is equal to, see shared_equalities().
  Node add_leaf(bool is_value, bool is_shared = false);
  /// The application of `function`, which may be `equality`, to at least one argument; a new node each time.
  Node add_application(Function function, std::span<const Node> arguments, bool is_shared = false);
  /// A watched node is reported by implied() when it meets true or false.
  void watch(Node node, bool on) { nodes_[index(node)].watched = on; }

  /// Asks for `a = b`; done by the next propagate().
  void merge(Node a, Node b, Hypothesis hypothesis) { pending_.push_back({a, b, hypothesis}); }
  /// Works off what is pending. False: conflict, until the level is popped.
  [[nodiscard]] bool propagate();
  bool in_conflict() const { return in_conflict_; }
  /// Hypotheses that cannot hold together, each once.
  const std::vector<Hypothesis>& conflict() const { return conflict_; }

  /// Watched nodes that met true or false, in that order; cut back by pop_to_level().
  const std::vector<Node>& implied() const { return implied_; }

  /// Pairs of shared nodes that met, enough of them to imply all equations between shared nodes; cut back by
  /// pop_to_level().
  const std::vector<std::pair<Node, Node>>& shared_equalities() const { return shared_equalities_; }

  Node root(Node node) const { return nodes_[index(node)].root; }
  bool are_equal(Node a, Node b) const { return root(a) == root(b); }
  /// The value in the node's class, `null_node` if there is none.
  Node value(Node node) const { return nodes_[index(root(node))].value; }
  /// Next member of the class, in a circle.
  Node next(Node node) const { return nodes_[index(node)].next; }
  std::size_t num_nodes() const { return nodes_.size(); }

  struct Equation {
    Node left;
    Node right;
  };
  /// Whether `equations` alone imply `a = b`, or contradict each other; from scratch, for checks.
  bool entails(std::span<const Equation> equations, Node a, Node b) const;

  /// Adds the hypotheses from which the nodes of one class were first found to be equal; each once.
  void explain(Node a, Node b, std::vector<Hypothesis>& out);

  void push_level();
  void pop_to_level(std::size_t level);
  std::size_t num_levels() const { return marks_.size(); }
  /// Removes the nodes from number `count` on, if nothing was merged since they were made; else does nothing
  /// and says false. Costs the nodes that go.
  [[nodiscard]] bool remove_newest(std::size_t count);
  /// Removes the nodes from number `count` on, and with them everything that was merged; levels go as well.
  void reset_to(std::size_t count);

  const Statistics& statistics() const { return statistics_; }
  /// Congruent nodes are together, the table holds one node for each signature, classes and proofs fit.
  bool check_invariants() const;

 private:
  // what an edge of the proof forest rests on, besides hypotheses
  enum Label : std::int32_t { congruence = -1, swapped_congruence = -2, reflexivity = -3 };
  struct NodeRecord {
    Function function = no_function;
    std::uint32_t arguments_begin = 0;
    std::uint32_t arity = 0;
    Node root = null_node;
    Node next = null_node;
    std::int32_t size = 1;    // of the class, at its root
    Node value = null_node;   // of the class, at its root
    Node shared = null_node;  // a shared node of the class, at its root
    Node proof_parent = null_node;
    std::int32_t label = 0;         // of the edge to the parent
    SignatureTable::Hash hash = 0;  // of its signature, while it is in the table
    bool in_table = false;          // represents its signature
    bool watched = false;
    bool is_value = false;      // of the node itself
    std::vector<Node> parents;  // applications with an argument in the class, at its root
  };
  struct Pending {
    Node a;
    Node b;
    std::int32_t label;
  };
  struct Cell {
    Node node;         // the root that was merged away, or the node that was made
    Node proof_child;  // `null_node`: the cell is of a new node
    Node proof_parent;
    Node old_value;           // of the root that stayed
    Node old_shared;          // likewise
    std::size_t parents;      // of the root that stayed, before
    std::size_t erased_mark;  // into erased_
  };
  struct Mark {
    std::size_t trail;
    std::size_t implied;
    std::size_t shared_equalities;
    std::vector<Pending> pending;  // not worked off when the level was opened; nearly always none
  };
  struct Erased {
    Node node;
    SignatureTable::Hash hash;
  };

  static std::size_t index(Node node) { return static_cast<std::size_t>(node); }
  std::span<const Node> arguments(Node node) const {
    const NodeRecord& record = nodes_[index(node)];
    return {arguments_.data() + record.arguments_begin, record.arity};
  }
  Node start_node(bool is_shared);
  void forget_nodes(std::size_t count);
  void attach(Node node);
  void detach(Node node);
  SignatureTable::Hash signature_hash(Node node) const;
  bool have_same_signature(Node a, Node b) const;
  Node find_in_table(Node node, SignatureTable::Hash hash) const;
  void enter_in_table(Node node);
  void leave_table(Node node);
  void do_merge(const Pending& pending);
  void undo(const Cell& cell);
  void add_proof_edge(Node child, Node parent, std::int32_t label);
  void set_value_conflict(const Pending& pending);
  void explain_pairs(std::vector<Hypothesis>& out);
  void explain_edge(Node child, std::vector<Hypothesis>& out);

  std::vector<NodeRecord> nodes_;
  std::vector<Node> arguments_;
  SignatureTable table_;
  std::vector<Pending> pending_;
  std::size_t next_pending_ = 0;
  std::vector<Cell> trail_;
  std::vector<Erased> erased_;  // nodes that a merge took out of the table
  std::vector<Mark> marks_;
  std::vector<Node> implied_;
  std::vector<std::pair<Node, Node>> shared_equalities_;
  bool in_conflict_ = false;
  std::size_t conflict_level_ = 0;  // a pop below it ends the conflict
  std::vector<Hypothesis> conflict_;
  Statistics statistics_;

  std::vector<std::pair<Node, Node>> explain_queue_;
  std::vector<std::uint32_t> path_stamp_;  // by node: on the path from the first end
  std::vector<std::uint32_t> edge_stamp_;  // by node: its edge is explained
  std::uint32_t path_round_ = 0;
  std::uint32_t edge_round_ = 0;
};

}  // namespace vesk::euf
