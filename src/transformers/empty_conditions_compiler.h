#pragma once

#include <map>
#include <optional>
#include <vector>

#include "model/walkers/check_contains_walker.h"
#include "transformers/duration_splitter.h"
#include "transformers/static_fluents.h"

namespace zorvel::model {

/// Splits each action into versions by its duration, so that no version has a durative condition whose
/// interval is empty for some of its durations and not for others.
///
/// A condition over `[start + c1, end - c2]` is in force from the duration c1 + c2 on, an open one only above
/// it. A problem in which no split is needed keeps its own actions; otherwise all actions are made anew under
/// names with a running number: `a0`, `a1`, `b2`.
///
/// Fluents that never change are read as their values in statements on the duration. A statement that stays
/// unreadable because it depends on the state stands in every version, beside the range of its durations; the
/// conditions of such an action all of whose thresholds are 0 stay in force in one version: a duration is
/// never below 0.
class EmptyConditionsCompiler : public DurationSplitter {
 public:
  explicit EmptyConditionsCompiler(const ProblemPtr& problem)
      : DurationSplitter(problem),
        static_fluents_(problem),
        has_duration_(problem->env(), NodeKind::DURATION),
        has_or_(problem->env(), NodeKind::OR) {}

  /// UnsupportedProblemError "Duration disjunctions not supported!" and "Durative conditions must have the
  /// form: [start + c1, start + c2], [start + c1, end - c2] or [end - c1, end - c2] with c1>=0 and c2>=0";
  /// InternalError "This phase can be only applied to flattened models!", "Multiple MINIMIZE_ACTION_COST
  /// metric", and for a statement on the duration that is no limit the statement as text.
  void do_computation() override;

 private:
  /// The expressions of one action, sorted.
  struct Sorted {
    std::vector<Node*> others;
    std::vector<Node*> duration_statements;  // as they stand
    std::vector<Node*> duration_list;        // those with numbers: static fluents replaced, `:=` written `==`
    std::vector<Node*> open_limits;          // the others, which the state decides
    std::map<rational, std::vector<Node*>> thresholds;
    bool dropped_some = false;
  };
  /// The versions of one action, and whether they differ from it.
  struct Split {
    std::vector<Draft> drafts;
    bool is_change = false;
  };

  Sorted sort(const ActionImpl& action) const;
  void sort_durative_condition(Node* condition, Sorted& sorted) const;
  void sort_duration_statement(Node* statement, Sorted& sorted) const;
  Split split(const ActionImpl& action) const;
  std::optional<Draft> draft(const Sorted& sorted, const std::vector<Node*>& in_force,
                             const std::vector<Node*>& constraints) const;
  bool stays_whole(const Sorted& sorted) const;

  StaticFluents static_fluents_;
  CheckContainsWalker has_duration_, has_or_;  // kept for their memos: actions share most of their nodes
};

}  // namespace zorvel::model
