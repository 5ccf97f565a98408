#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "model/constant.h"
#include "state/value_table.h"

namespace zorvel {

/// The values of one constant by the ids of its arguments; an entry is made when it is first asked for.
class ConstantTable {
 public:
  /// `values` is referred to and must outlive the table.
  ConstantTable(std::shared_ptr<model::ConstantImpl> constant, ValueTable& values)
      : constant_(std::move(constant)), values_(values) {}

  std::size_t arity() const { return constant_->arity(); }
  /// The value for `arguments`, of which there are `arity()`; `unset_value` where the evaluator of
  /// expressions has more to say: an argument outside the type of its parameter, no value, or one that is no
  /// constant.
  ValueId find(const ValueId* arguments);

 private:
  struct ArgumentsHash {
    std::size_t operator()(const std::vector<ValueId>& arguments) const;
  };
  ValueId compute(const std::vector<ValueId>& arguments);

  std::shared_ptr<model::ConstantImpl> constant_;
  ValueTable& values_;
  std::unordered_map<std::vector<ValueId>, ValueId, ArgumentsHash> known_;
  std::vector<ValueId> key_;  // scratch, kept for its memory
};

}  // namespace zorvel
