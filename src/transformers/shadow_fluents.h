#pragma once

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/expression_substituter.h"

// A fluent whose value is not known for a while has a shadow: another fluent of the same type and parameters.
// At each moment the true value is that of the fluent or that of the shadow. So a condition has to hold
// however its references are read, and an effect writes both.

namespace zorvel::model {

/// The operands of a conjunction, of conjunctions inside of it too, in order; another expression alone.
std::vector<Node*> operands_of_conjunction(Node* expression);

/// All ways to read each reference, a key of `shadows`, either as it stands or as its shadow, the value. The
/// condition itself comes first, and each expression once. UnsupportedProblemError "The condition ... can be
/// read in more than 1000000 ways" before they are built.
std::vector<Node*> expand_condition(Environment& env, Node* condition, const NodeMap& shadows);

/// Which fluents have a shadow, and what becomes of statements that speak of them.
class ShadowFluents {
 public:
  explicit ShadowFluents(Environment& env);

  void add(const std::shared_ptr<FluentImpl>& fluent, const std::shared_ptr<FluentImpl>& shadow);
  bool has(const std::shared_ptr<FluentImpl>& fluent) const { return shadows_.contains(fluent); }
  const std::shared_ptr<FluentImpl>& shadow_of(const std::shared_ptr<FluentImpl>& fluent) const {
    return shadows_.at(fluent);
  }
  /// Demands that nothing but an effect at the end of an uncertain action makes this fluent uncertain.
  void add_exclusive(const std::shared_ptr<FluentImpl>& fluent);
  bool is_exclusive(Node* reference) const;
  bool is_shadow(Node* reference) const;
  const std::vector<std::shared_ptr<FluentImpl>>& all_shadows() const { return all_shadows_; }

  /// The references in the expression to fluents with a shadow, and their shadows.
  NodeMap shadows_in(Node* expression) const;
  /// The expression with every fluent that has a shadow replaced by it.
  Node* in_shadow(Node* expression) const { return (*in_shadow_)(expression); }
  /// That the reference and its shadow have the same value.
  Node* is_certain(Node* reference) const;

  /// What has to stand in place of a statement of an action or a problem. A condition holds in every reading,
  /// each operand of a conjunction for itself; a `contains` holds in all readings at the same moment. An
  /// effect is one on the fluent and one on its shadow, with the right side read as the fluents and as the
  /// shadows. Where the right side can have a third value, or the target is not known or has no shadow,
  /// conditions demand that what it reads is certain; the problem's own effects at the start need none.
  /// UnsupportedProblemError for a `forall` around an effect.
  std::vector<Node*> expand(Node* statement, bool is_initial) const;

 private:
  std::vector<Node*> expand_body(Node* body, bool is_initial) const;
  std::vector<Node*> expand_effect(Node* effect, bool is_initial) const;
  void require_certainty(Node* effect, std::vector<Node*>& conditions) const;
  std::vector<Node*> sorted_references(Node* expression) const;

  Environment& env_;
  ExpressionFactory& factory_;
  ExpressionFreeVars references_;
  CheckContainsWalker has_forall_, has_assign_;
  std::unordered_map<std::shared_ptr<FluentImpl>, std::shared_ptr<FluentImpl>> shadows_;  // for look-ups only
  std::unordered_set<std::shared_ptr<FluentImpl>> exclusive_;                             // likewise
  std::vector<std::shared_ptr<FluentImpl>> all_shadows_;
  NodeMap heads_;
  std::unique_ptr<ExpressionSubstituter> in_shadow_;
};

}  // namespace zorvel::model
