#pragma once

#include <optional>
#include <set>
#include <vector>

#include "core/numbers.h"
#include "model/walkers/check_contains_walker.h"
#include "plans/bound.h"
#include "transformers/duration_splitter.h"
#include "transformers/static_fluents.h"

namespace zorvel::model {

/// Splits each action that has points measured from its start and points measured from its end into versions
/// in which the order of these points is fixed: one for each exact duration at which a point from the end
/// meets one from the start, and one for each range between such durations. Versions are named with a running
/// number; an action that is not split stays as it is, also one whose duration no number bounds from above,
/// unless it depends on the state.
///
/// An action of a fixed duration some of whose points meet, or stand in another order than offsets alone
/// tell, becomes one version that measures all points from its start, so that those that meet are one moment.
/// Points before the start of such an action make its version begin with the first of them.
///
/// A duration at which two effects on one target coincide is left out.
class PartialOrderCompiler : public DurationSplitter {
 public:
  explicit PartialOrderCompiler(const ProblemPtr& problem)
      : DurationSplitter(problem),
        static_fluents_(problem),
        has_duration_(problem->env(), NodeKind::DURATION) {}

  /// UnsupportedProblemError "Zero-duration action not allowed!"; InternalError "This phase can be only
  /// applied to flattened models!", an empty text for a time anchor of an unknown form, and for a statement
  /// on the duration that is no limit the statement as text.
  void do_computation() override;

 private:
  /// The points and durations of one action.
  struct Points {
    std::set<rational> from_start;   // offsets after the start
    std::vector<rational> from_end;  // offsets before the end
    bool has_start_offset = false;
    bool has_end_offset = false;
    DurationBounds limits;           // by the statements on the duration that have numbers
    std::vector<Node*> open_limits;  // the others
    std::vector<Node*> kept;         // the expressions that do not read the duration
    rational first_moment(const rational& duration) const;
    bool are_out_of_order_at(const rational& duration) const;
  };

  Points points_of(const ActionImpl& action) const;
  void add_point(Node* anchor, Points& points) const;
  /// No value if the action is carried over.
  std::optional<std::vector<Draft>> split(const ActionImpl& action) const;
  std::optional<Draft> draft(const Points& points, Node* constraint) const;
  std::optional<Draft> exact_draft(const ActionImpl& action, const Points& points,
                                   const rational& duration) const;
  Node* measured_from_start(Node* statement, const rational& duration, const rational& shift) const;
  Node* moved_anchor(Node* anchor, const rational& duration, const rational& shift) const;
  bool has_conflict(const ActionImpl& action, const Points& points, const rational& duration) const;

  StaticFluents static_fluents_;
  CheckContainsWalker has_duration_;  // kept for its memo: actions share most of their nodes
};

}  // namespace zorvel::model
