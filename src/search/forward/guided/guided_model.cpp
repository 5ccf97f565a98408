#include "search/forward/guided/guided_model.h"

#include <algorithm>
#include <cassert>
#include <unordered_map>

namespace zorvel::tp::ftp {

GuidedModel::GuidedModel(const DenseProblem& problem, const std::uint32_t* values,
                         const std::vector<std::uint32_t>& initially_in_force, std::vector<char> is_counted)
    : problem_(problem), is_counted_(std::move(is_counted)) {
  assert(is_counted_.size() == problem.action_count());
  collect_force(initially_in_force);
  collect_touched();
  constant_writes_.resize(problem.model().events().size());
  for (std::uint32_t event = 0; event < constant_writes_.size(); ++event)
    if (problem.event(event).is_effect_like) {
      assert(std::ranges::is_sorted(problem.event(event).effect.slots_written()));  // they are searched
      constant_writes_[event] = problem.event(event).effect.constant_writes(values);
    }
  collect_final_literals();
  // An event before the end of the plan has to be counted back from it, so the end takes part in the times.
  for (const std::uint32_t event : problem.chain(DenseProblem::end_chain).events)
    if (problem.event(event).shift != 0.0) end_matters_ = true;
}

void GuidedModel::collect_force(const std::vector<std::uint32_t>& initially_in_force) {
  const std::uint32_t chains =
      DenseProblem::first_action_chain + static_cast<std::uint32_t>(problem_.action_count());
  // By opener: its chain and position; `initially` where it is in force from the opening of its chain on.
  std::unordered_map<std::uint32_t, std::pair<std::uint32_t, std::uint32_t>> opened;
  for (const std::uint32_t opener : initially_in_force)
    opened.emplace(opener, std::pair(DenseProblem::start_chain, initially));
  for (std::uint32_t chain = 0; chain < chains; ++chain) {
    const auto& events = problem_.chain(chain).events;
    for (std::uint32_t at = 0; at < events.size(); ++at)
      if (problem_.event(events[at]).is_opener) opened.emplace(events[at], std::pair(chain, at));
    if (chain >= DenseProblem::first_action_chain)
      for (const std::uint32_t opener :
           problem_.action(chain - DenseProblem::first_action_chain).direct_openers)
        opened.emplace(opener, std::pair(chain, initially));
  }
  force_begin_.resize(chains);
  for (std::uint32_t chain = 0; chain < chains; ++chain) {
    const auto& events = problem_.chain(chain).events;
    struct Span {
      std::uint32_t opened, closed;  // positions
    };
    std::vector<Span> spans;
    for (std::uint32_t at = 0; at < events.size(); ++at) {
      const auto& opener = problem_.event(events[at]).opener;
      if (!opener) continue;
      const auto [from, position] = opened.at(*opener);
      if (from == chain) spans.push_back({position, at});
    }
    for (std::uint32_t cursor = 0; cursor <= events.size(); ++cursor) {
      force_begin_[chain].push_back(static_cast<std::uint32_t>(force_.size()));
      for (const Span& span : spans)
        if (cursor <= span.closed && (span.opened == initially || span.opened < cursor))
          force_.push_back({*problem_.event(events[span.closed]).opener, events[span.closed]});
    }
    force_begin_[chain].push_back(static_cast<std::uint32_t>(force_.size()));
  }
  const auto& ending = problem_.chain(DenseProblem::end_chain).events;
  for (std::uint32_t at = 0; at < ending.size(); ++at) {
    const auto& opener = problem_.event(ending[at]).opener;
    if (!opener) continue;
    const auto [from, position] = opened.at(*opener);
    if (from == DenseProblem::start_chain) across_.push_back({{*opener, ending[at]}, position, at});
  }
}

void GuidedModel::collect_final_literals() {
  const auto& ending = problem_.chain(DenseProblem::end_chain).events;
  const auto is_effect = [&](std::uint32_t event) { return problem_.event(event).is_effect_like; };
  if (std::ranges::any_of(ending, is_effect)) return;
  const auto& starting = problem_.chain(DenseProblem::start_chain).events;
  for (const std::uint32_t event : ending) {
    const DenseEvent& source = problem_.event(event);
    if (source.opener || (source.is_opener && source.is_left_open)) continue;
    for (const auto& literal : source.condition.literals()) {
      FinalLiteral last{literal, initially, std::nullopt};
      for (std::uint32_t at = 0; at < starting.size(); ++at) {
        if (!is_effect(starting[at]) ||
            !std::ranges::binary_search(problem_.event(starting[at]).effect.slots_written(), literal.slot))
          continue;
        last.written_at = at;
        last.last_value.reset();
        for (const SlotWrite& write : constant_writes_[starting[at]])
          if (write.slot == literal.slot) last.last_value = write.value;
      }
      final_literals_.push_back(last);
    }
  }
}

bool GuidedModel::may_end_with(const std::uint32_t* values, std::uint32_t cursor) const {
  assert(cursor <= problem_.chain(DenseProblem::start_chain).events.size());
  return std::ranges::all_of(final_literals_, [&](const FinalLiteral& last) {
    const bool is_written = last.written_at != initially && last.written_at >= cursor;
    if (is_written && !last.last_value) return true;
    const std::uint32_t value = is_written ? *last.last_value : values[last.literal.slot];
    return (value == last.literal.expected) == last.literal.is_equal;
  });
}

std::span<const GuidedModel::Force> GuidedModel::in_force(std::uint32_t chain, std::uint32_t cursor) const {
  const auto& begin = force_begin_[chain];
  assert(cursor + 1 < begin.size());
  return std::span(force_).subspan(begin[cursor], begin[cursor + 1] - begin[cursor]);
}

std::uint32_t GuidedModel::group_size(std::uint32_t chain, std::uint32_t cursor) const {
  const auto& events = problem_.chain(chain).events;
  assert(cursor < events.size());
  const DenseEvent& first = problem_.event(events[cursor]);
  std::uint32_t end = cursor + 1;
  while (end < events.size() && problem_.event(events[end]).from_start == first.from_start &&
         problem_.event(events[end]).shift == first.shift)
    ++end;
  return end - cursor;
}

void GuidedModel::collect_touched() {
  const FtpModel& model = problem_.model();
  const std::size_t events = model.events().size();
  std::unordered_map<std::uint64_t, std::uint32_t> numbers;
  bool all_are_written = false;
  for (std::uint32_t event = 0; event < events; ++event) {
    const DenseEvent& source = problem_.event(event);
    if (!source.is_effect_like) continue;
    if (source.event->simulated_effect) all_are_written = true;
    for (const std::uint64_t key : model.order_keys(*source.event))
      numbers.emplace(key, static_cast<std::uint32_t>(numbers.size()));
  }
  // Slots that nothing writes need no order: readers of one do not touch one another.
  if (all_are_written)
    for (std::uint64_t slot = 0; slot < problem_.slots(); ++slot)
      numbers.emplace(slot, static_cast<std::uint32_t>(numbers.size()));
  touched_count_ = static_cast<std::uint32_t>(numbers.size());

  std::vector<std::vector<std::uint32_t>> read_by_duration(events);
  for (ActionId id = 0; id < problem_.action_count(); ++id)
    for (const auto& [kind, limit] : problem_.action(id).open_limits) {
      auto& slots = read_by_duration[model.actions()[id].start->index];
      slots.insert(slots.end(), limit.slots_read().begin(), limit.slots_read().end());
    }
  std::vector<std::uint32_t> found;
  for (std::uint32_t event = 0; event < events; ++event) {
    touched_begin_.push_back(static_cast<std::uint32_t>(touched_.size()));
    found.clear();
    if (problem_.event(event).event->simulated_effect) {
      for (std::uint32_t number = 0; number < touched_count_; ++number) found.push_back(number);
    } else {
      const auto add = [&](std::uint64_t key) {
        const auto number = numbers.find(key);
        if (number != numbers.end()) found.push_back(number->second);
      };
      for (const std::uint64_t key : model.order_keys(*problem_.event(event).event)) add(key);
      for (const std::uint32_t slot : read_by_duration[event]) add(slot);
      std::sort(found.begin(), found.end());
      found.erase(std::unique(found.begin(), found.end()), found.end());
    }
    touched_.insert(touched_.end(), found.begin(), found.end());
  }
  touched_begin_.push_back(static_cast<std::uint32_t>(touched_.size()));

  const auto known = [&](const std::vector<std::uint64_t>& keys) {
    std::vector<std::uint32_t> result;
    for (const std::uint64_t key : keys)
      if (const auto number = numbers.find(key); number != numbers.end()) result.push_back(number->second);
    return result;
  };
  for (const Event& event : model.events()) {
    instant_.push_back(known(model.instant_keys(event)));
    written_.push_back(known(model.written_keys(event)));
  }
  assert(std::ranges::all_of(touched_, [&](std::uint32_t number) { return number < touched_count_; }));
}

std::span<const std::uint32_t> GuidedModel::touched(std::uint32_t event) const {
  assert(event + 1 < touched_begin_.size());
  return std::span(touched_).subspan(touched_begin_[event],
                                     touched_begin_[event + 1] - touched_begin_[event]);
}

bool GuidedModel::breaks(std::uint32_t effect, std::uint32_t opener) const {
  assert(problem_.event(effect).is_effect_like && problem_.event(opener).is_opener);
  for (const auto& literal : problem_.event(opener).condition.literals())
    for (const SlotWrite& write : constant_writes_[effect])
      if (write.slot == literal.slot && (write.value == literal.expected) != literal.is_equal) return true;
  return false;
}

}  // namespace zorvel::tp::ftp
