#include "search/forward/guided/estimates/piece_builder.h"

#include <algorithm>
#include <cassert>

#include "search/forward/guided/estimates/window_facts.h"

namespace zorvel::tp::ftp {

namespace {

// How many actions are read between two looks at the limits: some 100 microseconds.
constexpr std::uint32_t poll_interval = 64;

/// Whether the condition of the event has to hold when it is applied. It need not at a left-open opener, and
/// the closer of an interval asks for it in any case.
bool has_condition(const DenseEvent& event) {
  return !event.is_effect_like && !(event.is_opener && event.is_left_open);
}

bool contains(std::span<const FactId> facts, FactId fact) {
  return std::find(facts.begin(), facts.end(), fact) != facts.end();
}

/// Whether the change can bring the predicate nearer, whatever the state.
bool can_help(const FactTable::Predicate& predicate, const FactTable::Change& change) {
  using Kind = FactTable::Predicate::Kind;
  if (predicate.kind == Kind::opaque || predicate.kind == Kind::equal) return true;
  return change.kind != FactTable::Change::Kind::addition ||
         predicate.form.factor_of(change.slot) * change.amount > 0;
}

}  // namespace

PieceBuilder::PieceBuilder(const DenseProblem& problem, EvaluationTables& tables,
                           std::function<bool()> must_stop)
    : problem_(problem), must_stop_(std::move(must_stop)), facts_(tables) {
  read_conditions();
  if (!is_complete_) return;
  facts_.freeze();
  events_.resize(problem.model().events().size());
  for (std::uint32_t chain = 0; chain < first_action_chain + problem.action_count(); ++chain) {
    if (poll()) return;
    if (chain >= first_action_chain) {
      facts_.append_facts(problem.action(chain - first_action_chain).opening, opening_);
      opening_offsets_.push_back(static_cast<std::uint32_t>(opening_.size()));
    }
    read_chain(chain);
  }
}

bool PieceBuilder::poll() {
  if (until_poll_-- > 0) return false;
  until_poll_ = poll_interval;
  if (must_stop_ && must_stop_()) is_complete_ = false;
  return !is_complete_;
}

void PieceBuilder::read_conditions() {
  for (std::uint32_t chain = 0; chain < first_action_chain + problem_.action_count(); ++chain) {
    if (poll()) return;
    if (chain >= first_action_chain) facts_.ask(problem_.action(chain - first_action_chain).opening);
    for (const std::uint32_t event : problem_.chain(chain).events)
      if (has_condition(problem_.event(event))) facts_.ask(problem_.event(event).condition);
  }
}

void PieceBuilder::read_chain(std::uint32_t number) {
  const DenseChain& chain = problem_.chain(number);
  std::vector<FactId> certain, possible;
  for (std::uint32_t position = 0; position < chain.events.size(); ++position) {
    const DenseEvent& event = problem_.event(chain.events[position]);
    EventFacts& own = events_[chain.events[position]];
    own.first_condition = own.last_condition = static_cast<std::uint32_t>(conditions_.size());
    own.first_added = own.first_possible = own.last_added = static_cast<std::uint32_t>(added_.size());
    certain.clear();
    possible.clear();
    if (has_condition(event)) {
      facts_.append_facts(event.condition, certain);
      for (const FactId fact : certain)
        conditions_.push_back({fact, position_written(chain, position, fact)});
      own.last_condition = static_cast<std::uint32_t>(conditions_.size());
    } else if (event.is_effect_like) {
      facts_.append_effect(event.effect, certain, possible);
      added_.insert(added_.end(), certain.begin(), certain.end());
      own.first_possible = static_cast<std::uint32_t>(added_.size());
      added_.insert(added_.end(), possible.begin(), possible.end());
      own.last_added = static_cast<std::uint32_t>(added_.size());
    }
  }
}

bool PieceBuilder::writes_any_of(std::uint32_t event, std::span<const std::uint32_t> slots) const {
  const auto written = problem_.event(event).effect.slots_written();
  return std::any_of(slots.begin(), slots.end(), [&](std::uint32_t slot) {
    return std::binary_search(written.begin(), written.end(), slot);
  });
}

std::uint32_t PieceBuilder::position_written(const DenseChain& chain, std::uint32_t position,
                                             FactId fact) const {
  const auto slots = facts_.slots_of(fact);
  while (position-- > 0) {
    const std::uint32_t event = chain.events[position];
    if (!problem_.event(event).is_effect_like || !writes_any_of(event, slots)) continue;
    // What a write does to a formula or a comparison is left open: it counts as making it true.
    return !facts_.is_literal(fact) || contains(added(event), fact) ? position : no_position;
  }
  return no_position;
}

void PieceBuilder::note_askers(const std::function<bool(ActionId)>& is_wanted) {
  asker_.assign(facts_.size(), nobody);
  const auto note = [&](FactId fact, std::uint32_t asker) {
    if (asker_[fact] == nobody)
      asker_[fact] = asker;
    else if (asker_[fact] != asker)
      asker_[fact] = several;
  };
  for (std::uint32_t chain = 0; chain < first_action_chain + problem_.action_count(); ++chain) {
    const std::uint32_t asker = chain < first_action_chain ? several : chain - first_action_chain;
    if (chain >= first_action_chain && !is_wanted(asker)) continue;
    if (chain >= first_action_chain)
      for (const FactId fact : opening(asker)) note(fact, asker);
    for (const std::uint32_t event : problem_.chain(chain).events)
      for (const Condition& condition : conditions(event)) note(condition.fact, asker);
  }
  for (const FactTable::Rule& rule : facts_.rules())
    for (const FactId fact : rule.body) note(fact, several);
}

std::vector<char> PieceBuilder::find_useful(const std::function<bool(ActionId)>& is_reachable) const {
  const std::size_t actions = problem_.action_count();
  // Facts, and behind them slots, whose every write matters.
  const std::size_t slots = facts_.slots();
  std::vector<std::vector<ActionId>> adders(facts_.size()), writers(slots);
  std::vector<char> is_useful(actions, 0), is_fact_wanted(facts_.size(), 0), is_slot_wanted(slots, 0);
  std::vector<ActionId> pending;
  bool is_all_read = false;  // by a simulated effect
  std::vector<std::vector<std::uint32_t>> rules(facts_.first_change() - facts_.first_formula());
  for (std::uint32_t rule = 0; rule < facts_.rules().size(); ++rule)
    rules[facts_.rules()[rule].head - facts_.first_formula()].push_back(rule);

  const auto use = [&](ActionId action) {
    if (is_useful[action] != 0) return;
    is_useful[action] = 1;
    pending.push_back(action);
  };
  const auto want_slots = [&](std::span<const std::uint32_t> read) {
    for (const std::uint32_t slot : read) {
      if (is_slot_wanted[slot] != 0) continue;
      is_slot_wanted[slot] = 1;
      for (const ActionId action : writers[slot]) use(action);
    }
  };
  const auto want = [&](FactId root) {
    std::vector<FactId> facts{root};
    while (!facts.empty()) {
      const FactId fact = facts.back();
      facts.pop_back();
      if (is_fact_wanted[fact] != 0) continue;
      is_fact_wanted[fact] = 1;
      for (const ActionId action : adders[fact]) use(action);
      if (facts_.is_predicate(fact)) want_slots(facts_.slots_of(fact));
      if (!facts_.is_formula(fact)) continue;
      for (const std::uint32_t rule : rules[fact - facts_.first_formula()])
        facts.insert(facts.end(), facts_.rules()[rule].body.begin(), facts_.rules()[rule].body.end());
    }
  };
  const auto want_chain = [&](std::uint32_t chain) {
    for (const std::uint32_t event : problem_.chain(chain).events) {
      for (const Condition& condition : conditions(event)) want(condition.fact);
      if (!problem_.event(event).is_effect_like) continue;
      const CompiledEffect& effect = problem_.event(event).effect;
      is_all_read = is_all_read || !effect.is_all_assignments();
      want_slots(effect.slots_read());
    }
  };
  for (ActionId action = 0; action < actions; ++action) {
    if (!is_reachable(action)) continue;
    for (const std::uint32_t event : problem_.chain(first_action_chain + action).events) {
      for (const FactId fact : added(event)) adders[fact].push_back(action);
      if (!problem_.event(event).is_effect_like) continue;
      for (const std::uint32_t slot : problem_.event(event).effect.slots_written())
        writers[slot].push_back(action);
    }
  }
  for (std::uint32_t chain = 0; chain < first_action_chain; ++chain) want_chain(chain);
  while (!pending.empty() && !is_all_read) {
    const ActionId action = pending.back();
    pending.pop_back();
    for (const FactId fact : opening(action)) want(fact);
    for (const auto& [kind, limit] : problem_.action(action).open_limits) want_slots(limit.slots_read());
    want_chain(first_action_chain + action);
  }
  if (is_all_read)
    for (ActionId action = 0; action < actions; ++action) is_useful[action] = is_reachable(action) ? 1 : 0;
  return is_useful;
}

bool PieceBuilder::is_asked_by_others(FactId fact, ActionId action) const {
  assert(fact < asker_.size());  // note_askers comes first
  if (!facts_.is_change(fact)) return asker_[fact] != nobody && asker_[fact] != action;
  const FactTable::Change& change = facts_.change(fact);
  const auto readers = facts_.predicates_reading(change.slot);
  return std::any_of(readers.begin(), readers.end(), [&](std::uint32_t predicate) {
    return can_help(facts_.predicates()[predicate], change) &&
           is_asked_by_others(facts_.first_predicate() + predicate, action);
  });
}

bool PieceBuilder::takes_back(std::uint32_t event, FactId fact) const {
  assert(problem_.event(event).is_effect_like);
  if (facts_.is_literal(fact))
    return writes_any_of(event, facts_.slots_of(fact)) && !contains(certain(event), fact);
  const FactTable::Change& change = facts_.change(fact);
  return std::any_of(added(event).begin(), added(event).end(), [&](FactId other) {
    if (!facts_.is_change(other) || facts_.change(other).slot != change.slot) return false;
    const FactTable::Change& later = facts_.change(other);
    using Kind = FactTable::Change::Kind;
    return change.kind != Kind::addition || later.kind != Kind::addition || change.amount * later.amount < 0;
  });
}

std::uint32_t PieceBuilder::envelope_split(ActionId action) const {
  const DenseChain& chain = problem_.chain(first_action_chain + action);
  std::uint32_t split = no_position;
  for (std::uint32_t position = 0; position < chain.events.size() && position < split; ++position)
    for (const FactId fact : added(chain.events[position])) {
      if (!is_asked_by_others(fact, action)) continue;
      for (std::uint32_t later = position + 1; later < chain.events.size() && later < split; ++later)
        if (problem_.event(chain.events[later]).is_effect_like && takes_back(chain.events[later], fact))
          split = later;
    }
  return split;
}

void PieceBuilder::add_events(RelaxedTask& task, const std::function<bool(ActionId)>& is_wanted) const {
  std::vector<FactId> needed;
  for (ActionId action = 0; action < problem_.action_count(); ++action) {
    if (!is_wanted(action)) continue;
    needed.assign(opening(action).begin(), opening(action).end());
    for (const std::uint32_t event : problem_.chain(first_action_chain + action).events) {
      for (const Condition& condition : conditions(event))
        if (!contains(needed, condition.fact)) needed.push_back(condition.fact);
      if (!added(event).empty()) task.add_operator(needed, certain(event), possible(event), action, 1);
    }
  }
}

void PieceBuilder::add_pieces(RelaxedTask& task, ActionId action, std::uint32_t split, FactId open_fact,
                              const WindowFacts& windows) const {
  const DenseChain& chain = problem_.chain(first_action_chain + action);
  std::vector<FactId> needed(opening(action).begin(), opening(action).end()), gained;
  assert(split == no_position || (split > 0 && open_fact != no_fact));
  const auto close_piece = [&] {
    if (!gained.empty()) task.add_operator(needed, gained, {}, action, 1);
    needed.clear();
    gained.clear();
  };
  std::uint32_t first = 0;  // of the piece
  for (std::uint32_t position = 0; position < chain.events.size(); ++position) {
    if (position == split) {
      gained.push_back(open_fact);
      close_piece();
      needed.push_back(open_fact);
      first = position;
    }
    const std::uint32_t event = chain.events[position];
    for (const Condition& condition : conditions(event))
      if (condition.written_at == no_position || condition.written_at < first)
        needed.push_back(windows.needed(action, condition.fact));
    gained.insert(gained.end(), added(event).begin(), added(event).end());
    windows.append_given(action, position, gained);
  }
  close_piece();
}

}  // namespace zorvel::tp::ftp
