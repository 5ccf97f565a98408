#include "search/forward/plain/plain_view.h"

#include <cassert>

namespace zorvel::tp::ftp {

PlainView::PlainView(const FtpModel& model, const EvaluationTables& tables)
    : model_(model), tables_(tables), chain_lengths_(model.chain_lengths()), values_(tables.layout.slots()) {}

StateView PlainView::of(PlainState<double>& state) {
  tables_.layout.pack(state, values_.data());
  open_.clear();
  for (const TodoList& list : state.todo) {
    assert(!list.empty());  // such a list is dropped, not kept
    const Event& last = *list.back().first;
    if (!last.action) {
      open_.push_back({last.anchor.from_start ? 0U : 1U, 0});
      continue;
    }
    const ActionId action = model_.action_id(last.action->name());
    assert(list.size() <= chain_lengths_[action]);
    open_.push_back(
        {first_action_chain + action, chain_lengths_[action] - static_cast<std::uint32_t>(list.size())});
  }
  return {values_.data(), open_, static_cast<std::uint32_t>(state.g()), state.note, &state.note};
}

}  // namespace zorvel::tp::ftp
