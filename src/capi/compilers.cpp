#include "capi/frame.h"
#include "plans/plan.h"
#include "transformers/bounder.h"
#include "transformers/flattener.h"
#include "transformers/grounder.h"
#include "transformers/intermediate_effects_compiler.h"
#include "transformers/temporal_uncertainty_compiler.h"
#include "transformers/user_type_fluents_compiler.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

namespace {

/// What the transformer makes; plans are not mapped back through it.
zorvel_problem result_of(model::BasicTransformer&& transformer) {
  transformer.do_computation();
  return to_handle<zorvel_problem>(transformer.new_problem());
}

}  // namespace

extern "C" {

zorvel_problem zorvel_problem_usertype_fluents_compiler(zorvel_problem problem) {
  return at_boundary([&] { return result_of(model::UserTypeFluentsCompiler(to_cxx(problem))); });
}
zorvel_problem zorvel_problem_intermediate_effects_compiler(zorvel_problem problem) {
  return at_boundary([&] {
    const auto input = to_cxx(problem);
    return result_of(model::IntermediateEffectsCompiler(input, plan_epsilon(input->env())));
  });
}
zorvel_problem zorvel_problem_bound(zorvel_problem problem, zorvel_problem other) {
  return at_boundary([&] { return result_of(model::Bounder(to_cxx(problem), to_cxx(other))); });
}
zorvel_problem zorvel_problem_ground(zorvel_problem problem, int full, int prune_actions) {
  return at_boundary(
      [&] { return result_of(model::Grounder(to_cxx(problem), full == 1, prune_actions == 1)); });
}
zorvel_problem zorvel_problem_flatten(zorvel_problem problem) {
  return at_boundary([&] { return result_of(model::Flattener(to_cxx(problem))); });
}
zorvel_problem zorvel_problem_temporal_uncertainty_compiler(zorvel_problem problem) {
  return at_boundary([&] { return result_of(model::TemporalUncertaintyCompiler(to_cxx(problem))); });
}
}
