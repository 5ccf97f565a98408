#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "search/heuristics/relaxation/classical_action.h"
#include "state/all_values_evaluator.h"

namespace zorvel {

/// Which actions can be the first to make a fact true: relaxed reachability over sets of values from one
/// initial state, in which the fact never becomes true (Porteous, Sebastia and Hoffmann 2001, in a form for
/// numeric and multi-valued fluents).
///
/// Values of a reference are facts; literals that name one (`f`, `not f`, `f == value`) are watched by the
/// clauses that wait for them, so an exploration costs what it reaches. All else (comparisons, values that
/// depend on fluents) is evaluated over sets of values whenever a set that it reads has grown.
class FirstAchievers : public EnvObject {
 public:
  /// A reference with more values counts as able to take any.
  static constexpr std::size_t value_limit = 256;

  /// `initial` is the value of each reference.
  FirstAchievers(Environment& env, const std::unordered_map<Node*, Node*>& initial,
                 const std::vector<ClassicalAction>& actions);

  /// The numbers of the actions that can be first to make one of `disjuncts` true, ascending; none of which
  /// may hold initially. Nothing if it cannot be told which actions make them true: of comparisons, of
  /// negated equalities and of equalities of numbers without bounds.
  std::optional<std::vector<std::size_t>> operator()(const std::vector<Node*>& disjuncts);

 private:
  using FactId = std::uint32_t;
  using ReferenceId = std::uint32_t;
  using LiteralId = std::uint32_t;

  struct Reference {
    Node* node;
    std::vector<FactId> facts;
    std::vector<std::uint32_t> readers;  // dynamic parts
    std::vector<std::uint32_t> writers;  // actions that can give it other values than their facts
    bool is_read() const { return !readers.empty(); }
  };
  struct Fact {
    ReferenceId reference;
    Node* value;
    std::vector<std::uint32_t> clauses;  // that wait for it
    std::vector<std::uint32_t> adders;   // actions that make it true whenever they are applied
  };
  struct Clause {
    std::uint32_t action;
    std::uint32_t literals;
  };
  struct Action {
    std::vector<FactId> certain;             // what it makes true whenever it is applied
    std::vector<ReferenceId> unpredictable;  // of simulated effects: may take any value
    std::vector<std::uint32_t> dynamic;      // effects that depend on fluents
  };
  /// A literal that is no fact, or an effect that depends on fluents.
  struct Dynamic {
    Node* literal = nullptr;
    std::vector<std::uint32_t> clauses;  // that wait for the literal
    std::shared_ptr<Effect> effect;      // if it is no literal
    bool starts_eligible = false;
  };
  struct NewValues {
    ReferenceId reference;
    model::NodeSet values;
  };

  // Construction.
  ReferenceId reference_of(Node* node);
  FactId fact(ReferenceId reference, Node* value);
  /// The fact that a literal names, if it names one.
  std::optional<FactId> fact_of_literal(Node* literal);
  Node* canonical(const model::FluentImpl& fluent, Node* value) const;
  void add_clause(std::uint32_t action, const model::NodeSet& literals);
  void add_effects(std::uint32_t number, const ClassicalAction& action);
  std::uint32_t add_dynamic(Dynamic part, const std::vector<Node*>& expressions);
  std::vector<ReferenceId> references_read(Node* expression);
  std::vector<ReferenceId> references_written(Node* reference);

  // One exploration.
  void explore();
  void reach(FactId fact);
  void add_value(ReferenceId reference, Node* value);
  void add_any_value(ReferenceId reference);
  void note_growth(ReferenceId reference);
  void satisfy(const std::vector<std::uint32_t>& clauses);
  void complete(std::uint32_t clause);
  void make_eligible(std::uint32_t dynamic);
  void run_queue();
  void evaluate_dynamic_parts();
  std::vector<NewValues> values_of(const AllValuesEvaluator& evaluator, const Effect& effect);

  std::vector<Reference> references_;
  std::unordered_map<Node*, ReferenceId> reference_ids_;
  std::map<const model::FluentImpl*, std::vector<ReferenceId>> references_of_fluent_;
  std::vector<Fact> facts_;
  std::map<std::pair<ReferenceId, Node*>, FactId> fact_ids_;
  std::vector<Clause> clauses_;
  std::vector<Action> actions_;
  std::vector<Dynamic> dynamic_;
  std::unordered_map<Node*, std::uint32_t> dynamic_literals_;
  std::vector<FactId> initial_facts_;

  // Of the exploration.
  Node* any_value_;
  std::vector<char> is_forbidden_, is_reached_;            // by fact
  std::vector<std::uint32_t> missing_;                     // literals, by clause
  std::vector<char> is_applicable_;                        // by action
  std::vector<char> is_settled_, is_eligible_, is_stale_;  // by dynamic part
  std::vector<std::uint32_t> stale_;
  AllValuesEvaluator::Values values_;  // of the references that dynamic parts read
  std::vector<FactId> queue_;
};

}  // namespace zorvel
