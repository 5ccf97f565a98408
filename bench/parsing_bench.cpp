#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/environment.h"
#include "model/expression_factory.h"
#include "parsers/anml_parser.h"
#include "parsers/pddl_parser.h"
#include "parsers/ttp_parser.h"
#include "pddl/reader.h"

// Reading of ANML and PDDL texts and of plans, in bytes a second; `nodes` is the number of distinct
// expressions made for one text. The folder of the first benchmark is that of the environment variable
// ZORVEL_PROBLEMS, by default the examples. For instructions, which tell more than times on a busy machine,
// run it under `valgrind --tool=callgrind` with --benchmark_filter and one iteration.

namespace zorvel {
namespace {

std::vector<std::string> texts_of_folder() {
  const char* folder = std::getenv("ZORVEL_PROBLEMS");
  std::vector<std::string> texts;
  const std::filesystem::path examples =
      std::filesystem::path(__FILE__).parent_path().parent_path() / "examples";
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(folder == nullptr ? examples : folder)) {
    if (entry.path().extension() != ".anml") continue;
    std::ifstream file(entry.path(), std::ios::binary);
    texts.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return texts;
}

/// Reads each text in an environment of its own.
template <class Parser = AnmlParser>
void read_all(benchmark::State& state, const std::vector<std::string>& texts) {
  std::int64_t bytes = 0;
  std::uint64_t nodes = 0;
  for (auto _ : state) {
    nodes = 0;
    for (const std::string& text : texts) {
      Environment env;
      std::istringstream stream(text);
      benchmark::DoNotOptimize(Parser(env).parse(stream));
      nodes += env.expression_factory().node_manager().size();
      bytes += static_cast<std::int64_t>(text.size());
    }
  }
  state.SetBytesProcessed(bytes);
  state.counters["nodes"] = static_cast<double>(nodes);
}

void folder(benchmark::State& state) { read_all(state, texts_of_folder()); }

/// Initial values of a fluent over a road map: as many distinct references as lines.
std::string initial_values(std::size_t bytes) {
  std::string text = "type Place; fluent boolean road(Place a, Place b);\n";
  for (int place = 0; place < 1000; ++place) text += "instance Place p" + std::to_string(place) + ";\n";
  for (int line = 0; text.size() < bytes; ++line)
    text += "[start] road(p" + std::to_string(line % 1000) + ", p" + std::to_string(line / 1000 % 1000) +
            ") := true;\n";
  return text;
}

/// The same in PDDL, as far as it can be: places that no line mentions have no road.
std::string pddl_initial_values(std::size_t bytes) {
  std::string text =
      "(define (domain d) (:types place) (:predicates (road ?a - place ?b - place)))\n(define (problem p) "
      "(:objects";
  for (int place = 0; place < 1000; ++place) text += " p" + std::to_string(place);
  text += " - place) (:init\n";
  for (int line = 0; text.size() < bytes; ++line)
    text += "(road p" + std::to_string(line % 1000) + " p" + std::to_string(line / 1000 % 1000) + ")\n";
  return text + "))\n";
}

/// Many actions of ten statements each, over few fluents.
std::string actions(std::size_t bytes) {
  std::string text =
      "type T; fluent boolean p(T t); fluent boolean q(T t, T u); fluent integer [0, 100] n;\n";
  for (int number = 0; text.size() < bytes; ++number) {
    const std::string digits = std::to_string(number);
    text += "action act" + digits + "(T t, T u) {\n  duration := " + digits +
            ";\n  [start] p(t) and not q(t, u);\n  (start, end) p(u) or q(u, t);\n  [start] n >= 3;\n"
            "  [start] p(t) := false;\n  [end] p(t) := true;\n  [start + 1] q(t, u) := true;\n"
            "  [end] q(t, u) := false;\n  [end - 1] t != u;\n  [end] n := " +
            std::to_string(number % 100) + ";\n};\n";
  }
  return text;
}

void long_initial_state(benchmark::State& state) {
  read_all(state, {initial_values(static_cast<std::size_t>(state.range(0)) << 20)});
}
void long_pddl_initial_state(benchmark::State& state) {
  read_all<PddlParser>(state, {pddl_initial_values(static_cast<std::size_t>(state.range(0)) << 20)});
}
std::size_t bytes_in_use() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

/// Reads a problem over n objects, thus n * n atoms, in the full language; `bytes an atom` are what stays
/// when it was read. The atoms change and are false, or never change and are true.
void pddl_atoms(benchmark::State& state, bool change) {
  std::string names, facts;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    names += " o" + std::to_string(i);
    for (std::int64_t j = 0; !change && j < state.range(0); ++j)
      facts += " (road o" + std::to_string(i) + " o" + std::to_string(j) + ")\n";
  }
  const std::string domain = std::string(
                                 "(define (domain d) (:types t) (:predicates (road ?x ?y - t) (r)) (:action "
                                 "a :parameters (?x ?y - t) "
                                 ":precondition (road ?x ?y) :effect ") +
                             (change ? "(not (road ?x ?y))" : "(r)") + "))";
  const std::string problem =
      "(define (problem e) (:objects" + names + " - t) (:init " + facts + ") (:goal (r)))";
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::size_t before = bytes_in_use();
    Environment env;
    const auto read = PddlReader(env).read_texts(domain, problem);
    bytes = bytes_in_use() - before;
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(domain.size() + problem.size()));
  state.counters["bytes an atom"] =
      static_cast<double>(bytes) / static_cast<double>(state.range(0) * state.range(0));
}
void pddl_closed_world(benchmark::State& state) { pddl_atoms(state, true); }
void pddl_constants(benchmark::State& state) { pddl_atoms(state, false); }

void many_actions(benchmark::State& state) {
  read_all(state, {actions(static_cast<std::size_t>(state.range(0)) << 20)});
}

void long_plan(benchmark::State& state) {
  Environment env;
  std::istringstream problem_text("type T; instance T a, b; action move(T from, T to) { duration := 1; };");
  const auto problem = AnmlParser(env).parse(problem_text);
  std::string text;
  for (std::int64_t step = 0; step < state.range(0); ++step)
    text += std::to_string(step) + "/7: move(a, b) [5/2]\n";
  for (auto _ : state) {
    std::istringstream stream(text);
    benchmark::DoNotOptimize(TTPParser(env, problem).parse(stream));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

BENCHMARK(folder)->Unit(benchmark::kMillisecond);
BENCHMARK(long_initial_state)->Arg(1)->Arg(4)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(long_pddl_initial_state)->Arg(1)->Arg(4)->Arg(16)->Unit(benchmark::kMillisecond);
BENCHMARK(pddl_closed_world)->Arg(300)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(pddl_constants)->Arg(300)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(many_actions)->Arg(1)->Arg(4)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(long_plan)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zorvel

BENCHMARK_MAIN();
