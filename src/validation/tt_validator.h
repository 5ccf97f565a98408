#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"

namespace zorvel {

namespace model {
class BasicTransformer;
class Grounder;
}  // namespace model
namespace validation {
class CompiledProblem;
}

/// Decides by simulation whether plans are valid for a problem. It does not search.
///
/// The steps of a plan and the timed statements of the problem become events on one line of time, which are
/// replayed on the values of the fluents. Time is exact, and rounded to five decimals in each event. An
/// effect is seen from behind its instant on, so a condition at that instant reads the old value. Equalities
/// and bounds on a duration may be missed by less than 1e-5, since plans come from rounded texts; nothing
/// else has slack. Goals, at the end of the problem, stand one unit behind the last event.
///
/// Beside what is stated, a plan needs: known actions with parameters of their types, no negative times, no
/// two effects on one fluent at one time, and values within the bounds of their fluents.
class TTValidator : public EnvObject {
 public:
  /// Hears of each change of a value along a plan: when, of which ground fluent of the simulated problem, the
  /// old value, null if there was none, and the new one.
  using Observer = std::function<void(const rational& time, Node* fluent, Node* before, Node* after)>;

  /// Takes `problem` to the form that is simulated. A problem with time that passes continuously or processes
  /// raises UnsupportedProblemError, as does whatever its transformers refuse. Where the world chooses a
  /// duration, the plan has to give the longest one, and is valid if it works for all.
  TTValidator(Environment& env, const model::ProblemPtr& problem);
  ~TTValidator() override;
  TTValidator(const TTValidator&) = delete;

  /// Whether `plan` is valid; may be asked for any number of plans. A plan that is not gives false, never an
  /// error. An expression without a value in any state raises InvalidParameterError "Unable to simplify to a
  /// constant! ", a fluent that is read before it was given a value InvalidParameterError "Missing value for
  /// fluent: ", a plan with actions of another problem InternalError "Found an action that is unknown to the
  /// validator: " and the name; null InternalError "No plan to validate".
  bool check_validity(const std::shared_ptr<TimeTriggeredPlan>& plan);

  /// Whoever hears of the changes along the plans that are checked from now on; empty for nobody.
  void set_observer(Observer observer) { observer_ = std::move(observer); }

  /// Why the last plan is invalid: what fails, when, and in which step or statement. Empty if it is valid.
  /// The first half also goes to the log at level DEBUG.
  const std::string& reason() const { return reason_; }
  /// The step of the last plan at fault; null if the plan is valid, or a statement of the problem fails.
  /// Valid as long as the plan.
  const TimeTriggeredStep* failing_step() const { return failing_step_; }
  /// When it fails; none if the plan is valid, or was refused before it was simulated.
  const std::optional<rational>& failing_time() const { return failing_time_; }

 private:
  void apply_transformers();
  /// Takes the plan to the form that is simulated; null, with the reason set, if a step can never be taken.
  std::shared_ptr<TimeTriggeredPlan> map_forward(const std::shared_ptr<TimeTriggeredPlan>& plan);
  /// False, with the reason set, if the grounder left out the action of a step. Messages show `shown`, the
  /// plan before the transformers.
  bool is_kept_by_grounder(const TimeTriggeredPlan& mapped, const TimeTriggeredPlan& shown);

  model::ProblemPtr problem_;            // as given
  model::ProblemPtr simulated_problem_;  // behind the transformers
  std::vector<std::shared_ptr<model::BasicTransformer>> transformers_;
  std::shared_ptr<model::Grounder> grounder_;  // one of them; null unless sets need it
  std::unique_ptr<validation::CompiledProblem> compiled_;
  Observer observer_;
  std::string reason_;
  const TimeTriggeredStep* failing_step_ = nullptr;
  std::optional<rational> failing_time_;
};

}  // namespace zorvel
