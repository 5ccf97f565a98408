#pragma once

#include <cstddef>
#include <vector>

#include "solver/term/term.h"
#include "solver/term/term_manager.h"
#include "solver/util/hash_table.h"

namespace vesk {

/// Equations that hold whichever of its cases makes a disjunction true: `(a = b and b = c) or (a = d and d =
/// c)` implies `a = c`. A formula is abstracted to the partition of terms that it makes equal; a conjunction
/// joins the partitions of its parts, a disjunction keeps what all of them have in common (B. Dutertre, L. de
/// Moura, The Yices SMT Solver, 2006). A search that has no atom for `a = c` needs time exponential in the
/// number of such disjunctions, because the transitive conflicts of each choice are learnt one by one.
class EqualityAbstraction {
 public:
  explicit EqualityAbstraction(TermManager& terms) : terms_(terms) {}

  /// Equations that a disjunction (or the negation of a conjunction) implies; none for anything else. Valid
  /// until the next call. A disjunction of literals costs a look at its first two.
  const std::vector<Term>& implied_by(Term formula);

 private:
  struct Node {
    Term term;
    bool negated;
  };
  struct Member {
    Term term;
    Term representative;
  };
  /// Terms with another term in their class, each class in a row behind its representative.
  using Partition = std::vector<Member>;

  static Node strip(Term term, bool negated);
  static bool is_conjunction(const Node& node);
  static bool is_disjunction(const Node& node);
  static bool may_equate(const Node& node);
  std::vector<Node> flatten(const Node& root);
  Partition partition_of(const Node& node, int depth);
  Partition join(const std::vector<Node>& parts, int depth);
  Partition meet(const Partition& a, const Partition& b);
  Partition partition_of_equality(Term equality);

  TermManager& terms_;
  std::vector<Term> implied_;
  std::size_t budget_ = 0;  // leaves that may still be looked at
};

}  // namespace vesk
