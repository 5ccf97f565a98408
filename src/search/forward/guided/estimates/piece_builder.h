#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "search/forward/dense/dense_problem.h"
#include "search/heuristics/relaxation/fact_table.h"
#include "search/heuristics/relaxation/relaxed_task.h"

namespace zorvel::tp::ftp {

class WindowFacts;

/// The events of a ground problem as facts, and the pieces that the relaxations of the guided search are made
/// of.
///
/// Two relaxations are cut from one table. The *events*: one operator for each effect of an action, with all
/// conditions of its chain up to there. A state from which a plan leads on has all its goals reached in it.
/// The *pieces*: one operator for a whole action, or two for an *envelope*, an action that holds something up
/// for others while it is open. A piece takes the action as if nothing else happened meanwhile, which is no
/// safe ground for a dead end, but a better estimate.
class PieceBuilder {
 public:
  static constexpr std::uint32_t no_position = ~std::uint32_t{0};
  /// A condition of an event.
  struct Condition {
    FactId fact;
    /// The position in its chain of the last write before it that makes it true; `no_position` without one.
    std::uint32_t written_at;
  };

  /// `must_stop` is asked now and then; once it answers true, the tables stay incomplete.
  PieceBuilder(const DenseProblem& problem, EvaluationTables& tables, std::function<bool()> must_stop);

  bool is_complete() const { return is_complete_; }
  FactTable& facts() { return facts_; }
  const FactTable& facts() const { return facts_; }

  std::span<const FactId> opening(ActionId action) const {
    return {opening_.data() + opening_offsets_[action], opening_.data() + opening_offsets_[action + 1]};
  }
  std::span<const Condition> conditions(std::uint32_t event) const {
    return {conditions_.data() + events_[event].first_condition,
            conditions_.data() + events_[event].last_condition};
  }
  /// What an event writes, and what it writes whatever the state.
  std::span<const FactId> added(std::uint32_t event) const {
    return {added_.data() + events_[event].first_added, added_.data() + events_[event].last_added};
  }
  std::span<const FactId> certain(std::uint32_t event) const {
    return {added_.data() + events_[event].first_added, added_.data() + events_[event].first_possible};
  }
  std::span<const FactId> possible(std::uint32_t event) const {
    return {added_.data() + events_[event].first_possible, added_.data() + events_[event].last_added};
  }

  /// Those of the actions that can matter for a plan: what they write, some condition of the problem's own
  /// or of another such action asks for, or it is read by a value or duration of one. Only actions for which
  /// `is_reachable` holds are looked at.
  std::vector<char> find_useful(const std::function<bool(ActionId)>& is_reachable) const;
  /// Must be called before `envelope_split`: notes what actions for which `is_wanted` holds ask for.
  void note_askers(const std::function<bool(ActionId)>& is_wanted);
  /// The events of all actions for which `is_wanted` holds, as operators owned by their actions. Operators of
  /// one action are consecutive.
  void add_events(RelaxedTask& task, const std::function<bool(ActionId)>& is_wanted) const;
  /// The pieces of one action; two if `split` is a position in its chain, the second of which starts there.
  void add_pieces(RelaxedTask& task, ActionId action, std::uint32_t split, FactId open_fact,
                  const WindowFacts& windows) const;
  /// The position in the chain of an envelope of the first write that takes back what other actions or the
  /// goals ask for; `no_position` for actions that are none.
  std::uint32_t envelope_split(ActionId action) const;
  /// Whether an effect can end the truth of a fact that an earlier one of its chain brought about.
  bool takes_back(std::uint32_t event, FactId fact) const;

 private:
  struct EventFacts {
    std::uint32_t first_condition = 0, last_condition = 0;
    std::uint32_t first_added = 0, first_possible = 0, last_added = 0;
  };
  bool poll();
  void read_conditions();
  void read_chain(std::uint32_t chain);
  std::uint32_t position_written(const DenseChain& chain, std::uint32_t position, FactId fact) const;
  bool writes_any_of(std::uint32_t event, std::span<const std::uint32_t> slots) const;
  bool is_asked_by_others(FactId fact, ActionId action) const;

  const DenseProblem& problem_;
  std::function<bool()> must_stop_;
  std::uint32_t until_poll_ = 0;
  bool is_complete_ = true;
  FactTable facts_;
  std::vector<std::uint32_t> opening_offsets_{0};  // by action
  std::vector<FactId> opening_;
  std::vector<EventFacts> events_;  // by event
  std::vector<Condition> conditions_;
  std::vector<FactId> added_;
  std::vector<std::uint32_t> asker_;  // by fact: the action that asks for it, or one of the next two
  static constexpr std::uint32_t nobody = ~std::uint32_t{0}, several = nobody - 1;
};

}  // namespace zorvel::tp::ftp
