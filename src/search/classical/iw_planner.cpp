#include "search/classical/iw_planner.h"

#include <array>
#include <cassert>
#include <limits>
#include <string_view>

#include "core/log.h"
#include "model/fluent.h"
#include "search/classical/tsimple/tsimple_planner.h"

namespace zorvel::iw {

namespace {

constexpr auto chain_to_fluents = std::to_array<std::string_view>(
    {"flattener", "type-hierarchy-compiler", "increase-decrease-compiler", "forall-compiler"});
// The rest is left to the planner of each width, which runs a chain of its own.
constexpr auto chain_to_ground = std::to_array<std::string_view>(
    {"constant-promoter", "temporal-uncertainty-compiler", "action-grounder", "initial-values-compiler"});

/// At most the greatest number there is: there may be far more of them than a search ever meets.
std::size_t number_of_ground_fluents(const model::ProblemInstanceImpl& problem) {
  constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
  std::size_t sum = 0;
  for (const auto& [name, fluent] : problem.fluents()) {
    std::size_t product = 1;
    for (const auto& parameter : fluent->parameters()) {
      const std::size_t size = model::domain_size(problem.instances(), parameter->type());
      product = size != 0 && product > most / size ? most : product * size;
    }
    sum = product > most - sum ? most : sum + product;
  }
  return sum;
}

}  // namespace

IWPlanner::IWPlanner(Environment& env, model::ProblemPtr problem) : Planner(env, std::move(problem)) {
  apply_chain(chain_to_fluents);
  fluents_ = this->problem();
  model::ChainOptions options;
  options.steps_are_atomic = true;
  apply_chain(chain_to_ground, options);
  require_discrete_change();
}

const std::string& IWPlanner::name() const {
  static const std::string name = "IW";
  return name;
}

std::shared_ptr<Plan> IWPlanner::solve_under(SearchGuard& guard) {
  width_ = 0;
  statistics_ = {};
  const std::shared_ptr<Plan> plan = search(guard);
  return plan ? map_back(plan) : nullptr;
}

std::shared_ptr<Plan> IWPlanner::search(SearchGuard& guard) {
  outcome_ = SearchOutcome::incomplete;
  const std::size_t widest = number_of_ground_fluents(*fluents_);
  while (outcome_ == SearchOutcome::incomplete && width_ < widest) {
    // Narrow searches of a large problem are mostly set-up.
    if (guard.must_stop_now()) {
      outcome_ = guard.outcome();
      break;
    }
    ++width_;
    assert(width_ <= widest);
    ZORVEL_LOG(INFO) << "Start IW(" << width_ << ")";
    tsimple::TSimplePlanner planner(env(), problem(), width_);
    const std::shared_ptr<Plan> plan = planner.solve_under(guard);
    outcome_ = planner.outcome();
    statistics_ += planner.statistics();
    if (plan) return plan;
  }
  return nullptr;
}

}  // namespace zorvel::iw
