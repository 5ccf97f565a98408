#include "search/forward/guided/estimates/guided_estimates.h"

#include <algorithm>
#include <cassert>

#include "search/heuristics/landmarks/fact_landmarks.h"

namespace zorvel::tp::ftp {

namespace {

constexpr std::uint32_t own_chains = first_action_chain;  // the problem's own chains come before the actions'
constexpr FactId no_mark = no_fact;
constexpr std::uint32_t the_state = ~std::uint32_t{0};  // in place of a chain: what holds already

// Of the search for landmarks, in conditions of operators looked at: some tenths of a second at most.
constexpr std::uint64_t most_landmark_work = 30'000'000;

}  // namespace

GuidedEstimates::GuidedEstimates(const DenseProblem& problem, const ValueId* initial,
                                 std::function<bool()> must_stop)
    : problem_(problem),
      must_stop_(std::move(must_stop)),
      builder_(problem, problem.tables(), must_stop_),
      is_relevant_(problem.action_count(), 0),
      split_(problem.action_count(), PieceBuilder::no_position),
      open_mark_(problem.action_count(), no_mark),
      counted_in_(problem.action_count(), 0),
      open_in_(problem.action_count(), 0) {
  if (!builder_.is_complete()) return;
  read_own_chains();
  find_relevant(initial);
  if (must_stop_ && must_stop_()) return;
  find_landmarks(initial);
  if (must_stop_ && must_stop_()) return;
  build_pieces();
  is_complete_ = true;
}

void GuidedEstimates::read_own_chains() {
  for (std::uint32_t number = 0; number < own_chains; ++number) {
    const auto& events = problem_.chain(number).events;
    // From the last to the first: those who read them stop at what is past.
    std::vector<char> is_seen(builder_.facts().size(), 0);
    for (auto position = static_cast<std::uint32_t>(events.size()); position-- > 0;) {
      for (const PieceBuilder::Condition& condition : builder_.conditions(events[position]))
        timed_goals_[number].push_back({position, condition});
      for (const FactId fact : builder_.added(events[position])) {
        if (is_seen[fact] != 0) continue;
        is_seen[fact] = 1;
        timed_facts_[number].push_back({position, fact});
      }
    }
  }
}

void GuidedEstimates::find_relevant(const ValueId* initial) {
  std::vector<OpenChain> open;
  for (std::uint32_t chain = 0; chain < own_chains; ++chain)
    if (!problem_.chain(chain).events.empty()) open.push_back({chain, 0});
  StateView state;
  state.values = initial;
  state.open = open;
  events_ = std::make_unique<RelaxedTask>(builder_.facts());
  builder_.add_events(*events_, [](ActionId) { return true; });
  events_->finish();
  event_pass_ = std::make_unique<RelaxedPass>(*events_, true);
  is_unsolvable_ = run_events(state) == RelaxedPass::unreachable;

  const auto is_reached = [&](FactId fact) { return event_pass_->cost(fact) != RelaxedPass::unreachable; };
  for (ActionId action = 0; action < problem_.action_count(); ++action) {
    bool is_reachable = std::ranges::all_of(builder_.opening(action), is_reached);
    for (const std::uint32_t event : problem_.chain(first_action_chain + action).events)
      for (const PieceBuilder::Condition& condition : builder_.conditions(event))
        is_reachable = is_reachable && is_reached(condition.fact);
    is_relevant_[action] = is_reachable ? 1 : 0;
  }
  is_relevant_ = builder_.find_useful([this](ActionId action) { return is_relevant(action); });
  assert(is_relevant_.size() == problem_.action_count());
  if (std::ranges::find(is_relevant_, 0) == is_relevant_.end()) return;
  events_ = std::make_unique<RelaxedTask>(builder_.facts());
  builder_.add_events(*events_, [this](ActionId action) { return is_relevant(action); });
  events_->finish();
  event_pass_ = std::make_unique<RelaxedPass>(*events_, true);
}

void GuidedEstimates::build_pieces() {
  builder_.note_askers([this](ActionId action) { return is_relevant(action); });
  for (ActionId action = 0; action < problem_.action_count(); ++action) {
    if (!is_relevant(action)) continue;
    split_[action] = builder_.envelope_split(action);
    if (is_envelope(action)) open_mark_[action] = builder_.facts().new_mark();
  }
  windows_ = std::make_unique<WindowFacts>(problem_, builder_,
                                           [this](ActionId action) { return is_relevant(action); });
  pieces_ = std::make_unique<RelaxedTask>(builder_.facts());
  for (ActionId action = 0; action < problem_.action_count(); ++action)
    if (is_relevant(action))
      builder_.add_pieces(*pieces_, action, split_[action], open_mark_[action], *windows_);
  pieces_->finish();
  piece_pass_ = std::make_unique<RelaxedPass>(*pieces_, false);
}

void GuidedEstimates::find_landmarks(const ValueId* initial) {
  std::vector<FactId> given, goals, passed;
  for (std::uint32_t number = 0; number < own_chains; ++number) {
    for (const TimedFact& timed : timed_facts_[number]) given.push_back(timed.fact);
    // What the end chain asks for must hold again if it is lost; a condition before that has its moment.
    for (const TimedGoal& goal : timed_goals_[number])
      (number == DenseProblem::end_chain ? goals : passed).push_back(goal.condition.fact);
  }
  FactLandmarks found(*events_, problem_.tables().layout, initial, std::move(given));
  found.run(goals, passed, most_landmark_work, must_stop_);
  landmarks_ = std::make_unique<LandmarkGraph>(found.graph(problem_.model().env()));
  truths_ = std::make_unique<LandmarkTruths>(*landmarks_,
                                             std::vector<ValueId>(initial, initial + problem_.slots()));
  reached_sets_ = std::make_unique<ReachedSets>(landmarks_->words());
  landmarks_with_.resize(builder_.facts().size());
  for (LandmarkGraph::LandmarkId landmark = 0; landmark < found.landmarks().size(); ++landmark)
    for (const FactId fact : found.landmarks()[landmark].facts) landmarks_with_[fact].push_back(landmark);
  reached_.resize(landmarks_->words());
  on_its_way_.resize(landmarks_->words());
}

double GuidedEstimates::count_landmarks(const StateView& state) {
  truths_->set_first(state.values, problem_.slots());
  const LandmarkGraph::Word* const holding = truths_->holding();
  // What an open action will write needs its conditions no more: they were met.
  std::ranges::fill(on_its_way_, 0);
  for (const OpenChain& open : state.open) {
    if (open.chain < own_chains) continue;
    const auto& events = problem_.chain(open.chain).events;
    for (std::size_t position = open.cursor; position < events.size(); ++position)
      for (const FactId fact : builder_.added(events[position]))
        for (const LandmarkGraph::LandmarkId landmark : landmarks_with_[fact])
          on_its_way_[landmark / LandmarkGraph::bits] |= LandmarkGraph::Word{1}
                                                         << (landmark % LandmarkGraph::bits);
  }
  const bool is_initial = state.parent_note == 0;
  landmarks_->reach_with_predecessors(is_initial ? nullptr : (*reached_sets_)[state.parent_note], holding,
                                      reached_.data());
  if (state.note != nullptr) *state.note = reached_sets_->insert(reached_.data());
  return static_cast<double>(landmarks_->count_needed(reached_.data(), holding, on_its_way_.data()));
}

void GuidedEstimates::add_goals(RelaxedPass& pass, const StateView& state) {
  for (const OpenChain& open : state.open) {
    const auto is_to_be_met = [&](const PieceBuilder::Condition& condition) {
      return condition.written_at == PieceBuilder::no_position || condition.written_at < open.cursor;
    };
    if (open.chain < own_chains) {
      for (const TimedGoal& goal : timed_goals_[open.chain]) {
        if (goal.position < open.cursor) break;
        if (is_to_be_met(goal.condition)) pass.add_goal(goal.condition.fact);
      }
      continue;
    }
    const auto& events = problem_.chain(open.chain).events;
    for (std::size_t position = open.cursor; position < events.size(); ++position)
      for (const PieceBuilder::Condition& condition : builder_.conditions(events[position]))
        if (is_to_be_met(condition)) pass.add_goal(condition.fact);
  }
}

void GuidedEstimates::add_own_chain(RelaxedPass& pass, const OpenChain& open) {
  gained_.clear();
  for (const TimedFact& timed : timed_facts_[open.chain]) {
    if (timed.last_position < open.cursor) break;
    gained_.push_back(timed.fact);
    // The marks of windows are facts of the pieces alone: the events were set up before there were any.
    if (&pass == piece_pass_.get()) windows_->append_all(timed.fact, gained_);
  }
  if (gained_.empty()) return;
  pass.add_extra({}, gained_, 1);
  extra_chains_.push_back(open.chain);
}

void GuidedEstimates::add_open_piece(std::uint32_t chain, std::uint32_t first, std::uint32_t last,
                                     bool has_conditions, FactId mark) {
  assert(first <= last && last <= problem_.chain(chain).events.size());
  needed_.clear();
  gained_.clear();
  for (std::uint32_t position = first; position < last; ++position) {
    const std::uint32_t event = problem_.chain(chain).events[position];
    if (has_conditions)
      for (const PieceBuilder::Condition& condition : builder_.conditions(event))
        if (condition.written_at == PieceBuilder::no_position || condition.written_at < first)
          needed_.push_back(windows_->needed(chain - first_action_chain, condition.fact));
    gained_.insert(gained_.end(), builder_.added(event).begin(), builder_.added(event).end());
    windows_->append_given(chain - first_action_chain, position, gained_);
  }
  if (mark != no_mark) gained_.push_back(mark);
  if (gained_.empty()) return;
  std::ranges::sort(needed_);
  needed_.erase(std::unique(needed_.begin(), needed_.end()), needed_.end());
  piece_pass_->add_extra(needed_, gained_, 1);
  extra_chains_.push_back(chain);
}

void GuidedEstimates::add_open_pieces(const OpenChain& open) {
  const ActionId action = open.chain - first_action_chain;
  const auto size = static_cast<std::uint32_t>(problem_.chain(open.chain).events.size());
  if (!is_envelope(action)) return add_open_piece(open.chain, open.cursor, size, false, no_mark);
  // Before its split, the second piece is the one of the task.
  if (open.cursor < split_[action])
    add_open_piece(open.chain, open.cursor, split_[action], true, open_mark_[action]);
  else
    add_open_piece(open.chain, open.cursor, size, true, no_mark);
}

void GuidedEstimates::add_open_events(const OpenChain& open) {
  needed_.clear();
  const auto& events = problem_.chain(open.chain).events;
  for (std::size_t position = open.cursor; position < events.size(); ++position) {
    for (const PieceBuilder::Condition& condition : builder_.conditions(events[position]))
      if (std::ranges::find(needed_, condition.fact) == needed_.end()) needed_.push_back(condition.fact);
    if (builder_.added(events[position]).empty()) continue;
    event_pass_->add_extra(needed_, builder_.added(events[position]), 1);
    extra_chains_.push_back(open.chain);
  }
}

GuidedEstimates::Cost GuidedEstimates::run_pieces(const StateView& state) {
  piece_pass_->begin(state.values);
  extra_chains_.clear();
  add_goals(*piece_pass_, state);
  for (const OpenChain& open : state.open)
    open.chain < own_chains ? add_own_chain(*piece_pass_, open) : add_open_pieces(open);
  gained_.clear();
  windows_->append_holding(
      state.open, [this](FactId fact) { return piece_pass_->holds(fact); }, gained_);
  if (!gained_.empty()) {
    piece_pass_->add_extra({}, gained_, 0);
    extra_chains_.push_back(the_state);
  }
  return piece_pass_->settle(true);
}

GuidedEstimates::Cost GuidedEstimates::run_events(const StateView& state) {
  event_pass_->begin(state.values);
  extra_chains_.clear();
  add_goals(*event_pass_, state);
  for (const OpenChain& open : state.open)
    open.chain < own_chains ? add_own_chain(*event_pass_, open) : add_open_events(open);
  return event_pass_->settle(false);
}

GuidedEstimates::Estimate GuidedEstimates::evaluate(const StateView& state) {
  assert(is_complete_);
  ++evaluation_;
  preferred_.clear();
  counted_chains_.clear();
  if (custom_) {
    const double value = custom_->estimate(state);
    return {value == dead_end, {value, 0, 0}};
  }
  for (const OpenChain& open : state.open)
    if (open.chain >= first_action_chain) open_in_[open.chain - first_action_chain] = evaluation_;
  Estimate estimate;
  Cost additive = run_pieces(state);
  const bool is_in_pieces = additive != RelaxedPass::unreachable;
  if (!is_in_pieces) {
    additive = run_events(state);
    if (additive == RelaxedPass::unreachable) {
      estimate.is_dead_end = true;
      return estimate;
    }
  }
  estimate.values[0] = is_in_pieces ? read_relaxed_plan(*piece_pass_, *pieces_, state)
                                    : read_relaxed_plan(*event_pass_, *events_, state);
  estimate.values[1] = count_landmarks(state);
  estimate.values[2] = additive;
  assert(estimate.values[0] >= 0 && estimate.values[1] >= 0);
  return estimate;
}

double GuidedEstimates::read_relaxed_plan(RelaxedPass& pass, const RelaxedTask& task,
                                          const StateView& state) {
  double actions = 0;
  for (const RelaxedPass::Step& step : pass.extract()) {
    actions += step.times - 1;
    if (step.is_extra) {
      assert(step.number < extra_chains_.size());
      const std::uint32_t chain = extra_chains_[step.number];
      if (chain == the_state) continue;
      if (std::ranges::find(counted_chains_, chain) != counted_chains_.end()) continue;
      counted_chains_.push_back(chain);
      // The second piece of an envelope that is open before its split may have been counted.
      if (chain >= first_action_chain && counted_in_[chain - first_action_chain] == evaluation_) continue;
      if (chain >= first_action_chain) counted_in_[chain - first_action_chain] = evaluation_;
      ++actions;
      continue;
    }
    const ActionId action = task.owner(step.number);
    if (counted_in_[action] != evaluation_) {
      counted_in_[action] = evaluation_;
      ++actions;
    }
    if (!pass.is_free(step.number) || open_in_[action] == evaluation_) continue;
    if (problem_.action(action).opening.holds(state.values)) preferred_.push_back(action);
  }
  std::ranges::sort(preferred_);
  preferred_.erase(std::unique(preferred_.begin(), preferred_.end()), preferred_.end());
  return actions;
}

std::uint64_t GuidedEstimates::bytes() const {
  return events_->bytes() + pieces_->bytes() + event_pass_->bytes() + piece_pass_->bytes() +
         reached_sets_->bytes();
}

}  // namespace zorvel::tp::ftp
