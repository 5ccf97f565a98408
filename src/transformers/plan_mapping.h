#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "core/numbers.h"
#include "transformers/basic_transformer.h"

// The common part of all mappings of plans: what differs from transformer to transformer is what becomes of
// one step.

namespace zorvel::model {

/// A step of a plan with what a transformer may read of it.
struct PlannedStep {
  ActionStep step;
  std::optional<rational> duration;
  Node* post_condition;                ///< Null if there is none.
  std::optional<rational> start = {};  ///< None in a partial order.
};

/// The image of a step. It ends when the original ends, and begins when that begins or, below 0, after it;
/// with a duration of its own it begins with the original.
struct MappedStep {
  ActionStep step;
  Node* post_condition;
  rational earlier{0};  ///< By how much it begins before the original; for time-triggered plans alone.
  std::optional<rational> duration = {};
};

/// The plan with every step replaced by its image; a step without one is dropped, and precedences are kept
/// among the steps that remain, those through a dropped step too. Steps keep their order and their ids'
/// order. InternalError "Unknown plan kind to be converted by " and `kind_ending` for any kind of plan but
/// the two known ones.
std::shared_ptr<Plan> map_plan(const std::shared_ptr<Plan>& plan, std::string_view kind_ending,
                               const std::function<std::optional<MappedStep>(const PlannedStep&)>& image);

/// A time-triggered plan with every step replaced by all of its images, in order.
std::shared_ptr<TimeTriggeredPlan> map_time_triggered(
    const std::shared_ptr<TimeTriggeredPlan>& plan,
    const std::function<std::vector<MappedStep>(const PlannedStep&)>& images);

}  // namespace zorvel::model
