// How long the page of a plan takes, beside the replay that it needs: a plan of so many steps of deliveries
// with durations, on as many objects as there are tens of steps.

#include <benchmark/benchmark.h>

#include <sstream>
#include <string>

#include "parsers/anml_parser.h"
#include "parsers/ttp_parser.h"
#include "report/answer.h"
#include "report/chart.h"

using namespace zorvel;  // NOLINT: a program of its own

namespace {

struct Deliveries {
  explicit Deliveries(long steps) {
    const long trucks = std::max(steps / 10, 1L);
    std::string text = "type Truck; type Place; instance Place here, there;\ninstance Truck t0";
    for (long i = 1; i < trucks; ++i) text += ", t" + std::to_string(i);
    text +=
        ";\nfluent Place at(Truck t);\nfluent float fuel(Truck t);\n"
        "[start] forall (Truck t) { at(t) := here; fuel(t) := 100; };\n"
        "action drive(Truck t, Place a, Place b) { duration := 2; [start] at(t) == a; [start] fuel(t) >= 1;\n"
        "  [end] at(t) := b; [end] fuel(t) := fuel(t) - 1; };\n";
    std::istringstream problem_text(text);
    problem = AnmlParser(env).parse(problem_text);
    std::string lines;
    for (long i = 0; i < steps; ++i) {
      const bool is_back = (i / trucks) % 2 == 1;
      lines += std::to_string(3 * (i / trucks)) + ": drive(t" + std::to_string(i % trucks) +
               (is_back ? ", there, here) [2]\n" : ", here, there) [2]\n");
    }
    std::istringstream plan_text(lines);
    plan = TTPParser(env, problem).parse(plan_text);
  }
  Environment env;
  model::ProblemPtr problem;
  std::shared_ptr<TimeTriggeredPlan> plan;
};

void replay(benchmark::State& state) {
  Deliveries deliveries(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(report::replay_plan(deliveries.problem, deliveries.plan).verdict.is_valid);
}
BENCHMARK(replay)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

void page(benchmark::State& state) {
  Deliveries deliveries(state.range(0));
  const auto rows =
      state.range(1) == 0 ? report::ChartOptions::Rows::actions : report::ChartOptions::Rows::objects;
  for (auto _ : state)
    benchmark::DoNotOptimize(report::plan_to_html(deliveries.problem, deliveries.plan, {rows, {}}).size());
}
BENCHMARK(page)->Args({100, 0})->Args({1000, 0})->Args({1000, 1})->Unit(benchmark::kMillisecond);

void json(benchmark::State& state) {
  Deliveries deliveries(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(report::to_json(*deliveries.plan, deliveries.problem).size());
}
BENCHMARK(json)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
