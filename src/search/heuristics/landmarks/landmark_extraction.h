#pragma once

#include <functional>
#include <map>
#include <queue>
#include <set>
#include <utility>
#include <vector>

#include "search/heuristics/relaxation/first_achievers.h"

namespace zorvel {

/// Finds landmarks and orderings, backwards from the goal; see LandmarkGraph.
class LandmarkExtraction : public EnvObject {
 public:
  using Clauses = std::vector<model::NodeSet>;
  using NodeIdSet = std::set<Node*, NodeIdLess>;
  struct OrderingLess {
    bool operator()(const std::pair<Node*, Node*>& a, const std::pair<Node*, Node*>& b) const {
      return a.first == b.first ? a.second->id < b.second->id : a.first->id < b.first->id;
    }
  };

  /// What the initial values make of an expression: true, false, or neither.
  enum class Truth { yes, no, undefined };
  using Evaluate = std::function<Truth(Node*)>;
  /// Whether a reference is a progress fluent of a relaxed temporal problem.
  using IsProgress = std::function<bool(Node*)>;

  /// `initial` is the value of each reference; all arguments are referred to.
  LandmarkExtraction(Environment& env, const std::unordered_map<Node*, Node*>& initial,
                     const std::vector<ClassicalAction>& actions, Evaluate evaluate, IsProgress is_progress);

  void run(const Clauses& goals);

  const NodeIdSet& landmarks() const { return landmarks_; }
  /// (a, b): a must be true just before b is first achieved.
  const std::set<std::pair<Node*, Node*>, OrderingLess>& orderings() const { return orderings_; }
  const NodeIdSet& goal_landmarks() const { return goal_landmarks_; }

  /// Disjunctions of one literal of each clause, at least one of which holds where a clause does. Literals
  /// that all clauses share come first, and alone; then progress fluents, fluents that stand in all clauses,
  /// and the others are paired. As many as the shortest clause has literals.
  std::vector<Node*> landmarks_from_dnf(const Clauses& clauses) const;

 private:
  std::vector<std::vector<Node*>> aligned(const Clauses& clauses) const;
  std::vector<Node*> candidates_before(Node* landmark);
  void add_candidate(Node* candidate, Node* landmark);
  void remove(Node* landmark);

  const std::vector<ClassicalAction>& actions_;
  Evaluate evaluate_;
  IsProgress is_progress_;
  FirstAchievers first_achievers_;
  NodeIdSet landmarks_, goal_landmarks_;
  NodeIdSet removed_;
  std::set<std::pair<Node*, Node*>, OrderingLess> orderings_;
  std::queue<Node*> queue_;
};

}  // namespace zorvel
