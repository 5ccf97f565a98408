#include "cli/option_effects.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "cli/commands.h"

namespace zorvel::cli {

namespace {

using Names = std::vector<std::string_view>;

struct Effect {
  std::string_view option;
  Names commands;       // empty: all
  Names planners = {};  // in `solve`; empty: all
};

const Names& all_commands() {
  static const Names names{"solve", "validate", "report", "check", "transform", "convert-to"};
  return names;
}

/// The options that have an effect anywhere. Those of the option table that are not here are not available.
const std::vector<Effect>& effects() {
  static const std::vector<Effect> table{
      {"version", {}},
      {"function", {}},
      {"logging-level", {}},
      {"quiet", {}},
      {"pddl", {}},
      {"transformer", {"transform"}},
      {"bounding-problem", {"transform"}},
      {"output", {"transform", "convert-to", "report", "check"}},
      {"target", {"convert-to"}},
      {"output-domain", {"convert-to"}},
      {"output-problem", {"convert-to"}},
      {"standard-pddl", {"convert-to"}},
      {"disable-prune-actions", {"solve", "transform"}},
      {"plan", {"validate", "report"}},
      {"plan-format", {"solve", "validate", "report", "check"}},
      {"rows", {"solve", "validate", "report"}},
      {"fluent", {"solve", "validate", "report"}},
      {"plan-epsilon", {"solve", "validate", "report", "check", "transform", "convert-to"}},
      {"output-plan", {"solve"}},
      {"rational-precision", {"solve"}},
      {"time-limit", {"solve"}},
      {"memory-limit", {"solve"}},
      {"verbose", {"solve"}},
      {"explain", {"solve"}, {"auto", "ftp"}},
      {"algorithm", {"solve"}},
      {"anytime", {"solve"}, {"auto"}},
      {"guided-without", {"solve"}, {"auto"}},
      {"time-triggered", {"solve"}, {"iw", "tsimple"}},
      {"weight", {"solve"}, {"ftp", "iw", "tsimple"}},
      {"tsimple-heuristic", {"solve"}, {"iw", "tsimple"}},
      {"tsimple-goals-serialization", {"solve"}, {"iw", "tsimple"}},
      {"iw-disable-tuple-computation-in-initial-states", {"solve"}, {"iw"}},
      {"ftp-heuristic", {"solve"}, {"ftp"}},
      {"weak-equality", {"solve"}, {"ftp"}},
      {"simultaneity", {"solve"}, {"ftp"}},
      {"ftp-deordering", {"solve"}, {"ftp"}},
      {"ftp-deordering-plan", {"solve"}, {"ftp"}},
      {"ftp-diamond", {"solve"}, {"ftp"}}};
  return table;
}

bool has(const Names& names, std::string_view name) { return std::ranges::find(names, name) != names.end(); }

/// "PREFIXa', PREFIXb' or PREFIXc'", where the prefix begins with the quote.
std::string listed(const Names& names, std::string_view prefix) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 == names.size() ? " or " : ", ";
    text.append(prefix).append(names[i]).append("'");
  }
  return text;
}

std::string quoted_option(std::string_view option) { return "'--" + std::string(option) + "'"; }

}  // namespace

std::string choose_algorithm(const Configuration& options) {
  if (options.was_given("algorithm")) return options.get_string_value("algorithm");
  std::string_view chosen = "auto";
  for (const Effect& effect : effects()) {
    if (effect.planners.empty() || !options.was_given(std::string(effect.option))) continue;
    if (has(effect.planners, "auto")) continue;
    if (!has(effect.planners, "ftp"))
      throw InputError("the option " + quoted_option(effect.option) + " needs " +
                       listed(effect.planners, "'-a "));
    chosen = "ftp";
  }
  return std::string(chosen);
}

void check_options(const Configuration& options, const std::string& command, const std::string& algorithm) {
  for (const OptionRow& row : planner_options())
    if (options.was_given(std::string(row.key)) &&
        std::ranges::find(effects(), row.key, &Effect::option) == effects().end())
      throw InputError("the option " + quoted_option(row.key) + " is not available");
  for (const Effect& effect : effects()) {
    if (!options.was_given(std::string(effect.option))) continue;
    const Names& commands = effect.commands.empty() ? all_commands() : effect.commands;
    if (!has(commands, command))
      throw InputError("the option " + quoted_option(effect.option) + " has no effect in '" + command +
                       "'; it has one in " + listed(commands, "'"));
    if (!algorithm.empty() && !effect.planners.empty() && !has(effect.planners, algorithm))
      throw InputError("the option " + quoted_option(effect.option) + " has no effect with '-a " + algorithm +
                       "'; it has one with " + listed(effect.planners, "'-a "));
  }
}

}  // namespace zorvel::cli
