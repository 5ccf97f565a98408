#include "capi/frame.h"
#include "model/model_factory.h"
#include "transformers/mutual_exclusion.h"
#include "transformers/without_metrics.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

extern "C" {

zorvel_problem zorvel_problem_new(zorvel_env env, const zorvel_action* actions, int na,
                                  const zorvel_fluent* fluents, int nf, const zorvel_constant* constants,
                                  int nc, const zorvel_instance* instances, int ni,
                                  const zorvel_type* user_types, int nt, const zorvel_expr* expressions,
                                  int ne) {
  return at_boundary([&] {
    std::vector<std::shared_ptr<model::UserTypeImpl>> types;
    for (const zorvel_type type : to_span(user_types, nt, "user_types")) types.push_back(to_user_type(type));
    return to_handle<zorvel_problem>(to_cxx(env).model_factory().make_problem_instance(
        to_vector(actions, na, "actions"), to_vector(fluents, nf, "fluents"),
        to_vector(constants, nc, "constants"), to_vector(instances, ni, "instances"), types,
        to_vector(expressions, ne, "expressions"), {}, {}));
  });
}

zorvel_action_iter zorvel_problem_get_actions(zorvel_problem problem) {
  return at_boundary([&] { return to_iterator<zorvel_action_iter>(to_cxx(problem)->actions()); });
}
zorvel_fluent_iter zorvel_problem_get_fluents(zorvel_problem problem) {
  return at_boundary([&] { return to_iterator<zorvel_fluent_iter>(to_cxx(problem)->fluents()); });
}
zorvel_constant_iter zorvel_problem_get_constants(zorvel_problem problem) {
  return at_boundary([&] { return to_iterator<zorvel_constant_iter>(to_cxx(problem)->constants()); });
}
zorvel_instance_iter zorvel_problem_get_instances(zorvel_problem problem) {
  return at_boundary([&] { return to_iterator<zorvel_instance_iter>(to_cxx(problem)->instances()); });
}
zorvel_expr_iter zorvel_problem_get_expressions(zorvel_problem problem) {
  return at_boundary([&] { return to_iterator<zorvel_expr_iter>(to_cxx(problem)->expressions()); });
}
zorvel_instance_iter zorvel_problem_get_user_type_instances(zorvel_problem problem, zorvel_type type) {
  return at_boundary(
      [&] { return to_iterator<zorvel_instance_iter>(to_cxx(problem)->instances(to_cxx(type))); });
}
int zorvel_problem_has_temporal_uncertainty(zorvel_problem problem) {
  return at_boundary([&] { return to_cxx(problem)->has_temporal_uncertainty() ? 1 : 0; });
}
int zorvel_problem_is_flat(zorvel_problem problem) {
  return at_boundary([&] { return to_cxx(problem)->is_flat() ? 1 : 0; });
}
int zorvel_problem_has_mutual_exclusion(zorvel_problem problem) {
  return at_boundary([&] { return to_cxx(problem)->rules().has_mutual_exclusion ? 1 : 0; });
}
zorvel_problem zorvel_problem_with_mutual_exclusion(zorvel_problem problem, int has_mutual_exclusion) {
  return at_boundary([&] {
    return to_handle<zorvel_problem>(
        model::with_mutual_exclusion(to_cxx(problem), has_mutual_exclusion != 0));
  });
}
zorvel_problem zorvel_problem_without_metrics(zorvel_problem problem) {
  return at_boundary([&] { return to_handle<zorvel_problem>(model::without_metrics(to_cxx(problem))); });
}
char* zorvel_problem_get_anml(zorvel_problem problem) {
  return at_boundary([&] { return to_streamed_text(to_cxx(problem)); });
}
}
