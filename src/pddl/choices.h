#pragma once

#include <functional>
#include <memory>

#include "model/constant.h"
#include "model/expression_factory.h"

namespace zorvel::pddl {

/// Numbers that depend on a condition. The model has no choice between two numbers, but tables that take a
/// truth value as argument: `if c then a else b` becomes `truth(c) * a + truth(not c) * b`, with a hidden
/// table `truth` that is 1 or 0.
class Choices {
 public:
  /// `make_table` makes that table, when it is needed first.
  Choices(model::ExpressionFactory& factory, std::function<std::shared_ptr<model::ConstantImpl>()> make_table)
      : factory_(factory), make_table_(std::move(make_table)) {}

  Node* if_else(Node* condition, Node* yes, Node* no);
  Node* if_else_zero(Node* condition, Node* yes);

 private:
  Node* truth(Node* condition);

  model::ExpressionFactory& factory_;
  std::function<std::shared_ptr<model::ConstantImpl>()> make_table_;
  std::shared_ptr<model::ConstantImpl> table_;
};

}  // namespace zorvel::pddl
