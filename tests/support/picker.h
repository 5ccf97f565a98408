#pragma once

#include <cassert>
#include <cstddef>
#include <random>
#include <vector>

namespace zorvel {

/// Draws for random tests: the same on every machine for one seed, which the distributions of the standard
/// library do not promise.
class Picker {
 public:
  explicit Picker(unsigned seed) : random_(seed) {}

  /// From 0 to `bound - 1`.
  int pick(int bound) {
    assert(bound > 0);
    return static_cast<int>(random_() % static_cast<unsigned>(bound));
  }
  /// From `low` to `high`, both included.
  int between(int low, int high) { return low + pick(high - low + 1); }
  bool chance(int one_in) { return pick(one_in) == 0; }
  template <class T>
  const T& one_of(const std::vector<T>& choices) {
    return choices[static_cast<std::size_t>(pick(static_cast<int>(choices.size())))];
  }

 private:
  std::mt19937 random_;
};

}  // namespace zorvel
