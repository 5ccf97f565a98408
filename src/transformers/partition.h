#pragma once

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace zorvel::model {

/// Numbers from 0, in classes that grow together (Galler and Fischer, 1964). The root of a class is its least
/// number, so it does not depend on the order of the joins.
class Partition {
 public:
  explicit Partition(std::size_t size) : parents_(size) { std::iota(parents_.begin(), parents_.end(), 0U); }

  std::uint32_t root(std::uint32_t number) const {
    while (parents_[number] != number) number = parents_[number] = parents_[parents_[number]];
    return number;
  }
  void join(std::uint32_t a, std::uint32_t b) {
    a = root(a);
    b = root(b);
    if (a < b)
      parents_[b] = a;
    else
      parents_[a] = b;
  }

 private:
  mutable std::vector<std::uint32_t> parents_;  // paths are halved on the way
};

}  // namespace zorvel::model
