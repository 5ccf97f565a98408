#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "search/heuristics/heuristic.h"
#include "search/heuristics/relaxation/relaxed_problem.h"

// Which heuristics there are. Planners, the choices of the options, and warnings all take them from the one
// table here, by name.

namespace zorvel {

/// Which searches a heuristic is for.
enum class Engine : std::uint8_t { temporal, classical };

/// Makes the relaxed problem when the first heuristic asks for it; called once at most.
using MakeRelaxed = std::function<std::shared_ptr<const RelaxedProblem>()>;

/// One heuristic.
struct HeuristicRow {
  /// Gives the relaxed problem to a row that needs it.
  using Relaxed = std::function<const std::shared_ptr<const RelaxedProblem>&()>;

  std::string_view name;
  bool is_temporal;
  bool is_classical;
  std::shared_ptr<Heuristic> (*make)(Environment& env, const Relaxed& relaxed);  ///< Null: a blind search.
  /// What a classical search adds to an estimate that is not 0 for each goal that does not hold and each
  /// landmark that was not met: they are pursued before anything else.
  double cost_of_missing = 0;
};

/// All heuristics, in the order in which the lists of a search take turns.
std::span<const HeuristicRow> heuristic_table();
/// Null for a name that the table does not have for this engine.
const HeuristicRow* find_heuristic(std::string_view name, Engine engine);
std::vector<std::string> heuristic_names(Engine engine);

/// The heuristics of one search.
struct HeuristicSet {
  std::vector<std::shared_ptr<Heuristic>> heuristics;  ///< Null: a blind one.
  /// The numbers of the actions that can be reached and can matter, ascending, if a heuristic knows.
  std::optional<std::vector<std::uint32_t>> relevant;
  double cost_of_missing = 0;  ///< Of the last of them.
};

/// Makes the heuristics of these names, which in the end stand in the order of the table. A name that the
/// table does not have is left out with a warning.
HeuristicSet make_heuristics(Environment& env, Engine engine, const std::vector<std::string>& names,
                             const MakeRelaxed& make_relaxed);

}  // namespace zorvel
