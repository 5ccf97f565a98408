#include "search/forward/dense/dense_search.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <ctime>
#include <optional>

#include "core/configuration.h"
#include "core/log.h"

namespace zorvel::tp::ftp {

namespace {

// In the guard's units.
constexpr std::uint64_t work_of_move = 1, work_of_estimate = 4;
constexpr std::uint64_t most_states_step = 256;
constexpr std::size_t slot_block = 1 << 14;  // slot values in one block of the store

std::uint64_t hash_of(const std::uint32_t* slots, std::size_t count, std::uint64_t tag) {
  std::uint64_t hash = tag * 0x9e3779b97f4a7c15U + count;
  for (std::size_t i = 0; i < count; ++i) {
    hash ^= slots[i];
    hash *= 0xff51afd7ed558ccdU;
    hash ^= hash >> 32;
  }
  return hash;
}

}  // namespace

bool DenseSearch::SlotKeyEqual::operator()(const SlotKey& a, const SlotKey& b) const {
  return a.hash == b.hash && a.tag == b.tag && std::equal(a.slots, a.slots + slots, b.slots);
}

DenseSearch::DenseSearch(const DenseProblem& problem, const Heuristics& heuristics,
                         std::vector<ActionId> openable, SearchGuard& guard)
    : problem_(problem),
      heuristics_(heuristics),
      openable_(std::move(openable)),
      guard_(guard),
      successors_(problem),
      open_(std::max<std::size_t>(1, heuristics.size())),
      f_(std::max<std::size_t>(1, heuristics.size())),
      weights_(f_.size()),
      end_values_(16, SlotKeyHash(), SlotKeyEqual{problem.slots()}),
      closed_(16, SlotKeyHash(), SlotKeyEqual{problem.slots()}),
      is_open_(problem.action_count(), false) {
  if (std::ranges::any_of(heuristics, [](const auto& h) { return h && h->is_worth_caching(); }))
    estimates_ =
        std::make_unique<EstimateCache>(problem.slots(), problem.model().chain_lengths(), heuristics.size());
  if (estimates_ && estimates_->is_small()) estimates_.reset();
  assert(std::ranges::all_of(openable_, [&](ActionId action) { return action < problem_.action_count(); }));
}

bool DenseSearch::evaluate() {
  const StateView state = successors_.built();
  const double g = state.depth;
  if (heuristics_.empty()) {
    f_[0] = g;
    return true;
  }
  Configuration& configuration = problem_.model().env().configuration();
  if (configuration.changes() != configuration_seen_) {
    configuration_seen_ = configuration.changes();
    for (std::size_t i = 0; i < heuristics_.size(); ++i)
      if (heuristics_[i]) weights_[i] = heuristics_[i]->weight();
  }
  double* const known = estimates_ ? estimates_->find(state) : nullptr;
  for (std::size_t i = 0; i < heuristics_.size(); ++i) {
    if (!heuristics_[i]) {
      f_[i] = g;
      continue;
    }
    const double h = estimate(i, state, known);
    if (h == dead_end) return false;
    if (best_estimate_ < 0 || h < best_estimate_) best_estimate_ = h;
    f_[i] = (1 - weights_[i]) * g + weights_[i] * h;
  }
  return true;
}

double DenseSearch::estimate(std::size_t heuristic, const StateView& state, double* known) {
  const bool is_cached = known != nullptr && heuristics_[heuristic]->is_worth_caching();
  if (is_cached && !std::isnan(known[heuristic])) return known[heuristic];
  ++statistics_.evaluated;
  guard_.must_stop(work_of_estimate);
  const double h = heuristics_[heuristic]->estimate(state);
  if (is_cached) known[heuristic] = h;
  return h;
}

void DenseSearch::push_built() {
  if (!evaluate()) return;
  const Ref state = successors_.keep();
  const auto todo_lists = static_cast<std::uint32_t>(successors_.state(state)->todo_count);
  ++statistics_.stored;
  ++live_;
  open_.push(f_, todo_lists, state);
}

void DenseSearch::drop(Ref state) {
  assert(live_ > 0);
  successors_.release(state);
  --live_;
}

DenseSearch::SlotKey DenseSearch::key_of(const DenseState* state, std::uint64_t tag) {
  const std::uint32_t* const slots = successors_.values(state);
  return {slots, hash_of(slots, problem_.slots(), tag), tag};
}

bool DenseSearch::insert(SlotSet& set, const DenseState* state, std::uint64_t tag) {
  const std::size_t count = problem_.slots();
  SlotKey key = key_of(state, tag);
  if (set.contains(key)) return false;
  if (slot_store_.empty() || slot_store_used_ + count > std::max(slot_block, count)) {
    slot_store_.push_back(std::make_unique_for_overwrite<std::uint32_t[]>(std::max(slot_block, count)));
    slot_store_used_ = 0;
  }
  std::uint32_t* const kept = slot_store_.back().get() + slot_store_used_;
  slot_store_used_ += count;
  std::copy_n(key.slots, count, kept);
  key.slots = kept;
  set.insert(key);
  return true;
}

bool DenseSearch::is_seen_at_end(const DenseState* state) {
  const auto todo = successors_.layout().todo(state);
  if (todo.size() != 1 || todo[0].chain >= DenseProblem::first_action_chain) return false;
  const auto& chain = problem_.chain(todo[0].chain).events;
  assert(todo[0].cursor < chain.size());
  const DenseEvent& next = problem_.event(chain[todo[0].cursor]);
  // Only a point at the very end: from there on nothing can happen but the rest of the list.
  const bool is_at_end = !next.from_start && next.shift == 0.0 && !next.is_opener && !next.opener;
  if (!is_at_end) return false;
  return !insert(end_values_, state, chain.size() - todo[0].cursor);
}

std::uint64_t DenseSearch::weak_tag(const DenseState* state) const {
  const auto todo = successors_.layout().todo(state);
  if (todo.empty()) return 0;
  assert(todo[0].cursor < problem_.chain(todo[0].chain).events.size());
  const std::size_t first = problem_.chain(todo[0].chain).events.size() - todo[0].cursor;
  return (static_cast<std::uint64_t>(todo.size()) << 32) | first;
}

void DenseSearch::expand(const DenseState* state) {
  const auto todo = successors_.layout().todo(state);
  // What may begin a list of todos is looked for nowhere else.
  assert(todo.empty() || std::ranges::find(todo.subspan(1), DenseProblem::start_chain, &Todo::chain) ==
                             todo.subspan(1).end());
  assert(std::ranges::find(is_open_, true) == is_open_.end());
  const bool start_is_pending = !todo.empty() && todo[0].chain == DenseProblem::start_chain;
  for (std::size_t list = 0; list < todo.size(); ++list) {
    // The plan ends behind all timed events, so its final checks come after them.
    if (start_is_pending && todo[list].chain == DenseProblem::end_chain) continue;
    if (successors_.apply(state, list)) push_built();
    if (guard_.must_stop(work_of_move)) return;
  }
  for (const Todo& entry : todo)
    if (entry.chain >= DenseProblem::first_action_chain)
      is_open_[entry.chain - DenseProblem::first_action_chain] = true;
  for (const ActionId action : openable_) {
    if (!is_open_[action] && successors_.open(state, action)) push_built();
    // Between the children too: a state may have thousands of them.
    if (guard_.must_stop(work_of_move)) break;
  }
  for (const Todo& entry : todo)
    if (entry.chain >= DenseProblem::first_action_chain)
      is_open_[entry.chain - DenseProblem::first_action_chain] = false;
}

std::uint64_t DenseSearch::memory() const {
  std::uint64_t bytes = successors_.pool().used_bytes() + open_.bytes();
  for (const auto& heuristic : heuristics_)
    if (heuristic) bytes += heuristic->bytes();
  bytes += slot_store_.size() * std::max(slot_block, problem_.slots()) * sizeof(std::uint32_t);
  if (estimates_) bytes += estimates_->bytes();
  return bytes + (end_values_.size() + closed_.size()) * (sizeof(SlotKey) + 3 * sizeof(void*));
}

void DenseSearch::log_progress() {
  if (Log::enabled(LogLevel::INFO)) {
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - last_log_);
    ZORVEL_LOG(INFO) << "Avg depth: " << static_cast<double>(depth_sum_) / 1000.0
                     << ", Open size: " << open_.size() << ", States expanded: " << statistics_.expanded
                     << ", Speed: " << 1000.0 / (static_cast<double>(elapsed.count()) / 1000.0)
                     << " states/s";
  }
  depth_sum_ = 0;
  last_log_ = std::chrono::steady_clock::now();
}

SearchOutcome DenseSearch::run(const PlainState<double>* initial, bool weak) {
  ZORVEL_LOG(INFO) << "Start FTP";
  const double started = guard_.seconds();
  last_log_ = std::chrono::steady_clock::now();
  const std::clock_t processor_start = std::clock();
  const SearchGuard::Watch watch(guard_, [this](SearchProgress& progress) {
    progress.open = open_.size();
    progress.stored_bytes = memory();
    progress.best_estimate = best_estimate_;
  });
  assert(live_ == 0 && events_.empty());  // a search is run once
  SearchOutcome outcome = SearchOutcome::no_plan;
  if (initial != nullptr && successors_.build_initial(*initial)) {
    push_built();
    outcome = search(weak);
  }
  statistics_.seconds = guard_.seconds() - started;
  statistics_.processor_seconds = static_cast<double>(std::clock() - processor_start) / CLOCKS_PER_SEC;
  return outcome;
}

SearchOutcome DenseSearch::search(bool weak) {
  while (const std::optional<Ref> taken = open_.take(statistics_.expanded)) {
    const Ref ref = *taken;
    const DenseState* const state = successors_.state(ref);
    if (is_seen_at_end(state) || (weak && closed_.contains(key_of(state, weak_tag(state))))) {
      drop(ref);
      continue;
    }
    ++statistics_.expanded;
    depth_sum_ += state->depth;
    if (statistics_.expanded % 1000 == 0) log_progress();
    if (guard_.must_stop_expanding()) return guard_.outcome();
    if (state->todo_count == 0 && state->active_count == 0) {
      ZORVEL_LOG(INFO) << "Final depth: " << state->depth << ", Open size: " << open_.size()
                       << ", States expanded: " << statistics_.expanded;
      events_ = successors_.events_to(state);
      return SearchOutcome::plan_found;
    }
    expand(state);
    if (guard_.outcome() != SearchOutcome::not_run) return guard_.outcome();
    if (live_ >= statistics_.most_states + most_states_step) {
      statistics_.most_states = live_;
      statistics_.bytes = memory();
    }
    if (weak) insert(closed_, state, weak_tag(state));
    drop(ref);
  }
  return SearchOutcome::no_plan;
}

}  // namespace zorvel::tp::ftp
