#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

#include "model/action.h"
#include "search/frame/state_view.h"
#include "transformers/temporally_aware_relaxer.h"

namespace zorvel {

/// Where an open action stands on its ring of progress fluents: position 0 is idle, and position p is reached
/// when as many events are pending as the ring has positions from p on. See TemporallyAwareRelaxer.
struct RingPosition {
  std::uint32_t action;
  std::uint32_t position;
};

/// The progress fluents of each action of a temporal problem, by the number of the action. Without any, for a
/// problem whose actions are atomic, no action is ever open.
class ProgressRings {
 public:
  using Fluents = model::TemporallyAwareRelaxer::RingFluents;

  ProgressRings() = default;
  /// `actions` are those of the problem that is searched, in order, and `chain_lengths` how many events each
  /// of them leaves pending when it opens.
  ProgressRings(const model::ExpressionFactory& factory, const Fluents& fluents,
                const std::vector<std::shared_ptr<model::ActionImpl>>& actions,
                std::vector<std::uint32_t> chain_lengths);

  std::size_t actions() const { return rings_.size(); }
  /// The references by position; empty for an action without later events.
  const std::vector<Node*>& ring(std::size_t action) const { return rings_[action]; }
  bool is_progress(const model::FluentImpl* fluent) const { return fluents_.contains(fluent); }

  /// The position of an open chain; none for the problem's own ones. InternalError if the ring has none for
  /// what is pending.
  std::optional<RingPosition> position(const OpenChain& open) const;

 private:
  std::vector<std::vector<Node*>> rings_;
  std::vector<std::uint32_t> chain_lengths_;
  std::unordered_set<const model::FluentImpl*> fluents_;
};

}  // namespace zorvel
