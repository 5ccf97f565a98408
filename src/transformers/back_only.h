#pragma once

#include <memory>
#include <vector>

#include "core/errors.h"
#include "transformers/basic_transformer.h"

namespace zorvel::model {

/// A transformer that maps whole plans back and nothing else: the step forms, and plans of the input, raise
/// InternalError "Not supported!".
template <class Base>
class BackOnly : public Base {
 public:
  ActionStep map_back(const ActionStep&) const override { refuse(); }
  std::vector<ActionStep> map_forward(const ActionStep&) const override { refuse(); }
  std::shared_ptr<TimeTriggeredPlan> map_forward(const std::shared_ptr<TimeTriggeredPlan>&) const override {
    refuse();
  }
  using Base::map_back;

 protected:
  using Base::Base;

 private:
  [[noreturn]] static void refuse() { throw InternalError("Not supported!"); }
};

}  // namespace zorvel::model
