#include "search/landmark_graph.h"

#include <algorithm>
#include <bit>
#include <unordered_map>

#include "model/expression_factory.h"
#include "search/landmark_extraction.h"

namespace zorvel {

using F = model::ExpressionFactory;

namespace {

/// Offsets and members of lists that are given as pairs (owner, member).
void group(std::size_t owners, const std::vector<LandmarkGraph::Ordering>& pairs,
           std::vector<std::uint32_t>& offsets, std::vector<LandmarkGraph::LandmarkId>& members) {
  offsets.assign(owners + 1, 0);
  for (const auto& [owner, member] : pairs) ++offsets[owner + 1];
  for (std::size_t i = 0; i < owners; ++i) offsets[i + 1] += offsets[i];
  std::vector<std::uint32_t> next = offsets;
  members.resize(pairs.size());
  for (const auto& [owner, member] : pairs) members[next[owner]++] = member;
}

}  // namespace

LandmarkGraph::LandmarkGraph(const StateLayout& layout, const ExpressionCompiler& compiler,
                             const ValueId* slots, const std::vector<model::NodeSet>& goals,
                             const std::vector<ClassicalAction>& actions, std::size_t first_progress)
    : EnvObject(layout.env()) {
  std::unordered_map<Node*, Node*> initial;
  for (std::size_t slot = 0; slot < layout.slots(); ++slot)
    if (slots[slot] != unset_value)
      initial.emplace(layout.reference(slot), layout.values().node_of(slots[slot]));
  using Truth = LandmarkExtraction::Truth;
  std::unordered_map<Node*, Truth> known;
  const auto evaluate = [&](Node* node) {
    const auto [entry, is_new] = known.try_emplace(node, Truth::undefined);
    if (!is_new) return entry->second;
    const ValueId value = compiler.compile(node).evaluate(slots);
    if (ValueTable::is_boolean(value)) entry->second = value == true_value ? Truth::yes : Truth::no;
    return entry->second;
  };
  const auto is_progress = [&](Node* reference) {
    const auto slot = layout.index().find(reference);
    return slot != layout.index().end() && slot->second >= first_progress;
  };
  LandmarkExtraction extraction(env(), initial, actions, evaluate, is_progress);
  extraction.run(goals);

  std::unordered_map<Node*, LandmarkId> numbers;
  for (Node* landmark : extraction.landmarks()) {
    numbers.emplace(landmark, static_cast<LandmarkId>(landmarks_.size()));
    landmarks_.push_back(landmark);
    is_goal_.push_back(extraction.goal_landmarks().contains(landmark) ? 1 : 0);
    compile(landmark, compiler);
  }
  for (const auto& [before, after] : extraction.orderings())
    orderings_.emplace_back(numbers.at(before), numbers.at(after));
  index_orderings();
}

void LandmarkGraph::compile(Node* landmark, const ExpressionCompiler& compiler) {
  Condition& condition = conditions_.emplace_back();
  condition.first_test = static_cast<std::uint32_t>(tests_.size());
  condition.program = -1;
  const std::vector<Node*> disjuncts =
      F::is_or(landmark) ? std::vector<Node*>(landmark->operands().begin(), landmark->operands().end())
                         : std::vector<Node*>{landmark};
  for (Node* disjunct : disjuncts) {
    const CompiledCondition compiled = compiler.compile_condition(disjunct);
    if (compiled.is_conjunction_of_literals() && compiled.literals().size() == 1) {
      const CompiledCondition::Literal& literal = compiled.literals().front();
      tests_.push_back({literal.slot, literal.expected, literal.is_equal});
      continue;
    }
    tests_.resize(condition.first_test);
    condition.program = static_cast<std::int32_t>(programs_.size());
    programs_.push_back(compiler.compile(landmark));
    break;
  }
  condition.last_test = static_cast<std::uint32_t>(tests_.size());
}

void LandmarkGraph::index_orderings() {
  group(size(), orderings_, successor_offsets_, successors_);
  std::vector<Ordering> turned;
  for (const auto& [before, after] : orderings_) turned.emplace_back(after, before);
  group(size(), turned, predecessor_offsets_, predecessors_);
}

bool LandmarkGraph::is_true(LandmarkId landmark, const ValueId* slots) const {
  const Condition& condition = conditions_[landmark];
  if (condition.program >= 0)
    return programs_[static_cast<std::size_t>(condition.program)].evaluate(slots) == true_value;
  for (std::uint32_t i = condition.first_test; i < condition.last_test; ++i) {
    const Test& test = tests_[i];
    const ValueId value = slots[test.slot];
    if ((value == test.expected) == test.is_equal && value != unset_value) return true;
  }
  return false;
}

void LandmarkGraph::reach_initially(const ValueId* slots, Word* reached) const {
  std::fill_n(reached, words(), 0);
  for (LandmarkId landmark = 0; landmark < size(); ++landmark)
    if (predecessors(landmark).empty() && is_true(landmark, slots))
      reached[landmark / bits] |= Word{1} << (landmark % bits);
}

void LandmarkGraph::reach(const Word* parent, const ValueId* slots, Word* reached) const {
  for (std::size_t word = 0; word < words(); ++word) {
    reached[word] = parent[word];
    Word open = ~parent[word];
    if (word + 1 == words() && size() % bits != 0) open &= (Word{1} << (size() % bits)) - 1;
    for (; open != 0; open &= open - 1) {
      const auto landmark =
          static_cast<LandmarkId>(word * bits) + static_cast<LandmarkId>(std::countr_zero(open));
      const auto before = predecessors(landmark);
      if (std::all_of(before.begin(), before.end(), [&](LandmarkId a) { return contains(parent, a); }) &&
          is_true(landmark, slots))
        reached[word] |= open & -open;
    }
  }
}

bool LandmarkGraph::is_needed_again(LandmarkId landmark, const Word* reached) const {
  if (is_goal(landmark)) return true;
  const auto after = successors(landmark);
  return std::any_of(after.begin(), after.end(), [&](LandmarkId b) { return !contains(reached, b); });
}

std::size_t LandmarkGraph::count_needed(const Word* reached, const ValueId* slots) const {
  std::size_t needed = size();
  for (std::size_t word = 0; word < words(); ++word) {
    for (Word closed = reached[word]; closed != 0; closed &= closed - 1) {
      const auto landmark =
          static_cast<LandmarkId>(word * bits) + static_cast<LandmarkId>(std::countr_zero(closed));
      if (!is_needed_again(landmark, reached) || is_true(landmark, slots)) --needed;
    }
  }
  return needed;
}

}  // namespace zorvel
