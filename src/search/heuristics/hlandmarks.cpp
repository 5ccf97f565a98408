#include "search/heuristics/hlandmarks.h"

#include <algorithm>

#include "core/errors.h"
#include "search/classical/tsimple/search_state.h"
#include "search/forward/dense/dense_problem.h"
#include "search/forward/plain/ftp_state.h"

namespace zorvel {

HLandmarks::HLandmarks(Environment& env, std::shared_ptr<EvaluationTables> tables,
                       std::unique_ptr<LandmarkGraph> graph, const std::vector<ValueId>& slots)
    : Heuristic(env),
      tables_(std::move(tables)),
      graph_(std::move(graph)),
      truths_(*graph_, slots),
      sets_(graph_->words()),
      reached_(graph_->words()) {
  graph_->reach_initially(truths_.holding(), reached_.data());
  initial_set_ = sets_.insert(reached_.data());
}

double HLandmarks::estimate(const ValueId* slots, SetId& set) {
  truths_.set_first(slots, tables_->layout.slots());
  const LandmarkGraph::Word* const holding = truths_.holding();
  if (set == 0) {
    graph_->reach_initially(holding, reached_.data());
    set = sets_.insert(reached_.data());
  } else {
    const LandmarkGraph::Word* const parent = sets_[set];
    graph_->reach(parent, holding, reached_.data());
    if (!std::equal(reached_.begin(), reached_.end(), parent)) set = sets_.insert(reached_.data());
  }
  return static_cast<double>(graph_->count_needed(reached_.data(), holding));
}

namespace tsimple {

HLandmarks::HLandmarks(Environment& env, std::shared_ptr<EvaluationTables> tables,
                       const std::vector<model::NodeSet>& goals,
                       const std::vector<ClassicalAction>& classical_actions,
                       const std::vector<ValueId>& slots)
    : zorvel::HLandmarks(env, tables,
                         std::make_unique<LandmarkGraph>(tables->layout, tables->compiler, slots.data(),
                                                         goals, classical_actions),
                         slots),
      slots_(slots) {}

double HLandmarks::operator()(const zorvel::SearchState& state) {
  const auto& own = static_cast<const SearchState&>(state);
  tables().layout.pack(own, slots_.data());
  SetId set = own.parent == nullptr ? 0 : set_of_state_.at(own.parent);
  const double value = estimate(slots_.data(), set);
  set_of_state_[&own] = set;
  return value;
}

}  // namespace tsimple

namespace tp {

/// The slots of the state and, behind them, of the progress fluents.
struct HLandmarks::Layout {
  Layout(EvaluationTables& tables, const ProgressFluents& progress,
         const std::vector<std::shared_ptr<model::ActionImpl>>& actions)
      : state_slots(tables.layout.slots()),
        index(with_progress(tables.layout.index(), progress, actions)),
        layout(tables.layout.env(), index, tables.values),
        compiler(tables.layout.env(), layout) {}

  StateIndex with_progress(StateIndex extended, const ProgressFluents& progress,
                           const std::vector<std::shared_ptr<model::ActionImpl>>& actions) {
    for (const auto& action : actions) {
      numbers.emplace(action, rings.size());
      auto& ring = rings.emplace_back();
      const auto found = progress.find(action);
      if (found == progress.end()) continue;
      for (const auto& [k, reference] : found->second) {
        ring.push_back(extended.size());
        extended.emplace(reference, ring.back());
      }
    }
    return extended;
  }

  std::vector<ValueId> initial_slots(const SearchState& state) const {
    std::vector<ValueId> slots(layout.slots(), false_value);
    for (std::size_t slot = 0; slot < state_slots; ++slot)
      slots[slot] = layout.values().id_of(state.value(slot));
    for (const auto& ring : rings)
      if (!ring.empty()) slots[ring.front()] = true_value;
    return slots;
  }

  std::size_t state_slots;
  std::unordered_map<std::shared_ptr<model::ActionImpl>, std::size_t> numbers;
  std::vector<std::vector<std::size_t>> rings;  // by action, the slots by k - 1
  StateIndex index;
  StateLayout layout;
  ExpressionCompiler compiler;
};

struct HLandmarks::Parts {
  Parts(EvaluationTables& tables, const ProgressFluents& progress, const std::vector<model::NodeSet>& goals,
        const std::vector<ClassicalAction>& classical_actions,
        const std::vector<std::shared_ptr<model::ActionImpl>>& actions, const SearchState& initial)
      : layout(std::make_unique<Layout>(tables, progress, actions)),
        slots(layout->initial_slots(initial)),
        graph(std::make_unique<LandmarkGraph>(layout->layout, layout->compiler, slots.data(), goals,
                                              classical_actions, layout->state_slots)) {}
  std::unique_ptr<Layout> layout;
  std::vector<ValueId> slots;
  std::unique_ptr<LandmarkGraph> graph;
};

HLandmarks::HLandmarks(Environment& env, std::shared_ptr<EvaluationTables> tables,
                       const ProgressFluents& progress, const std::vector<model::NodeSet>& goals,
                       const std::vector<ClassicalAction>& classical_actions,
                       const std::vector<std::shared_ptr<model::ActionImpl>>& actions,
                       const SearchState& initial)
    : HLandmarks(env, tables, Parts(*tables, progress, goals, classical_actions, actions, initial)) {}

HLandmarks::HLandmarks(Environment& env, std::shared_ptr<EvaluationTables> tables, Parts parts)
    : zorvel::HLandmarks(env, std::move(tables), std::move(parts.graph), parts.slots),
      layout_(std::move(parts.layout)),
      positions_(layout_->rings.size(), idle),
      stays_open_(layout_->rings.size(), 0) {}

HLandmarks::~HLandmarks() = default;

void HLandmarks::add_open(std::size_t action, std::size_t pending) {
  const std::size_t size = layout_->rings[action].size();
  if (pending == 0 || pending > size) throw InternalError();
  next_open_.push_back({action, size - pending});
}

void HLandmarks::update_progress() {
  for (const OpenAction& open : next_open_) stays_open_[open.action] = 1;
  for (const OpenAction& closed : open_) {
    if (stays_open_[closed.action] != 0) continue;
    const auto& ring = layout_->rings[closed.action];
    truths().set(ring[closed.position], false_value);
    truths().set(ring.front(), true_value);
    positions_[closed.action] = idle;
  }
  for (const OpenAction& open : next_open_) {
    stays_open_[open.action] = 0;
    const auto& ring = layout_->rings[open.action];
    std::size_t& position = positions_[open.action];
    if (position == open.position) continue;
    truths().set(ring[position == idle ? 0 : position], false_value);
    if (open.position != 0) truths().set(ring[open.position], true_value);
    position = open.position;
  }
  open_.swap(next_open_);
  next_open_.clear();
}

HLandmarks::SetId HLandmarks::set_of_nearest(const ftp::StatePath* path) const {
  for (; path != nullptr; path = path->parent().get()) {
    const auto known = set_of_path_.find(path);
    if (known != set_of_path_.end()) return known->second.second;
  }
  return initial_set();
}

double HLandmarks::operator()(const zorvel::SearchState& state) {
  const auto* const plain = dynamic_cast<const ftp::SearchState<double>*>(&temporal(state));
  if (plain == nullptr) throw InternalError("The landmark heuristic needs a state with a path");
  for (const auto& [action, pending] : plain->todo_sizes()) {
    const auto number = layout_->numbers.find(action);
    if (number == layout_->numbers.end()) throw InternalError();
    add_open(number->second, pending);
  }
  update_progress();
  values_.resize(tables().layout.slots());
  tables().layout.pack(state, values_.data());
  SetId set = 0;
  if (plain->path)
    set = set_of_nearest(plain->path->parent().get());
  else
    set_of_path_.clear();
  const double value = estimate(values_.data(), set);
  if (plain->path) set_of_path_.insert_or_assign(plain->path.get(), std::pair(plain->path, set));
  return value;
}

double HLandmarks::evaluate(const ftp::DenseView& view) {
  using Problem = ftp::DenseProblem;
  for (const ftp::Todo& todo : view.todo)
    if (todo.chain >= Problem::first_action_chain)
      add_open(todo.chain - Problem::first_action_chain,
               view.problem.chain(todo.chain).events.size() - todo.cursor);
  update_progress();
  return estimate(view.values, *view.note);
}

}  // namespace tp

}  // namespace zorvel
