#include "search/classical/tsimple/classical_search.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <ctime>

#include "core/log.h"
#include "model/walkers/expression_simplifier.h"
#include "search/heuristics/heuristic.h"

namespace zorvel::tsimple {

namespace {

constexpr std::uint64_t work_of_estimate = 4;  // in the guard's units

std::vector<CompiledCondition> compile(EvaluationTables& tables, const std::vector<Node*>& conditions) {
  const model::ExpressionSimplifier simplify(tables.layout.env());
  std::vector<CompiledCondition> compiled;
  for (Node* condition : conditions)
    compiled.push_back(tables.compiler.compile_condition(simplify(condition)));
  return compiled;
}

/// By slot: the numbers of the conditions that read it.
std::vector<std::vector<std::uint32_t>> readers(std::size_t slots,
                                                const std::vector<CompiledCondition>& conditions) {
  std::vector<std::vector<std::uint32_t>> by_slot(slots);
  for (std::uint32_t number = 0; number < conditions.size(); ++number)
    for (const std::uint32_t slot : conditions[number].slots_read()) by_slot[slot].push_back(number);
  return by_slot;
}

bool has_bit(std::span<const std::uint32_t> bits, std::uint32_t number) {
  return (bits[number / 32] >> (number % 32) & 1) != 0;
}
void set_bit(std::span<std::uint32_t> bits, std::uint32_t number) {
  bits[number / 32] |= std::uint32_t{1} << (number % 32);
}
std::uint32_t count_bits(std::span<const std::uint32_t> bits) {
  std::uint32_t count = 0;
  for (const std::uint32_t word : bits) count += static_cast<std::uint32_t>(std::popcount(word));
  return count;
}

std::size_t words_of(std::size_t bits) { return (bits + 31) / 32; }

}  // namespace

ClassicalSearch::ClassicalSearch(const TSimpleModel& model, EvaluationTables& tables,
                                 std::vector<std::uint32_t> actions, SearchOptions options,
                                 SearchGuard& guard)
    : model_(model),
      tables_(tables),
      options_(std::move(options)),
      guard_(guard),
      slots_(tables.layout.slots()),
      initial_(slots_),
      action_numbers_(std::move(actions)),
      goals_(compile(tables, model.goals())),
      landmarks_(compile(tables, model.landmarks())),
      goals_of_slot_(readers(slots_, goals_)),
      landmarks_of_slot_(readers(slots_, landmarks_)),
      keeps_notes_(options_.heuristic && options_.heuristic->keeps_notes()),
      states_(slots_, 32 * (words_of(landmarks_.size()) + (keeps_notes_ ? 1 : 0))),
      child_(slots_),
      landmark_words_(words_of(landmarks_.size())) {
  parent_goals_.resize(goals_.size());
  goal_stamps_.resize(goals_.size());
  landmark_stamps_.resize(landmarks_.size());
  assert(std::ranges::is_sorted(action_numbers_));  // children come in this order
  if (options_.width > 0)
    seen_ = std::make_unique<Trie>(slots_, options_.width, [this] { return guard_.must_stop_now(); });
}

SearchOutcome ClassicalSearch::run() {
  const double started = guard_.seconds();
  const std::clock_t processor_start = std::clock();
  const SearchGuard::Watch watch(guard_, [this](SearchProgress& progress) {
    progress.open = open_.size();
    progress.stored_bytes = memory();
    progress.best_estimate = best_estimate_;
  });
  push_initial();
  const SearchOutcome outcome = search();
  statistics_.seconds = guard_.seconds() - started;
  statistics_.processor_seconds = static_cast<double>(std::clock() - processor_start) / CLOCKS_PER_SEC;
  statistics_.most_states = statistics_.stored;
  statistics_.bytes = memory();
  ZORVEL_LOG(DEBUG) << (outcome == SearchOutcome::plan_found ? "Plan Found!" : "No Plan Exists!");
  ZORVEL_LOG(DEBUG) << "Explored " << statistics_.expanded << " states";
  return outcome;
}

void ClassicalSearch::push_initial() {
  const PathState initial = model_.initial_state();
  assert(open_.empty() && actions_.empty());
  tables_.layout.pack(initial, initial_.data());
  std::vector<std::vector<SuccessorGenerator::Demand>> demands;
  for (const std::uint32_t number : action_numbers_) {
    assert(number < model_.actions().size());
    actions_.emplace_back(model_.actions()[number], tables_, initial_.data());
    demands.push_back(actions_.back().demands());
  }
  generator_ = std::make_unique<SuccessorGenerator>(std::move(demands));

  child_ = initial_;
  child_hash_ = states_.hash_of(child_.data());
  child_bits_.assign(states_.bit_words(), 0);
  for (const unsigned long landmark : initial.achieved_landmarks)
    set_bit(child_bits_, static_cast<std::uint32_t>(landmark));
  if (seen_ && !options_.skips_initial_tuples) seen_->add_all(child_.data());
  const StateInfo info{no_state, 0, 0, static_cast<std::uint32_t>(initial.achieved_goals)};
  // The initial state is searched even if the heuristic takes it for a dead end.
  const double h = estimate(info, 0).value_or(dead_end);
  ZORVEL_LOG(INFO) << "Initial H=" << h;
  ++statistics_.stored;
  open_.push_back({h * options_.weight, states_.insert(info, child_bits_, child_.data(), child_hash_)});
}

SearchOutcome ClassicalSearch::search() {
  while (!open_.empty()) {
    std::pop_heap(open_.begin(), open_.end(), is_worse);
    const Entry entry = open_.back();
    open_.pop_back();
    ++statistics_.expanded;
    if (statistics_.expanded % 1000 == 0) log_state("Current depth: ", entry);
    if (guard_.must_stop_expanding()) return guard_.outcome();
    ZORVEL_LOG(TRACE) << "Current state:\n"
                      << model::print_expression{
                             tables_.layout.unpack(states_.values(entry.state))
                                 .as_expression(model_.index(), model_.env().expression_factory(), 0)};
    const StateInfo info = states_.info(entry.state);
    assert(info.achieved_goals <= goals_.size());
    if (is_goal(info)) {
      log_state("Final depth: ", entry);
      goal_ = entry;
      return SearchOutcome::plan_found;
    }
    if (options_.serializes_goals && info.parent != no_state &&
        info.achieved_goals > states_.info(info.parent).achieved_goals)
      commit_to(entry.state);
    expand(entry.state);
    if (guard_.outcome() != SearchOutcome::not_run) return guard_.outcome();
  }
  return has_left_out_states_ ? SearchOutcome::incomplete : SearchOutcome::no_plan;
}

void ClassicalSearch::commit_to(StateId id) {
  has_left_out_states_ = has_left_out_states_ || !open_.empty();
  for (const Entry& entry : open_) states_.erase(entry.state);
  open_.clear();
  if (!seen_) return;
  seen_->clear();
  if (!options_.skips_initial_tuples) seen_->add_all(states_.values(id));
}

void ClassicalSearch::expand(StateId id) {
  const ValueId* const values = states_.values(id);
  assert(states_.hash(id) == states_.hash_of(values));
  std::copy_n(values, slots_, child_.begin());
  parent_goal_count_ = 0;
  for (std::size_t goal = 0; goal < goals_.size(); ++goal) {
    parent_goals_[goal] = goals_[goal].holds(values) ? 1 : 0;
    parent_goal_count_ += static_cast<std::uint32_t>(parent_goals_[goal]);
  }
  for (const std::uint32_t action : generator_->applicable(values)) {
    if (!actions_[action].meets_rest(values)) continue;
    if (!actions_[action].compute(values, writes_, plain_writes_)) continue;
    make_child(id, action);
    if (guard_.outcome() != SearchOutcome::not_run) return;
  }
  assert(std::equal(child_.begin(), child_.end(), values));  // each child was taken back
}

/// Makes the child that `writes_` says, pushes it if it is to be searched, and takes the writes back.
void ClassicalSearch::make_child(StateId parent, std::uint32_t action) {
  child_hash_ = states_.hash(parent);
  write_child();
  const auto bits = states_.bits(parent);
  child_bits_.assign(bits.begin(), bits.end());
  std::fill(child_bits_.begin() + static_cast<std::ptrdiff_t>(landmark_words_), child_bits_.end(), 0);
  // The novelty test marks what it sees, so it comes before the look at the states that are there, but where
  // there is none that look is the cheapest.
  bool is_wanted = seen_ || !states_.contains(child_.data(), child_hash_);
  if (is_wanted) note_achievements();
  if (is_wanted && seen_) {
    const bool is_new = is_novel();
    is_wanted = !states_.contains(child_.data(), child_hash_);
    // A tuple of all slots is a state: then this one was dropped before, as a dead end.
    const bool was_dead_end = options_.width == slots_;
    has_left_out_states_ = has_left_out_states_ || (is_wanted && !is_new && !was_dead_end);
    is_wanted = is_wanted && is_new && guard_.outcome() == SearchOutcome::not_run;
  }
  if (is_wanted)
    evaluate_and_push({parent, action, states_.info(parent).depth + 1, child_goals_},
                      keeps_notes_ ? bits[landmark_words_] : 0);
  undo_child();
}

void ClassicalSearch::write_child() {
  old_values_.clear();
  for (const SlotWrite& write : writes_) {
    assert(write.slot < slots_);
    ValueId& value = child_[write.slot];
    old_values_.push_back({write.slot, value});
    child_hash_ ^= StateTable::hash_of(write.slot, value) ^ StateTable::hash_of(write.slot, write.value);
    value = write.value;
  }
}

void ClassicalSearch::undo_child() {
  for (auto write = old_values_.rbegin(); write != old_values_.rend(); ++write)
    child_[write->slot] = write->value;
}

/// Counts the goals of the child and adds its landmarks, of which only those that read a changed slot can
/// differ from the parent's.
void ClassicalSearch::note_achievements() {
  child_goals_ = parent_goal_count_;
  ++stamp_;
  const std::span<std::uint32_t> landmark_bits = std::span(child_bits_).first(landmark_words_);
  for (const SlotWrite& old : old_values_) {
    if (child_[old.slot] == old.value) continue;
    for (const std::uint32_t goal : goals_of_slot_[old.slot]) {
      if (goal_stamps_[goal] == stamp_) continue;
      goal_stamps_[goal] = stamp_;
      child_goals_ += goals_[goal].holds(child_.data()) ? 1 : 0;
      child_goals_ -= static_cast<std::uint32_t>(parent_goals_[goal]);
    }
    for (const std::uint32_t landmark : landmarks_of_slot_[old.slot]) {
      if (landmark_stamps_[landmark] == stamp_ || has_bit(landmark_bits, landmark)) continue;
      landmark_stamps_[landmark] = stamp_;
      if (landmarks_[landmark].holds(child_.data())) set_bit(landmark_bits, landmark);
    }
  }
}

bool ClassicalSearch::is_novel() {
  // What simulated effects write makes no state novel by itself.
  assert(plain_writes_ <= writes_.size());
  bool is_new = false;
  for (std::size_t i = 0; i < plain_writes_; ++i)
    is_new = seen_->add_with(child_.data(), writes_[i].slot) || is_new;
  return is_new;
}

/// The estimate for the child; none if it is a dead end.
std::optional<double> ClassicalSearch::estimate(const StateInfo& info, std::uint32_t parent_note) {
  if (!options_.heuristic) return 0.0;
  ++statistics_.evaluated;
  StateView view;
  view.values = child_.data();
  view.depth = info.depth;
  view.parent_note = parent_note;
  if (keeps_notes_) view.note = &child_bits_[landmark_words_];
  double h = options_.heuristic->estimate(view);
  guard_.must_stop(work_of_estimate);
  if (h < 0) return std::nullopt;
  if (h > 0 && options_.cost_of_missing > 0) {
    const std::size_t met = info.achieved_goals + count_bits(std::span(child_bits_).first(landmark_words_));
    assert(met <= goals_.size() + landmarks_.size());
    h += options_.cost_of_missing * static_cast<double>(goals_.size() + landmarks_.size() - met);
  }
  if (best_estimate_ < 0 || h < best_estimate_) best_estimate_ = h;
  return h;
}

void ClassicalSearch::evaluate_and_push(const StateInfo& info, std::uint32_t parent_note) {
  const auto h = estimate(info, parent_note);
  if (!h) return;
  ++statistics_.stored;
  const double w = options_.weight;
  open_.push_back(
      {*h * w + (1 - w) * info.depth, states_.insert(info, child_bits_, child_.data(), child_hash_)});
  std::push_heap(open_.begin(), open_.end(), is_worse);
}

std::vector<StateId> ClassicalSearch::path() const {
  assert(goal_.state != no_state);
  std::vector<StateId> path;
  for (StateId id = goal_.state; id != no_state; id = states_.info(id).parent) path.push_back(id);
  std::reverse(path.begin(), path.end());
  return path;
}

std::uint64_t ClassicalSearch::memory() const {
  return states_.bytes() + open_.capacity() * sizeof(Entry) + (seen_ ? seen_->bytes() : 0);
}

void ClassicalSearch::log_state(const char* title, const Entry& entry) const {
  const double g = states_.info(entry.state).depth, w = options_.weight;
  const auto open = static_cast<double>(open_.size());
  const auto closed = static_cast<double>(states_.size() - open_.size());
  ZORVEL_LOG(INFO) << title << g << ", Open size: " << open_.size()
                   << ", Closed size: " << states_.size() - open_.size() << ", Ratio: " << open / closed
                   << ", H: " << (entry.f - (1 - w) * g) / w;
}

}  // namespace zorvel::tsimple
