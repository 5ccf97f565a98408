#include "support/timed_problem.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <map>
#include <set>
#include <sstream>

namespace zorvel::timed {

namespace {

using State = std::vector<int>;

std::string object_name(int object) { return "o" + std::to_string(object); }

class Writer {
 public:
  explicit Writer(const Problem& problem) : problem_(problem) {}

  std::string write() {
    if (problem_.has_mutual_exclusion) out_ << ":: (\"mutual-exclusion\");\n";
    if (problem_.objects > 0) {
      out_ << "type Thing; instance Thing ";
      for (int i = 0; i < problem_.objects; ++i) out_ << (i == 0 ? "" : ", ") << object_name(i);
      out_ << ";\n";
    }
    for (const Fluent& fluent : problem_.fluents)
      out_ << "fluent " << (fluent.most == 1 ? "boolean" : "integer [0, " + std::to_string(fluent.most) + "]")
           << " " << fluent.name << (fluent.has_argument ? "(Thing t)" : "") << ";\n";
    initial_values();
    for (const Action& action : problem_.actions) write(action);
    for (const Effect& effect : problem_.effects) write(effect);
    for (const Condition& condition : problem_.conditions) write(condition);
    for (const Formula& goal : problem_.goals) out_ << "goal [end] " << text(goal) << ";\n";
    return out_.str();
  }

 private:
  void initial_values() {
    for (std::size_t i = 0; i < problem_.fluents.size(); ++i)
      for (int object = 0; object < (problem_.fluents[i].has_argument ? problem_.objects : 1); ++object) {
        const Atom atom{i, problem_.fluents[i].has_argument ? object : no_argument};
        out_ << "[start] " << text(atom)
             << " := " << constant(atom, problem_.initial[problem_.slot(atom, no_argument)]) << ";\n";
      }
  }

  void write(const Action& action) {
    out_ << "action " << action.name << (action.has_parameter ? "(Thing x)" : "()") << " {\n";
    const Duration& d = action.duration;
    switch (d.kind) {
      case Duration::Kind::fixed: out_ << "duration := " << d.low << ";\n"; break;
      case Duration::Kind::closed:
        out_ << "duration >= " << d.low << " and duration <= " << d.high << ";\n";
        break;
      case Duration::Kind::open:
        out_ << "duration > " << d.low << " and duration < " << d.high << ";\n";
        break;
      case Duration::Kind::chosen_by_world:
        out_ << "duration :in [" << d.low << ", " << d.high << "];\n";
        break;
      case Duration::Kind::read:
        out_ << "duration := " << problem_.fluents[d.fluent].name << " + " << d.low << ";\n";
        break;
    }
    for (const Condition& condition : action.conditions) write(condition);
    for (const Effect& effect : action.effects) write(effect);
    out_ << "};\n";
  }

  void write(const Condition& condition) {
    const std::string from = text(condition.from), to = text(condition.to);
    if (from == to && condition.is_left_closed && condition.is_right_closed)
      out_ << "[" << from << "]";
    else
      out_ << (condition.is_left_closed ? "[" : "(") << from << ", " << to
           << (condition.is_right_closed ? "]" : ")");
    out_ << (condition.is_contains ? " contains " : " ") << text(condition.formula) << ";\n";
  }

  void write(const Effect& effect) {
    out_ << "[" << text(effect.at) << "] " << text(effect.target) << " := ";
    switch (effect.kind) {
      case Effect::Kind::constant: out_ << constant(effect.target, effect.number); break;
      case Effect::Kind::literal: out_ << text(effect.literal); break;
      case Effect::Kind::plus:
        out_ << text(effect.target) << (effect.number < 0 ? " - " : " + ") << std::abs(effect.number);
        break;
    }
    out_ << ";\n";
  }

  std::string text(const Atom& atom) const {
    const Fluent& fluent = problem_.fluents[atom.fluent];
    if (!fluent.has_argument) return fluent.name;
    return fluent.name + "(" + (atom.argument == the_parameter ? "x" : object_name(atom.argument)) + ")";
  }
  std::string text(const Literal& literal) const {
    return (literal.is_positive ? "" : "not ") + text(literal.atom);
  }
  std::string text(const Formula& formula) const {
    const std::string left = text(formula.left), right = text(formula.right);
    switch (formula.kind) {
      case Formula::Kind::literal: return left;
      case Formula::Kind::either: return "((" + left + ") or (" + right + "))";
      case Formula::Kind::both: return "((" + left + ") and (" + right + "))";
      case Formula::Kind::same:
        return "(" + text(formula.left.atom) + " == " + text(formula.right.atom) + ")";
      case Formula::Kind::at_least:
        return "(" + text(formula.left.atom) + " >= " + std::to_string(formula.bound) + ")";
      default: return "(" + text(formula.left.atom) + " <= " + std::to_string(formula.bound) + ")";
    }
  }
  std::string constant(const Atom& atom, int value) const {
    if (problem_.fluents[atom.fluent].most > 1) return std::to_string(value);
    return value == 1 ? "true" : "false";
  }
  static std::string text(const Moment& moment) {
    const std::string anchor = moment.is_from_start ? "start" : "end";
    if (moment.offset == 0) return anchor;
    return anchor + (moment.is_from_start ? " + " : " - ") + std::to_string(moment.offset);
  }

  const Problem& problem_;
  std::ostringstream out_;
};

/// One simulation. Each step and the problem itself are chains, numbered, the problem behind the steps.
class Simulation {
 public:
  Simulation(const Problem& problem, const std::vector<Step>& steps) : problem_(problem), steps_(steps) {}

  Verdict run() {
    place_everything();
    apply_changes();
    for (std::size_t i = 0; i < steps_.size(); ++i) check_duration(i);
    for (const Placed& placed : placed_)
      if (!is_met(placed)) violate(placed.is_of_end ? INT_MAX : moment_of_blame(placed));
    for (const Formula& goal : problem_.goals)
      if (!problem_.holds(goal, last_of(after_.end()), no_argument)) violate(INT_MAX);
    verdict_.is_spread_out = is_spread_out();
    return verdict_;
  }

 private:
  struct Placed {
    const Condition* condition;
    int object, from, to;
    bool is_of_end;
  };
  struct Change {
    const Effect* effect;
    int object;
    std::size_t chain;
  };

  static int time_of(const Moment& moment, int start, int end) {
    return moment.is_from_start ? start + moment.offset * ticks : end - moment.offset * ticks;
  }

  void violate(int time) { verdict_.violated_at = std::min(verdict_.violated_at.value_or(INT_MAX), time); }

  void place_everything() {
    for (std::size_t i = 0; i < steps_.size(); ++i) {
      const Step& step = steps_[i];
      const int end = step.start + step.duration;
      note_event(step.start, i);
      note_event(end, i);
      if (step.start < 0 || step.duration < 0) violate(step.start);
      const Action& action = problem_.actions[step.action];
      for (const Effect& effect : action.effects) place(effect, step.object, step.start, end, i);
      for (const Condition& condition : action.conditions) place(condition, step.object, step.start, end, i);
    }
    const std::size_t own = steps_.size();
    for (const Effect& effect : problem_.effects) place(effect, no_argument, 0, 0, own);
    // The problem's end lies behind all that is anchored at its start, conditions included.
    for (const Condition& condition : problem_.conditions)
      for (const Moment& moment : {condition.from, condition.to})
        if (moment.is_from_start) note_event(moment.offset * ticks, own);
    const int end = last_event_ + ticks;
    for (const Condition& condition : problem_.conditions) place(condition, no_argument, 0, end, own);
  }

  void place(const Effect& effect, int object, int start, int end, std::size_t chain) {
    const int time = time_of(effect.at, start, end);
    if (time < 0) violate(time);
    changes_[time].push_back({&effect, object, chain});
    note_event(time, chain);
  }
  void place(const Condition& condition, int object, int start, int end, std::size_t chain) {
    const int from = time_of(condition.from, start, end), to = time_of(condition.to, start, end);
    const bool is_empty =
        from > to || (from == to && !(condition.is_left_closed && condition.is_right_closed));
    if (is_empty && condition.is_contains) violate(from);
    if (is_empty) return;
    if (from < 0) violate(from);
    const bool is_of_end = chain == steps_.size() && !condition.to.is_from_start;
    placed_.push_back({&condition, object, from, to, is_of_end});
    if (is_of_end) return;
    note_event(from, chain);
    note_event(to, chain);
  }
  void note_event(int time, std::size_t chain) {
    events_[time].insert(chain);
    last_event_ = std::max(last_event_, time);
  }

  /// Fills after_.
  void apply_changes() {
    State state = problem_.initial;
    for (const auto& [time, changes] : changes_) {
      const State before = state;
      std::set<std::size_t> written;
      for (const Change& change : changes) {
        const std::size_t slot = problem_.slot(change.effect->target, change.object);
        const int value = value_of(*change.effect, before, change.object);
        if (!written.insert(slot).second) violate(time);
        if (value < 0 || value > problem_.fluents[change.effect->target.fluent].most) violate(time);
        state[slot] = value;
      }
      after_[time] = state;
    }
  }

  int value_of(const Effect& effect, const State& state, int object) const {
    switch (effect.kind) {
      case Effect::Kind::constant: return effect.number;
      case Effect::Kind::literal: return problem_.holds(effect.literal, state, object) ? 1 : 0;
      default: return state[problem_.slot(effect.target, object)] + effect.number;
    }
  }
  void check_duration(std::size_t number) {
    const Step& step = steps_[number];
    const Duration& allowed = problem_.actions[step.action].duration;
    const int low = allowed.low * ticks, high = allowed.high * ticks;
    bool is_right = false;
    switch (allowed.kind) {
      case Duration::Kind::fixed: is_right = step.duration == low; break;
      case Duration::Kind::closed: is_right = low <= step.duration && step.duration <= high; break;
      case Duration::Kind::open: is_right = low < step.duration && step.duration < high; break;
      case Duration::Kind::chosen_by_world: is_right = step.duration == high; break;
      case Duration::Kind::read: {
        const std::size_t slot = problem_.slot({allowed.fluent, no_argument}, no_argument);
        is_right = step.duration == low + state_before(step.start)[slot] * ticks;
        break;
      }
    }
    if (!is_right) violate(step.start);
  }

  /// The state behind the last change at a time below `time`, or also at it.
  const State& state_before(int time) const { return last_of(after_.lower_bound(time)); }
  const State& state_after(int time) const { return last_of(after_.upper_bound(time)); }
  const State& last_of(std::map<int, State>::const_iterator next) const {
    return next == after_.begin() ? problem_.initial : std::prev(next)->second;
  }

  /// The states that the interval meets, in order.
  std::vector<const State*> met_by(const Placed& placed) const {
    std::vector<const State*> met;
    if (placed.condition->is_left_closed) met.push_back(&state_before(placed.from));
    if (placed.from == placed.to) return met;
    met.push_back(&state_after(placed.from));
    for (auto change = after_.upper_bound(placed.from); change != after_.end() && change->first < placed.to;
         ++change)
      met.push_back(&change->second);
    return met;
  }
  bool is_met(const Placed& placed) const {
    const std::vector<const State*> met = met_by(placed);
    const auto is_true = [&](const State* state) {
      return problem_.holds(placed.condition->formula, *state, placed.object);
    };
    return placed.condition->is_contains ? std::ranges::any_of(met, is_true)
                                         : std::ranges::all_of(met, is_true);
  }
  /// From when on no later step can mend a condition that is not met.
  int moment_of_blame(const Placed& placed) const {
    if (placed.condition->is_contains) return placed.to;
    int moment = placed.from;
    for (const State* state : met_by(placed)) {
      if (!problem_.holds(placed.condition->formula, *state, placed.object)) break;
      // The state ends at the next change behind the moment.
      const auto next = after_.upper_bound(moment);
      moment = next == after_.end() ? placed.to : std::min(next->first, placed.to);
    }
    return moment;
  }

  bool is_spread_out() const {
    for (const auto& [time, changes] : changes_)
      for (const Change& change : changes)
        for (const std::size_t chain : events_.at(time))
          if (chain != change.chain) return false;
    for (std::size_t i = 0; i < steps_.size(); ++i)
      for (std::size_t j = i + 1; j < steps_.size(); ++j)
        if (steps_[i].action == steps_[j].action && steps_[i].object == steps_[j].object && overlap(i, j))
          return false;
    return true;
  }
  /// By all events of the two steps: moments may lie outside of what starts and ends them.
  bool overlap(std::size_t i, std::size_t j) const {
    const auto [from_i, to_i] = extent(i);
    const auto [from_j, to_j] = extent(j);
    return from_i <= to_j && from_j <= to_i;
  }
  std::pair<int, int> extent(std::size_t chain) const {
    std::pair<int, int> result{INT_MAX, INT_MIN};
    for (const auto& [time, chains] : events_)
      if (chains.contains(chain)) result = {std::min(result.first, time), std::max(result.second, time)};
    return result;
  }

  const Problem& problem_;
  const std::vector<Step>& steps_;
  std::map<int, std::vector<Change>> changes_;
  std::map<int, std::set<std::size_t>> events_;  // the chains with an event at a time
  std::map<int, State> after_;                   // the state behind each change
  std::vector<Placed> placed_;
  int last_event_ = 0;
  Verdict verdict_;
};

}  // namespace

int Problem::slots() const {
  int result = 0;
  for (const Fluent& fluent : fluents) result += fluent.has_argument ? objects : 1;
  return result;
}

std::size_t Problem::slot(const Atom& atom, int object) const {
  std::size_t first = 0;
  for (std::size_t i = 0; i < atom.fluent; ++i)
    first += fluents[i].has_argument ? static_cast<std::size_t>(objects) : 1U;
  if (!fluents[atom.fluent].has_argument) return first;
  const int argument = atom.argument == the_parameter ? object : atom.argument;
  assert(0 <= argument && argument < objects);
  return first + static_cast<std::size_t>(argument);
}

bool Problem::holds(const Literal& literal, const std::vector<int>& state, int object) const {
  return (state[slot(literal.atom, object)] != 0) == literal.is_positive;
}
bool Problem::holds(const Formula& formula, const std::vector<int>& state, int object) const {
  const int left = state[slot(formula.left.atom, object)];
  switch (formula.kind) {
    case Formula::Kind::literal: return holds(formula.left, state, object);
    case Formula::Kind::either:
      return holds(formula.left, state, object) || holds(formula.right, state, object);
    case Formula::Kind::both:
      return holds(formula.left, state, object) && holds(formula.right, state, object);
    case Formula::Kind::same: return left == state[slot(formula.right.atom, object)];
    case Formula::Kind::at_least: return left >= formula.bound;
    default: return left <= formula.bound;
  }
}

std::string Problem::text() const { return Writer(*this).write(); }

std::string plan_text(const Problem& problem, const std::vector<Step>& steps) {
  const auto time = [](int count) {
    const std::string cents = std::to_string(count % ticks);
    return std::to_string(count / ticks) + "." + (cents.size() == 1 ? "0" : "") + cents;
  };
  std::string text;
  for (const Step& step : steps)
    text += time(step.start) + ": " + problem.actions[step.action].name + "(" +
            (step.object == no_argument ? "" : object_name(step.object)) + ") [" + time(step.duration) +
            "]\n";
  return text;
}

Verdict simulate(const Problem& problem, const std::vector<Step>& steps) {
  return Simulation(problem, steps).run();
}

}  // namespace zorvel::timed
