#pragma once

#include <optional>
#include <string>

#include "capi/frame.h"

/// What the functions for steps of both forms of plan have in common.
namespace zorvel::capi {

/// The duration of a step as C passes it: null for none.
inline std::optional<rational> to_duration(const char* text) {
  if (text == nullptr) return std::nullopt;
  return rational(std::string(text));
}

}  // namespace zorvel::capi

/// The readers of what all steps have; `kind` is ttplan or potplan.
#define ZORVEL_STEP_READERS(kind)                                                                 \
  char* zorvel_##kind##_step_get_duration(zorvel_##kind##_step step) {                            \
    return at_boundary([&] { return to_c_text(to_cxx(step)->duration.str()); });                  \
  }                                                                                               \
  zorvel_action zorvel_##kind##_step_get_action(zorvel_##kind##_step step) {                      \
    return at_boundary([&] { return to_handle<zorvel_action>(to_cxx(step)->action); });           \
  }                                                                                               \
  zorvel_instance zorvel_##kind##_step_get_instance(zorvel_##kind##_step step) {                  \
    return at_boundary([&] { return to_handle<zorvel_instance>(to_cxx(step)->instance); });       \
  }                                                                                               \
  zorvel_expr zorvel_##kind##_step_get_post_condition(zorvel_##kind##_step step) {                \
    return at_boundary([&] { return to_handle(to_cxx(step)->post_condition); });                  \
  }                                                                                               \
  int zorvel_##kind##_step_get_num_parameters(zorvel_##kind##_step step) {                        \
    return at_boundary([&] { return static_cast<int>(to_cxx(step)->parameters.size()); });        \
  }                                                                                               \
  zorvel_expr zorvel_##kind##_step_get_parameter(zorvel_##kind##_step step, unsigned int i) {     \
    return at_boundary([&] { return to_handle(at(to_cxx(step)->parameters, i, "parameters")); }); \
  }
