// The header serves C++ as well. Error handles and null pointers in place of everything do no harm.
#include "zorvel.h"

#include <cstdio>

namespace {

int faults = 0;

/// Calls a function with nothing, once more behind its own error, and expects an error each time.
template <class Result, class... Arguments>
void walk(const char* name, Result (*function)(Arguments...)) {
  for (int round = 0; round < 2; ++round) {
    zorvel_reset_error_message();
    function(Arguments{}...);
    if (zorvel_get_last_error_message() != nullptr) continue;
    std::fprintf(stderr, "%s says nothing of error handles\n", name);
    ++faults;
  }
}
#define WALK(function) walk(#function, &function)

}  // namespace

int main() {
  const zorvel_env env = zorvel_env_new();
  const bool is_good = zorvel_env_is_error(env) == 0;
  WALK(zorvel_problem_get_anml);
  WALK(zorvel_problem_get_text);
  WALK(zorvel_problem_get_pddl);
  WALK(zorvel_dump_pddl);
  WALK(zorvel_problem_ground);
  WALK(zorvel_problem_flatten);
  WALK(zorvel_problem_temporal_uncertainty_compiler);
  WALK(zorvel_problem_usertype_fluents_compiler);
  WALK(zorvel_problem_intermediate_effects_compiler);
  WALK(zorvel_problem_bound);
  WALK(zorvel_problem_transform);
  WALK(zorvel_transformation_get_problem);
  WALK(zorvel_transformation_map_back_ttplan);
  WALK(zorvel_transformation_map_back_potplan);
  zorvel_transformation_destroy(zorvel_transformation{});
  zorvel_env_destroy(env);
  return is_good && faults == 0 && zorvel_transformation_is_error({}) == 1 ? 0 : 1;
}
