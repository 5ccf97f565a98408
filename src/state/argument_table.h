#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "state/value_table.h"

namespace zorvel {

/// A function from tuples of value ids to numbers. Where the values that occur at each position have few
/// enough combinations, it is one array with a cell for each, and a look-up adds one offset a position.
class ArgumentTable {
 public:
  static constexpr std::uint32_t absent = 0xFFFF'FFFF;

  struct Entry {
    std::vector<ValueId> arguments;
    std::uint32_t result;
  };

  /// All entries have `arity` arguments; later ones do not replace earlier ones.
  ArgumentTable(std::size_t arity, std::vector<Entry> entries);

  std::size_t arity() const { return arity_; }
  /// The result for `arguments`, of which there are `arity()`; `absent` if there is none.
  std::uint32_t find(const ValueId* arguments) const;
  /// All results, ascending.
  std::span<const std::uint32_t> results() const { return results_; }

 private:
  std::uint32_t find_sorted(const ValueId* arguments) const;

  struct Position {
    std::vector<std::uint32_t> offsets;  // by value id: its share of the index, `absent` if it does not occur
  };

  std::size_t arity_;
  std::vector<Position> positions_;
  std::vector<std::uint32_t> cells_;  // the dense form; empty if it would be too large
  std::vector<Entry> sorted_;         // otherwise: by arguments
  std::vector<std::uint32_t> results_;
};

}  // namespace zorvel
