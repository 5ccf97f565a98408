#include "search/hlandmarks.h"

#include <algorithm>

#include "core/errors.h"
#include "search/dense_problem.h"
#include "search/ftp_state.h"

namespace zorvel {

HLandmarks::HLandmarks(Environment& env, std::shared_ptr<EvaluationTables> tables,
                       std::unique_ptr<LandmarkGraph> graph, const std::vector<ValueId>& slots)
    : Heuristic(env),
      tables_(std::move(tables)),
      graph_(std::move(graph)),
      sets_(graph_->words()),
      reached_(graph_->words()) {
  graph_->reach_initially(slots.data(), reached_.data());
  initial_set_ = sets_.insert(reached_.data());
}

double HLandmarks::estimate(const ValueId* slots, SetId& set) {
  if (set == 0)
    graph_->reach_initially(slots, reached_.data());
  else
    graph_->reach(sets_[set], slots, reached_.data());
  set = sets_.insert(reached_.data());
  return static_cast<double>(graph_->count_needed(reached_.data(), slots));
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

double HLandmarks::operator()(const SearchState& state) {
  tables().layout.pack(state, slots_.data());
  SetId set = 0;
  return estimate(slots_.data(), set);
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
      slots_(std::move(parts.slots)) {}

HLandmarks::~HLandmarks() = default;

void HLandmarks::set_progress(std::size_t action, std::size_t pending) {
  const auto& ring = layout_->rings[action];
  if (pending == 0 || pending > ring.size()) throw InternalError();
  not_idle_.push_back(action);
  slots_[ring[ring.size() - pending]] = true_value;
  slots_[ring.front()] = false_value;
}

double HLandmarks::estimate_with_progress(SetId& set) {
  const double value = estimate(slots_.data(), set);
  for (const std::size_t action : not_idle_) {
    const auto& ring = layout_->rings[action];
    for (const std::size_t slot : ring) slots_[slot] = false_value;
    slots_[ring.front()] = true_value;
  }
  not_idle_.clear();
  return value;
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
  for (std::size_t slot = 0; slot < layout_->state_slots; ++slot)
    slots_[slot] = tables().values.id_of(state.value(slot));
  for (const auto& [action, pending] : plain->todo_sizes()) {
    const auto number = layout_->numbers.find(action);
    if (number == layout_->numbers.end()) throw InternalError();
    set_progress(number->second, pending);
  }
  SetId set = 0;
  if (plain->path) {
    set = set_of_nearest(plain->path->parent().get());
  } else {
    set_of_path_.clear();
  }
  const double value = estimate_with_progress(set);
  if (plain->path) set_of_path_.insert_or_assign(plain->path.get(), std::pair(plain->path, set));
  return value;
}

double HLandmarks::evaluate(const ftp::DenseView& view) {
  std::copy_n(view.values, layout_->state_slots, slots_.data());
  using Problem = ftp::DenseProblem;
  for (const ftp::Todo& todo : view.todo)
    if (todo.chain >= Problem::first_action_chain)
      set_progress(todo.chain - Problem::first_action_chain,
                   view.problem.chain(todo.chain).events.size() - todo.cursor);
  return estimate_with_progress(*view.note);
}

}  // namespace tp

}  // namespace zorvel
