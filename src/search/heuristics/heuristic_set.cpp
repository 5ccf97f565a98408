#include "search/heuristics/heuristic_set.h"

#include <algorithm>
#include <array>
#include <set>

#include "search/heuristics/hadd.h"
#include "search/heuristics/hlandmarks.h"
#include "search/heuristics/hmax.h"
#include "search/heuristics/relevance.h"

namespace zorvel {

namespace {

using Relaxed = HeuristicRow::Relaxed;

template <class T>
std::shared_ptr<Heuristic> make_relaxation(Environment&, const Relaxed& relaxed) {
  return std::make_shared<T>(relaxed());
}

constexpr bool yes = true, no = false;

const auto table = std::to_array<HeuristicRow>({
    // name, temporal, classical, make, cost of what is missing
    {"blind", yes, yes, [](Environment&, const Relaxed&) { return std::shared_ptr<Heuristic>(); }},
    {"hsize", yes, no,
     [](Environment& env, const Relaxed&) -> std::shared_ptr<Heuristic> {
       return std::make_shared<HSize>(env);
     }},
    {"hff", yes, yes, &make_relaxation<HFF>},
    {"hadd", yes, yes, &make_relaxation<HAdd>},
    {"hlandmarks", yes, yes, &make_relaxation<HLandmarks>},
    {"hmax", yes, yes, &make_relaxation<HMax>, 100},
});

bool is_for(const HeuristicRow& row, Engine engine) {
  return engine == Engine::temporal ? row.is_temporal : row.is_classical;
}

}  // namespace

std::span<const HeuristicRow> heuristic_table() { return table; }

const HeuristicRow* find_heuristic(std::string_view name, Engine engine) {
  const auto row = std::ranges::find(table, name, &HeuristicRow::name);
  return row == table.end() || !is_for(*row, engine) ? nullptr : &*row;
}

std::vector<std::string> heuristic_names(Engine engine) {
  std::vector<std::string> names;
  for (const HeuristicRow& row : table)
    if (is_for(row, engine)) names.emplace_back(row.name);
  return names;
}

HeuristicSet make_heuristics(Environment& env, Engine engine, const std::vector<std::string>& names,
                             const MakeRelaxed& make_relaxed) {
  const std::set<std::string_view> requested(names.begin(), names.end());
  for (const std::string_view name : requested) {
    if (find_heuristic(name, engine) != nullptr) continue;
    std::string known;
    for (const std::string& other : heuristic_names(engine)) known += (known.empty() ? "" : ", ") + other;
    env.warning_manager().warn("Unknown heuristic '" + std::string(name) + "' is ignored: known are " +
                               known);
  }
  std::shared_ptr<const RelaxedProblem> problem;
  const Relaxed relaxed = [&]() -> const std::shared_ptr<const RelaxedProblem>& {
    if (!problem) problem = make_relaxed();
    return problem;
  };
  HeuristicSet set;
  for (const HeuristicRow& row : table) {
    if (!is_for(row, engine) || !requested.contains(row.name)) continue;
    set.heuristics.push_back(row.make(env, relaxed));
    set.cost_of_missing = row.cost_of_missing;
    // The pass that shows what can be reached from the initial state comes with the additive costs.
    const auto hadd = std::dynamic_pointer_cast<HAdd>(set.heuristics.back());
    if (!hadd || problem->goal_clauses().empty()) continue;
    StateView initial;
    initial.values = problem->initial().data();
    set.relevant = ActionRelevance(problem).relevant(hadd->reachable(initial));
  }
  return set;
}

}  // namespace zorvel
