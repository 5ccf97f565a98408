#pragma once

#include <vector>

#include "model/walkers/expression_free_vars.h"
#include "model/walkers/expression_walker.h"

namespace zorvel::model {

/// A disjunction of conjunctions of literals. An empty AND is one empty clause, an empty OR no clause.
/// Equalities `instance == fluent` are turned to `fluent == instance`. Exponential by nature: beyond a
/// million clauses, or two million literals in all, it raises UnsupportedProblemError "The disjunctive normal
/// form grows beyond ", the limit, " clauses: " or " literals: ", and the expression, before memory is taken.
class ToDNF : public ExpressionWalker<std::vector<NodeSet>> {
 public:
  explicit ToDNF(Environment& env) : ExpressionWalker(env) {}

 protected:
#define ZORVEL_WALK_RESULT std::vector<NodeSet>
  ZORVEL_FOR_EACH_WALK(ZORVEL_OVERRIDE_WALK)
#undef ZORVEL_WALK_RESULT
};

/// Negation normal form: negations only in front of atoms, no implications, equalities of booleans spelled
/// out.
class ToNNF : public EnvObject {
 public:
  explicit ToNNF(Environment& env) : EnvObject(env) {}
  Node* operator()(Node* node) const;
};

}  // namespace zorvel::model
