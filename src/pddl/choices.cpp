#include "pddl/choices.h"

namespace zorvel::pddl {

Node* Choices::truth(Node* condition) {
  if (table_ == nullptr) table_ = make_table_();
  return factory_.make_constant_reference(table_, {condition});
}

Node* Choices::if_else_zero(Node* condition, Node* yes) { return factory_.make_times(truth(condition), yes); }

Node* Choices::if_else(Node* condition, Node* yes, Node* no) {
  if (yes == no) return yes;
  return factory_.make_plus(if_else_zero(condition, yes), if_else_zero(factory_.make_not(condition), no));
}

}  // namespace zorvel::pddl
