#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "solver/term/term.h"

namespace vesk {

/// A map from terms to terms, by id: pages where there are entries, since a model speaks of few of the terms
/// that were ever made, but of many that were made one after the other.
class TermValues {
 public:
  /// Null if there is none.
  Term find(Term term) const {
    const std::size_t page = term->id() / page_size;
    return page >= pages_.size() || pages_[page] == 0 ? nullptr : cells_[place(term)];
  }
  /// Stores `value` unless there is one. The one that is there now, and whether it is new.
  std::pair<Term, bool> insert(Term term, Term value) {
    const std::size_t page = term->id() / page_size;
    if (page >= pages_.size()) pages_.resize(page + 1);
    if (pages_[page] == 0) {
      cells_.resize(cells_.size() + page_size);
      pages_[page] = static_cast<std::uint32_t>(cells_.size() / page_size);
    }
    Term& cell = cells_[place(term)];
    if (cell != nullptr) return {cell, false};
    cell = value;
    terms_.push_back(term);
    return {value, true};
  }
  /// Calls `visit(term, value)` for every entry, oldest first.
  template <typename F>
  void for_each(F&& visit) const {
    for (const Term term : terms_) visit(term, find(term));
  }

 private:
  static constexpr std::size_t page_size = 128;

  std::size_t place(Term term) const {
    return (pages_[term->id() / page_size] - 1) * page_size + term->id() % page_size;
  }

  std::vector<std::uint32_t> pages_;  // by id of the first term: the number of a page, from 1; 0 for none
  std::vector<Term> cells_;           // one page after the other
  std::vector<Term> terms_;           // the keys
};

}  // namespace vesk
