#include "capi/frame.h"
#include "capi/plan_steps.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

namespace {

zorvel_potplan_step add_step(zorvel_potplan plan, const char* delay, zorvel_action action,
                             const zorvel_expr* args, unsigned int n, const char* duration,
                             zorvel_expr post_condition,
                             const std::shared_ptr<model::InstanceImpl>& instance) {
  return to_handle<zorvel_potplan_step>(
      to_cxx(plan)->add_step(rational(to_text(delay, "delay")), to_cxx(action), to_vector(args, n, "args"),
                             to_duration(duration), to_cxx(post_condition), instance));
}

}  // namespace

extern "C" {

zorvel_potplan zorvel_potplan_new(zorvel_env env) {
  return at_boundary([&] { return to_handle<zorvel_potplan>(std::make_shared<POTPlan>(to_cxx(env))); });
}
zorvel_potplan_step zorvel_potplan_add_step(zorvel_potplan plan, const char* delay, zorvel_action action,
                                            const zorvel_expr* args, unsigned int n, const char* duration,
                                            zorvel_expr post_condition) {
  return at_boundary(
      [&] { return add_step(plan, delay, action, args, n, duration, post_condition, nullptr); });
}
zorvel_potplan_step zorvel_potplan_add_step_object_action(zorvel_potplan plan, const char* delay,
                                                          zorvel_action action, const zorvel_expr* args,
                                                          unsigned int n, const char* duration,
                                                          zorvel_expr post_condition,
                                                          zorvel_instance instance) {
  return at_boundary(
      [&] { return add_step(plan, delay, action, args, n, duration, post_condition, to_cxx(instance)); });
}
int zorvel_potplan_add_precedence(zorvel_potplan plan, zorvel_potplan_step first,
                                  zorvel_potplan_step second) {
  return at_boundary([&] {
    to_cxx(plan)->add_precedence(to_cxx(first), to_cxx(second));
    return 0;
  });
}
int zorvel_potplan_get_size(zorvel_potplan plan) {
  return at_boundary([&] { return static_cast<int>(to_cxx(plan)->size()); });
}
zorvel_potplan_step_iter zorvel_potplan_get_steps(zorvel_potplan plan) {
  return at_boundary([&] { return to_iterator<zorvel_potplan_step_iter>(to_cxx(plan)->steps()); });
}
zorvel_potplan_step_iter zorvel_potplan_get_predecessors(zorvel_potplan plan, zorvel_potplan_step step) {
  return at_boundary(
      [&] { return to_iterator<zorvel_potplan_step_iter>(to_cxx(plan)->predecessors(to_cxx(step))); });
}
char* zorvel_potplan_get_string(zorvel_potplan plan) {
  return at_boundary([&] { return to_streamed_text(*to_cxx(plan)); });
}

long zorvel_potplan_step_get_id(zorvel_potplan_step step) {
  return at_boundary([&] { return static_cast<long>(to_cxx(step)->id); });
}
char* zorvel_potplan_step_get_delay_time(zorvel_potplan_step step) {
  return at_boundary([&] { return to_c_text(to_cxx(step)->delay.str()); });
}
ZORVEL_STEP_READERS(potplan)

zorvel_potplan zorvel_potplan_from_ttplan(zorvel_ttplan plan) {
  return at_boundary([&] {
    return to_handle<zorvel_potplan>(std::make_shared<POTPlan>(std::static_pointer_cast<Plan>(to_cxx(plan))));
  });
}
}
