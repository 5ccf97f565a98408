#include "search/forward/dense/dense_successors.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "state/slot_differences.h"

namespace zorvel::tp::ftp {

namespace {

// Fewer values are copied sooner than compared.
constexpr std::size_t fewest_shared_slots = 512;
constexpr std::size_t slots_a_change = 32;  // a state with more changes than slots / this is kept whole

std::size_t path_bytes(std::size_t edges) { return sizeof(PathCell) + edges * sizeof(EdgeCell); }

std::size_t largest_block(const DenseProblem& problem) {
  // A deep state can be larger than this guess; the pool's chunks have room for four blocks of it.
  const std::size_t points = 64 * (problem.longest_chain() + 2) + 4096;
  return sizeof(DenseState) + problem.slots() * sizeof(std::uint32_t) + points * 64;
}

}  // namespace

DenseSuccessors::DenseSuccessors(const DenseProblem& problem)
    : problem_(problem),
      layout_{problem.slots()},
      pool_(largest_block(problem)),
      network_(pool_, problem.epsilon(), problem.precision()),
      has_exclusion_(problem.model().problem()->rules().has_mutual_exclusion) {
  const auto& events = problem_.chain(DenseProblem::start_chain).events;
  for (std::uint32_t at = 0; at < events.size(); ++at)
    if (problem_.event(events[at]).is_effect_like)
      timed_effects_.push_back({problem_.event(events[at]).shift, at, events[at]});
  assert(std::is_sorted(timed_effects_.begin(), timed_effects_.end(),
                        [](const TimedEffect& a, const TimedEffect& b) { return a.shift < b.shift; }));
}

DenseSuccessors::~DenseSuccessors() = default;

StateView DenseSuccessors::built() {
  open_.clear();
  for (const Todo& todo : todo_) open_.push_back({todo.chain, todo.cursor});
  return {built_values_, open_, state_.depth, state_.note, &state_.note};
}

bool DenseSuccessors::build_initial(const PlainState<double>& plain) {
  state_ = {};
  state_.base = state_.next_point = first_action_point;
  state_.newest_effect = no_event;
  state_.changes = whole;
  values_.clear();
  for (Node* node : plain.assignments()) values_.push_back(problem_.values().id_of(node));
  assert(values_.size() == layout_.slots);
  built_values_ = values_.data();
  todo_.clear();
  active_.clear();
  for (const Event* opener : plain.active_conditions) active_.push_back(opener->index);

  const double times[first_action_point] = {};
  const BlockPool::Ref heads[first_action_point] = {};
  network_.load(times, heads, state_.base, state_.next_point);
  bool consistent = true;
  for (const std::uint32_t chain : {DenseProblem::start_chain, DenseProblem::end_chain}) {
    const auto& events = problem_.chain(chain).events;
    if (events.empty()) continue;
    todo_.push_back({chain, plan_start_point, 0, 0});
    for (const std::uint32_t event : events)  // none of them lies before time 0
      if (!problem_.event(event).from_start)
        consistent &= network_.add_earliest(plan_end_point, -problem_.event(event).shift);
  }
  cell_ = {};
  cell_.event = no_event;
  completes_ = false;
  return consistent;
}

void DenseSuccessors::load(const DenseState* parent) {
  state_ = *parent;
  state_.depth = parent->depth + 1;
  built_values_ = values(parent);
  const auto todo = layout_.todo(parent);
  todo_.assign(todo.begin(), todo.end());
  assert(parent->base <= parent->next_point);
  assert(std::ranges::all_of(
      todo_, [&](const Todo& todo) { return todo.cursor < problem_.chain(todo.chain).events.size(); }));
  const auto active = layout_.active(parent);
  active_.assign(active.begin(), active.end());
  completes_ = false;
}

bool DenseSuccessors::put_behind_path(const DenseState* parent, std::uint32_t start) {
  // Without timed events of its own the plan's start stays at 0 for ever and needs no constraint.
  if (!problem_.chain(DenseProblem::start_chain).events.empty() &&
      !network_.add_before(plan_start_point, start, 0.0))
    return false;
  const PathCell& newest = *pool_.at<PathCell>(parent->path);
  assert(newest.depth == parent->depth);
  if (newest.event == no_event) return true;
  const DenseEvent& event = problem_.event(newest.event);
  const double distance = event.is_effect_like ? network_.epsilon() : 0.0;
  if (network_.is_frozen(newest.anchor) ? !network_.add_earliest(start, parent->frozen_newest + distance)
                                        : !network_.add_before(newest.anchor, start, event.shift + distance))
    return false;
  if (event.is_effect_like || parent->newest_effect == no_event) return true;
  return network_.is_frozen(parent->effect_point)
             ? network_.add_earliest(start, parent->frozen_effect + network_.epsilon())
             : network_.add_before(parent->effect_point, start,
                                   problem_.event(parent->newest_effect).shift + network_.epsilon());
}

bool DenseSuccessors::put_before_pending(std::uint32_t anchor, const DenseEvent& event) {
  for (const Todo& todo : todo_) {
    const DenseChain& chain = problem_.chain(todo.chain);
    // By end of the chain's action: the distance that its start (end) must have from `anchor`.
    constexpr double nothing = -std::numeric_limits<double>::infinity();
    double from_start = nothing, from_end = nothing;
    if (event.is_effect_like) {
      for (std::uint32_t at = todo.cursor; at < chain.events.size(); ++at) {
        const DenseEvent& pending = problem_.event(chain.events[at]);
        const double apart = problem_.must_be_apart(event, pending) ? network_.epsilon() : 0.0;
        double& demand = pending.from_start ? from_start : from_end;
        demand = std::max(demand, apart - pending.shift);
        // The problem's own events are many and follow one another: the rest demands less.
        if (todo.chain == DenseProblem::start_chain && pending.is_effect_like &&
            demand >= network_.epsilon() - pending.shift)
          break;
      }
    } else {
      const std::uint32_t first = chain.tightest_from_start[todo.cursor];
      const std::uint32_t last = chain.tightest_from_end[todo.cursor];
      if (first != DenseChain::none) from_start = -problem_.event(chain.events[first]).shift;
      if (last != DenseChain::none) from_end = -problem_.event(chain.events[last]).shift;
    }
    for (std::uint32_t at = todo.cursor; event.excludes && at < chain.events.size(); ++at) {
      const DenseEvent& pending = problem_.event(chain.events[at]);
      if (!problem_.exclude(event, pending)) continue;
      double& demand = pending.from_start ? from_start : from_end;
      demand = std::max(demand, network_.epsilon() - pending.shift);
      if (todo.chain == DenseProblem::start_chain) break;  // likewise
    }
    if (from_start != nothing && !network_.add_before(anchor, todo.start, event.shift + from_start))
      return false;
    if (from_end != nothing && !network_.add_before(anchor, todo.start + 1, event.shift + from_end))
      return false;
  }
  return true;
}

/// With mutual exclusion, puts the effects of an action that is opened behind the conditions since the newest
/// effect of the path. Those before that one are farther from the opening than they need.
bool DenseSuccessors::put_behind_excluded(const DenseChain& opened, const Todo& own) {
  for (BlockPool::Ref at = state_.path; at != 0; at = pool_.at<PathCell>(at)->parent) {
    const PathCell& cell = *pool_.at<PathCell>(at);
    if (cell.event == no_event) break;
    const DenseEvent& condition = problem_.event(cell.event);
    if (condition.is_effect_like) break;
    if (!condition.excludes) continue;
    assert(!network_.is_frozen(cell.anchor));
    for (const std::uint32_t event : opened.events) {
      const DenseEvent& effect = problem_.event(event);
      if (!effect.is_effect_like || !problem_.model().exclude(*condition.event, *effect.event)) continue;
      const double distance = condition.shift + network_.epsilon() - effect.shift;
      if (!network_.add_before(cell.anchor, anchor_of(own, event), distance)) return false;
    }
  }
  return true;
}

bool DenseSuccessors::set_durations(ActionId id, std::uint32_t start) {
  assert(first_action_point <= start && start + 2 == state_.next_point);
  const DenseAction& action = problem_.action(id);
  const std::uint32_t end = start + 1;
  double lower = action.lower;
  std::optional<double> upper = action.upper;
  if (!action.open_limits.empty()) {
    const auto bounds = problem_.duration_bounds(id, built_values_);
    if (!bounds) return false;
    lower = bounds->first;
    upper = bounds->second;
  }
  return network_.add_before(start, end, lower) &&
         network_.add_before(end, plan_end_point, problem_.end_distance()) &&
         (!upper || network_.add_before(end, start, -*upper));
}

bool DenseSuccessors::open(const DenseState* parent, ActionId id) {
  const DenseAction& action = problem_.action(id);
  if (!action.opening.holds(values(parent))) return false;

  load(parent);
  const std::uint32_t chain_index = DenseProblem::first_action_chain + id;
  assert(std::ranges::find(todo_, chain_index, &Todo::chain) == todo_.end());
  const DenseChain& chain = problem_.chain(chain_index);
  const std::uint32_t start = parent->next_point;
  state_.next_point = start + 2;
  network_.load(layout_.times(parent), layout_.heads(parent), parent->base, parent->next_point);
  network_.extend(state_.next_point);

  if (!put_behind_path(parent, start) || !set_durations(id, start)) return false;
  active_.insert(active_.end(), action.direct_openers.begin(), action.direct_openers.end());
  completes_ = chain.events.empty();
  if (!completes_) {
    todo_.push_back({chain_index, start, 0, state_.depth});
    if (has_exclusion_ && !put_behind_excluded(chain, todo_.back())) return false;
  }
  const std::uint32_t event = problem_.model().actions()[id].start->index;
  if (!put_before_pending(start, problem_.event(event)) || effects_collide()) return false;
  cell_ = {parent->path, 1, event, start, state_.depth, state_.depth, start, 0};
  return true;
}

bool DenseSuccessors::effects_collide() {
  pending_effects_.clear();
  const Todo* timed = nullptr;  // the problem's own, of which there may be very many
  for (const Todo& todo : todo_) {
    if (todo.chain == DenseProblem::start_chain) {
      timed = &todo;
      continue;
    }
    const auto& events = problem_.chain(todo.chain).events;
    for (std::uint32_t at = todo.cursor; at < events.size(); ++at)
      if (problem_.event(events[at]).is_effect_like)
        pending_effects_.push_back(
            {network_.time(anchor_of(todo, events[at])) + problem_.event(events[at]).shift,
             anchor_of(todo, events[at]), events[at]});
  }
  for (std::size_t i = 0; i < pending_effects_.size(); ++i)
    for (std::size_t j = i + 1; j < pending_effects_.size(); ++j)
      if (collide(pending_effects_[i], pending_effects_[j])) return true;
  if (timed == nullptr) return false;
  // Those of the problem never meet one another, and only few lie at the time of an action's effect.
  const double start = network_.time(plan_start_point);
  for (const PendingEffect& effect : pending_effects_) {
    auto other = std::lower_bound(timed_effects_.begin(), timed_effects_.end(),
                                  effect.time - start - network_.precision(),
                                  [](const TimedEffect& one, double shift) { return one.shift < shift; });
    for (; other != timed_effects_.end() && other->shift <= effect.time - start + network_.precision();
         ++other)
      if (other->at >= timed->cursor &&
          collide(effect, {start + other->shift, plan_start_point, other->event}))
        return true;
  }
  return false;
}

/// Whether two effects on one fluent fall on one time and cannot be set apart.
bool DenseSuccessors::collide(const PendingEffect& a, const PendingEffect& b) {
  if (std::abs(a.time - b.time) > network_.precision()) return false;
  const DenseEvent& first = problem_.event(a.event);
  const DenseEvent& second = problem_.event(b.event);
  if (!problem_.touch(first, second)) return false;
  const double gap = first.shift - second.shift;
  return !network_.would_accept_before(a.anchor, b.anchor, network_.epsilon() + gap) &&
         !network_.would_accept_before(b.anchor, a.anchor, network_.epsilon() - gap);
}

bool DenseSuccessors::conditions_hold(const std::uint32_t* values) const {
  for (const std::uint32_t opener : active_)
    if (!problem_.event(opener).condition.holds(values)) return false;
  return true;
}

bool DenseSuccessors::apply_logic(const DenseState* parent, std::uint32_t event_index) {
  const DenseEvent& event = problem_.event(event_index);
  const std::uint32_t* const before = values(parent);
  if (!event.is_effect_like) {
    if (!(event.is_opener && event.is_left_open) && !event.condition.holds(before)) return false;
    if (event.opener) std::erase(active_, *event.opener);
    if (event.is_opener) active_.push_back(event_index);
    if (event.is_opener && event.is_left_open) state_.unverified = 1;
    return true;
  }
  // Conditions in force held after the last effect, so only one that has not been tested since can fail now.
  if (state_.unverified != 0 && !conditions_hold(before)) return false;
  state_.unverified = 0;
  values_.assign(before, before + layout_.slots);
  built_values_ = values_.data();
  writes_.clear();
  if (!event.effect.compute(before, writes_)) return false;
  write_slots(writes_, values_.data());
  return conditions_hold(values_.data());
}

bool DenseSuccessors::apply(const DenseState* parent, std::size_t list) {
  assert(list < parent->todo_count);
  const Todo moved = layout_.todo(parent)[list];
  const DenseChain& chain = problem_.chain(moved.chain);
  const std::uint32_t event_index = chain.events[moved.cursor];
  load(parent);
  if (!apply_logic(parent, event_index)) return false;
  if (moved.cursor + 1 < chain.events.size()) {
    ++todo_[list].cursor;
  } else {
    todo_.erase(todo_.begin() + static_cast<std::ptrdiff_t>(list));
    completes_ = true;
  }
  const DenseEvent& event = problem_.event(event_index);
  const std::uint32_t anchor = anchor_of(moved, event_index);
  network_.load(layout_.times(parent), layout_.heads(parent), parent->base, parent->next_point);
  if (!put_before_pending(anchor, event)) return false;
  if (event.is_effect_like) {
    state_.newest_effect = event_index;
    state_.effect_point = anchor;
  }
  cell_ = {parent->path, 1, event_index, anchor, state_.depth, moved.open_depth, moved.start, 0};
  return true;
}

std::uint32_t DenseSuccessors::window_base() const {
  // A time can still rise only if it lies, on the path, behind the start of an action with pending events:
  // new constraints push pending events, these push their action's start, and a start pushes what lies behind
  // it. The events behind it push the starts of their own actions in turn, so the window is closed under
  // that. The plan's own timed events tie everything to the plan's start; while they matter, nothing is
  // frozen.
  std::uint32_t base = state_.next_point;
  std::uint32_t oldest = ~std::uint32_t{0};  // depth where the window begins
  bool end_is_whole = problem_.chain(DenseProblem::end_chain).events.empty();
  for (const Todo& todo : todo_) {
    if (todo.chain == DenseProblem::start_chain) return state_.base;
    if (todo.chain == DenseProblem::end_chain) {
      end_is_whole = todo.cursor == 0;
      continue;
    }
    base = std::min(base, todo.start);
    oldest = std::min(oldest, todo.open_depth);
  }
  if (!end_is_whole) return state_.base;
  for (const PathCell* cell = &cell_; cell->event != no_event && cell->depth >= oldest;
       cell = pool_.at<PathCell>(cell->parent)) {
    if (cell->start == 0) return state_.base;
    oldest = std::min(oldest, cell->open_depth);
    base = std::min(base, cell->start);
  }
  // The conditions that put_behind_excluded will ask for keep their times.
  const PathCell* cell = &cell_;
  while (has_exclusion_ && cell->event != no_event && !problem_.event(cell->event).is_effect_like) {
    if (problem_.event(cell->event).excludes && cell->start != 0) base = std::min(base, cell->start);
    cell = pool_.at<PathCell>(cell->parent);
  }
  return std::max(base, state_.base);
}

BlockPool::Ref DenseSuccessors::keep() {
  assert(network_.is_satisfied());
  if (completes_) {
    const std::uint32_t base = window_base();
    assert(state_.base <= base && base <= state_.next_point);
    const auto freezes = [&](std::uint32_t point) { return point >= state_.base && point < base; };
    if (freezes(cell_.anchor))
      state_.frozen_newest = network_.time(cell_.anchor) + problem_.event(cell_.event).shift;
    if (state_.newest_effect != no_event && freezes(state_.effect_point))
      state_.frozen_effect = network_.time(state_.effect_point) + problem_.event(state_.newest_effect).shift;
    state_.base = base;
  }
  cell_.references = 1;
  cell_.edges = static_cast<std::uint32_t>(network_.new_edges());
  const BlockPool::Ref path = pool_.allocate(path_bytes(cell_.edges));
  *pool_.at<PathCell>(path) = cell_;
  if (cell_.parent != 0) ++pool_.at<PathCell>(cell_.parent)->references;

  state_.path = path;
  state_.todo_count = static_cast<std::uint32_t>(todo_.size());
  state_.active_count = static_cast<std::uint32_t>(active_.size());
  state_.changes = find_changes() ? static_cast<std::uint16_t>(changes_.size()) : whole;
  state_.references = 1;
  const BlockPool::Ref ref = pool_.allocate(layout_.bytes(state_));
  DenseState* const state = pool_.at<DenseState>(ref);
  *state = state_;
  network_.store_into(state_.base, path + sizeof(PathCell) / BlockPool::unit,
                      const_cast<double*>(layout_.times(state)),
                      const_cast<BlockPool::Ref*>(layout_.heads(state)),
                      reinterpret_cast<EdgeCell*>(pool_.at<PathCell>(path) + 1));
  if (state->changes == whole)
    state->source = ref;
  else
    ++pool_.at<DenseState>(state->source)->references;
  store_values(state);
  std::copy(todo_.begin(), todo_.end(), const_cast<Todo*>(layout_.todo(state).data()));
  std::copy(active_.begin(), active_.end(), const_cast<std::uint32_t*>(layout_.active(state).data()));
  return ref;
}

const std::uint32_t* DenseSuccessors::values(const DenseState* state) {
  if (state->changes == whole) return layout_.values(state);
  if (spelt_out_ != state) {
    const std::uint32_t* const source = layout_.values(pool_.at<DenseState>(state->source));
    spelt_values_.assign(source, source + layout_.slots);
    for (const SlotChange& change : layout_.changes(state)) spelt_values_[change.slot] = change.value;
    spelt_out_ = state;
  }
  return spelt_values_.data();
}

/// Puts into `changes_` where the built state differs from its parent's source. False if it is to be kept
/// whole.
bool DenseSuccessors::find_changes() {
  changes_.clear();
  if (layout_.slots < fewest_shared_slots || cell_.parent == 0) return false;
  const std::size_t most = std::min<std::size_t>(layout_.slots / slots_a_change, whole - 1);
  const std::uint32_t* const source = layout_.values(pool_.at<DenseState>(state_.source));
  if (source == built_values_) return true;
  for_each_difference(source, built_values_, layout_.slots, [this](std::size_t slot) {
    changes_.push_back({static_cast<std::uint32_t>(slot), built_values_[slot]});
  });
  return changes_.size() <= most;
}

void DenseSuccessors::store_values(DenseState* state) const {
  // why not memcpy: a problem without fluents has no array of values to point to.
  if (state->changes == whole)
    std::copy_n(built_values_, layout_.slots, const_cast<std::uint32_t*>(layout_.values(state)));
  else
    std::ranges::copy(changes_, const_cast<SlotChange*>(layout_.changes(state).data()));
}

void DenseSuccessors::release(BlockPool::Ref ref) {
  const DenseState* const state = pool_.at<DenseState>(ref);
  if (state == spelt_out_) spelt_out_ = nullptr;
  const BlockPool::Ref path = state->path, source = state->source;
  if (source != ref) free_block(ref);
  DenseState* const holder = pool_.at<DenseState>(source);
  assert(holder->references > 0);
  if (--holder->references == 0) free_block(source);
  release_path(path);
}

void DenseSuccessors::free_block(BlockPool::Ref ref) {
  pool_.release(ref, layout_.bytes(*pool_.at<DenseState>(ref)));
}

void DenseSuccessors::release_path(BlockPool::Ref path) {
  while (path != 0) {
    PathCell* const cell = pool_.at<PathCell>(path);
    assert(cell->references > 0);
    if (--cell->references > 0) return;
    const BlockPool::Ref parent = cell->parent;
    pool_.release(path, path_bytes(cell->edges));
    path = parent;
  }
}

std::vector<const Event*> DenseSuccessors::events_to(const DenseState* state) const {
  std::vector<const Event*> events;
  for (const PathCell* cell = pool_.at<PathCell>(state->path); cell->event != no_event;
       cell = pool_.at<PathCell>(cell->parent))
    events.push_back(problem_.event(cell->event).event);
  assert(events.size() == state->depth);
  std::reverse(events.begin(), events.end());
  return events;
}

}  // namespace zorvel::tp::ftp
