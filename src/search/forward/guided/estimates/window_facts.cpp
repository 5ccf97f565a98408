#include "search/forward/guided/estimates/window_facts.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <set>

namespace zorvel::tp::ftp {

namespace {

// Durations closer than this count as equal.
constexpr double duration_tolerance = 1e-6;

}  // namespace

WindowFacts::WindowFacts(const DenseProblem& problem, PieceBuilder& builder,
                         const std::function<bool(ActionId)>& is_used)
    : problem_(problem), builder_(builder) {
  for (ActionId action = 0; action < problem.action_count(); ++action)
    if (is_used(action)) collect_windows(action);
  if (windows_.empty()) return;
  for (ActionId action = 0; action < problem.action_count(); ++action)
    if (is_used(action)) collect_demands(action);
  make_marks(builder);
}

double WindowFacts::least_distance(ActionId action, std::uint32_t from, std::uint32_t to) const {
  const DenseEvent &first = problem_.event(from), &second = problem_.event(to);
  const double shift = second.shift - first.shift;
  if (first.from_start == second.from_start) return shift;
  return first.from_start ? shift + problem_.action(action).lower : 0.0;
}

double WindowFacts::greatest_distance(ActionId action, std::uint32_t from, std::uint32_t to) const {
  const DenseEvent &first = problem_.event(from), &second = problem_.event(to);
  const double shift = second.shift - first.shift;
  if (first.from_start == second.from_start) return shift;
  const auto& upper = problem_.action(action).upper;
  // A bound that the state decides is none here.
  const bool is_known = first.from_start && upper && problem_.action(action).open_limits.empty();
  return is_known ? shift + *upper : std::numeric_limits<double>::infinity();
}

void WindowFacts::collect_windows(ActionId action) {
  const auto& events = problem_.chain(DenseProblem::first_action_chain + action).events;
  std::vector<Window> found;
  for (std::uint32_t given = 0; given < events.size(); ++given)
    for (const FactId fact : builder_.added(events[given])) {
      if (!builder_.facts().is_literal(fact)) continue;
      for (std::uint32_t taken = given + 1; taken < events.size(); ++taken) {
        if (!problem_.event(events[taken]).is_effect_like || !builder_.takes_back(events[taken], fact))
          continue;
        const double length = greatest_distance(action, events[given], events[taken]);
        if (length < std::numeric_limits<double>::infinity()) found.push_back({given, taken, fact, length});
        break;
      }
    }
  if (!found.empty()) windows_.emplace(action, std::move(found));
}

void WindowFacts::collect_demands(ActionId action) {
  const auto& events = problem_.chain(DenseProblem::first_action_chain + action).events;
  const auto note = [&](FactId fact, double length) {
    double& longest = demands_.try_emplace({action, fact}, 0.0).first->second;
    longest = std::max(longest, length);
  };
  for (std::uint32_t closed = 0; closed < events.size(); ++closed) {
    const DenseEvent& closer = problem_.event(events[closed]);
    if (!closer.opener) continue;
    // A closer asks for all that its opener does. What is in force from the opening on has no opener in the
    // chain.
    const bool is_in_chain = std::find(events.begin(), events.end(), *closer.opener) != events.end();
    const double length = is_in_chain         ? least_distance(action, *closer.opener, events[closed])
                          : closer.from_start ? closer.shift
                                              : problem_.action(action).lower + closer.shift;
    for (const PieceBuilder::Condition& condition : builder_.conditions(events[closed]))
      if (condition.written_at == PieceBuilder::no_position && builder_.facts().is_literal(condition.fact))
        note(condition.fact, length);
  }
}

void WindowFacts::make_marks(PieceBuilder& builder) {
  std::map<FactId, double> shortest;
  for (const auto& [action, windows] : windows_)
    for (const Window& window : windows) {
      double& least = shortest.try_emplace(window.fact, window.length).first->second;
      least = std::min(least, window.length);
    }
  std::set<std::pair<FactId, double>> lengths;
  for (const auto& [key, length] : demands_) {
    const auto least = shortest.find(key.second);
    if (least != shortest.end() && least->second < length - duration_tolerance)
      lengths.emplace(key.second, length);
  }
  for (const auto& [fact, length] : lengths) marks_.push_back({fact, builder.facts().new_mark(), length});
  assert(std::ranges::is_sorted(marks_, {}, &Mark::fact));  // marks_of looks for ranges of them
}

std::span<const WindowFacts::Mark> WindowFacts::marks_of(FactId fact) const {
  const auto range = std::ranges::equal_range(marks_, fact, {}, &Mark::fact);
  return {range.begin(), range.end()};
}

FactId WindowFacts::needed(ActionId action, FactId fact) const {
  assert(fact != no_fact);
  const auto marks = marks_of(fact);
  if (marks.empty()) return fact;
  const auto demand = demands_.find({action, fact});
  if (demand == demands_.end()) return fact;
  const auto mark = std::ranges::find(marks, demand->second, &Mark::length);
  return mark == marks.end() ? fact : mark->mark;
}

void WindowFacts::append_given(ActionId action, std::uint32_t position, std::vector<FactId>& facts) const {
  if (marks_.empty()) return;
  assert(position < problem_.chain(DenseProblem::first_action_chain + action).events.size());
  const auto windows = windows_.find(action);
  for (const FactId fact :
       builder_.added(problem_.chain(DenseProblem::first_action_chain + action).events[position]))
    for (const Mark& mark : marks_of(fact)) {
      const bool is_too_short =
          windows != windows_.end() && std::ranges::any_of(windows->second, [&](const Window& window) {
            return window.given_at == position && window.fact == fact &&
                   window.length < mark.length - duration_tolerance;
          });
      if (!is_too_short) facts.push_back(mark.mark);
    }
}

void WindowFacts::append_all(FactId fact, std::vector<FactId>& facts) const {
  for (const Mark& mark : marks_of(fact)) facts.push_back(mark.mark);
}

void WindowFacts::append_holding(std::span<const OpenChain> open, const std::function<bool(FactId)>& holds,
                                 std::vector<FactId>& facts) const {
  for (const Mark& mark : marks_) {
    if (!holds(mark.fact)) continue;
    const bool ends_too_soon = std::ranges::any_of(open, [&](const OpenChain& chain) {
      if (chain.chain < DenseProblem::first_action_chain) return false;
      const auto windows = windows_.find(chain.chain - DenseProblem::first_action_chain);
      return windows != windows_.end() && std::ranges::any_of(windows->second, [&](const Window& window) {
               return window.fact == mark.fact && window.given_at < chain.cursor &&
                      window.taken_at >= chain.cursor && window.length < mark.length - duration_tolerance;
             });
    });
    if (!ends_too_soon) facts.push_back(mark.mark);
  }
}

}  // namespace zorvel::tp::ftp
