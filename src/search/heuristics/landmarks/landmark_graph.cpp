#include "search/heuristics/landmarks/landmark_graph.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <unordered_map>

#include "model/expression_factory.h"
#include "search/heuristics/landmarks/landmark_extraction.h"

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

/// Calls `visit(landmark, bit)` for each landmark of one word of a set.
template <class Visit>
void for_each(std::size_t word, LandmarkGraph::Word set, Visit visit) {
  for (; set != 0; set &= set - 1)
    visit(static_cast<LandmarkGraph::LandmarkId>(word * LandmarkGraph::bits +
                                                 static_cast<std::size_t>(std::countr_zero(set))),
          set & -set);
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
    compile(landmark, compiler);
    goals_.resize(words());
    if (extraction.goal_landmarks().contains(landmark))
      goals_.back() |= Word{1} << (numbers.at(landmark) % bits);
  }
  for (const auto& [before, after] : extraction.orderings())
    orderings_.emplace_back(numbers.at(before), numbers.at(after));
  index_orderings();
}

LandmarkGraph::LandmarkGraph(Environment& env, const std::vector<Description>& landmarks,
                             std::vector<Ordering> orderings)
    : EnvObject(env), orderings_(std::move(orderings)) {
  for (const Description& landmark : landmarks) {
    Condition& condition = conditions_.emplace_back();
    condition.first_test = static_cast<std::uint32_t>(tests_.size());
    tests_.insert(tests_.end(), landmark.tests.begin(), landmark.tests.end());
    condition.last_test = static_cast<std::uint32_t>(tests_.size());
    condition.program = -1;
    if (landmark.tests.empty()) {
      condition.program = static_cast<std::int32_t>(programs_.size());
      programs_.push_back(landmark.program);
    }
    goals_.resize(words());
    if (landmark.is_goal) goals_.back() |= Word{1} << ((size() - 1) % bits);
  }
  std::sort(orderings_.begin(), orderings_.end());
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
    // One disjunct that is no literal makes all of them one program: the tests would say only half.
    tests_.resize(condition.first_test);
    condition.program = static_cast<std::int32_t>(programs_.size());
    programs_.push_back(compiler.compile(landmark));
    break;
  }
  condition.last_test = static_cast<std::uint32_t>(tests_.size());
}

void LandmarkGraph::index_orderings() {
  assert(std::ranges::all_of(orderings_,
                             [&](const Ordering& one) { return one.first < size() && one.second < size(); }));
  group(size(), orderings_, successor_offsets_, successors_);
  std::vector<Ordering> turned;
  for (const auto& [before, after] : orderings_) turned.emplace_back(after, before);
  group(size(), turned, predecessor_offsets_, predecessors_);
}

bool LandmarkGraph::is_true(LandmarkId landmark, const ValueId* slots) const {
  const std::int32_t program = conditions_[landmark].program;
  if (program >= 0) return programs_[static_cast<std::size_t>(program)].evaluate(slots) == true_value;
  const auto any_of = tests(landmark);
  return std::any_of(any_of.begin(), any_of.end(), [&](const Test& test) { return test.holds(slots); });
}

std::span<const std::uint32_t> LandmarkGraph::slots_of_program(LandmarkId landmark) const {
  const std::int32_t program = conditions_[landmark].program;
  if (program < 0) return {};
  return programs_[static_cast<std::size_t>(program)].slots_read();
}

void LandmarkGraph::reach_initially(const Word* holding, Word* reached) const {
  for (std::size_t word = 0; word < words(); ++word) {
    reached[word] = 0;
    for_each(word, holding[word], [&](LandmarkId landmark, Word bit) {
      if (predecessors(landmark).empty()) reached[word] |= bit;
    });
  }
}

void LandmarkGraph::reach(const Word* parent, const Word* holding, Word* reached) const {
  for (std::size_t word = 0; word < words(); ++word) {
    reached[word] = parent[word];
    for_each(word, holding[word] & ~parent[word], [&](LandmarkId landmark, Word bit) {
      // In the parent, not here: what comes true at the same moment was not there before.
      const auto before = predecessors(landmark);
      if (std::all_of(before.begin(), before.end(), [&](LandmarkId a) { return contains(parent, a); }))
        reached[word] |= bit;
    });
  }
}

void LandmarkGraph::reach_with_predecessors(const Word* parent, const Word* holding, Word* reached) const {
  std::vector<LandmarkId> pending;
  for (std::size_t word = 0; word < words(); ++word) {
    reached[word] = parent == nullptr ? 0 : parent[word];
    for_each(word, holding[word] & ~reached[word],
             [&](LandmarkId landmark, Word) { pending.push_back(landmark); });
  }
  while (!pending.empty()) {
    const LandmarkId landmark = pending.back();
    pending.pop_back();
    if (contains(reached, landmark)) continue;
    reached[landmark / bits] |= Word{1} << (landmark % bits);
    const auto before = predecessors(landmark);
    pending.insert(pending.end(), before.begin(), before.end());
  }
}

bool LandmarkGraph::is_needed_again(LandmarkId landmark, const Word* reached, const Word* on_its_way) const {
  const auto after = successors(landmark);
  return std::any_of(after.begin(), after.end(), [&](LandmarkId b) {
    return !contains(reached, b) && (on_its_way == nullptr || !contains(on_its_way, b));
  });
}

std::size_t LandmarkGraph::count_needed(const Word* reached, const Word* holding,
                                        const Word* on_its_way) const {
  std::size_t needed = size();
  for (std::size_t word = 0; word < words(); ++word) {
    // Only what was lost again can be needed twice, so all else is counted by words.
    const Word lost = reached[word] & ~holding[word];
    needed -= static_cast<std::size_t>(std::popcount(reached[word]));
    needed += static_cast<std::size_t>(std::popcount(lost & goals_[word]));
    for_each(word, lost & ~goals_[word], [&](LandmarkId landmark, Word) {
      needed += is_needed_again(landmark, reached, on_its_way) ? 1 : 0;
    });
  }
  assert(needed <= size());
  return needed;
}

}  // namespace zorvel
