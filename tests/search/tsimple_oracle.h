#pragma once

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/expression_simplifier.h"
#include "search/classical/tsimple/plan_builder.h"
#include "search/classical/tsimple/tsimple_planner.h"
#include "search/support.h"
#include "state/evaluator.h"
#include "state/operations.h"

namespace zorvel::tsimple {

/// The search of the classical planner once more, on plain states and expressions, in the simplest way.
class PlainSearch {
 public:
  using Tuple = std::vector<std::pair<unsigned long, Node*>>;

  /// The planner gives the model, the actions and the heuristic, and must not have been used.
  explicit PlainSearch(const TSimplePlanner& planner, std::size_t width = 0)
      : planner_(planner), model_(planner.model()), env_(planner.env()), width_(width) {}

  bool is_applicable(const ClassicalAction& action, const PathState& state) const {
    return std::all_of(action.conditions().begin(), action.conditions().end(),
                       [&](Node* condition) { return tp::check(env_, state, condition, model_.index()); });
  }

  /// Null if the action leads nowhere. The novelty test is the caller's; `written` gets the slots for it.
  std::unique_ptr<PathState> apply(const ClassicalAction& action, const PathState& state,
                                   std::vector<unsigned long>& written) const {
    if (!is_applicable(action, state)) return nullptr;
    auto child = std::make_unique<PathState>(static_cast<const zorvel::SearchState&>(state));
    child->achieved_landmarks = state.achieved_landmarks;
    model::ExpressionFactory& factory = env_.expression_factory();
    const ExpressionEvaluator evaluate(env_, model_.index(), state);
    for (const auto& [reference, effect] : action.effects()) {
      Node* const value = evaluate(effect->value);
      if (!model::ExpressionFactory::is_value(value)) return nullptr;
      if (!tp::check_bounds(env_, effect->fluent, value)) return nullptr;
      std::vector<Node*> arguments;
      for (Node* argument : effect->parameters) {
        arguments.push_back(evaluate(argument));
        if (!model::ExpressionFactory::is_value(arguments.back())) return nullptr;
      }
      if (model::has_argument_outside(factory, effect->fluent->parameters(), arguments)) return nullptr;
      Node* const target = factory.make_fluent_reference(effect->fluent, arguments);
      child->override_value(model_.index(), target,
                            model::as_value_of(factory, *effect->fluent->type(), value));
      written.push_back(slot_of(model_.index(), target));
    }
    for (const auto& simulated : action.simulated_effects()) {
      const std::vector<Node*> values = simulated->function(state, model_.index(), {});
      for (std::size_t i = 0; i < values.size(); ++i)
        child->override_value(model_.index(), simulated->fluents[i], values[i]);
    }
    child->last_action = action.action();
    child->parent = &state;
    child->set_g(state.g() + 1);
    model_.note_achievements(*child);
    return child;
  }

  /// All `size`-subsets of the slots with `slot` among them; all subsets if it is none.
  bool add_all_tuple_combinations(const PathState& state, const unsigned long* slot) {
    bool is_new = false;
    const std::size_t slots = state.assignments().size();
    if (width_ > slots) return false;
    std::vector<bool> chosen(slots, false);
    std::fill(chosen.begin(), chosen.begin() + static_cast<std::ptrdiff_t>(width_), true);
    do {
      if (slot != nullptr && !chosen[*slot]) continue;
      Tuple tuple;
      for (std::size_t i = 0; i < slots; ++i)
        if (chosen[i]) tuple.emplace_back(i, state.value(i));
      is_new = tuples_.insert(tuple).second || is_new;
    } while (std::prev_permutation(chosen.begin(), chosen.end()));
    return is_new;
  }

  struct Result {
    SearchOutcome outcome = SearchOutcome::no_plan;
    std::uint64_t expanded = 0, stored = 1, evaluated = 0;
    const PathState* goal = nullptr;
  };

  Result run(std::uint64_t most_expansions) {
    const Configuration& options = env_.configuration();
    const bool serializes = options.get_boolean_value("tsimple-goals-serialization");
    const bool skips = options.get_boolean_value("iw-disable-tuple-computation-in-initial-states");
    const std::shared_ptr<Heuristic> heuristic = planner_.heuristic();
    const double w = heuristic ? heuristic->weight() : 0.0;
    Result result;
    const auto estimate = [&](const PathState& state) -> double {
      if (!heuristic) return 0.0;
      ++result.evaluated;
      std::vector<ValueId> values(state.assignments().size());
      planner_.tables().layout.pack(state, values.data());
      StateView view;
      view.values = values.data();
      view.depth = static_cast<std::uint32_t>(state.g());
      view.parent_note = state.parent == nullptr ? 0 : notes_.at(state.parent);
      view.note = &notes_[&state];
      const double h = heuristic->estimate(view);
      if (h <= 0) return h;
      const std::size_t wanted = model_.goals().size() + model_.landmarks().size();
      const std::size_t met = state.achieved_goals + state.achieved_landmarks.size();
      return h + planner_.cost_of_missing() * static_cast<double>(wanted - met);
    };
    const auto is_worse = [](const PathState* a, const PathState* b) { return a->f(0) > b->f(0); };

    states_.push_back(std::make_unique<PathState>(model_.initial_state()));
    std::vector<PathState*> open{states_.back().get()};
    if (width_ > 0 && !skips) add_all_tuple_combinations(*open[0], nullptr);
    open[0]->set_f(estimate(*open[0]) * w, 0);
    Set open_set{open[0]}, closed;
    bool left_out = false;
    while (!open.empty()) {
      std::pop_heap(open.begin(), open.end(), is_worse);
      PathState* const state = open.back();
      open.pop_back();
      open_set.erase(state);
      closed.insert(state);
      if (++result.expanded > most_expansions) {
        result.outcome = SearchOutcome::expansion_limit;
        return result;
      }
      if (state->achieved_goals == model_.goals().size()) {
        result.outcome = SearchOutcome::plan_found;
        result.goal = state;
        return result;
      }
      if (serializes && state->parent != nullptr && state->achieved_goals > state->parent->achieved_goals) {
        tuples_.clear();
        left_out = left_out || !open.empty();
        open.clear();
        open_set.clear();
        if (width_ > 0 && !skips) add_all_tuple_combinations(*state, nullptr);
      }
      for (const std::uint32_t number : planner_.searched_actions()) {
        std::vector<unsigned long> written;
        auto child = apply(model_.actions()[number], *state, written);
        if (!child) continue;
        bool is_novel = width_ == 0;
        if (width_ > 0)
          for (const unsigned long slot : written)
            is_novel = add_all_tuple_combinations(*child, &slot) || is_novel;
        const bool is_known = closed.contains(child.get()) || open_set.contains(child.get());
        left_out = left_out || (!is_novel && !is_known && width_ != state->assignments().size());
        if (!is_novel || is_known) continue;
        const double h = estimate(*child);
        if (h < 0) continue;
        child->set_f(h * w + (1 - w) * child->g(), 0);
        ++result.stored;
        states_.push_back(std::move(child));
        open.push_back(states_.back().get());
        std::push_heap(open.begin(), open.end(), is_worse);
        open_set.insert(states_.back().get());
      }
    }
    result.outcome = left_out ? SearchOutcome::incomplete : SearchOutcome::no_plan;
    return result;
  }

 private:
  struct Hash {
    std::size_t operator()(const PathState* state) const { return static_cast<std::size_t>(state->hash()); }
  };
  struct Equal {
    bool operator()(const PathState* a, const PathState* b) const { return *a == *b; }
  };
  using Set = std::unordered_set<PathState*, Hash, Equal>;

  const TSimplePlanner& planner_;
  const TSimpleModel& model_;
  Environment& env_;
  std::size_t width_;
  std::set<Tuple> tuples_;
  std::vector<std::unique_ptr<PathState>> states_;
  std::map<const PathState*, std::uint32_t> notes_;  // of the heuristic
};

/// Whether some sequence of all actions of the model leads to its goals.
inline bool has_plan(const TSimplePlanner& planner) {
  const TSimpleModel& model = planner.model();
  const PlainSearch plain(planner);
  std::deque<std::unique_ptr<PathState>> states;
  states.push_back(std::make_unique<PathState>(model.initial_state()));
  std::set<std::vector<Node*>> seen{states.back()->assignments()};
  for (std::size_t i = 0; i < states.size(); ++i) {
    if (states[i]->achieved_goals == model.goals().size()) return true;
    for (const ClassicalAction& action : model.actions()) {
      std::vector<unsigned long> written;
      auto child = plain.apply(action, *states[i], written);
      if (child && seen.insert(child->assignments()).second) states.push_back(std::move(child));
    }
  }
  return false;
}

/// Small classical problems of all the features that the search handles, some of them without a plan.
/// `atomic`: conditions at the start and effects at the end alone.
inline std::string random_classical_problem(unsigned seed, bool atomic = false) {
  std::mt19937 random(seed);
  const auto pick = [&](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
  const auto fluent = [&] { return "p" + std::to_string(pick(4)); };
  const auto place = [&] { return "l" + std::to_string(pick(3)); };
  const auto condition = [&]() -> std::string {
    switch (pick(12)) {
      case 10: return "cell(level)";
      case 11: return "fuel - level > 1";
      case 0: return "not " + fluent();
      case 1: return fluent() + " or " + fluent();
      case 2: return "level >= " + std::to_string(1 + pick(3));
      case 3: return "pos == " + place();
      case 4: return "not (pos == " + place() + ")";
      case 5: return "mark(pos)";
      case 6: return "mark(" + place() + ")";
      case 7: return "level < fuel";
      case 8: return "(" + fluent() + " implies " + fluent() + ")";
      default: return fluent();
    }
  };
  const auto effect = [&]() -> std::string {
    switch (pick(9)) {
      case 0: return fluent() + " := false";
      case 1: return fluent() + " := " + fluent();
      case 2: return "level := level " + std::string(pick(3) == 0 ? "- 1" : "+ 1");
      case 3: return "pos := " + place();
      case 4: return "mark(pos) := " + std::string(pick(3) == 0 ? "false" : "true");
      case 5: return "mark(" + place() + ") := true";
      case 6: return pick(2) == 0 ? "fuel := fuel - level" : "fuel := 4 / (level + 1)";
      default: return fluent() + " := true";
    }
  };
  std::ostringstream text;
  text << "type Place;\ninstance Place l0, l1, l2;\nfluent integer [0, 3] level;\nfluent float [0.0, 4.0] "
          "fuel;\n"
          "fluent Place pos;\nfluent boolean mark(Place l);\n";
  for (int i = 0; i < 4; ++i)
    text << "fluent boolean p" << i << ";\n[start] p" << i << " := " << (pick(5) == 0 ? "true" : "false")
         << ";\n";
  text << "fluent boolean cell(integer [0, 2] i);\n";
  for (int i = 0; i < 3; ++i)
    text << "[start] cell(" << i << ") := " << (pick(2) == 0 ? "true" : "false") << ";\n";
  for (int i = 0; i < 3; ++i)
    text << "[start] mark(l" << i << ") := " << (pick(4) == 0 ? "true" : "false") << ";\n";
  text << "[start] level := " << pick(3) << ";\n[start] fuel := " << 1 + pick(4) << ";\n[start] pos := l0;\n";
  const char* const duration[] = {"2", "1.5", "level + 1"};
  const int actions = 4 + pick(4);
  for (int a = 0; a < actions; ++a) {
    text << "action a" << a << "() {\n  duration := " << duration[pick(atomic ? 2 : 3)] << ";\n";
    for (int s = pick(3); s > 0; --s) {
      const int when = atomic ? 0 : pick(3);
      text << (when == 0 ? "  [start] " : when == 1 ? "  [start, end] " : "  [end] ") << condition() << ";\n";
    }
    // One effect on a fluent at most.
    std::set<std::string> written;
    for (int s = 1 + pick(3); s > 0; --s) {
      const std::string chosen = effect();
      if (written.insert(chosen.substr(0, chosen.find_first_of(" ("))).second)
        text << (atomic || pick(2) == 0 ? "  [end] " : "  [start] ") << chosen << ";\n";
    }
    text << "};\n";
  }
  text << "action go(Place to) {\n  duration := 1;\n  [start] " << condition()
       << ";\n  [start] not (pos == to);\n  [end] pos := to;\n};\n";
  for (int g = 1 + pick(3); g > 0; --g) text << "[end] " << condition() << ";\n";
  if (!atomic && pick(3) == 0) text << "[start, end] contains " << fluent() << ";\n";
  return text.str();
}

}  // namespace zorvel::tsimple
