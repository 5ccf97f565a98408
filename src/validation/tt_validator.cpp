#include "validation/tt_validator.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "model/action.h"
#include "model/user_type.h"
#include "transformers/flattener.h"
#include "transformers/forall_compiler.h"
#include "transformers/increase_decrease_compiler.h"
#include "validation/plan_form.h"
#include "validation/replay.h"
#include "validation/timeline.h"

namespace zorvel {

namespace {

/// Whether some user type holds anything of its own.
bool has_members(const model::ProblemInstanceImpl& problem) {
  return std::ranges::any_of(problem.user_types(), [](const auto& entry) {
    const model::UserTypeImpl& type = *entry.second;
    return !type.actions().empty() || !type.user_types().empty() || !type.fluents().empty() ||
           !type.constants().empty();
  });
}

bool is_of_sets(const Node* node) {
  switch (node->kind()) {
    case NodeKind::IN:
    case NodeKind::SUBSET:
    case NodeKind::UNION:
    case NodeKind::INTERSECTION:
    case NodeKind::DIFFERENCE:
    case NodeKind::SET_CONSTANT: return true;
    default: return false;
  }
}

/// Whether a set occurs in a type or in an expression of a flat problem.
bool uses_sets(const model::ProblemInstanceImpl& problem) {
  if (problem.has_sets()) return true;
  std::vector<const Node*> open(problem.expressions().begin(), problem.expressions().end());
  for (const auto& [name, action] : problem.actions())
    open.insert(open.end(), action->expressions().begin(), action->expressions().end());
  std::unordered_set<const Node*> seen;
  while (!open.empty()) {
    const Node* const node = open.back();
    open.pop_back();
    if (is_of_sets(node)) return true;
    for (const Node* child : node->operands())
      if (seen.insert(child).second) open.push_back(child);
  }
  return false;
}

}  // namespace

TTValidator::TTValidator(Environment& env, const model::ProblemPtr& problem)
    : EnvObject(env), problem_(problem), simulated_problem_(problem) {
  apply_transformers();
  compiled_ = std::make_unique<validation::CompiledProblem>(simulated_problem_);
}

TTValidator::~TTValidator() = default;

void TTValidator::apply_transformers() {
  if (has_members(*simulated_problem_))
    add_transformer(std::make_shared<model::Flattener>(simulated_problem_));
  if (model::IncreaseDecreaseCompiler::is_needed(*simulated_problem_))
    add_transformer(std::make_shared<model::IncreaseDecreaseCompiler>(simulated_problem_));
  if (simulated_problem_->has_forall())
    add_transformer(std::make_shared<model::ForallCompiler>(simulated_problem_));
  if (simulated_problem_->has_temporal_uncertainty())
    throw InternalError(
        "Intervals of durations that the plan does not choose (duration :in) are not supported!");
  if (uses_sets(*simulated_problem_)) throw InternalError("Sets are not supported!");
  if (simulated_problem_->has_continuous_change()) throw InternalError("Continuous change is not supported!");
  if (simulated_problem_->has_processes()) throw InternalError("Processes are not supported!");
}

void TTValidator::add_transformer(std::shared_ptr<model::BasicTransformer> transformer) {
  transformer->do_computation();
  simulated_problem_ = transformer->new_problem();
  transformers_.push_back(std::move(transformer));
}

bool TTValidator::check_validity(const std::shared_ptr<TimeTriggeredPlan>& plan) {
  if (!plan) throw InternalError("No plan to validate");
  reason_ = validation::find_malformed_step(*problem_, *plan);
  if (!reason_.empty()) {
    ZORVEL_LOG(DEBUG) << reason_;
    return false;
  }
  std::shared_ptr<TimeTriggeredPlan> simulated = plan;
  for (const auto& transformer : transformers_) simulated = transformer->map_forward(simulated);
  const validation::Timeline timeline = compiled_->lay_out(*simulated, *plan);
  validation::Replay replay(*compiled_, timeline);
  const bool is_valid = replay.run();
  reason_ = replay.reason();
  return is_valid;
}

}  // namespace zorvel
