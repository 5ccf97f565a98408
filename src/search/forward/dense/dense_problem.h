#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "search/forward/dense/dense_state.h"
#include "search/forward/ftp_model.h"
#include "search/frame/evaluation_tables.h"
#include "search/frame/state_view.h"
#include "state/compiled_condition.h"
#include "state/compiled_effect.h"
#include "state/compiled_expression.h"

namespace zorvel::model {
class ExpressionSimplifier;
}

namespace zorvel::tp::ftp {

/// An event with everything that a move asks for, in plain numbers.
struct DenseEvent {
  const Event* event = nullptr;
  std::uint32_t chain = 0;
  bool is_effect_like = false;
  bool is_opener = false;
  bool excludes = false;                ///< With mutual exclusion: a condition at one instant.
  bool is_left_open = false;            ///< Of an opener: the condition need not hold at its opening.
  std::optional<std::uint32_t> opener;  ///< Of a closer: the event that it closes.
  bool from_start = true;
  double shift = 0;  ///< Its time less that of its anchor: at most 0 if it is measured from an end.
  std::uint64_t touch_mask = 0;  ///< Disjoint masks: nothing in common. Otherwise ask the model.
  CompiledCondition condition;   ///< Of a condition: its body.
  CompiledEffect effect;         ///< Of an effect: what it writes.
};

/// A chain of events, in order, with what the reduced constraints of a move need: see DenseSuccessors.
struct DenseChain {
  std::vector<std::uint32_t> events;
  /// By cursor: position of the pending event, measured from the start (end), that is the first to be
  /// violated when all pending events must lie behind a time; `none` without such an event.
  std::vector<std::uint32_t> tightest_from_start, tightest_from_end;
  static constexpr std::uint32_t none = ~std::uint32_t{0};
};

/// A ground action's opening.
struct DenseAction {
  CompiledCondition opening;                  ///< What must hold when it is opened.
  std::vector<std::uint32_t> direct_openers;  ///< Conditions that are in force from the opening on.
  /// Limits of the duration that depend on the state: `duration <kind> value`.
  std::vector<std::pair<NodeKind, CompiledExpression>> open_limits;
  DurationBounds bounds;  ///< All other limits.
  double lower = 0;       ///< `bounds` in doubles; an excluded bound is moved inwards by epsilon.
  std::optional<double> upper;
};

/// A ground problem in the form of the search's inner loop: numbered events, chains, actions and values, with
/// all conditions and effects compiled. Immutable but for the value table, which grows with the values met.
class DenseProblem {
 public:
  static constexpr std::uint32_t start_chain = 0, end_chain = 1,
                                 first_action_chain = zorvel::first_action_chain;

  DenseProblem(const FtpModel& model, std::shared_ptr<EvaluationTables> tables);
  DenseProblem(const DenseProblem&) = delete;
  DenseProblem& operator=(const DenseProblem&) = delete;

  const FtpModel& model() const { return model_; }
  EvaluationTables& tables() const { return *tables_; }
  ValueTable& values() const { return tables_->values; }
  std::size_t slots() const { return model_.references().size(); }
  const DenseEvent& event(std::uint32_t index) const { return events_[index]; }
  const DenseChain& chain(std::uint32_t index) const { return chains_[index]; }
  bool touch(const DenseEvent& a, const DenseEvent& b) const {
    return (a.touch_mask & b.touch_mask) != 0 && model_.touch(*a.event, *b.event);
  }
  /// As FtpModel::must_be_apart, for an effect.
  bool must_be_apart(const DenseEvent& effect, const DenseEvent& pending) const {
    return pending.is_effect_like ? touch(effect, pending) : !(pending.is_opener && pending.is_left_open);
  }
  /// With mutual exclusion, whether a condition that is applied and a pending effect, which may be one of its
  /// own action, must be apart.
  bool exclude(const DenseEvent& condition, const DenseEvent& pending) const {
    return condition.excludes && pending.is_effect_like && (condition.touch_mask & pending.touch_mask) != 0 &&
           condition.event->action != pending.event->action &&
           model_.exclude(*condition.event, *pending.event);
  }
  const DenseAction& action(ActionId id) const { return actions_[id]; }
  std::size_t action_count() const { return actions_.size(); }
  std::uint32_t longest_chain() const { return longest_chain_; }
  /// Lower and upper bound of a duration that depends on the state; none if a limit has no value there.
  std::optional<std::pair<double, std::optional<double>>> duration_bounds(ActionId id,
                                                                          const std::uint32_t* values) const;
  double epsilon() const { return epsilon_; }
  double precision() const { return precision_; }
  double end_distance() const { return end_distance_; }  ///< From an action's end to the plan's, at least.

 private:
  void add_chain(const std::vector<Event*>& events, DenseAction* action);
  void compile_event(const Event& event, const model::ExpressionSimplifier& simplifier);
  void compile_durations(const ActionModel& source, const model::ExpressionSimplifier& simplifier,
                         DenseAction& action);

  const FtpModel& model_;
  std::shared_ptr<EvaluationTables> tables_;
  std::vector<DenseEvent> events_;  // by FtpModel's event index
  std::vector<DenseChain> chains_;
  std::vector<DenseAction> actions_;
  std::uint32_t longest_chain_ = 0;
  double epsilon_, precision_, end_distance_;
};

}  // namespace zorvel::tp::ftp
