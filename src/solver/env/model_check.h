#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "solver/preprocess/rewrite_stack.h"
#include "solver/term/term.h"
#include "solver/term/term_manager.h"
#include "solver/util/hash_table.h"

namespace vesk {

/// Evaluates one model after the other over a stack of formulas that grows and shrinks, and looks again only
/// at what a changed value stands under.
///
/// Only its yes counts. It says no, too, where it cannot tell: then the whole model is to be evaluated by
/// ModelStore, with which it shares the meaning of terms.
///
/// Nodes are the terms of the formulas, and the applications that the model gives a value, with those terms
/// that their arguments are made of. What a node's value depends on has an edge to it: its children, or the
/// definition of a removed constant. Nodes and edges go in the reverse order of their arrival, with the
/// formula that brought them. Applications of one function to equal values share a `Place`.
class ModelCheck {
 public:
  explicit ModelCheck(TermManager& terms) : terms_(terms) {}

  /// The model's value of a constant or an application; null if it has none of its own.
  using LeafValue = std::function<Term(Term)>;
  /// Whether the model satisfies all formulas, null being passed over, and all of `more`. The first formulas
  /// are those of the last call that were not taken off since. `steps`: what preprocessing removed, likewise.
  /// `changed`: terms whose leaf value may be another than at the last call; all that have one when
  /// is_empty().
  bool holds(std::span<const Term> formulas, std::span<const Term> more,
             const std::vector<RewriteStack::Step>& steps, std::span<const Term> changed,
             const LeafValue& leaf_value);

  /// The first formulas, and the first steps, are all that is left.
  void shrink_to(std::size_t num_formulas, std::size_t num_steps);
  /// Forgets everything.
  void clear();
  bool is_empty() const { return !is_in_order_ || formulas_.empty(); }
  /// How many terms were evaluated.
  std::uint64_t num_evaluations() const { return num_evaluations_; }

 private:
  using NodeId = std::int32_t;
  static constexpr std::int32_t none = -1;

  struct Node {
    Term term;
    Term value = nullptr;                 // null: to be evaluated, and so is all that depends on it
    Term leaf = nullptr;                  // what the model says
    std::int32_t users = none;            // the newest edge from here
    NodeId definition = none;             // of a removed constant
    std::int32_t place = none;            // of an application
    NodeId previous = none, next = none;  // at the same place
    std::uint32_t num_formulas = 0;       // that are this term
    bool is_told = false;                 // gives its place the value
    bool is_moving = false;               // its place is to be found again
  };
  struct Edge {
    NodeId from, to;
    std::int32_t next;  // an older one from the same node
  };
  /// A function's value for certain arguments.
  struct Place {
    Term key;
    Term value = nullptr;        // what the applications with a leaf value have
    std::uint32_t num_told = 0;  // those
    NodeId first = none;
  };
  struct Formula {
    NodeId node;
    std::size_t num_nodes, num_edges;  // before it
  };

  static bool is_application(Term term) { return term->tag() == Tag::uninterpreted && term->arity() != 0; }
  Node& node(NodeId id) { return nodes_[static_cast<std::size_t>(id)]; }
  NodeId find(Term term) const;
  NodeId add(Term root, const LeafValue& leaf_value);
  NodeId add_node(Term term, const LeafValue& leaf_value);
  void add_edge(NodeId from, NodeId to);
  void define(NodeId constant, const LeafValue& leaf_value);
  void take_formulas(std::span<const Term> formulas, const LeafValue& leaf_value);
  void refresh(Term term, const LeafValue& leaf_value);
  bool leaves_are_current(const LeafValue& leaf_value) const;
  void mark(NodeId id);
  void move_later(NodeId id);
  bool find_places();
  std::int32_t place_of(Term application);
  void enter(NodeId id, std::int32_t place);
  bool enter_told(NodeId id, std::int32_t place);
  void leave(NodeId id);
  void drop_if_empty(std::int32_t place);
  void mark_readers(std::int32_t place);
  Term evaluate(NodeId root);
  Term value_of_node(NodeId id);

  TermManager& terms_;
  bool is_in_order_ = false;  // no call was left half done
  bool is_sure_ = true;
  std::vector<NodeId> node_of_term_;  // by id of the term
  std::vector<Node> nodes_;
  std::vector<Edge> edges_;
  std::vector<Formula> formulas_;
  std::vector<Term> steps_;  // the removed constants
  hsh::Map<Term, Term> definitions_;
  std::vector<Place> places_;
  std::vector<std::int32_t> free_places_;
  hsh::Map<Term, std::int32_t> place_of_key_;

  std::vector<Term> orphans_;           // to be looked at by the next call, whatever changed
  std::vector<NodeId> to_check_;        // formulas without a value
  std::vector<NodeId> moving_;          // applications with a leaf value whose place is to be found
  std::vector<NodeId> marking_, walk_;  // scratch
  std::vector<Term> args_;              // likewise
  std::uint64_t num_evaluations_ = 0;
};

}  // namespace vesk
