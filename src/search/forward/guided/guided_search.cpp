#include "search/forward/guided/guided_search.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <ctime>

#include "core/log.h"

namespace zorvel::tp::ftp {

namespace {

constexpr std::uint64_t side_period = 10;        // turns
constexpr std::uint64_t exploration_period = 2;  // expansions
constexpr std::int64_t turns_for_progress = 1000;
constexpr std::uint64_t work_of_evaluation = 4;  // in units of the guard: a move costs one
constexpr double least_gain = 1e-7;              // of makespan, for a plan to count as a better one

}  // namespace

GuidedSearch::GuidedSearch(const GuidedModel& model, Openings& openings, GuidedEstimates& estimates,
                           Options options)
    : model_(model),
      problem_(model.problem()),
      openings_(openings),
      estimates_(estimates),
      options_(options),
      successors_(model, openings, options.states),
      queues_(main_queues + 2),
      table_(1 << 12, 0),
      is_open_(problem_.action_count(), false),
      is_preferred_(problem_.action_count(), false) {
  best_.fill(std::numeric_limits<double>::infinity());
  if (!options_.parts.exploration) next_exploration_ = std::numeric_limits<std::uint64_t>::max();
}

GuidedSearch::Ref GuidedSearch::find_key() const {
  assert(std::has_single_bit(table_.size()) && 2 * keys_ <= table_.size());
  const std::size_t mask = table_.size() - 1;
  for (std::size_t at = successors_.built_hash() & mask; table_[at] != 0; at = (at + 1) & mask)
    if (successors_.has_key_of(table_[at])) return table_[at];
  return 0;
}

void GuidedSearch::remember(Ref ref) {
  const auto place_of = [&](std::uint32_t hash) {
    const std::size_t mask = table_.size() - 1;
    std::size_t at = hash & mask;
    while (table_[at] != 0) at = (at + 1) & mask;
    return at;
  };
  const Ref same = find_key();
  if (same != 0) {
    // The table keeps naming the oldest state of the key; the others hang behind it.
    successors_.state(ref)->same_key = successors_.state(same)->same_key;
    successors_.state(same)->same_key = ref;
    return;
  }
  if (2 * ++keys_ > table_.size()) {
    std::vector<Ref> old(2 * table_.size(), 0);
    old.swap(table_);
    for (const Ref known : old)
      if (known != 0) table_[place_of(successors_.state(known)->hash)] = known;
  }
  table_[place_of(successors_.state(ref)->hash)] = ref;
}

GuidedSearch::Verdict GuidedSearch::examine(bool is_from_side, Ref parent, Move move,
                                            const SearchGuard& guard) {
  assert(!successors_.state(parent)->is_dead);
  if (!successors_.build(parent, move)) return Verdict::dropped;
  if (options_.states.is_bounded && !(successors_.makespan() < bound_ - least_gain)) return Verdict::dropped;
  if (options_.parts.duplicates) {
    const Ref known = find_key();
    if (known != 0) {
      if (successors_.state(known)->is_dead) return Verdict::dropped;
      for (Ref same = known; same != 0; same = successors_.state(same)->same_key)
        if (successors_.is_dominated_by(same)) return Verdict::dropped;
      if (!is_from_side) {
        const auto range = queues_.store(parent, std::span(&move, 1));
        queues_.push(known_keys, key_of(successors_.state(known), 0), range);
        return Verdict::dropped;
      }
    }
  }
  return take_built(guard);
}

GuidedSearch::Verdict GuidedSearch::take_built(const SearchGuard& guard) {
  ++statistics_.evaluated;
  const auto estimate = estimates_.evaluate(successors_.built());
  const Ref ref = successors_.keep(estimate.is_dead_end);
  ++statistics_.stored;
  GuidedState* const state = successors_.state(ref);
  if (options_.parts.duplicates) remember(ref);
  if (estimate.is_dead_end) return Verdict::dropped;

  bool is_progress = false;
  if (state->parent == 0) initial_ = estimate.values;
  for (std::size_t i = 0; i < estimates_count; ++i) {
    state->estimates[i] = static_cast<float>(estimate.values[i]);
    if (!has_queues(i) || estimate.values[i] >= best_[i]) continue;
    best_[i] = estimate.values[i];
    is_progress = true;
  }
  if (is_progress && options_.parts.preferred)
    for (std::size_t i = 0; i < estimates_count; ++i) turns_[preferred_moves(i)] -= turns_for_progress;
  assert(!std::isnan(state->makespan));
  ++statistics_.expanded;
  depth_sum_ += state->depth;
  if (statistics_.expanded % 1000 == 0) log_progress(guard);
  const bool can_finish = !successors_.is_action_open();
  offer_moves(ref);
  if (can_finish && successors_.may_finish() && successors_.finishes()) {
    ZORVEL_LOG(INFO) << "Final depth: " << state->depth
                     << ", Open size: " << queues_.stored() - queues_.taken()
                     << ", States expanded: " << statistics_.expanded;
    events_ = successors_.events_to(ref);
    plan_moves_ = successors_.moves_to(ref);
    plan_makespan_ = state->makespan;
    return Verdict::goal;
  }
  return Verdict::new_state;
}

double GuidedSearch::key_of(const GuidedState* state, std::size_t estimate) const {
  const double h = state->estimates[estimate];
  if (options_.makespan_weight == 0 || bound_ == std::numeric_limits<double>::infinity()) return h;
  return h + options_.makespan_weight * initial_[estimate] * state->makespan / bound_;
}

void GuidedSearch::collect_actions(const GuidedState* state) {
  const std::uint32_t* const values = successors_.layout().values(state);
  applicable_.clear();
  for (const ActionId id : openings_.at(values))
    if (!is_open_[id]) applicable_.push_back(id);
}

void GuidedSearch::offer_moves(Ref ref) {
  const GuidedState* const state = successors_.state(ref);
  const auto chains = successors_.layout().chains(state);
  // Whether the plan's own timed events are pending is read off the first.
  assert(std::ranges::is_sorted(chains, {}, &StoredChain::chain));
  const auto set_open = [&](bool value) {
    for (const StoredChain& chain : chains)
      if (chain.chain >= DenseProblem::first_action_chain)
        is_open_[chain.chain - DenseProblem::first_action_chain] = value;
  };
  set_open(true);
  collect_actions(state);
  set_open(false);
  for (const ActionId id : estimates_.preferred()) is_preferred_[id] = true;

  moves_.clear();
  bare_.clear();
  const auto offer_chain = [&](const StoredChain& chain, bool preferred) {
    // why always preferred: what can still be done while the action is open may be done, which no estimate
    // sees, and then nothing goes on before it is closed.
    const bool is_action = chain.chain >= DenseProblem::first_action_chain;
    if (is_action != preferred) return;
    if (chain.chain == DenseProblem::end_chain) {
      // The plan's end comes after all its timed events, and what lies at the end itself is the test of the
      // goal.
      const bool starts_pending = chains[0].chain == DenseProblem::start_chain;
      const auto& events = problem_.chain(chain.chain).events;
      if (starts_pending || problem_.event(events[chain.cursor]).shift == 0.0) return;
    }
    moves_.push_back(Move::make(MoveKind::advance, chain.chain));
  };
  const auto offer_action = [&](ActionId id, bool preferred) {
    if (is_preferred_[id] != preferred) return;
    const bool is_atomic = options_.parts.atomic_moves;
    const bool stays_open = (options_.parts.envelopes && estimates_.is_envelope(id)) || !is_atomic;
    if (is_atomic) moves_.push_back(Move::make(MoveKind::atomic, id));
    if (problem_.chain(DenseProblem::first_action_chain + id).events.empty()) {
      if (!is_atomic) moves_.push_back(Move::make(MoveKind::atomic, id));
      return;
    }
    (stays_open ? moves_ : bare_).push_back(Move::make(MoveKind::open, id));
  };
  std::uint32_t preferred_count = 0;
  for (const bool preferred : {true, false}) {
    for (const StoredChain& chain : chains) offer_chain(chain, preferred);
    for (const ActionId id : applicable_) offer_action(id, preferred);
    if (preferred) preferred_count = static_cast<std::uint32_t>(moves_.size());
  }
  for (const ActionId id : estimates_.preferred()) is_preferred_[id] = false;

  assert(moves_.size() + bare_.size() <= chains.size() + 2 * applicable_.size());
  const auto all = queues_.store(ref, moves_);
  types_.push(state->estimates[0], state->depth, all);
  const MoveQueues::Range preferred{ref, all.first, all.first + preferred_count};
  for (std::size_t i = 0; i < estimates_count; ++i) {
    if (!has_queues(i)) continue;
    queues_.push(all_moves(i), key_of(state, i), all);
    if (options_.parts.preferred) queues_.push(preferred_moves(i), key_of(state, i), preferred);
  }
  if (!bare_.empty()) queues_.push(bare_openings, key_of(state, 0), queues_.store(ref, bare_));
}

std::optional<std::pair<GuidedSearch::Ref, Move>> GuidedSearch::next_move(bool& is_from_side) {
  is_from_side = true;
  for (const std::size_t side : {known_keys, bare_openings}) {
    // why expansions and not moves: most moves of the main queues lead to known states, those at the side
    // hardly ever, and what is expanded from there fills the main queues.
    std::uint64_t& next = next_side_turn_[side - main_queues];
    if (statistics_.expanded < next) continue;
    next = statistics_.expanded + side_period;
    if (const auto taken = queues_.pop(side)) return taken;
  }
  is_from_side = false;
  if (statistics_.expanded >= next_exploration_) {
    next_exploration_ = statistics_.expanded + exploration_period;
    if (const auto taken = types_.pop(queues_)) return taken;
  }
  while (true) {
    std::size_t least = main_queues;
    for (std::size_t queue = 0; queue < main_queues; ++queue)
      if (!queues_.is_empty(queue) && (least == main_queues || turns_[queue] < turns_[least])) least = queue;
    if (least == main_queues) break;
    if (const auto taken = queues_.pop(least)) {
      ++turns_[least];
      return taken;
    }
  }
  is_from_side = true;
  for (const std::size_t side : {known_keys, bare_openings})
    if (const auto taken = queues_.pop(side)) return taken;
  return std::nullopt;
}

std::uint64_t GuidedSearch::memory() const {
  return successors_.bytes() + queues_.bytes() + table_.capacity() * sizeof(Ref) + estimates_.bytes();
}

void GuidedSearch::report(SearchProgress& progress) const {
  progress.open += queues_.stored() - queues_.taken();
  progress.stored_bytes += memory();
  if (progress.best_estimate < 0 || best_[0] < progress.best_estimate) progress.best_estimate = best_[0];
}

void GuidedSearch::log_progress(const SearchGuard& guard) {
  if (!Log::enabled(LogLevel::INFO)) return;
  const double elapsed = std::max(guard.seconds() - last_log_, 1e-3);
  ZORVEL_LOG(INFO) << "Avg depth: " << static_cast<double>(depth_sum_) / 1000.0
                   << ", Open size: " << queues_.stored() - queues_.taken()
                   << ", States expanded: " << statistics_.expanded << ", Speed: " << 1000 / elapsed
                   << " states/s";
  depth_sum_ = 0;
  last_log_ = guard.seconds();
}

SearchOutcome GuidedSearch::finish(SearchOutcome outcome) {
  statistics_.bytes = memory();
  statistics_.most_states = statistics_.stored;
  statistics_.moves_offered = queues_.stored();
  statistics_.moves_taken = queues_.taken();
  return outcome;
}

SearchOutcome GuidedSearch::run(const PlainState<double>& initial, SearchGuard& guard,
                                std::uint64_t most_expansions) {
  const std::uint64_t first = statistics_.expanded;
  const double started = guard.seconds();
  const std::clock_t processor_start = std::clock();
  const auto end = [&](SearchOutcome outcome) {
    statistics_.seconds += guard.seconds() - started;
    statistics_.processor_seconds += static_cast<double>(std::clock() - processor_start) / CLOCKS_PER_SEC;
    return finish(outcome);
  };
  if (!has_begun_) {
    has_begun_ = true;
    ZORVEL_LOG(INFO) << "Start FTP";
    if (!successors_.build_initial(initial)) return end(SearchOutcome::no_plan);
    if (take_built(guard) == Verdict::goal) return end(SearchOutcome::plan_found);
  }
  bool is_from_side = false;
  while (true) {
    const std::uint64_t expanded = statistics_.expanded, evaluated = statistics_.evaluated;
    if (expanded - first >= most_expansions) return end(SearchOutcome::expansion_limit);
    const auto next = next_move(is_from_side);
    if (!next) return end(SearchOutcome::no_plan);
    if (examine(is_from_side, next->first, next->second, guard) == Verdict::goal)
      return end(SearchOutcome::plan_found);
    if (statistics_.expanded != expanded && guard.must_stop_expanding()) return end(guard.outcome());
    if (guard.must_stop(1 + work_of_evaluation * (statistics_.evaluated - evaluated)))
      return end(guard.outcome());
  }
}

}  // namespace zorvel::tp::ftp
