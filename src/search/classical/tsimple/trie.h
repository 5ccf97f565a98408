#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "state/value_table.h"

namespace zorvel::tsimple {

/// The tuples of `width` pairs (slot, value) that the states of a search have shown: a prefix tree over pairs
/// in the order of their slots, for the novelty test of iterated width search (Lipovetzky and Geffner 2012).
///
/// Pairs are numbered when they are first seen. A node of the tree is a number, and its edges are entries of
/// one hash table from (node, pair) to node; of the last level only the edges exist. With width 1 there is
/// but the last level, and the numbers alone say what was seen.
class Trie {
 public:
  /// `width` is at least 1. `must_stop` is asked between some ten thousand tuples; after it has said yes, the
  /// tuples that were being added are not all there.
  Trie(std::size_t slots, std::size_t width, std::function<bool()> must_stop = {});

  /// Adds all tuples of the state `values`; whether one was new. There are none if `width` exceeds the slots.
  bool add_all(const ValueId* values);
  /// Adds the tuples of the state that have `slot` in them; whether one was new.
  bool add_with(const ValueId* values, std::uint32_t slot);
  void clear();
  std::uint64_t bytes() const;

 private:
  using Number = std::uint32_t;

  /// Open addressing; a power of two of cells, at most half full. A key is never 0.
  class EdgeTable {
   public:
    /// The number stored with the key, which is `value` if the key was not there.
    std::pair<Number, bool> insert(std::uint64_t key, Number value);
    void clear();
    std::uint64_t bytes() const { return cells_.capacity() * sizeof(Cell); }

   private:
    struct Cell {
      std::uint64_t key = 0;
      Number value = 0;
    };
    std::size_t position(std::uint64_t key) const;
    void grow();
    std::vector<Cell> cells_;
    std::size_t size_ = 0;
  };
  /// The same without values.
  class EdgeSet {
   public:
    bool insert(std::uint64_t key);  ///< Whether it is new.
    void clear();
    std::uint64_t bytes() const { return cells_.capacity() * sizeof(std::uint64_t); }

   private:
    void grow();
    std::vector<std::uint64_t> cells_;
    std::size_t size_ = 0;
  };

  std::pair<Number, bool> pair_of(std::uint32_t slot, ValueId value);
  bool add_tuple(const ValueId* values, std::size_t first_changed);
  void fill_tuple(std::size_t first, const std::uint32_t* fixed_slot);
  bool add_subsets(const ValueId* values, const std::uint32_t* fixed_slot);

  std::size_t slots_, width_;
  std::function<bool()> must_stop_;
  std::vector<std::vector<Number>> pairs_;  // by slot and value; 0: not yet seen
  Number next_pair_ = 1;
  Number next_node_ = first_node;
  static constexpr Number first_node = 0x8000'0000;  // of nodes below the first level, whose nodes are pairs
  EdgeTable inner_;                                  // between nodes
  EdgeSet last_;                                     // of the last level

  // Of the enumeration.
  std::vector<std::uint32_t> subset_;  // positions among the slots that may be chosen, ascending
  std::vector<std::uint32_t> tuple_;   // slots, ascending
  std::vector<Number> path_;           // the node behind each element of tuple_ but the last
  std::uint32_t tuples_since_check_ = 0;
};

}  // namespace zorvel::tsimple
