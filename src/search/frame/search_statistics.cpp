#include "search/frame/search_statistics.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>

namespace zorvel {

std::ostream& operator<<(std::ostream& out, const SearchStatistics& statistics) {
  const double seconds = std::max(statistics.processor_seconds, 1e-9);
  const auto expanded = static_cast<double>(std::max<std::uint64_t>(statistics.expanded, 1));
  const auto states = static_cast<double>(std::max<std::uint64_t>(statistics.most_states, 1));
  std::array<char, 160> line{};
  std::snprintf(line.data(), line.size(),
                "%8llu expanded  %9.0f/s  %9.0f evaluated/s  %5.1f children  %6.0f bytes/state",
                static_cast<unsigned long long>(statistics.expanded), expanded / seconds,
                static_cast<double>(statistics.evaluated) / seconds,
                static_cast<double>(statistics.stored) / expanded,
                static_cast<double>(statistics.bytes) / states);
  out << line.data();
  if (statistics.moves_offered > 0)
    out << "  " << statistics.moves_offered << " moves offered, " << statistics.moves_taken << " taken";
  return out;
}

}  // namespace zorvel
