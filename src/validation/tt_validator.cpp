#include "validation/tt_validator.h"

#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "model/action.h"
#include "transformers/features.h"
#include "transformers/flattener.h"
#include "transformers/forall_compiler.h"
#include "transformers/grounder.h"
#include "transformers/increase_decrease_compiler.h"
#include "transformers/set_compiler.h"
#include "transformers/temporal_uncertainty_compiler.h"
#include "validation/plan_form.h"
#include "validation/replay.h"
#include "validation/timeline.h"

namespace zorvel {

TTValidator::TTValidator(Environment& env, const model::ProblemPtr& problem)
    : EnvObject(env), problem_(problem), simulated_problem_(problem) {
  apply_transformers();
  compiled_ = std::make_unique<validation::CompiledProblem>(simulated_problem_);
}

TTValidator::~TTValidator() = default;

void TTValidator::apply_transformers() {
  if (model::has_members(*simulated_problem_))
    add_transformer(std::make_shared<model::Flattener>(simulated_problem_));
  if (model::IncreaseDecreaseCompiler::is_needed(*simulated_problem_))
    add_transformer(std::make_shared<model::IncreaseDecreaseCompiler>(simulated_problem_));
  if (simulated_problem_->has_forall())
    add_transformer(std::make_shared<model::ForallCompiler>(simulated_problem_));
  if (simulated_problem_->has_temporal_uncertainty())
    add_transformer(std::make_shared<model::TemporalUncertaintyCompiler>(simulated_problem_));
  if (model::uses_sets(*simulated_problem_)) {
    if (!simulated_problem_->is_ground(true))
      add_transformer(grounder_ = std::make_shared<model::Grounder>(simulated_problem_, false, true));
    add_transformer(std::make_shared<model::SetCompiler>(simulated_problem_));
  }
  if (simulated_problem_->has_continuous_change()) throw InternalError("Continuous change is not supported!");
  if (simulated_problem_->has_processes()) throw InternalError("Processes are not supported!");
}

void TTValidator::add_transformer(std::shared_ptr<model::BasicTransformer> transformer) {
  transformer->do_computation();
  simulated_problem_ = transformer->new_problem();
  transformers_.push_back(std::move(transformer));
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
    for (std::size_t i = 0; i < steps.size(); ++i) {
      if (grounder_->is_kept({steps[i]->instance, steps[i]->action, steps[i]->parameters})) continue;
      reason_ =
          validation::describe_step(*shown_steps->second[i]) + " can never be taken with these parameters";
      return false;
    }
    ++shown_steps;
  }
  return true;
}

bool TTValidator::check_validity(const std::shared_ptr<TimeTriggeredPlan>& plan) {
  if (!plan) throw InternalError("No plan to validate");
  reason_ = validation::find_malformed_step(*problem_, *plan);
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
  validation::Replay replay(*compiled_, timeline);
  const bool is_valid = replay.run();
  reason_ = replay.reason();
  return is_valid;
}

}  // namespace zorvel
