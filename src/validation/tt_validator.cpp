#include "validation/tt_validator.h"

#include <array>
#include <cassert>
#include <string_view>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/action.h"
#include "transformers/chain.h"
#include "transformers/grounder.h"
#include "transformers/without_metrics.h"
#include "validation/plan_form.h"
#include "validation/replay.h"
#include "validation/timeline.h"

namespace zorvel {

namespace {

constexpr auto chain_of_all = std::to_array<std::string_view>(
    {"flattener", "type-hierarchy-compiler", "increase-decrease-compiler", "forall-compiler",
     "uncertain-ends-compiler", "temporal-uncertainty-compiler"});
constexpr auto chain_of_sets = std::to_array<std::string_view>({"action-grounder", "set-compiler"});

}  // namespace

TTValidator::TTValidator(Environment& env, const model::ProblemPtr& problem)
    : EnvObject(env), problem_(problem), simulated_problem_(problem) {
  apply_transformers();
  compiled_ = std::make_unique<validation::CompiledProblem>(simulated_problem_);
}

TTValidator::~TTValidator() = default;

void TTValidator::apply_transformers() {
  model::TransformerChain chain(model::without_metrics(problem_));
  chain.apply(chain_of_all);
  if (model::uses_sets(*chain.problem())) chain.apply(chain_of_sets);
  simulated_problem_ = chain.problem();
  transformers_ = chain.transformers();
  for (const auto& transformer : transformers_)
    if (auto grounder = std::dynamic_pointer_cast<model::Grounder>(transformer)) grounder_ = grounder;
  if (simulated_problem_->has_continuous_change())
    throw UnsupportedProblemError("Continuous change is not supported!");
  if (simulated_problem_->has_processes()) throw UnsupportedProblemError("Processes are not supported!");
}

std::shared_ptr<TimeTriggeredPlan> TTValidator::map_forward(const std::shared_ptr<TimeTriggeredPlan>& plan) {
  std::shared_ptr<TimeTriggeredPlan> mapped = plan;
  for (const auto& transformer : transformers_) {
    if (transformer == grounder_ && !is_kept_by_grounder(*mapped, *plan)) return nullptr;
    mapped = transformer->map_forward(mapped);
  }
  return mapped;
}

bool TTValidator::is_kept_by_grounder(const TimeTriggeredPlan& mapped, const TimeTriggeredPlan& shown) {
  // The transformers in front map one step to one and keep their order.
  auto shown_steps = shown.steps().begin();
  for (const auto& [start, steps] : mapped.steps()) {
    assert(shown_steps != shown.steps().end() && shown_steps->second.size() == steps.size());
    for (std::size_t i = 0; i < steps.size(); ++i) {
      if (grounder_->is_kept({steps[i]->instance, steps[i]->action, steps[i]->parameters})) continue;
      failing_step_ = shown_steps->second[i].get();
      reason_ = validation::describe_step(*failing_step_) + " can never be taken with these parameters";
      return false;
    }
    ++shown_steps;
  }
  return true;
}

bool TTValidator::check_validity(const std::shared_ptr<TimeTriggeredPlan>& plan) {
  if (!plan) throw InternalError("No plan to validate");
  failing_time_.reset();
  reason_ = validation::find_malformed_step(*problem_, *plan, failing_step_);
  if (!reason_.empty()) {
    ZORVEL_LOG(DEBUG) << reason_;
    return false;
  }
  const std::shared_ptr<TimeTriggeredPlan> simulated = map_forward(plan);
  if (simulated == nullptr) {
    ZORVEL_LOG(DEBUG) << reason_;
    return false;
  }
  const validation::Timeline timeline = compiled_->lay_out(*simulated, *plan);
  validation::Replay replay(*compiled_, timeline, observer_);
  bool is_valid = false;
  try {
    is_valid = replay.run();
  } catch (const InvalidParameterError&) {
    // What a step reads may have no value where a condition rules the step out for good.
    reason_ = validation::find_impossible_step(*problem_, *plan, failing_step_);
    if (reason_.empty()) throw;
    failing_time_ = failing_step_->start;
    return false;
  }
  reason_ = replay.reason();
  assert(is_valid == reason_.empty());
  failing_step_ = replay.failing_step();
  if (!is_valid) failing_time_ = replay.failing_time();
  return is_valid;
}

}  // namespace zorvel
