#pragma once

#include <cassert>
#include <cstddef>
#include <utility>
#include <vector>

namespace vesk {

/// A stack of undo cells with marks: what a data structure needs to go back to an earlier state.
///
/// The owner pushes a cell for every change, a mark for every level, and calls undo_to() with a function
/// that reverses one cell; cells are handed to it newest first.
template <typename Cell>
class UndoTrail {
 public:
  void push(Cell cell) { cells_.push_back(std::move(cell)); }
  void push_mark() { marks_.push_back(cells_.size()); }
  std::size_t num_marks() const { return marks_.size(); }
  std::size_t size() const { return cells_.size(); }
  const Cell& operator[](std::size_t index) const { return cells_[index]; }

  /// Number of cells below the given mark.
  std::size_t mark(std::size_t level) const { return marks_[level]; }

  /// Reverses every cell pushed since the mark number `level` (counted from 0) and drops that mark and
  /// the later ones. `undo` must not push cells.
  template <typename Undo>
  void undo_to_mark(std::size_t level, Undo&& undo) {
    assert(level < marks_.size());
    const std::size_t size = marks_[level];
    while (cells_.size() > size) {
      Cell cell = std::move(cells_.back());
      cells_.pop_back();
      undo(cell);
    }
    marks_.resize(level);
  }

  void clear() {
    cells_.clear();
    marks_.clear();
  }

 private:
  std::vector<Cell> cells_;
  std::vector<std::size_t> marks_;
};

}  // namespace vesk
