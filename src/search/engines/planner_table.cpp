#include "search/engines/planner_table.h"

#include <algorithm>
#include <array>
#include <utility>

#include "core/errors.h"
#include "search/classical/iw_planner.h"
#include "search/classical/tsimple/tsimple_planner.h"
#include "search/forward/ftp_planner.h"
#include "search/forward/guided/guided_planner.h"

namespace zorvel {

namespace {

template <class Engine>
std::unique_ptr<Planner> make(Environment& env, const model::ProblemPtr& problem) {
  return std::make_unique<Engine>(env, problem);
}

constexpr auto table = std::to_array<PlannerRow>({{"auto", false, true, &make<tp::ftp::GuidedPlanner>},
                                                  {"ftp", false, false, &make<tp::ftp::FtpPlanner>},
                                                  {"iw", true, false, &make<iw::IWPlanner>},
                                                  {"tsimple", true, false, &make<tsimple::TSimplePlanner>}});

}  // namespace

std::span<const PlannerRow> planner_table() { return table; }

const PlannerRow* find_planner(std::string_view name) {
  const auto row = std::ranges::find(table, name, &PlannerRow::name);
  return row == table.end() ? nullptr : &*row;
}

std::unique_ptr<Planner> make_with_heuristic(const PlannerRow& row, Environment& env,
                                             const model::ProblemPtr& problem, HCustom::Function heuristic) {
  if (row.name == "auto") return std::make_unique<tp::ftp::GuidedPlanner>(env, problem, std::move(heuristic));
  if (row.name == "ftp") return std::make_unique<tp::ftp::FtpPlanner>(env, problem, std::move(heuristic));
  if (row.name == "tsimple")
    return std::make_unique<tsimple::TSimplePlanner>(env, problem, 0, std::move(heuristic));
  throw InvalidParameterError("The planner '")
      << row.name << "' takes no heuristic of the caller; 'auto', 'ftp' and 'tsimple' do";
}

std::string planner_names() {
  std::string names;
  for (const PlannerRow& row : table) names.append(names.empty() ? "'" : ", '").append(row.name).append("'");
  return names;
}

}  // namespace zorvel
