// Runs the forward search on whole problems for a fixed number of expansions and reports its speed in
// processor time, and the memory that a stored state takes.
//
//   search_bench HEURISTIC EXPANSIONS FILE...
//
// With `guided` in place of a heuristic it is the guided search, up to its first plan.
// For instruction counts, run it under `valgrind --tool=callgrind --toggle-collect='*DenseSearch::run*'`.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "core/environment.h"
#include "parsers/anml_parser.h"
#include "search/forward/guided/guided_planner.h"

namespace {

double processor_seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

template <class Planner>
void run(zorvel::Environment& env, unsigned long expansions, const std::string& file) {
  const double before_setup = processor_seconds();
  zorvel::AnmlParser parser(env);
  const auto problem = parser.parse_file(file);
  const double read = processor_seconds();
  Planner planner(env, problem);
  const double compiled = processor_seconds();
  zorvel::SearchLimits limits;
  limits.expansions = expansions;
  planner.set_limits(limits);
  const auto plan = planner.solve();
  const double after = processor_seconds();
  const auto& statistics = planner.statistics();
  const std::filesystem::path path(file);
  // The part of `solve` that is not the search builds tables and heuristics, and the plan.
  std::printf("%-34s %4zu fluents %5zu actions  reading %6.3f s  compiling %6.3f s  tables %6.3f s  ",
              (path.parent_path().filename() / path.stem()).c_str(), planner.model().references().size(),
              planner.model().actions().size(), read - before_setup, compiled - read,
              after - compiled - statistics.processor_seconds);
  std::fflush(stdout);
  std::cout << statistics << (plan ? "  solved" : "") << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: search_bench HEURISTIC EXPANSIONS FILE...\n");
    return 2;
  }
  for (int i = 3; i < argc; ++i) {
    try {
      zorvel::Environment env;
      const std::string heuristic = argv[1];
      const unsigned long expansions = std::strtoul(argv[2], nullptr, 10);
      if (heuristic == "guided") {
        run<zorvel::tp::ftp::GuidedPlanner>(env, expansions, argv[i]);
        continue;
      }
      env.configuration().set_value("ftp-heuristic", std::vector<std::string>{heuristic});
      run<zorvel::tp::ftp::FtpPlanner>(env, expansions, argv[i]);
    } catch (const std::exception& error) {
      std::printf("%s: %s\n", argv[i], error.what());
    }
  }
  return 0;
}
