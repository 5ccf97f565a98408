#include "search/frame/search_statistics.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>

namespace zorvel {

SearchStatistics& operator+=(SearchStatistics& sum, const SearchStatistics& more) {
  sum.expanded += more.expanded;
  sum.stored += more.stored;
  sum.evaluated += more.evaluated;
  sum.most_states = std::max(sum.most_states, more.most_states);
  sum.bytes = std::max(sum.bytes, more.bytes);
  sum.moves_offered += more.moves_offered;
  sum.moves_taken += more.moves_taken;
  sum.seconds += more.seconds;
  sum.processor_seconds += more.processor_seconds;
  return sum;
}

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

void print_table(std::ostream& out, const SearchStatistics& statistics) {
  std::array<char, 80> line{};
  const auto count = [&](const char* name, std::uint64_t value) {
    std::snprintf(line.data(), line.size(), "  %-18s %14llu\n", name, static_cast<unsigned long long>(value));
    out << line.data();
  };
  const auto measure = [&](const char* name, double value, const char* unit) {
    std::snprintf(line.data(), line.size(), "  %-18s %14.3f %s\n", name, value, unit);
    out << line.data();
  };
  count("states expanded", statistics.expanded);
  count("states stored", statistics.stored);
  count("states evaluated", statistics.evaluated);
  count("most states held", statistics.most_states);
  if (statistics.moves_offered > 0) {
    count("moves offered", statistics.moves_offered);
    count("moves taken", statistics.moves_taken);
  }
  measure("memory of states", static_cast<double>(statistics.bytes) / (1024.0 * 1024.0), "MiB");
  measure("time of the search", statistics.seconds, "s");
  measure("processor time", statistics.processor_seconds, "s");
}

}  // namespace zorvel
