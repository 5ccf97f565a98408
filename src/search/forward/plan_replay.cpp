#include "search/forward/plan_replay.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>

#include "core/errors.h"
#include "plans/earliest_times.h"
#include "search/forward/event_semantics.h"
#include "state/operations.h"

namespace zorvel::tp::ftp {

namespace {

using Point = EarliestTimes::Point;

// The problem's own chains stand before those of the actions.
constexpr std::size_t start_chain = 0, end_chain = 1;

/// An event that was applied, when, and in which opening of an action, counted from 1; 0 for the problem's.
struct Applied {
  const Event* event;
  Point point;
  std::size_t opening;
};

/// The values along the path, and the conditions in force.
class World {
 public:
  explicit World(const FtpModel& model) : model_(model), state_(model.index().size(), 0) {
    set_initial_values(model, state_);
  }

  const zorvel::SearchState& state() const { return state_; }

  bool holds(Node* condition) const { return check(model_.env(), state_, condition, model_.index()); }

  /// Puts a condition into force that has been tested.
  void put_into_force(const Event* opener) { in_force_.push_back({opener, true}); }

  /// False if the event cannot happen here.
  [[nodiscard]] bool apply(const Event& event) {
    assert(event.is_effect_like() || event.kind == EventKind::CONDITION);
    if (event.is_effect_like()) return verify_new() && apply_writes(model_, state_, event) && recheck(event);
    if (event.is_closer()) {
      const bool has_held = holds(event.body());
      [[maybe_unused]] const std::size_t closed =
          std::erase_if(in_force_, [&](const InForce& one) { return one.opener == event.start_time_point; });
      assert(closed <= 1);  // no action is open twice at one time
      return has_held;
    }
    // What holds only behind its opener may still be made true by what happens at the same time.
    const bool is_new = event.is_opener() && event.is_left_open;
    if (!is_new && !holds(event.body())) return false;
    if (event.is_opener()) in_force_.push_back({&event, !is_new});
    return true;
  }

 private:
  struct InForce {
    const Event* opener;
    bool has_held;  // at the newest state; if not, it has to before the next change
  };

  bool verify_new() {
    for (InForce& one : in_force_) {
      if (!one.has_held && !holds(one.opener->body())) return false;
      one.has_held = true;
    }
    return true;
  }

  /// Whether the conditions that an effect may have changed still hold.
  bool recheck(const Event& effect) const {
    return std::all_of(in_force_.begin(), in_force_.end(), [&](const InForce& one) {
      return !model_.touch(effect, *one.opener) || holds(one.opener->body());
    });
  }

  const FtpModel& model_;
  zorvel::SearchState state_;
  std::vector<InForce> in_force_;
};

/// Puts each event behind those before it.
class OrderOfPath {
 public:
  OrderOfPath(const FtpModel& model, EarliestTimes& times) : model_(model), times_(times) {}

  /// Behind all of them. Times along the path never fall, so that the newest ones stand for the others.
  void put_behind_all(const Applied& next) {
    put_behind_excluded(next);
    if (newest_) require_between(*newest_, next);
    if (newest_effect_ && !next.event->is_effect_like()) require_between(*newest_effect_, next);
    newest_ = next;
    if (!next.event->is_effect_like()) return;
    for (const std::uint64_t key : model_.order_keys(*next.event)) {
      const auto [last, is_first] = last_writers_.try_emplace(key, next);
      if (!is_first) require_between(std::exchange(last->second, next), next);
    }
    put_behind_simulated(next);
    newest_effect_ = next;
  }

  /// Behind those that it touches, where one of the two is an effect.
  void put_behind_touching(const Applied& next) {
    put_behind_excluded(next);
    for (const std::uint64_t key : model_.order_keys(*next.event)) {
      Users& users = users_[key];
      if (users.effect) require_between(*users.effect, next);
      if (!next.event->is_effect_like()) {
        users.conditions.push_back(next);
        continue;
      }
      // why they are forgotten: what comes behind them comes behind this effect too.
      for (const Applied& condition : users.conditions) require_between(condition, next);
      users.conditions.clear();
      users.effect = next;
    }
    put_behind_simulated(next);
  }

 private:
  /// What last touched a slot: an effect, and the conditions since.
  struct Users {
    std::optional<Applied> effect;
    std::vector<Applied> conditions;
  };

  void require_between(const Applied& earlier, const Applied& later) {
    times_.require(earlier.point, later.point,
                   model_.must_be_apart(*earlier.event, *later.event) ? model_.epsilon() : rational(0));
  }

  /// With mutual exclusion, an effect lies apart from the conditions at one instant on what it writes.
  void put_behind_excluded(const Applied& next) {
    for (const std::uint64_t key : model_.written_keys(*next.event)) {
      std::vector<Applied>& readers = instant_readers_[key];
      bool is_alone = true;
      for (const Applied& condition : readers) {
        if (condition.opening == next.opening)
          is_alone = false;
        else
          times_.require(condition.point, next.point, model_.epsilon());
      }
      // What comes behind them on this fluent comes behind the effect, and apart from it.
      if (is_alone) readers.clear();
    }
    for (const std::uint64_t key : model_.instant_keys(*next.event)) instant_readers_[key].push_back(next);
  }

  /// A simulated effect may read every fluent.
  void put_behind_simulated(const Applied& next) {
    if (newest_simulated_) require_between(*newest_simulated_, next);
    if (!next.event->simulated_effect) {
      since_simulated_.push_back(next);
      return;
    }
    for (const Applied& earlier : since_simulated_) require_between(earlier, next);
    since_simulated_.clear();
    newest_simulated_ = next;
  }

  const FtpModel& model_;
  EarliestTimes& times_;
  std::optional<Applied> newest_, newest_effect_, newest_simulated_;
  std::unordered_map<std::uint64_t, Applied> last_writers_;
  std::unordered_map<std::uint64_t, Users> users_;
  std::unordered_map<std::uint64_t, std::vector<Applied>> instant_readers_;
  std::vector<Applied> since_simulated_;
};

/// Runs through a path and collects what its times have to meet.
class Replay {
 public:
  Replay(const FtpModel& model, bool deordering)
      : model_(model),
        deordering_(deordering),
        world_(model),
        order_(model, times_),
        plan_start_(times_.add_point()),
        plan_end_(times_.add_point()) {
    chains_.push_back(begin_chain(model.global_start_events(), plan_start_, plan_end_));
    chains_.push_back(begin_chain(model.global_end_events(), plan_start_, plan_end_));
  }

  void apply(const Event& event) {
    if (event.kind == EventKind::START_ACTION)
      open(model_.actions()[model_.action_id(event.action->name())]);
    else
      apply_first(chain_of(event), event);
  }

  void apply_what_is_left() {
    const auto finish = [&](Chain& chain) {
      while (chain.next < chain.events.size()) apply_first(chain, *chain.events[chain.next]);
    };
    for (std::size_t number = 0; number < chains_.size(); ++number)
      if (number != end_chain) finish(chains_[number]);
    finish(chains_[end_chain]);
  }

  std::shared_ptr<TimeTriggeredPlan> plan() const {
    assert(open_actions_.empty());
    assert(std::ranges::all_of(chains_, [](const Chain& one) { return one.next == one.events.size(); }));
    const auto times = times_.solve();
    if (!times) throw TemporalNetworkIsUnsat();
    auto plan = std::make_shared<TimeTriggeredPlan>(model_.env());
    for (const Step& step : steps_) {
      assert((*times)[plan_start_] <= (*times)[step.start] && (*times)[step.start] <= (*times)[step.end]);
      plan->add_step(std::make_shared<TimeTriggeredStep>((*times)[step.start] - (*times)[plan_start_],
                                                         step.action->action, std::vector<Node*>(),
                                                         (*times)[step.end] - (*times)[step.start]));
    }
    return plan;
  }

 private:
  /// The events that an action, or the problem itself, still owes.
  struct Chain {
    std::vector<const Event*> events;
    std::size_t next = 0;
    Point start, end, newest;
    std::size_t opening;
  };
  struct Step {
    const ActionModel* action;
    Point start, end;
  };

  Chain begin_chain(const std::vector<Event*>& events, Point start, Point end) {
    Chain chain{{}, 0, start, end, start, steps_.size()};
    for (const Event* event : events) {
      if (!is_tested_at_opening(*event)) {
        chain.events.push_back(event);
        continue;
      }
      if (!world_.holds(event->body())) throw TemporalNetworkIsUnsat();
      if (event->is_opener()) world_.put_into_force(event);
    }
    return chain;
  }

  void open(const ActionModel& action) {
    if (action.start->expression != nullptr && !world_.holds(action.start->body()))
      throw TemporalNetworkIsUnsat();
    assert(action.start->kind == EventKind::START_ACTION && action.start->action == action.action);
    const Point start = times_.add_point(), end = times_.add_point();
    times_.require(plan_start_, start, 0);
    put_in_order({action.start, start, steps_.size() + 1});
    limit_duration(action, start, end);
    times_.require(end, plan_end_, rational(1) + model_.epsilon());
    steps_.push_back({&action, start, end});
    Chain chain = begin_chain(action.events, start, end);
    if (chain.events.empty()) return;
    [[maybe_unused]] const bool is_new =
        open_actions_.insert_or_assign(action.action.get(), chains_.size()).second;
    assert(is_new);
    chains_.push_back(std::move(chain));
  }

  void limit_duration(const ActionModel& action, Point start, Point end) {
    const DurationBounds bounds = duration_bounds_in(model_, action, world_.state());
    const rational lower = bounds.lower.strict ? bounds.lower.value + model_.epsilon() : bounds.lower.value;
    times_.require(start, end, lower);
    if (!bounds.has_upper) return;
    const rational upper = bounds.upper.strict ? bounds.upper.value - model_.epsilon() : bounds.upper.value;
    times_.require(end, start, -upper);
  }

  Chain& chain_of(const Event& event) {
    if (!event.action) return chains_[event.anchor.from_start ? start_chain : end_chain];
    const auto open = open_actions_.find(event.action.get());
    if (open == open_actions_.end()) throw TemporalNetworkIsUnsat();
    return chains_[open->second];
  }

  void apply_first(Chain& chain, const Event& event) {
    if (chain.next == chain.events.size() || chain.events[chain.next] != &event || !world_.apply(event))
      throw TemporalNetworkIsUnsat();
    // The points get their numbers along the path, as EarliestTimes likes it.
    assert(!event.action || open_actions_.contains(event.action.get()));
    const Point point = times_.add_point();
    if (event.anchor.from_start)
      times_.fix(chain.start, point, event.anchor.offset);
    else
      times_.fix(point, chain.end, event.anchor.offset);
    // The order within a chain stands whether its events touch or not.
    if (event.action) times_.require(chain.newest, point, 0);
    chain.newest = point;
    // Times measured from the plan's end are measured from behind all that is measured from its start.
    if (&chain == &chains_[start_chain])
      times_.require(point, plan_end_, event.is_effect_like() ? model_.epsilon() : rational(0));
    put_in_order({&event, point, chain.opening});
    if (++chain.next == chain.events.size() && event.action) open_actions_.erase(event.action.get());
  }

  void put_in_order(const Applied& next) {
    if (deordering_)
      order_.put_behind_touching(next);
    else
      order_.put_behind_all(next);
  }

  const FtpModel& model_;
  const bool deordering_;
  World world_;
  EarliestTimes times_;
  OrderOfPath order_;
  const Point plan_start_, plan_end_;
  std::vector<Chain> chains_;  // the problem's two, then one an opening
  std::unordered_map<const model::ActionImpl*, std::size_t> open_actions_;  // the chain of each
  std::vector<Step> steps_;
};

}  // namespace

std::shared_ptr<TimeTriggeredPlan> replay_events(const FtpModel& model,
                                                 const std::vector<const Event*>& events, bool deordering) {
  Replay replay(model, deordering);
  for (const Event* event : events) replay.apply(*event);
  replay.apply_what_is_left();
  return replay.plan();
}

}  // namespace zorvel::tp::ftp
