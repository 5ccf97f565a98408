#include <benchmark/benchmark.h>

#include <sstream>

#include "parsers/anml_parser.h"
#include "parsers/ttp_parser.h"
#include "validation/tt_validator.h"

// Validation of long plans, reading not included. Steps a second, for plans of `steps` steps.

namespace zorvel {
namespace {

/// Trucks on a ring of places, each leg with nested references, arithmetic and a condition over the whole
/// leg.
constexpr const char* trucks_problem = R"(
  type Truck; type Place;
  instance Truck t0, t1, t2, t3, t4, t5, t6, t7;
  instance Place p0, p1, p2, p3;
  fluent Place at(Truck t); fluent boolean open(Place p); fluent integer driven(Truck t);
  constant Place next(Place p);
  next(p0) := p1; next(p1) := p2; next(p2) := p3; next(p3) := p0;
  [start] forall (Place p) { open(p) := true; };
  [start] forall (Truck t) { at(t) := p0; driven(t) := 0; };
  action drive(Truck t, Place from) {
    duration >= 2;
    [start] at(t) == from;
    [start, end] open(next(from));
    [start + 1] driven(t) := driven(t) + 1;
    [end] at(t) := next(from);
  };
  goal [end] forall (Truck t) { driven(t) >= 1; };
)";

std::string trucks_plan(std::int64_t steps) {
  std::ostringstream plan;
  for (std::int64_t leg = 0; leg * 8 < steps; ++leg)
    for (int truck = 0; truck < 8; ++truck)
      plan << leg * 3 << ".0" << truck << ": drive(t" << truck << ", p" << leg % 4 << ") [5/2]\n";
  return plan.str();
}

/// One condition over all the plan for each step: what is open at once grows with the plan.
constexpr const char* holders_problem = R"(
  type Thing; instance Thing a, b, c, d;
  fluent boolean held(Thing x); fluent integer count := 0;
  [start] forall (Thing x) { held(x) := true; };
  action hold(Thing x) { duration >= 0; [start, end] held(x); [end] count := count + 1; };
  goal [end] count >= 1;
)";

std::string holders_plan(std::int64_t steps) {
  std::ostringstream plan;
  for (std::int64_t step = 0; step < steps; ++step)
    plan << step << "/100: hold("
         << "abcd"[step % 4] << ") [" << steps << "]\n";
  return plan.str();
}

void validate(benchmark::State& state, const char* problem_text, std::string (*plan_text)(std::int64_t)) {
  Environment env;
  std::istringstream problem_in(problem_text), plan_in(plan_text(state.range(0)));
  model::ProblemPtr problem = AnmlParser(env).parse(problem_in);
  const auto plan = TTPParser(env, problem).parse(plan_in);
  for (auto _ : state) {
    TTValidator validator(env, problem);
    if (!validator.check_validity(plan)) {
      state.SkipWithError(validator.reason().c_str());
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(plan->size()));
}
void trucks(benchmark::State& state) { validate(state, trucks_problem, trucks_plan); }
void holders(benchmark::State& state) { validate(state, holders_problem, holders_plan); }

BENCHMARK(trucks)->Arg(8)->Arg(800)->Arg(8000);
BENCHMARK(holders)->Arg(8)->Arg(800)->Arg(8000);

}  // namespace
}  // namespace zorvel

BENCHMARK_MAIN();
