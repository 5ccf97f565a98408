#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "parsers/anml_parser.h"
#include "transformers/set_compiler.h"

// Taking sets out of a problem: `sets_bench STATEMENTS ELEMENTS...`. For each number of elements it makes a
// problem with that many statements over sets that can hold them (union, difference, assignment, equality,
// subset and membership in turn, none of them like another) and takes the sets out. One line a problem:
//
//   elements       of the domain of the sets
//   ms             of the compiler, the best of `repetitions` fresh runs
//   nodes/member   expression nodes made for each statement and element
//   us/member      the time for each
//
// Instructions: `valgrind --tool=callgrind --toggle-collect='*SetCompiler::do_computation*' sets_bench 60
// 1000`.

namespace {

using zorvel::Environment;
using zorvel::model::SetCompiler;

constexpr int repetitions = 3;

std::string problem_text(int statements, int elements) {
  const std::string type = "integer [0, " + std::to_string(elements - 1) + "]";
  std::ostringstream text;
  text << "fluent set(" << type << ") s; fluent set(" << type << ") t;\n[1] s := {0";
  for (int i = 1; i < elements; ++i) text << ", " << i;
  text << "};\n";
  for (int i = 0; i < statements; ++i) {
    const std::string one = "{" + std::to_string(i % elements) + "}";
    text << '[' << i + 2 << "] ";
    switch (i % 6) {
      case 0: text << "s := s union " << one << ";\n"; break;
      case 1: text << "t := (t \\ s) union " << one << ";\n"; break;
      case 2: text << "s := t intersection (s \\ " << one << ");\n"; break;
      case 3: text << "s == (t union " << one << ");\n"; break;
      case 4: text << "(s \\ " << one << ") subset t;\n"; break;
      default: text << i % elements << " in (s \\ t);\n"; break;
    }
  }
  return text.str();
}

void measure(int statements, int elements) {
  double best = 0, nodes = 0;
  for (int run = 0; run < repetitions; ++run) {
    Environment env;
    std::istringstream stream(problem_text(statements, elements));
    SetCompiler compiler(zorvel::AnmlParser(env).parse(stream));
    const auto nodes_before = env.expression_factory().node_manager().size();
    const auto begin = std::chrono::steady_clock::now();
    compiler.do_computation();
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
    nodes = static_cast<double>(env.expression_factory().node_manager().size() - nodes_before);
    if (run == 0 || time.count() < best) best = time.count();
  }
  const double members = static_cast<double>(statements + 1) * elements;
  std::printf("%10d %10.2f %14.2f %12.3f\n", elements, best, nodes / members, 1000 * best / members);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 3) {
    std::fprintf(stderr, "usage: sets_bench STATEMENTS ELEMENTS...\n");
    return 2;
  }
  const int statements = std::atoi(argv[1]);
  std::printf("%10s %10s %14s %12s\n", "elements", "ms", "nodes/member", "us/member");
  for (int i = 2; i < argc; ++i)
    if (const int elements = std::atoi(argv[i]); elements > 0) measure(statements, elements);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "sets_bench: %s\n", error.what());
  return 2;
}
