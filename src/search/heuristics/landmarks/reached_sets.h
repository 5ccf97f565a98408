#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zorvel {

/// Bit sets of one size, each stored once and named by a number: states that have reached the same landmarks
/// share their set. Nothing is given back before the table dies.
class ReachedSets {
 public:
  using Id = std::uint32_t;  ///< 0 is no set.
  using Word = std::uint64_t;

  /// `words` is the size of each set.
  explicit ReachedSets(std::size_t words);
  /// The number of a set with these members. The array must not be the table's own.
  Id insert(const Word* set);
  /// Valid until the next `insert`.
  const Word* operator[](Id set) const { return store_.data() + (set - 1) * words_; }
  std::size_t size() const { return size_; }
  std::size_t bytes() const { return store_.capacity() * sizeof(Word) + slots_.capacity() * sizeof(Id); }

 private:
  std::size_t hash(const Word* set) const;
  bool is_equal(const Word* a, const Word* b) const;
  void grow();

  std::size_t words_;
  std::size_t size_ = 0;
  std::vector<Word> store_;
  std::vector<Id> slots_;  // open addressing; a power of two, at most half full
};

}  // namespace zorvel
