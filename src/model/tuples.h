#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "core/node.h"

namespace zorvel::model {

/// Calls `use` with every tuple of the product of `domains`, the last entry turning fastest.
template <class Use>
void for_each_tuple(const std::vector<std::vector<Node*>>& domains, Use use) {
  if (std::any_of(domains.begin(), domains.end(), [](const auto& domain) { return domain.empty(); })) return;
  std::vector<std::size_t> digits(domains.size(), 0);
  std::vector<Node*> tuple;
  for (const auto& domain : domains) tuple.push_back(domain.front());
  while (true) {
    use(tuple);
    std::size_t place = domains.size();
    while (place > 0 && ++digits[place - 1] == domains[place - 1].size()) {
      digits[place - 1] = 0;
      tuple[place - 1] = domains[place - 1].front();
      --place;
    }
    if (place == 0) return;
    tuple[place - 1] = domains[place - 1][digits[place - 1]];
  }
}

}  // namespace zorvel::model
