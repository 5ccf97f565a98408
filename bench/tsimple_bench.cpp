// Runs the classical search on whole problems for a fixed number of expansions and reports its speed in
// processor time, and the memory that a stored state takes.
//
//   tsimple_bench HEURISTIC WIDTH EXPANSIONS FILE...
//
// WIDTH is that of the novelty test; 0 is the plain search, and "iw" all widths one after the other. For
// instruction counts, run it under `valgrind --tool=callgrind --toggle-collect='*ClassicalSearch::run*'`.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "core/environment.h"
#include "parsers/anml_parser.h"
#include "search/classical/iw_planner.h"
#include "search/classical/tsimple/tsimple_planner.h"

namespace {

double processor_seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

zorvel::SearchLimits at_most(unsigned long expansions) {
  zorvel::SearchLimits limits;
  limits.expansions = expansions;
  return limits;
}

void run(const std::string& heuristic, std::size_t width, unsigned long expansions, const std::string& file) {
  zorvel::Environment env;
  env.configuration().set_value("tsimple-heuristic", heuristic);
  const double before_setup = processor_seconds();
  zorvel::AnmlParser parser(env);
  zorvel::tsimple::TSimplePlanner planner(env, parser.parse_file(file), width);
  planner.set_limits(at_most(expansions));
  const double before = processor_seconds();
  const auto plan = planner.solve();
  const auto& statistics = planner.statistics();
  const std::filesystem::path path(file);
  std::printf("%-34s %4zu slots %5zu actions  set-up %7.3f s  ",
              (path.parent_path().filename() / path.stem()).c_str(), planner.model().index().size(),
              planner.searched_actions().size(), before - before_setup);
  std::fflush(stdout);
  std::cout << statistics << (plan ? "  solved" : "") << std::endl;
}

void run_all_widths(const std::string& heuristic, unsigned long expansions, const std::string& file) {
  zorvel::Environment env;
  env.configuration().set_value("tsimple-heuristic", heuristic);
  zorvel::AnmlParser parser(env);
  zorvel::iw::IWPlanner planner(env, parser.parse_file(file));
  planner.set_limits(at_most(expansions));
  const double before = processor_seconds();
  const auto plan = planner.solve();
  const double seconds = processor_seconds() - before;
  const std::filesystem::path path(file);
  std::printf("%-34s width %zu  %8llu expanded  %9.0f/s with the set-up of each width%s\n",
              (path.parent_path().filename() / path.stem()).c_str(), planner.width(),
              static_cast<unsigned long long>(planner.expanded()),
              static_cast<double>(planner.expanded()) / seconds, plan ? "  solved" : "");
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr, "usage: tsimple_bench HEURISTIC WIDTH|iw EXPANSIONS FILE...\n");
    return 2;
  }
  const std::string width = argv[2];
  const unsigned long expansions = std::strtoul(argv[3], nullptr, 10);
  for (int i = 4; i < argc; ++i) {
    try {
      if (width == "iw")
        run_all_widths(argv[1], expansions, argv[i]);
      else
        run(argv[1], std::strtoul(width.c_str(), nullptr, 10), expansions, argv[i]);
    } catch (const std::exception& error) {
      std::printf("%s: %s\n", argv[i], error.what());
    }
  }
  return 0;
}
