#include "search/forward/plain/plain_search.h"

#include <algorithm>
#include <cassert>
#include <map>

#include "core/configuration.h"
#include "core/log.h"
#include "model/expression_factory.h"

namespace zorvel::tp::ftp {

namespace {

constexpr std::uint64_t work_of_move = 16;  // in the guard's units: this form is that much slower

SuccessorOptions options_of(const Configuration& configuration) {
  return {.deordering = configuration.get_boolean_value("ftp-deordering"),
          .simultaneity = configuration.get_boolean_value("simultaneity")};
}

/// The memory of a state. States share path cells and constraints, so a few of these are counted for each.
std::uint64_t bytes_of(const PlainState<double>& state) {
  constexpr std::uint64_t of_shared = 512, of_list = 64, of_set_node = 48;
  std::uint64_t bytes = sizeof state + of_shared + state.assignments().size() * sizeof(Node*) +
                        state.tn.values().size() * sizeof(std::pair<unsigned, double>) +
                        state.active_conditions.size() * of_set_node;
  for (const TodoList& list : state.todo) bytes += of_list + list.size() * sizeof(EventInstance);
  return bytes;
}

std::size_t list_count(const PlainSearch::Heuristics& heuristics) {
  return std::max<std::size_t>(1, heuristics.size());
}

}  // namespace

PlainSearch::PlainSearch(const FtpModel& model, const EvaluationTables& tables, const Heuristics& heuristics,
                         std::vector<ActionId> openable, SearchGuard& guard)
    : model_(model),
      heuristics_(heuristics),
      openable_(std::move(openable)),
      guard_(guard),
      successors_(model, options_of(model.env().configuration()), list_count(heuristics),
                  [this](State& state) { return evaluate(state); }),
      view_(model, tables),
      open_(list_count(heuristics)) {
  const std::int64_t diamond = model.env().configuration().get_integer_value("ftp-diamond");
  if (diamond >= 0) build_openable_sets(diamond);
}

bool PlainSearch::evaluate(State& state) {
  const double g = state.g();
  if (heuristics_.empty()) state.set_f(g, 0);
  const StateView view = view_.of(state);
  for (std::size_t i = 0; i < heuristics_.size(); ++i) {
    if (!heuristics_[i]) {
      state.set_f(g, i);
      continue;
    }
    ++statistics_.evaluated;
    const double h = heuristics_[i]->estimate(view);
    if (h == dead_end) return false;
    if (best_estimate_ < 0 || h < best_estimate_) best_estimate_ = h;
    const double w = heuristics_[i]->weight();
    state.set_f((1 - w) * g + w * h, i);
  }
  return true;
}

bool PlainSearch::WeakEquality::operator()(const State* a, const State* b) const {
  return a->assignments() == b->assignments() && a->todo.size() == b->todo.size() &&
         (a->todo.empty() || a->todo[0].size() == b->todo[0].size());
}

bool PlainSearch::are_mutex(ActionId a, ActionId b) const {
  const auto& left = model_.actions()[a].events;
  const auto& right = model_.actions()[b].events;
  // Both lists stand in order of time. Only events measured from the start meet for sure when both actions
  // open at once; where an end falls is open.
  for (std::size_t i = 0, j = 0; i < left.size() && j < right.size();) {
    if (!left[i]->anchor.from_start || !right[j]->anchor.from_start) {
      if (!left[i]->anchor.from_start) ++i;
      if (j < right.size() && !right[j]->anchor.from_start) ++j;
    } else if (left[i]->anchor.offset == right[j]->anchor.offset) {
      if (left[i]->is_effect_like() && right[j]->is_effect_like() && model_.touch(*left[i], *right[j]))
        return true;
      ++i;
      ++j;
    } else {
      left[i]->anchor.offset < right[j]->anchor.offset ? ++i : ++j;
    }
  }
  return false;
}

void PlainSearch::build_openable_sets(std::int64_t largest) {
  has_sets_ = true;
  ZORVEL_LOG(INFO) << " -> FTP Diamond is enabled!";
  assert(openable_sets_.empty() && largest >= 0);
  std::map<std::pair<ActionId, ActionId>, bool> mutex;
  const auto compatible = [&](const std::vector<ActionId>& set, ActionId action) {
    return std::none_of(set.begin(), set.end(), [&](ActionId member) {
      const auto [known, is_new] = mutex.try_emplace({action, member}, false);
      if (is_new) known->second = are_mutex(action, member);
      return known->second;
    });
  };
  std::vector<std::pair<std::vector<ActionId>, std::size_t>> work;
  for (std::size_t i = 0; i < openable_.size(); ++i) work.push_back({{openable_[i]}, i + 1});
  while (!work.empty() && !guard_.must_stop(1)) {
    const auto [set, next] = std::move(work.back());
    work.pop_back();
    openable_sets_.push_back(set);
    std::sort(openable_sets_.back().begin(), openable_sets_.back().end());
    if (largest != 0 && static_cast<std::int64_t>(set.size()) >= largest) continue;
    for (std::size_t j = next; j < openable_.size(); ++j) {
      if (!compatible(set, openable_[j])) continue;
      std::vector<ActionId> larger = set;
      larger.push_back(openable_[j]);
      work.push_back({std::move(larger), j + 1});
    }
  }
  ZORVEL_LOG(INFO) << " -> The compressed branching factor for action opening will be "
                   << openable_sets_.size() << ".";
}

void PlainSearch::push(std::unique_ptr<State> state) {
  if (!state) return;
  assert(state->tn.consistent());
  ++statistics_.stored;
  bytes_ += bytes_of(*state);
  std::vector<double> f(list_count(heuristics_));
  for (std::size_t i = 0; i < f.size(); ++i) f[i] = state->f(i);
  const auto todo_lists = static_cast<std::uint32_t>(state->todo.size());
  open_.push(f, todo_lists, std::move(state));
}

bool PlainSearch::is_seen_at_end(const State& state) {
  if (state.todo.size() != 1) return false;
  // At the end of the plan alone, with no action open, two states of equal values have equal futures: the
  // times behind them bind nothing any more.
  const Event& next = *state.todo[0].front().first;
  if (next.action || next.anchor.from_start || next.anchor.offset != rational(0) || next.is_opener() ||
      next.is_closer())
    return false;
  std::string key = std::to_string(state.todo[0].size());
  for (const Node* value : state.assignments())
    key += value == nullptr ? ",-" : "," + std::to_string(value->id);
  return !end_values_.insert(std::move(key)).second;
}

void PlainSearch::expand(const State& state) {
  const auto& starts = model_.global_start_events();
  const bool start_is_pending = std::any_of(state.todo.begin(), state.todo.end(), [&](const TodoList& list) {
    return std::find(starts.begin(), starts.end(), list.front().first) != starts.end();
  });
  for (const TodoList& list : state.todo) {
    const Event* const first = list.front().first;
    const bool is_final = !first->action && std::find(starts.begin(), starts.end(), first) == starts.end();
    if (is_final && start_is_pending) continue;
    push(successors_.apply(state, list.front(), true));
    if (guard_.must_stop(work_of_move)) return;
  }
  if (has_sets_) {
    for (const auto& set : openable_sets_) {
      push(successors_.open_all(state, set, true));
      if (guard_.must_stop(work_of_move)) return;
    }
  } else {
    for (const ActionId action : openable_) {
      push(successors_.open(state, action, true));
      if (guard_.must_stop(work_of_move)) return;
    }
  }
}

SearchOutcome PlainSearch::run(bool weak) {
  ZORVEL_LOG(INFO) << "Start FTP";
  const double started = guard_.seconds();
  const SearchGuard::Watch watch(guard_, [this](SearchProgress& progress) {
    progress.open = open_.size();
    progress.stored_bytes = bytes_;
    progress.best_estimate = best_estimate_;
  });
  auto initial = successors_.initial_state();
  SearchOutcome outcome = SearchOutcome::no_plan;
  if (initial && initial->tn.consistent() && evaluate(*initial)) {
    push(std::move(initial));
    outcome = search(weak);
  }
  statistics_.seconds = guard_.seconds() - started;
  return outcome;
}

SearchOutcome PlainSearch::search(bool weak) {
  std::vector<std::unique_ptr<State>> closed_states;
  std::unordered_set<const State*, WorldHash, WeakEquality> closed;
  while (std::optional<std::unique_ptr<State>> item = open_.take(statistics_.expanded)) {
    std::unique_ptr<State> taken = std::move(*item);
    assert(bytes_ >= bytes_of(*taken));
    if (is_seen_at_end(*taken) || (weak && closed.contains(taken.get()))) {
      bytes_ -= bytes_of(*taken);
      continue;
    }
    ++statistics_.expanded;
    if (guard_.must_stop_expanding()) return guard_.outcome();
    if (taken->todo.empty() && taken->active_conditions.empty()) {
      ZORVEL_LOG(INFO) << "Final depth: " << taken->g() << ", Open size: " << open_.size()
                       << ", States expanded: " << statistics_.expanded;
      for (const StatePath* cell = taken->path.get(); cell != nullptr; cell = cell->parent().get())
        events_.push_back(cell->event_instance().first);
      std::reverse(events_.begin(), events_.end());
      return SearchOutcome::plan_found;
    }
    expand(*taken);
    if (guard_.outcome() != SearchOutcome::not_run) return guard_.outcome();
    if (weak) {
      closed_states.push_back(std::move(taken));
      closed.insert(closed_states.back().get());
    } else {
      bytes_ -= bytes_of(*taken);
    }
  }
  return SearchOutcome::no_plan;
}

}  // namespace zorvel::tp::ftp
