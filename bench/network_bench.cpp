#include <benchmark/benchmark.h>

#include <random>

#include "plans/temporal_network.h"

// Insertions into a temporal network, as a search makes them: a chain of steps, each with an event at its
// start and one at its end, ordered behind the last one. `points` is the number of time points at the end.
// Beside the time: insertions a second, and how many of them changed a value.

namespace zorvel {
namespace {

const rational epsilon(1, 100);

template <class T>
struct Insertion {
  unsigned a, b;
  T bound;
};

/// Durations and precedences of `points / 2` steps, some of them concurrent. Fixed by the seed.
template <class T>
std::vector<Insertion<T>> plan_constraints(unsigned points, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<Insertion<T>> insertions;
  for (unsigned start = 0; start + 1 < points; start += 2) {
    const rational duration(static_cast<int>(1 + random() % 40), 4);
    insertions.push_back({start, start + 1, static_cast<T>(-duration)});
    insertions.push_back({start + 1, start, static_cast<T>(duration)});
    for (int precedences = 0; start > 0 && precedences < 3; ++precedences)
      insertions.push_back({static_cast<unsigned>(random() % start), start, static_cast<T>(-epsilon)});
  }
  return insertions;
}

template <class T>
void insert_plan(benchmark::State& state) {
  const auto points = static_cast<unsigned>(state.range(0));
  const auto insertions = plan_constraints<T>(points, 1);
  std::size_t changes = 0;
  for (auto _ : state) {
    TemporalNetwork<unsigned, T> network(epsilon);
    TNInterpreter<unsigned> interpreter;
    changes = 0;
    for (const Insertion<T>& insertion : insertions) {
      const T before = network.value(insertion.b);
      network.add_le(interpreter, insertion.a, insertion.b, insertion.bound);
      changes += network.value(insertion.b) > before ? 1 : 0;
    }
    if (!network.consistent()) state.SkipWithError("the plan is inconsistent");
  }
  state.counters["insertions"] = static_cast<double>(insertions.size());
  state.counters["changes"] = static_cast<double>(changes);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(insertions.size()));
}

/// A copy with one more step, as a search makes it for each successor.
template <class T>
void copy_and_insert(benchmark::State& state) {
  const auto points = static_cast<unsigned>(state.range(0));
  TemporalNetwork<unsigned, T> network(epsilon);
  TNInterpreter<unsigned> interpreter;
  for (const Insertion<T>& insertion : plan_constraints<T>(points, 1))
    network.add_le(interpreter, insertion.a, insertion.b, insertion.bound);
  const T last_end = static_cast<T>(-epsilon);
  for (auto _ : state) {
    TemporalNetwork<unsigned, T> copy(network);
    copy.add_le(interpreter, points - 1, points, last_end);
    copy.add_le(interpreter, points, points + 1, last_end);
    benchmark::DoNotOptimize(copy.consistent());
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(insert_plan<double>)->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(insert_plan<rational>)->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(copy_and_insert<double>)->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(copy_and_insert<rational>)->Arg(20)->Arg(200);

}  // namespace
}  // namespace zorvel

BENCHMARK_MAIN();
