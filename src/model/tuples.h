#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "core/node.h"

namespace zorvel::model {

/// Which entry of a tuple changes from each one to the next.
enum class TurnsFastest { FIRST, LAST };

/// Calls `use` with every tuple of the product of `domains`.
template <class Use>
void for_each_tuple(const std::vector<std::vector<Node*>>& domains, TurnsFastest fastest, Use use) {
  if (std::any_of(domains.begin(), domains.end(), [](const auto& domain) { return domain.empty(); })) return;
  const std::size_t size = domains.size();
  std::vector<std::size_t> digits(size, 0);
  std::vector<Node*> tuple;
  for (const auto& domain : domains) tuple.push_back(domain.front());
  while (true) {
    use(tuple);
    std::size_t turned = 0;
    for (; turned < size; ++turned) {
      const std::size_t place = fastest == TurnsFastest::FIRST ? turned : size - 1 - turned;
      digits[place] = digits[place] + 1 < domains[place].size() ? digits[place] + 1 : 0;
      tuple[place] = domains[place][digits[place]];
      if (digits[place] != 0) break;
    }
    if (turned == size) return;
  }
}

}  // namespace zorvel::model
