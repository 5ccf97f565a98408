// Sets up the estimates of the guided search, stage by stage, and evaluates states met on random walks.
//
//   estimates_bench EVALUATIONS FILE...
//
// Times are processor times. For instruction counts of the evaluations, run it under
// `valgrind --tool=callgrind --toggle-collect='*GuidedEstimates::evaluate*'`.

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "core/environment.h"
#include "parsers/anml_parser.h"
#include "search/forward/dense/dense_successors.h"
#include "search/forward/ftp_planner.h"
#include "search/forward/guided/estimates/guided_estimates.h"

namespace {

using namespace zorvel;
using namespace zorvel::tp::ftp;

double processor_seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

double peak_mebibytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

/// Prints the time since the last call, whole and by action.
class Stages {
 public:
  void end(const char* name, std::size_t actions) {
    const double now = processor_seconds();
    std::printf("  %-24s %8.1f ms", name, (now - last_) * 1e3);
    if (actions > 0) std::printf("  %7.2f us an action", (now - last_) * 1e6 / static_cast<double>(actions));
    std::printf("  peak %6.1f MiB\n", peak_mebibytes());
    last_ = processor_seconds();
  }

 private:
  double last_ = processor_seconds();
};

struct Snapshot {
  std::vector<ValueId> values;
  std::vector<OpenChain> open;
};

/// States on random walks: whole actions one after the other.
std::vector<Snapshot> walk(const DenseProblem& problem, const std::vector<ValueId>& initial,
                           const GuidedEstimates& estimates, std::size_t count) {
  std::mt19937 random(1);
  std::vector<Snapshot> met;
  std::vector<OpenChain> own;
  for (std::uint32_t chain = 0; chain < DenseProblem::first_action_chain; ++chain)
    if (!problem.chain(chain).events.empty()) own.push_back({chain, 0});
  std::vector<ValueId> values = initial;
  std::vector<SlotWrite> writes;
  while (met.size() < count) {
    met.push_back({values, own});
    if (met.size() % 50 == 0) values = initial;
    for (int attempt = 0; attempt < 2000; ++attempt) {
      const auto action = static_cast<ActionId>(random() % problem.action_count());
      if (!estimates.is_relevant(action) || !problem.action(action).opening.holds(values.data())) continue;
      std::vector<ValueId> next = values;
      bool is_possible = true;
      for (const std::uint32_t event : problem.chain(DenseProblem::first_action_chain + action).events) {
        if (!is_possible || !problem.event(event).is_effect_like) continue;
        writes.clear();
        is_possible = problem.event(event).effect.compute(next.data(), writes);
        write_slots(writes, next.data());
      }
      if (!is_possible) continue;
      values = next;
      break;
    }
  }
  return met;
}

void run(std::size_t evaluations, const std::string& file) {
  const std::filesystem::path path(file);
  std::printf("%s\n", (path.parent_path().filename() / path.stem()).c_str());
  Environment env;
  Stages stages;
  AnmlParser parser(env);
  const auto parsed = parser.parse_file(file);
  stages.end("reading", 0);
  FtpPlanner planner(env, parsed);
  const FtpModel& model = planner.model();
  stages.end("transformers and model", model.actions().size());
  const auto tables = std::make_shared<EvaluationTables>(env, model.index());
  const DenseProblem problem(model, tables);
  stages.end("dense problem", model.actions().size());
  std::vector<ValueId> initial(model.references().size(), unset_value);
  for (const auto& [slot, value] : model.initial_values()) initial[slot] = tables->values.id_of(value);
  GuidedEstimates estimates(problem, initial.data());
  stages.end("estimates", model.actions().size());

  std::size_t relevant = 0, envelopes = 0;
  for (ActionId action = 0; action < model.actions().size(); ++action) {
    relevant += estimates.is_relevant(action) ? 1 : 0;
    envelopes += estimates.is_envelope(action) ? 1 : 0;
  }
  const auto states = walk(problem, initial, estimates, evaluations);
  double sums[3] = {};
  std::size_t dead = 0, preferred = 0;
  std::uint32_t note = 0;
  const double before = processor_seconds();
  for (std::size_t i = 0; i < states.size(); ++i) {
    StateView view;
    view.values = states[i].values.data();
    view.open = states[i].open;
    view.parent_note = i % 50 == 0 ? 0 : note;
    view.note = &note;
    const auto estimate = estimates.evaluate(view);
    dead += estimate.is_dead_end ? 1 : 0;
    preferred += estimates.preferred().size();
    for (std::size_t number = 0; number < GuidedEstimates::count; ++number)
      sums[number] += estimate.values[number];
    if (i == 0)
      std::printf("  initial: %s hff %.0f  landmarks %.0f  hadd %.0f\n",
                  estimates.is_unsolvable() ? "unsolvable" : "", estimate.values[0], estimate.values[1],
                  estimate.values[2]);
  }
  const double seconds = processor_seconds() - before;
  const auto number = static_cast<double>(states.size());
  std::printf(
      "  %zu fluents  %zu actions  %zu relevant  %zu envelopes  %.1f MiB  %6.1f us an evaluation  "
      "means %.1f %.1f %.1f  dead ends %zu  preferred %.1f\n",
      model.references().size(), model.actions().size(), relevant, envelopes,
      static_cast<double>(estimates.bytes()) / 1048576, seconds * 1e6 / number, sums[0] / number,
      sums[1] / number, sums[2] / number, dead, static_cast<double>(preferred) / number);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: estimates_bench EVALUATIONS FILE...\n");
    return 2;
  }
  for (int i = 2; i < argc; ++i) {
    try {
      run(std::strtoul(argv[1], nullptr, 10), argv[i]);
    } catch (const std::exception& error) {
      std::printf("%s: %s\n", argv[i], error.what());
    }
  }
  return 0;
}
