#include "search/heuristics/heuristic.h"

#include "search/forward/dense/dense_problem.h"
#include "search/frame/search_weight.h"

namespace zorvel {

namespace {

/// A dense state as plain heuristics see it.
class SpelledOutState : public tp::SearchState {
 public:
  explicit SpelledOutState(const tp::ftp::DenseView& view)
      : tp::SearchState(view.problem.slots(), 1), view_(view) {
    const auto& references = view.problem.model().references();
    for (std::size_t slot = 0; slot < references.size(); ++slot)
      if (view.values[slot] != 0) override_value(slot, view.problem.values().node_of(view.values[slot]));
  }
  std::size_t open_actions() const override { return view_.todo.size(); }
  TodoSizes todo_sizes() const override {
    using Problem = tp::ftp::DenseProblem;
    TodoSizes sizes;
    for (const tp::ftp::Todo& todo : view_.todo)
      if (todo.chain >= Problem::first_action_chain)
        sizes.emplace(view_.problem.model().actions()[todo.chain - Problem::first_action_chain].action,
                      view_.problem.chain(todo.chain).events.size() - todo.cursor);
    return sizes;
  }

 private:
  const tp::ftp::DenseView& view_;
};

}  // namespace

double Heuristic::weight() const { return search_weight(env()); }

double Heuristic::evaluate(const tp::ftp::DenseView& view) { return (*this)(SpelledOutState(view)); }

double HSize::operator()(const SearchState& state) {
  return static_cast<double>(temporal(state).open_actions());
}

double HSize::evaluate(const tp::ftp::DenseView& view) { return static_cast<double>(view.todo.size()); }

const tp::SearchState& temporal(const SearchState& state) {
  return static_cast<const tp::SearchState&>(state);
}

}  // namespace zorvel
