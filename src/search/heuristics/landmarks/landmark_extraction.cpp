#include "search/heuristics/landmarks/landmark_extraction.h"

#include <algorithm>
#include <tuple>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/expression_free_vars.h"

namespace zorvel {

using F = model::ExpressionFactory;

namespace {

/// The literals of a landmark, by id.
std::vector<Node*> disjuncts_of(Node* landmark) {
  if (!F::is_or(landmark)) return {landmark};
  return {landmark->operands().begin(), landmark->operands().end()};
}

bool is_part_of(Node* part, Node* whole) {
  const auto parts = disjuncts_of(part), wholes = disjuncts_of(whole);
  return std::includes(wholes.begin(), wholes.end(), parts.begin(), parts.end(), NodeIdLess());
}

}  // namespace

LandmarkExtraction::LandmarkExtraction(Environment& env, const std::unordered_map<Node*, Node*>& initial,
                                       const std::vector<ClassicalAction>& actions, Evaluate evaluate,
                                       IsProgress is_progress)
    : EnvObject(env),
      actions_(actions),
      evaluate_(std::move(evaluate)),
      is_progress_(std::move(is_progress)),
      first_achievers_(env, initial, actions) {}

void LandmarkExtraction::run(const Clauses& goals) {
  for (Node* candidate : landmarks_from_dnf(goals)) {
    goal_landmarks_.insert(candidate);
    if (landmarks_.insert(candidate).second) queue_.push(candidate);
  }
  while (!queue_.empty()) {
    Node* const landmark = queue_.front();
    queue_.pop();
    if (evaluate_(landmark) == Truth::yes) continue;
    for (Node* candidate : candidates_before(landmark)) add_candidate(candidate, landmark);
  }
}

std::vector<Node*> LandmarkExtraction::candidates_before(Node* landmark) {
  const auto achievers = first_achievers_(disjuncts_of(landmark));
  if (!achievers) return {};
  Clauses clauses;
  for (const std::size_t number : *achievers) {
    const ClassicalAction& action = actions_[number];
    if (action.conditions().empty()) return {};  // it needs nothing
    clauses.insert(clauses.end(), action.dnf_condition().begin(), action.dnf_condition().end());
  }
  return landmarks_from_dnf(clauses);
}

void LandmarkExtraction::add_candidate(Node* candidate, Node* landmark) {
  if (evaluate_(candidate) != Truth::no || candidate == landmark) return;
  // A landmark that gave way to a stronger one does not come back, or the two could take turns for ever.
  bool is_dropped = removed_.contains(candidate);
  const bool is_new = !is_dropped && !landmarks_.contains(candidate);
  std::vector<Node*> weaker;
  for (Node* known : landmarks_) {
    if (known == candidate) continue;
    if (F::is_or(known) && is_part_of(candidate, known)) weaker.push_back(known);
    if (!F::is_or(known) && F::is_or(candidate) && is_part_of(known, candidate)) is_dropped = true;
  }
  for (Node* known : weaker) remove(known);
  if (is_dropped) return;
  if (is_new) {
    landmarks_.insert(candidate);
    queue_.push(candidate);
  }
  if (landmarks_.contains(landmark)) orderings_.emplace(candidate, landmark);
}

void LandmarkExtraction::remove(Node* landmark) {
  landmarks_.erase(landmark);
  removed_.insert(landmark);
  std::erase_if(orderings_, [&](const auto& ordering) {
    return ordering.first == landmark || ordering.second == landmark;
  });
}

std::vector<Node*> LandmarkExtraction::landmarks_from_dnf(const Clauses& clauses) const {
  if (clauses.empty()) return {};
  const std::vector<std::vector<Node*>> literals = aligned(clauses);
  std::size_t buckets = literals.front().size();
  for (const auto& clause : literals) buckets = std::min(buckets, clause.size());
  std::vector<Node*> candidates;
  for (std::size_t bucket = 0; bucket < buckets; ++bucket) {
    NodeIdSet members;
    for (const auto& clause : literals) members.insert(clause[bucket]);
    candidates.push_back(members.size() == 1 ? *members.begin()
                                             : env().expression_factory().make_or(
                                                   std::vector<Node*>(members.begin(), members.end())));
  }
  return candidates;
}

std::vector<std::vector<Node*>> LandmarkExtraction::aligned(const Clauses& clauses) const {
  // What a literal is about: its first fluent. Progress fluents are about one thing, the actions.
  model::ExpressionFreeVars free_vars(env());
  std::unordered_map<Node*, std::pair<bool, std::string>> subjects;
  std::unordered_map<Node*, std::size_t> clauses_with;
  std::map<std::pair<bool, std::string>, std::size_t> clauses_about;
  for (const model::NodeSet& clause : clauses) {
    std::set<std::pair<bool, std::string>> about;
    for (Node* literal : clause) {
      ++clauses_with[literal];
      auto& subject = subjects[literal];
      const auto references = model::sorted_by_id(free_vars(literal));
      const auto first = std::find_if(references.begin(), references.end(), F::is_fluent_reference);
      if (first == references.end()) continue;
      subject.first = !is_progress_(*first);
      if (subject.first)
        subject.second = env().expression_factory().get_fluent_from_reference(*first)->name();
      about.insert(subject);
    }
    for (const auto& subject : about) ++clauses_about[subject];
  }
  std::map<std::pair<bool, std::string>, std::size_t> ranks;
  for (const auto& [literal, subject] : subjects) ranks.emplace(subject, 0);
  std::size_t rank = 0;
  for (auto& [subject, own] : ranks) own = rank++;
  using Key = std::tuple<bool, bool, std::size_t, std::size_t, Node*>;
  std::vector<std::vector<Node*>> result;
  std::vector<Key> keys;
  for (const model::NodeSet& clause : clauses) {
    keys.clear();
    for (Node* literal : clause) {
      const auto& subject = subjects.at(literal);
      keys.emplace_back(clauses_with.at(literal) != clauses.size(), clauses_about[subject] != clauses.size(),
                        ranks.at(subject), literal->id, literal);
    }
    std::sort(keys.begin(), keys.end());
    auto& literals = result.emplace_back();
    for (const Key& key : keys) literals.push_back(std::get<Node*>(key));
  }
  return result;
}

}  // namespace zorvel
