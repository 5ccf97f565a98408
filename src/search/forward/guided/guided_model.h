#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "search/forward/dense/dense_problem.h"

namespace zorvel::tp::ftp {

/// What the moves of the guided search ask of the problem beside the events: decided once, before the search.
class GuidedModel {
 public:
  /// `values` is any state with all slots set. `is_counted` tells by action whether its steps stand in the
  /// caller's plan, so that they count for the makespan.
  GuidedModel(const DenseProblem& problem, const std::uint32_t* values,
              const std::vector<std::uint32_t>& initially_in_force, std::vector<char> is_counted);

  const DenseProblem& problem() const { return problem_; }

  /// A condition that is in force, and the event, still to come, that closes it.
  struct Force {
    std::uint32_t opener, closer;
  };
  /// The conditions that the events before `cursor` opened and those from `cursor` on close. For the plan's
  /// own end chain: those that its own events opened; what the start chain opened comes from `force_across`.
  std::span<const Force> in_force(std::uint32_t chain, std::uint32_t cursor) const;
  /// Conditions that the start chain opens and the end chain closes, which are in force while the cursor of
  /// the start chain is above `opened` and that of the end chain is not above `closed`.
  struct Across {
    Force force;
    std::uint32_t opened;  ///< Position of the opener in the start chain; `initially` for those before it.
    std::uint32_t closed;
  };
  static constexpr std::uint32_t initially = ~std::uint32_t{0};
  const std::vector<Across>& force_across() const { return across_; }

  /// How many events from `cursor` on, at least one, lie at the same distance from the same end.
  std::uint32_t group_size(std::uint32_t chain, std::uint32_t cursor) const;

  /// The slots that an event reads or writes and some effect writes, as numbers of columns from 0. An opening
  /// whose duration reads fluents reads them. A simulated effect touches all.
  std::span<const std::uint32_t> touched(std::uint32_t event) const;
  std::uint32_t touched_count() const { return touched_count_; }

  /// With mutual exclusion, of these numbers those that a condition at one instant names, and those that an
  /// effect writes; else none.
  std::span<const std::uint32_t> instant(std::uint32_t event) const { return instant_[event]; }
  std::span<const std::uint32_t> written(std::uint32_t event) const { return written_[event]; }

  /// Whether the effect writes a constant that makes the condition of the opener false.
  bool breaks(std::uint32_t effect, std::uint32_t opener) const;

  /// Whether what holds at the end of the plan can be met when nothing but the plan's own timed events, from
  /// `cursor` on, is still to come. Only a necessary condition: a cheap one, asked of each state.
  bool may_end_with(const std::uint32_t* values, std::uint32_t cursor) const;

  /// Whether steps of the action count for the makespan.
  bool is_counted(ActionId action) const { return is_counted_[action] != 0; }

  /// Whether some event is measured from the plan's end and lies before it, so that the end is a time point
  /// that constraints reach.
  bool end_matters() const { return end_matters_; }

 private:
  void collect_force(const std::vector<std::uint32_t>& initially_in_force);
  void collect_touched();
  void collect_final_literals();

  const DenseProblem& problem_;
  std::vector<std::vector<std::uint32_t>> force_begin_;  // by chain and cursor; one more for the end
  std::vector<Force> force_;
  std::vector<Across> across_;
  std::vector<std::uint32_t> touched_begin_;  // by event; one more for the end
  std::vector<std::uint32_t> touched_;
  std::uint32_t touched_count_ = 0;
  std::vector<std::vector<std::uint32_t>> instant_, written_;  // by event
  std::vector<std::vector<SlotWrite>> constant_writes_;        // by event
  /// A literal that must hold when all timed events are past, and the last one of these that writes its slot.
  struct FinalLiteral {
    CompiledCondition::Literal literal;
    std::uint32_t written_at;           ///< Position in the start chain; `initially` for none.
    std::optional<ValueId> last_value;  ///< That it writes there; none if the state decides.
  };
  std::vector<FinalLiteral> final_literals_;
  std::vector<char> is_counted_;  // by action
  bool end_matters_ = false;
};

}  // namespace zorvel::tp::ftp
