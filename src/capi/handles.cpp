// The functions that every kind of handle has.

#include "capi/frame.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

namespace {

template <CellHandle Handle>
unsigned int hash_of(Handle handle) {
  return at_boundary([&] {
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(to_cxx(handle).get()) & 0xffffffffU);
  });
}
template <CellHandle Handle>
int equality(Handle a, Handle b) {
  return at_boundary([&] { return to_cxx(a) == to_cxx(b) ? 1 : 0; });
}
template <class Handle>
int release(Handle handle) {
  return at_boundary([&] {
    destroy(handle);
    return 0;
  });
}

}  // namespace

extern "C" {

#define ZORVEL_ERROR_TEST(kind) \
  int zorvel_##kind##_is_error(zorvel_##kind handle) { return handle.repr == nullptr ? 1 : 0; }
#define ZORVEL_DESTROY(kind, type) \
  int zorvel_##kind##_destroy(zorvel_##type handle) { return release(handle); }
#define ZORVEL_CELL(kind)                                                                   \
  ZORVEL_ERROR_TEST(kind)                                                                   \
  int zorvel_##kind##_equality(zorvel_##kind a, zorvel_##kind b) { return equality(a, b); } \
  unsigned int zorvel_##kind##_get_hash(zorvel_##kind handle) { return hash_of(handle); }
#define ZORVEL_ITERATOR(kind)                                              \
  ZORVEL_ERROR_TEST(kind##_iter)                                           \
  ZORVEL_DESTROY(kind##_iter, kind##_iter)                                 \
  zorvel_##kind zorvel_##kind##_iter_next(zorvel_##kind##_iter iterator) { \
    return at_boundary([&] { return next_of(iterator); });                 \
  }

ZORVEL_ERROR_TEST(env)
ZORVEL_ERROR_TEST(expr)
ZORVEL_ERROR_TEST(simulator)

ZORVEL_CELL(type)
ZORVEL_DESTROY(type, type)
ZORVEL_CELL(param)
ZORVEL_DESTROY(parameter, param)
ZORVEL_CELL(fluent)
ZORVEL_DESTROY(fluent, fluent)
ZORVEL_CELL(function_value)
ZORVEL_DESTROY(function_value, function_value)
ZORVEL_CELL(constant)
ZORVEL_DESTROY(constant, constant)
ZORVEL_CELL(instance)
ZORVEL_DESTROY(instance, instance)
ZORVEL_CELL(simulated_effect)
ZORVEL_DESTROY(simulated_effect, simulated_effect)
ZORVEL_CELL(action)
ZORVEL_DESTROY(action, action)
ZORVEL_CELL(problem)
ZORVEL_DESTROY(problem, problem)
ZORVEL_CELL(ttplan)
ZORVEL_DESTROY(ttplan, ttplan)
ZORVEL_CELL(ttplan_step)
ZORVEL_DESTROY(ttplan_step, ttplan_step)
ZORVEL_CELL(potplan)
ZORVEL_DESTROY(potplan, potplan)
ZORVEL_CELL(potplan_step)
ZORVEL_DESTROY(potplan_step, potplan_step)

ZORVEL_ITERATOR(action)
ZORVEL_ITERATOR(fluent)
ZORVEL_ITERATOR(constant)
ZORVEL_ITERATOR(instance)
ZORVEL_ITERATOR(param)
ZORVEL_ITERATOR(expr)
ZORVEL_ITERATOR(ttplan_step)
ZORVEL_ITERATOR(potplan_step)

int zorvel_state_is_error(zorvel_state state) {
  return state.repr == nullptr || *static_cast<std::shared_ptr<SearchState>*>(state.repr) == nullptr ? 1 : 0;
}
}
