#include "capi/frame.h"
#include "capi/plan_steps.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

namespace {

zorvel_ttplan_step make_step(const char* start, zorvel_action action, const zorvel_expr* args, unsigned int n,
                             const char* duration, zorvel_expr post_condition,
                             std::shared_ptr<model::InstanceImpl> instance) {
  return to_handle<zorvel_ttplan_step>(std::make_shared<TimeTriggeredStep>(
      rational(to_text(start, "start")), to_cxx(action), to_vector(args, n, "args"), to_duration(duration),
      to_cxx(post_condition), std::move(instance)));
}

}  // namespace

extern "C" {

zorvel_ttplan zorvel_ttplan_new(zorvel_env env) {
  return at_boundary(
      [&] { return to_handle<zorvel_ttplan>(std::make_shared<TimeTriggeredPlan>(to_cxx(env))); });
}
zorvel_ttplan_step zorvel_ttplan_step_new(const char* start, zorvel_action action, const zorvel_expr* args,
                                          unsigned int n, const char* duration, zorvel_expr post_condition) {
  return at_boundary([&] { return make_step(start, action, args, n, duration, post_condition, nullptr); });
}
zorvel_ttplan_step zorvel_ttplan_step_new_object_action(const char* start, zorvel_action action,
                                                        const zorvel_expr* args, unsigned int n,
                                                        const char* duration, zorvel_expr post_condition,
                                                        zorvel_instance instance) {
  return at_boundary(
      [&] { return make_step(start, action, args, n, duration, post_condition, to_cxx(instance)); });
}
int zorvel_ttplan_add_step(zorvel_ttplan plan, zorvel_ttplan_step step) {
  return at_boundary([&] {
    to_cxx(plan)->add_step(to_cxx(step));
    return 0;
  });
}
int zorvel_ttplan_get_size(zorvel_ttplan plan) {
  return at_boundary([&] { return static_cast<int>(to_cxx(plan)->size()); });
}
zorvel_ttplan_step_iter zorvel_ttplan_get_steps(zorvel_ttplan plan) {
  return at_boundary([&] {
    std::vector<TimeTriggeredPlan::StepPtr> steps;
    for (const auto& [start, steps_of_time] : to_cxx(plan)->steps())
      steps.insert(steps.end(), steps_of_time.begin(), steps_of_time.end());
    return to_iterator<zorvel_ttplan_step_iter>(steps);
  });
}
char* zorvel_ttplan_get_string(zorvel_ttplan plan) {
  return at_boundary([&] { return to_streamed_text(*to_cxx(plan)); });
}
char* zorvel_ttplan_get_exact_string(zorvel_ttplan plan) {
  return at_boundary([&] {
    std::ostringstream out;
    to_cxx(plan)->print_exact(out);
    return to_c_text(out.str());
  });
}

char* zorvel_ttplan_step_get_start_time(zorvel_ttplan_step step) {
  return at_boundary([&] { return to_c_text(to_cxx(step)->start.str()); });
}
ZORVEL_STEP_READERS(ttplan)

zorvel_ttplan zorvel_ttplan_from_potplan(zorvel_potplan plan) {
  return at_boundary([&] {
    return to_handle<zorvel_ttplan>(
        std::make_shared<TimeTriggeredPlan>(std::static_pointer_cast<Plan>(to_cxx(plan))));
  });
}
}
