// Runs the forward search on whole problems for a fixed number of expansions and reports its speed in
// processor time, and the memory that a stored state takes.
//
//   search_bench HEURISTIC EXPANSIONS FILE...
//
// For instruction counts, run it under `valgrind --tool=callgrind --toggle-collect='*DenseSearch::run*'`.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "core/environment.h"
#include "parsers/anml_parser.h"
#include "search/forward/ftp_planner.h"

namespace {

double processor_seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

void run(const std::string& heuristic, unsigned long expansions, const std::string& file) {
  zorvel::Environment env;
  env.configuration().set_value("ftp-heuristic", std::vector<std::string>{heuristic});
  const double before_setup = processor_seconds();
  zorvel::AnmlParser parser(env);
  zorvel::tp::ftp::FtpPlanner planner(env, parser.parse_file(file));
  zorvel::SearchLimits limits;
  limits.expansions = expansions;
  planner.set_limits(limits);
  const double before = processor_seconds();
  const auto plan = planner.solve();
  const double after = processor_seconds();
  const auto& statistics = planner.statistics();
  // The part of `solve` that is not the search builds tables and heuristics, and the plan.
  const double seconds = statistics.processor_seconds > 0 ? statistics.processor_seconds : after - before;
  const std::filesystem::path path(file);
  std::printf(
      "%-34s %4zu fluents %5zu actions  set-up %7.3f s  %8llu expanded  %9.0f/s  %5.1f children  %6.0f "
      "bytes/state%s\n",
      (path.parent_path().filename() / path.stem()).c_str(), planner.model().references().size(),
      planner.model().actions().size(), after - before_setup - seconds,
      static_cast<unsigned long long>(statistics.expanded),
      static_cast<double>(statistics.expanded) / seconds,
      static_cast<double>(statistics.stored) / static_cast<double>(statistics.expanded),
      statistics.most_states == 0
          ? 0.0
          : static_cast<double>(statistics.bytes_at_most) / static_cast<double>(statistics.most_states),
      plan ? "  solved" : "");
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: search_bench HEURISTIC EXPANSIONS FILE...\n");
    return 2;
  }
  for (int i = 3; i < argc; ++i) {
    try {
      run(argv[1], std::strtoul(argv[2], nullptr, 10), argv[i]);
    } catch (const std::exception& error) {
      std::printf("%s: %s\n", argv[i], error.what());
    }
  }
  return 0;
}
