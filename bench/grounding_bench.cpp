#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "parsers/anml_parser.h"
#include "transformers/flattener.h"
#include "transformers/free_var_params_compiler.h"
#include "transformers/grounder.h"

// Grounding of ANML problems: `grounding_bench FILE_OR_FOLDER...`. Each problem goes through the compilers
// that stand before the grounder in a planner, then the grounder alone is measured. One line a problem:
//
//   combinations  of parameter values, which a plain enumeration would look at
//   tries         values bound to a parameter in the search for combinations
//   built         combinations whose statements were built
//   kept          ground actions
//   ms            of the grounder, the best of `repetitions` fresh runs
//   us/kept       the same for each ground action
//   nodes/kept    expression nodes made for each ground action
//
// Instructions: `valgrind --tool=callgrind --toggle-collect='*Grounder::do_computation*' grounding_bench
// FILE`.

namespace {

using zorvel::Environment;
using zorvel::model::Grounder;
using zorvel::model::ProblemPtr;

constexpr int repetitions = 3;

struct Sample {
  Grounder::Counters counters;
  double milliseconds = 0;
  double nodes = 0;
};

ProblemPtr prepare(Environment& env, const std::string& file) {
  std::ifstream stream(file);
  ProblemPtr problem = zorvel::AnmlParser(env).parse(stream);
  if (!problem->is_flat()) {
    zorvel::model::Flattener flattener(problem);
    flattener.do_computation();
    problem = flattener.new_problem();
  }
  if (!problem->metrics().empty()) return problem;
  zorvel::model::FreeVarParamsCompiler compiler(problem);
  compiler.do_computation();
  return compiler.new_problem();
}

/// In a context of its own: in a used one the nodes are there already.
Sample measure(const std::string& file) {
  Environment env;
  const ProblemPtr problem = prepare(env, file);
  const auto nodes_before = env.expression_factory().node_manager().size();
  Grounder grounder(problem, false, true);
  const auto start = std::chrono::steady_clock::now();
  grounder.do_computation();
  const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
  return {grounder.counters(), elapsed.count(),
          static_cast<double>(env.expression_factory().node_manager().size() - nodes_before)};
}

void report(const std::string& file) {
  Sample best = measure(file);
  for (int i = 1; i < repetitions; ++i)
    best.milliseconds = std::min(best.milliseconds, measure(file).milliseconds);
  const auto kept = static_cast<double>(std::max<std::uint64_t>(best.counters.kept, 1));
  std::printf("%-50s %14llu %10llu %8llu %8llu %9.2f %8.2f %8.1f\n", file.c_str(),
              static_cast<unsigned long long>(best.counters.combinations),
              static_cast<unsigned long long>(best.counters.tries),
              static_cast<unsigned long long>(best.counters.built),
              static_cast<unsigned long long>(best.counters.kept), best.milliseconds,
              best.milliseconds * 1000 / kept, best.nodes / kept);
}

std::vector<std::string> files_of(const std::string& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(path))
    if (entry.path().extension() == ".anml") files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  std::printf("%-50s %14s %10s %8s %8s %9s %8s %8s\n", "problem", "combinations", "tries", "built", "kept",
              "ms", "us/kept", "nodes/k");
  int failures = 0;
  for (int i = 1; i < argc; ++i) {
    for (const std::string& file : files_of(argv[i])) {
      try {
        report(file);
      } catch (const std::exception& error) {
        std::printf("%-50s %s\n", file.c_str(), error.what());
        ++failures;
      }
      std::fflush(stdout);
    }
  }
  return failures == 0 ? 0 : 1;
}
