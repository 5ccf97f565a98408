#pragma once

#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/node.h"
#include "model/action.h"
#include "model/instance.h"
#include "model/problem_instance.h"

namespace zorvel {
class Plan;
class TimeTriggeredPlan;
}  // namespace zorvel

// A transformer takes one modelling feature out of a problem and keeps what it takes to translate plans back
// and forth. Planners chain them: each works on the result of the one before, and a plan is mapped back
// through the chain in reverse order.
//
// The order of calls: construct, `do_computation()` once, read `new_problem()`, keep the transformer, and map
// steps or plans as often as wanted.

namespace zorvel::model {

/// One occurrence of an action, without its times.
struct ActionStep {
  std::shared_ptr<InstanceImpl> instance;  ///< The object that a class action runs on; null at top level.
  std::shared_ptr<ActionImpl> action;
  std::vector<Node*> parameters;  ///< One value or instance reference for each parameter of the action.
};

/// From an action to the one that stands for it in another problem. For look-ups only: its order is that of
/// addresses.
using ActionTable = std::unordered_map<std::shared_ptr<ActionImpl>, std::shared_ptr<ActionImpl>>;

/// The contract of all transformers. The input problem is never changed.
class BasicTransformer {
 public:
  explicit BasicTransformer(ProblemPtr input) : problem_(std::move(input)) {}
  virtual ~BasicTransformer() = default;
  BasicTransformer(const BasicTransformer&) = delete;
  BasicTransformer& operator=(const BasicTransformer&) = delete;

  /// A plan of the new problem as a plan of the input: times, durations and precedences are kept, each step
  /// goes through the step form. InternalError "Unknown plan kind to be converted by ..." for anything but a
  /// time-triggered or partial-order plan (null included), and the transformer's own text for a step of an
  /// unknown action.
  virtual std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const = 0;
  /// One step of the new problem as one step of the input.
  virtual ActionStep map_back(const ActionStep& step) const = 0;
  /// One step of the input as steps of the new problem: the alternatives, where there are several.
  virtual std::vector<ActionStep> map_forward(const ActionStep& step) const = 0;
  /// A plan of the input as a plan of the new problem.
  virtual std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const = 0;
  /// Builds `new_problem()` and the tables of the mapping. To be called once, before any other operation.
  virtual void do_computation() = 0;

  /// Whether the input may have a plan where the new problem has none.
  virtual bool may_lose_plans() const { return false; }
  /// Whether `map_back` leaves out steps of some actions.
  virtual bool drops_steps() const { return false; }

  const ProblemPtr& problem() const { return problem_; }          ///< The input.
  const ProblemPtr& new_problem() const { return new_problem_; }  ///< Null before `do_computation`.

 protected:
  Environment& env() const { return problem_->env(); }
  ExpressionFactory& factory() const { return env().expression_factory(); }

  /// InternalError with the text if a user type of the input, nested or not, has fluents, constants or
  /// actions.
  void require_flat(std::string_view message) const;
  /// The text of most transformers for an action that they did not make.
  static constexpr std::string_view unknown_to_transformer =
      "Found an action that is unknown to the transformer!";
  /// The image of the action; InternalError with the text if it has none.
  static const std::shared_ptr<ActionImpl>& find_action(const ActionTable& table,
                                                        const std::shared_ptr<ActionImpl>& action,
                                                        std::string_view message);

  ProblemPtr problem_;
  ProblemPtr new_problem_;
};

}  // namespace zorvel::model
