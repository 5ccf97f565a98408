#pragma once

#include <unordered_map>
#include <utility>
#include <vector>

#include "model/parameter.h"
#include "model/walkers/expression_identity.h"
#include "model/walkers/expression_simplifier.h"

namespace zorvel::model {

/// Replaces an application of a fluent or constant to constants by a reference to the ground object that
/// stands for it, for grounding of functions. GroundingFailedError "To ground a functional apply its
/// parameters must be constant" where an argument of a finite-domain parameter does not reduce to a value.
class FunApplySubstituter : public ExpressionIdentity {
 public:
  /// A fluent or constant (its address) and the constant arguments of its finite-domain parameters.
  using Key = std::pair<const void*, std::vector<Node*>>;
  struct KeyHash {
    std::size_t operator()(const Key& key) const;
  };
  /// To the head of the ground version: a reference to the ground object without arguments.
  using GroundObjects = std::unordered_map<Key, Node*, KeyHash>;

  FunApplySubstituter(Environment& env, GroundObjects ground_objects, bool enabled);

 protected:
  Node* walk_fluent_reference(Node* node) const override;
  Node* walk_constant_reference(Node* node) const override;

 private:
  /// The ground object for the application `node` of `object`, null if there is none; the arguments that it
  /// still takes go into `remaining`.
  Node* ground_head(const void* object, const ParameterVector& parameters, Node* node,
                    std::vector<Node*>& remaining) const;

  ExpressionSimplifier simplifier_;
  GroundObjects ground_objects_;
  bool enabled_;
};

}  // namespace zorvel::model
