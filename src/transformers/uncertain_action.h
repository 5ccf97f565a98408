#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "core/numbers.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_simplifier.h"
#include "transformers/shadow_fluents.h"
#include "transformers/static_fluents.h"

namespace zorvel::model {

/// An effect at `end` or `end - k` of an action whose end is not known.
struct EndEffect {
  Node* statement;
  Node* anchor;
  Node* target;
  Node* value;
  std::optional<rational> before_end;
};

/// An action of uncertain duration, taken apart.
class UncertainAction {
 public:
  /// Whether more than one end effect writes the fluent of a reference.
  using IsContested = std::function<bool(Node* reference)>;

  /// The errors are those of TemporalUncertaintyCompiler::do_computation.
  UncertainAction(std::shared_ptr<ActionImpl> action, const StaticFluents& static_fluents);

  /// Whether the world has no duration of 0 or more to choose, so that no plan can rely on the action.
  bool is_impossible() const {
    return has_numbers_as_bounds() &&
           (factory_.get_numeric_constant(shortest_) < rational(0) ||
            factory_.get_numeric_constant(longest_) < factory_.get_numeric_constant(shortest_));
  }
  /// Statements that no step can meet.
  std::vector<Node*> never() const {
    return {factory_.make_assign(factory_.make_duration_anchor(), longest_),
            factory_.make_boolean_constant(false)};
  }
  const std::vector<EndEffect>& end_effects() const { return end_effects_; }
  /// The fluents with an end effect that a condition or an effect reads which cannot see that effect.
  std::vector<std::shared_ptr<FluentImpl>> fluents_read_before_written() const;
  /// What the statements become. `is_contested` says of a reference whether more than one end effect writes
  /// its fluent.
  std::vector<Node*> compile(const ShadowFluents& shadows, const IsContested& is_contested) const;

 private:
  /// Two ends and whether they belong to the interval.
  struct Span {
    Node* lower;
    Node* upper;
    bool left_closed;
    bool right_closed;
  };
  /// References that the action writes, each of them `at_least` before its end.
  struct OwnReferences {
    NodeSet references;
    rational at_least;
  };

  void read_bounds(const StaticFluents& static_fluents);
  void sort(Node* statement);
  EndEffect end_effect(Node* statement) const;
  bool ends_uncertainly(Node* interval) const { return has_end_(interval); }
  Span span_of_condition(Node* interval) const;
  OwnReferences written_afterwards(Node* expression, const std::optional<rational>& before_end) const;
  std::map<rational, NodeSet, std::greater<>> written_before(Node* expression, Node* anchor) const;
  bool is_always_empty(Node* interval) const;

  Node* after_shortest(Node* offset) const;
  Node* at_shortest(Node* anchor) const;
  std::optional<Span> without_stretch(Span span, const rational& stretch) const;
  Node* timed(const Span& span, Node* body) const;
  bool has_numbers_as_bounds() const {
    return ExpressionFactory::is_numeric_constant(shortest_) &&
           ExpressionFactory::is_numeric_constant(longest_);
  }
  bool writes_twice_at_one_moment() const;
  bool is_followed_at_once(const EndEffect& effect) const;
  bool may_meet(const EndEffect& effect, Node* statement) const;
  bool may_overlap_itself(const EndEffect& effect) const;
  void compile_end_effect(const EndEffect& effect, const ShadowFluents& shadows,
                          const IsContested& is_contested, std::vector<Node*>& result) const;
  void compile_end_condition(Node* interval, Node* body, const ShadowFluents& shadows,
                             std::vector<Node*>& result) const;
  void compile_condition(const Span& span, Node* body, const std::optional<rational>& before_end,
                         const NodeMap& shadows, std::vector<Node*>& result) const;
  [[noreturn]] void refuse(const char* problem, Node* statement) const;

  std::shared_ptr<ActionImpl> action_;
  Environment& env_;
  ExpressionFactory& factory_;
  ExpressionSimplifier simplify_;
  CheckContainsWalker has_end_, has_assign_;
  Node* shortest_ = nullptr;
  Node* longest_ = nullptr;
  std::vector<EndEffect> end_effects_;
  std::vector<Node*> end_conditions_;
  std::vector<Node*> others_;
};

}  // namespace zorvel::model
