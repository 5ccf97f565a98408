#include "search/heuristics/relaxation/progress_rings.h"

#include <cassert>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/fluent.h"

namespace zorvel {

ProgressRings::ProgressRings(const model::ExpressionFactory& factory, const Fluents& fluents,
                             const std::vector<std::shared_ptr<model::ActionImpl>>& actions,
                             std::vector<std::uint32_t> chain_lengths)
    : chain_lengths_(std::move(chain_lengths)) {
  assert(chain_lengths_.size() == actions.size());
  for (const auto& action : actions) {
    auto& ring = rings_.emplace_back();
    const auto found = fluents.find(action);
    if (found == fluents.end()) continue;
    for (const auto& [k, reference] : found->second) {
      ring.push_back(reference);
      fluents_.insert(factory.get_fluent_from_reference(reference).get());
    }
  }
}

std::optional<RingPosition> ProgressRings::position(const OpenChain& open) const {
  if (open.chain < first_action_chain) return std::nullopt;
  const std::uint32_t action = open.chain - first_action_chain;
  const std::size_t size = rings_[action].size();
  assert(action < rings_.size() && open.cursor <= chain_lengths_[action]);
  const std::size_t pending = chain_lengths_[action] - open.cursor;
  if (pending == 0 || pending > size) throw InternalError("An open action has no progress fluent");
  return RingPosition{action, static_cast<std::uint32_t>(size - pending)};
}

}  // namespace zorvel
