#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "solver/term/term.h"
#include "solver/util/stamp_set.h"
#include "solver/util/undo_trail.h"

namespace vesk {

class PolarityError : public Exception {
 public:
  using Exception::Exception;
};

/// In which polarities each Boolean term occurs in what was asserted. Polarities are those of the formula,
/// before its conversion to clauses; atoms of lemmas are to be reported with add_literal(). Follows the
/// backtrack points.
class PolarityChecker {
 public:
  enum Polarity { unknown = 0, negative = 1, positive = 2, both = 3 };

  /// How `term` occurs; `unknown` if it was never seen. An atom of polarity `unknown` is never pure.
  /// PolarityError for a term that is not Boolean.
  int operator()(Term term) const;

  /// Walks an asserted formula from the root; what was seen with the same polarity is not walked again.
  void add_formula(Term formula);
  /// One occurrence of an atom with that sign.
  void add_literal(Term term, bool negated);

  void push_backtrack_point();
  void pop_backtrack_point();

 private:
  struct Cell {
    std::uint64_t id;
    std::uint8_t old;
  };
  void add_conditions(Term atom);
  bool merge(Term term, int polarity);  // false if nothing is new

  std::vector<std::uint8_t> polarity_;  // by term id
  UndoTrail<Cell> trail_;
  std::vector<std::pair<Term, int>> stack_;  // scratch of add_formula
  StampSet seen_;                            // likewise
};

}  // namespace vesk
