#include "search/forward/guided/guided_successors.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace zorvel::tp::ftp {

namespace {

constexpr double no_duration = std::numeric_limits<double>::quiet_NaN();
// Doubles that went different ways to one value differ by less; events are at least epsilon apart.
constexpr double rounding = 1e-9;

// With a total order: the earliest moment of the next opening. With a causal one, for each fluent:
constexpr std::uint32_t next_opening = 0;
std::uint32_t writer_of(std::uint32_t touched) { return 2 * touched; }
std::uint32_t readers_of(std::uint32_t touched) { return 2 * touched + 1; }

std::uint32_t columns_of_order(const GuidedModel& model, PathOrder order) {
  return order == PathOrder::total ? 1 : 2 * model.touched_count();
}
// With mutual exclusion, behind these, for each fluent: the last condition at one instant since an effect.
std::uint32_t columns_of(const GuidedModel& model, PathOrder order) {
  const bool has_exclusion = model.problem().model().problem()->rules().has_mutual_exclusion;
  return columns_of_order(model, order) + (has_exclusion ? model.touched_count() : 0);
}

std::size_t largest_block(std::size_t slots, std::uint32_t columns) {
  constexpr std::size_t many_points = 160;
  return sizeof(GuidedState) + slots * sizeof(std::uint32_t) +
         many_points * (sizeof(StoredChain) + many_points * sizeof(double)) +
         std::size_t{8} * columns * sizeof(StoredColumn);
}

}  // namespace

GuidedSuccessors::GuidedSuccessors(const GuidedModel& model, Openings& openings, Options options)
    : model_(model),
      problem_(model.problem()),
      openings_(openings),
      options_(options),
      layout_{problem_.slots()},
      pool_(largest_block(problem_.slots(), columns_of(model, options.order))),
      epsilon_(problem_.epsilon()),
      first_excluding_(columns_of_order(model, options.order)),
      values_(problem_.slots()),
      network_(columns_of(model, options.order), problem_.precision()) {}

GuidedSuccessors::Place GuidedSuccessors::place_of(const Chain& chain, std::uint32_t event) const {
  const DenseEvent& source = problem_.event(event);
  assert(source.chain == chain.chain);
  if (source.from_start) return {chain.start, source.shift};
  if (std::isnan(chain.duration)) return {chain.end, source.shift};
  return {chain.start, chain.duration + source.shift};
}

void GuidedSuccessors::add_fixed_points(bool has_plan_start) {
  network_.clear();
  plan_start_ = has_plan_start ? network_.add_point() : no_point;
  plan_end_ = model_.end_matters() ? network_.add_point() : no_point;
  makespan_ = options_.is_bounded ? network_.add_point() : no_point;
}

bool GuidedSuccessors::build_initial(const PlainState<double>& plain) {
  header_ = {};
  for (std::size_t slot = 0; slot < values_.size(); ++slot)
    values_[slot] = problem_.values().id_of(plain.assignments()[slot]);
  const bool has_timed_events = !problem_.chain(DenseProblem::start_chain).events.empty();
  add_fixed_points(has_timed_events || options_.is_bounded || options_.order == PathOrder::causal);
  chains_.clear();
  if (has_timed_events) chains_.push_back({DenseProblem::start_chain, 0, plan_start_, no_point, no_duration});
  const auto& ending = problem_.chain(DenseProblem::end_chain).events;
  if (!ending.empty()) chains_.push_back({DenseProblem::end_chain, 0, no_point, plan_end_, no_duration});
  bool is_consistent = true;
  if (plan_start_ != no_point && plan_end_ != no_point)
    for (const std::uint32_t event : ending)  // none of them lies before time 0
      is_consistent &= network_.add_before(plan_start_, plan_end_, -problem_.event(event).shift);
  if (plan_start_ != no_point && makespan_ != no_point)
    is_consistent &= network_.add_before(plan_start_, makespan_, 0.0);
  return is_consistent && settle();
}

void GuidedSuccessors::load(const GuidedState* parent) {
  const std::uint32_t* const values = layout_.values(parent);
  std::copy_n(values, values_.size(), values_.begin());
  header_ = *parent;
  ++header_.depth;

  const auto stored = layout_.chains(parent);
  const bool starts_pending = !stored.empty() && stored[0].chain == DenseProblem::start_chain;
  add_fixed_points(starts_pending || options_.is_bounded || options_.order == PathOrder::causal);
  chains_.clear();
  for (const StoredChain& chain : stored) {
    assert(chain.cursor < problem_.chain(chain.chain).events.size());
    Chain& added = chains_.emplace_back(Chain{chain.chain, chain.cursor, no_point, no_point, chain.duration});
    if (chain.chain == DenseProblem::start_chain)
      added.start = plan_start_;
    else if (chain.chain == DenseProblem::end_chain)
      added.end = plan_end_;
    if (chain.has_start) added.start = network_.add_point();
    if (chain.has_end) added.end = network_.add_point();
  }
  assert(network_.points() == parent->point_count);
  const double* const matrix = layout_.matrix(parent);
  const std::uint64_t* const counts = layout_.column_counts(parent);
  const StoredColumn* column = layout_.columns(parent);
  const std::uint32_t points = parent->point_count;
  for (std::uint32_t a = 0; a < points; ++a) {
    for (std::uint32_t b = 0; b < points; ++b) network_.restore(a, b, matrix[a * points + b]);
    for (std::uint64_t i = 0; i < counts[a]; ++i, ++column)
      network_.restore_column(a, column->column, column->value);
  }
}

void GuidedSuccessors::restore(Ref ref) {
  load(state(ref));
  --header_.depth;
}

bool GuidedSuccessors::build(Ref parent, Move move) {
  const GuidedState* const from = state(parent);
  // The events after the first of a group stop softly: where one does not apply, the move is repeated with
  // those before it.
  std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
  while (true) {
    load(from);
    header_.parent = parent;
    header_.move = move;
    std::size_t at = chains_.size();
    std::uint32_t applied = 0;
    if (move.kind() == MoveKind::advance) {
      const auto is_meant = [&](const Chain& chain) { return chain.chain == move.index(); };
      at = static_cast<std::size_t>(std::ranges::find_if(chains_, is_meant) - chains_.begin());
      if (at == chains_.size()) return false;
    } else if (!open(move.index())) {
      return false;
    }
    const auto& events = problem_.chain(chains_[at].chain).events;
    if (move.kind() == MoveKind::atomic) {
      while (chains_[at].cursor < events.size())
        if (!apply(at)) return false;
      return settle();
    }
    std::uint32_t group = 0;
    if (chains_[at].cursor < events.size()) {
      const DenseEvent& next = problem_.event(events[chains_[at].cursor]);
      const bool is_at_start = next.from_start && next.shift == 0.0;
      if (move.kind() == MoveKind::advance || is_at_start)
        group = model_.group_size(chains_[at].chain, chains_[at].cursor);
    }
    group = std::min(group, most);
    while (applied < group && apply(at)) ++applied;
    if (applied == group) return settle() && (move.kind() != MoveKind::advance || carry_on());
    if (move.kind() == MoveKind::advance && applied == 0) return false;
    most = applied;
  }
}

bool GuidedSuccessors::carry_on() {
  // Timed events that nothing can happen between would be a state each, with a test of the goal that goes
  // through all that follow.
  while (!chains_.empty() && chains_[0].chain == DenseProblem::start_chain && !is_action_open() &&
         openings_.at(values_.data()).empty()) {
    const std::uint32_t group = model_.group_size(DenseProblem::start_chain, chains_[0].cursor);
    for (std::uint32_t applied = 0; applied < group; ++applied)
      if (!apply(0)) return false;
    if (!settle()) return false;
  }
  return true;
}

bool GuidedSuccessors::add_end(Chain& added, const DenseAction& action) {
  assert(added.start < network_.points());
  double lower = action.lower;
  std::optional<double> upper = action.upper;
  if (!action.open_limits.empty()) {
    const auto id = added.chain - DenseProblem::first_action_chain;
    const auto bounds = problem_.duration_bounds(id, values_.data());
    if (!bounds) return false;
    lower = bounds->first;
    upper = bounds->second;
  }
  if (upper && *upper == lower) {
    added.duration = lower;
  } else {
    added.end = network_.add_point();
    if (!network_.add_before(added.start, added.end, lower)) return false;
    if (upper && !network_.add_before(added.end, added.start, -*upper)) return false;
  }
  const bool has_end = added.end != no_point;
  const Place end{has_end ? added.end : added.start, has_end ? 0.0 : lower};
  const bool is_counted =
      makespan_ != no_point && model_.is_counted(added.chain - DenseProblem::first_action_chain);
  if (is_counted && !network_.add_before(end.point, makespan_, end.shift)) return false;
  return plan_end_ == no_point ||
         network_.add_before(end.point, plan_end_, end.shift + problem_.end_distance());
}

bool GuidedSuccessors::open(ActionId id) {
  const DenseAction& action = problem_.action(id);
  if (!action.opening.holds(values_.data())) return false;
  // No action overlaps itself. The search offers none that is open; a path that lost moves may have one.
  if (std::ranges::find(chains_, DenseProblem::first_action_chain + id, &Chain::chain) != chains_.end())
    return false;
  const std::uint32_t start = network_.add_point();
  chains_.push_back({DenseProblem::first_action_chain + id, 0, start, no_point, no_duration});
  const std::uint32_t event = problem_.model().actions()[id].start->index;
  const Place place{start, 0.0};
  if (plan_start_ != no_point && !network_.add_before(plan_start_, start, 0.0)) return false;
  if (!put_behind_past(event, place) || !add_end(chains_.back(), action)) return false;
  // The action's own events never lie before its start, whatever the order of the path.
  if (options_.order == PathOrder::causal)
    for (const std::uint32_t own : problem_.chain(chains_.back().chain).events) {
      const Place later = place_of(chains_.back(), own);
      if (!network_.add_before(start, later.point, -later.shift)) return false;
    }
  for (const std::uint32_t own : problem_.chain(chains_.back().chain).events)
    if (!put_behind_excluded(own, place_of(chains_.back(), own))) return false;
  if (!put_before_pending(event, place)) return false;
  record(event, place);
  return true;
}

bool GuidedSuccessors::put_behind_past(std::uint32_t event, Place place) {
  const DenseEvent& source = problem_.event(event);
  if (options_.order == PathOrder::total)
    return source.event->kind != EventKind::START_ACTION ||
           network_.add_behind_column(next_opening, place.point, -place.shift);
  const double behind_writer = source.is_opener && source.is_left_open ? 0.0 : epsilon_;
  for (const std::uint32_t touched : model_.touched(event)) {
    if (!network_.add_behind_column(writer_of(touched), place.point, behind_writer - place.shift))
      return false;
    if (source.is_effect_like && !network_.add_behind_column(readers_of(touched), place.point, -place.shift))
      return false;
  }
  return true;
}

/// With mutual exclusion, for an effect of an action that is opened: all conditions of the past belong to
/// others.
bool GuidedSuccessors::put_behind_excluded(std::uint32_t event, Place place) {
  for (const std::uint32_t written : model_.written(event))
    if (!network_.add_behind_column(excluding(written), place.point, epsilon_ - place.shift)) return false;
  return true;
}

bool GuidedSuccessors::put_chain_behind(const Chain& chain, std::uint32_t event, Place place) {
  const DenseEvent& source = problem_.event(event);
  const auto& events = problem_.chain(chain.chain).events;
  for (std::uint32_t at = chain.cursor; source.excludes && at < events.size(); ++at) {
    if (!problem_.exclude(source, problem_.event(events[at]))) continue;
    const Place pending = place_of(chain, events[at]);
    if (!network_.add_before(place.point, pending.point, place.shift + epsilon_ - pending.shift))
      return false;
    if (chain.chain == DenseProblem::start_chain) break;  // those behind it are farther away
  }
  if (options_.order == PathOrder::total && !source.is_effect_like) {
    // Of the events that are measured from one end only the first has to be bound.
    for (const std::uint32_t tightest : {problem_.chain(chain.chain).tightest_from_start[chain.cursor],
                                         problem_.chain(chain.chain).tightest_from_end[chain.cursor]}) {
      if (tightest == DenseChain::none) continue;
      const Place pending = place_of(chain, events[tightest]);
      if (!network_.add_before(place.point, pending.point, place.shift - pending.shift)) return false;
    }
    return true;
  }
  double tightest = -std::numeric_limits<double>::infinity();
  for (std::uint32_t at = chain.cursor; at < events.size(); ++at) {
    const DenseEvent& later = problem_.event(events[at]);
    // The plan's timed events stand in order of time: what lies an epsilon behind one that is bound is bound.
    if (chain.chain == DenseProblem::start_chain && epsilon_ - later.shift <= tightest) break;
    double apart = 0;
    if (options_.order == PathOrder::total) {
      if (problem_.must_be_apart(source, later)) apart = epsilon_;
    } else {
      if (!(source.is_effect_like || later.is_effect_like) || !problem_.touch(source, later)) continue;
      if (source.is_effect_like && !(later.is_opener && later.is_left_open)) apart = epsilon_;
    }
    const Place pending = place_of(chain, events[at]);
    if (!network_.add_before(place.point, pending.point, place.shift + apart - pending.shift)) return false;
    tightest = std::max(tightest, apart - later.shift);
  }
  return true;
}

bool GuidedSuccessors::put_before_pending(std::uint32_t event, Place place) {
  for (const Chain& chain : chains_) {
    // The plan's end, where nothing is measured from it, comes after everything.
    if (chain.chain == DenseProblem::end_chain && plan_end_ == no_point) continue;
    if (!put_chain_behind(chain, event, place)) return false;
  }
  return true;
}

void GuidedSuccessors::clear_excluding() {
  if (!has_exclusion()) return;
  row_columns_.clear();
  for (std::uint32_t point = 0; point < network_.points(); ++point)
    for (const std::uint32_t column : network_.columns_of(point))
      if (column >= first_excluding_) row_columns_.push_back(column);
  for (const std::uint32_t column : row_columns_) network_.clear_column(column);
}

void GuidedSuccessors::record(std::uint32_t event, Place place) {
  assert(place.point < network_.points());
  const DenseEvent& source = problem_.event(event);
  for (const std::uint32_t named : model_.instant(event))
    network_.raise_column(excluding(named), place.point, place.shift);
  if (options_.order == PathOrder::total) {
    // The next opening lies apart from the effect, and so from all conditions before it.
    if (source.is_effect_like) clear_excluding();
    network_.raise_column(next_opening, place.point, place.shift + (source.is_effect_like ? epsilon_ : 0.0));
    return;
  }
  for (const std::uint32_t touched : model_.touched(event)) {
    if (source.is_effect_like) {
      // It lies behind all readers so far, so they need not be remembered.
      network_.set_column(writer_of(touched), place.point, place.shift);
      network_.clear_column(readers_of(touched));
      if (has_exclusion()) network_.clear_column(excluding(touched));
    } else {
      network_.raise_column(readers_of(touched), place.point, place.shift);
    }
  }
}

std::uint32_t GuidedSuccessors::cursor_of(std::uint32_t chain) const {
  for (const Chain& open : chains_)
    if (open.chain == chain) return open.cursor;
  return static_cast<std::uint32_t>(problem_.chain(chain).events.size());
}

template <class Visit>
void GuidedSuccessors::for_each_force(Visit visit) const {
  for (const Chain& chain : chains_)
    for (const GuidedModel::Force& force : model_.in_force(chain.chain, chain.cursor)) visit(force);
  if (model_.force_across().empty()) return;
  const std::uint32_t started = cursor_of(DenseProblem::start_chain);
  const std::uint32_t ended = cursor_of(DenseProblem::end_chain);
  for (const GuidedModel::Across& across : model_.force_across())
    if ((across.opened == GuidedModel::initially || started > across.opened) && ended <= across.closed)
      visit(across.force);
}

bool GuidedSuccessors::conditions_hold() const {
  bool hold = true;
  for_each_force([&](const GuidedModel::Force& force) {
    hold = hold && problem_.event(force.opener).condition.holds(values_.data());
  });
  return hold;
}

bool GuidedSuccessors::change_values(const DenseEvent& event) {
  if (!event.is_effect_like) {
    if (event.is_opener && event.is_left_open) {
      header_.is_unverified = 1;  // it need not hold before the next effect, and is tested then
      return true;
    }
    return event.condition.holds(values_.data());
  }
  // Conditions in force held after the last effect, so only one that has not been tested since can fail now.
  if (header_.is_unverified != 0 && !conditions_hold()) return false;
  header_.is_unverified = 0;
  writes_.clear();
  if (!event.effect.compute(values_.data(), writes_)) return false;
  write_slots(writes_, values_.data());
  return conditions_hold();
}

bool GuidedSuccessors::apply(std::size_t at) {
  Chain& chain = chains_[at];
  assert(chain.cursor < problem_.chain(chain.chain).events.size());
  const std::uint32_t index = problem_.chain(chain.chain).events[chain.cursor];
  if (!change_values(problem_.event(index))) return false;
  const Place place = place_of(chain, index);
  ++chain.cursor;
  if (place.point == no_point) return true;  // at the plan's end, where nothing is measured from it
  if (!put_behind_past(index, place) || !put_before_pending(index, place)) return false;
  record(index, place);
  return true;
}

bool GuidedSuccessors::protect() {
  // Until a condition in force is closed, no effect that makes it false can be applied: its closing comes
  // first in every continuation, so the network may know it at once.
  bool is_consistent = true;
  for_each_force([&](const GuidedModel::Force& force) {
    const std::uint32_t owner = problem_.event(force.closer).chain;
    const auto is_owner = [&](const Chain& chain) { return chain.chain == owner; };
    const auto own = std::ranges::find_if(chains_, is_owner);
    assert(own != chains_.end());  // what is in force has its closer still to come
    const Place closing = place_of(*own, force.closer);
    if (closing.point == no_point) return;
    for (const Chain& chain : chains_) {
      if (chain.chain == owner) continue;
      const auto& events = problem_.chain(chain.chain).events;
      for (std::uint32_t at = chain.cursor; at < events.size() && is_consistent; ++at) {
        if (!problem_.event(events[at]).is_effect_like || !model_.breaks(events[at], force.opener)) continue;
        const Place pending = place_of(chain, events[at]);
        if (pending.point != no_point)
          is_consistent = network_.add_before(closing.point, pending.point, closing.shift - pending.shift);
        if (chain.chain == DenseProblem::start_chain) break;  // the others come later
      }
    }
  });
  return is_consistent;
}

bool GuidedSuccessors::effects_collide() const {
  for (std::size_t j = 1; j < chains_.size(); ++j)
    for (std::size_t i = 0; i < j; ++i)
      if (effects_collide(chains_[i], chains_[j])) return true;
  return false;
}

bool GuidedSuccessors::effects_collide(const Chain& one, const Chain& other) const {
  const auto& first = problem_.chain(one.chain).events;
  const auto& second = problem_.chain(other.chain).events;
  for (std::uint32_t b = other.cursor; b < second.size(); ++b) {
    const DenseEvent& right = problem_.event(second[b]);
    if (!right.is_effect_like) continue;
    const Place later = place_of(other, second[b]);
    if (later.point == no_point) continue;
    for (std::uint32_t a = one.cursor; a < first.size(); ++a) {
      const DenseEvent& left = problem_.event(first[a]);
      if (!left.is_effect_like || !problem_.touch(left, right)) continue;
      const Place place = place_of(one, first[a]);
      if (place.point == no_point) continue;
      const double gap = place.shift - later.shift;
      if (!network_.would_accept_before(place.point, later.point, epsilon_ + gap) &&
          !network_.would_accept_before(later.point, place.point, epsilon_ - gap))
        return true;
    }
  }
  return false;
}

bool GuidedSuccessors::settle() {
  std::erase_if(
      chains_, [&](const Chain& chain) { return chain.cursor == problem_.chain(chain.chain).events.size(); });
  if (chains_.size() > 1 && ((options_.is_protected && !protect()) || effects_collide())) return false;
  std::ranges::sort(chains_, {}, &Chain::chain);
  assert(std::ranges::adjacent_find(chains_, {}, &Chain::chain) == chains_.end());

  live_.clear();
  const bool starts_pending = !chains_.empty() && chains_[0].chain == DenseProblem::start_chain;
  if (plan_start_ != no_point &&
      (starts_pending || options_.is_bounded || options_.order == PathOrder::causal))
    live_.push_back(plan_start_);
  for (const std::uint32_t point : {plan_end_, makespan_})
    if (point != no_point) live_.push_back(point);
  std::uint64_t hash = 0x9e3779b97f4a7c15U;
  const auto mix = [&hash](std::uint64_t word) {
    hash = (hash ^ word) * 0xff51afd7ed558ccdU;
    hash ^= hash >> 32;
  };
  for (const std::uint32_t value : values_) mix(value);
  for (Chain& chain : chains_) {
    mix(std::uint64_t{chain.chain} << 32 | chain.cursor);
    if (is_own(chain)) continue;
    const auto& dense = problem_.chain(chain.chain);
    const bool is_rigid = !std::isnan(chain.duration);
    const bool from_end = dense.tightest_from_end[chain.cursor] != DenseChain::none;
    if (is_rigid || dense.tightest_from_start[chain.cursor] != DenseChain::none)
      live_.push_back(chain.start);
    else
      chain.start = no_point;
    if (!is_rigid && from_end)
      live_.push_back(chain.end);
    else
      chain.end = no_point;
  }
  assert(std::ranges::find(live_, no_point) == live_.end());
  mix(header_.is_unverified);
  hash_ = static_cast<std::uint32_t>(hash >> 16);
  return true;
}

StateView GuidedSuccessors::built() {
  view_chains_.clear();
  for (const Chain& chain : chains_) view_chains_.push_back({chain.chain, chain.cursor});
  const std::uint32_t parent_note = header_.parent == 0 ? 0 : state(header_.parent)->note;
  return {values_.data(), view_chains_, header_.depth, parent_note, &header_.note};
}

double GuidedSuccessors::makespan() const {
  return makespan_ == no_point ? 0.0 : network_.lower(plan_start_, makespan_);
}

bool GuidedSuccessors::is_action_open() const { return !chains_.empty() && !is_own(chains_.back()); }

bool GuidedSuccessors::has_key_of(Ref ref) const {
  const GuidedState* const other = state(ref);
  if (other->hash != hash_ || other->chain_count != chains_.size() ||
      other->is_unverified != header_.is_unverified)
    return false;
  const auto stored = layout_.chains(other);
  for (std::size_t i = 0; i < chains_.size(); ++i)
    if (stored[i].chain != chains_[i].chain || stored[i].cursor != chains_[i].cursor) return false;
  return std::equal(values_.begin(), values_.end(), layout_.values(other));
}

bool GuidedSuccessors::is_dominated_by(Ref ref) const {
  const GuidedState* const other = state(ref);
  assert(has_key_of(ref));
  if (other->point_count != live_.size()) return false;  // a fixed duration here, a free one there
  const auto stored = layout_.chains(other);
  for (std::size_t i = 0; i < chains_.size(); ++i) {
    if (std::isnan(stored[i].duration) != std::isnan(chains_[i].duration)) return false;
    if (std::abs(stored[i].duration - chains_[i].duration) > rounding) return false;
  }
  const double* looser = layout_.matrix(other);
  for (const std::uint32_t a : live_)
    for (const std::uint32_t b : live_)
      if (*looser++ > network_.lower(a, b) + rounding) return false;
  const std::uint64_t* const counts = layout_.column_counts(other);
  const StoredColumn* column = layout_.columns(other);
  for (std::size_t a = 0; a < live_.size(); ++a)
    for (std::uint64_t i = 0; i < counts[a]; ++i, ++column)
      if (column->value > network_.column(live_[a], column->column) + rounding) return false;
  return true;
}

GuidedSuccessors::Ref GuidedSuccessors::keep(bool is_dead) {
  assert(network_.is_closed());
  // The header counts them in sixteen bits.
  assert(chains_.size() <= std::numeric_limits<std::uint16_t>::max());
  assert(live_.size() <= std::numeric_limits<std::uint16_t>::max());
  header_.hash = hash_;
  header_.same_key = 0;
  header_.is_dead = is_dead ? 1 : 0;
  header_.makespan = makespan();
  assert(header_.makespan >= 0);
  header_.chain_count = static_cast<std::uint16_t>(chains_.size());
  header_.point_count = static_cast<std::uint16_t>(live_.size());
  header_.column_entries = 0;
  const auto is_finite = [&](std::uint32_t point, std::uint32_t column) {
    return network_.column(point, column) != GuidedNetwork::nothing;
  };
  for (const std::uint32_t point : live_)
    for (const std::uint32_t column : network_.columns_of(point))
      if (is_finite(point, column)) ++header_.column_entries;
  const Ref ref = pool_.allocate(layout_.bytes(header_));
  GuidedState* const kept = state(ref);
  *kept = header_;
  std::copy(values_.begin(), values_.end(), layout_.values(kept));
  const auto stored = layout_.chains(kept);
  for (std::size_t i = 0; i < chains_.size(); ++i) {
    const Chain& chain = chains_[i];
    stored[i] = {chain.chain, chain.cursor, !is_own(chain) && chain.start != no_point,
                 !is_own(chain) && chain.end != no_point, chain.duration};
  }
  double* matrix = layout_.matrix(kept);
  std::uint64_t* counts = layout_.column_counts(kept);
  StoredColumn* column = layout_.columns(kept);
  for (const std::uint32_t a : live_) {
    for (const std::uint32_t b : live_) *matrix++ = network_.lower(a, b);
    row_.clear();
    for (const std::uint32_t listed : network_.columns_of(a))
      if (is_finite(a, listed)) row_.push_back({listed, network_.column(a, listed)});
    std::ranges::sort(row_, {}, &StoredColumn::column);  // so that equal states are equal bytes
    *counts++ = row_.size();
    column = std::copy(row_.begin(), row_.end(), column);
  }
  assert(column == layout_.columns(kept) + kept->column_entries);
  assert(has_key_of(ref));
  return ref;
}

bool GuidedSuccessors::may_finish() const {
  const bool starts_pending = !chains_.empty() && chains_[0].chain == DenseProblem::start_chain;
  const auto& events = problem_.chain(DenseProblem::start_chain).events;
  return model_.may_end_with(values_.data(),
                             starts_pending ? chains_[0].cursor : static_cast<std::uint32_t>(events.size()));
}

bool GuidedSuccessors::finishes() {
  assert(!is_action_open());
  while (!chains_.empty()) {
    // The plan ends behind all its timed events, so the start's chain, which has the lower number, comes
    // first.
    while (chains_[0].cursor < problem_.chain(chains_[0].chain).events.size())
      if (!apply(0)) return false;
    chains_.erase(chains_.begin());
  }
  return header_.is_unverified == 0 || conditions_hold();
}

std::vector<Move> GuidedSuccessors::moves_to(Ref ref) const {
  std::vector<Move> moves;
  for (const GuidedState* child = state(ref); child->parent != 0; child = state(child->parent))
    moves.push_back(child->move);
  assert(moves.size() == state(ref)->depth);
  std::ranges::reverse(moves);
  return moves;
}

std::vector<const Event*> GuidedSuccessors::events_to(Ref ref) const {
  std::vector<const Event*> events;
  // From the newest move to the oldest, the events of each from the last to the first.
  for (const GuidedState* child = state(ref); child->parent != 0; child = state(child->parent)) {
    const Move move = child->move;
    const std::uint32_t chain =
        move.kind() == MoveKind::advance ? move.index() : DenseProblem::first_action_chain + move.index();
    const auto cursor_in = [&](const GuidedState* in, std::uint32_t absent) {
      for (const StoredChain& stored : layout_.chains(in))
        if (stored.chain == chain) return std::uint32_t{stored.cursor};
      return absent;
    };
    const auto& all = problem_.chain(chain).events;
    const std::uint32_t until = cursor_in(child, static_cast<std::uint32_t>(all.size()));
    const std::uint32_t from = move.kind() == MoveKind::advance ? cursor_in(state(child->parent), until) : 0;
    assert(from <= until);
    for (std::uint32_t at = until; at-- > from;) events.push_back(problem_.event(all[at]).event);
    if (move.kind() != MoveKind::advance) events.push_back(problem_.model().actions()[move.index()].start);
  }
  std::ranges::reverse(events);
  return events;
}

}  // namespace zorvel::tp::ftp
