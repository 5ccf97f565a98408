#include "search/forward/guided/makespan_bound.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <vector>

namespace zorvel::tp::ftp {

namespace {

constexpr double never = std::numeric_limits<double>::infinity();
using Literal = CompiledCondition::Literal;

/// When a fluent can have a value first, and the least makespan of a plan in which it has got it.
struct Label {
  double time = never, makespan = never;

  bool lower(const Label& other) {
    const bool is_lower = other.time < time || other.makespan < makespan;
    time = std::min(time, other.time);
    makespan = std::min(makespan, other.makespan);
    return is_lower;
  }
};

/// The labels of all values of all slots.
class Labels {
 public:
  Labels(std::size_t slots, const std::uint32_t* values) : by_slot_(slots), any_(slots) {
    for (std::size_t slot = 0; slot < slots; ++slot) by_slot_[slot].push_back({values[slot], {0, 0}});
  }
  bool lower(std::uint32_t slot, std::uint32_t value, const Label& label) {
    assert(slot < by_slot_.size());
    auto& known = by_slot_[slot];
    const auto found = std::ranges::find(known, value, &Entry::value);
    if (found != known.end()) return found->label.lower(label);
    known.push_back({value, label});
    return true;
  }
  /// The slot may have any value from the label on.
  bool lower_all(std::uint32_t slot, const Label& label) { return any_[slot].lower(label); }

  Label of(const Literal& literal) const {
    Label least = any_[literal.slot];
    for (const Entry& entry : by_slot_[literal.slot])
      if ((entry.value == literal.expected) == literal.is_equal) least.lower(entry.label);
    return least;
  }

 private:
  struct Entry {
    std::uint32_t value;
    Label label;
  };
  std::vector<std::vector<Entry>> by_slot_;
  std::vector<Label> any_;
};

/// Events of one chain with a common clock.
struct Clock {
  double start = 0;
  double least_duration = 0;
  double greatest_duration = never;

  double earliest(const DenseEvent& event) const {
    return std::max(start, event.from_start ? start + event.shift : start + least_duration + event.shift);
  }
  /// How long behind the start the event can lie at most.
  double latest_offset(const DenseEvent& event) const {
    return event.from_start ? event.shift : greatest_duration + event.shift;
  }
};

class Propagation {
 public:
  Propagation(const GuidedModel& model, const std::uint32_t* values)
      : model_(model), problem_(model.problem()), values_(values), labels_(problem_.slots(), values) {}

  double run() {
    for (const std::uint32_t index : problem_.chain(DenseProblem::start_chain).events) {
      const DenseEvent& event = problem_.event(index);
      if (event.is_effect_like) write(event, {event.shift + problem_.epsilon(), 0});
    }
    bool has_changed = true;
    while (has_changed) {
      has_changed = false;
      for (ActionId id = 0; id < problem_.action_count(); ++id)
        if (start_action(id)) has_changed = true;
    }
    double least = 0;
    for (const std::uint32_t index : problem_.chain(DenseProblem::end_chain).events) {
      const DenseEvent& event = problem_.event(index);
      if (event.is_effect_like) continue;
      for (const Literal& literal : event.condition.literals())
        least = std::max(least, labels_.of(literal).makespan);
    }
    return least;
  }

 private:
  /// Gives labels to what the action writes. An effect rests on the conditions before it in the chain alone:
  /// those behind it may be met by what it leads to.
  bool start_action(ActionId id) {
    const DenseAction& action = problem_.action(id);
    const auto& events = problem_.chain(DenseProblem::first_action_chain + id).events;
    Clock clock;
    if (action.open_limits.empty()) {
      clock.least_duration = action.lower;
      if (action.upper) clock.greatest_duration = *action.upper;
    }
    assert(0 <= clock.least_duration);
    for (const Literal& literal : action.opening.literals())
      clock.start = std::max(clock.start, labels_.of(literal).time);
    const bool is_counted = model_.is_counted(id);
    bool has_changed = false;
    for (std::size_t at = 0; at < events.size() && clock.start != never; ++at) {
      const DenseEvent& event = problem_.event(events[at]);
      if (event.is_effect_like) {
        const Label label{clock.earliest(event) + problem_.epsilon(),
                          is_counted ? clock.start + clock.least_duration : 0.0};
        if (write(event, label)) has_changed = true;
        continue;
      }
      // An effect may come at the very moment that opens a left-open interval.
      const double apart = event.is_opener && event.is_left_open ? problem_.epsilon() : 0.0;
      for (const Literal& literal : event.condition.literals()) {
        if (is_written_before(events, at, literal)) continue;
        // An action without a greatest duration can wait for what it needs at its end, but not for ever.
        const double time = labels_.of(literal).time;
        if (time == never)
          clock.start = never;
        else
          clock.start = std::max(clock.start, time - apart - clock.latest_offset(event));
      }
    }
    return has_changed;
  }

  /// Whether an earlier event of the chain can give the literal's slot a value.
  bool is_written_before(const std::vector<std::uint32_t>& events, std::size_t at,
                         const Literal& literal) const {
    for (std::size_t earlier = 0; earlier < at; ++earlier) {
      const DenseEvent& event = problem_.event(events[earlier]);
      if (!event.is_effect_like) continue;
      const auto written = event.effect.slots_written();
      if (std::ranges::binary_search(written, literal.slot)) return true;
    }
    return false;
  }

  bool write(const DenseEvent& event, const Label& label) {
    assert(event.is_effect_like && label.time >= 0 && label.makespan >= 0);
    const auto constant = event.effect.constant_writes(values_);
    bool has_changed = false;
    for (const SlotWrite& write : constant)
      if (labels_.lower(write.slot, write.value, label)) has_changed = true;
    for (const std::uint32_t slot : event.effect.slots_written())
      if (std::ranges::find(constant, slot, &SlotWrite::slot) == constant.end() &&
          labels_.lower_all(slot, label))
        has_changed = true;
    return has_changed;
  }

  const GuidedModel& model_;
  const DenseProblem& problem_;
  const std::uint32_t* values_;
  Labels labels_;
};

}  // namespace

double least_makespan(const GuidedModel& model, const std::uint32_t* values) {
  return Propagation(model, values).run();
}

}  // namespace zorvel::tp::ftp
