#include "cli/algorithm_choice.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "cli/commands.h"

namespace zorvel::cli {

namespace {

/// Options that only some planners read, and the planner that is taken if one of them is given without a
/// name. An empty name: it has to be given, since there are several.
struct Family {
  std::string_view algorithm;
  std::string_view planners;  // as a message names them
  std::vector<std::string_view> options;
};

const std::vector<Family>& families() {
  static const std::vector<Family> table{
      {"",
       "'-a tsimple' or '-a iw'",
       {"tsimple-heuristic", "tsimple-goals-serialization",
        "iw-disable-tuple-computation-in-initial-states"}},
      {"rlftp",
       "'-a rlftp'",
       {"rlftp-model", "rlftp-gamma", "rlftp-max-plan-size", "rlftp-disable-use-fluents-as-input",
        "rlftp-disable-use-actions-as-input", "rlftp-use-is-applicable-as-input",
        "rlftp-use-was-applied-as-input", "rlftp-use-will-be-applicable-as-input",
        "rlftp-disable-use-constants-as-input", "rlftp-disable-use-goals-as-input",
        "rlftp-disable-use-tn-as-input", "rlftp-use-heuristic-as-input", "rlftp-use-makespan-as-input"}},
      {"smt", "'-a smt'", {"smt-max-horizon", "smt-optimal", "smt-optimization-rounds"}},
      {"ftp",
       "'-a ftp'",
       {"ftp-heuristic", "weight", "weak-equality", "simultaneity", "ftp-deordering", "ftp-deordering-plan",
        "ftp-diamond"}}};
  return table;
}

}  // namespace

std::string choose_algorithm(const Configuration& options) {
  const bool is_named = options.was_given("algorithm");
  const std::string& named = options.get_string_value("algorithm");
  if (is_named && named != "auto") return named;
  for (const Family& family : families())
    for (const std::string_view option : family.options) {
      if (!options.was_given(std::string(option))) continue;
      if (is_named || family.algorithm.empty())
        throw InputError("the option '--" + std::string(option) + "' needs " + std::string(family.planners));
      return std::string(family.algorithm);
    }
  return "auto";
}

}  // namespace zorvel::cli
