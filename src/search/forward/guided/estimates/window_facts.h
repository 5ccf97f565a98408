#pragma once

#include <functional>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "search/forward/guided/estimates/piece_builder.h"
#include "search/frame/state_view.h"

namespace zorvel::tp::ftp {

/// What has to hold for longer than some actions hold it up: beside the fact that a literal is true, facts
/// that it is true for a time, which only actions give that do not take it back before. Without them the
/// relaxation takes the short one of two actions that hold up the same, and does not see that another is
/// needed. The facts are marks of the table, so that no value of a slot makes them true.
///
/// They count in the estimates of pieces only: an action may also begin while another still holds up what it
/// needs and go on under a second one.
class WindowFacts {
 public:
  /// Looks at the actions for which `is_used` holds and makes the marks.
  WindowFacts(const DenseProblem& problem, PieceBuilder& builder,
              const std::function<bool(ActionId)>& is_used);

  /// What the action needs in place of a fact: the fact itself or a mark.
  FactId needed(ActionId action, FactId fact) const;
  /// Appends the marks that the event at a position of the action's chain gives.
  void append_given(ActionId action, std::uint32_t position, std::vector<FactId>& facts) const;
  /// Appends the marks of a fact that is there for good.
  void append_all(FactId fact, std::vector<FactId>& facts) const;
  /// Appends the marks that a state gives, where `holds` tells which literals are true there: not those of a
  /// literal that an open action takes back too soon.
  void append_holding(std::span<const OpenChain> open, const std::function<bool(FactId)>& holds,
                      std::vector<FactId>& facts) const;

 private:
  struct Mark {
    FactId fact, mark;
    double length;
  };
  /// A fact that an action gives and takes back.
  struct Window {
    std::uint32_t given_at, taken_at;  // positions in the chain
    FactId fact;
    double length;  // at most
  };
  void collect_demands(ActionId action);
  void collect_windows(ActionId action);
  void make_marks(PieceBuilder& builder);
  double least_distance(ActionId action, std::uint32_t from, std::uint32_t to) const;
  double greatest_distance(ActionId action, std::uint32_t from, std::uint32_t to) const;
  std::span<const Mark> marks_of(FactId fact) const;

  const DenseProblem& problem_;
  const PieceBuilder& builder_;
  std::map<std::pair<ActionId, FactId>, double> demands_;  // the longest time by action and fact
  std::map<ActionId, std::vector<Window>> windows_;
  std::vector<Mark> marks_;  // by fact, then by length
};

}  // namespace zorvel::tp::ftp
