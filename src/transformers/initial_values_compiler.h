#pragma once

#include "transformers/one_to_one_transformer.h"

namespace zorvel::model {

/// Writes out the defaults of a problem (see InitialDefault) as statements, for the ground fluents that the
/// problem speaks of: in a ground one these are all that a plan can read or write. With `keeps_all`, or
/// where a callback may read what it likes, for all there are.
class InitialValuesCompiler : public OneToOneTransformer {
 public:
  InitialValuesCompiler(const ProblemPtr& problem, bool keeps_all);

  static bool is_needed(const ProblemInstanceImpl& problem);

  /// UnsupportedProblemError where too many values would have to be written out.
  void do_computation() override;

 private:
  bool keeps_all_;
};

}  // namespace zorvel::model
